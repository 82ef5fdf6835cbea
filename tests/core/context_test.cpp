// Per-thread settings, the fallback block, version, module start and stop.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "core/context.h"
#include "tests/support/support.h"

namespace {

using ztk::testing::FailureScope;

int32_t ZAPI Quiet(int32_t) { return Z_OK; }

// A new thread starts from the defaults, whatever the first has set.
TEST(ThreadContext, ANewThreadStartsFromTheDefaults) {
    int32_t oldX = Z_SetDefaultXResolution(300);
    int32_t oldY = Z_SetDefaultYResolution(600);
    ASSERT_EQ(Z_DefaultDithering(2), Z_OK);
    ZSTATUSCALLBACK oldStatus = Z_SetStatusCallBack(Quiet);

    ztk::ThreadContext seen{};
    std::thread([&] { seen = ztk::Context(); }).join();
    EXPECT_EQ(seen.UserMatchTable, nullptr);
    EXPECT_EQ(seen.RedirectOpen, Z_OsOpen);
    EXPECT_EQ(seen.RedirectRead, Z_OsRead);
    EXPECT_EQ(seen.RedirectWrite, Z_OsWrite);
    EXPECT_EQ(seen.RedirectSeek, Z_OsSeek);
    EXPECT_EQ(seen.RedirectClose, Z_OsClose);
    EXPECT_EQ(seen.DefaultDithering, 7u);
    EXPECT_EQ(seen.DefaultXResolution, 150);
    EXPECT_EQ(seen.DefaultYResolution, 150);
    EXPECT_EQ(seen.StatusCallBack, nullptr);
    EXPECT_EQ(seen.HotKeyWindow, nullptr);

    EXPECT_EQ(Z_SetDefaultXResolution(oldX), 300);
    EXPECT_EQ(Z_SetDefaultYResolution(oldY), 600);
    EXPECT_EQ(Z_SetStatusCallBack(oldStatus), Quiet);
    Z_DefaultDithering(7);
}

TEST(ThreadContext, DitheringAboveEightIsRefused) {
    ASSERT_EQ(Z_DefaultDithering(8), Z_OK);
    EXPECT_EQ(Z_DefaultDithering(9), Z_ERR_PARAM);
    EXPECT_EQ(Z_DefaultDithering(0xFFFFFFFFu), Z_ERR_PARAM);
    EXPECT_EQ(ztk::Context().DefaultDithering, 8u);
    Z_DefaultDithering(7);
}

// When no block can be made the thread works on the shared fallback block,
// which carries no defaults at all; it moves to a block of its own as soon
// as memory allows.
TEST(ThreadContext, FallbackIsUsedWithItsZeroValuesWhenNoBlockCanBeMade) {
    ztk::ThreadContext &fallback = ztk::FallbackContext();
    const ztk::ThreadContext saved = fallback;
    std::memset(&fallback, 0, sizeof fallback);
    std::thread([&] {
        {
            FailureScope fail(1);
            EXPECT_EQ(Z_GetDefaultXResolution(), 0);
            EXPECT_TRUE(fail.fired());
        }
        {
            FailureScope fail(1);
            EXPECT_EQ(Z_SetDefaultYResolution(55), 0);
            EXPECT_EQ(ztk::Context().DefaultDithering, 7u); // made now
        }
        EXPECT_EQ(Z_GetDefaultYResolution(), 150);
    }).join();
    // A bitmap initialised on the fallback block gets 150 and the
    // fallback's dithering of 0.
    BitmapHandle h;
    std::thread([&] {
        FailureScope fail(1);
        Z_InitBitmap(&h, 4, 4, 8);
    }).join();
    EXPECT_EQ(h.XResolution, 150);
    EXPECT_EQ(h.DitheringMethod, 0u);
    // What was set on the fallback stays there, for every thread.
    EXPECT_EQ(fallback.DefaultYResolution, 55);
    fallback = saved;
}

TEST(VersionInfo, FillsTheWholeRecord) {
    ZarnVersionInfo info;
    std::memset(&info, 0x7F, sizeof info);
    ASSERT_EQ(Z_VersionInfo(&info), Z_OK);
    EXPECT_STREQ(info.Product, "ZARNKIT\xAE DLL for Win32");
    for (size_t i = std::strlen(info.Product); i < sizeof info.Product; ++i)
        ASSERT_EQ(info.Product[i], 0);
    EXPECT_EQ(info.Major, 10);
    EXPECT_EQ(info.Minor, 0);
    EXPECT_EQ(info.Level, int32_t(SUPPORT_ALL));
    // "Nov 10 1998" and "09:27:35" in form.
    ASSERT_EQ(std::strlen(info.Date), 11u);
    EXPECT_EQ(info.Date[3], ' ');
    EXPECT_EQ(info.Date[6], ' ');
    ASSERT_EQ(std::strlen(info.Time), 8u);
    EXPECT_EQ(info.Time[2], ':');
    EXPECT_EQ(info.Time[5], ':');
    ztk::test::LockFeature(SUPPORT_COMPRESSED, true);
    Z_VersionInfo(&info);
    EXPECT_EQ(info.Level, int32_t(SUPPORT_ALL & ~SUPPORT_COMPRESSED));
    ztk::test::LockFeature(SUPPORT_COMPRESSED, false);
}

// The unloading thread's block is left to the process; in a test the process
// goes on, so the test frees it as the process end would.
void DetachAndDropBlock() {
    ztk::ThreadContext *block = &ztk::Context();
    ztk::test::ProcessDetach();
    if (block != &ztk::FallbackContext())
        Z_OsFree(block);
}

TEST(Module, AttachFailsWithoutAFirstBlockAndLeavesTheCountAlone) {
    ASSERT_EQ(ztk::test::ModuleRefCount(), 1);
    DetachAndDropBlock();
    {
        FailureScope fail(1);
        EXPECT_FALSE(ztk::test::ProcessAttach());
    }
    EXPECT_EQ(ztk::test::ModuleRefCount(), 0);
    // Unstarted, calls still answer, from the fallback block.
    const ztk::test::Usage before = ztk::test::LiveUsage();
    EXPECT_EQ(&ztk::Context(), &ztk::FallbackContext());
    EXPECT_EQ(ztk::test::LiveUsage(), before);
    ASSERT_TRUE(ztk::test::ProcessAttach());
    EXPECT_EQ(ztk::test::ModuleRefCount(), 1);
}

TEST(Module, DetachAndAttachAgainStartFreshBlocks) {
    ASSERT_EQ(ztk::test::ModuleRefCount(), 1);
    Z_SetDefaultXResolution(321);
    DetachAndDropBlock();
    EXPECT_EQ(ztk::test::ModuleRefCount(), 0);
    ASSERT_TRUE(ztk::test::ProcessAttach());
    EXPECT_EQ(ztk::test::ModuleRefCount(), 1);
    EXPECT_EQ(Z_GetDefaultXResolution(), 150);
}

} // namespace

// Redirected I/O: per-thread slots, set or exchanged.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "core/context.h"
#include "core/os/os.h"
#include "tests/support/support.h"

namespace {

int gReads = 0;
int gWrites = 0;

int32_t ZAPI CountingRead(ZHANDLE, void *, uint32_t count) {
    ++gReads;
    return int32_t(count);
}
int32_t ZAPI CountingWrite(ZHANDLE, const void *, uint32_t count) {
    ++gWrites;
    return int32_t(count);
}
uint32_t ZAPI FixedSeek(ZHANDLE, int32_t, int32_t) { return 1234; }

class Redirect : public ::testing::Test {
  protected:
    void SetUp() override {
        Z_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr);
        gReads = gWrites = 0;
    }
    void TearDown() override {
        Z_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr);
    }
};

TEST_F(Redirect, SetsTheGivenSlotsAndResetsTheOthers) {
    Z_RedirectIO(nullptr, nullptr, CountingWrite, FixedSeek, nullptr);
    Z_RedirectIO(nullptr, CountingRead, nullptr, nullptr, nullptr);
    const ztk::ThreadContext &context = ztk::Context();
    EXPECT_EQ(context.RedirectRead, CountingRead);
    EXPECT_EQ(context.RedirectWrite, Z_OsWrite);
    EXPECT_EQ(context.RedirectSeek, Z_OsSeek);
    EXPECT_EQ(context.RedirectOpen, Z_OsOpen);
    EXPECT_EQ(context.RedirectClose, Z_OsClose);
    char buffer[4];
    EXPECT_EQ(Z_RedirectedRead(nullptr, buffer, 4), 4);
    EXPECT_EQ(gReads, 1);
}

TEST_F(Redirect, FilterExchangesAndANullPointerOnlyAsks) {
    Z_RedirectIO(nullptr, CountingRead, nullptr, nullptr, nullptr);
    ZWRITEPROC write = CountingWrite;
    ZREADPROC read = nullptr; // a query
    Z_FilterIO(nullptr, &read, &write, nullptr, nullptr);
    EXPECT_EQ(read, CountingRead);
    EXPECT_EQ(write, Z_OsWrite); // the previous function comes back
    const ztk::ThreadContext &context = ztk::Context();
    EXPECT_EQ(context.RedirectRead, CountingRead);
    EXPECT_EQ(context.RedirectWrite, CountingWrite);
    EXPECT_EQ(context.RedirectSeek, Z_OsSeek);
    EXPECT_EQ(Z_RedirectedWrite(nullptr, "ab", 2), 2);
    EXPECT_EQ(gWrites, 1);
    // Undone by filtering again with the saved function.
    Z_FilterIO(nullptr, nullptr, &write, nullptr, nullptr);
    EXPECT_EQ(context.RedirectWrite, Z_OsWrite);
    EXPECT_EQ(write, CountingWrite);
}

TEST_F(Redirect, CallsPassArgumentsAndResultsThrough) {
    Z_RedirectIO(nullptr, nullptr, nullptr, FixedSeek, nullptr);
    EXPECT_EQ(Z_RedirectedSeek(nullptr, 5, 0), 1234u);
    char name[ztk::os::kMaxPath] = {};
    Z_OsGetTempName(name);
    Z_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr);
    ZHANDLE file = Z_RedirectedOpen(name, 2, 0x180);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_RedirectedWrite(file, "xyz", 3), 3);
    EXPECT_EQ(Z_RedirectedSeek(file, 0, 0), 0u);
    char got[4] = {};
    EXPECT_EQ(Z_RedirectedRead(file, got, 3), 3);
    EXPECT_STREQ(got, "xyz");
    EXPECT_EQ(Z_RedirectedClose(file), 0);
    Z_OsDelete(name);
}

TEST_F(Redirect, OneThreadsRedirectionIsNotSeenByAnother) {
    Z_RedirectIO(nullptr, CountingRead, nullptr, nullptr, nullptr);
    ZREADPROC seen = nullptr;
    std::thread([&] { seen = ztk::Context().RedirectRead; }).join();
    EXPECT_EQ(seen, Z_OsRead);
}

TEST_F(Redirect, BitmapFilesKeepUsingTheRealFileFunctions) {
    Z_RedirectIO(nullptr, CountingRead, CountingWrite, FixedSeek, nullptr);
    ztk::testing::TierScope host(ztk::testing::Tier::TemporaryFile);
    ztk::testing::Bitmap b(8, 4, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_DISK), Z_OK);
    const uint8_t row[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(Z_PutBitmapRow(b.get(), row, 2, 8), 8);
    uint8_t back[8] = {};
    ASSERT_EQ(Z_GetBitmapRow(b.get(), back, 2, 8), 8);
    EXPECT_EQ(std::memcmp(row, back, 8), 0);
    EXPECT_EQ(gReads + gWrites, 0);
}

// A thread on the zeroed fallback block has no slots until it redirects.
TEST_F(Redirect, FallbackSlotsFailSafelyUntilSet) {
    ztk::ThreadContext &fallback = ztk::FallbackContext();
    const ztk::ThreadContext saved = fallback;
    std::memset(&fallback, 0, sizeof fallback);
    std::thread([&] {
        ztk::testing::FailureScope fail(1);
        EXPECT_EQ(Z_RedirectedSeek(nullptr, 0, 0), 0xFFFFFFFFu);
    }).join();
    std::thread([&] {
        ztk::testing::FailureScope fail(1);
        Z_RedirectIO(nullptr, nullptr, nullptr, FixedSeek, nullptr);
    }).join();
    EXPECT_EQ(fallback.RedirectSeek, FixedSeek);
    EXPECT_EQ(fallback.RedirectRead, Z_OsRead);
    fallback = saved;
}

} // namespace

// What every OS backend must give the library, run unchanged on each:
// module start by the load hooks and a thread's block freed at its end,
// global blocks, the mapping tier, files and temporary names, logical
// palettes and the screen, and one fault point per acquisition. Where the
// platform decides (nearest-colour ties, share modes, screen values) the
// tests ask only what holds everywhere, or run on the one platform.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "core/os/os.h"
#include "core/testhooks.h"
#include "tests/support/support.h"
#include "ztkrn.h"

namespace {

using ztk::test::LiveUsage;
using ztk::test::Usage;
using ztk::testing::FailureScope;
using ztk::testing::Pattern;
namespace os = ztk::os;

// A temporary name from the library, its file removed again at the end.
struct TempFile {
    char name[os::kMaxPath] = {};
    TempFile() { Z_OsGetTempName(name); }
    ~TempFile() { Z_OsDelete(name); }
};

std::string BaseName(const char *path) {
    std::string text(path);
    size_t cut = text.find_last_of("/\\");
    return cut == std::string::npos ? text : text.substr(cut + 1);
}

// ---- start and stop ----------------------------------------------------------

TEST(Platform, TheModuleIsStartedBeforeTheProgramRuns) {
    EXPECT_GE(ztk::test::ModuleRefCount(), 1);
    // The loading thread got its block at the start.
    EXPECT_NE(os::SlotGet(), nullptr);
}

TEST(Platform, AThreadsBlockIsMadeOnFirstUseAndFreedAtItsEnd) {
    const Usage before = LiveUsage();
    const int32_t mine = Z_GetDefaultXResolution();
    bool emptyAtStart = false;
    int32_t seen = 0;
    Usage during{};
    std::thread worker([&] {
        emptyAtStart = os::SlotGet() == nullptr;
        Z_SetDefaultXResolution(300);
        seen = Z_GetDefaultXResolution();
        during = LiveUsage();
    });
    worker.join();
    EXPECT_TRUE(emptyAtStart);
    EXPECT_EQ(seen, 300);
    EXPECT_EQ(during.blocks, before.blocks + 1);
    EXPECT_EQ(LiveUsage(), before);
    // Settings are the thread's own.
    EXPECT_EQ(Z_GetDefaultXResolution(), mine);
}

TEST(Platform, TheVersionWordIsNeverTheSixteenBitHost) {
    const uint32_t version = os::PlatformVersion();
    EXPECT_EQ(version & 0x80000000u, 0u);
    EXPECT_GE(version & 0xFFu, 4u);
}

// ---- global blocks ----------------------------------------------------------

TEST(Platform, BlocksLockToTheirDataAndTheDataFindsItsBlock) {
    for (uint32_t size : {1u, 16u, 4096u, 100000u}) {
        SCOPED_TRACE(size);
        const Usage before = LiveUsage();
        os::Block block = os::BlockAlloc(size, true);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(LiveUsage().blocks, before.blocks + 1);
        EXPECT_EQ(LiveUsage().bytes, before.bytes + size);
        auto *data = static_cast<uint8_t *>(os::BlockLock(block));
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(os::BlockOfPointer(data), block);
        EXPECT_EQ(std::vector<uint8_t>(data, data + size),
                  std::vector<uint8_t>(size, 0));
        EXPECT_FALSE(os::BlockUnlock(block)); // the only lock is gone
        EXPECT_TRUE(os::BlockFree(block));
        EXPECT_EQ(LiveUsage(), before);
    }
}

TEST(Platform, AResizedBlockKeepsItsContents) {
    const Usage before = LiveUsage();
    const std::vector<uint8_t> pattern = Pattern(1000, 7);
    auto *data = static_cast<uint8_t *>(Z_OsAlloc(1000));
    ASSERT_NE(data, nullptr);
    std::memcpy(data, pattern.data(), pattern.size());
    for (uint32_t size : {50000u, 3000u, 1000u}) {
        SCOPED_TRACE(size);
        data = static_cast<uint8_t *>(Z_OsReAlloc(data, size));
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(LiveUsage().bytes, before.bytes + size);
        EXPECT_EQ(std::memcmp(data, pattern.data(), pattern.size()), 0);
    }
    EXPECT_EQ(Z_OsFree(data), 0);
    EXPECT_EQ(LiveUsage(), before);
}

TEST(Platform, AFailedResizeLeavesTheOldBlockWithItsContents) {
    const Usage before = LiveUsage();
    const std::vector<uint8_t> pattern = Pattern(64, 3);
    auto *data = static_cast<uint8_t *>(Z_OsAlloc(64));
    ASSERT_NE(data, nullptr);
    std::memcpy(data, pattern.data(), pattern.size());
    {
        FailureScope failure(1);
        EXPECT_EQ(Z_OsReAlloc(data, 1 << 20), nullptr);
        EXPECT_TRUE(failure.fired());
    }
    EXPECT_EQ(std::memcmp(data, pattern.data(), pattern.size()), 0);
    EXPECT_EQ(Z_OsFree(data), 0);
    EXPECT_EQ(LiveUsage(), before);
}

TEST(Platform, AnEmptyAllocationIsStillABlock) {
    const Usage before = LiveUsage();
    void *data = Z_OsAlloc(0);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(LiveUsage().blocks, before.blocks + 1);
    EXPECT_EQ(Z_OsFree(data), 0);
    EXPECT_EQ(LiveUsage(), before);
    EXPECT_EQ(Z_OsFree(nullptr), 0);
}

// ---- the mapping tier ---------------------------------------------------------

TEST(Platform, AMappingIsZeroedWritableAndCountedAsOneObject) {
    for (uint32_t size : {1u, 4096u, 3u * 65536u + 5u}) {
        SCOPED_TRACE(size);
        const Usage before = LiveUsage();
        ZHANDLE mapping = nullptr;
        void *view = nullptr;
        ASSERT_TRUE(os::MappingCreate(size, &mapping, &view));
        ASSERT_NE(mapping, nullptr);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(LiveUsage().objects, before.objects + 1);
        auto *bytes = static_cast<uint8_t *>(view);
        EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size),
                  std::vector<uint8_t>(size, 0));
        std::memset(bytes, 0xA5, size);
        EXPECT_EQ(bytes[size - 1], 0xA5);
        os::MappingDestroy(mapping, view);
        EXPECT_EQ(LiveUsage(), before);
    }
}

TEST(Platform, AnEmptyMappingIsRefusedAndLeavesTheOutputsAlone) {
    const Usage before = LiveUsage();
    ZHANDLE mapping = &mapping;
    void *view = &view;
    EXPECT_FALSE(os::MappingCreate(0, &mapping, &view));
    EXPECT_EQ(mapping, static_cast<ZHANDLE>(&mapping));
    EXPECT_EQ(view, static_cast<void *>(&view));
    EXPECT_EQ(LiveUsage(), before);
}

// ---- files -------------------------------------------------------------------

TEST(Platform, TemporaryNamesLieInTheTemporaryFolderAndExist) {
    char folder[os::kMaxPath] = {};
    const uint32_t length = os::TempPath(folder, sizeof folder);
    ASSERT_GT(length, 0u);
    ASSERT_LT(length, sizeof folder);
    EXPECT_TRUE(folder[length - 1] == '/' || folder[length - 1] == '\\');
    TempFile first;
    TempFile second;
    EXPECT_EQ(std::string(first.name).rfind(folder, 0), 0u);
    EXPECT_EQ(BaseName(first.name).substr(0, 2), "ZD");
    EXPECT_STRNE(first.name, second.name);
    // The name was made by creating the file.
    ZHANDLE file = Z_OsOpen(first.name, 0, 0x180);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsClose(file), 0);
}

TEST(Platform, FilesWriteSeekAndReadBack) {
    TempFile temp;
    const Usage before = LiveUsage();
    ZHANDLE file = Z_OsCreat(temp.name, 0);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(LiveUsage().objects, before.objects + 1);
    const std::vector<uint8_t> pattern = Pattern(10, 1);
    EXPECT_EQ(Z_OsWrite(file, pattern.data(), 10), 10);
    struct Seek {
        int32_t offset;
        int32_t origin;
        uint32_t expected;
    };
    // Origin 0 is the start, 1 the current place, anything else the end.
    const Seek seeks[] = {{0, 0, 0}, {3, 1, 3},  {-4, 2, 6},
                          {-1, 5, 9}, {-2, 1, 7}, {-1, 0, 0xFFFFFFFFu}};
    for (const Seek &seek : seeks) {
        SCOPED_TRACE(testing::Message() << seek.offset << "," << seek.origin);
        EXPECT_EQ(Z_OsSeek(file, seek.offset, seek.origin), seek.expected);
    }
    std::vector<uint8_t> back(16, 0);
    EXPECT_EQ(Z_OsSeek(file, 2, 0), 2u);
    EXPECT_EQ(Z_OsRead(file, back.data(), 16), 8);
    EXPECT_EQ(std::vector<uint8_t>(back.begin(), back.begin() + 8),
              std::vector<uint8_t>(pattern.begin() + 2, pattern.end()));
    EXPECT_EQ(Z_OsRead(file, back.data(), 16), 0);
    EXPECT_EQ(Z_OsClose(file), 0);
    EXPECT_EQ(LiveUsage(), before);
}

TEST(Platform, MissingFilesAndNonFilesFail) {
    TempFile temp;
    ASSERT_EQ(Z_OsDelete(temp.name), 0);
    EXPECT_EQ(Z_OsDelete(temp.name), -1);
    const Usage before = LiveUsage();
    // Open flags without 0x100 open an existing file only.
    EXPECT_EQ(Z_OsOpen(temp.name, 2, 0x180), Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsOpen(temp.name, 0x202, 0x180), Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsClose(Z_INVALID_HANDLE), -1);
    EXPECT_EQ(LiveUsage(), before);
}

TEST(Platform, CreateAlwaysAndTruncateEmptyAFile) {
    TempFile temp;
    const uint8_t bytes[4] = {1, 2, 3, 4};
    for (int32_t flags : {0x102, 0x202}) {
        SCOPED_TRACE(flags);
        ZHANDLE file = Z_OsOpen(temp.name, 2, 0x180);
        ASSERT_NE(file, Z_INVALID_HANDLE);
        EXPECT_EQ(Z_OsWrite(file, bytes, 4), 4);
        EXPECT_EQ(Z_OsClose(file), 0);
        file = Z_OsOpen(temp.name, flags, 0x180);
        ASSERT_NE(file, Z_INVALID_HANDLE);
        EXPECT_EQ(Z_OsSeek(file, 0, 2), 0u);
        EXPECT_EQ(Z_OsClose(file), 0);
    }
}

// The runtime-style flags of Z_OsOpen, read into a platform request. With
// neither permission bit the open flags themselves become the share mode.
TEST(Platform, OpenFlagsAreReadInTheRuntimesManner) {
    struct Case {
        int32_t open, permission;
        uint32_t access, share, creation, attributes;
    };
    const uint32_t r = os::kAccessRead, w = os::kAccessWrite, rw = r | w;
    const Case cases[] = {
        {0, 0x180, r, 3, os::kOpenExisting, os::kAttributeReadOnly},
        {1, 0x180, w, 3, os::kOpenExisting, os::kAttributeNormal},
        {2, 0x100, rw, 1, os::kOpenExisting, os::kAttributeNormal},
        {3, 0x080, rw, 0, os::kOpenExisting, os::kAttributeNormal},
        {0x102, 0x180, rw, 3, os::kCreateAlways, os::kAttributeNormal},
        {0x202, 0x180, rw, 3, os::kTruncateExisting, os::kAttributeNormal},
        {0x302, 0x180, rw, 3, os::kCreateAlways, os::kAttributeNormal},
        {2, 0, rw, 2, os::kOpenExisting, os::kAttributeNormal},
        {0, 0, r, 0, os::kOpenExisting, os::kAttributeReadOnly},
        {0x101, 0, w, 0x101, os::kCreateAlways, os::kAttributeNormal},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.open << " " << c.permission);
        const os::FileRequest request = os::TranslateOpenFlags(c.open, c.permission);
        EXPECT_EQ(request.access, c.access);
        EXPECT_EQ(request.share, c.share);
        EXPECT_EQ(request.creation, c.creation);
        EXPECT_EQ(request.attributes, c.attributes);
    }
}

// Bit 0 of the attribute word creates the file for reading alone.
TEST(Platform, AReadOnlyCreateRefusesWrites) {
    TempFile temp;
    ZHANDLE file = Z_OsCreat(temp.name, 1);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsWrite(file, "x", 1), -1);
    EXPECT_EQ(Z_OsClose(file), 0);
}

// Bitmap files are held by OS handle, which the C runtime's descriptor-based
// resize doesn't know: the change fails and the file keeps its length.
TEST(Platform, TheRuntimeCannotResizeAFileHeldByHandle) {
    TempFile temp;
    ZHANDLE file = Z_OsCreat(temp.name, 0);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    const uint8_t byte = 9;
    ASSERT_EQ(Z_OsWrite(file, &byte, 1), 1);
    EXPECT_FALSE(os::RuntimeChangeSize(file, 4096));
    EXPECT_EQ(Z_OsSeek(file, 0, 2), 1u);
    EXPECT_EQ(Z_OsClose(file), 0);
}

#if defined(_WIN32)
// Share modes reach the platform as given; only Windows enforces them.
TEST(Platform, ShareModesAreThePlatformsOwn) {
    TempFile temp;
    struct Case {
        int32_t permission;
        bool secondOpens;
    };
    // 0x80 alone shares nothing; 0x80 with 0x100 shares reading and
    // writing; no bit passes the open flags (2: share writing) through.
    const Case cases[] = {{0x80, false}, {0x180, true}, {0, false}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.permission);
        ZHANDLE first = Z_OsOpen(temp.name, 2, c.permission);
        ASSERT_NE(first, Z_INVALID_HANDLE);
        ZHANDLE second = Z_OsOpen(temp.name, 2, 0x180);
        EXPECT_EQ(second != Z_INVALID_HANDLE, c.secondOpens);
        if (second != Z_INVALID_HANDLE)
            Z_OsClose(second);
        Z_OsClose(first);
    }
}
#endif

// ---- palettes and the screen ---------------------------------------------------

std::vector<os::PaletteEntry> Entries() {
    return {{0, 0, 0, 0},       {255, 0, 0, 1},   {0, 200, 0, 4},
            {10, 20, 250, 0},   {128, 128, 128, 0}};
}

bool Same(const os::PaletteEntry &a, const os::PaletteEntry &b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue &&
           a.flags == b.flags;
}

TEST(Platform, APaletteGivesBackWhatItWasMadeFrom) {
    const Usage before = LiveUsage();
    const std::vector<os::PaletteEntry> in = Entries();
    ZHPALETTE palette = os::PaletteCreate(in.data(), uint32_t(in.size()));
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(LiveUsage().objects, before.objects + 1);
    EXPECT_EQ(os::PaletteEntryCount(palette), 5u);
    std::vector<os::PaletteEntry> out(5, os::PaletteEntry{9, 9, 9, 9});
    EXPECT_EQ(os::PaletteGetEntries(palette, 0, 5, out.data()), 5u);
    for (size_t i = 0; i < 5; ++i)
        EXPECT_TRUE(Same(out[i], in[i])) << i;
    EXPECT_TRUE(os::PaletteDelete(palette));
    EXPECT_EQ(LiveUsage(), before);
}

TEST(Platform, PaletteTransfersStopAtTheLastEntry) {
    const std::vector<os::PaletteEntry> in = Entries();
    ZHPALETTE palette = os::PaletteCreate(in.data(), uint32_t(in.size()));
    ASSERT_NE(palette, nullptr);
    struct Case {
        uint32_t first;
        uint32_t count;
        uint32_t delivered;
    };
    const Case cases[] = {{0, 5, 5}, {3, 10, 2}, {4, 1, 1},
                          {5, 1, 0}, {9, 3, 0},  {0, 0, 0}};
    const os::PaletteEntry untouched{7, 7, 7, 7};
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << "+" << c.count);
        std::vector<os::PaletteEntry> out(12, untouched);
        EXPECT_EQ(os::PaletteGetEntries(palette, c.first, c.count, out.data()),
                  c.delivered);
        for (uint32_t i = 0; i < out.size(); ++i) {
            if (i < c.delivered)
                EXPECT_TRUE(Same(out[i], in[c.first + i])) << i;
            else
                EXPECT_TRUE(Same(out[i], untouched)) << i;
        }
    }
    const std::vector<os::PaletteEntry> put(3, os::PaletteEntry{1, 2, 3, 0});
    EXPECT_EQ(os::PaletteSetEntries(palette, 3, 3, put.data()), 2u);
    EXPECT_EQ(os::PaletteSetEntries(palette, 5, 1, put.data()), 0u);
    EXPECT_EQ(os::PaletteSetEntries(palette, 0, 0, put.data()), 0u);
    std::vector<os::PaletteEntry> out(5);
    ASSERT_EQ(os::PaletteGetEntries(palette, 0, 5, out.data()), 5u);
    EXPECT_TRUE(Same(out[2], in[2]));
    EXPECT_TRUE(Same(out[3], put[0]));
    EXPECT_TRUE(Same(out[4], put[0]));
    EXPECT_TRUE(os::ObjectDelete(palette));
}

// Only colours with a single nearest entry are asked: ties are the
// platform's to break.
TEST(Platform, TheNearestEntryIsTheClosestColour) {
    const std::vector<os::PaletteEntry> in = Entries();
    ZHPALETTE palette = os::PaletteCreate(in.data(), uint32_t(in.size()));
    ASSERT_NE(palette, nullptr);
    struct Case {
        uint8_t red, green, blue;
        uint32_t index;
    };
    const Case cases[] = {{0, 0, 0, 0},     {255, 0, 0, 1},   {0, 200, 0, 2},
                          {10, 20, 250, 3}, {128, 128, 128, 4}, {20, 10, 5, 0},
                          {240, 30, 10, 1}, {5, 180, 20, 2},  {0, 0, 200, 3},
                          {150, 140, 120, 4}};
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.red) << "," << int(c.green)
                                        << "," << int(c.blue));
        EXPECT_EQ(os::PaletteNearest(palette, c.red, c.green, c.blue), c.index);
    }
    EXPECT_EQ(os::PaletteNearest(nullptr, 1, 2, 3), 0u);
    EXPECT_EQ(os::PaletteEntryCount(nullptr), 0u);
    EXPECT_TRUE(os::PaletteDelete(palette));
}

#if defined(_WIN32)
// A companion module's regions are real drawing objects; deleting one
// through the library doesn't touch the palette count.
TEST(Platform, OtherDrawingObjectsAreDeletedUncounted) {
    const Usage before = LiveUsage();
    HRGN region = CreateRectRgn(0, 0, 4, 4);
    ASSERT_NE(region, nullptr);
    EXPECT_TRUE(os::ObjectDelete(region));
    EXPECT_EQ(GetObjectType(region), 0u);
    EXPECT_EQ(LiveUsage(), before);
}
#endif

TEST(Platform, TheScreenAnswersWithoutFailing) {
    EXPECT_GT(os::ScreenCaps(os::kCapLogPixelsX), 0);
    EXPECT_GT(os::ScreenCaps(os::kCapLogPixelsY), 0);
    EXPECT_GT(os::ScreenCaps(os::kCapBitsPixel), 0);
    std::vector<os::PaletteEntry> out(256, os::PaletteEntry{3, 3, 3, 3});
    const uint32_t got = os::SystemPaletteEntries(0, 256, out.data());
    // Without a palette device there are no system entries to read.
    if ((os::ScreenCaps(os::kCapRasterCaps) & os::kRasterCapsPalette) == 0) {
        EXPECT_EQ(got, 0u);
    }
    EXPECT_EQ(os::SystemPaletteEntries(0, 0, out.data()), 0u);
}

// ---- one fault point per acquisition -------------------------------------------

// Each acquisition arms the failure itself, just before the call, so that
// what it needs beforehand is made normally.
struct Acquisition {
    const char *name;
    std::function<bool()> acquire; // true when it (wrongly) succeeded
};

void ArmFailure() { ztk::test::FailAcquisition(1); }

std::vector<Acquisition> Acquisitions(const char *tempName) {
    return {
        {"BlockAlloc",
         [] {
             ArmFailure();
             return os::BlockAlloc(16, false) != nullptr;
         }},
        {"BlockReAlloc",
         [] {
             os::Block block = os::BlockAlloc(16, false);
             ArmFailure();
             bool moved = os::BlockReAlloc(block, 64) != nullptr;
             os::BlockFree(block);
             return moved;
         }},
        {"MappingCreate",
         [] {
             ZHANDLE mapping = nullptr;
             void *view = nullptr;
             ArmFailure();
             return os::MappingCreate(4096, &mapping, &view);
         }},
        {"FileOpen",
         [tempName] {
             ArmFailure();
             return Z_OsOpen(tempName, 2, 0x180) != Z_INVALID_HANDLE;
         }},
        {"TempFileName",
         [] {
             char name[os::kMaxPath] = {};
             char folder[os::kMaxPath] = {};
             os::TempPath(folder, sizeof folder);
             ArmFailure();
             return os::TempFileName(folder, "ZD", name);
         }},
        {"PaletteCreate",
         [] {
             const os::PaletteEntry entry{1, 2, 3, 0};
             ArmFailure();
             return os::PaletteCreate(&entry, 1) != nullptr;
         }},
    };
}

TEST(Platform, EveryAcquisitionPassesTheFaultPoint) {
    TempFile temp;
    for (const Acquisition &a : Acquisitions(temp.name)) {
        SCOPED_TRACE(a.name);
        const Usage before = LiveUsage();
        EXPECT_FALSE(a.acquire());
        EXPECT_TRUE(ztk::test::FailureFired());
        ztk::test::FailAcquisition(0);
        EXPECT_EQ(LiveUsage(), before);
    }
}

} // namespace

// The Z_Os* family and the OS layer beneath it.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <string>

#include "core/os/os.h"
#include "tests/support/support.h"

namespace {

TEST(OsMemory, BlocksAreCountedAndKeepTheirContentsWhenResized) {
    const ztk::test::Usage before = ztk::test::LiveUsage();
    auto *p = static_cast<uint8_t *>(Z_OsAllocInit(100, 1));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(p[i], 0);
    std::memset(p, 0x5C, 100);
    EXPECT_EQ(ztk::test::LiveUsage().blocks, before.blocks + 1);
    EXPECT_EQ(ztk::test::LiveUsage().bytes, before.bytes + 100);
    p = static_cast<uint8_t *>(Z_OsReAlloc(p, 100000));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(p[i], 0x5C);
    EXPECT_EQ(ztk::test::LiveUsage().bytes, before.bytes + 100000);
    EXPECT_EQ(Z_OsFree(p), 0);
    EXPECT_EQ(ztk::test::LiveUsage(), before);
}

TEST(OsMemory, AFailedResizeKeepsTheOldBlock) {
    auto *p = static_cast<uint8_t *>(Z_OsAlloc(16));
    ASSERT_NE(p, nullptr);
    p[3] = 42;
    {
        ztk::testing::FailureScope fail(1);
        EXPECT_EQ(Z_OsReAlloc(p, 32), nullptr);
    }
    EXPECT_EQ(p[3], 42);
    EXPECT_EQ(Z_OsFree(p), 0);
    ztk::testing::FailureScope fail(1);
    EXPECT_EQ(Z_OsAlloc(16), nullptr);
}

TEST(OsMemory, DataPointersFindTheirBlocks) {
    ztk::os::Block block = ztk::os::BlockAlloc(8, false);
    void *data = ztk::os::BlockLock(block);
    EXPECT_EQ(ztk::os::BlockOfPointer(data), block);
    ztk::os::BlockUnlock(block);
    EXPECT_TRUE(ztk::os::BlockFree(block));
    EXPECT_EQ(Z_OsFree(nullptr), 0);
}

TEST(OsOpen, FlagsAreReadInTheRuntimesManner) {
    using namespace ztk::os;
    struct Case {
        int32_t open, permission;
        uint32_t access, share, creation, attributes;
    };
    const uint32_t rw = kAccessRead | kAccessWrite;
    const Case cases[] = {
        {0, 0x180, kAccessRead, 3, kOpenExisting, kAttributeReadOnly},
        {1, 0x180, kAccessWrite, 3, kOpenExisting, kAttributeNormal},
        {2, 0x100, rw, 1, kOpenExisting, kAttributeNormal},
        {3, 0x080, rw, 0, kOpenExisting, kAttributeNormal},
        {0x102, 0x180, rw, 3, kCreateAlways, kAttributeNormal},
        {0x202, 0x180, rw, 3, kTruncateExisting, kAttributeNormal},
        {0x302, 0x180, rw, 3, kCreateAlways, kAttributeNormal},
        // Neither permission bit: the open flags become the share mode.
        {2, 0, rw, 2, kOpenExisting, kAttributeNormal},
        {0, 0, kAccessRead, 0, kOpenExisting, kAttributeReadOnly},
        {0x101, 0, kAccessWrite, 0x101, kCreateAlways, kAttributeNormal},
    };
    for (const Case &c : cases) {
        FileRequest r = TranslateOpenFlags(c.open, c.permission);
        EXPECT_EQ(r.access, c.access) << std::hex << c.open << " " << c.permission;
        EXPECT_EQ(r.share, c.share) << std::hex << c.open << " " << c.permission;
        EXPECT_EQ(r.creation, c.creation) << std::hex << c.open;
        EXPECT_EQ(r.attributes, c.attributes) << std::hex << c.open;
    }
}

class OsFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(Z_OsGetTempName(name_), 0);
        ASSERT_NE(name_[0], '\0');
    }
    void TearDown() override { Z_OsDelete(name_); }
    char name_[ztk::os::kMaxPath] = {};
};

TEST_F(OsFiles, TemporaryNamesCarryThePrefixAndExist) {
    std::string base = std::filesystem::path(name_).filename().string();
    EXPECT_EQ(base.substr(0, 2), "ZD");
    std::string extension = base.substr(base.size() - 4);
    for (char &c : extension)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(extension, ".TMP"); // the platform may spell it in lower case
    char other[ztk::os::kMaxPath] = {};
    Z_OsGetTempName(other);
    EXPECT_STRNE(name_, other);
    Z_OsDelete(other);
    ZHANDLE file = Z_OsOpen(name_, 0, 0x180);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsClose(file), 0);
}

TEST_F(OsFiles, WriteSeekReadAndTheSeekOrigins) {
    ZHANDLE file = Z_OsCreat(name_, 0);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsWrite(file, "0123456789", 10), 10);
    EXPECT_EQ(Z_OsSeek(file, 2, 0), 2u);
    EXPECT_EQ(Z_OsSeek(file, 3, 1), 5u);
    EXPECT_EQ(Z_OsSeek(file, -1, 2), 9u);
    EXPECT_EQ(Z_OsSeek(file, -4, 5), 6u); // any other origin is the end
    char got[8] = {};
    EXPECT_EQ(Z_OsRead(file, got, 8), 4); // short at the end
    EXPECT_STREQ(got, "6789");
    EXPECT_EQ(Z_OsSeek(file, -20, 0), 0xFFFFFFFFu);
    EXPECT_EQ(Z_OsClose(file), 0);
}

TEST_F(OsFiles, FailureValues) {
    EXPECT_EQ(Z_OsOpen("/nonexistent-folder/x", 2, 0x180), Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsCreat("/nonexistent-folder/x", 0), Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsDelete("/nonexistent-folder/x"), -1);
    EXPECT_EQ(Z_OsSeek(Z_INVALID_HANDLE, 0, 0), 0xFFFFFFFFu);
    char byte;
    EXPECT_EQ(Z_OsRead(Z_INVALID_HANDLE, &byte, 1), -1);
    EXPECT_EQ(Z_OsWrite(Z_INVALID_HANDLE, &byte, 1), -1);
    EXPECT_EQ(Z_OsClose(Z_INVALID_HANDLE), -1);
    // Created read-only (attribute bit 0): writing fails.
    ZHANDLE file = Z_OsCreat(name_, 1);
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsWrite(file, "x", 1), -1);
    Z_OsClose(file);
}

TEST_F(OsFiles, OpenWithTruncateAndCreate) {
    ZHANDLE file = Z_OsOpen(name_, 0x101, 0x180); // write, create always
    ASSERT_NE(file, Z_INVALID_HANDLE);
    Z_OsWrite(file, "abc", 3);
    Z_OsClose(file);
    file = Z_OsOpen(name_, 0x202, 0x180); // truncate existing
    ASSERT_NE(file, Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsSeek(file, 0, 2), 0u);
    Z_OsClose(file);
    Z_OsDelete(name_);
    EXPECT_EQ(Z_OsOpen(name_, 0x202, 0x180), Z_INVALID_HANDLE);
    EXPECT_EQ(Z_OsOpen(name_, 2, 0x180), Z_INVALID_HANDLE);
}

TEST(OsPalettes, EntriesNearestAndLifetime) {
    using ztk::os::PaletteEntry;
    const ztk::test::Usage before = ztk::test::LiveUsage();
    const PaletteEntry entries[] = {
        {0, 0, 0, 0}, {10, 10, 10, 7}, {10, 10, 10, 0}, {255, 255, 255, 0}};
    ZHPALETTE palette = ztk::os::PaletteCreate(entries, 4);
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(ztk::os::PaletteEntryCount(palette), 4u);
    PaletteEntry out[4] = {};
    EXPECT_EQ(ztk::os::PaletteGetEntries(palette, 2, 5, out), 2u);
    EXPECT_EQ(out[1].red, 255);
    EXPECT_EQ(ztk::os::PaletteGetEntries(palette, 4, 1, out), 0u);
    EXPECT_EQ(ztk::os::PaletteNearest(palette, 9, 9, 9), 1u); // first of a tie
    EXPECT_EQ(ztk::os::PaletteNearest(palette, 200, 200, 200), 3u);
    const PaletteEntry red = {255, 0, 0, 0};
    EXPECT_EQ(ztk::os::PaletteSetEntries(palette, 3, 1, &red), 1u);
    EXPECT_EQ(ztk::os::PaletteNearest(palette, 250, 0, 0), 3u);
    EXPECT_TRUE(ztk::os::ObjectDelete(palette));
    EXPECT_EQ(ztk::test::LiveUsage(), before);
    EXPECT_EQ(ztk::os::ScreenCaps(ztk::os::kCapRasterCaps) &
                  ztk::os::kRasterCapsPalette,
              0);
}

} // namespace

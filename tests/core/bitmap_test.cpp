// The bitmap record and its storage tiers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include <cstring>
#include <string>

#include "core/guards.h"
#include "core/os/os.h"
#include "core/testhooks.h"
#include "tests/support/support.h"

namespace {

using ztk::testing::Bitmap;
using ztk::testing::SameRecord;
using ztk::testing::Tier;
using ztk::testing::TierScope;

bool FileExists(const char *name) { return std::filesystem::exists(name); }

BitmapHandle Filled(uint8_t byte) {
    BitmapHandle h;
    std::memset(&h, byte, sizeof h);
    return h;
}

TEST(InitBitmap, StrideIsWholeWordsOfTheRow) {
    struct Case {
        int32_t width, bits;
        uint32_t stride;
    };
    const Case cases[] = {{1, 1, 4},   {32, 1, 4},  {33, 1, 8},  {3, 24, 12},
                          {1, 12, 4},  {3, 12, 8},  {5, 3, 4},   {11, 3, 8},
                          {7, 5, 8},   {1, 32, 4},  {10, 16, 20}, {13, 8, 16},
                          {0, 8, 0}};
    for (const Case &c : cases) {
        Bitmap b(c.width, 7, c.bits);
        EXPECT_EQ(b->BytesPerLine, c.stride) << c.width << "x" << c.bits;
        EXPECT_EQ(b->Size, c.stride * 7u);
    }
}

TEST(InitBitmap, FieldsFollowTheDepth) {
    struct Case {
        int32_t bits, order, colors;
    };
    const Case cases[] = {{1, 0, 2},  {3, 0, 8},  {8, 0, 256}, {12, 2, 0},
                          {16, 1, 0}, {24, 1, 0}, {32, 1, 0}};
    for (const Case &c : cases) {
        Bitmap b(10, 2, c.bits);
        EXPECT_EQ(b->Order, c.order) << c.bits;
        EXPECT_EQ(b->ColorCount, c.colors) << c.bits;
        EXPECT_EQ(b->ViewPerspective, 2);
        EXPECT_EQ(b->LowBit, 0);
        EXPECT_EQ(b->BaseLowBit, 0);
        EXPECT_EQ(b->HighBit, c.bits - 1);
        EXPECT_EQ(b->BaseHighBit, c.bits - 1);
        EXPECT_EQ(b->LowValue, 0);
        EXPECT_EQ(b->HighValue, 0);
        EXPECT_EQ(b->DitheringMethod, 7u);
        EXPECT_EQ(b->XResolution, 150);
        EXPECT_EQ(b->Flags, 0u);
    }
}

TEST(InitBitmap, ARefusedDepthLeavesAnEmptyRecord) {
    const BitmapHandle zero{};
    for (int32_t bits : {0, 9, 10, 33, -1, 64}) {
        BitmapHandle h = Filled(0xA5);
        EXPECT_EQ(Z_InitBitmap(&h, 10, 10, bits), Z_ERR_BITSPERPIXEL) << bits;
        EXPECT_TRUE(SameRecord(h, zero)) << bits;
    }
}

TEST(InitBitmap, ResolutionsAtOrBelowZeroBecome150) {
    int32_t oldX = Z_SetDefaultXResolution(0);
    int32_t oldY = Z_SetDefaultYResolution(-5);
    Bitmap b(4, 4, 8);
    EXPECT_EQ(b->XResolution, 150);
    EXPECT_EQ(b->YResolution, 150);
    EXPECT_EQ(Z_GetDefaultXResolution(), 0);
    Z_SetDefaultXResolution(300);
    Z_SetDefaultYResolution(72);
    Bitmap c(4, 4, 8);
    EXPECT_EQ(c->XResolution, 300);
    EXPECT_EQ(c->YResolution, 72);
    Z_SetDefaultXResolution(oldX);
    Z_SetDefaultYResolution(oldY);
}

TEST(AllocateBitmap, EveryRequestGivesAMappingOnOrdinaryPlatforms) {
    for (int32_t memory : {MEMORY_ANY, MEMORY_DISK, MEMORY_NODISK}) {
        Bitmap b(100, 20, 24);
        ASSERT_EQ(Z_AllocateBitmap(b.get(), memory), Z_OK) << memory;
        EXPECT_EQ(b->Flags, BITMAP_ALLOCATED | BITMAP_INMEMORY) << memory;
        ASSERT_NE(b->Data, nullptr);
        ASSERT_NE(b->Storage, nullptr);
        // Committed, zero-filled memory.
        const auto *p = static_cast<const uint8_t *>(b->Data);
        for (uint32_t i = 0; i < b->Size; i += 97)
            ASSERT_EQ(p[i], 0);
    }
}

TEST(AllocateBitmap, RefusedRequests) {
    {
        Bitmap b(0, 10, 8);
        EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_ERR_EMPTY);
    }
    for (int32_t memory : {0, 2, 64, 129, 257, 384}) {
        Bitmap b(8, 8, 8);
        EXPECT_EQ(Z_AllocateBitmap(b.get(), memory), Z_ERR_PARAM) << memory;
        EXPECT_EQ(b->Flags & BITMAP_ALLOCATED, 0u);
    }
    // Compressed alone on a depth that can't be compressed drops to 0.
    Bitmap b(8, 8, 8);
    EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_COMPRESSED), Z_ERR_PARAM);
}

TEST(AllocateBitmap, CompressionOnADeepBitmapIsAPlainRequest) {
    Bitmap b(8, 8, 8);
    EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_COMPRESSED | MEMORY_ANY), Z_OK);
    EXPECT_EQ(b->Flags & BITMAP_COMPRESSED, 0u);
    EXPECT_NE(b->Flags & BITMAP_INMEMORY, 0u);
}

TEST(AllocateBitmap, APassedThroughCompressedBitStaysOnAPlainRequest) {
    Bitmap b(8, 8, 8);
    b->Flags |= BITMAP_COMPRESSED;
    EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_COMPRESSED | MEMORY_ANY), Z_OK);
    EXPECT_NE(b->Flags & BITMAP_COMPRESSED, 0u);
    b->Flags &= ~BITMAP_COMPRESSED; // so that the free takes the plain path
    // Without the compression bit in the request the flag is cleared.
    Bitmap c(8, 8, 8);
    c->Flags |= BITMAP_COMPRESSED;
    EXPECT_EQ(Z_AllocateBitmap(c.get(), MEMORY_ANY), Z_OK);
    EXPECT_EQ(c->Flags & BITMAP_COMPRESSED, 0u);
}

TEST(AllocateBitmap, TheGateGuardsGrayOrder) {
    ztk::test::LockFeature(SUPPORT_GRAY_ORDER, true);
    Bitmap b(8, 8, 12);
    EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_ERR_LOCKED);
    EXPECT_EQ(b->Flags, 0u);
    Bitmap c(8, 8, 16); // Order 1: not guarded
    EXPECT_EQ(Z_AllocateBitmap(c.get(), MEMORY_ANY), Z_OK);
    ztk::test::LockFeature(SUPPORT_GRAY_ORDER, false);
    EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
}

TEST(AllocateBitmap, DimensionsThatWrapAreRefusedNotUnderAllocated) {
    Bitmap b(0x40000000, 8, 32); // stride wraps to 0 in 32 bits
    b->Size = 64;                // as a hand-made record might claim
    EXPECT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_ERR_NOMEM);
    Bitmap c(70000, 70000, 32); // the size wraps past 4 GiB
    EXPECT_EQ(Z_AllocateBitmap(c.get(), MEMORY_ANY), Z_ERR_NOMEM);
}

TEST(AllocateBitmap, SixteenBitHostTiers) {
    TierScope host(Tier::GlobalBlock);
    Bitmap block(16, 4, 8);
    ASSERT_EQ(Z_AllocateBitmap(block.get(), MEMORY_ANY), Z_OK);
    EXPECT_EQ(block->Flags, BITMAP_ALLOCATED | BITMAP_INMEMORY);
    EXPECT_EQ(block->Data, nullptr); // usable only while locked

    Bitmap file(16, 4, 8);
    ASSERT_EQ(Z_AllocateBitmap(file.get(), MEMORY_DISK), Z_OK);
    EXPECT_EQ(file->Flags, BITMAP_ALLOCATED | BITMAP_ONDISK);
    const char *name = static_cast<const char *>(file->Data);
    EXPECT_EQ(std::filesystem::path(name).filename().string().substr(0, 2),
              "ZD");
    ASSERT_TRUE(FileExists(name));
    EXPECT_EQ(std::filesystem::file_size(name), file->Size + 1u); // the byte at Size
}

TEST(AllocateBitmap, AnyFallsToATemporaryFileWhenMemoryFails) {
    TierScope host(Tier::GlobalBlock);
    Bitmap b(16, 4, 8);
    {
        ztk::testing::FailureScope fail(1);
        ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
        EXPECT_TRUE(fail.fired());
    }
    EXPECT_EQ(b->Flags, BITMAP_ALLOCATED | BITMAP_ONDISK);
    Bitmap c(16, 4, 8);
    {
        ztk::testing::FailureScope fail(1);
        EXPECT_EQ(Z_AllocateBitmap(c.get(), MEMORY_NODISK), Z_ERR_NOMEM);
    }
    EXPECT_EQ(c->Flags, 0u);
}

TEST(FreeBitmap, TemporaryFileIsGoneAndASecondFreeDoesNothing) {
    TierScope host(Tier::TemporaryFile);
    BitmapHandle b;
    Z_InitBitmap(&b, 16, 4, 8);
    ASSERT_EQ(Z_AllocateBitmap(&b, MEMORY_DISK), Z_OK);
    std::string name = static_cast<const char *>(b.Data);
    ASSERT_TRUE(FileExists(name.c_str()));
    Z_FreeBitmap(&b);
    EXPECT_FALSE(FileExists(name.c_str()));
    EXPECT_EQ(b.Flags, 0u);
    BitmapHandle after = b;
    Z_FreeBitmap(&b);
    EXPECT_TRUE(SameRecord(after, b));
}

TEST(FreeBitmap, PaletteAndGrayTableGoWithTheBitmap) {
    const ztk::test::Usage before = ztk::test::LiveUsage();
    {
        Bitmap b(8, 8, 16);
        ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
        b->Palette = ztk::os::PaletteCreate(nullptr, 2);
        b->GrayLUT = static_cast<RGBQUAD *>(Z_OsAlloc(16));
        b->GrayLUTLength = 4;
    }
    EXPECT_EQ(ztk::test::LiveUsage(), before);
}

TEST(FreeBitmap, PaletteGoesEvenFromAnUnallocatedRecord) {
    const ztk::test::Usage before = ztk::test::LiveUsage();
    BitmapHandle b;
    Z_InitBitmap(&b, 8, 8, 8);
    b.Palette = ztk::os::PaletteCreate(nullptr, 2);
    Z_FreeBitmap(&b);
    EXPECT_EQ(b.Palette, nullptr);
    EXPECT_EQ(ztk::test::LiveUsage(), before);
}

TEST(FreeBitmap, AMirroredBlockIsLeftToItsOwner) {
    // A block the bitmap merely borrows, with the pixels 8 bytes in.
    ztk::os::Block block = ztk::os::BlockAlloc(64, true);
    auto *bytes = static_cast<uint8_t *>(ztk::os::BlockLock(block));
    bytes[8] = 0x5A;
    ztk::os::BlockUnlock(block);

    BitmapHandle b;
    Z_InitBitmap(&b, 4, 4, 8);
    b.Storage = block;
    b.DataOffset = 8;
    b.Flags = BITMAP_ALLOCATED | BITMAP_INMEMORY | BITMAP_MIRROR;
    b.Palette = ztk::os::PaletteCreate(nullptr, 2);

    int32_t previous = Z_LockBitmap(&b);
    EXPECT_EQ(previous, 0);
    ASSERT_EQ(static_cast<uint8_t *>(b.Data)[0], 0x5A); // DataOffset applied
    EXPECT_EQ(Z_ChangeBitmapHeight(&b, 2), Z_ERR_PARAM);
    Z_UnlockBitmap(&b, previous);
    EXPECT_EQ(Z_ChangeBitmapHeight(&b, 2), Z_ERR_PARAM); // mirrored

    Z_FreeBitmap(&b);
    EXPECT_EQ(b.Palette, nullptr);
    EXPECT_EQ(b.Flags, 0u);
    bytes = static_cast<uint8_t *>(ztk::os::BlockLock(block));
    EXPECT_EQ(bytes[8], 0x5A);
    ztk::os::BlockUnlock(block);
    ztk::os::BlockFree(block);
}

TEST(FreeImage, FlagZeroHandsPaletteAndRegionToTheCaller) {
    Bitmap b(8, 8, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
    ZHPALETTE palette = ztk::os::PaletteCreate(nullptr, 2);
    auto *region = static_cast<ZarnRgn *>(Z_OsAllocInit(sizeof(ZarnRgn), 1));
    b->Palette = palette;
    b->Region = region;
    EXPECT_EQ(Z_FreeImage(b.get(), 0), Z_OK);
    EXPECT_EQ(b->Palette, nullptr);
    EXPECT_EQ(b->Region, nullptr);
    EXPECT_EQ(ztk::os::PaletteEntryCount(palette), 2u); // still alive
    EXPECT_EQ(Z_DeleteZarnRgn(region), Z_OK);
    ztk::os::PaletteDelete(palette);
}

// The caller's palette goes with its old image only under Free; either way
// the caller's record becomes the replacement's words and the old pixels go.
TEST(ReplaceRecord, TheRuleDecidesWhetherTheCallersPaletteGoes) {
    using ztk::CallerObjects;
    for (CallerObjects objects : {CallerObjects::Keep, CallerObjects::Free}) {
        Bitmap caller(8, 8, 8), replacement(4, 2, 8);
        ASSERT_EQ(Z_AllocateBitmap(caller.get(), MEMORY_ANY), Z_OK);
        ASSERT_EQ(Z_AllocateBitmap(replacement.get(), MEMORY_ANY), Z_OK);
        ZHPALETTE palette = ztk::os::PaletteCreate(nullptr, 2);
        caller->Palette = palette;
        const int64_t before = ztk::test::LiveUsage().objects;
        ztk::ReplaceRecord(caller.get(), replacement.get(), objects);
        EXPECT_TRUE(SameRecord(caller.h, replacement.h));
        const bool keep = objects == CallerObjects::Keep;
        EXPECT_EQ(ztk::test::LiveUsage().objects, before - (keep ? 1 : 2));
        if (keep)
            ztk::os::PaletteDelete(palette);
        replacement.h = BitmapHandle{}; // its words live on in the caller
    }
}

TEST(FreeImage, AnUnallocatedBitmapIsLeftAlone) {
    Bitmap b(8, 8, 8);
    b->Palette = ztk::os::PaletteCreate(nullptr, 2);
    BitmapHandle before = b.h;
    EXPECT_EQ(Z_FreeImage(b.get(), 1), Z_OK);
    EXPECT_TRUE(SameRecord(before, b.h));
    EXPECT_EQ(Z_FreeImage(nullptr, 1), Z_OK);
}

TEST(Lock, NestsByHandingBackThePreviousState) {
    TierScope host(Tier::GlobalBlock);
    Bitmap b(8, 8, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_NODISK), Z_OK);
    int32_t first = Z_LockBitmap(b.get());
    int32_t second = Z_LockBitmap(b.get());
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    ASSERT_NE(b->Data, nullptr);
    Z_UnlockBitmap(b.get(), second);
    EXPECT_NE(b->Flags & BITMAP_LOCKED, 0u);
    EXPECT_EQ(Z_ChangeBitmapHeight(b.get(), 8), Z_ERR_PARAM); // state first
    Z_UnlockBitmap(b.get(), first);
    EXPECT_EQ(b->Flags & BITMAP_LOCKED, 0u);
    EXPECT_EQ(b->Data, nullptr);
}

TEST(Lock, AccessAndReleaseArePlainOnAndOff) {
    TierScope host(Tier::GlobalBlock);
    Bitmap b(8, 8, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_NODISK), Z_OK);
    Z_AccessBitmap(b.get());
    Z_AccessBitmap(b.get());
    EXPECT_NE(b->Flags & BITMAP_LOCKED, 0u);
    Z_ReleaseBitmap(b.get());
    EXPECT_EQ(b->Flags & BITMAP_LOCKED, 0u);
    EXPECT_EQ(b->Data, nullptr);
    // A locked bitmap is unlocked by the free.
    Z_AccessBitmap(b.get());
    Z_FreeBitmap(b.get());
    EXPECT_EQ(b->Flags, 0u);
}

TEST(Lock, DoesNothingOnAMappingOrAFile) {
    Bitmap m(8, 8, 8);
    ASSERT_EQ(Z_AllocateBitmap(m.get(), MEMORY_ANY), Z_OK);
    void *view = m->Data;
    EXPECT_EQ(Z_LockBitmap(m.get()), 0);
    Z_AccessBitmap(m.get());
    EXPECT_EQ(m->Flags & BITMAP_LOCKED, 0u);
    Z_ReleaseBitmap(m.get());
    EXPECT_EQ(m->Data, view);

    TierScope host(Tier::TemporaryFile);
    Bitmap f(8, 8, 8);
    ASSERT_EQ(Z_AllocateBitmap(f.get(), MEMORY_DISK), Z_OK);
    EXPECT_EQ(Z_LockBitmap(f.get()), 0);
    EXPECT_EQ(f->Flags & BITMAP_LOCKED, 0u);
}

TEST(CopyBitmapHandle, CopiesTheWholeRecord) {
    Bitmap b(8, 8, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
    BitmapHandle copy = Filled(0x11);
    Z_CopyBitmapHandle(&copy, b.get());
    EXPECT_TRUE(SameRecord(copy, b.h));
}

// ---- height changes ---------------------------------------------------------

class HeightOnTier : public ::testing::TestWithParam<Tier> {};
// Temporary files keep their height, so only the memory tiers resize.
class HeightOnMemoryTier : public ::testing::TestWithParam<Tier> {};

TEST_P(HeightOnMemoryTier, GrowKeepsRowsAndShrinkKeepsTheRest) {
    TierScope host(GetParam());
    Bitmap b(30, 5, 24);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), ztk::testing::MemoryFor(GetParam())),
              Z_OK);
    const uint32_t stride = b->BytesPerLine;
    std::vector<uint8_t> rows = ztk::testing::Pattern(stride * 5, 7);
    int32_t lock = Z_LockBitmap(b.get());
    Z_PutBitmapRow(b.get(), rows.data(), 0, stride * 5);
    std::vector<uint8_t> scratch(stride);
    Z_GetBitmapRow(b.get(), scratch.data(), 3, stride); // moves the cache
    Z_UnlockBitmap(b.get(), lock);

    ASSERT_EQ(Z_ChangeBitmapHeight(b.get(), 9), Z_OK);
    EXPECT_EQ(b->Height, 9);
    EXPECT_EQ(b->Size, stride * 9);
    EXPECT_EQ(b->CurrentRow, 0u);
    EXPECT_EQ(b->CurrentRowOffset, 0u);
    std::vector<uint8_t> back(stride * 5);
    lock = Z_LockBitmap(b.get());
    Z_GetBitmapRow(b.get(), back.data(), 0, stride * 5);
    Z_UnlockBitmap(b.get(), lock);
    EXPECT_EQ(back, rows);

    ASSERT_EQ(Z_ChangeBitmapHeight(b.get(), 2), Z_OK);
    EXPECT_EQ(b->Size, stride * 2);
    lock = Z_LockBitmap(b.get());
    Z_GetBitmapRow(b.get(), back.data(), 0, stride * 2);
    Z_UnlockBitmap(b.get(), lock);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + stride * 2,
                           rows.begin()));
    EXPECT_EQ(Z_ChangeBitmapHeight(b.get(), 2), Z_OK); // the same height
}

TEST_P(HeightOnTier, AFailedChangeLeavesTheBitmapAsItWas) {
    TierScope host(GetParam());
    ztk::testing::SweepFailures([&](uint32_t, const auto &armed) {
        Bitmap b(30, 5, 8);
        ASSERT_EQ(
            Z_AllocateBitmap(b.get(), ztk::testing::MemoryFor(GetParam())),
            Z_OK);
        const BitmapHandle before = b.h;
        const ztk::test::Usage usage = ztk::test::LiveUsage();
        ztk::testing::SweepRun run =
            armed([&] { return Z_ChangeBitmapHeight(b.get(), 40); });
        if (run.fired || GetParam() == Tier::TemporaryFile) {
            EXPECT_EQ(run.result, Z_ERR_NOMEM);
            EXPECT_TRUE(SameRecord(before, b.h));
            EXPECT_EQ(ztk::test::LiveUsage(), usage);
        } else {
            EXPECT_EQ(run.result, Z_OK);
            EXPECT_EQ(b->Height, 40);
        }
    });
}

TEST(ChangeBitmapHeight, TemporaryFilesKeepTheirHeight) {
    TierScope host(Tier::TemporaryFile);
    Bitmap b(30, 5, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_DISK), Z_OK);
    const BitmapHandle before = b.h;
    EXPECT_EQ(Z_ChangeBitmapHeight(b.get(), 9), Z_ERR_NOMEM);
    EXPECT_TRUE(SameRecord(before, b.h));
}

TEST(ChangeBitmapHeight, RefusedStates) {
    EXPECT_EQ(Z_ChangeBitmapHeight(nullptr, 3), Z_ERR_NOBITMAP);
    Bitmap b(8, 8, 8);
    EXPECT_EQ(Z_ChangeBitmapHeight(b.get(), 3), Z_ERR_NOBITMAP);
}

INSTANTIATE_TEST_SUITE_P(Tiers, HeightOnMemoryTier,
                         ::testing::Values(Tier::Mapping, Tier::GlobalBlock),
                         [](const auto &info) {
                             return ztk::testing::TierName(info.param);
                         });
INSTANTIATE_TEST_SUITE_P(Tiers, HeightOnTier,
                         ::testing::Values(Tier::Mapping, Tier::GlobalBlock,
                                           Tier::TemporaryFile),
                         [](const auto &info) {
                             return ztk::testing::TierName(info.param);
                         });

// ---- allocation failures ------------------------------------------------------

class AllocateOnTier : public ::testing::TestWithParam<Tier> {};

// Every failure leaves nothing allocated, nothing leaked and no stray file;
// the record changes only where a failing temporary file marks Storage.
TEST_P(AllocateOnTier, FailuresLeaveNothingBehind) {
    TierScope host(GetParam());
    const int32_t memory = ztk::testing::MemoryFor(GetParam());
    int32_t failures = ztk::testing::SweepFailures([&](uint32_t, const auto &armed) {
        Bitmap b(50, 10, 4);
        const BitmapHandle before = b.h;
        const ztk::test::Usage usage = ztk::test::LiveUsage();
        ztk::testing::SweepRun run =
            armed([&] { return Z_AllocateBitmap(b.get(), memory); });
        if (!run.fired) {
            EXPECT_EQ(run.result, Z_OK);
            return;
        }
        EXPECT_EQ(run.result, Z_ERR_NOMEM);
        EXPECT_EQ(ztk::test::LiveUsage(), usage);
        BitmapHandle expected = before;
        if (GetParam() == Tier::TemporaryFile && b->Storage == Z_INVALID_HANDLE)
            expected.Storage = Z_INVALID_HANDLE;
        EXPECT_TRUE(SameRecord(expected, b.h));
    });
    EXPECT_GE(failures, 1);
}

INSTANTIATE_TEST_SUITE_P(Tiers, AllocateOnTier,
                         ::testing::Values(Tier::Mapping, Tier::GlobalBlock,
                                           Tier::TemporaryFile),
                         [](const auto &info) {
                             return ztk::testing::TierName(info.param);
                         });

#if !defined(_WIN32)
// Points the temporary folder at a fresh private folder for the scope. The
// clean-up logic is the same on every platform; POSIX lets the test move the
// folder without touching other tests running at the same time.
class PrivateTempFolder {
  public:
    PrivateTempFolder() {
        const char *old = std::getenv("TMPDIR");
        saved_ = old != nullptr ? old : "";
        char pattern[] = "/tmp/ztkrn-test-XXXXXX";
        folder_ = mkdtemp(pattern);
        setenv("TMPDIR", folder_.c_str(), 1);
    }
    ~PrivateTempFolder() {
        setenv("TMPDIR", saved_.c_str(), 1);
        std::filesystem::remove_all(folder_);
    }
    // Names of the files in the folder.
    std::string Listing() const {
        std::string names;
        for (const auto &entry : std::filesystem::directory_iterator(folder_))
            names += entry.path().filename().string() + " ";
        return names;
    }

  private:
    std::string saved_;
    std::string folder_;
};

TEST(AllocateBitmap, FailedTemporaryFilesLeaveNoFileBehind) {
    TierScope host(Tier::TemporaryFile);
    PrivateTempFolder folder;
    for (uint32_t nth = 1;; ++nth) {
        Bitmap b(50, 10, 4);
        ztk::testing::FailureScope fail(nth);
        int32_t result = Z_AllocateBitmap(b.get(), MEMORY_DISK);
        if (!fail.fired())
            break;
        EXPECT_EQ(result, Z_ERR_NOMEM);
        EXPECT_EQ(folder.Listing(), "") << "failing acquisition " << nth;
    }
    EXPECT_EQ(folder.Listing(), "");
}
#endif

} // namespace

// Bitmaps made in one step and duplicates with new dimensions: what each
// takes and from where, the options that own or borrow palette and region,
// their undoing, and allocation-failure sweeps that leave nothing behind.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/dispatch.h"
#include "core/os/os.h"
#include "tests/support/support.h"

namespace ztk::testing {
namespace {

std::vector<RGBQUAD> EntriesOf(ZHPALETTE palette) {
    std::vector<RGBQUAD> out(256);
    out.resize(size_t(Z_GetPaletteEntries(palette, 0, 256, out.data())));
    return out;
}

bool SameEntries(const std::vector<RGBQUAD> &a, const std::vector<RGBQUAD> &b) {
    return a.size() == b.size() &&
           std::memcmp(a.data(), b.data(), a.size() * sizeof(RGBQUAD)) == 0;
}

TEST(CreateBitmap, DepthZeroIsEightBitsWithAGrayPalette) {
    Bitmap b;
    ASSERT_EQ(Z_CreateBitmap(b.get(), MEMORY_ANY, 10, 4, 0, 1, nullptr, 5), Z_OK);
    EXPECT_EQ(b->BitsPerPixel, 8);
    EXPECT_EQ(b->ColorCount, 256);
    EXPECT_EQ(b->Order, 0);
    EXPECT_EQ(b->ViewPerspective, 5);
    EXPECT_TRUE(b->Flags & BITMAP_ALLOCATED);
    const auto entries = EntriesOf(b->Palette);
    ASSERT_EQ(entries.size(), 256u);
    for (uint32_t i = 0; i < 256; ++i)
        ASSERT_TRUE(entries[i].rgbRed == i && entries[i].rgbGreen == i &&
                    entries[i].rgbBlue == i);
}

TEST(CreateBitmap, PalettesAndOrders) {
    const RGBQUAD given[4] = {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {10, 11, 12, 0}};
    struct Case {
        int32_t bits, order;
        const RGBQUAD *palette;
        int32_t expectedOrder;
        size_t entries;
    } cases[] = {
        {8, 1, nullptr, 0, 256}, {4, 2, nullptr, 0, 16}, {2, 1, given, 0, 4},
        {1, 0, nullptr, 0, 2},   {24, 0, nullptr, 0, 0}, {24, 1, nullptr, 1, 0},
        {16, 2, nullptr, 2, 0},  {32, 0, given, 0, 0},   {12, 2, nullptr, 2, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << " bits, order " << c.order);
        Bitmap b;
        ASSERT_EQ(Z_CreateBitmap(b.get(), MEMORY_ANY, 7, 3, c.bits, c.order,
                                 c.palette, 2),
                  Z_OK);
        EXPECT_EQ(b->Order, c.expectedOrder);
        const auto entries = EntriesOf(b->Palette);
        EXPECT_EQ(entries.size(), c.entries);
        if (c.bits <= 8) {
            const RGBQUAD *want = c.palette != nullptr
                                      ? c.palette
                                      : Z_IntGetFixedPalette(c.bits);
            EXPECT_TRUE(SameEntries(
                entries, std::vector<RGBQUAD>(want, want + c.entries)));
        }
    }
}

TEST(CreateBitmap, FailuresOfTheStepsAreReturned) {
    EXPECT_EQ(Z_CreateBitmap(nullptr, MEMORY_ANY, 4, 4, 8, 0, nullptr, 2),
              Z_ERR_PARAM);
    Bitmap b;
    EXPECT_EQ(Z_CreateBitmap(b.get(), MEMORY_ANY, 4, 4, 9, 0, nullptr, 2),
              Z_ERR_BITSPERPIXEL);
    EXPECT_EQ(Z_CreateBitmap(b.get(), MEMORY_ANY, 0, 4, 8, 0, nullptr, 2),
              Z_ERR_EMPTY);
    EXPECT_EQ(Z_CreateBitmap(b.get(), 3, 4, 4, 8, 0, nullptr, 2), Z_ERR_PARAM);
}

TEST(CreateBitmap, AllocationFailuresLeaveNothingBehind) {
    Z_GetDefaultXResolution(); // the thread's settings exist before the sweep
    for (int32_t bits : {0, 1, 8, 24}) {
        for (Tier tier : {Tier::Mapping, Tier::GlobalBlock}) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, " << TierName(tier));
            TierScope host(tier);
            const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
                const ztk::test::Usage usage = ztk::test::LiveUsage();
                Bitmap b;
                const SweepRun run = armed([&] {
                    return Z_CreateBitmap(b.get(), MEMORY_NODISK, 9, 5, bits, 1,
                                          nullptr, 2);
                });
                if (!run.fired) {
                    EXPECT_EQ(run.result, Z_OK);
                    return;
                }
                EXPECT_EQ(run.result, Z_ERR_NOMEM);
                EXPECT_FALSE(b->Flags & BITMAP_ALLOCATED);
                EXPECT_EQ(b->Palette, nullptr);
                EXPECT_EQ(ztk::test::LiveUsage(), usage);
            });
            // Storage; then the palette (a gray ramp also takes a buffer).
            EXPECT_EQ(failures, bits == 24 ? 1 : bits == 0 ? 3 : 2);
        }
    }
}

// A region record made by the test's companion "module".
ZarnRgn *NewRegion() {
    auto *region = static_cast<ZarnRgn *>(Z_OsAllocInit(sizeof(ZarnRgn), 1));
    return region;
}

struct RegionCopyLog {
    int calls = 0;
    BitmapHandle *destination = nullptr;
    BitmapHandle *source = nullptr;
    int32_t dx = -1, dy = -1;
    int32_t result = Z_OK;
};
RegionCopyLog gRegionCopy;

int32_t ZAPI CopyRegion(BitmapHandle *destination, BitmapHandle *source,
                        int32_t dx, int32_t dy) {
    gRegionCopy.calls++;
    gRegionCopy.destination = destination;
    gRegionCopy.source = source;
    gRegionCopy.dx = dx;
    gRegionCopy.dy = dy;
    if (gRegionCopy.result != Z_OK)
        return gRegionCopy.result;
    destination->Region = NewRegion();
    return destination->Region != nullptr ? Z_OK : Z_ERR_NOMEM;
}

class RegionCopySlot {
  public:
    RegionCopySlot() {
        gRegionCopy = RegionCopyLog{};
        ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
        table[SLOT_REGIONCOPY] = reinterpret_cast<ZDISPATCHPROC>(CopyRegion);
        Z_SetDisDispatch(table);
    }
    ~RegionCopySlot() { ClearDispatchTable(); }
};

class Duplicate : public ::testing::Test {
  protected:
    void SetUp() override {
        usage_ = ztk::test::LiveUsage();
        ASSERT_EQ(Z_CreateBitmap(source_.get(), MEMORY_ANY, 6, 4, 8, 0, nullptr,
                                 3),
                  Z_OK);
        source_->Flags |= BITMAP_NEGATIVE | BITMAP_CLIENTBIT | BITMAP_PLAYBACK2;
        source_->XResolution = 300;
        source_->YResolution = 600;
        source_->PlaybackValue3 = 77;
        source_->Region = NewRegion();
    }
    void TearDown() override {
        Z_FreeBitmap(source_.get());
        EXPECT_EQ(ztk::test::LiveUsage(), usage_);
    }
    Bitmap source_;
    ztk::test::Usage usage_{};
};

TEST_F(Duplicate, TakesTheSourcesLooksWithNewDimensions) {
    BitmapHandle d{};
    ASSERT_EQ(Z_DupBitmapNewDim(&d, source_.get(), 9, 2, 24, 0), Z_OK);
    EXPECT_EQ(d.Width, 9);
    EXPECT_EQ(d.Height, 2);
    EXPECT_EQ(d.BitsPerPixel, 24);
    EXPECT_EQ(d.BytesPerLine, 28u);
    EXPECT_EQ(d.ViewPerspective, 3);
    EXPECT_EQ(d.XResolution, 300);
    EXPECT_EQ(d.YResolution, 600);
    // The order comes from the source, whatever the new depth.
    EXPECT_EQ(d.Order, 0);
    EXPECT_EQ(d.Flags & (BITMAP_NEGATIVE | BITMAP_CLIENTBIT | BITMAP_PLAYBACK2 |
                         BITMAP_ALLOCATED),
              BITMAP_NEGATIVE | BITMAP_CLIENTBIT | BITMAP_PLAYBACK2);
    EXPECT_EQ(d.PlaybackValue3, 77u);
    // ColorCount is the source's, not the depth's.
    EXPECT_EQ(d.ColorCount, 256);
    // Options 0 borrow palette and region; undoing forgets them and frees
    // nothing.
    EXPECT_EQ(d.Palette, source_->Palette);
    EXPECT_EQ(d.Region, source_->Region);
    const ztk::test::Usage before = ztk::test::LiveUsage();
    EXPECT_EQ(Z_FreeDuplicateBitmap(&d, 0), Z_OK);
    EXPECT_EQ(d.Palette, nullptr);
    EXPECT_EQ(d.Region, nullptr);
    EXPECT_EQ(ztk::test::LiveUsage(), before);
    EXPECT_EQ(EntriesOf(source_->Palette).size(), 256u);
}

TEST_F(Duplicate, OptionCombinations) {
    for (uint32_t options = 0; options < 8; ++options) {
        SCOPED_TRACE(options);
        BitmapHandle d{};
        ASSERT_EQ(Z_DupBitmapNewDim(&d, source_.get(), 3, 3, 8, options), Z_OK);
        EXPECT_EQ(bool(d.Flags & BITMAP_ALLOCATED), bool(options & DUP_ALLOCATE));
        if (options & DUP_PALETTE) {
            EXPECT_NE(d.Palette, source_->Palette);
            EXPECT_TRUE(SameEntries(EntriesOf(d.Palette),
                                    EntriesOf(source_->Palette)));
        } else {
            EXPECT_EQ(d.Palette, source_->Palette);
        }
        // Without a companion to copy it, an owned region is no region.
        EXPECT_EQ(d.Region, (options & DUP_REGION) ? nullptr : source_->Region);
        if (options & DUP_ALLOCATE) {
            const uint8_t row[3] = {1, 2, 3};
            EXPECT_EQ(Z_PutBitmapRow(&d, row, 2, 3), 3);
        }
        EXPECT_EQ(Z_FreeDuplicateBitmap(&d, options), Z_OK);
    }
}

TEST_F(Duplicate, ARegionIsCopiedThroughTheCompanion) {
    RegionCopySlot slot;
    BitmapHandle d{};
    ASSERT_EQ(Z_DupBitmapNewDim(&d, source_.get(), 3, 3, 8, DUP_REGION), Z_OK);
    EXPECT_EQ(gRegionCopy.calls, 1);
    EXPECT_EQ(gRegionCopy.destination, &d);
    EXPECT_EQ(gRegionCopy.source, source_.get());
    EXPECT_EQ(gRegionCopy.dx, 0);
    EXPECT_EQ(gRegionCopy.dy, 0);
    EXPECT_NE(d.Region, nullptr);
    EXPECT_NE(d.Region, source_->Region);
    EXPECT_EQ(Z_FreeDuplicateBitmap(&d, DUP_REGION), Z_OK);

    // The companion's refusal is the result, and what was made goes again.
    gRegionCopy.result = Z_ERR_NODISPATCH;
    BitmapHandle e{};
    EXPECT_EQ(Z_DupBitmapNewDim(&e, source_.get(), 3, 3, 8, 7), Z_ERR_NODISPATCH);
    EXPECT_FALSE(e.Flags & BITMAP_ALLOCATED);
    EXPECT_EQ(e.Palette, nullptr);
}

TEST_F(Duplicate, ARefusedDepthGoesOnToAnEmptyAllocation) {
    BitmapHandle d{};
    EXPECT_EQ(Z_DupBitmapNewDim(&d, source_.get(), 3, 3, 10, DUP_ALLOCATE),
              Z_ERR_EMPTY);
    BitmapHandle e{};
    EXPECT_EQ(Z_DupBitmapNewDim(&e, source_.get(), 3, 3, 10, 0), Z_OK);
    EXPECT_EQ(e.Width, 0);
    EXPECT_EQ(e.ViewPerspective, 3);
    Z_FreeDuplicateBitmap(&e, 0);
}

TEST_F(Duplicate, RefusesMissingBitmaps) {
    BitmapHandle d{};
    EXPECT_EQ(Z_DupBitmapNewDim(nullptr, source_.get(), 3, 3, 8, 0), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_DupBitmapNewDim(&d, nullptr, 3, 3, 8, 0), Z_ERR_NOBITMAP);
    Bitmap unallocated(3, 3, 8);
    EXPECT_EQ(Z_DupBitmapNewDim(&d, unallocated.get(), 3, 3, 8, 0), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_FreeDuplicateBitmap(nullptr, 7), Z_OK);
}

// A gray source of the same depth passes its window and table on.
BitmapHandle GraySource() {
    BitmapHandle g{};
    Z_CreateBitmap(&g, MEMORY_ANY, 4, 4, 16, 2, nullptr, 2);
    g.LowBit = 2;
    g.HighBit = 9;
    g.GrayLUT = static_cast<RGBQUAD *>(Z_OsAllocInit(64 * sizeof(RGBQUAD), 1));
    g.GrayLUT[5].rgbRed = 99;
    g.GrayLUTLength = 64;
    g.Flags |= BITMAP_GRAYLUT;
    return g;
}

TEST(DuplicateGray, SameDepthCopiesTheGrayParameters) {
    const ztk::test::Usage usage = ztk::test::LiveUsage();
    BitmapHandle g = GraySource();
    BitmapHandle d{};
    ASSERT_EQ(Z_DupBitmapNewDim(&d, &g, 8, 8, 16, 0), Z_OK);
    EXPECT_EQ(d.Order, 2);
    EXPECT_EQ(d.LowBit, 2);
    EXPECT_EQ(d.HighBit, 9);
    ASSERT_NE(d.GrayLUT, nullptr);
    EXPECT_NE(d.GrayLUT, g.GrayLUT);
    EXPECT_EQ(d.GrayLUT[5].rgbRed, 99);
    EXPECT_TRUE(d.Flags & BITMAP_GRAYLUT);
    // Without storage the copied table is still freed with the record.
    EXPECT_EQ(Z_FreeDuplicateBitmap(&d, 0), Z_OK);
    BitmapHandle e{};
    ASSERT_EQ(Z_DupBitmapNewDim(&e, &g, 8, 8, 24, DUP_ALLOCATE), Z_OK);
    EXPECT_EQ(e.Order, 2); // taken from the source all the same
    EXPECT_EQ(e.LowBit, 0);
    EXPECT_EQ(e.HighBit, 23);
    EXPECT_EQ(e.GrayLUT, nullptr);
    Z_FreeDuplicateBitmap(&e, DUP_ALLOCATE);
    Z_FreeBitmap(&g);
    EXPECT_EQ(ztk::test::LiveUsage(), usage);
}

TEST(DuplicateGray, AllocationFailuresLeaveNothingBehind) {
    Z_GetDefaultXResolution();
    for (uint32_t options : {7u, 3u, 1u, 2u, 0u}) {
        SCOPED_TRACE(options);
        const ztk::test::Usage usage = ztk::test::LiveUsage();
        BitmapHandle g = GraySource();
        Bitmap paletted;
        ASSERT_EQ(Z_CreateBitmap(paletted.get(), MEMORY_ANY, 5, 5, 4, 0, nullptr, 2),
                  Z_OK);
        for (BitmapHandle *source : {&g, paletted.get()}) {
            const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
                const ztk::test::Usage before = ztk::test::LiveUsage();
                BitmapHandle d{};
                const SweepRun run = armed([&] {
                    return Z_DupBitmapNewDim(&d, source, 7, 3,
                                             source->BitsPerPixel, options);
                });
                if (!run.fired) {
                    EXPECT_EQ(run.result, Z_OK);
                    Z_FreeDuplicateBitmap(&d, options);
                    EXPECT_EQ(ztk::test::LiveUsage(), before);
                    return;
                }
                EXPECT_EQ(run.result, Z_ERR_NOMEM);
                EXPECT_EQ(ztk::test::LiveUsage(), before);
                EXPECT_FALSE(d.Flags & BITMAP_ALLOCATED);
                EXPECT_EQ(d.Palette, nullptr);
                EXPECT_EQ(d.Region, nullptr);
                EXPECT_EQ(d.GrayLUT, nullptr);
                // Freeing it as a caller would touches nothing of the source.
                Z_FreeDuplicateBitmap(&d, options);
                Z_FreeBitmap(&d);
                EXPECT_EQ(ztk::test::LiveUsage(), before);
            });
            const bool table = source == &g;
            const bool palette = !table && (options & DUP_PALETTE);
            EXPECT_EQ(failures, int32_t((options & DUP_ALLOCATE) ? 1 : 0) +
                                    (palette ? 2 : 0) + (table ? 1 : 0));
        }
        Z_FreeBitmap(&g);
        Z_FreeBitmap(paletted.get());
        EXPECT_EQ(ztk::test::LiveUsage(), usage);
    }
}

} // namespace
} // namespace ztk::testing

// Copies: whole bitmaps, pixels between bitmaps, rectangles at every depth
// with margins and clipping, trimming in place, and the changes between
// compressed and plain storage; allocation-failure sweeps of the rectangle.
#include <gtest/gtest.h>

#include "core/copy.h"
#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

TEST(CopyBitmap, EveryDepthAndStoreGivesTheSamePixels) {
    for (Store store : {Store::Mapping, Store::GlobalBlock,
                        Store::TemporaryFile, Store::Compressed}) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            if (store == Store::Compressed && bits != 1)
                continue;
            SCOPED_TRACE(::testing::Message() << StoreName(store) << ", " << bits);
            Bitmap source, copy;
            MakePicture(source, store, 37, 11, bits, uint32_t(bits));
            ASSERT_EQ(Z_CopyBitmap(copy.get(), source.get()), Z_OK);
            EXPECT_EQ(ReadPixels(copy.get()), ReadPixels(source.get()));
            EXPECT_TRUE(copy->Storage != source->Storage ||
                        copy->Data != source->Data);
            EXPECT_EQ(copy->Flags & BITMAP_COMPRESSED,
                      source->Flags & BITMAP_COMPRESSED);
            if (source->Palette != nullptr) {
                EXPECT_NE(copy->Palette, source->Palette);
            }
        }
    }
}

TEST(CopyBitmap, BadRecordsAndSelf) {
    Bitmap b, unallocated(4, 4, 8);
    MakePicture(b, Store::Mapping, 4, 4, 8, 1);
    const BitmapHandle before = b.h;
    EXPECT_EQ(Z_CopyBitmap(b.get(), b.get()), Z_OK);
    EXPECT_TRUE(SameRecord(before, b.h));
    EXPECT_EQ(Z_CopyBitmap(nullptr, b.get()), Z_ERR_PARAM);
    EXPECT_EQ(Z_CopyBitmap(b.get(), nullptr), Z_ERR_PARAM);
    EXPECT_EQ(Z_CopyBitmap(b.get(), unallocated.get()), Z_ERR_PARAM);
    EXPECT_EQ(Z_CopyBitmapData(b.get(), unallocated.get()), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_CopyBitmapData(nullptr, b.get()), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_CopyBitmapData(b.get(), b.get()), Z_OK);
    EXPECT_EQ(Z_CopyBitmapRect(nullptr, unallocated.get(), 0, 0, 2, 2),
              Z_ERR_PARAM);
    EXPECT_EQ(Z_TrimBitmap(unallocated.get(), 0, 0, 2, 2), Z_ERR_PARAM);
}

struct Rect {
    int32_t left, top, width, height;
};

// The rectangle against the rules: pixels inside the source come across,
// whole rows outside it stay as the mapping made them (0), and so do the
// pixels that share no byte with the copied ones.
void CheckRect(const Pixels &source, const Pixels &got, int32_t bits,
               const Rect &r, bool marginsZero) {
    const int32_t sw = int32_t(source[0].size()), sh = int32_t(source.size());
    const int32_t x0 = r.left > 0 ? r.left : 0, y0 = r.top > 0 ? r.top : 0;
    const int32_t x1 = std::min(r.left + r.width, sw);
    const int32_t y1 = std::min(r.top + r.height, sh);
    const bool any = x1 > x0 && y1 > y0;
    const int32_t dl = x0 - r.left, dr = x1 - r.left; // copied columns
    for (int32_t y = 0; y < r.height; ++y)
        for (int32_t x = 0; x < r.width; ++x) {
            const int32_t sy = y + r.top, sx = x + r.left;
            const bool inside = any && sy >= y0 && sy < y1 && sx >= x0 && sx < x1;
            if (inside) {
                ASSERT_EQ(got[y][x], source[sy][sx]) << x << "," << y;
                continue;
            }
            if (!marginsZero)
                continue;
            const bool rowOutside = !any || sy < y0 || sy >= y1;
            const bool clearOfBytes =
                uint32_t(x) * bits >= ((uint32_t(dr) * bits + 7) & ~7u) ||
                uint32_t(x + 1) * bits <= ((uint32_t(dl) * bits) & ~7u);
            const bool leftOfSub = bits < 8 && x < dl && r.left < 0;
            if (rowOutside || clearOfBytes || leftOfSub) {
                ASSERT_EQ(got[y][x], 0u) << "margin " << x << "," << y;
            }
        }
}

TEST(CopyBitmapRect, OriginsAtEveryDepth) {
    const int32_t w = 29, h = 9;
    const Rect rects[] = {
        {3, 2, 17, 5},   {-10, -3, 30, 8}, {-1, 0, 9, 9},  {5, 1, 40, 20},
        {21, 6, 13, 7},  {w + 5, 0, 6, 3}, {0, h, 6, 3},   {-20, -2, 8, 4},
        {7, -4, 3, 20},  {1, 0, 28, 9},    {-3, 4, 2, 2},  {0, 0, w, h},
    };
    for (int32_t bits : kAllDepths)
        for (const Rect &r : rects) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, rect " << r.left
                         << "," << r.top << " " << r.width << "x" << r.height);
            Bitmap source, copy;
            MakePicture(source, Store::Mapping, w, h, bits, 7);
            const Pixels before = ReadPixels(source.get());
            ASSERT_EQ(Z_CopyBitmapRect(copy.get(), source.get(), r.left, r.top,
                                       r.width, r.height),
                      Z_OK);
            ASSERT_EQ(copy->Width, r.width);
            ASSERT_EQ(copy->Height, r.height);
            CheckRect(before, ReadPixels(copy.get()), bits, r, true);
            EXPECT_EQ(ReadPixels(source.get()), before);
        }
}

TEST(CopyBitmapRect, OtherStores) {
    const Rect rects[] = {{-10, -1, 30, 6}, {3, 2, 17, 5}, {13, 0, 40, 3}};
    for (Store store : {Store::GlobalBlock, Store::TemporaryFile,
                        Store::Compressed}) {
        TierScope scope(TierOf(store));
        for (int32_t bits : {1, 4, 12, 24}) {
            if (store == Store::Compressed && bits != 1)
                continue;
            for (const Rect &r : rects) {
                SCOPED_TRACE(::testing::Message() << StoreName(store) << " "
                             << bits << " bits, left " << r.left);
                Bitmap source, copy;
                MakePicture(source, store, 29, 7, bits, 3);
                const Pixels before = ReadPixels(source.get());
                ASSERT_EQ(Z_CopyBitmapRect(copy.get(), source.get(), r.left,
                                           r.top, r.width, r.height),
                          Z_OK);
                CheckRect(before, ReadPixels(copy.get()), bits, r, false);
            }
        }
    }
}

TEST(CopyBitmapRect, NegativeLeftOnOneBitLeavesAZeroMargin) {
    Bitmap source, copy;
    ASSERT_EQ(Z_CreateBitmap(source.get(), MEMORY_ANY, 16, 1, 1, 0, nullptr, 0),
              Z_OK);
    const uint8_t ones[4] = {0xFF, 0xFF, 0, 0};
    Z_PutBitmapRow(source.get(), ones, 0, source->BytesPerLine);
    ASSERT_EQ(Z_CopyBitmapRect(copy.get(), source.get(), -10, 0, 26, 1), Z_OK);
    const auto row = ReadRow(copy.get(), 0);
    // Columns 10 to 25 hold the 16 ones, with bit phase 2 in byte 1.
    EXPECT_EQ(row[0], 0x00);
    EXPECT_EQ(row[1], 0x3F);
    EXPECT_EQ(row[2], 0xFF);
    EXPECT_EQ(row[3], 0xC0);
}

TEST(CopyBitmapRect, InPlaceReplacesTheSource) {
    for (int32_t bits : {1, 12, 24}) {
        Bitmap b;
        MakePicture(b, Store::Mapping, 20, 6, bits, 5);
        const Pixels before = ReadPixels(b.get());
        ZHPALETTE palette = b->Palette;
        ASSERT_EQ(Z_CopyBitmapRect(b.get(), b.get(), 3, 1, 9, 4), Z_OK);
        ASSERT_EQ(b->Width, 9);
        ASSERT_EQ(b->Height, 4);
        CheckRect(before, ReadPixels(b.get()), bits, {3, 1, 9, 4}, true);
        if (bits <= 8) {
            EXPECT_NE(b->Palette, palette); // the copy's own, the old freed
        }
    }
}

TEST(CopyBitmapRect, WhollyOutsideInPlaceLeavesTheSource) {
    const auto live = ztk::test::LiveUsage();
    {
        Bitmap b;
        MakePicture(b, Store::Mapping, 20, 6, 8, 5);
        const BitmapHandle before = b.h;
        const Pixels pixels = ReadPixels(b.get());
        ASSERT_EQ(Z_CopyBitmapRect(nullptr, b.get(), 30, 0, 5, 5), Z_OK);
        EXPECT_TRUE(SameRecord(before, b.h));
        EXPECT_EQ(ReadPixels(b.get()), pixels);
    }
    EXPECT_EQ(ztk::test::LiveUsage(), live);
}

TEST(TrimBitmap, ClipsToTheImage) {
    struct Case {
        Rect asked;
        int32_t width, height, fromX, fromY;
    } cases[] = {
        {{2, 1, 100, 3}, 18, 3, 2, 1},
        {{-4, -2, 10, 5}, 6, 3, 0, 0},
        {{0, 0, 20, 6}, 20, 6, 0, 0},
        {{5, 5, 5, 5}, 5, 1, 5, 5},
    };
    for (const Case &c : cases) {
        for (int32_t bits : {1, 3, 12, 32}) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, left " << c.asked.left);
            Bitmap b;
            MakePicture(b, Store::Mapping, 20, 6, bits, 9);
            const Pixels before = ReadPixels(b.get());
            ASSERT_EQ(Z_TrimBitmap(b.get(), c.asked.left, c.asked.top,
                                   c.asked.width, c.asked.height),
                      Z_OK);
            ASSERT_EQ(b->Width, c.width);
            ASSERT_EQ(b->Height, c.height);
            const Pixels got = ReadPixels(b.get());
            for (int32_t y = 0; y < c.height; ++y)
                for (int32_t x = 0; x < c.width; ++x)
                    ASSERT_EQ(got[y][x], before[y + c.fromY][x + c.fromX]);
        }
    }
}

// The width comes out negative and goes to the duplicate as it stands,
// which refuses it; the bitmap stays.
TEST(TrimBitmap, LeftPastTheWidthChangesNothing) {
    Bitmap b;
    MakePicture(b, Store::Mapping, 20, 6, 8, 9);
    const BitmapHandle before = b.h;
    EXPECT_LT(Z_TrimBitmap(b.get(), 25, 0, 4, 4), 0);
    EXPECT_TRUE(SameRecord(before, b.h));
}

TEST(ExpandBitmap, CompressedBecomesPlainKeepingThePalette) {
    Bitmap b;
    MakePicture(b, Store::Compressed, 45, 7, 1, 4);
    const Pixels before = ReadPixels(b.get());
    ZHPALETTE palette = b->Palette;
    BitmapHandle plain{};
    ASSERT_EQ(ExpandedBitmapCopy(&plain, b.get()), Z_OK);
    EXPECT_FALSE(plain.Flags & BITMAP_COMPRESSED);
    EXPECT_TRUE(b->Flags & BITMAP_COMPRESSED);
    EXPECT_EQ(plain.Palette, palette);
    EXPECT_EQ(ReadPixels(&plain), before);
    Z_FreeImage(&plain, 0);
    ASSERT_EQ(ExpandBitmapInPlace(b.get()), Z_OK);
    EXPECT_FALSE(b->Flags & BITMAP_COMPRESSED);
    EXPECT_EQ(b->Palette, palette);
    EXPECT_EQ(ReadPixels(b.get()), before);
    EXPECT_EQ(ExpandBitmapInPlace(b.get()), Z_OK);
    EXPECT_EQ(ExpandBitmapInPlace(nullptr), Z_ERR_NOBITMAP);
}

TEST(CopyBitmapRect, FailureSweepLeavesNothingBehind) {
    for (int32_t bits : {1, 12}) {
        for (bool inPlace : {false, true}) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, in place " << inPlace);
            const int32_t failed = SweepFailures([&](uint32_t, auto armed) {
                const auto live = ztk::test::LiveUsage();
                {
                    Bitmap source, copy;
                    MakePicture(source, Store::Mapping, 21, 5, bits, 2);
                    const BitmapHandle before = source.h;
                    const Pixels pixels = ReadPixels(source.get());
                    const SweepRun run = armed([&] {
                        return Z_CopyBitmapRect(inPlace ? nullptr : copy.get(),
                                                source.get(), -3, 1, 12, 6);
                    });
                    EXPECT_FALSE(source->Flags & BITMAP_LOCKED);
                    if (run.fired) {
                        EXPECT_NE(run.result, Z_OK);
                        EXPECT_TRUE(SameRecord(before, source.h));
                        EXPECT_EQ(ReadPixels(source.get()), pixels);
                        EXPECT_FALSE(copy->Flags & BITMAP_ALLOCATED);
                    } else {
                        EXPECT_EQ(run.result, Z_OK);
                    }
                }
                EXPECT_EQ(ztk::test::LiveUsage(), live);
            });
            EXPECT_GT(failed, 1);
        }
    }
}

} // namespace
} // namespace ztk::testing

// Fill and clear on every tier and depth, limited by a region from the
// companion slots, with their progress and their allocation failures.
#include <gtest/gtest.h>

#include "colour/match.h"
#include "tests/compositing/companion.h"
#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

using Bytes = std::vector<uint8_t>;
using Lists = std::vector<std::vector<uint32_t>>;

const Store kStores[] = {Store::Mapping, Store::GlobalBlock,
                         Store::TemporaryFile, Store::Compressed};

// What each row of `before` becomes when the pixels that `inside` names
// take the value `fill`; every other bit of the stride stays.
std::vector<Bytes> Filled(const BitmapHandle *b, std::vector<Bytes> rows,
                          uint32_t fill,
                          const std::function<bool(uint32_t, uint32_t)> &inside) {
    for (uint32_t y = 0; y < rows.size(); ++y)
        for (uint32_t x = 0; x < uint32_t(b->Width); ++x)
            if (inside(y, x))
                PutPixelBits(rows[y].data(), x, b->BitsPerPixel, fill);
    return rows;
}

std::vector<Bytes> Rows(BitmapHandle *b) {
    std::vector<Bytes> out;
    for (int32_t y = 0; y < b->Height; ++y)
        out.push_back(ReadRow(b, y));
    return out;
}

// The pixel the colour becomes at the bitmap's depth, as the row fill
// makes it; where it lands is what is under test here.
uint32_t PixelOf(const BitmapHandle *b, ColorValue color) {
    Bytes row(8);
    FillRowWithColor(b, color, row.data(), 1);
    return GetPixelBits(row.data(), 0, b->BitsPerPixel);
}

TEST(FillBitmap, EveryTierAndDepthWholeBitmapPadsUntouched) {
    const ColorValue color = 0x00C08040; // red 0x40, green 0x80, blue 0xC0
    for (Store store : kStores) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            if (store == Store::Compressed && bits != 1)
                continue;
            SCOPED_TRACE(::testing::Message() << StoreName(store) << ", " << bits);
            Bitmap b;
            MakePicture(b, store, 29, 4, bits, 7);
            // Patterned pads on the plain tiers; compressed rows have none.
            if (store != Store::Compressed) {
                BitmapLock lock(b.get());
                for (uint32_t y = 0; y < 4; ++y) {
                    const Bytes row = Pattern(b->BytesPerLine, y);
                    Z_PutBitmapRow(b.get(), row.data(), y, b->BytesPerLine);
                }
            }
            const auto before = Rows(b.get());
            const auto all = [](uint32_t, uint32_t) { return true; };
            ASSERT_EQ(Z_FillBitmap(b.get(), color), Z_OK);
            EXPECT_EQ(Rows(b.get()), Filled(b.get(), before, PixelOf(b.get(), color), all));
            ASSERT_EQ(Z_ClearBitmap(b.get()), Z_OK);
            EXPECT_EQ(Rows(b.get()), Filled(b.get(), before, 0, all));
            EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
        }
    }
}

// With a white palette entry last, a 1-bit fill with white makes every
// byte 0xFF; a 24-bit clear is black.
TEST(FillBitmap, OneBitWhiteAndTwentyFourBitClearByHand) {
    Bitmap page;
    MakePicture(page, Store::Mapping, 16, 2, 1, 3);
    ASSERT_EQ(Z_FillBitmap(page.get(), 0x00FFFFFF), Z_OK);
    const Bytes white = ReadRow(page.get(), 1);
    EXPECT_EQ(Bytes(white.begin(), white.begin() + 2), (Bytes{0xFF, 0xFF}));
    Bitmap photo;
    MakePicture(photo, Store::Mapping, 3, 1, 24, 3);
    ASSERT_EQ(Z_ClearBitmap(photo.get()), Z_OK);
    const Bytes black = ReadRow(photo.get(), 0);
    EXPECT_EQ(Bytes(black.begin(), black.begin() + 9), Bytes(9, 0));
}

// Rows 1 to 3 are in the region's bounds; row 2 reports no segments, and
// row 0 has a list that the bounds keep from being asked for.
TEST(FillBitmap, ARegionLimitsRowsAndStretches) {
    const Lists lists{{0, 3, 9, 12, 20, 31}, {}, {5, 6}};
    const auto inside = [&](uint32_t y, uint32_t x) {
        if (y < 1 || y > 3)
            return false;
        const auto &l = lists[y - 1];
        for (size_t i = 0; i < l.size(); i += 2)
            if (x >= l[i] && x < l[i + 1])
                return true;
        return false;
    };
    for (Store store : kStores) {
        TierScope scope(TierOf(store));
        for (int32_t bits : {1, 2, 12, 32}) {
            if (store == Store::Compressed && bits != 1)
                continue;
            SCOPED_TRACE(::testing::Message() << StoreName(store) << ", " << bits);
            Bitmap b;
            MakePicture(b, store, 31, 5, bits, 2);
            const auto before = Rows(b.get());
            Companion companion(RECT{0, 1, 31, 4}, lists, 6);
            ASSERT_EQ(Z_FillBitmap(b.get(), (COLOR_TAG_INDEX | 1)), Z_OK);
            EXPECT_EQ(companion.rowsAsked, (std::vector<uint32_t>{1, 2, 3}));
            EXPECT_EQ(Rows(b.get()),
                      Filled(b.get(), before, PixelOf(b.get(), (COLOR_TAG_INDEX | 1)),
                             inside));
        }
    }
}

TEST(FillBitmap, ProgressFollowsTheBoundsOnDiskOnly) {
    struct Case {
        Store store;
        RECT bounds;
        std::vector<int32_t> heard;
    } cases[] = {
        {Store::Mapping, {0, 0, 9, 9}, {0, 100}},
        {Store::Mapping, {0, 4, 9, 4}, {0, 100}},
        {Store::TemporaryFile, {0, 4, 9, 4}, {0}},
        // 100 / 3 is 33 with 1 over: the third row carries the last point.
        {Store::TemporaryFile, {0, 2, 9, 5}, {0, 33, 66, 100}},
        {Store::Compressed, {0, 2, 9, 5}, {0, 100}},
    };
    for (const Case &c : cases) {
        TierScope scope(TierOf(c.store));
        Bitmap b;
        MakePicture(b, c.store, 9, 9, 1, 1);
        Companion companion(c.bounds, Lists(9, {0, 9}), 2);
        StatusLog log;
        ASSERT_EQ(Z_ClearBitmap(b.get()), Z_OK);
        EXPECT_EQ(log.heard, c.heard) << StoreName(c.store);
    }
}

TEST(FillBitmap, TheCallbackAndTheBoundsQuestionStopIt) {
    TierScope scope(Tier::TemporaryFile);
    Bitmap b;
    MakePicture(b, Store::TemporaryFile, 8, 4, 8, 1);
    const auto before = Rows(b.get());
    {
        StatusLog log(3, -50); // after the second row
        EXPECT_EQ(Z_FillBitmap(b.get(), (COLOR_TAG_INDEX | 9)), -50);
    }
    const auto rows = Rows(b.get());
    EXPECT_EQ(rows[1][0], 9);
    EXPECT_EQ(rows[2], before[2]);
    EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
    StatusLog stopAtOnce(1, -51);
    EXPECT_EQ(Z_ClearBitmap(b.get()), -51);
    EXPECT_EQ(Rows(b.get())[0][0], 9);

    Companion companion(RECT{0, 0, 8, 4}, {}, 2);
    companion.answer = -60;
    EXPECT_EQ(Z_ClearBitmap(b.get()), -60);
    EXPECT_EQ(Rows(b.get())[0][0], 9);
}

TEST(FillBitmap, AllocationFailuresLeaveNothingBehind) {
    TierScope scope(Tier::GlobalBlock);
    Bitmap b;
    MakePicture(b, Store::GlobalBlock, 40, 6, 4, 1);
    const auto before = Rows(b.get());
    const int32_t failed = SweepFailures([&](uint32_t, auto armed) {
        const auto live = ztk::test::LiveUsage();
        const SweepRun run =
            armed([&] { return Z_FillBitmap(b.get(), (COLOR_TAG_INDEX | 3)); });
        EXPECT_EQ(ztk::test::LiveUsage(), live);
        EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
        if (run.fired) {
            EXPECT_EQ(run.result, Z_ERR_NOMEM);
            EXPECT_EQ(Rows(b.get()), before);
        }
    });
    EXPECT_EQ(failed, 2); // the row buffer, then the list
    EXPECT_NE(Rows(b.get()), before);
}

} // namespace
} // namespace ztk::testing

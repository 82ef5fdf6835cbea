// Gray parameters: the window arithmetic, the first state, the copy of the
// gray fields and table, and the four answers of the gray classification.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

using GrayParams = NoLeakTest;

struct WindowCase {
    int32_t bits, limit, low, high;
    uint32_t count, mask, shift;
};

TEST(GrayWindow, CountMaskAndShift) {
    const WindowCase cases[] = {
        {16, 8, 0, 15, 8, 0xFF, 8},      // narrower limit keeps the top bits
        {16, 16, 2, 13, 12, 0xFFF, 2},
        {16, 16, -1, -1, 16, 0xFFFF, 0}, // negative edges: the whole sample
        {12, 12, -1, -1, 12, 0xFFF, 0},
        {12, 8, -1, -1, 8, 0xFF, 4},
        {16, 4, 3, 6, 4, 0xF, 3},        // limit equal to the width: shift is low
        {16, 16, 5, 4, 0, 0, 5},         // high below low: nothing checks
        {16, 16, 0, 0, 1, 1, 0},
    };
    for (const WindowCase &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << "/" << c.limit << " "
                                          << c.low << ".." << c.high);
        uint32_t count = 99, mask = 99, shift = 99;
        Z_GetGrayParams(c.bits, c.limit, c.low, c.high, &count, &mask, &shift);
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(mask, c.mask);
        EXPECT_EQ(shift, c.shift);
    }
}

RGBQUAD *NewTable(uint32_t entries) {
    auto *table = static_cast<RGBQUAD *>(Z_OsAlloc(entries * 4));
    for (uint32_t i = 0; i < entries; ++i)
        table[i] = Gray(uint8_t(i));
    return table;
}

TEST_F(GrayParams, FirstStateFreesTheTableAndKeepsTheFlag) {
    BitmapHandle b{};
    b.BitsPerPixel = 16;
    b.LowBit = 3, b.HighBit = 9, b.BaseLowBit = 1, b.BaseHighBit = 2;
    b.LowValue = 7, b.HighValue = 8;
    b.GrayLUT = NewTable(16);
    b.GrayLUTLength = 16;
    b.Flags = BITMAP_GRAYLUT;
    Z_InitGrayParams(&b);
    EXPECT_TRUE(b.LowBit == 0 && b.BaseLowBit == 0 && b.LowValue == 0);
    EXPECT_TRUE(b.HighBit == 15 && b.BaseHighBit == 15 && b.HighValue == 0xFFFF);
    EXPECT_EQ(b.GrayLUT, nullptr);
    EXPECT_EQ(b.GrayLUTLength, 0u);
    EXPECT_EQ(b.Flags, BITMAP_GRAYLUT);
}

BitmapHandle GraySource() {
    BitmapHandle s{};
    s.BitsPerPixel = 16;
    s.Order = 2;
    s.BaseLowBit = 1, s.BaseHighBit = 14, s.LowBit = 2, s.HighBit = 13;
    s.LowValue = 5, s.HighValue = 6000;
    s.Flags = BITMAP_GRAYLUT | BITMAP_NEGATIVE;
    return s;
}

TEST_F(GrayParams, CopyTakesTheFieldsTheFlagAndACopyOfTheTable) {
    BitmapHandle s = GraySource();
    s.GrayLUT = NewTable(8);
    s.GrayLUTLength = 8;
    const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
        BitmapHandle d{};
        d.Flags = BITMAP_ALLOCATED;
        d.GrayLUTLength = 3;
        const SweepRun run = armed([&] { return Z_CopyGrayParams(&d, &s); });
        if (run.fired) {
            EXPECT_EQ(run.result, Z_ERR_NOMEM);
            EXPECT_EQ(d.GrayLUT, nullptr);
            EXPECT_EQ(d.GrayLUTLength, 3u); // not yet set
            return;
        }
        EXPECT_EQ(run.result, Z_OK);
        EXPECT_TRUE(d.BaseLowBit == 1 && d.BaseHighBit == 14 && d.LowBit == 2 &&
                    d.HighBit == 13 && d.LowValue == 5 && d.HighValue == 6000);
        EXPECT_EQ(d.Flags, BITMAP_ALLOCATED | BITMAP_GRAYLUT);
        ASSERT_NE(d.GrayLUT, nullptr);
        EXPECT_NE(d.GrayLUT, s.GrayLUT);
        EXPECT_EQ(d.GrayLUTLength, 8u);
        EXPECT_EQ(std::memcmp(d.GrayLUT, s.GrayLUT, 32), 0);
        Z_OsFree(d.GrayLUT);
    });
    EXPECT_EQ(failures, 1);
    // No flag on the source clears it; no length gives no table.
    s.Flags = 0;
    s.GrayLUTLength = 0;
    BitmapHandle d{};
    d.Flags = BITMAP_GRAYLUT | BITMAP_LOCKED;
    d.GrayLUTLength = 77;
    ASSERT_EQ(Z_CopyGrayParams(&d, &s), Z_OK);
    EXPECT_EQ(d.Flags, BITMAP_LOCKED);
    EXPECT_EQ(d.GrayLUT, nullptr);
    EXPECT_EQ(d.GrayLUTLength, 0u);
    Z_OsFree(s.GrayLUT);
}

// A palette bitmap that needs no pixels: only its palette is looked at.
int32_t ClassOf(int32_t bits, const std::vector<RGBQUAD> &entries) {
    Bitmap b(4, 1, bits);
    b->Palette = Z_CreatePalette(entries.data(), int32_t(entries.size()));
    return Z_IsGrayScaleBitmap(b.get());
}

TEST_F(GrayParams, FourAnswersOfTheClassification) {
    std::vector<RGBQUAD> rising, falling; // the 3-bit ramp steps by 36
    for (int i = 0; i < 8; ++i) {
        rising.push_back(Gray(uint8_t(36 * i)));
        falling.push_back(Gray(uint8_t(255 - 36 * i)));
    }
    EXPECT_EQ(ClassOf(1, {Gray(0), Gray(255)}), 1);
    EXPECT_EQ(ClassOf(1, {Gray(255), Gray(0)}), 2);
    EXPECT_EQ(ClassOf(1, {Gray(0), Gray(128)}), 3);
    EXPECT_EQ(ClassOf(1, {Gray(0), Rgb(255, 0, 0)}), 0);
    EXPECT_EQ(ClassOf(3, rising), 1);
    EXPECT_EQ(ClassOf(3, falling), 2);
    EXPECT_EQ(ClassOf(2, {Gray(255), Gray(170), Gray(85), Gray(0)}), 2);
    EXPECT_EQ(ClassOf(2, {Gray(0), Gray(255)}), 0); // 2 entries of 4
    // The library's own gray palettes are irregular where the step does not
    // divide: the truncated 3-bit ramp is classed 3.
    const int32_t expected[9] = {0, 1, 1, 3, 1, 3, 3, 3, 1};
    for (int32_t bits = 1; bits <= 8; ++bits) {
        Bitmap b(4, 1, bits);
        b->Palette = Z_CreateGrayPalette(bits);
        EXPECT_EQ(Z_IsGrayScaleBitmap(b.get()), expected[bits]) << bits;
        b->ColorCount = 0;
        EXPECT_EQ(Z_IsGrayScaleBitmap(b.get()), 0) << bits;
    }
    Bitmap none(4, 1, 1);
    EXPECT_EQ(Z_IsGrayScaleBitmap(none.get()), 0);
    // Deep bitmaps are gray only in gray order, 12 bits always.
    const int32_t deep[][3] = {{16, 1, 0}, {24, 0, 0}, {16, 2, 1}, {12, 2, 1}};
    for (const auto &d : deep) {
        Bitmap b(4, 1, d[0]);
        b->Order = d[1];
        EXPECT_EQ(Z_IsGrayScaleBitmap(b.get()), d[2]) << d[0];
    }
}

TEST_F(GrayParams, GrayTableIsTestedOverTheWindowOnly) {
    BitmapHandle b{};
    b.BitsPerPixel = 16;
    b.Order = 2;
    b.LowBit = 4, b.HighBit = 11; // 8 bits: entries 0..255
    b.GrayLUT = NewTable(300);
    b.GrayLUTLength = 300;
    b.Flags = BITMAP_GRAYLUT;
    b.GrayLUT[299] = Rgb(1, 2, 3); // outside the window
    EXPECT_EQ(Z_IsGrayScaleBitmap(&b), 1);
    b.GrayLUT[255] = Rgb(1, 2, 3);
    EXPECT_EQ(Z_IsGrayScaleBitmap(&b), 0);
    // A table out of force is not looked at.
    b.Flags = 0;
    EXPECT_EQ(Z_IsGrayScaleBitmap(&b), 1);
    // No ramp test on gray samples: a falling table is still 1.
    b.Flags = BITMAP_GRAYLUT;
    for (uint32_t i = 0; i < 300; ++i)
        b.GrayLUT[i] = Gray(uint8_t(255 - i));
    EXPECT_EQ(Z_IsGrayScaleBitmap(&b), 1);
    // A window wider than the table stops at the table's end.
    b.LowBit = -1, b.HighBit = -1;
    EXPECT_EQ(Z_IsGrayScaleBitmap(&b), 1);
    Z_OsFree(b.GrayLUT);
}

} // namespace
} // namespace ztk::testing

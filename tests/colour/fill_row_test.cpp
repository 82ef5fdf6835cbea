// The row fill at every depth: whole bytes at 1, 2, 4 and 8 bits against
// pixel-exact writes at 3, 5, 6 and 7; 12- and 16-bit gray samples under
// windows, with and without a gray table; colour layouts; the tag rules.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "colour/colour.h"
#include "colour/match.h"
#include "core/packed.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

constexpr uint8_t kUntouched = 0x5A;

class RowFill : public NoLeakTest {
  protected:
    void TearDown() override {
        Z_InitGrayParams(&bitmap_.h); // frees any gray table
        Z_FreeBitmap(&bitmap_.h);
        NoLeakTest::TearDown();
    }
    BitmapHandle *Make(int32_t bits, int32_t order = -1) {
        Z_InitGrayParams(&bitmap_.h);
        Z_FreeBitmap(&bitmap_.h);
        Z_InitBitmap(&bitmap_.h, 64, 1, bits);
        if (order >= 0)
            bitmap_->Order = order;
        return bitmap_.get();
    }
    std::vector<uint8_t> Fill(ColorValue colour, int32_t count) {
        std::vector<uint8_t> row(80, kUntouched);
        EXPECT_EQ(FillRowWithColor(bitmap_.get(), colour, row.data(), count), 1);
        return row;
    }
    Bitmap bitmap_;
};

ColorValue Index(uint32_t i) { return ColorTagIndex | i; }

// Whole bytes: the pattern byte repeated, a partial last byte included.
struct WholeByteCase {
    int32_t bits;
    ColorValue colour;
    int32_t count;
    uint8_t pattern;
    size_t bytes;
};

TEST_F(RowFill, WholeByteDepthsOverwriteThePartialLastByte) {
    const WholeByteCase cases[] = {
        {1, Index(1), 10, 0xFF, 2},  {1, Index(0), 10, 0x00, 2},
        {1, Index(3), 9, 0xFF, 2},   {1, Index(2), 8, 0x00, 1},
        {2, Index(2), 5, 0xAA, 2},   {2, Index(7), 4, 0xFF, 1},
        {4, Index(0xA), 3, 0xAA, 2}, {4, Index(0x13), 2, 0x33, 1},
        {8, Index(0x7E), 5, 0x7E, 5}, {8, Index(0x1FF), 1, 0xFF, 1},
        {1, Index(1), 0, 0, 0},
    };
    for (const WholeByteCase &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << " bits, " << c.count);
        Make(c.bits);
        const auto row = Fill(c.colour, c.count);
        for (size_t i = 0; i < c.bytes; ++i)
            EXPECT_EQ(row[i], c.pattern) << i;
        EXPECT_EQ(row[c.bytes], kUntouched);
    }
}

TEST_F(RowFill, PackedDepthsKeepTheBitsAfterTheLastPixel) {
    for (int32_t bits : {3, 5, 6, 7}) {
        for (int32_t count = 1; count <= 17; ++count) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, " << count);
            Make(bits);
            const uint32_t value = 0x55u & ((1u << bits) - 1u);
            const auto row = Fill(Index(value | 0x80), count);
            for (uint32_t x = 0; x < uint32_t(count); ++x)
                ASSERT_EQ(GetPixelBits(row.data(), x, bits), value) << x;
            // Every bit after the last pixel is as it was.
            const uint32_t end = uint32_t(count * bits);
            for (uint32_t bit = end; bit < 8 * 12; ++bit) {
                const uint32_t was = (kUntouched >> (7 - bit % 8)) & 1u;
                const uint32_t now = (row[bit / 8] >> (7 - bit % 8)) & 1u;
                ASSERT_EQ(now, was) << "bit " << bit;
            }
        }
    }
}

TEST_F(RowFill, TagsOnPaletteBitmaps) {
    BitmapHandle *b = Make(4);
    b->Palette = Z_CreateFixedPalette(4);
    // Untagged colours go to the nearest entry; a raw 16-bit tag is no index.
    EXPECT_EQ(Fill(Direct(192, 192, 192), 2)[0], 0x88);
    EXPECT_EQ(Fill(Direct(250, 5, 0), 2)[0], 0x99);
    EXPECT_EQ(Fill(ColorTagRaw16 | Direct(0, 0, 120), 2)[0], 0x44);
    // A gray level is a direct gray of its top byte.
    b = Make(8);
    b->Palette = Z_CreateGrayPalette(8);
    EXPECT_EQ(Fill(ColorTagGray16 | 0x80FFu, 1)[0], 0x80);
    EXPECT_EQ(Fill(ColorTagGray16 | 0x1234u, 1)[0], 0x12);
}

TEST_F(RowFill, ColourLayoutsFollowTheOrder) {
    const ColorValue colour = Direct(0xF8, 0x80, 0x08);
    struct Case {
        int32_t bits, order;
        std::vector<uint8_t> pixel;
    } cases[] = {
        {24, 1, {0x08, 0x80, 0xF8}},       {24, 0, {0xF8, 0x80, 0x08}},
        {32, 1, {0x08, 0x80, 0xF8, 0}},    {32, 0, {0xF8, 0x80, 0x08, 0}},
        {16, 1, {0x01, 0x7E}},             // 31 << 10 | 16 << 5 | 1
        {16, 0, {0x1F, 0x06}},             // 1 << 10 | 16 << 5 | 31
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << " bits, order " << c.order);
        Make(c.bits, c.order);
        const auto row = Fill(colour | 0x01000000u, 3);
        const size_t n = c.pixel.size();
        for (size_t i = 0; i < 3 * n; ++i)
            EXPECT_EQ(row[i], c.pixel[i % n]) << i;
        EXPECT_EQ(row[3 * n], kUntouched);
    }
    // A gray level on a colour bitmap is the gray of its top byte.
    Make(24, 0);
    const auto row = Fill(ColorTagGray16 | 0xC0FFu, 1);
    EXPECT_EQ(row[0], 0xC0);
    EXPECT_EQ(row[1], 0xC0);
    EXPECT_EQ(row[2], 0xC0);
}

uint32_t Word(const std::vector<uint8_t> &row, uint32_t x) {
    return uint32_t(row[2 * x]) | (uint32_t(row[2 * x + 1]) << 8);
}

struct GrayCase {
    const char *what;
    int32_t low, high;
    ColorValue colour;
    uint32_t expected;
};

TEST_F(RowFill, SixteenBitGrayUnderWindows) {
    const ColorValue gray100 = Direct(100, 100, 100); // level 0x6464
    const GrayCase cases[] = {
        {"whole sample", -1, -1, gray100, 0x6464},
        {"window at bit 0 still takes the full level", 0, 11, gray100, 0x6464},
        {"window above bit 0", 4, 15, gray100, 0x6460},
        {"narrow window", 2, 9, gray100, 0x64 << 2},
        {"index tag", 2, 9, ColorTagIndex | 0x1234u, 0x12 << 2},
        {"gray tag", 2, 9, ColorTagGray16 | 0x1234u, 0x12 << 2},
        {"gray tag, whole sample", -1, -1, ColorTagGray16 | 0xABCDu, 0xABCD},
        {"raw tag is a colour here", -1, -1, ColorTagRaw16 | 0xABCDu, 0x9E9E},
    };
    for (const GrayCase &c : cases) {
        BitmapHandle *b = Make(16, 2);
        b->LowBit = c.low;
        b->HighBit = c.high;
        const auto row = Fill(c.colour, 3);
        for (uint32_t x = 0; x < 3; ++x)
            EXPECT_EQ(Word(row, x), c.expected) << c.what;
        EXPECT_EQ(row[6], kUntouched) << c.what;
    }
}

TEST_F(RowFill, TwelveBitGrayUnderWindows) {
    const GrayCase cases[] = {
        {"gray of a colour", -1, -1, Direct(100, 100, 100), 0x646},
        {"index tag, whole sample", -1, -1, ColorTagIndex | 0xABCu, 0xABC},
        {"index tag, upper window", 4, 11, ColorTagIndex | 0xABCu, 0xAB0},
        {"raw tag", -1, -1, ColorTagRaw16 | 0xABCDu, 0xABC},
        // No test of its own: the level's bytes are taken as red and green.
        {"gray tag", -1, -1, ColorTagGray16 | 0xABCDu, 0x9E9},
        {"gray of a colour, low window", 0, 7, Direct(100, 100, 100), 0x64},
    };
    for (const GrayCase &c : cases) {
        BitmapHandle *b = Make(12);
        ASSERT_EQ(b->Order, 2);
        b->LowBit = c.low;
        b->HighBit = c.high;
        // An odd count ends in the low half of byte 4; the high half
        // belongs to the pixel that is not filled.
        const auto row = Fill(c.colour, 3);
        for (uint32_t x = 0; x < 3; ++x)
            EXPECT_EQ(Get12(row.data(), x), c.expected) << c.what << " " << x;
        EXPECT_EQ(row[4] & 0xF0, kUntouched & 0xF0) << c.what;
        EXPECT_EQ(row[5], kUntouched) << c.what;
    }
}

TEST_F(RowFill, GrayWithATableFindsTheEntry) {
    for (int32_t bits : {12, 16}) {
        SCOPED_TRACE(bits);
        const uint32_t low = bits == 12 ? 4 : 2;
        auto sample = [&](ColorValue colour) {
            const auto row = Fill(colour, 2);
            return bits == 12 ? Get12(row.data(), 1) : Word(row, 1);
        };
        BitmapHandle *b = Make(bits, 2);
        b->LowBit = int32_t(low);
        b->HighBit = int32_t(low + 7);
        SetGrayTable(b, Table(256, [](uint32_t i) { return Gray(uint8_t(255 - i)); }));
        // Nearest gray to (10, 20, 30) is 20, at entry 235.
        EXPECT_EQ(sample(Direct(10, 20, 30)), 235u << low);
        // A gray level becomes the gray of its top byte, then is looked up.
        EXPECT_EQ(sample(ColorTagGray16 | 0x12FFu), (255u - 0x12) << low);
        // An index is taken as it is, table or not.
        EXPECT_EQ(sample(ColorTagIndex | 0x34u << (bits - 8)), 0x34u << low);
        // A table out of force is not looked at.
        b->Flags &= ~BITMAP_GRAYLUT;
        EXPECT_EQ(sample(Direct(100, 100, 100)), 0x64u << low);
    }
}

} // namespace
} // namespace ztk::testing

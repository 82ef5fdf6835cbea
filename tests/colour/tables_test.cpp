// The constant tables: each fixed colour set against its channel rule,
// entry by entry, the deliberate differences between them, the squares
// and the set-bit counts.
#include <gtest/gtest.h>

#include <cstring>

#include "colour/tables/counts.h"
#include "colour/tables/fixed_palettes.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

// The level of step s among n evenly spread over 0..255, rounded.
uint8_t RoundedLevel(uint32_t s, uint32_t n) {
    return uint8_t((s * 255 * 2 + (n - 1)) / (2 * (n - 1)));
}

// A channel taken from `width` index bits starting at bit `low`.
struct Field {
    uint32_t low, width;
    uint8_t of(uint32_t index) const {
        const uint32_t steps = 1u << width;
        return RoundedLevel((index >> low) & (steps - 1), steps);
    }
};

struct Rule {
    uint32_t bits;
    Field blue, green, red;
};

const Rule kRules[] = {
    {1, {0, 1}, {0, 1}, {0, 1}}, // black, white
    {2, {0, 2}, {0, 2}, {0, 2}}, // four grays
    {3, {0, 1}, {1, 1}, {2, 1}}, {5, {0, 1}, {1, 2}, {3, 2}},
    {6, {0, 2}, {2, 2}, {4, 2}}, {7, {0, 2}, {2, 3}, {5, 2}},
    {8, {0, 2}, {2, 3}, {5, 3}},
};

TEST(FixedPalettes, EveryEntryFollowsItsChannelRule) {
    for (const Rule &rule : kRules) {
        const RGBQUAD *table = tables::FixedPalette(rule.bits);
        ASSERT_NE(table, nullptr) << rule.bits;
        for (uint32_t i = 0; i < (1u << rule.bits); ++i) {
            SCOPED_TRACE(::testing::Message() << rule.bits << " bits, entry " << i);
            EXPECT_EQ(table[i].rgbBlue, rule.blue.of(i));
            EXPECT_EQ(table[i].rgbGreen, rule.green.of(i));
            EXPECT_EQ(table[i].rgbRed, rule.red.of(i));
            EXPECT_EQ(table[i].rgbReserved, 0);
        }
    }
}

TEST(FixedPalettes, SixteenColoursAsListed) {
    const uint8_t rgb[16][3] = {
        {0, 0, 0},       {128, 0, 0},   {0, 128, 0},   {128, 128, 0},
        {0, 0, 128},     {128, 0, 128}, {0, 128, 128}, {128, 128, 128},
        {192, 192, 192}, {255, 0, 0},   {0, 255, 0},   {255, 255, 0},
        {0, 0, 255},     {255, 0, 255}, {0, 255, 255}, {255, 255, 255},
    };
    const RGBQUAD *table = tables::FixedPalette(4);
    for (int i = 0; i < 16; ++i) {
        EXPECT_TRUE(SameColour(table[i], Rgb(rgb[i][0], rgb[i][1], rgb[i][2])))
            << "entry " << i;
    }
}

TEST(FixedPalettes, DeliberateDifferences) {
    // Bit 0 of the index is blue at 3 bits but red at 4.
    EXPECT_TRUE(SameColour(tables::FixedPalette(3)[1], Rgb(0, 0, 255)));
    EXPECT_TRUE(SameColour(tables::FixedPalette(4)[1], Rgb(128, 0, 0)));
    // The fixed 8-level ramp is rounded; the gray palette's is truncated.
    EXPECT_EQ(tables::FixedPalette(8)[2 << 2].rgbGreen, 73);
    ZHPALETTE gray = Z_CreateGrayPalette(3);
    Palette owner(gray);
    RGBQUAD entries[8];
    ASSERT_EQ(Z_GetPaletteEntries(gray, 0, 8, entries), 8);
    EXPECT_EQ(entries[2].rgbGreen, 72);
}

// The pointer, the copy (zero bits: the 8-bit gray ramp) and the logical
// palette (zero bits: one bit) of each depth.
TEST(FixedPalettes, LookupCopyAndPaletteByDepth) {
    for (int32_t bits = -1; bits <= 12; ++bits) {
        SCOPED_TRACE(bits);
        const RGBQUAD *table = bits >= 1 && bits <= 8
                                   ? tables::FixedPalette(uint32_t(bits))
                                   : nullptr;
        EXPECT_EQ(Z_IntGetFixedPalette(bits), table);
        Palette fixed(Z_CreateFixedPalette(bits));
        const auto entries = EntriesOf(fixed.get());
        const RGBQUAD *want = bits == 0 ? tables::FixedPalette(1) : table;
        ASSERT_EQ(entries.size(), want ? size_t(bits == 0 ? 2 : 1u << bits) : 0u);
        for (size_t i = 0; i < entries.size(); ++i)
            EXPECT_TRUE(SameColour(entries[i], want[i])) << i;
        RGBQUAD out[257];
        std::memset(out, 0xEE, sizeof out);
        if (bits < 0 || bits > 8) {
            EXPECT_EQ(Z_GetFixedPalette(out, bits), Z_ERR_PARAM);
            EXPECT_EQ(out[0].rgbRed, 0xEE);
            continue;
        }
        ASSERT_EQ(Z_GetFixedPalette(out, bits), Z_OK);
        const uint32_t n = bits == 0 ? 256 : 1u << bits;
        for (uint32_t i = 0; i < n; ++i)
            EXPECT_TRUE(SameColour(out[i], bits == 0 ? Gray(uint8_t(i)) : table[i])) << i;
        EXPECT_EQ(out[n].rgbRed, 0xEE) << "wrote past the set";
    }
}

TEST(ArithmeticTables, SquaresAndBitCounts) {
    for (uint32_t i = 0; i < 256; ++i) {
        EXPECT_EQ(tables::SquareTable[i], i * i);
        uint32_t bits = 0;
        for (uint32_t v = i; v; v &= v - 1)
            ++bits;
        EXPECT_EQ(tables::BitCountTable[i], bits) << i;
    }
    for (int32_t d = -255; d <= 255; ++d)
        EXPECT_EQ(tables::DifferenceSquares.values[255 + d], uint32_t(d * d)) << d;
    EXPECT_EQ(Z_Get1BitOnTable(), tables::BitCountTable.values);
}

} // namespace
} // namespace ztk::testing

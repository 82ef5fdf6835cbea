// Threshold methods: both matrices on every fixed set (the two sets that
// compare instead of offsetting included) and on searched palettes, the
// repeat after 8 rows and 8 columns, and the row counter, which moves
// even for an empty row, and only for these methods.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "core/packed.h"
#include "reduce/tables/dither_tables.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

// Spot values worked by hand from the cells (row, column) of each matrix,
// so that a wrong cell shows here and not only in the sweep below.
TEST(Threshold, HandWorkedCells) {
    // Colours are of the fixed set passed as a null palette.
    const struct {
        const char *what;
        uint32_t method;
        int32_t colors;
        Colour colour;
        int row, column, expected;
    } spots[] = {
        {"8 colours, t 0: 128-42", DitherOrdered, 8, {128, 128, 128}, 0, 0, 0},
        {"8 colours, t 128: d 0", DitherOrdered, 8, {128, 128, 128}, 0, 1, 7},
        {"8 colours, t 244: d 39", DitherOrdered, 8, {128, 128, 128}, 3, 4, 7},
        {"2 colours, t 120 < 128", DitherOrdered, 2, {128, 128, 128}, 3, 5, 1},
        {"2 colours, t 248 < 255", DitherOrdered, 2, {255, 255, 255}, 7, 0, 1},
        {"16 colours, t 64: red and green", DitherOrdered, 16, {200, 100, 30}, 1, 1, 11},
        {"16 colours, t 232: black", DitherOrdered, 16, {200, 100, 30}, 1, 6, 0},
        {"32 colours, t 160: 32-25", DitherOrdered, 32, {120, 60, 130}, 0, 3, 11},
        {"clustered 2, t 252 < 255", DitherClustered, 2, {255, 255, 255}, 6, 2, 1},
        {"clustered 16, t 16: green, blue", DitherClustered, 16, {10, 20, 30}, 1, 2, 14},
        {"clustered 4, t 0: 100-64", DitherClustered, 4, {100, 100, 100}, 2, 2, 0},
        {"clustered 4, t 252: 100+62", DitherClustered, 4, {100, 100, 100}, 6, 2, 2},
    };
    for (const auto &s : spots) {
        const IndexRows out = Dither24(s.method, nullptr, s.colors, Flat(8, 8, s.colour));
        EXPECT_EQ(out[size_t(s.row)][size_t(s.column)], s.expected) << s.what;
    }
}

// The sets that offset spread the cell over the set's bit depth n (6 for
// the cube), centred on zero: t / n - 128 / n. The 1-bit and 16-colour
// sets compare the cell with the luminance or with each channel.
int ExpectedIndex(int32_t colors, int t, Colour c) {
    if (colors == 2)
        return t < (2 * c.r + 5 * c.g + c.b + 4) >> 3 ? 1 : 0;
    if (colors == 16) {
        const int bits = (t < c.r ? 1 : 0) | (t < c.g ? 2 : 0) | (t < c.b ? 4 : 0);
        return bits != 0 ? bits + 8 : 0;
    }
    const int n = colors == 216 ? 6 : int(std::log2(colors));
    const int d = t / n - 128 / n;
    return FixedIndex(colors, std::clamp(c.r + d, 0, 255), std::clamp(c.g + d, 0, 255),
                      std::clamp(c.b + d, 0, 255));
}

// Every cell of 17 rows by 19 columns, so the matrix is seen to start over
// in both directions; 216 stands for the cube, passed as a palette.
TEST(Threshold, EveryFixedSetFollowsItsRuleAndRepeatsEvery8) {
    const Colour colours[] = {{0, 0, 0},     {255, 255, 255}, {128, 128, 128}, {127, 127, 127},
                              {200, 100, 30}, {17, 240, 99},  {64, 192, 160}};
    for (uint32_t method : {uint32_t(DitherOrdered), uint32_t(DitherClustered)}) {
        const tables::ThresholdMatrix &m =
            method == DitherOrdered ? tables::OrderedMatrix : tables::ClusteredMatrix;
        for (int32_t colors : {2, 4, 8, 16, 32, 64, 128, 256, 216}) {
            const RGBQUAD *palette = colors == 216 ? tables::CubePalette216.entries : nullptr;
            for (const Colour &c : colours) {
                const IndexRows out = Dither24(method, palette, colors, Flat(19, 17, c));
                for (size_t y = 0; y < 17; ++y)
                    for (size_t x = 0; x < 19; ++x)
                        ASSERT_EQ(out[y][x], ExpectedIndex(colors, m[y & 7][x & 7], c))
                            << "method " << method << " colors " << colors << " at " << y
                            << "," << x;
            }
        }
    }
}

// Searched palettes take the offset of the output depth, then the key and
// the search on the offset colour.
TEST(Threshold, SearchedPalettesOffsetByOutputDepth) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0), Quad(96, 96, 96), Quad(240, 240, 240)};
    const struct { int32_t bits; int row, column, expected; } cases[] = {
        {2, 0, 0, 0}, // 100 - 64 = 36: nearer black
        {2, 7, 0, 1}, // 100 + 60 = 160: 64 from 96, 80 from 240
        {1, 0, 1, 1}, // 100 + 128 - 128 = 100
        {1, 7, 0, 0}, // 100 + 120 = 220 picks 2, of which one bit is stored
        {8, 7, 0, 1}, // 100 + 31 - 16 = 115, cleared to 112
        {8, 0, 0, 1}, // 100 - 16 = 84, cleared to 80: nearer 96
        {3, 0, 0, 1}, // 100 - 42 = 58, cleared to 56: nearer 96
    };
    const std::vector<uint8_t> in = Rgb24Row(Flat(8, 1, {100, 100, 100})[0]);
    for (const auto &c : cases) {
        Source source(8, 24, DitherOrdered);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 3, c.bits, nullptr), Z_OK);
        uint8_t out[8] = {};
        for (int y = 0; y <= c.row; ++y)
            ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out), Z_OK);
        EXPECT_EQ(int(GetPixelBits(out, uint32_t(c.column), c.bits)), c.expected)
            << "bits " << c.bits << " cell " << c.row << "," << c.column;
    }
}

TEST(Threshold, RowCounterAdvancesForEmptyRowsAndOnlyForThresholds) {
    const uint8_t in[4] = {1, 2, 3, 4};
    uint8_t out[4] = {9, 9, 9, 9};
    for (uint32_t method = 0; method <= 8; ++method) {
        Source source(0, 24, method);
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(Z_DitherLine(source.get(), in, out), Z_OK);
        EXPECT_EQ(source.state()->RowCounter, method >= 7 ? 3u : 0u) << method;
    }
    EXPECT_EQ(out[0], 9); // nothing written for an empty row
}

} // namespace
} // namespace ztk::testing

// Threshold methods: both matrices on every fixed set and on searched
// palettes, the two sets that compare instead of offsetting, the repeat
// after 8 rows and 8 columns, and the row counter (which moves even for an
// empty row, and only for these methods).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/packed.h"
#include "reduce/tables/dither_tables.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

ColourRows Flat(int width, int height, Colour c) {
    return ColourRows(static_cast<size_t>(height),
                      std::vector<Colour>(static_cast<size_t>(width), c));
}

// Spot values worked by hand from the cells (row, column) of each matrix.
struct Spot {
    const char *what;
    uint32_t method;
    int32_t colors; // of the fixed set passed as a null palette
    Colour colour;
    int row, column;
    int expected;
};

const Spot kSpots[] = {
    // 8 colours: d = t / 3 - 42, then the top bit of each channel.
    {"t 0: 128-42 = 86", DitherOrdered, 8, {128, 128, 128}, 0, 0, 0},
    {"t 128: d 0", DitherOrdered, 8, {128, 128, 128}, 0, 1, 7},
    {"t 244: d 39", DitherOrdered, 8, {128, 128, 128}, 3, 4, 7},
    {"t 8: 2-42, 127 falls", DitherOrdered, 8, {169, 100, 130}, 0, 4, 4},
    // 2 colours compare the cell with the luminance.
    {"t 0 < 1", DitherOrdered, 2, {1, 1, 1}, 0, 0, 1},
    {"t 128 < 128 is false", DitherOrdered, 2, {128, 128, 128}, 0, 1, 0},
    {"t 120 < 128", DitherOrdered, 2, {128, 128, 128}, 3, 5, 1},
    {"t 248 < 255", DitherOrdered, 2, {255, 255, 255}, 7, 0, 1},
    {"t 0 < 0 is false", DitherOrdered, 2, {0, 0, 0}, 0, 0, 0},
    {"clustered t 252 < 255", DitherClustered, 2, {255, 255, 255}, 6, 2, 1},
    // 16 colours compare each channel: red bit 0, green 1, blue 2, bright 8.
    {"t 0 below all three", DitherOrdered, 16, {200, 100, 30}, 0, 0, 15},
    {"t 128: red only", DitherOrdered, 16, {200, 100, 30}, 0, 1, 9},
    {"t 64: red and green", DitherOrdered, 16, {200, 100, 30}, 1, 1, 11},
    {"t 232: none, so black", DitherOrdered, 16, {200, 100, 30}, 1, 6, 0},
    {"clustered t 16: green and blue below", DitherClustered, 16, {10, 20, 30}, 1, 2, 14},
    // 4 grays: d = t / 2 - 64, then luminance >> 6.
    {"clustered t 0: 100+36", DitherClustered, 4, {100, 100, 100}, 2, 2, 0},
    {"clustered t 252: 100+62", DitherClustered, 4, {100, 100, 100}, 6, 2, 2},
    // 32 colours: d = t / 5 - 25; red 2 bits, green 2, blue 1.
    {"t 160: 32-25", DitherOrdered, 32, {120, 60, 130}, 0, 3, (1 << 3) | (1 << 1) | 1},
    // 64 colours: d = t / 6 - 21.
    {"t 0: -21", DitherOrdered, 64, {64, 140, 200}, 0, 0, (0 << 4) | (1 << 2) | 2},
    // 128 colours: d = t / 7 - 18; red 2 bits, green 3, blue 2.
    {"t 248: 35-18", DitherOrdered, 128, {100, 100, 100}, 7, 0, (1 << 5) | (3 << 2) | 1},
    // 256 colours: d = t / 8 - 16; red 3 bits, green 3, blue 2.
    {"t 0: 84", DitherOrdered, 256, {100, 100, 100}, 0, 0, (2 << 5) | (2 << 2) | 1},
    {"t 248: 115", DitherOrdered, 256, {100, 100, 100}, 7, 0, (3 << 5) | (3 << 2) | 1},
};

TEST(Threshold, HandWorkedCells) {
    for (const Spot &s : kSpots) {
        const IndexRows out = Dither24(s.method, nullptr, s.colors,
                                       Flat(8, 8, s.colour));
        EXPECT_EQ(out[size_t(s.row)][size_t(s.column)], s.expected) << s.what;
    }
}

TEST(Threshold, CubeDividesBy51AfterTheOffset) {
    const tables::CubeTable &cube = tables::CubePalette216;
    // d = t / 6 - 21: gray 100 at t 0 is 79 (level 1), at t 248 is 120
    // (level 2).
    const IndexRows out = Dither24(DitherOrdered, cube.entries, 256,
                                   Flat(8, 8, {100, 100, 100}));
    EXPECT_EQ(out[0][0], (1 * 6 + 1) * 6 + 1);
    EXPECT_EQ(out[7][0], (2 * 6 + 2) * 6 + 2);
}

// The same from the rules for every cell, every fixed set and a spread of
// colours: the offset of each set, or the comparison of the two that
// compare, then the set's own index.
int ExpectedOffset(int32_t colors, uint32_t t) {
    switch (colors) {
    case 4: return int(t >> 1) - 64;
    case 8: return int(t / 3) - 42;
    case 32: return int(t / 5) - 25;
    case 64: return int(t / 6) - 21;
    case 128: return int(t / 7) - 18;
    case 216: return int(t / 6) - 21; // the cube
    default: return int(t >> 3) - 16;
    }
}

int ExpectedIndex(int32_t colors, uint32_t t, Colour c) {
    const uint32_t lum = (2u * c.r + 5u * c.g + c.b + 4) >> 3;
    if (colors == 2)
        return t < lum ? 1 : 0;
    if (colors == 16) {
        const int bits = (t < c.r ? 1 : 0) | (t < c.g ? 2 : 0) | (t < c.b ? 4 : 0);
        return bits != 0 ? bits + 8 : 0;
    }
    const int d = ExpectedOffset(colors, t);
    const int r = std::clamp(c.r + d, 0, 255), g = std::clamp(c.g + d, 0, 255),
              b = std::clamp(c.b + d, 0, 255);
    switch (colors) {
    case 4: return int(((2u * r + 5u * g + b + 4) >> 9) & 3);
    case 8: return ((r >> 7) << 2) | ((g >> 7) << 1) | (b >> 7);
    case 32: return ((r >> 6) << 3) | ((g >> 6) << 1) | (b >> 7);
    case 64: return ((r >> 6) << 4) | ((g >> 6) << 2) | (b >> 6);
    case 128: return ((r >> 6) << 5) | ((g >> 5) << 2) | (b >> 6);
    case 216: return (r / 51 * 6 + g / 51) * 6 + b / 51;
    default: return ((r >> 5) << 5) | ((g >> 5) << 2) | (b >> 6);
    }
}

TEST(Threshold, EveryFixedSetFollowsItsRuleAndRepeatsEvery8) {
    const Colour colours[] = {{0, 0, 0},       {255, 255, 255}, {128, 128, 128},
                              {127, 127, 127}, {200, 100, 30},  {17, 240, 99},
                              {64, 192, 160}};
    for (uint32_t method : {uint32_t(DitherOrdered), uint32_t(DitherClustered)}) {
        const tables::ThresholdMatrix &m = method == DitherOrdered
                                               ? tables::OrderedMatrix
                                               : tables::ClusteredMatrix;
        for (int32_t colors : {2, 4, 8, 16, 32, 64, 128, 256, 216}) {
            // 216 stands for the cube, passed as a palette.
            const RGBQUAD *palette = colors == 216 ? tables::CubePalette216.entries : nullptr;
            for (const Colour &c : colours) {
                const IndexRows out = Dither24(method, palette, colors, Flat(19, 17, c));
                for (size_t y = 0; y < 17; ++y)
                    for (size_t x = 0; x < 19; ++x)
                        ASSERT_EQ(out[y][x], ExpectedIndex(colors, m[y & 7][x & 7], c))
                            << "method " << method << " colors " << colors << " at "
                            << y << "," << x;
            }
        }
    }
}

TEST(Threshold, WhiteAndBlackStayUnderTheComparingSets) {
    for (uint32_t method : {uint32_t(DitherOrdered), uint32_t(DitherClustered)}) {
        for (const IndexRows &rows :
             {Dither24(method, nullptr, 2, Flat(8, 8, {255, 255, 255}))})
            for (const auto &row : rows)
                for (int v : row)
                    EXPECT_EQ(v, 1);
        for (const auto &row : Dither24(method, nullptr, 2, Flat(8, 8, {0, 0, 0})))
            for (int v : row)
                EXPECT_EQ(v, 0);
    }
}

// Searched palettes take the offset of the output depth: with 2 bits,
// d = t / 2 - 64, then the key and the search on the offset colour.
TEST(Threshold, SearchedPalettesOffsetByOutputDepth) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0), Quad(96, 96, 96), Quad(240, 240, 240)};
    struct Case {
        int32_t bits;
        int row, column; // cell
        int expected;
    } cases[] = {
        {2, 0, 0, 0},  // 100 - 64 = 36: nearer black
        {2, 0, 1, 1},  // 100 + 0 = 100, cleared to 96
        {2, 7, 0, 1},  // 100 + 60 = 160: 64 from 96, 80 from 240
        {1, 0, 1, 1},  // 100 + 128 - 128 = 100
        {1, 7, 0, 0},  // 100 + 120 = 220 picks 2, of which one bit is stored
        {8, 7, 0, 1},  // 100 + 31 - 16 = 115, cleared to 112
        {8, 0, 0, 1},  // 100 - 16 = 84, cleared to 80: nearer 96
        {3, 0, 0, 1},  // 100 - 42 = 58, cleared to 56: 56 vs 40 to 96, 1
    };
    for (const Case &c : cases) {
        Source source(8, 24, DitherOrdered);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 3, c.bits, nullptr), Z_OK);
        ASSERT_EQ(source.state()->PaletteKind, 0);
        const std::vector<uint8_t> in = Rgb24Row(Flat(8, 1, {100, 100, 100})[0]);
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

// After 8 rows the matrix starts over, also across an empty row's count.
TEST(Threshold, MatrixRowFollowsTheCounter) {
    Source source(8, 24, DitherOrdered);
    ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 2), Z_OK);
    const ColourRows rows = Flat(8, 9, {128, 128, 128});
    const std::vector<uint8_t> in = Rgb24Row(rows[0]);
    uint8_t out[9][2] = {};
    for (int y = 0; y < 9; ++y)
        ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out[y]), Z_OK);
    EXPECT_EQ(out[8][0], out[0][0]);
    // Row 0 cells below 128: 0, 32, 8, 40 -> 1 0 1 0 1 0 1 0.
    EXPECT_EQ(out[0][0], 0xAA);
    // Row 1: 64 and 96 and 72 and 104 -> 0 1 0 1 0 1 0 1.
    EXPECT_EQ(out[1][0], 0x55);
}

} // namespace
} // namespace ztk::testing

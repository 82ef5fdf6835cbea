// The constant tables of the dithering engine: the two 8x8 threshold
// matrices, the 6x6x6 colour cube with its zeroed tail, and the quotient
// by 51 that maps a channel onto a cube level.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk::tables {

struct ThresholdMatrix {
    uint8_t cells[8][8];
    constexpr const uint8_t *operator[](uint32_t row) const { return cells[row]; }
};

// The recursive 8x8 matrix scaled by 4, with the cells that differ from
// the textbook layout kept as they always were: 232 stands twice (rows 1
// and 5) and 252 is missing, so results stay identical to earlier output.
inline constexpr ThresholdMatrix OrderedMatrix = {{
    {0, 128, 32, 160, 8, 136, 40, 168},
    {192, 64, 224, 96, 200, 72, 232, 104},
    {48, 176, 16, 144, 56, 184, 24, 152},
    {236, 112, 208, 80, 244, 120, 216, 88},
    {12, 140, 44, 172, 4, 132, 36, 164},
    {204, 76, 232, 108, 196, 68, 228, 100},
    {60, 188, 28, 156, 52, 180, 20, 148},
    {248, 124, 220, 92, 240, 116, 212, 84},
}};

// Dots that grow from the centres of two diagonal 4x4 cells.
inline constexpr ThresholdMatrix ClusteredMatrix = {{
    {112, 40, 72, 104, 144, 176, 208, 136},
    {88, 8, 16, 48, 192, 232, 240, 168},
    {56, 24, 0, 80, 160, 224, 248, 200},
    {96, 64, 32, 120, 128, 216, 184, 152},
    {148, 180, 212, 140, 116, 44, 76, 108},
    {196, 236, 244, 172, 92, 12, 20, 52},
    {164, 228, 252, 204, 60, 28, 4, 84},
    {132, 220, 188, 156, 100, 68, 36, 124},
}};

// How often each value stands in a matrix; for checks at compile time.
constexpr uint32_t CountOf(const ThresholdMatrix &matrix, uint32_t value) {
    uint32_t count = 0;
    for (uint32_t r = 0; r < 8; ++r)
        for (uint32_t c = 0; c < 8; ++c)
            count += matrix.cells[r][c] == value ? 1u : 0u;
    return count;
}

constexpr bool EachMultipleOf4Once(const ThresholdMatrix &matrix) {
    for (uint32_t v = 0; v < 256; v += 4) {
        if (CountOf(matrix, v) != 1)
            return false;
    }
    return true;
}

static_assert(CountOf(OrderedMatrix, 232) == 2 &&
                  CountOf(OrderedMatrix, 252) == 0,
              "the ordered matrix keeps its doubled 232");
static_assert(EachMultipleOf4Once(ClusteredMatrix),
              "the clustered matrix holds every multiple of 4 once");

struct CubeTable {
    RGBQUAD entries[256];
    constexpr const RGBQUAD &operator[](uint32_t i) const { return entries[i]; }
};

// Red slowest, blue fastest, six levels 51 apart; entries 216 to 255 are
// black so that a 256-entry palette can hold the cube and a zeroed tail.
constexpr CubeTable MakeCubePalette() {
    CubeTable table{};
    for (uint32_t i = 0; i < 216; ++i) {
        table.entries[i].rgbBlue = uint8_t((i % 6) * 51);
        table.entries[i].rgbGreen = uint8_t(((i / 6) % 6) * 51);
        table.entries[i].rgbRed = uint8_t((i / 36) * 51);
        table.entries[i].rgbReserved = 0;
    }
    return table;
}

inline constexpr CubeTable CubePalette216 = MakeCubePalette();

// Channel / 51, so that the cube index costs lookups, not divisions.
struct CubeLevelTable {
    uint8_t values[256];
};

constexpr CubeLevelTable MakeCubeLevels() {
    CubeLevelTable table{};
    for (uint32_t v = 0; v < 256; ++v)
        table.values[v] = uint8_t(v / 51);
    return table;
}

inline constexpr CubeLevelTable CubeLevel = MakeCubeLevels();

static_assert(CubePalette216[215].rgbRed == 255 &&
                  CubePalette216[1].rgbBlue == 51 &&
                  CubePalette216[6].rgbGreen == 51 &&
                  CubePalette216[216].rgbRed == 0,
              "cube entries step blue fastest and end in black");

} // namespace ztk::tables

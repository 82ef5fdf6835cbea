// What the start, the row loop and the stop of a dither share: the palette
// kinds, the shape of each method's error rows, and the release of a state
// with everything it owns.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk::dither {

// How a colour becomes a palette index. The two table kinds search; the
// fixed kinds compute the index from the channel bits of their table.
enum PaletteKind : int32_t {
    KindOwnedTable = 0,  // any palette; the match table is ours
    KindCallerTable = 1, // any palette; the match table is the caller's
    KindGray1 = 2,       // FixedPalette1
    KindGray2 = 3,       // FixedPalette2
    KindRgb111 = 4,      // FixedPalette3
    KindBright16 = 5,    // FixedPalette4
    KindRgb221 = 6,      // FixedPalette5
    KindRgb222 = 7,      // FixedPalette6
    KindRgb232 = 8,      // FixedPalette7
    KindRgb332 = 9,      // FixedPalette8
    KindCube = 10,       // CubePalette216
};
constexpr int32_t kKindCount = 11;
constexpr int32_t kMethodCount = 9;

constexpr uint32_t kMatchTableEntries = 32768;

// Error rows of a method: how many per channel and how many columns each
// side of the row they reach past. Methods without rows have both 0.
struct RowShape {
    uint32_t rows;
    uint32_t margin;
};

constexpr RowShape ShapeOfMethod(uint32_t method) {
    switch (method) {
    case DitherFloydSteinberg: return {1, 1};
    case DitherStucki: return {2, 2};
    case DitherBurkes: return {1, 2};
    case DitherSierra: return {2, 2};
    case DitherStevensonArce: return {3, 3};
    case DitherJarvisJudiceNinke: return {2, 2};
    default: return {0, 0};
    }
}

constexpr bool IsDiffusion(int32_t method) {
    return method >= DitherFloydSteinberg && method <= DitherJarvisJudiceNinke;
}

// Frees the error rows, an owned match table and the state itself; a
// caller's table is left alone.
void FreeState(DitherState *state);

} // namespace ztk::dither

// Colour matching shared by the converters, dithering, fill, rotation and
// shear: the ordering class behind the nearest search's tie rule, the map
// from one palette to another, and the fill of a row with one colour.
//
// The nearest search itself is the exported Z_FindPaletteIndex.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

// How the three channels of a colour are ordered, as three bits: 4 when
// red is below blue, 2 when green is below both, 1 when green is above
// both. Equal channels set nothing.
constexpr uint32_t OrderingClass(uint32_t red, uint32_t green, uint32_t blue) {
    const uint32_t hi = red < blue ? blue : red;
    const uint32_t lo = red < blue ? red : blue;
    uint32_t cls = 0;
    if (red < blue)
        cls |= 4u;
    if (green < lo)
        cls |= 2u;
    if (hi < (green > lo ? green : lo))
        cls |= 1u;
    return cls;
}

// Fills `map` (256 bytes) with, for each source entry, the destination
// entry that stands for it, and returns 1 when that map is the identity.
// A null palette stands for the 256-level gray ramp; with both null the
// map is left alone. Counts above 256 are taken as 256.
int32_t BuildPaletteMap(const RGBQUAD *source, int32_t sourceCount,
                        const RGBQUAD *destination, int32_t destinationCount,
                        uint8_t *map);

// Writes `count` pixels of one colour into `row`, in the bitmap's own
// layout, starting at the row's first pixel. Always returns 1.
int32_t FillRowWithColor(const BitmapHandle *bitmap, ColorValue color,
                         void *row, int32_t count);

} // namespace ztk

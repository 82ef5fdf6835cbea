// Inputs shared by the benchmark programs.
#pragma once

#include <cstdint>
#include <vector>

#include "ztkrn.h"

namespace ztk::bench {

// A palette with no structure to exploit: 256 pseudo-random colours.
inline std::vector<RGBQUAD> ScatteredPalette() {
    std::vector<RGBQUAD> palette(256);
    uint32_t state = 12345;
    for (RGBQUAD &e : palette) {
        state = state * 1103515245u + 12345u;
        e.rgbRed = uint8_t(state >> 24);
        e.rgbGreen = uint8_t(state >> 16);
        e.rgbBlue = uint8_t(state >> 8);
        e.rgbReserved = 0;
    }
    return palette;
}

} // namespace ztk::bench

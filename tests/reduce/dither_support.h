// Helpers for the dithering tests: a source bitmap record (no storage is
// needed, the engine reads only the rows it is handed), rows of colours
// packed as 24-bit pixels, a run of several rows to 8-bit indices, and the
// index rule of each fixed colour set written out on its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/support/support.h"
#include "ztkrn.h"

namespace ztk::testing {

struct Colour {
    uint8_t r, g, b;
};
using ColourRows = std::vector<std::vector<Colour>>;
using IndexRows = std::vector<std::vector<int>>;

inline RGBQUAD Quad(uint8_t r, uint8_t g, uint8_t b, uint8_t reserved = 0) {
    return RGBQUAD{b, g, r, reserved};
}

// A source record of the given shape with the given method; Z_FreeBitmap
// on it deletes only a palette, as it has no storage.
struct Source {
    BitmapHandle h{};
    Source(int32_t width, int32_t bits, uint32_t method, int32_t order = 0) {
        Z_InitBitmap(&h, width, 1, bits);
        h.DitheringMethod = method;
        h.Order = order;
    }
    ~Source() {
        Z_StopDithering(&h);
        Z_FreeBitmap(&h);
    }
    Source(const Source &) = delete;
    Source &operator=(const Source &) = delete;
    BitmapHandle *get() { return &h; }
    DitherState *state() { return h.DitherState; }
};

inline ColourRows Flat(int width, int height, Colour c) {
    return ColourRows(size_t(height), std::vector<Colour>(size_t(width), c));
}

// Red, green, blue in memory, as a 24-bit row with Order 0.
inline std::vector<uint8_t> Rgb24Row(const std::vector<Colour> &row) {
    std::vector<uint8_t> out;
    for (const Colour &c : row)
        out.insert(out.end(), {c.r, c.g, c.b});
    return out;
}

// Dithers the rows in order to 8-bit indices on a started source.
inline IndexRows DitherRows(BitmapHandle *source, const ColourRows &rows) {
    IndexRows out;
    for (const auto &row : rows) {
        const std::vector<uint8_t> in = Rgb24Row(row);
        std::vector<uint8_t> dest(row.size() + 1, 0xEE);
        EXPECT_EQ(Z_DitherLine(source, in.data(), dest.data()), Z_OK);
        EXPECT_EQ(dest.back(), 0xEE) << "wrote past the row";
        out.emplace_back(dest.begin(), dest.end() - 1);
    }
    return out;
}

// Starts a 24-bit dither of `colors` entries to 8-bit output and runs it.
inline IndexRows Dither24(uint32_t method, const RGBQUAD *palette, int32_t colors,
                          const ColourRows &rows, uint32_t *matchTable = nullptr) {
    Source source(int32_t(rows.empty() ? 0 : rows[0].size()), 24, method);
    EXPECT_EQ(Z_StartDitheringExt(source.get(), palette, colors, 8, matchTable), Z_OK);
    return DitherRows(source.get(), rows);
}

// The index of a colour in a whole fixed set, named by its size (216 is
// the cube): luminance bits for the grays, else channel bits; the 16-colour
// set runs red lowest and is bright for every colour but black.
inline int FixedIndex(int32_t set, int r, int g, int b) {
    const int lum = 2 * r + 5 * g + b + 4;
    switch (set) {
    case 2: return (lum >> 10) & 1;
    case 4: return (lum >> 9) & 3;
    case 8: return ((r >> 7) << 2) | ((g >> 7) << 1) | (b >> 7);
    case 16: {
        const int i = ((b >> 7) << 2) | ((g >> 7) << 1) | (r >> 7);
        return i ? i + 8 : 0;
    }
    case 32: return ((r >> 6) << 3) | ((g >> 6) << 1) | (b >> 7);
    case 64: return ((r >> 6) << 4) | ((g >> 6) << 2) | (b >> 6);
    case 128: return ((r >> 6) << 5) | ((g >> 5) << 2) | (b >> 6);
    case 216: return (r / 51 * 6 + g / 51) * 6 + b / 51;
    default: return ((r >> 5) << 5) | ((g >> 5) << 2) | (b >> 6);
    }
}

} // namespace ztk::testing

// Helpers for the dithering tests: a source bitmap record (no storage is
// needed, the engine reads only the rows it is handed), rows of colours
// packed as 24-bit pixels, and a run of several rows to 8-bit indices.
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
    RGBQUAD q;
    q.rgbBlue = b;
    q.rgbGreen = g;
    q.rgbRed = r;
    q.rgbReserved = reserved;
    return q;
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

// Red, green, blue in memory, as a 24-bit row with Order 0.
inline std::vector<uint8_t> Rgb24Row(const std::vector<Colour> &row) {
    std::vector<uint8_t> out;
    for (const Colour &c : row) {
        out.push_back(c.r);
        out.push_back(c.g);
        out.push_back(c.b);
    }
    out.resize(out.size() + 4); // room for nothing: a fence of zeros
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
inline IndexRows Dither24(uint32_t method, const RGBQUAD *palette,
                          int32_t colors, const ColourRows &rows,
                          uint32_t *matchTable = nullptr) {
    Source source(int32_t(rows.empty() ? 0 : rows[0].size()), 24, method);
    EXPECT_EQ(Z_StartDitheringExt(source.get(), palette, colors, 8, matchTable),
              Z_OK);
    return DitherRows(source.get(), rows);
}

} // namespace ztk::testing

// The pixel arithmetic of the dithering engine, as templates instantiated
// per method and palette kind so that nothing is chosen inside a pixel
// loop: the index of a colour for each kind, the six error-diffusion
// kernels with their rolling error rows, and the threshold offsets.
//
// Decoding source pixels and storing indices are in dither_pixels.h; the
// choice of instantiation per row is in dither_line.cpp.
#pragma once

#include <cstdint>
#include <utility>

#include "colour/colour.h"
#include "reduce/dither.h"
#include "reduce/tables/dither_tables.h"
#include "ztkrn.h"

namespace ztk::dither {

// One decoded source pixel, each channel 0 to 255.
struct Px {
    uint8_t r, g, b, unused;
};

// Calls f(std::integral_constant<int, I>) for I = 0..N-1, so that weights
// taken from a kernel's table are constants and zero weights vanish.
template <class F, int... I>
inline void UnrollEach(F &&f, std::integer_sequence<int, I...>) {
    (f(std::integral_constant<int, I>{}), ...);
}
template <int N, class F>
inline void Unroll(F &&f) {
    UnrollEach(f, std::make_integer_sequence<int, N>{});
}

constexpr uint32_t Clamp255(int32_t v) {
    return v < 0 ? 0u : v > 255 ? 255u : uint32_t(v);
}

// ---- colour to index ------------------------------------------------------

// The search side of the table kinds.
struct Matcher {
    uint32_t *table;
    const RGBQUAD *palette; // MatchPalette: reserved byte = emitted index
    int32_t count;
};

// A key not resolved yet is searched once, on the lowest colour of its
// cell, and remembered. The position is held to the 256 entries so that a
// caller's table with stray values cannot reach past MatchPalette; an
// unresolvable key (no entry may be chosen) reads a zeroed entry.
inline const RGBQUAD &TableEntry(const Matcher &m, uint32_t r, uint32_t g,
                                 uint32_t b) {
    uint32_t &word = m.table[ColorKey15(r, g, b)];
    if (word == 0)
        word = uint32_t(Z_FindPaletteIndex(m.palette, m.count, int32_t(r & 0xF8u),
                                           int32_t(g & 0xF8u),
                                           int32_t(b & 0xF8u)) + 1);
    return m.palette[(word - 1u) & 0xFFu];
}

inline uint32_t TableIndex(const Matcher &m, uint32_t r, uint32_t g, uint32_t b) {
    return TableEntry(m, r, g, b).rgbReserved;
}

// The index in a fixed set is the set's own bit layout read off the high
// channel bits. The 16-colour set runs red lowest and adds its bright bit
// to every colour but black.
template <int32_t Kind>
inline uint32_t IndexOf(const Matcher &m, uint32_t r, uint32_t g, uint32_t b) {
    if constexpr (Kind == KindOwnedTable || Kind == KindCallerTable) {
        return TableIndex(m, r, g, b);
    } else if constexpr (Kind == KindGray1) {
        return (GrayOfColor(r, g, b) >> 7) & 1u;
    } else if constexpr (Kind == KindGray2) {
        return (GrayOfColor(r, g, b) >> 6) & 3u;
    } else if constexpr (Kind == KindRgb111) {
        return ((r >> 7) << 2) | ((g >> 7) << 1) | (b >> 7);
    } else if constexpr (Kind == KindBright16) {
        const uint32_t index = ((b >> 7) << 2) | ((g >> 7) << 1) | (r >> 7);
        return index != 0 ? index | 8u : 0u;
    } else if constexpr (Kind == KindRgb221) {
        return ((r >> 6) << 3) | ((g >> 6) << 1) | (b >> 7);
    } else if constexpr (Kind == KindRgb222) {
        return ((r >> 6) << 4) | ((g >> 6) << 2) | (b >> 6);
    } else if constexpr (Kind == KindRgb232) {
        return ((r >> 6) << 5) | ((g >> 5) << 2) | (b >> 6);
    } else if constexpr (Kind == KindRgb332) {
        return ((r >> 5) << 5) | ((g >> 5) << 2) | (b >> 6);
    } else {
        static_assert(Kind == KindCube, "a palette kind");
        const uint8_t *level = tables::CubeLevel.values;
        return (uint32_t(level[r]) * 6 + level[g]) * 6 + level[b];
    }
}

// The index of a colour and the entry its error is measured on. A
// MatchPalette entry holds the colours of the palette entry it names, so
// the searched kinds take it as it comes rather than looking the index up
// again in the target palette: one dependent load less per pixel.
template <int32_t Kind>
inline const RGBQUAD &Choose(const Matcher &m, const RGBQUAD *target, uint32_t r,
                             uint32_t g, uint32_t b, uint32_t &index) {
    if constexpr (Kind == KindOwnedTable || Kind == KindCallerTable) {
        const RGBQUAD &entry = TableEntry(m, r, g, b);
        index = entry.rgbReserved;
        return entry;
    } else {
        index = IndexOf<Kind>(m, r, g, b);
        return target[index];
    }
}

// ---- what a quantizer carries along a row ---------------------------------

// One channel's error rows and the sums already read out of the first row
// for the current column and the next `margin` columns.
struct ChannelRun {
    int32_t *rows[3];
    int32_t run[4];
};

struct QuantizeContext {
    Matcher matcher;
    const RGBQUAD *target;  // TargetPalette: what the error is measured on
    const uint8_t *cells;   // the threshold matrix row of this image row
    int32_t offsets[8];     // the offset for each column phase of that row
    ChannelRun channels[3]; // red, green, blue
};

// Converts `count` pixels from column x0 into indices.
using QuantizeFn = void (*)(QuantizeContext &, const Px *in, uint8_t *out,
                            uint32_t x0, uint32_t count);

// ---- no dithering ------------------------------------------------------------

template <int32_t Kind>
void PlainChunk(QuantizeContext &q, const Px *in, uint8_t *out, uint32_t,
                uint32_t count) {
    const Matcher m = q.matcher;
    for (uint32_t i = 0; i < count; ++i)
        out[i] = uint8_t(IndexOf<Kind>(m, in[i].r, in[i].g, in[i].b));
}

// ---- threshold matrices ----------------------------------------------------

// The offset a threshold cell adds to each channel: the cell spread over
// one step of a channel with `levels` - 1 steps, centred on zero. The
// fixed kinds use the spread of their own table; the table kinds that of
// the output depth.
constexpr int32_t SpreadOffset(uint32_t divisor, uint32_t cell) {
    constexpr int32_t bias[9] = {0, 128, 64, 42, 32, 25, 21, 18, 16};
    return int32_t(cell / divisor) - bias[divisor];
}

inline int32_t ThresholdOffset(int32_t kind, int32_t outputBits, uint32_t cell) {
    switch (kind) {
    case KindOwnedTable:
    case KindCallerTable:
        // An output depth outside 1..8 gets no offset.
        return outputBits >= 1 && outputBits <= 8
                   ? SpreadOffset(uint32_t(outputBits), cell)
                   : 0;
    case KindGray2: return SpreadOffset(2, cell);
    case KindRgb111: return SpreadOffset(3, cell);
    case KindRgb221: return SpreadOffset(5, cell);
    case KindRgb222: return SpreadOffset(6, cell);
    case KindRgb232: return SpreadOffset(7, cell);
    case KindRgb332: return SpreadOffset(8, cell);
    case KindCube: return SpreadOffset(6, cell);
    default: return 0; // the two kinds that compare instead
    }
}

// The 1-bit and 16-colour sets compare the cell with the colour rather
// than offsetting it.
template <int32_t Kind>
void ThresholdChunk(QuantizeContext &q, const Px *in, uint8_t *out,
                    uint32_t x0, uint32_t count) {
    const Matcher m = q.matcher;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t phase = (x0 + i) & 7u;
        const uint32_t r = in[i].r, g = in[i].g, b = in[i].b;
        if constexpr (Kind == KindGray1) {
            out[i] = q.cells[phase] < GrayOfColor(r, g, b) ? 1 : 0;
        } else if constexpr (Kind == KindBright16) {
            const uint32_t t = q.cells[phase];
            const uint32_t index = (t < r ? 1u : 0u) | (t < g ? 2u : 0u) |
                                   (t < b ? 4u : 0u);
            out[i] = uint8_t(index != 0 ? index | 8u : 0u);
        } else {
            const int32_t d = q.offsets[phase];
            out[i] = uint8_t(IndexOf<Kind>(m, Clamp255(int32_t(r) + d),
                                           Clamp255(int32_t(g) + d),
                                           Clamp255(int32_t(b) + d)));
        }
    }
}

// ---- error diffusion --------------------------------------------------------

// A kernel: its divisor, its error rows per channel, its margin, the
// weights for the columns after the current one on the same row (by
// offset, entry 0 unused), and for each row below the weights of columns
// -Margin..+Margin (entry offset + Margin).
struct FloydSteinbergKernel {
    static constexpr int32_t Divisor = 16;
    static constexpr int Rows = 1, Margin = 1;
    static constexpr int32_t Same[4] = {0, 7};
    static constexpr int32_t Below[3][7] = {{3, 5, 1}};
};
struct StuckiKernel {
    static constexpr int32_t Divisor = 42;
    static constexpr int Rows = 2, Margin = 2;
    static constexpr int32_t Same[4] = {0, 8, 4};
    static constexpr int32_t Below[3][7] = {{2, 4, 8, 4, 2}, {1, 2, 4, 2, 1}};
};
struct BurkesKernel {
    static constexpr int32_t Divisor = 32;
    static constexpr int Rows = 1, Margin = 2;
    static constexpr int32_t Same[4] = {0, 8, 4};
    static constexpr int32_t Below[3][7] = {{2, 4, 8, 4, 2}};
};
struct SierraKernel {
    static constexpr int32_t Divisor = 32;
    static constexpr int Rows = 2, Margin = 2;
    static constexpr int32_t Same[4] = {0, 5, 3};
    static constexpr int32_t Below[3][7] = {{2, 4, 5, 4, 2}, {0, 2, 3, 2, 0}};
};
struct StevensonArceKernel {
    static constexpr int32_t Divisor = 200;
    static constexpr int Rows = 3, Margin = 3;
    static constexpr int32_t Same[4] = {0, 0, 32, 0};
    static constexpr int32_t Below[3][7] = {{12, 0, 26, 0, 30, 0, 16},
                                            {0, 12, 0, 26, 0, 12, 0},
                                            {5, 0, 12, 0, 12, 0, 5}};
};
struct JarvisJudiceNinkeKernel {
    static constexpr int32_t Divisor = 48;
    static constexpr int Rows = 2, Margin = 2;
    static constexpr int32_t Same[4] = {0, 7, 5};
    static constexpr int32_t Below[3][7] = {{3, 5, 7, 5, 3}, {1, 3, 5, 3, 1}};
};

template <class K>
constexpr int32_t WeightTotal() {
    int32_t total = 0;
    for (int o = 1; o <= K::Margin; ++o)
        total += K::Same[o];
    for (int k = 0; k < K::Rows; ++k)
        for (int o = 0; o <= 2 * K::Margin; ++o)
            total += K::Below[k][o];
    return total;
}
static_assert(WeightTotal<FloydSteinbergKernel>() == 16 &&
                  WeightTotal<StuckiKernel>() == 42 &&
                  WeightTotal<BurkesKernel>() == 32 &&
                  WeightTotal<SierraKernel>() == 32 &&
                  WeightTotal<StevensonArceKernel>() == 200 &&
                  WeightTotal<JarvisJudiceNinkeKernel>() == 48,
              "every kernel passes on exactly its divisor");

// The slots left of column 0 gather sums that are never read, row after
// row; wrapping keeps that harmless however tall the image.
inline void AddWrapping(int32_t &slot, int32_t value) {
    slot = int32_t(uint32_t(slot) + uint32_t(value));
}

// At the start of a row the first `margin` columns step their rows up as
// the front column does on every pixel: the first row's sum is read out,
// the others move up one, the last is emptied.
inline void StartRow(ChannelRun &c, uint32_t rows, uint32_t margin) {
    for (uint32_t column = 0; column < margin; ++column) {
        const uint32_t slot = column + margin;
        c.run[column] = c.rows[0][slot];
        for (uint32_t k = 0; k + 1 < rows; ++k)
            c.rows[k][slot] = c.rows[k + 1][slot];
        c.rows[rows - 1][slot] = 0;
    }
    c.run[margin] = 0;
}

// Passes one channel's error of the pixel whose column lives in `slot`.
// Columns behind the front already hold sums one image row further down,
// so they simply gain their share; the front column is stepped up; the
// running sums move on by one column.
template <class K>
inline void Spread(ChannelRun &c, uint32_t slot, int32_t err) {
    constexpr int m = K::Margin;
    constexpr int n = K::Rows;
    Unroll<m>([&](auto j) {
        constexpr int offset = decltype(j)::value + 1;
        if constexpr (K::Same[offset] != 0)
            c.run[offset] += K::Same[offset] * err;
    });
    Unroll<n>([&](auto k) {
        constexpr int row = decltype(k)::value;
        int32_t *line = c.rows[row] + slot - m;
        Unroll<2 * m>([&](auto o) {
            constexpr int at = decltype(o)::value;
            if constexpr (K::Below[row][at] != 0)
                AddWrapping(line[at], K::Below[row][at] * err);
        });
    });
    const uint32_t front = slot + m;
    const int32_t readout = c.rows[0][front];
    Unroll<n - 1>([&](auto k) {
        constexpr int row = decltype(k)::value;
        c.rows[row][front] = c.rows[row + 1][front] + K::Below[row][2 * m] * err;
    });
    c.rows[n - 1][front] = K::Below[n - 1][2 * m] * err;
    c.run[m] += readout;
    Unroll<m>([&](auto j) {
        constexpr int at = decltype(j)::value;
        c.run[at] = c.run[at + 1];
    });
    c.run[m] = 0;
}

// A pixel's carry is its whole sum divided once, truncating toward zero.
template <class K, int32_t Kind>
void DiffuseChunk(QuantizeContext &q, const Px *in, uint8_t *out, uint32_t x0,
                  uint32_t count) {
    const Matcher m = q.matcher;
    const RGBQUAD *target = q.target;
    ChannelRun red = q.channels[0], green = q.channels[1], blue = q.channels[2];
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t slot = x0 + i + uint32_t(K::Margin);
        const int32_t r = int32_t(Clamp255(in[i].r + red.run[0] / K::Divisor));
        const int32_t g = int32_t(Clamp255(in[i].g + green.run[0] / K::Divisor));
        const int32_t b = int32_t(Clamp255(in[i].b + blue.run[0] / K::Divisor));
        uint32_t index;
        const RGBQUAD &chosen =
            Choose<Kind>(m, target, uint32_t(r), uint32_t(g), uint32_t(b), index);
        out[i] = uint8_t(index);
        Spread<K>(red, slot, r - chosen.rgbRed);
        Spread<K>(green, slot, g - chosen.rgbGreen);
        Spread<K>(blue, slot, b - chosen.rgbBlue);
    }
    q.channels[0] = red;
    q.channels[1] = green;
    q.channels[2] = blue;
}

} // namespace ztk::dither

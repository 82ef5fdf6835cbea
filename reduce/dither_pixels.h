// Source pixels into channels and indices into destination rows, one
// template per layout, for the dithering engine. Packed layouts are read
// and written through core/packed.h; pixels are taken in runs of columns
// so the layout is chosen once per row, not per pixel.
#pragma once

#include <cstdint>

#include "colour/colour.h"
#include "core/packed.h"
#include "reduce/dither_kernels.h"
#include "ztkrn.h"

namespace ztk::dither {

// What decoding needs besides the row: the source palette for up to 8
// bits, and for gray samples the window, the gray table and the levels of
// a narrow window spread over 0..255.
struct DecodeContext {
    const RGBQUAD *palette;
    const RGBQUAD *lut;
    uint32_t lutLength;
    uint32_t grayMask;
    uint32_t grayShift;
    uint8_t spread[256]; // level of each value of a window under 8 bits
};

using DecodeFn = void (*)(const DecodeContext &, const uint8_t *row,
                          uint32_t x0, uint32_t count, Px *out);

inline Px PxOf(uint32_t r, uint32_t g, uint32_t b) {
    return Px{uint8_t(r), uint8_t(g), uint8_t(b), 0};
}
inline Px PxOfEntry(const RGBQUAD &e) {
    return Px{e.rgbRed, e.rgbGreen, e.rgbBlue, 0};
}

// ---- palette indices ---------------------------------------------------------

template <int Bits>
void DecodeIndexed(const DecodeContext &c, const uint8_t *row, uint32_t x0,
                   uint32_t count, Px *out) {
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t value;
        if constexpr (Bits == 8)
            value = row[x0 + i];
        else
            value = GetPacked<Bits>(row, x0 + i);
        out[i] = PxOfEntry(c.palette[value]);
    }
}

// ---- gray samples -------------------------------------------------------------

// How a windowed gray value becomes a colour: through the gray table,
// spread from a narrow window, or taken as it is.
enum class GrayMode { Table, Spread, Plain };

template <GrayMode Mode>
inline Px GrayPx(const DecodeContext &c, uint32_t sample) {
    const uint32_t v = (sample >> c.grayShift) & c.grayMask;
    if constexpr (Mode == GrayMode::Table) {
        // A value past the end of the host's table reads as black.
        return v < c.lutLength ? PxOfEntry(c.lut[v]) : PxOf(0, 0, 0);
    } else if constexpr (Mode == GrayMode::Spread) {
        const uint32_t level = c.spread[v & 0xFFu];
        return PxOf(level, level, level);
    } else {
        // A window wider than a byte happens only when the gray table was
        // dropped after the start; it is held to white.
        const uint32_t level = v > 255 ? 255u : v;
        return PxOf(level, level, level);
    }
}

template <GrayMode Mode>
void DecodeGray12(const DecodeContext &c, const uint8_t *row, uint32_t x0,
                  uint32_t count, Px *out) {
    for (uint32_t i = 0; i < count; ++i)
        out[i] = GrayPx<Mode>(c, Get12(row, x0 + i));
}

inline uint32_t Le16(const uint8_t *at) {
    return uint32_t(at[0]) | (uint32_t(at[1]) << 8);
}

template <GrayMode Mode>
void DecodeGray16(const DecodeContext &c, const uint8_t *row, uint32_t x0,
                  uint32_t count, Px *out) {
    for (uint32_t i = 0; i < count; ++i)
        out[i] = GrayPx<Mode>(c, Le16(row + 2 * (x0 + i)));
}

// ---- colour ------------------------------------------------------------------

// 5-5-5 words: red high when blue comes first in the order, else low.
template <bool RedHigh>
void DecodeRgb555(const DecodeContext &, const uint8_t *row, uint32_t x0,
                  uint32_t count, Px *out) {
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t v = Le16(row + 2 * (x0 + i));
        const uint32_t high = Widen5((v >> 10) & 31u);
        const uint32_t mid = Widen5((v >> 5) & 31u);
        const uint32_t low = Widen5(v & 31u);
        out[i] = RedHigh ? PxOf(high, mid, low) : PxOf(low, mid, high);
    }
}

template <uint32_t Bytes, bool BlueFirst>
void DecodeBytes(const DecodeContext &, const uint8_t *row, uint32_t x0,
                 uint32_t count, Px *out) {
    const uint8_t *at = row + size_t(x0) * Bytes;
    for (uint32_t i = 0; i < count; ++i, at += Bytes)
        out[i] = BlueFirst ? PxOf(at[2], at[1], at[0]) : PxOf(at[0], at[1], at[2]);
}

// ---- storing indices -----------------------------------------------------------

using StoreFn = void (*)(uint8_t *row, uint32_t x0, uint32_t count,
                         const uint8_t *indices);

// Read-modify-write, so bits that no pixel covers keep their value.
template <int Bits>
void StorePacked(uint8_t *row, uint32_t x0, uint32_t count,
                 const uint8_t *indices) {
    for (uint32_t i = 0; i < count; ++i)
        PutPacked<Bits>(row, x0 + i, indices[i]);
}

// Any other output depth consumes the pixels and writes nothing.
inline void StoreNothing(uint8_t *, uint32_t, uint32_t, const uint8_t *) {}

// The decoder for the state's source depth and the bitmap's order and gray
// table, with `c` filled for it; null for a depth the engine doesn't read.
DecodeFn ChooseDecoder(const BitmapHandle *bitmap, const DitherState *state,
                       DecodeContext &c);

// The store for an output depth; 8 bits are written in place by the
// quantizer, and any depth outside 1..8 writes nothing.
StoreFn ChooseStore(int32_t outputBits);

} // namespace ztk::dither

// Packed pixels: the one place that knows how pixels sit in a row.
//
// Depths 1 to 7 are a bit stream, high bits first: pixel x occupies bits
// x*depth .. x*depth+depth-1 counted from the top bit of byte 0, and a pixel
// may straddle two bytes, read and written through a big-endian 16-bit pair.
// 12-bit pixels go two to three bytes: the even pixel is the low 12 bits of
// the little-endian word at byte 3k, the odd one the high 12 bits of the
// word at byte 3k+1. Byte-sized depths are plain arrays.
//
// The template forms are for kernels chosen once per row; the runtime-depth
// forms are for single-pixel paths.
#pragma once

#include <cstdint>

namespace ztk {

// Byte offset of a column's first byte, truncating, for any depth. Depths
// outside the list count as one byte a pixel.
constexpr uint32_t ColumnToByteOffset(int32_t bitsPerPixel, uint32_t column) {
    switch (bitsPerPixel) {
    case 1: return column >> 3;
    case 2: return column >> 2;
    case 3: return (column * 3) >> 3;
    case 4: return column >> 1;
    case 5: return (column * 5) >> 3;
    case 6: return (column * 3) >> 2;
    case 7: return (column * 7) >> 3;
    case 12: return column + (column >> 1);
    case 16: return column * 2;
    case 24: return column * 3;
    case 32: return column * 4;
    default: return column;
    }
}

// Bytes that hold `pixels` pixels at a depth, rounded up to whole bytes.
constexpr uint32_t PackedBytes(int32_t bitsPerPixel, uint32_t pixels) {
    return static_cast<uint32_t>(
        (uint64_t(pixels) * uint32_t(bitsPerPixel) + 7) >> 3);
}

// ---- sub-byte depths, depth known at compile time -------------------------

template <int Bits>
constexpr uint32_t GetPacked(const uint8_t *row, uint32_t x) {
    static_assert(Bits >= 1 && Bits <= 7, "sub-byte depths only");
    constexpr uint32_t mask = (1u << Bits) - 1;
    const uint32_t bit = x * Bits;
    const uint32_t byte = bit >> 3;
    const uint32_t phase = bit & 7;
    if (phase + Bits <= 8)
        return (uint32_t(row[byte]) >> (8 - Bits - phase)) & mask;
    const uint32_t pair = (uint32_t(row[byte]) << 8) | row[byte + 1];
    return (pair >> (16 - Bits - phase)) & mask;
}

template <int Bits>
constexpr void PutPacked(uint8_t *row, uint32_t x, uint32_t value) {
    static_assert(Bits >= 1 && Bits <= 7, "sub-byte depths only");
    constexpr uint32_t mask = (1u << Bits) - 1;
    const uint32_t bit = x * Bits;
    const uint32_t byte = bit >> 3;
    const uint32_t phase = bit & 7;
    value &= mask;
    if (phase + Bits <= 8) {
        const uint32_t shift = 8 - Bits - phase;
        row[byte] = uint8_t((row[byte] & ~(mask << shift)) | (value << shift));
        return;
    }
    const uint32_t shift = 16 - Bits - phase;
    uint32_t pair = (uint32_t(row[byte]) << 8) | row[byte + 1];
    pair = (pair & ~(mask << shift)) | (value << shift);
    row[byte] = uint8_t(pair >> 8);
    row[byte + 1] = uint8_t(pair);
}

// ---- 12-bit pairs ------------------------------------------------------------

constexpr uint32_t Get12(const uint8_t *row, uint32_t x) {
    const uint32_t at = (x >> 1) * 3;
    if ((x & 1) == 0)
        return (uint32_t(row[at]) | (uint32_t(row[at + 1]) << 8)) & 0xFFFu;
    return (uint32_t(row[at + 1]) | (uint32_t(row[at + 2]) << 8)) >> 4;
}

// Writes one sample and keeps the neighbour's half byte.
constexpr void Put12(uint8_t *row, uint32_t x, uint32_t value) {
    const uint32_t at = (x >> 1) * 3;
    value &= 0xFFFu;
    if ((x & 1) == 0) {
        row[at] = uint8_t(value);
        row[at + 1] = uint8_t((row[at + 1] & 0xF0u) | (value >> 8));
    } else {
        row[at + 1] = uint8_t((row[at + 1] & 0x0Fu) | ((value & 0xFu) << 4));
        row[at + 2] = uint8_t(value >> 4);
    }
}

// ---- any depth at run time (single pixels, tests) ------------------------

// The raw value of pixel x: an index or sample for depths up to 16, the
// bytes in memory order (first byte lowest) for 24 and 32.
uint32_t GetPixelBits(const uint8_t *row, uint32_t x, int32_t bitsPerPixel);
void PutPixelBits(uint8_t *row, uint32_t x, int32_t bitsPerPixel,
                  uint32_t value);

// ---- edge masks for runs of sub-byte pixels -----------------------------

// Bits of the first byte from bit phase `phase` (0 = top bit) onward.
constexpr uint8_t StartMask(uint32_t phase) { return uint8_t(0xFFu >> phase); }
// Bits of the last byte before bit phase `phase` (0 = none, 8 = all).
constexpr uint8_t EndMask(uint32_t phase) {
    return uint8_t(~(0xFFu >> phase));
}

} // namespace ztk

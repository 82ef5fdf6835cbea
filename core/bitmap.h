// Sizing rules of the bitmap record, shared by everything that makes
// storage or new records, and the one place that sizes pixel memory.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

bool IsAllowedDepth(int32_t bitsPerPixel);

// The stored row: whole 32-bit words, computed in 32 bits as the record
// always has.
uint32_t StrideOf(int32_t width, int32_t bitsPerPixel);

// The same stride in full precision: what StrideOf gives whenever nothing
// wraps, and a larger number when it would.
constexpr uint64_t StrideOf64(uint32_t width, uint32_t bitsPerPixel) {
    return ((uint64_t(width) * bitsPerPixel + 31u) >> 3) & ~uint64_t(3);
}

// Pixel memory of `rows` rows of `stride` bytes after `offset` bytes,
// computed in 64 bits: true with the total in `bytes` when it fits the 32
// bits that sizes and allocations have, false (leaving `bytes` alone)
// when it would wrap. Every size of pixel data is worked out here.
constexpr bool PixelMemoryBytes(uint64_t stride, uint64_t rows,
                                uint64_t offset, uint32_t &bytes) {
    constexpr uint64_t kMax = 0xFFFFFFFFu;
    // Each factor under 2^32 keeps the product and sum inside 64 bits.
    if (stride > kMax || rows > kMax || offset > kMax)
        return false;
    const uint64_t total = stride * rows + offset;
    if (total > kMax)
        return false;
    bytes = uint32_t(total);
    return true;
}

// Whether `size` is what the record's width and depth give for `height`
// rows (plus DataOffset) without any 32-bit wrap. The one check that every
// allocation of pixel memory makes.
bool StorageSizeIsExact(const BitmapHandle *bitmap, uint32_t height,
                        uint32_t size);

} // namespace ztk

// Sizing rules of the bitmap record, shared by everything that makes
// storage or new records.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

bool IsAllowedDepth(int32_t bitsPerPixel);

// The stored row: whole 32-bit words, computed in 32 bits as the record
// always has.
uint32_t StrideOf(int32_t width, int32_t bitsPerPixel);

// Whether `size` is what the record's width and depth give for `height`
// rows (plus DataOffset) without any 32-bit wrap. The one check that every
// allocation of pixel memory makes.
bool StorageSizeIsExact(const BitmapHandle *bitmap, uint32_t height,
                        uint32_t size);

} // namespace ztk

// The region record behind BitmapHandle.Region and the three questions the
// kernel asks of any bitmap's region. Regions are built by a companion
// module; the kernel only deletes them and asks about them, through the
// dispatch slots when the companion filled them and with whole-bitmap
// answers when it did not.
#pragma once

#include <cstdint>

#include "ztkrn.h"

// The rectangle that bounds the region, in stored coordinates with right
// and bottom exclusive; the whole bitmap without a companion. `option` is
// handed on as it comes.
int32_t Z_IntRegionBounds(BitmapHandle *bitmap, int32_t option, RECT *rect);

// The longest segment list any row can report, in 32-bit values; callers
// size their list buffer from it.
int32_t Z_IntRegionMaxValues(BitmapHandle *bitmap, uint32_t *count);

// Row `row`'s segment list: pairs of first pixel and pixel after the last,
// `count` 32-bit values in all (0 for a row outside the region).
int32_t Z_IntRegionRowSegments(BitmapHandle *bitmap, uint32_t row,
                               uint32_t *list, uint32_t *count);

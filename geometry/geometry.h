// Internal workers of the flip, mirror and turn operations, shared with the
// view perspective and rotation code.
#pragma once

#include <cstdint>

#include "ztkrn.h"

// Rows in reverse order: a row-table exchange for compressed bitmaps.
int32_t Z_IntFlipRows(BitmapHandle *bitmap);
// Every row reversed left to right.
int32_t Z_IntMirrorRows(BitmapHandle *bitmap);

// A quarter turn in place of the record: direction 0 counter-clockwise.
int32_t Z_IntRotateBitmap90(BitmapHandle *bitmap, int32_t direction,
                            int32_t fromPercent, int32_t toPercent);
// A half turn in place.
int32_t Z_IntRotateBitmap180(BitmapHandle *bitmap, int32_t fromPercent,
                             int32_t toPercent);
// A quarter turn of a compressed bitmap into a compressed target already
// made with the dimensions swapped, never expanding a row.
int32_t Z_IntRotateRuns90(BitmapHandle *source, BitmapHandle *target,
                          int32_t direction, int32_t fromPercent,
                          int32_t toPercent);
// Writes `count` pixels packed as a row down column `column`; at depths 1
// and 4 the buffer holds one whole byte a row.
int32_t Z_IntPutBitmapColumn(BitmapHandle *bitmap, const uint8_t *buffer,
                             uint32_t column, uint32_t count, int32_t upward);
// The same into a flat buffer of `rows` rows of `stride` bytes.
int32_t Z_IntPutBufferColumn(const uint8_t *buffer, uint8_t *rowPixels,
                             uint32_t column, uint32_t rows, uint32_t count,
                             int32_t bitsPerPixel, uint32_t stride,
                             int32_t upward);

// Turns by `angle` hundredths of a degree, clockwise; right angles are
// exact. `resize` non-zero grows the bitmap to hold the whole picture.
extern "C" int32_t ZAPI Z_IntRotateBitmapFine(BitmapHandle *bitmap,
                                              int32_t angle, int32_t resize,
                                              ColorValue fill,
                                              int32_t fromPercent,
                                              int32_t toPercent);
extern "C" int32_t ZAPI Z_RotateBitmapFine(BitmapHandle *bitmap,
                                           int32_t angle, int32_t resize,
                                           ColorValue fill);

namespace ztk::test {
// Size in bytes above which a compressed bitmap is turned through its runs
// rather than expanded; 0 puts the usual limit back.
void SetRunTurnLimit(uint32_t bytes);
} // namespace ztk::test

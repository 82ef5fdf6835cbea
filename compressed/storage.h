// What the bitmap core needs from run-coded 1-bit storage: make it, free
// it, change its height, and the compressed branch of the four row calls.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk::compressed {

// Whether run-coded storage can be built at all; when it can't, a request
// for it is treated as a plain one.
bool Available();

// Builds the row table, scratch buffer and heap of a 1-bit bitmap; on
// failure frees what it made and returns Z_ERR_NOMEM.
int32_t Allocate(BitmapHandle *bitmap);
// Frees heap, scratch buffer and row table, in that order.
void Release(BitmapHandle *bitmap);
// The compressed branch of Z_ChangeBitmapHeight.
int32_t ChangeHeight(BitmapHandle *bitmap, int32_t height);

// The compressed branch of the plain row calls (column 0 for whole rows).
int32_t RowGet(BitmapHandle *bitmap, void *buffer, uint32_t row,
               uint32_t column, uint32_t count);
int32_t RowPut(BitmapHandle *bitmap, const void *buffer, uint32_t row,
               uint32_t column, uint32_t count);

} // namespace ztk::compressed

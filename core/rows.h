// The row cache of the plain row calls, for code that walks rows the same
// way outside them.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

// Moves the cache to `row` and returns the row's byte offset. A neighbour
// adds or subtracts the stride, a jump multiplies; the cache moves even when
// the transfer that follows fails.
inline uint32_t SeekRow(BitmapHandle *bitmap, uint32_t row) {
    if (row != bitmap->CurrentRow) {
        if (row == bitmap->CurrentRow + 1)
            bitmap->CurrentRowOffset += bitmap->BytesPerLine;
        else if (row == bitmap->CurrentRow - 1)
            bitmap->CurrentRowOffset -= bitmap->BytesPerLine;
        else
            bitmap->CurrentRowOffset = bitmap->BytesPerLine * row;
        bitmap->CurrentRow = row;
    }
    return bitmap->CurrentRowOffset;
}

} // namespace ztk

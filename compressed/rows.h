// Row operations on compressed bitmaps that other parts of the library
// build on: the plain row calls' compressed branch, codes from any bitmap,
// and the in-heap edits used by flips, turns and shears.
#pragma once

#include <cstdint>

#include "compressed/heap.h"
#include "compressed/runs.h"
#include "ztkrn.h"

namespace ztk {

// A stored row as codes; an unset row is one run of Width 0-bits.
struct StoredRow {
    const uint16_t *codes;
    uint32_t count;
    uint16_t unset;
};
void LoadRow(const BitmapHandle *bitmap, uint32_t row, StoredRow &out);

inline uint8_t ColourOf(uint32_t index) {
    return (index & 1) != 0 ? kBlack : 0;
}

// Walks a stored row code by code, keeping what is left of the code under
// the cursor; the stored codes themselves are never changed.
struct RowWalker {
    const StoredRow &row;
    uint32_t index = 0;
    uint32_t avail;
    explicit RowWalker(const StoredRow &r)
        : row(r), avail(r.count != 0 ? r.codes[0] : 0) {}
    bool done() const { return index >= row.count; }
    void Next() {
        ++index;
        avail = done() ? 0 : row.codes[index];
    }
    // Takes up to `want` pixels, moving past a code that is used up.
    uint32_t Take(uint32_t want) {
        if (avail <= want) {
            const uint32_t took = avail;
            Next();
            return took;
        }
        avail -= want;
        return want;
    }
};

// Writes a row's codes over a stored row as they stand: the block is
// resized only when the count changes.
int32_t StoreCodes(BitmapHandle *bitmap, RowEntry *entry,
                   const uint16_t *codes, uint32_t count);

// Writes the stretches of `source` that a segment list names into a
// stored row, rebuilding the row once for the whole list.
int32_t CompressedRowSegments(BitmapHandle *bitmap, uint8_t *source,
                              uint32_t row, uint32_t column,
                              const uint32_t *list, uint32_t pairs);

// Expands a row into `bytes` bytes from `column` (rounded down to a byte).
// A count longer than the row repeats the same row. Returns the count.
int32_t CompressedRowRead(BitmapHandle *bitmap, uint8_t *buffer,
                          const RowEntry *entry, uint32_t column,
                          uint32_t bytes);

// Splices `pixels` source bits in at `pixel`. Whole rows are exact; a
// partial write keeps two long-standing faults that callers wanting an
// exact result avoid (see the definition). Returns 1 or a negative code.
int32_t CompressedRowWrite(BitmapHandle *bitmap, RowEntry *entry,
                           const uint8_t *source, uint32_t pixel,
                           uint32_t pixels);

// Codes of `pixels` pixels from (row, column) of any 1-bit bitmap, one
// count-prefixed record per row touched, `work` holding a row's bytes.
int32_t CompressedRowCodes(BitmapHandle *bitmap, uint8_t *work,
                           uint8_t *destination, uint32_t row,
                           uint32_t column, uint32_t pixels);

// Reverses a stored row left to right in place.
int32_t CompressedRowMirror(BitmapHandle *bitmap, uint32_t row);

// Writes row `row` of `destination` as the source's row at `offset` with
// margins of `margin` (0 or 1) on both sides.
int32_t CompressedRowPlace(BitmapHandle *destination, BitmapHandle *source,
                           uint32_t row, uint32_t offset, uint32_t margin);

// One destination row's state in a quarter turn of a compressed bitmap.
struct RotateRunTracker {
    uint16_t Zeros;   // current 0-bits run
    uint16_t Ones;    // current 1-bits run; 65535 while there is none
    RowEntry *Entry;  // the destination row
};

// Feeds one source row's codes to the trackers, one tracker a pixel; the
// destination's Height bounds the trackers used.
int32_t CompressedColumnAppend(BitmapHandle *destination,
                               RotateRunTracker *trackers,
                               const uint16_t *codes, uint32_t count);
// Writes out the runs still open in every tracker.
int32_t CompressedColumnFinish(BitmapHandle *destination,
                               RotateRunTracker *trackers);

} // namespace ztk

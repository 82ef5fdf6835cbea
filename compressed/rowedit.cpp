// Edits of stored rows in codes, for the geometry operations on compressed
// bitmaps: mirror a row in place, place a row at an offset between
// margins, and build a quarter turn column by column.
#include <cstring>

#include "compressed/rows.h"
#include "compressed/runs.h"

namespace ztk {
namespace {

void Reverse(uint16_t *codes, uint32_t count) {
    for (uint32_t i = 0, j = count; i + 1 < j; ++i, --j) {
        const uint16_t t = codes[i];
        codes[i] = codes[j - 1];
        codes[j - 1] = t;
    }
}

// Room for `extra` more codes in a row's block: a block of `fresh` bytes
// for an unset row. Returns the row's codes, or null when the heap can't
// grow (the row then stays as it was).
uint16_t *MakeRoom(BitmapHandle *bitmap, RowEntry *entry, uint32_t extra,
                   uint32_t fresh) {
    RowTable *table = TableOf(bitmap);
    uint32_t offset;
    if (entry->Offset == 0) {
        offset = RowHeapAlloc(&table->RowHeap, fresh);
        if (offset != 0)
            entry->Count = 0;
    } else {
        offset = RowHeapResize(&table->RowHeap, entry->Offset,
                               (entry->Count + extra) * 2);
    }
    if (offset == 0)
        return nullptr;
    entry->Offset = offset;
    return CodesAt(table->RowHeap, offset);
}

} // namespace

int32_t CompressedRowMirror(BitmapHandle *bitmap, uint32_t row) {
    if (row >= uint32_t(bitmap->Height))
        return Z_ERR_PARAM;
    RowEntry *entry = EntryOf(bitmap, row);
    if (entry->Offset == 0 || entry->Count == 0)
        return Z_OK;
    uint16_t *codes = CodesAt(TableOf(bitmap)->RowHeap, entry->Offset);
    // A row ending in 1-bits needs a zero first code once reversed.
    if (codes[0] != 0 && (entry->Count & 1) == 0) {
        codes = MakeRoom(bitmap, entry, 1, 0);
        if (codes == nullptr)
            return Z_ERR_NOMEM;
        codes[entry->Count++] = 0;
    }
    // A zero first code would become a pointless last one.
    const bool dropLast = codes[0] == 0 && (entry->Count & 1) != 0;
    if ((entry->Count & 1) == 0)
        Reverse(codes + 1, entry->Count - 1);
    else
        Reverse(codes, entry->Count);
    if (dropLast)
        --entry->Count;
    return Z_OK;
}

// The row is built in the destination's scratch buffer first, so that its
// block is sized by what was made, 65535 splits included.
int32_t CompressedRowPlace(BitmapHandle *destination, BitmapHandle *source,
                           uint32_t row, uint32_t offset, uint32_t margin) {
    if (row >= uint32_t(destination->Height) ||
        row >= uint32_t(source->Height))
        return Z_ERR_PARAM;
    RowEntry *from = EntryOf(source, row);
    uint16_t unset = uint16_t(source->Width);
    const uint16_t *codes = &unset;
    if (from->Offset == 0)
        from->Count = 1;
    else
        codes = CodesAt(TableOf(source)->RowHeap, from->Offset);
    RowTable *table = TableOf(destination);
    CodeBuilder out(table->Scratch, table->ScratchSize / 2);
    if (offset == 0) {
        out.Append(0);
    } else if (margin == 0) {
        out.AppendLong(offset);
    } else {
        out.Append(0);
        out.AppendLong(offset);
        out.Append(0);
    }
    if (from->Count != 0)
        out.Extend(codes[0]);
    for (uint32_t i = 1; i < from->Count; ++i)
        out.Append(codes[i]);
    const int64_t right = int64_t(destination->Width) - offset - source->Width;
    if (right > 0)
        out.Join(uint32_t(right), margin != 0 ? kBlack : 0);
    if (out.overflow())
        return Z_ERR_PARAM;
    RowEntry *entry = EntryOf(destination, row);
    const uint32_t placed = RowHeapAlloc(&table->RowHeap, out.size() * 2);
    if (placed == 0)
        return Z_ERR_NOMEM;
    if (entry->Offset != 0)
        RowHeapFree(table->RowHeap, entry->Offset);
    std::memcpy(CodesAt(table->RowHeap, placed), out.data(), out.size() * 2);
    entry->Offset = placed;
    entry->Count = out.size();
    return Z_OK;
}

namespace {

constexpr uint16_t kNoRun = 0xFFFF;

// A 0-bit after a 1-bits run closes the pair and starts the next one.
int32_t AppendZero(BitmapHandle *bitmap, RotateRunTracker &item) {
    if (item.Ones == kNoRun) {
        ++item.Zeros;
        return Z_OK;
    }
    uint16_t *codes = MakeRoom(bitmap, item.Entry, 2, 20);
    if (codes == nullptr)
        return Z_ERR_NOMEM;
    codes[item.Entry->Count] = item.Zeros;
    codes[item.Entry->Count + 1] = item.Ones;
    item.Entry->Count += 2;
    item.Zeros = 1;
    item.Ones = kNoRun;
    return Z_OK;
}

} // namespace

int32_t CompressedColumnAppend(BitmapHandle *destination,
                               RotateRunTracker *trackers,
                               const uint16_t *codes, uint32_t count) {
    const uint32_t items = uint32_t(destination->Height);
    uint32_t at = 0;
    for (uint32_t i = 0; i < count; ++i) {
        for (uint32_t p = 0; p < codes[i] && at < items; ++p, ++at) {
            RotateRunTracker &item = trackers[at];
            if ((i & 1) == 0) {
                const int32_t result = AppendZero(destination, item);
                if (result != Z_OK)
                    return result;
            } else if (++item.Ones == 0) {
                // 65535, no run yet, wraps to 0 on the first 1-bit; that
                // pixel makes the run 1 long.
                item.Ones = 1;
            }
        }
    }
    return Z_OK;
}

int32_t CompressedColumnFinish(BitmapHandle *destination,
                               RotateRunTracker *trackers) {
    for (int32_t at = 0; at < destination->Height; ++at) {
        RotateRunTracker &item = trackers[at];
        uint16_t *codes = MakeRoom(destination, item.Entry, 2, 4);
        if (codes == nullptr)
            return Z_ERR_NOMEM;
        codes[item.Entry->Count++] = item.Zeros;
        if (item.Ones != kNoRun)
            codes[item.Entry->Count++] = item.Ones;
    }
    return Z_OK;
}

} // namespace ztk

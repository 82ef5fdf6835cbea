// Row access to compressed bitmaps in bytes: the compressed branch of the
// four plain row calls (CompressedRowRead, CompressedRowWrite) and
// CompressedRowCodes, which codes a piece of any 1-bit bitmap.
//
// Row indices are checked against Height here, unlike on the plain tiers:
// a stray row would otherwise reach into the row table and the heap.
#include "compressed/rows.h"

#include <cstring>

#include "compressed/runs.h"
#include "compressed/storage.h"
#include "core/packed.h"

namespace ztk {
namespace {

uint32_t Min(uint64_t a, uint64_t b) { return uint32_t(a < b ? a : b); }

const uint16_t *StoredCodes(const BitmapHandle *bitmap,
                            const RowEntry *entry) {
    return entry->Offset == 0 ? nullptr
                              : CodesAt(TableOf(bitmap)->RowHeap, entry->Offset);
}

// A stored row too short for the pixels asked of it can only come from
// codes handed in unchecked; the walks below stop at its last code.
struct Cut {
    uint32_t code;  // index of the code holding the pixel
    uint32_t rest;  // pixels of that code from the pixel on
};

// The code holding pixel `skip` as a write sees it: a pixel just past the
// end of a run still belongs to that run.
bool FindCut(const uint16_t *codes, uint32_t count, uint32_t from,
             uint32_t skip, Cut &cut) {
    for (uint32_t i = from; i < count; ++i) {
        if (codes[i] >= skip) {
            cut = Cut{i, codes[i] - skip};
            return true;
        }
        skip -= codes[i];
    }
    return false;
}

// An unset row starts out as 0-bits all round the piece.
int32_t WriteNewRow(BitmapHandle *bitmap, RowEntry *entry,
                           const uint8_t *source, uint32_t pixel,
                           uint32_t pixels) {
    RowTable *table = TableOf(bitmap);
    uint16_t *cursor = table->Scratch;
    uint8_t following = 0;
    RunCompress(cursor, following, pixel, 0, source, pixels,
                uint32_t(bitmap->Width) - pixel - pixels, 0);
    const uint32_t count = uint32_t(cursor - table->Scratch);
    entry->Count = count;
    const uint32_t offset = RowHeapAlloc(&table->RowHeap, count * 2);
    if (offset == 0)
        return Z_ERR_NOMEM;
    std::memcpy(CodesAt(table->RowHeap, offset), table->Scratch, count * 2);
    entry->Offset = offset;
    return 1;
}

} // namespace

int32_t CompressedRowRead(BitmapHandle *bitmap, uint8_t *buffer,
                          const RowEntry *entry, uint32_t column,
                          uint32_t bytes) {
    column &= ~7u;
    if (bitmap->Width <= 0 || column >= uint32_t(bitmap->Width))
        return Z_ERR_PARAM;
    const uint16_t *codes = StoredCodes(bitmap, entry);
    const uint32_t width = uint32_t(bitmap->Width);
    uint32_t left = bytes;
    while (left != 0) {
        const uint32_t pixels = Min(width - column, uint64_t(left) * 8);
        RunExpand(codes, entry->Count, buffer, column, pixels);
        const uint32_t covered = Min(bitmap->BytesPerLine - column / 8, left);
        const uint32_t expanded = (pixels + 7) / 8;
        if (covered > expanded)
            std::memset(buffer + expanded, 0, covered - expanded);
        if (covered == 0)
            break;
        // The same row again: a long read repeats the row rather than
        // running on into the next one.
        buffer += covered;
        left -= covered;
        column = 0;
    }
    return int32_t(bytes);
}

// A partial write replaces the codes from the one holding the first pixel
// to the one holding the last. Two faults of this splice are kept, as
// every caller wanting an exact row writes whole rows or uses
// Z_PutBitmapRowColCompressed: the codes after the replaced ones are moved
// from the last replaced code on, so the row's final code drops out and
// the place after the moved codes is left as it was; and an empty tail
// makes no code, so a piece ending where an old run of the other colour
// ended is not joined to what follows.
int32_t CompressedRowWrite(BitmapHandle *bitmap, RowEntry *entry,
                           const uint8_t *source, uint32_t pixel,
                           uint32_t pixels) {
    RowTable *table = TableOf(bitmap);
    if (pixel == 0 && pixels == uint32_t(bitmap->Width) &&
        entry->Offset != 0) {
        RowHeapFree(table->RowHeap, entry->Offset);
        entry->Offset = 0;
    }
    if (entry->Offset == 0)
        return WriteNewRow(bitmap, entry, source, pixel, pixels);

    const uint32_t count = entry->Count;
    const uint16_t *old = CodesAt(table->RowHeap, entry->Offset);
    Cut first{}, last{};
    if (!FindCut(old, count, 0, pixel, first))
        return Z_ERR_PARAM;
    if (pixels <= first.rest)
        last = Cut{first.code, first.rest - pixels};
    else if (!FindCut(old, count, first.code + 1, pixels - first.rest, last))
        return Z_ERR_PARAM;
    const auto colourOf = [](uint32_t i) { return uint8_t(i & 1 ? kBlack : 0); };

    uint16_t *cursor = table->Scratch;
    uint8_t following = 0;
    RunCompress(cursor, following, old[first.code] - first.rest,
                colourOf(first.code), source, pixels, last.rest,
                colourOf(last.code));
    const uint32_t made = uint32_t(cursor - table->Scratch);
    const int64_t d = int64_t(made) - (last.code - first.code + 1);
    const uint32_t after = count - 1 - last.code;
    uint32_t offset = entry->Offset;
    if (d > 0) {
        offset = RowHeapResize(&table->RowHeap, offset,
                               uint32_t((count + d) * 2));
        if (offset == 0)
            return Z_ERR_NOMEM;
        entry->Offset = offset;
        entry->Count = uint32_t(count + d);
    }
    uint16_t *codes = CodesAt(table->RowHeap, offset);
    if (d != 0 && after > 0)
        std::memmove(codes + last.code + d, codes + last.code, after * 2);
    std::memcpy(codes + first.code, table->Scratch, made * 2);
    if (d < 0) {
        offset = RowHeapResize(&table->RowHeap, offset,
                               uint32_t((count + d) * 2));
        if (offset != 0) {
            entry->Offset = offset;
            entry->Count = uint32_t(count + d);
        }
    }
    return 1;
}

int32_t CompressedRowCodes(BitmapHandle *bitmap, uint8_t *work,
                           uint8_t *destination, uint32_t row,
                           uint32_t column, uint32_t pixels) {
    if (bitmap->Width <= 0 || column >= uint32_t(bitmap->Width))
        return Z_ERR_PARAM;
    const bool compressed = (bitmap->Flags & BITMAP_COMPRESSED) != 0;
    uint32_t left = pixels;
    for (; left != 0 && row < uint32_t(bitmap->Height); ++row, column = 0) {
        const uint32_t n = Min(uint32_t(bitmap->Width) - column, left);
        const uint32_t k = column & 7;
        const uint32_t bytes = uint32_t((uint64_t(n) + k + 7) / 8);
        const int32_t got =
            compressed ? CompressedRowRead(bitmap, work, EntryOf(bitmap, row),
                                           column, bytes)
                       : Z_GetBitmapRowCol(bitmap, work, row, column, bytes);
        if (got < 0)
            return got;
        if (k != 0)
            work[0] &= StartMask(k);
        uint16_t *codes = reinterpret_cast<uint16_t *>(destination + 4);
        uint16_t *cursor = codes;
        uint8_t following = 0;
        RunCompress(cursor, following, (0x10000u - k) & kMaxCode, 0, work,
                    n + k, 0, 0);
        const uint32_t made = uint32_t(cursor - codes);
        std::memcpy(destination, &made, 4);
        destination += 4 + 2 * size_t(made);
        left -= n;
    }
    return int32_t(pixels - left);
}

namespace compressed {

int32_t RowGet(BitmapHandle *bitmap, void *buffer, uint32_t row,
               uint32_t column, uint32_t count) {
    if (row >= uint32_t(bitmap->Height))
        return Z_ERR_PARAM;
    return CompressedRowRead(bitmap, static_cast<uint8_t *>(buffer),
                             EntryOf(bitmap, row), column, count);
}

// Unlike the read, a count longer than the row goes on into the next
// rows, as it does on the plain tiers; rows past the last are dropped.
int32_t RowPut(BitmapHandle *bitmap, const void *buffer, uint32_t row,
               uint32_t column, uint32_t count) {
    if (bitmap->Width <= 0)
        return Z_ERR_PARAM;
    const uint32_t width = uint32_t(bitmap->Width);
    column &= ~7u;
    int32_t result = int32_t(count);
    if (column >= width || row >= uint32_t(bitmap->Height))
        result = Z_ERR_PARAM;
    const auto *source = static_cast<const uint8_t *>(buffer);
    for (uint32_t left = count; result > 0 && left != 0 &&
                                row < uint32_t(bitmap->Height);
         ++row, column = 0) {
        const uint32_t pixels = Min(width - column, uint64_t(left) * 8);
        const int32_t done = CompressedRowWrite(bitmap, EntryOf(bitmap, row),
                                                source, column, pixels);
        if (done < 1)
            result = done;
        const uint32_t used = Min(bitmap->BytesPerLine - column / 8, left);
        left -= used;
        source += used;
    }
    bitmap->Size = HeapSizeOf(bitmap);
    return result;
}

} // namespace compressed
} // namespace ztk

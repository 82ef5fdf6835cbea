// Run-coded storage of 1-bit bitmaps as the bitmap core sees it: build it,
// free it, change its height. The row calls' compressed branch is in
// compressed/rows.cpp.
#include "compressed/storage.h"

#include "compressed/heap.h"
#include "compressed/runs.h"
#include "core/guards.h"

namespace ztk::compressed {

bool Available() { return true; }

// The scratch buffer takes one row's codes while it is built: a code for
// each pixel and one more, plus room for the splits of very long runs.
int32_t Allocate(BitmapHandle *bitmap) {
    const uint32_t tableBytes = RowTableBytes(bitmap->Height);
    const uint64_t scratchBytes =
        bitmap->Width < 0 ? 0 : 2 * CodesForPixels(uint32_t(bitmap->Width));
    if (tableBytes == 0 || scratchBytes == 0 || scratchBytes > 0xFFFFFFFFu)
        return Z_ERR_NOMEM;
    auto *table = static_cast<RowTable *>(Z_OsAllocInit(tableBytes, 1));
    if (table == nullptr)
        return Z_ERR_NOMEM;
    table->Scratch =
        static_cast<uint16_t *>(Z_OsAlloc(uint32_t(scratchBytes)));
    if (table->Scratch == nullptr) {
        Z_OsFree(table);
        return Z_ERR_NOMEM;
    }
    table->ScratchSize = uint32_t(scratchBytes);
    table->RowHeap =
        RowHeapCreate(bitmap->BytesPerLine, uint32_t(bitmap->Height));
    if (table->RowHeap == nullptr) {
        Z_OsFree(table->Scratch);
        Z_OsFree(table);
        return Z_ERR_NOMEM;
    }
    bitmap->Data = table;
    bitmap->Flags &= ~(BITMAP_LOCKED | BITMAP_MIRROR | BITMAP_GLOBALBLOCK);
    bitmap->Flags |= BITMAP_ALLOCATED | BITMAP_INMEMORY | BITMAP_COMPRESSED;
    return Z_OK;
}

void Release(BitmapHandle *bitmap) {
    RowTable *table = TableOf(bitmap);
    Z_OsFree(table->RowHeap);
    Z_OsFree(table->Scratch);
    Z_OsFree(table);
}

// Rows cut off give their blocks back before the table shrinks, so a
// failed shrink has already lost them and takes the new height anyway.
int32_t ChangeHeight(BitmapHandle *bitmap, int32_t height) {
    const uint32_t tableBytes = RowTableBytes(height);
    RowTable *table = TableOf(bitmap);
    const int32_t old = bitmap->Height;
    for (int32_t row = height; row < old; ++row) {
        RowEntry &entry = EntriesOf(table)[row];
        if (entry.Offset != 0)
            RowHeapFree(table->RowHeap, entry.Offset);
        entry = RowEntry{};
    }
    auto *moved = tableBytes == 0
                      ? nullptr
                      : static_cast<RowTable *>(Z_OsReAlloc(table, tableBytes));
    if (moved == nullptr) {
        if (height < old)
            bitmap->Height = height;
        return Z_ERR_NOMEM;
    }
    bitmap->Data = moved;
    for (int32_t row = old; row < height; ++row)
        EntriesOf(moved)[row] = RowEntry{};
    bitmap->Height = height;
    bitmap->CurrentRow = 0;
    bitmap->CurrentRowOffset = 0;
    return Z_OK;
}

} // namespace ztk::compressed

// The four row calls through which all pixel traffic passes.
//
// They run once for every row of every operation, so they stay small: no
// argument checks, one branch on the tier, and a cache of the current row's
// offset that turns the multiplication into an addition or subtraction on
// walks in either direction. A count longer than the stride simply runs on
// into the following rows of a plain bitmap; callers use that.
#include <cstring>

#include "compressed/storage.h"
#include "core/packed.h"
#include "core/rows.h"
#include "ztkrn.h"

namespace ztk {
namespace {


// Sub-byte columns are not shifted: the transfer starts at the whole byte
// holding the column's first bit.
inline uint32_t Position(BitmapHandle *bitmap, uint32_t row, uint32_t column) {
    return SeekRow(bitmap, row) +
           ColumnToByteOffset(bitmap->BitsPerPixel, column);
}

// A bitmap's temporary file always goes straight to the system calls,
// never through the redirected I/O.
int32_t FileSeekTo(BitmapHandle *bitmap, uint32_t position) {
    return Z_OsSeek(bitmap->Storage, int32_t(position), 0) == position
               ? Z_OK
               : Z_ERR_SEEK;
}

int32_t ReadAt(BitmapHandle *bitmap, void *buffer, uint32_t position,
               uint32_t count) {
    if (bitmap->Flags & BITMAP_INMEMORY) {
        std::memcpy(buffer, static_cast<uint8_t *>(bitmap->Data) + position,
                    count);
        return int32_t(count);
    }
    if (bitmap->Flags & BITMAP_ONDISK) {
        if (FileSeekTo(bitmap, position) != Z_OK)
            return Z_ERR_SEEK;
        int32_t got = Z_OsRead(bitmap->Storage, buffer, count);
        return got == -1 ? Z_ERR_READ : got;
    }
    return Z_ERR_NOMEM;
}

int32_t WriteAt(BitmapHandle *bitmap, const void *buffer, uint32_t position,
                uint32_t count) {
    if (bitmap->Flags & BITMAP_INMEMORY) {
        std::memcpy(static_cast<uint8_t *>(bitmap->Data) + position, buffer,
                    count);
        return int32_t(count);
    }
    if (bitmap->Flags & BITMAP_ONDISK) {
        if (FileSeekTo(bitmap, position) != Z_OK)
            return Z_ERR_SEEK;
        int32_t put = Z_OsWrite(bitmap->Storage, buffer, count);
        return put == -1 ? Z_ERR_WRITE : put;
    }
    return Z_ERR_NOMEM;
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_GetBitmapRow(BitmapHandle *bitmap, void *buffer, uint32_t row,
                            uint32_t count) {
    if (bitmap->Flags & BITMAP_COMPRESSED)
        return compressed::RowGet(bitmap, buffer, row, 0, count);
    return ReadAt(bitmap, buffer, SeekRow(bitmap, row), count);
}

int32_t ZAPI Z_GetBitmapRowCol(BitmapHandle *bitmap, void *buffer,
                               uint32_t row, uint32_t column, uint32_t count) {
    if (bitmap->Flags & BITMAP_COMPRESSED)
        return compressed::RowGet(bitmap, buffer, row, column, count);
    return ReadAt(bitmap, buffer, Position(bitmap, row, column), count);
}

int32_t ZAPI Z_PutBitmapRow(BitmapHandle *bitmap, const void *buffer,
                            uint32_t row, uint32_t count) {
    if (bitmap->Flags & BITMAP_COMPRESSED)
        return compressed::RowPut(bitmap, buffer, row, 0, count);
    return WriteAt(bitmap, buffer, SeekRow(bitmap, row), count);
}

int32_t ZAPI Z_PutBitmapRowCol(BitmapHandle *bitmap, const void *buffer,
                               uint32_t row, uint32_t column, uint32_t count) {
    if (bitmap->Flags & BITMAP_COMPRESSED)
        return compressed::RowPut(bitmap, buffer, row, column, count);
    return WriteAt(bitmap, buffer, Position(bitmap, row, column), count);
}

} // extern "C"

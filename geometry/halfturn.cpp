// Z_IntRotateBitmap180: a half turn in place, rows exchanged from both ends
// and each mirrored; a compressed page only exchanges and reverses run
// lists.
#include "compressed/heap.h"
#include "compressed/rows.h"
#include "core/dispatch.h"
#include "core/guards.h"
#include "core/progress.h"
#include "geometry/geometry.h"

namespace ztk {
namespace {

int32_t TurnCompressedRows(BitmapHandle *bitmap, Progress &progress) {
    uint32_t i = 0, j = uint32_t(bitmap->Height) - 1;
    for (; i < j; ++i, --j) {
        int32_t status = CompressedRowMirror(bitmap, i);
        if (status != Z_OK)
            return status;
        RowEntry *top = EntryOf(bitmap, i), *bottom = EntryOf(bitmap, j);
        const RowEntry t = *top;
        *top = *bottom;
        *bottom = t;
        status = CompressedRowMirror(bitmap, i);
        if (status == Z_OK)
            status = progress.Step();
        if (status != Z_OK)
            return status;
    }
    if (i == j) {
        const int32_t status = CompressedRowMirror(bitmap, i);
        if (status != Z_OK)
            return status;
        return progress.Step();
    }
    return Z_OK;
}

// The buffers have a byte over the row for Z_MirrorLine.
int32_t TurnPlainRows(BitmapHandle *bitmap, Progress &progress) {
    const uint32_t stride = bitmap->BytesPerLine;
    OsBuffer<uint8_t> first, second;
    if (!first.Allocate(stride + 1, true) || !second.Allocate(stride + 1, true))
        return Z_ERR_NOMEM;
    BitmapLock lock(bitmap);
    for (uint32_t top = 0, bottom = uint32_t(bitmap->Height) - 1;
         top <= bottom && bottom != ~0u; ++top, --bottom) {
        Z_GetBitmapRow(bitmap, first.get(), top, stride);
        Z_MirrorLine(first.get(), bitmap->Width, bitmap->BitsPerPixel);
        if (top != bottom) {
            Z_GetBitmapRow(bitmap, second.get(), bottom, stride);
            Z_MirrorLine(second.get(), bitmap->Width, bitmap->BitsPerPixel);
            Z_PutBitmapRow(bitmap, second.get(), top, stride);
        }
        Z_PutBitmapRow(bitmap, first.get(), bottom, stride);
        const int32_t status = progress.Step();
        if (status != Z_OK)
            return status;
    }
    return Z_OK;
}

} // namespace
} // namespace ztk

using namespace ztk;

int32_t Z_IntRotateBitmap180(BitmapHandle *bitmap, int32_t fromPercent,
                             int32_t toPercent) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    if (bitmap->Height <= 0)
        return Z_OK;
    Progress progress((uint32_t(bitmap->Height) + 1) / 2, fromPercent,
                      toPercent);
    const int32_t started = progress.Begin();
    if (started != Z_OK)
        return started;
    const int32_t status = (bitmap->Flags & BITMAP_COMPRESSED) == 0
                               ? TurnPlainRows(bitmap, progress)
                               : TurnCompressedRows(bitmap, progress);
    if (status != Z_OK)
        return status;
    auto hook = DispatchSlot<AfterRotateProc>(SLOT_AFTERROTATE);
    return hook != nullptr
               ? hook(bitmap, bitmap->Width, bitmap->Height, 18000)
               : Z_OK;
}

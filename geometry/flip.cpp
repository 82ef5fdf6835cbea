// Flip and reverse: Z_FlipBitmap and Z_ReverseBitmap choose by the view,
// since a bitmap viewed at a quarter turn holds the viewer's columns as its
// rows; Z_IntFlipRows and Z_IntMirrorRows do the work.
#include "compressed/heap.h"
#include "compressed/rows.h"
#include "core/dispatch.h"
#include "core/guards.h"
#include "core/progress.h"
#include "geometry/geometry.h"

namespace ztk {
namespace {

bool ViewIsQuarterTurn(const BitmapHandle *bitmap) {
    return bitmap->ViewPerspective == 4 || bitmap->ViewPerspective == 8;
}

int32_t AfterHook(int slot, BitmapHandle *bitmap) {
    auto hook = DispatchSlot<AfterBitmapProc>(slot);
    return hook != nullptr ? hook(bitmap) : Z_OK;
}

// Rows of a compressed bitmap are exchanged as their table entries.
int32_t ExchangeRowEntries(BitmapHandle *bitmap, Progress &progress) {
    RowEntry *top = EntryOf(bitmap, 0);
    RowEntry *bottom = top + (bitmap->Height - 1);
    for (; top < bottom; ++top, --bottom) {
        const RowEntry t = *top;
        *top = *bottom;
        *bottom = t;
        const int32_t status = progress.Step();
        if (status != Z_OK)
            return status;
    }
    return Z_OK;
}

int32_t ExchangeRows(BitmapHandle *bitmap, Progress &progress) {
    const uint32_t stride = bitmap->BytesPerLine;
    OsBuffer<uint8_t> first, second;
    if (!first.Allocate(stride, true) || !second.Allocate(stride, true))
        return Z_ERR_NOMEM;
    BitmapLock lock(bitmap);
    for (uint32_t top = 0, bottom = uint32_t(bitmap->Height) - 1; top < bottom;
         ++top, --bottom) {
        Z_GetBitmapRow(bitmap, first.get(), top, stride);
        Z_GetBitmapRow(bitmap, second.get(), bottom, stride);
        Z_PutBitmapRow(bitmap, first.get(), bottom, stride);
        Z_PutBitmapRow(bitmap, second.get(), top, stride);
        const int32_t status = progress.Step();
        if (status != Z_OK)
            return status;
    }
    return AfterHook(SLOT_AFTERFLIP, bitmap);
}

} // namespace
} // namespace ztk

using namespace ztk;

int32_t Z_IntFlipRows(BitmapHandle *bitmap) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    if (bitmap->Height <= 0)
        return AfterHook(SLOT_AFTERFLIP, bitmap);
    Progress progress(uint32_t(bitmap->Height) / 2);
    const int32_t started = progress.Begin();
    if (started != Z_OK)
        return started;
    if ((bitmap->Flags & BITMAP_COMPRESSED) == 0)
        return ExchangeRows(bitmap, progress);
    const int32_t status = ExchangeRowEntries(bitmap, progress);
    return status == Z_OK ? AfterHook(SLOT_AFTERFLIP, bitmap) : status;
}

int32_t Z_IntMirrorRows(BitmapHandle *bitmap) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    const uint32_t stride = bitmap->BytesPerLine;
    OsBuffer<uint8_t> row;
    if (!row.Allocate(stride + 1, true))
        return Z_ERR_NOMEM;
    BitmapLock lock(bitmap);
    const uint32_t height = bitmap->Height > 0 ? uint32_t(bitmap->Height) : 0;
    Progress progress(height);
    int32_t status = progress.Begin();
    const bool compressed = (bitmap->Flags & BITMAP_COMPRESSED) != 0;
    for (uint32_t y = 0; status == Z_OK && y < height; ++y) {
        if (compressed) {
            status = CompressedRowMirror(bitmap, y);
            if (status != Z_OK)
                break;
        } else {
            Z_GetBitmapRow(bitmap, row.get(), y, stride);
            Z_MirrorLine(row.get(), bitmap->Width, bitmap->BitsPerPixel);
            Z_PutBitmapRow(bitmap, row.get(), y, stride);
        }
        status = progress.Step();
    }
    if (status == Z_OK)
        status = AfterHook(SLOT_AFTERREVERSE, bitmap);
    return status;
}

extern "C" {

int32_t ZAPI Z_FlipBitmap(BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    return ViewIsQuarterTurn(bitmap) ? Z_IntMirrorRows(bitmap)
                                     : Z_IntFlipRows(bitmap);
}

int32_t ZAPI Z_ReverseBitmap(BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    return ViewIsQuarterTurn(bitmap) ? Z_IntFlipRows(bitmap)
                                     : Z_IntMirrorRows(bitmap);
}

} // extern "C"

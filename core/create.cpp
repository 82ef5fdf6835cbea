// Bitmaps made in one step: Z_CreateBitmap (record, storage and palette for
// a host), and the duplicate with new dimensions that every operation
// changing size or depth starts from, with its undoing.
//
// A duplicate either owns or borrows its palette and region, by option; on
// any failure after its storage is made, everything it made goes again and
// nothing it borrowed is left in the record, so the caller may free it
// either way.
#include <cstring>

#include "core/dispatch.h"
#include "core/guards.h"
#include "core/os/os.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// Up to 8 bits a bitmap needs its palette: a gray ramp for depth 0, the
// fixed set of the depth, or the caller's entries.
int32_t MakePalette(BitmapHandle *bitmap, int32_t bitsPerPixel,
                    const RGBQUAD *entries) {
    if (bitsPerPixel == 0)
        bitmap->Palette = Z_CreateGrayPalette(8);
    else if (entries == nullptr)
        Z_CreateBitmapFixedPalette(bitmap);
    else
        bitmap->Palette = Z_CreatePalette(entries, bitmap->ColorCount);
    return bitmap->Palette != nullptr ? Z_OK : Z_ERR_NOMEM;
}

void TakeSourceFields(BitmapHandle *destination, const BitmapHandle *source) {
    constexpr uint32_t taken =
        BITMAP_COMPRESSED | BITMAP_CLIENTBIT | BITMAP_NEGATIVE;
    destination->Flags =
        (destination->Flags & ~taken) | (source->Flags & taken);
    destination->ViewPerspective = source->ViewPerspective;
    destination->XResolution = source->XResolution;
    destination->YResolution = source->YResolution;
    destination->Order = source->Order;
}

// The palette: a copy, or the source's handle shared. A source palette
// that can't be copied is a failure, not a bitmap without colours.
int32_t TakePalette(BitmapHandle *destination, const BitmapHandle *source,
                    uint32_t options) {
    destination->ColorCount = source->ColorCount;
    if ((options & DUP_PALETTE) == 0) {
        destination->Palette = source->Palette;
        return Z_OK;
    }
    destination->Palette = Z_DupPalette(source->Palette);
    return source->Palette != nullptr && destination->Palette == nullptr
               ? Z_ERR_NOMEM
               : Z_OK;
}

int32_t TakeRegion(BitmapHandle *destination, const BitmapHandle *source,
                   uint32_t options) {
    if ((options & DUP_REGION) == 0) {
        destination->Region = source->Region;
        return Z_OK;
    }
    destination->Region = nullptr;
    auto copy = DispatchSlot<RegionCopyProc>(SLOT_REGIONCOPY);
    if (copy == nullptr)
        return Z_OK;
    return copy(destination, const_cast<BitmapHandle *>(source), 0, 0);
}

void ReleaseOwned(BitmapHandle *bitmap) {
    if (bitmap->Palette != nullptr) {
        os::ObjectDelete(bitmap->Palette);
        bitmap->Palette = nullptr;
    }
    if (bitmap->Region != nullptr) {
        Z_DeleteZarnRgn(bitmap->Region);
        bitmap->Region = nullptr;
    }
    if (bitmap->GrayLUT != nullptr) {
        Z_OsFree(bitmap->GrayLUT);
        bitmap->GrayLUT = nullptr;
        bitmap->GrayLUTLength = 0;
    }
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_CreateBitmap(BitmapHandle *bitmap, int32_t memory, int32_t width,
                            int32_t height, int32_t bitsPerPixel, int32_t order,
                            const RGBQUAD *palette, int32_t viewPerspective) {
    if (bitmap == nullptr)
        return Z_ERR_PARAM;
    int32_t result =
        Z_InitBitmap(bitmap, width, height, bitsPerPixel == 0 ? 8 : bitsPerPixel);
    if (result != Z_OK)
        return result;
    result = Z_AllocateBitmap(bitmap, memory);
    if (result != Z_OK)
        return result;
    if (bitmap->BitsPerPixel <= 8) {
        // The order means nothing to a palette bitmap and is not taken.
        result = MakePalette(bitmap, bitsPerPixel, palette);
        if (result != Z_OK) {
            Z_FreeBitmap(bitmap);
            return result;
        }
    } else {
        bitmap->Order = order;
    }
    bitmap->ViewPerspective = viewPerspective;
    return Z_OK;
}

int32_t ZAPI Z_DupBitmapNewDim(BitmapHandle *destination,
                               const BitmapHandle *source, int32_t width,
                               int32_t height, int32_t bitsPerPixel,
                               uint32_t options) {
    if (destination == nullptr || !IsAllocated(source))
        return Z_ERR_NOBITMAP;
    // A refused depth leaves a zeroed record; with storage asked for, its
    // allocation then reports the empty size.
    Z_InitBitmap(destination, width, height, bitsPerPixel);
    TakeSourceFields(destination, source);
    if (options & DUP_ALLOCATE) {
        const int32_t memory = (destination->Flags & BITMAP_COMPRESSED)
                                   ? MEMORY_COMPRESSED | MEMORY_ANY
                                   : MEMORY_ANY;
        const int32_t allocated = Z_AllocateBitmap(destination, memory);
        if (allocated != Z_OK)
            return allocated;
    }
    int32_t result = TakePalette(destination, source, options);
    if (result == Z_OK)
        result = Z_CopyPlaybackParms(destination, source);
    if (result == Z_OK)
        result = TakeRegion(destination, source, options);
    if (result == Z_OK && source->Order == 2 &&
        source->BitsPerPixel == destination->BitsPerPixel) {
        destination->Order = 2;
        result = Z_CopyGrayParams(destination, source);
    }
    if (result != Z_OK)
        Z_FreeDuplicateBitmap(destination, options | DUP_ALLOCATE);
    return result;
}

int32_t ZAPI Z_FreeDuplicateBitmap(BitmapHandle *bitmap, uint32_t options) {
    if (bitmap == nullptr)
        return Z_OK;
    if ((options & DUP_PALETTE) == 0)
        bitmap->Palette = nullptr;
    if ((options & DUP_REGION) == 0)
        bitmap->Region = nullptr;
    if (options & DUP_ALLOCATE) {
        Z_FreeBitmap(bitmap);
        return Z_OK;
    }
    // Storage is left alone; what the duplicate made for the record (its
    // own palette, region and gray table) belongs to nobody else and would
    // otherwise be lost.
    ReleaseOwned(bitmap);
    return Z_OK;
}

} // extern "C"

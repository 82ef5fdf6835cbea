// Gray parameters: the window of a 12- or 16-bit gray sample as count,
// mask and shift; the gray fields of a bitmap in their first state and
// copied between records; and the classification of a bitmap as gray.
#include <cstring>

#include "colour/colour.h"
#include "ztkrn.h"

namespace ztk {
namespace {

bool IsGrayEntry(const RGBQUAD &entry) {
    return entry.rgbRed == entry.rgbGreen && entry.rgbGreen == entry.rgbBlue;
}

// Gray samples with a table: the window, not the table's length, says how
// many entries to look at, but never more than the table holds.
int32_t ClassifyGrayTable(const BitmapHandle *bitmap) {
    const GrayWindow window = GrayWindowOf(
        bitmap->BitsPerPixel, bitmap->BitsPerPixel, bitmap->LowBit,
        bitmap->HighBit);
    uint64_t tested = 1;
    if (window.bits > 0)
        tested = window.bits >= 32 ? (uint64_t(1) << 32)
                                   : (uint64_t(1) << window.bits);
    if (tested > bitmap->GrayLUTLength)
        tested = bitmap->GrayLUTLength;
    for (uint64_t i = 0; i < tested; ++i) {
        if (!IsGrayEntry(bitmap->GrayLUT[i]))
            return 0;
    }
    return 1;
}

// The regular ramp is stepped by a once-truncated increment in a byte, so
// at 3, 5, 6 and 7 bits it runs 0, 36, 72, 108... and a palette whose
// levels are each computed exactly is not regular there.
int32_t ClassifyPalette(const RGBQUAD *entries, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (!IsGrayEntry(entries[i]))
            return 0;
    }
    const bool descending = entries[0].rgbRed != 0;
    // One entry has no step to take.
    const int32_t step = n > 1 ? 255 / (n - 1) : 0;
    uint8_t level = descending ? 255 : 0;
    for (int32_t i = 0; i < n; ++i) {
        if (entries[i].rgbRed != level)
            return 3;
        level = uint8_t(descending ? level - step : level + step);
    }
    return descending ? 2 : 1;
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

void ZAPI Z_GetGrayParams(int32_t bitsPerPixel, int32_t limit, int32_t lowBit,
                          int32_t highBit, uint32_t *count, uint32_t *mask,
                          uint32_t *shift) {
    const GrayWindow window = GrayWindowOf(bitsPerPixel, limit, lowBit, highBit);
    if (count != nullptr)
        *count = uint32_t(window.bits);
    if (mask != nullptr)
        *mask = window.mask;
    if (shift != nullptr)
        *shift = uint32_t(window.shift);
}

void ZAPI Z_InitGrayParams(BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return;
    bitmap->LowBit = 0;
    bitmap->BaseLowBit = 0;
    bitmap->LowValue = 0;
    bitmap->HighBit = bitmap->BitsPerPixel - 1;
    bitmap->BaseHighBit = bitmap->BitsPerPixel - 1;
    bitmap->HighValue =
        int32_t(ShiftLeft(1u, bitmap->BitsPerPixel) - 1u);
    if (bitmap->GrayLUT != nullptr)
        Z_OsFree(bitmap->GrayLUT);
    // BITMAP_GRAYLUT stays: without a table it has no effect.
    bitmap->GrayLUT = nullptr;
    bitmap->GrayLUTLength = 0;
}

int32_t ZAPI Z_CopyGrayParams(BitmapHandle *destination,
                              const BitmapHandle *source) {
    if (destination == nullptr || source == nullptr)
        return Z_ERR_PARAM;
    destination->BaseLowBit = source->BaseLowBit;
    destination->BaseHighBit = source->BaseHighBit;
    destination->LowBit = source->LowBit;
    destination->HighBit = source->HighBit;
    destination->LowValue = source->LowValue;
    destination->HighValue = source->HighValue;
    destination->Flags = (destination->Flags & ~BITMAP_GRAYLUT) |
                         (source->Flags & BITMAP_GRAYLUT);
    if (source->GrayLUTLength == 0 || source->GrayLUT == nullptr) {
        destination->GrayLUT = nullptr;
        destination->GrayLUTLength = 0;
        return Z_OK;
    }
    const uint64_t bytes = uint64_t(source->GrayLUTLength) * sizeof(RGBQUAD);
    destination->GrayLUT = bytes > 0xFFFFFFFFu
                               ? nullptr
                               : static_cast<RGBQUAD *>(
                                     Z_OsAlloc(uint32_t(bytes)));
    if (destination->GrayLUT == nullptr)
        return Z_ERR_NOMEM;
    destination->GrayLUTLength = source->GrayLUTLength;
    std::memcpy(destination->GrayLUT, source->GrayLUT, size_t(bytes));
    return Z_OK;
}

int32_t ZAPI Z_IsGrayScaleBitmap(const BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return 0;
    if (bitmap->Order == 2)
        return GrayLutInForce(bitmap) ? ClassifyGrayTable(bitmap) : 1;
    if (bitmap->BitsPerPixel > 8 || bitmap->ColorCount <= 0)
        return 0;
    // A palette holds at most 256 entries, so a larger count can't arrive.
    RGBQUAD entries[256];
    const int32_t n = bitmap->ColorCount;
    if (n > 256 ||
        Z_GetPaletteEntries(bitmap->Palette, 0, n, entries) < n)
        return 0;
    return ClassifyPalette(entries, n);
}

} // extern "C"

// Single pixels and palette ranges in terms of ColorValue: read and write
// one pixel of any layout, translate a colour value from one bitmap to
// another, read and replace palette entries, copy playback parameters.
//
// This is the slow exact path, one lock and one row access a call; bulk
// work goes through rows and the converters.
#include <cstring>

#include "colour/colour.h"
#include "colour/convert.h"
#include "core/dispatch.h"
#include "core/guards.h"
#include "core/os/os.h"
#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

constexpr ColorValue DirectOf(const Rgb &c) {
    return c.red | (c.green << 8) | (c.blue << 16);
}

bool Inside(const BitmapHandle *bitmap, int32_t row, int32_t column) {
    return row >= 0 && column >= 0 && row < bitmap->Height &&
           column < bitmap->Width;
}

int32_t BoundCount(int64_t count, int64_t most) {
    return int32_t(count < 0 ? 0 : count > most ? most : count);
}

// The bitmap's palette in a local array; entries it doesn't have are black.
void FetchPalette(const BitmapHandle *bitmap, RGBQUAD *entries) {
    std::memset(entries, 0, 256 * sizeof(RGBQUAD));
    Z_GetPaletteEntries(bitmap->Palette, 0,
                        BoundCount(bitmap->ColorCount, 256), entries);
}

// The table entry for a windowed sample. Samples come from the pixels,
// which may hold anything, so one past the table reads its last entry.
Rgb TableColour(const BitmapHandle *bitmap, uint32_t v) {
    const uint32_t length = bitmap->GrayLUTLength;
    if (length == 0)
        return Rgb{0, 0, 0};
    return RgbOf(bitmap->GrayLUT[v < length ? v : length - 1]);
}

// Where the bits of a pixel of 1 to 8 bits lie: the column the row access
// is addressed by, the bit phase in the first byte, and how many bytes
// hold it. At 1 and 4 bits only the low 16 bits of the column address the
// byte, as they always have.
struct Spot {
    uint32_t column;
    uint32_t phase;
    uint32_t bytes;
};

Spot SpotOf(int32_t bits, uint32_t column) {
    if (bits == 1 || bits == 4)
        column &= 0xFFFFu;
    const uint32_t phase = (column * uint32_t(bits)) & 7u;
    return Spot{column, phase, phase + uint32_t(bits) > 8 ? 2u : 1u};
}

// ---- reading ---------------------------------------------------------------

ColorValue ReadIndexed(BitmapHandle *bitmap, uint32_t row, uint32_t column) {
    RGBQUAD entries[256];
    FetchPalette(bitmap, entries);
    const int32_t bits = bitmap->BitsPerPixel;
    const Spot spot = SpotOf(bits, column);
    uint8_t bytes[2] = {};
    BitmapLock lock(bitmap);
    Z_GetBitmapRowCol(bitmap, bytes, row, spot.column, spot.bytes);
    return DirectOf(RgbOf(entries[GetBitsAt(bytes, spot.phase, uint32_t(bits))]));
}

// A gray level scaled to 16 bits from its window, or the table's colour.
ColorValue GrayValue(const BitmapHandle *bitmap, uint32_t sample,
                     const GrayWindow &window, bool alwaysScale) {
    const uint32_t v = Windowed(sample, window);
    if (GrayLutInForce(bitmap))
        return DirectOf(TableColour(bitmap, v));
    const uint32_t level =
        alwaysScale || window.mask < 0xFFFFu ? Divider(window.mask)(v * 0xFFFFu)
                                              : v;
    return ColorTagGray16 | (level & 0xFFFFu);
}

ColorValue ReadWide(BitmapHandle *bitmap, uint32_t row, uint32_t column) {
    const int32_t bits = bitmap->BitsPerPixel;
    const bool gray = bitmap->Order == 2;
    // A 12-bit bitmap holds gray whatever its order says.
    const GrayWindow window = Readable(
        gray ? GrayWindowOf(bits, bits, bitmap->LowBit, bitmap->HighBit)
             : GrayWindowOf(bits, bits, -1, -1));
    uint8_t bytes[3] = {};
    const uint32_t count = bits == 12 || bits == 16 ? 2u : 3u;
    BitmapLock lock(bitmap);
    Z_GetBitmapRowCol(bitmap, bytes, row, column, count);
    const uint32_t word = uint32_t(bytes[0]) | (uint32_t(bytes[1]) << 8);
    if (bits == 12)
        return GrayValue(bitmap, (column & 1) ? word >> 4 : word & 0xFFFu,
                         window, true);
    if (bits == 16 && gray)
        return GrayValue(bitmap, word, window, false);
    if (bits == 16)
        return DirectOf(From555(word, bitmap->Order == 1));
    return DirectOf(FromBytes(word | (uint32_t(bytes[2]) << 16),
                              bitmap->Order == 1));
}

// ---- writing ---------------------------------------------------------------

uint32_t IndexFor(const BitmapHandle *bitmap, ColorValue color) {
    const int32_t bits = bitmap->BitsPerPixel;
    if (TagOf(color) == 1)
        return color & ((1u << bits) - 1u);
    RGBQUAD entries[256];
    FetchPalette(bitmap, entries);
    const int32_t count = bits == 1   ? 2
                          : bits == 4 ? 16
                          : bits == 8 ? 256
                                      : BoundCount(bitmap->ColorCount, 256);
    return uint32_t(Z_FindPaletteIndex(entries, count, int32_t(RedOf(color)),
                                       int32_t(GreenOf(color)),
                                       int32_t(BlueOf(color))));
}

void WriteIndexed(BitmapHandle *bitmap, uint32_t row, uint32_t column,
                  uint32_t index) {
    const int32_t bits = bitmap->BitsPerPixel;
    const Spot spot = SpotOf(bits, column);
    uint8_t bytes[2] = {};
    if (bits != 8)
        Z_GetBitmapRowCol(bitmap, bytes, row, spot.column, spot.bytes);
    PutBitsAt(bytes, spot.phase, uint32_t(bits), index);
    Z_PutBitmapRowCol(bitmap, bytes, row, spot.column, spot.bytes);
}

// The sample for a gray pixel. Unlike the gray window rule there is no
// limit on the width here, and the scaling down rounds up.
uint32_t GraySample(const BitmapHandle *bitmap, ColorValue color) {
    const int32_t bits = bitmap->BitsPerPixel;
    const int64_t low = bitmap->LowBit > 0 ? bitmap->LowBit : 0;
    const int64_t high = bitmap->HighBit < 0 ? bits - 1 : bitmap->HighBit;
    const int64_t count = high - low + 1;
    if (GrayLutInForce(bitmap)) {
        const int64_t most = bits == 16 ? 0xFFFF : 0x7FFFFFFF;
        const int32_t found = Z_FindPaletteIndex(
            bitmap->GrayLUT, BoundCount(bitmap->GrayLUTLength, most),
            int32_t(RedOf(color)), int32_t(GreenOf(color)),
            int32_t(BlueOf(color)));
        return ShiftLeft(uint32_t(found), low);
    }
    const uint32_t w = (color & ColorTagGray16)
                           ? color & 0xFFFFu
                           : GrayOfColor(RedOf(color), GreenOf(color),
                                         BlueOf(color)) * 0x101u;
    if (bits == 16 && count >= 16)
        return w;
    return ShiftLeft((ShiftLeft(w, count) - w + 0xFFFEu) / 0xFFFFu, low);
}

// Only the two bytes that hold the sample are read and written back, so
// the last pixel of a row never reaches past it.
void Write12(BitmapHandle *bitmap, uint32_t row, uint32_t column,
             uint32_t sample) {
    uint8_t pair[3] = {};
    uint8_t *held = pair + (column & 1);
    Z_GetBitmapRowCol(bitmap, held, row, column, 2);
    Put12(pair, column & 1, sample);
    Z_PutBitmapRowCol(bitmap, held, row, column, 2);
}

void WriteWide(BitmapHandle *bitmap, uint32_t row, uint32_t column,
               ColorValue color) {
    const int32_t bits = bitmap->BitsPerPixel;
    const bool blueFirst = bitmap->Order == 1;
    const Rgb rgb{RedOf(color), GreenOf(color), BlueOf(color)};
    uint8_t bytes[3] = {};
    if (bits == 12) {
        Write12(bitmap, row, column, GraySample(bitmap, color));
        return;
    }
    if (bits == 16) {
        const uint32_t word = bitmap->Order == 2 ? GraySample(bitmap, color)
                                                 : To555(rgb, blueFirst);
        bytes[0] = uint8_t(word);
        bytes[1] = uint8_t(word >> 8);
        Z_PutBitmapRowCol(bitmap, bytes, row, column, 2);
        return;
    }
    // Three bytes at 24 and 32 bits: a fourth byte stays as it was.
    const uint32_t packed = ToBytes(rgb, blueFirst);
    bytes[0] = uint8_t(packed);
    bytes[1] = uint8_t(packed >> 8);
    bytes[2] = uint8_t(packed >> 16);
    Z_PutBitmapRowCol(bitmap, bytes, row, column, 3);
}

ColorValue TaggedNearest(const BitmapHandle *bitmap, ColorValue color) {
    return ColorTagIndex |
           (os::PaletteNearest(bitmap->Palette, uint8_t(RedOf(color)),
                               uint8_t(GreenOf(color)),
                               uint8_t(BlueOf(color))) &
            0xFFFFu);
}

bool SameColour(const RGBQUAD &a, const RGBQUAD &b) {
    return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen &&
           a.rgbBlue == b.rgbBlue;
}

// An index of the source's palette as the destination sees it.
ColorValue TranslateIndex(const BitmapHandle *destination,
                          const BitmapHandle *source, ColorValue color) {
    const bool wide = destination->BitsPerPixel > 8;
    RGBQUAD entry{};
    if (source == nullptr || source->BitsPerPixel > 8 ||
        Z_GetBitmapColors(source, int32_t(color & 0xFFu), 1, &entry) != Z_OK)
        return wide ? 0u : TaggedNearest(destination, 0);
    const ColorValue direct = DirectOf(RgbOf(entry));
    if (wide)
        return direct;
    RGBQUAD there{};
    if (Z_GetBitmapColors(destination, int32_t(color & 0xFFu), 1, &there) ==
            Z_OK &&
        SameColour(entry, there))
        return color;
    return TaggedNearest(destination, direct);
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

ColorValue ZAPI Z_GetPixelColor(BitmapHandle *bitmap, int32_t row,
                                int32_t column) {
    if (!IsAllocated(bitmap) || !Inside(bitmap, row, column))
        return COLOR_INVALID;
    const int32_t bits = bitmap->BitsPerPixel;
    if (bits >= 1 && bits <= 8)
        return ReadIndexed(bitmap, uint32_t(row), uint32_t(column));
    if (bits == 12 || bits == 16 || bits == 24 || bits == 32)
        return ReadWide(bitmap, uint32_t(row), uint32_t(column));
    return 0;
}

int32_t ZAPI Z_PutPixelColor(BitmapHandle *bitmap, int32_t row, int32_t column,
                             ColorValue color) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    auto inRegion = DispatchSlot<PixelInRegionProc>(SLOT_PIXELINREGION);
    if (inRegion != nullptr) {
        if (inRegion(bitmap, row, column) == 0)
            return Z_ERR_EMPTY;
    } else if (!Inside(bitmap, row, column)) {
        return Z_ERR_EMPTY;
    }
    // The region's answer replaces the bounds test, but a pixel the bitmap
    // doesn't hold can't be written.
    if (!Inside(bitmap, row, column))
        return Z_OK;
    const int32_t bits = bitmap->BitsPerPixel;
    color = ReduceGray16(bitmap, color);
    const uint32_t index =
        bits >= 1 && bits <= 8 ? IndexFor(bitmap, color) : 0u;
    BitmapLock lock(bitmap);
    if (bits >= 1 && bits <= 8)
        WriteIndexed(bitmap, uint32_t(row), uint32_t(column), index);
    else if (bits == 12 || bits == 16 || bits == 24 || bits == 32)
        WriteWide(bitmap, uint32_t(row), uint32_t(column), color);
    return Z_OK;
}

ColorValue ZAPI Z_TranslateBitmapColor(const BitmapHandle *destination,
                                       const BitmapHandle *source,
                                       ColorValue color) {
    if (destination == nullptr)
        return color;
    if (color & ColorTagGray16) {
        if (destination->Order == 2 && !GrayLutInForce(destination))
            return color;
        if (destination->Order == 2) {
            // The level's two bytes go in as red and green, blue as 0.
            const uint32_t length = destination->GrayLUTLength;
            const int32_t n = length == 0x10000u ? 0xFFFF
                                                 : BoundCount(length, 0x7FFFFFFF);
            return ColorTagIndex |
                   (uint32_t(Z_FindPaletteIndex(
                        destination->GrayLUT, n, int32_t(RedOf(color)),
                        int32_t(GreenOf(color)), int32_t(BlueOf(color)))) &
                    0xFFFFu);
        }
        color = GrayBytes(GreenOf(color));
    }
    if (TagOf(color) != 1)
        return destination->BitsPerPixel > 8 ? color
                                             : TaggedNearest(destination, color);
    return TranslateIndex(destination, source, color);
}

int32_t ZAPI Z_GetBitmapColors(const BitmapHandle *bitmap, int32_t first,
                               int32_t count, RGBQUAD *entries) {
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    if (count == 0 || bitmap->BitsPerPixel >= 9)
        return Z_ERR_PARAM;
    return Z_GetPaletteEntries(bitmap->Palette, first, count, entries) == count
               ? Z_OK
               : Z_ERR_PARAM;
}

int32_t ZAPI Z_PutBitmapColors(BitmapHandle *bitmap, int32_t first,
                               int32_t count, const RGBQUAD *entries) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    const int32_t size = bitmap->ColorCount;
    if (first < 0 || count < 0 || int64_t(first) + count > size ||
        bitmap->BitsPerPixel >= 9 || size > 256 ||
        (entries == nullptr && count > 0))
        return Z_ERR_PARAM;
    RGBQUAD palette[256];
    FetchPalette(bitmap, palette);
    if (count > 0)
        std::memcpy(palette + first, entries, size_t(count) * sizeof(RGBQUAD));
    // A logical palette isn't edited in place: the bitmap gets a new one,
    // or none if it can't be made.
    if (bitmap->Palette != nullptr)
        os::ObjectDelete(bitmap->Palette);
    bitmap->Palette = Z_CreatePalette(palette, size);
    return Z_OK;
}

int32_t ZAPI Z_CopyPlaybackParms(BitmapHandle *destination,
                                 const BitmapHandle *source) {
    if (destination == nullptr || source == nullptr)
        return Z_ERR_PARAM;
    constexpr uint32_t playback = BITMAP_PLAYBACK1 | BITMAP_PLAYBACK2;
    destination->Flags =
        (destination->Flags & ~playback) | (source->Flags & playback);
    destination->PlaybackValue1 = source->PlaybackValue1;
    destination->PlaybackValue2 = source->PlaybackValue2;
    destination->PlaybackValue3 = source->PlaybackValue3;
    destination->PlaybackValue4 = source->PlaybackValue4;
    destination->PlaybackColor1 =
        Z_TranslateBitmapColor(destination, source, source->PlaybackColor1);
    destination->PlaybackColor2 =
        Z_TranslateBitmapColor(destination, source, source->PlaybackColor2);
    return Z_OK;
}

} // extern "C"

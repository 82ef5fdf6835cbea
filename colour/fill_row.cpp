// The fill of a row with one colour value, in a bitmap's own pixel layout:
// the pixel is worked out once, then repeated. Region fill, rotation and
// shear use it to get their fill pixel.
//
// Depths 1, 2, 4 and 8 are filled as whole bytes, so a partial last byte is
// overwritten; depths 3, 5, 6 and 7 write pixel by pixel and leave the bits
// after the last pixel as they were.
#include <cstring>

#include "colour/colour.h"
#include "colour/match.h"
#include "core/os/os.h"
#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// The pixel value at 1 to 8 bits: a tagged index as given, masked to the
// depth; any other value goes to the platform's nearest entry of the
// bitmap's palette, used as it comes.
uint32_t IndexOf(const BitmapHandle *bitmap, ColorValue color) {
    if (TagOf(color) == 1)
        return color & ((1u << bitmap->BitsPerPixel) - 1u);
    return os::PaletteNearest(bitmap->Palette, uint8_t(RedOf(color)),
                              uint8_t(GreenOf(color)), uint8_t(BlueOf(color)));
}

uint8_t RepeatedByte(int32_t bits, uint32_t value) {
    if (bits == 1)
        return value != 0 ? 0xFF : 0x00;
    uint32_t byte = 0;
    for (int32_t at = 0; at < 8; at += bits)
        byte |= value << at;
    return uint8_t(byte);
}

template <int Bits>
void FillPacked(uint8_t *row, uint32_t count, uint32_t value) {
    for (uint32_t x = 0; x < count; ++x)
        PutPacked<Bits>(row, x, value);
}

void FillIndexed(const BitmapHandle *bitmap, ColorValue color, uint8_t *row,
                 uint32_t count) {
    const int32_t bits = bitmap->BitsPerPixel;
    const uint32_t value = IndexOf(bitmap, color);
    switch (bits) {
    case 3: FillPacked<3>(row, count, value); return;
    case 5: FillPacked<5>(row, count, value); return;
    case 6: FillPacked<6>(row, count, value); return;
    case 7: FillPacked<7>(row, count, value); return;
    default:
        std::memset(row, RepeatedByte(bits, value), PackedBytes(bits, count));
        return;
    }
}

int32_t LutIndex(const BitmapHandle *bitmap, ColorValue color) {
    const uint32_t length = bitmap->GrayLUTLength;
    return Z_FindPaletteIndex(bitmap->GrayLUT,
                              length > 0x7FFFFFFFu ? 0x7FFFFFFF : int32_t(length),
                              int32_t(RedOf(color)), int32_t(GreenOf(color)),
                              int32_t(BlueOf(color)));
}

// Without a tag the colour's gray, spread over 16 bits.
uint32_t Gray16Of(ColorValue color) {
    return GrayOfColor(RedOf(color), GreenOf(color), BlueOf(color)) * 0x101u;
}

// A 16-bit gray level tagged as such reaches the last case as it stands:
// its two bytes are taken for red and green.
uint32_t Sample12(const BitmapHandle *bitmap, ColorValue color,
                  const GrayWindow &window) {
    const uint32_t tag = TagOf(color);
    if (tag == 1)
        return ShiftLeft(ShiftRight(color & 0xFFFu, 12 - int64_t(window.bits)),
                         window.shift);
    if (tag == 2)
        return ShiftLeft(ShiftRight(color & 0xFFFFu, 16 - int64_t(window.bits)),
                         window.shift);
    if (GrayLutInForce(bitmap))
        return ShiftLeft(uint32_t(LutIndex(bitmap, color)), window.shift);
    return ShiftLeft(ShiftRight(Gray16Of(color), 16 - int64_t(window.bits)),
                     window.shift);
}

uint32_t GraySample16(const BitmapHandle *bitmap, ColorValue color,
                      const GrayWindow &window) {
    if ((color & (ColorTagIndex | ColorTagGray16)) != 0)
        return ShiftLeft(ShiftRight(color & 0xFFFFu, 16 - int64_t(window.bits)),
                         window.shift);
    if (GrayLutInForce(bitmap))
        return ShiftLeft(uint32_t(LutIndex(bitmap, color)), window.shift);
    // A window at bit 0 takes the full 16-bit level, however narrow it is.
    const uint32_t level = Gray16Of(color);
    if (window.shift == 0)
        return level;
    return ShiftLeft(ShiftRight(level, 16 - int64_t(window.bits)),
                     window.shift);
}

uint32_t Sample16(const BitmapHandle *bitmap, ColorValue color,
                  const GrayWindow &window) {
    if (bitmap->Order == 2)
        return GraySample16(bitmap, color, window);
    const uint32_t red = RedOf(color) >> 3;
    const uint32_t green = GreenOf(color) >> 3;
    const uint32_t blue = BlueOf(color) >> 3;
    if (bitmap->Order == 1)
        return (red << 10) | (green << 5) | blue;
    return (blue << 10) | (green << 5) | red;
}

void Fill12(uint8_t *row, uint32_t count, uint32_t sample) {
    for (uint32_t x = 0; x < count; ++x)
        Put12(row, x, sample);
}

// Little-endian words; a row need not be aligned for them.
void Fill16(uint8_t *row, uint32_t count, uint32_t sample) {
    for (uint32_t x = 0; x < count; ++x) {
        row[2 * x] = uint8_t(sample);
        row[2 * x + 1] = uint8_t(sample >> 8);
    }
}

template <uint32_t Bytes>
void FillChannels(const BitmapHandle *bitmap, ColorValue color, uint8_t *row,
                  uint32_t count) {
    const bool blueFirst = bitmap->Order == 1;
    uint8_t pixel[4] = {0, uint8_t(GreenOf(color)), 0, 0};
    pixel[0] = uint8_t(blueFirst ? BlueOf(color) : RedOf(color));
    pixel[2] = uint8_t(blueFirst ? RedOf(color) : BlueOf(color));
    for (uint32_t x = 0; x < count; ++x)
        std::memcpy(row + size_t(x) * Bytes, pixel, Bytes);
}

} // namespace

int32_t FillRowWithColor(const BitmapHandle *bitmap, ColorValue color,
                         void *row, int32_t count) {
    if (bitmap == nullptr || row == nullptr)
        return 1;
    const int32_t bits = bitmap->BitsPerPixel;
    GrayWindow window{bits, 0, 0};
    if (bitmap->Order == 2)
        window = GrayWindowOf(bits, bits, bitmap->LowBit, bitmap->HighBit);
    color = ReduceGray16(bitmap, color);
    auto *out = static_cast<uint8_t *>(row);
    const uint32_t n = count > 0 ? uint32_t(count) : 0;
    if (bits >= 1 && bits <= 8)
        FillIndexed(bitmap, color, out, n);
    else if (bits == 12)
        Fill12(out, n, Sample12(bitmap, color, window));
    else if (bits == 16)
        Fill16(out, n, Sample16(bitmap, color, window));
    else if (bits == 24)
        FillChannels<3>(bitmap, color, out, n);
    else
        FillChannels<4>(bitmap, color, out, n);
    return 1;
}

} // namespace ztk

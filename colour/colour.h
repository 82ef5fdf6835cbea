// The colour rules every colour path shares, written once: the gray of a
// colour, the widening of a 5-bit channel, the 15-bit colour key, the
// parts of a ColorValue, the gray window of a 12- or 16-bit sample, and
// the safe shifts the window arithmetic needs.
//
// Matching, the palette map and the row fill are declared in
// colour/match.h; the constant tables in colour/tables/.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

// ---- ColorValue ----------------------------------------------------------

// Tags in the high byte of a ColorValue.
constexpr uint32_t ColorTagIndex = COLOR_TAG_INDEX;   // a palette index in the low bits
constexpr uint32_t ColorTagRaw16 = COLOR_TAG_RAW16;   // a raw 16-bit level
constexpr uint32_t ColorTagGray16 = COLOR_TAG_GRAY16; // a 16-bit gray level

constexpr uint32_t TagOf(ColorValue value) { return value >> 24; }
constexpr uint32_t RedOf(ColorValue value) { return value & 0xFFu; }
constexpr uint32_t GreenOf(ColorValue value) { return (value >> 8) & 0xFFu; }
constexpr uint32_t BlueOf(ColorValue value) { return (value >> 16) & 0xFFu; }

// ---- gray and 5-bit channels -------------------------------------------

// The one integer gray of the library; the result always fits a byte.
constexpr uint32_t GrayOfColor(uint32_t red, uint32_t green, uint32_t blue) {
    return (2 * red + 5 * green + blue + 4) >> 3;
}

// A 5-bit channel spread over 0..255 so that 31 reaches 255.
constexpr uint32_t Widen5(uint32_t channel) {
    return (channel << 3) | (channel >> 2);
}

// The index of a colour in a 32768-entry match table: the top five bits of
// red, green and blue, red highest.
constexpr uint32_t ColorKey15(uint32_t red, uint32_t green, uint32_t blue) {
    return ((red >> 3) << 10) | ((green >> 3) << 5) | (blue >> 3);
}

// ---- shifts that tolerate any count ------------------------------------

// A gray window can be given any bit numbers; a count outside 0..31 moves
// every bit out rather than being undefined.
constexpr uint32_t ShiftLeft(uint32_t value, int64_t count) {
    return (count < 0 || count > 31) ? 0u : value << count;
}
constexpr uint32_t ShiftRight(uint32_t value, int64_t count) {
    return (count < 0 || count > 31) ? 0u : value >> count;
}

// ---- division by a divisor fixed for a whole row ---------------------------

// floor(n / d) for every 32-bit n, by one multiplication with a 64-bit
// reciprocal worked out once, so that rescaling by a window's mask costs no
// division inside a pixel loop. A divisor of 0 gives 0: an empty window
// holds nothing to rescale.
class Divider {
  public:
    constexpr explicit Divider(uint32_t divisor)
        : divisor_(divisor),
          reciprocal_(divisor > 1 ? ~uint64_t(0) / divisor + 1 : 0) {}
    constexpr uint32_t operator()(uint32_t n) const {
        if (divisor_ <= 1)
            return divisor_ == 1 ? n : 0u;
        // The top 64 bits of the 96-bit product, from two 32-bit halves.
        const uint64_t low = (reciprocal_ & 0xFFFFFFFFu) * n >> 32;
        return uint32_t(((reciprocal_ >> 32) * n + low) >> 32);
    }

  private:
    uint32_t divisor_;
    uint64_t reciprocal_;
};

// ---- the gray window ------------------------------------------------------

// Which bits of a sample carry the image: read a sample as
// (sample >> shift) & mask. `bits` may come out zero or negative when the
// high bit lies below the low bit; nothing refuses such a window.
struct GrayWindow {
    int32_t bits;
    uint32_t mask;
    int32_t shift;
};

// A window of up to `limit` bits: when the window is wider than the limit,
// the top bits are kept and the low ones dropped.
constexpr GrayWindow GrayWindowOf(int32_t bitsPerPixel, int32_t limit,
                                  int32_t lowBit, int32_t highBit) {
    const int64_t low = lowBit < 0 ? 0 : lowBit;
    const int64_t high = highBit < 0 ? int64_t(bitsPerPixel) - 1 : highBit;
    int64_t count = high - low + 1;
    if (count >= limit)
        count = limit;
    GrayWindow window{};
    window.bits = int32_t(uint32_t(uint64_t(count)));
    window.mask = count <= 0 ? 0u
                  : count >= 32 ? 0xFFFFFFFFu
                                : (1u << count) - 1u;
    window.shift = int32_t(uint32_t(uint64_t(high - count + 1)));
    return window;
}

// An 8-bit gray as a sample of `bits` bits: truncated down to 8 bits or
// fewer; above that spread so that 255 reaches the top value (g * 0x101 at
// 16 bits), cut to 16 bits.
constexpr uint32_t WidenGray(uint32_t gray, int64_t bits) {
    if (bits <= 8)
        return ShiftRight(gray, 8 - bits);
    return ((ShiftLeft(gray, bits) - gray) / 255u) & 0xFFFFu;
}

// A gray table counts only when it is there and the flag says to use it.
constexpr bool GrayLutInForce(const BitmapHandle *bitmap) {
    return bitmap->GrayLUT != nullptr && (bitmap->Flags & BITMAP_GRAYLUT) != 0;
}

// A 16-bit gray level is a raw sample only for a gray bitmap without a
// table; anywhere else its top byte stands for a direct gray colour.
constexpr ColorValue ReduceGray16(const BitmapHandle *bitmap, ColorValue color) {
    if ((color & ColorTagGray16) == 0 ||
        (bitmap->Order == 2 && !GrayLutInForce(bitmap)))
        return color;
    const uint32_t level = GreenOf(color);
    return level | (level << 8) | (level << 16);
}

} // namespace ztk

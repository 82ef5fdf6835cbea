// In-place pixel conversion behind Z_ConvertBufferExt: the request as the
// frame hands it on, the converter for each class of source depth, the
// five gray row operations that grayscale shares with them, and the small
// colour packings the converters have in common.
//
// Converters check everything before the first pixel is touched, then run
// one kernel chosen by source and destination layout for the whole row.
#pragma once

#include <cstdint>
#include <type_traits>

#include "colour/colour.h"
#include "ztkrn.h"

namespace ztk {

// One row converted in place, after the frame's checks.
struct ConvertRequest {
    uint8_t *buffer;
    uint32_t width;
    int32_t sourceBits;
    int32_t destinationBits;
    int32_t sourceOrder;
    int32_t destinationOrder;
    // An RGBQUAD palette, or for a 12- or 16-bit gray source its GrayLUT,
    // which must cover every sample the source window can give.
    const RGBQUAD *sourcePalette;
    const RGBQUAD *destinationPalette;
    uint32_t options;
    int32_t lowBit;
    int32_t highBit;
};

// Sources of 0 (8-bit gray without palette) to 8 bits.
int32_t ConvertFromIndexed(const ConvertRequest &request);
// 24- and 32-bit colour sources.
int32_t ConvertFromRgb(const ConvertRequest &request);
// 12-bit gray sources.
int32_t ConvertFromGray12(const ConvertRequest &request);
// 16-bit sources, gray or 5-5-5 colour.
int32_t ConvertFromWord16(const ConvertRequest &request);

// Gray rows: each sample is windowed as (sample >> shift) & mask, then
// rescaled or looked up in `grayLut` when one is given. The rows may be the
// same row, and may also be for the widening Gray12To16.
void Gray12To8(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
               uint8_t *destination, uint32_t mask, uint32_t shift);
void Gray12To12(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
                uint8_t *destination, uint32_t mask, uint32_t shift);
void Gray12To16(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
                uint8_t *destination, uint32_t mask, uint32_t shift);
void Gray16To12(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
                uint8_t *destination, uint32_t mask, uint32_t shift);
void Gray16To8(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
               uint8_t *destination, uint32_t mask, uint32_t shift);

// ---- what a destination is -------------------------------------------------

enum class Target { Gray8, Index, Gray12, Gray16, Colour16, Bytes24, Bytes32, Invalid };

constexpr Target TargetOf(int32_t bits, uint32_t options) {
    if (bits == 0)
        return Target::Gray8;
    if (bits >= 1 && bits <= 8)
        return Target::Index;
    switch (bits) {
    case 12: return Target::Gray12;
    case 16:
        return (options & CONVERT_DST_GRAY) ? Target::Gray16 : Target::Colour16;
    case 24: return Target::Bytes24;
    case 32: return Target::Bytes32;
    default: return Target::Invalid;
    }
}

constexpr bool IsColourOrder(int32_t order) { return order == 0 || order == 1; }

// Destinations whose channels are placed by the destination order.
constexpr bool IsColourTarget(Target target) {
    return target == Target::Colour16 || target == Target::Bytes24 ||
           target == Target::Bytes32;
}

// The palette of a destination of 1 to 8 bits: the caller's, or the fixed
// set of the depth.
const RGBQUAD *DestinationEntries(const ConvertRequest &request);

// The gray window of a destination, for sources of 0 to 8, 24 and 32 bits.
GrayWindow DestinationWindow(const ConvertRequest &request);

// ---- colour packings -------------------------------------------------------

struct Rgb {
    uint32_t red;
    uint32_t green;
    uint32_t blue;
};

constexpr Rgb RgbOf(const RGBQUAD &entry) {
    return Rgb{entry.rgbRed, entry.rgbGreen, entry.rgbBlue};
}

constexpr uint32_t GrayOf(const Rgb &c) {
    return GrayOfColor(c.red, c.green, c.blue);
}

constexpr uint32_t SwapRedBlue(uint32_t bytes) {
    return (bytes & 0xFF00FF00u) | ((bytes >> 16) & 0xFFu) |
           ((bytes & 0xFFu) << 16);
}

// Three bytes in memory order, first byte lowest.
constexpr Rgb FromBytes(uint32_t bytes, bool blueFirst) {
    const uint32_t first = bytes & 0xFFu;
    const uint32_t third = (bytes >> 16) & 0xFFu;
    return Rgb{blueFirst ? third : first, (bytes >> 8) & 0xFFu,
               blueFirst ? first : third};
}

constexpr uint32_t ToBytes(const Rgb &c, bool blueFirst) {
    const uint32_t first = blueFirst ? c.blue : c.red;
    const uint32_t third = blueFirst ? c.red : c.blue;
    return first | (c.green << 8) | (third << 16);
}

// 5-5-5: with red high (order 1) red sits in bits 10-14, else in 0-4.
constexpr uint32_t To555(const Rgb &c, bool redHigh) {
    const uint32_t high = (redHigh ? c.red : c.blue) >> 3;
    const uint32_t low = (redHigh ? c.blue : c.red) >> 3;
    return (high << 10) | ((c.green >> 3) << 5) | low;
}

constexpr Rgb From555(uint32_t word, bool redHigh) {
    const uint32_t high = Widen5((word >> 10) & 31u);
    const uint32_t low = Widen5(word & 31u);
    return Rgb{redHigh ? high : low, Widen5((word >> 5) & 31u),
               redHigh ? low : high};
}

// One gray level in every channel.
constexpr uint32_t GrayBytes(uint32_t level) {
    level &= 0xFFu;
    return level | (level << 8) | (level << 16);
}

constexpr uint32_t Gray555(uint32_t level) {
    const uint32_t c = (level & 0xFFu) >> 3;
    return (c << 10) | (c << 5) | c;
}

// A gray spread by g * (2^bits - 1) / 255, not cut to any width.
constexpr uint32_t SpreadGray(uint32_t gray, int64_t bits) {
    return (ShiftLeft(gray, bits) - gray) / 255u;
}

// A window whose shift would move every bit out reads nothing. Settled
// once when the window is made, so that taking a sample needs no test.
constexpr GrayWindow Readable(GrayWindow window) {
    if (window.shift < 0 || window.shift > 31) {
        window.shift = 0;
        window.mask = 0;
    }
    return window;
}

// A sample through a window made Readable.
constexpr uint32_t Windowed(uint32_t sample, const GrayWindow &window) {
    return (sample >> window.shift) & window.mask;
}

// The 256-entry gray-to-palette map is indexed by a windowed sample, which
// a window wider than 8 bits can carry past the map; such samples take the
// brightest level's entry.
constexpr uint32_t MapIndex(uint32_t v) { return v > 255u ? 255u : v; }

// A result for every 8-bit gray, worked out once per row so that a pixel
// loop reads a table instead of computing (and dividing) per pixel.
struct GrayTable {
    uint32_t values[256];
    uint32_t operator[](uint32_t gray) const { return values[gray & 0xFFu]; }
};

template <class Fn>
GrayTable TabulateGray(Fn &&fn) {
    GrayTable table{};
    for (uint32_t g = 0; g < 256; ++g)
        table.values[g] = fn(g);
    return table;
}

// Calls f with a compile-time true or false, so that a flag fixed for the
// row becomes a template constant of the kernel.
template <typename F>
void WithFlag(bool flag, F &&f) {
    if (flag)
        f(std::true_type{});
    else
        f(std::false_type{});
}

} // namespace ztk

// The gray row operations shared by the 12- and 16-bit converters and by
// grayscale: window each sample, then either look it up in the gray table
// or rescale it to the destination's range.
//
// Rescaling divides by the window's mask, which is fixed for the row, so
// it goes through a Divider; a table's gray goes through a table of the 256
// results. No pixel loop divides.
#include "colour/convert.h"
#include "core/packed.h"

namespace ztk {
namespace {

uint32_t TableGray(const RGBQUAD *grayLut, uint32_t v) {
    return GrayOf(RgbOf(grayLut[v]));
}

// With a table every windowed sample becomes fromGray(g) of its entry's
// gray g; without one, fromLevel(v) of the windowed level v.
template <class Src, class Dst, class FromGray, class FromLevel>
void GrayRow(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
             uint8_t *destination, uint32_t mask, uint32_t shift,
             FromGray fromGray, FromLevel fromLevel) {
    const GrayWindow window =
        Readable(GrayWindow{0, mask, int32_t(shift > 63 ? 63 : shift)});
    if (grayLut != nullptr) {
        const GrayTable byGray = TabulateGray(fromGray);
        MapPixels<Src, Dst>(source, destination, count, [&](uint32_t s) {
            return byGray[TableGray(grayLut, Windowed(s, window))];
        });
    } else {
        MapPixels<Src, Dst>(source, destination, count, [&](uint32_t s) {
            return fromLevel(Windowed(s, window));
        });
    }
}

// To 8 bits: a level is kept as it is, unless its window is narrower than
// a byte, when it is stretched to 0..255.
template <class Src>
void GrayTo8(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
             uint8_t *destination, uint32_t mask, uint32_t shift) {
    auto gray = [](uint32_t g) { return g; };
    if (mask >= 255u) {
        GrayRow<Src, Layout8>(count, grayLut, source, destination, mask, shift,
                              gray, [](uint32_t v) { return v; });
        return;
    }
    const Divider byMask(mask);
    GrayRow<Src, Layout8>(count, grayLut, source, destination, mask, shift,
                          gray, [&](uint32_t v) { return byMask(v * 255u); });
}

} // namespace

void Gray12To8(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
               uint8_t *destination, uint32_t mask, uint32_t shift) {
    GrayTo8<Layout12>(count, grayLut, source, destination, mask, shift);
}

void Gray16To8(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
               uint8_t *destination, uint32_t mask, uint32_t shift) {
    GrayTo8<Layout16>(count, grayLut, source, destination, mask, shift);
}

void Gray12To12(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
                uint8_t *destination, uint32_t mask, uint32_t shift) {
    const Divider byMask(mask);
    GrayRow<Layout12, Layout12>(
        count, grayLut, source, destination, mask, shift,
        [](uint32_t g) { return g * 16u + g / 17u; },
        [&](uint32_t v) { return byMask(v * 4095u); });
}

void Gray12To16(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
                uint8_t *destination, uint32_t mask, uint32_t shift) {
    const Divider byMask(mask);
    GrayRow<Layout12, Layout16>(
        count, grayLut, source, destination, mask, shift,
        [](uint32_t g) { return g * 0x101u; },
        [&](uint32_t v) { return byMask(v * 0xFFFFu); });
}

void Gray16To12(uint32_t count, const RGBQUAD *grayLut, const uint8_t *source,
                uint8_t *destination, uint32_t mask, uint32_t shift) {
    const Divider byMask(mask);
    const bool stretch = mask < 4095u;
    GrayRow<Layout16, Layout12>(
        count, grayLut, source, destination, mask, shift,
        [](uint32_t g) { return g * 4095u / 255u; },
        [&](uint32_t v) { return stretch ? byMask(v * 4095u) : v; });
}

} // namespace ztk

// The converter for 24- and 32-bit colour sources. The red/blue swap and
// the changes between 24 and 32 bits are plain byte moves; gray targets go
// through a table of the 256 gray levels; palette targets search the
// palette for every pixel, as there is nothing smaller to map from.
#include <cstddef>

#include "colour/convert.h"
#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

template <class Src, class Dst>
void Repack(uint8_t *row, uint32_t width, bool swap) {
    if (swap)
        MapPixels<Src, Dst>(row, row, width, SwapRedBlue);
    else
        MapPixels<Src, Dst>(row, row, width, [](uint32_t v) { return v; });
}

// Red and blue trade places where they stand; the rest of the pixel is
// not touched at all.
template <class Layout>
void SwapInPlace(uint8_t *row, uint32_t width) {
    constexpr size_t bytes = size_t(Layout::kBits / 8);
    for (size_t i = 0, end = size_t(width) * bytes; i < end; i += bytes) {
        const uint8_t first = row[i];
        row[i] = row[i + 2];
        row[i + 2] = first;
    }
}

// 24 to 24 or 32 to 32 swaps red and blue (equal orders never get here);
// otherwise the three colour bytes move to the new width, a 32-bit fourth
// byte being 0.
template <class Src>
void ToColourBytes(const ConvertRequest &r, Target target) {
    const bool swap = r.sourceOrder != r.destinationOrder;
    if ((target == Target::Bytes24) == (Src::kBits == 24)) {
        SwapInPlace<Src>(r.buffer, r.width);
        return;
    }
    if (target == Target::Bytes24)
        Repack<Src, Layout24>(r.buffer, r.width, swap);
    else
        Repack<Src, Layout32>(r.buffer, r.width, swap);
}

template <class Src, bool BlueFirst>
void ToGray(const ConvertRequest &r, Target target) {
    auto gray = [](uint32_t v) { return GrayOf(FromBytes(v, BlueFirst)); };
    if (target == Target::Gray8) {
        MapPixels<Src, Layout8>(r.buffer, r.buffer, r.width, gray);
        return;
    }
    const GrayWindow window = DestinationWindow(r);
    uint32_t samples[256];
    for (uint32_t g = 0; g < 256; ++g)
        samples[g] = ShiftLeft(WidenGray(g, window.bits), window.shift);
    auto sample = [&](uint32_t v) { return samples[gray(v)]; };
    if (target == Target::Gray12)
        MapPixels<Src, Layout12>(r.buffer, r.buffer, r.width, sample);
    else
        MapPixels<Src, Layout16>(r.buffer, r.buffer, r.width, sample);
}

template <class Src, bool BlueFirst>
void ToIndex(const ConvertRequest &r) {
    const RGBQUAD *palette = DestinationEntries(r);
    const int32_t count = int32_t(1u << r.destinationBits);
    WithLayout(r.destinationBits, [&](auto dst) {
        MapPixels<Src, decltype(dst)>(
            r.buffer, r.buffer, r.width, [&](uint32_t v) {
                const Rgb c = FromBytes(v, BlueFirst);
                return uint32_t(Z_FindPaletteIndex(palette, count,
                                                   int32_t(c.red),
                                                   int32_t(c.green),
                                                   int32_t(c.blue)));
            });
    });
}

template <class Src, bool BlueFirst>
void To16(const ConvertRequest &r) {
    WithFlag(r.destinationOrder == 1, [&](auto redHigh) {
        MapPixels<Src, Layout16>(r.buffer, r.buffer, r.width, [](uint32_t v) {
            return To555(FromBytes(v, BlueFirst), decltype(redHigh)::value);
        });
    });
}

template <class Src, bool BlueFirst>
void Convert(const ConvertRequest &r, Target target) {
    switch (target) {
    case Target::Gray8:
    case Target::Gray12:
    case Target::Gray16: ToGray<Src, BlueFirst>(r, target); return;
    case Target::Index: ToIndex<Src, BlueFirst>(r); return;
    case Target::Colour16: To16<Src, BlueFirst>(r); return;
    default: ToColourBytes<Src>(r, target); return;
    }
}

} // namespace

int32_t ConvertFromRgb(const ConvertRequest &r) {
    if (!IsColourOrder(r.sourceOrder))
        return Z_ERR_PARAM;
    const Target target = TargetOf(r.destinationBits, r.options);
    if (target == Target::Invalid)
        return Z_ERR_PARAM;
    if (IsColourTarget(target) && !IsColourOrder(r.destinationOrder))
        return Z_ERR_PARAM;
    const bool sameWidth =
        (target == Target::Bytes24 && r.sourceBits == 24) ||
        (target == Target::Bytes32 && r.sourceBits == 32);
    if (sameWidth && r.sourceOrder == r.destinationOrder)
        return Z_OK;
    WithFlag(r.sourceOrder == 1, [&](auto blueFirst) {
        if (r.sourceBits == 24)
            Convert<Layout24, decltype(blueFirst)::value>(r, target);
        else
            Convert<Layout32, decltype(blueFirst)::value>(r, target);
    });
    return Z_OK;
}

} // namespace ztk

// The converter for 16-bit sources: gray samples (CONVERT_SRC_GRAY) or 5-5-5
// colour. Unlike the 12-bit converter this one keeps a gray table passed
// as the source palette even when the destination is gray itself, and its
// window rules differ accordingly; both asymmetries are long-standing
// behaviour that callers see.
#include "colour/convert.h"
#include "colour/match.h"
#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

bool Has(const ConvertRequest &r, uint32_t option) {
    return (r.options & option) != 0;
}

int32_t SourceWindowLimit(const ConvertRequest &r) {
    const int32_t bits = r.destinationBits;
    if (r.sourcePalette != nullptr)
        return 16;
    if (bits >= 1 && bits <= 15)
        return bits;
    if (bits == 16)
        return Has(r, CONVERT_DST_GRAY) ? 16 : 8;
    return 8;
}

// The first rule that applies decides the window.
GrayWindow WindowFor(const ConvertRequest &r) {
    const bool srcGray = Has(r, CONVERT_SRC_GRAY);
    const bool dstGray = Has(r, CONVERT_DST_GRAY);
    const int32_t bits = r.destinationBits;
    if (srcGray && Has(r, CONVERT_SRC_WINDOW))
        return GrayWindowOf(16, SourceWindowLimit(r), r.lowBit, r.highBit);
    if (dstGray && Has(r, CONVERT_DST_WINDOW))
        return GrayWindowOf(bits, r.sourcePalette != nullptr ? 8 : bits,
                            r.lowBit, r.highBit);
    if (srcGray && r.sourcePalette == nullptr)
        return GrayWindowOf(16, dstGray ? bits : 8, -1, -1);
    if (dstGray)
        return GrayWindowOf(bits, 8, -1, -1);
    if (srcGray)
        return GrayWindowOf(16, 16, -1, -1);
    return GrayWindowOf(16, 8, -1, -1);
}

uint32_t Rewindowed(uint32_t sample, const GrayWindow &window) {
    return ShiftLeft(ShiftRight(sample, 16 - int64_t(window.bits)),
                     window.shift);
}

template <class Dst, class Fn>
void Map(const ConvertRequest &r, Fn &&fn) {
    MapPixels<Layout16, Dst>(r.buffer, r.buffer, r.width, fn);
}

uint32_t FindIndex(const RGBQUAD *palette, int32_t count, const Rgb &c) {
    return uint32_t(Z_FindPaletteIndex(palette, count, int32_t(c.red),
                                       int32_t(c.green), int32_t(c.blue)));
}

// ---- colour sources ------------------------------------------------------

template <bool RedHigh>
int32_t FromColour(const ConvertRequest &r, Target target,
                   const GrayWindow &window) {
    auto colour = [](uint32_t w) { return From555(w, RedHigh); };
    auto gray = [&](uint32_t w) { return GrayOf(colour(w)); };
    const bool blueFirst = r.destinationOrder == 1;
    uint32_t samples[256];
    for (uint32_t g = 0; g < 256; ++g) {
        // A gray destination without a window takes g * 0x101 at 16 bits
        // but only g * 16 at 12: with the 8-bit window the widening stops
        // at 8 bits and the shift does the rest.
        samples[g] = target == Target::Gray16 && !Has(r, CONVERT_DST_WINDOW)
                         ? g * 0x101u
                         : ShiftLeft(WidenGray(g, window.bits), window.shift);
    }
    switch (target) {
    case Target::Gray8: Map<Layout8>(r, gray); break;
    case Target::Index: {
        const RGBQUAD *palette = DestinationEntries(r);
        const int32_t count = int32_t(1u << r.destinationBits);
        WithLayout(r.destinationBits, [&](auto dst) {
            Map<decltype(dst)>(r, [&](uint32_t w) {
                return FindIndex(palette, count, colour(w));
            });
        });
        break;
    }
    case Target::Gray12:
        Map<Layout12>(r, [&](uint32_t w) { return samples[gray(w)]; });
        break;
    case Target::Gray16:
        Map<Layout16>(r, [&](uint32_t w) { return samples[gray(w)]; });
        break;
    case Target::Colour16:
        // Red and blue trade places; bit 15 and green stay.
        if (r.sourceOrder != r.destinationOrder)
            Map<Layout16>(r, [](uint32_t w) {
                return (w & 0x83E0u) | ((w & 31u) << 10) | ((w >> 10) & 31u);
            });
        break;
    case Target::Bytes24:
        Map<Layout24>(r, [&](uint32_t w) { return ToBytes(colour(w), blueFirst); });
        break;
    default:
        Map<Layout32>(r, [&](uint32_t w) { return ToBytes(colour(w), blueFirst); });
        break;
    }
    return Z_OK;
}

// ---- gray sources ----------------------------------------------------------

uint32_t TableGray(const RGBQUAD *grayLut, uint32_t index) {
    return GrayOf(RgbOf(grayLut[index]));
}

// A table's gray spread over the window's bits and put in its place.
GrayTable SpreadTable(const GrayWindow &window) {
    return TabulateGray([&](uint32_t g) {
        return ShiftLeft(SpreadGray(g, window.bits), window.shift);
    });
}

void GrayTo12(const ConvertRequest &r, const GrayWindow &window) {
    const RGBQUAD *lut = r.sourcePalette;
    const bool dstWindow = Has(r, CONVERT_DST_WINDOW);
    if (Has(r, CONVERT_SRC_WINDOW)) {
        Gray16To12(r.width, lut, r.buffer, r.buffer, window.mask,
                   uint32_t(window.shift));
    } else if (lut == nullptr && !dstWindow) {
        Map<Layout12>(r, [](uint32_t s) { return s >> 4; });
    } else if (lut == nullptr) {
        Map<Layout12>(r, [&](uint32_t s) { return Rewindowed(s, window); });
    } else if (!dstWindow) {
        // This one path weighs green and blue the other way round; output
        // made through it has always looked like this.
        const GrayTable spread =
            TabulateGray([](uint32_t g) { return g * 273u / 17u; });
        Map<Layout12>(r, [&](uint32_t s) {
            const RGBQUAD &e = lut[s];
            return spread[(2u * e.rgbRed + e.rgbGreen + 5u * e.rgbBlue + 4u) >> 3];
        });
    } else {
        const GrayTable spread = SpreadTable(window);
        Map<Layout12>(r, [&](uint32_t s) { return spread[TableGray(lut, s)]; });
    }
}

void GrayTo16(const ConvertRequest &r, const GrayWindow &window) {
    const RGBQUAD *lut = r.sourcePalette;
    const bool srcWindow = Has(r, CONVERT_SRC_WINDOW);
    if (lut == nullptr && srcWindow) {
        const Divider byMask(window.mask);
        Map<Layout16>(r, [&](uint32_t s) {
            return byMask(Windowed(s, window) * 0xFFFFu);
        });
    } else if (lut == nullptr && Has(r, CONVERT_DST_WINDOW)) {
        Map<Layout16>(r, [&](uint32_t s) { return Rewindowed(s, window); });
    } else if (lut != nullptr && !srcWindow) {
        const GrayTable spread = SpreadTable(window);
        Map<Layout16>(r, [&](uint32_t s) { return spread[TableGray(lut, s)]; });
    } else if (lut != nullptr) {
        Map<Layout16>(r, [&](uint32_t s) {
            return TableGray(lut, Windowed(s, window)) * 0x101u;
        });
    }
}

void GrayToIndex(const ConvertRequest &r, const GrayWindow &window) {
    const RGBQUAD *lut = r.sourcePalette;
    const RGBQUAD *palette = DestinationEntries(r);
    const int32_t count = int32_t(1u << r.destinationBits);
    uint8_t map[256] = {};
    if (lut == nullptr)
        BuildPaletteMap(nullptr, 256, palette, count, map);
    WithLayout(r.destinationBits, [&](auto dst) {
        Map<decltype(dst)>(r, [&](uint32_t s) -> uint32_t {
            const uint32_t v = Windowed(s, window);
            if (lut == nullptr)
                return map[MapIndex(v)];
            return FindIndex(palette, count, RgbOf(lut[v]));
        });
    });
}

template <class Dst, class Pack, class FromLevel>
void GrayToColour(const ConvertRequest &r, const GrayWindow &window, Pack pack,
                  FromLevel fromLevel) {
    const RGBQUAD *lut = r.sourcePalette;
    if (lut != nullptr)
        Map<Dst>(r, [&](uint32_t s) {
            return pack(RgbOf(lut[Windowed(s, window)]));
        });
    else
        Map<Dst>(r, [&](uint32_t s) { return fromLevel(Windowed(s, window)); });
}

int32_t FromGray(const ConvertRequest &r, Target target,
                 const GrayWindow &window) {
    const bool blueFirst = r.destinationOrder == 1;
    auto bytes = [blueFirst](const Rgb &c) { return ToBytes(c, blueFirst); };
    switch (target) {
    case Target::Gray8:
        Gray16To8(r.width, r.sourcePalette, r.buffer, r.buffer, window.mask,
                  uint32_t(window.shift));
        break;
    case Target::Index: GrayToIndex(r, window); break;
    case Target::Gray12: GrayTo12(r, window); break;
    case Target::Gray16: GrayTo16(r, window); break;
    case Target::Colour16:
        GrayToColour<Layout16>(
            r, window, [blueFirst](const Rgb &c) { return To555(c, blueFirst); },
            Gray555);
        break;
    case Target::Bytes24:
        GrayToColour<Layout24>(r, window, bytes, GrayBytes);
        break;
    default:
        GrayToColour<Layout32>(r, window, bytes, GrayBytes);
        break;
    }
    return Z_OK;
}

} // namespace

int32_t ConvertFromWord16(const ConvertRequest &r) {
    if (r.sourceOrder < 0 || r.sourceOrder > 2)
        return Z_ERR_PARAM;
    const Target target = TargetOf(r.destinationBits, r.options);
    if (target == Target::Invalid)
        return Z_ERR_PARAM;
    const bool srcGray = Has(r, CONVERT_SRC_GRAY);
    // A gray source writing to 16-bit colour places channels without
    // looking at whether its order is a colour order.
    const bool orderMatters = target == Target::Bytes24 ||
                              target == Target::Bytes32 ||
                              (target == Target::Colour16 && !srcGray);
    if (orderMatters && !IsColourOrder(r.destinationOrder))
        return Z_ERR_PARAM;
    const GrayWindow window = Readable(WindowFor(r));
    // Gray reaches 24 and 32 bits only when nothing else is asked for; any
    // other option bit sends the samples down the colour path.
    const bool colourBytes = (target == Target::Bytes24 ||
                              target == Target::Bytes32) &&
                             r.options != CONVERT_SRC_GRAY;
    if (srcGray && !colourBytes)
        return FromGray(r, target, window);
    if (r.sourceOrder == 1)
        return FromColour<true>(r, target, window);
    return FromColour<false>(r, target, window);
}

} // namespace ztk


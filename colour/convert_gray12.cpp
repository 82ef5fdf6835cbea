// The converter for 12-bit gray sources. A sample is windowed first; what
// the window is depends on which side has one and on how many bits the
// destination can use. A gray table passed as the source palette turns
// samples into colours, except where the destination is itself 12- or
// 16-bit gray.
#include "colour/convert.h"
#include "colour/match.h"
#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// How many bits of a sample the destination can use.
int32_t LimitFor(const ConvertRequest &r, const RGBQUAD *grayLut) {
    const int32_t bits = r.destinationBits;
    if (grayLut != nullptr)
        return 12;
    if (bits >= 1 && bits <= 15)
        return bits;
    if (bits == 16)
        return (r.options & CONVERT_DST_GRAY) ? 16 : 8;
    return 8;
}

GrayWindow WindowFor(const ConvertRequest &r, int32_t limit) {
    if (r.options & CONVERT_SRC_WINDOW)
        return GrayWindowOf(12, limit, r.lowBit, r.highBit);
    if (r.options & CONVERT_DST_WINDOW)
        return GrayWindowOf(r.destinationBits, 12, r.lowBit, r.highBit);
    return GrayWindowOf(12, limit, -1, -1);
}

// A sample's top `count` bits placed at the destination window.
uint32_t Rewindowed(uint32_t sample, const GrayWindow &window) {
    return ShiftLeft(ShiftRight(sample, 12 - int64_t(window.bits)),
                     window.shift);
}

template <class Dst, class Fn>
void Map(const ConvertRequest &r, Fn &&fn) {
    MapPixels<Layout12, Dst>(r.buffer, r.buffer, r.width, fn);
}

// Without a table only the darkest part of the gray map is reached below
// 8 bits, as the level is not stretched to 0..255 first.
void ToIndex(const ConvertRequest &r, const RGBQUAD *grayLut,
             const GrayWindow &window) {
    const RGBQUAD *palette = DestinationEntries(r);
    const int32_t count = int32_t(1u << r.destinationBits);
    uint8_t map[256] = {};
    if (grayLut == nullptr)
        BuildPaletteMap(nullptr, 256, palette, count, map);
    WithLayout(r.destinationBits, [&](auto dst) {
        Map<decltype(dst)>(r, [&](uint32_t s) -> uint32_t {
            const uint32_t v = Windowed(s, window);
            if (grayLut == nullptr)
                return map[MapIndex(v)];
            const Rgb c = RgbOf(grayLut[v]);
            return uint32_t(Z_FindPaletteIndex(palette, count, int32_t(c.red),
                                               int32_t(c.green),
                                               int32_t(c.blue)));
        });
    });
}

int32_t ToGray12(const ConvertRequest &r, const GrayWindow &window) {
    if (r.options & CONVERT_SRC_WINDOW)
        Map<Layout12>(r, [&](uint32_t s) { return Windowed(s, window); });
    else if (r.options & CONVERT_DST_WINDOW)
        Map<Layout12>(r, [&](uint32_t s) { return Rewindowed(s, window); });
    return Z_OK;
}

void ToGray16(const ConvertRequest &r, const GrayWindow &window) {
    if (r.options & CONVERT_DST_WINDOW)
        Map<Layout16>(r, [&](uint32_t s) { return Rewindowed(s, window); });
    else
        Gray12To16(r.width, nullptr, r.buffer, r.buffer, window.mask,
                   uint32_t(window.shift));
}

// Colour targets: the table's entry, or the level in every channel, not
// rescaled when the window is narrower than a byte.
template <class Dst, class Pack, class FromLevel>
void ToColour(const ConvertRequest &r, const RGBQUAD *grayLut,
              const GrayWindow &window, Pack pack, FromLevel fromLevel) {
    if (grayLut != nullptr)
        Map<Dst>(r, [&](uint32_t s) {
            return pack(RgbOf(grayLut[Windowed(s, window)]));
        });
    else
        Map<Dst>(r, [&](uint32_t s) { return fromLevel(Windowed(s, window)); });
}

} // namespace

int32_t ConvertFromGray12(const ConvertRequest &r) {
    const Target target = TargetOf(r.destinationBits, r.options);
    if (target == Target::Invalid)
        return Z_ERR_PARAM;
    if (IsColourTarget(target) && !IsColourOrder(r.destinationOrder))
        return Z_ERR_PARAM;
    const RGBQUAD *grayLut = r.sourcePalette;
    if ((r.options & CONVERT_DST_GRAY) &&
        (r.destinationBits == 12 || r.destinationBits == 16))
        grayLut = nullptr;
    const GrayWindow window = Readable(WindowFor(r, LimitFor(r, grayLut)));
    const bool blueFirst = r.destinationOrder == 1;
    auto bytes = [blueFirst](const Rgb &c) { return ToBytes(c, blueFirst); };
    switch (target) {
    case Target::Gray8:
        Gray12To8(r.width, grayLut, r.buffer, r.buffer, window.mask,
                  uint32_t(window.shift));
        return Z_OK;
    case Target::Index: ToIndex(r, grayLut, window); return Z_OK;
    case Target::Gray12: return ToGray12(r, window);
    case Target::Gray16: ToGray16(r, window); return Z_OK;
    case Target::Colour16:
        ToColour<Layout16>(
            r, grayLut, window,
            [blueFirst](const Rgb &c) { return To555(c, blueFirst); }, Gray555);
        return Z_OK;
    case Target::Bytes24:
        ToColour<Layout24>(r, grayLut, window, bytes, GrayBytes);
        return Z_OK;
    default:
        ToColour<Layout32>(r, grayLut, window, bytes, GrayBytes);
        return Z_OK;
    }
}

} // namespace ztk

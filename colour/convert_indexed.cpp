// The converter for palette sources of 1 to 8 bits and for 8-bit gray
// samples without a palette (depth 0).
//
// A source pixel can take at most 256 values, so the destination pixel of
// every value is worked out once per call and the row becomes one table
// read a pixel, whatever the two layouts are.
#include <cstring>

#include "colour/convert.h"
#include "colour/match.h"
#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// A 2-bit source without a palette has always read these four entries,
// not the four grays of the fixed 2-bit set; callers depend on it.
constexpr RGBQUAD kNullPalette2[4] = {
    {0, 0, 0, 0}, {255, 255, 255, 0}, {0, 0, 0, 0}, {85, 85, 85, 0}};

// The source's entries; null for gray samples, which have none.
const RGBQUAD *SourceEntries(const ConvertRequest &r) {
    if (r.sourceBits == 0)
        return nullptr;
    if (r.sourcePalette != nullptr)
        return r.sourcePalette;
    if (r.sourceBits == 2)
        return kNullPalette2;
    return Z_IntGetFixedPalette(r.sourceBits);
}

// The colour of each source value: a palette entry, or a gray level.
struct SourceColours {
    const RGBQUAD *entries;
    uint32_t count;
    Rgb operator()(uint32_t i) const {
        return entries != nullptr ? RgbOf(entries[i]) : Rgb{i, i, i};
    }
    uint32_t Gray(uint32_t i) const {
        return entries != nullptr ? GrayOf(RgbOf(entries[i])) : i;
    }
};

// Palette to palette through the byte map. False when the two palettes are
// the same at the same depth, in which case there is nothing to do.
bool BuildIndexTable(const ConvertRequest &r, const SourceColours &source,
                     uint32_t *values) {
    const RGBQUAD *destination = DestinationEntries(r);
    const uint32_t destinationCount = 1u << r.destinationBits;
    if (r.sourceBits == r.destinationBits &&
        std::memcmp(source.entries, destination,
                    source.count * sizeof(RGBQUAD)) == 0)
        return false;
    uint8_t map[256] = {};
    BuildPaletteMap(source.entries, int32_t(source.count), destination,
                    int32_t(destinationCount), map);
    for (uint32_t i = 0; i < source.count; ++i)
        values[i] = map[i] & (destinationCount - 1u);
    return true;
}

// The destination pixel of every source value; false when the row stays
// as it is.
bool BuildTable(const ConvertRequest &r, Target target,
                const SourceColours &source, uint32_t *values) {
    const bool blueFirst = r.destinationOrder == 1;
    const GrayWindow window = DestinationWindow(r);
    for (uint32_t i = 0; i < source.count; ++i) {
        switch (target) {
        case Target::Gray8: values[i] = source.Gray(i); break;
        case Target::Gray12:
        case Target::Gray16:
            values[i] = ShiftLeft(WidenGray(source.Gray(i), window.bits),
                                  window.shift);
            break;
        case Target::Colour16: values[i] = To555(source(i), blueFirst); break;
        case Target::Bytes24:
        case Target::Bytes32: values[i] = ToBytes(source(i), blueFirst); break;
        default: break;
        }
    }
    if (target == Target::Index)
        return BuildIndexTable(r, source, values);
    return !(target == Target::Gray8 && source.entries == nullptr);
}

} // namespace

int32_t ConvertFromIndexed(const ConvertRequest &r) {
    const Target target = TargetOf(r.destinationBits, r.options);
    if (target == Target::Invalid)
        return Z_ERR_PARAM;
    if (IsColourTarget(target) && !IsColourOrder(r.destinationOrder))
        return Z_ERR_PARAM;
    const SourceColours source{SourceEntries(r),
                               r.sourceBits == 0 ? 256u : 1u << r.sourceBits};
    uint32_t values[256] = {};
    if (!BuildTable(r, target, source, values))
        return Z_OK;
    WithLayout(r.sourceBits, [&](auto src) {
        WithLayout(r.destinationBits, [&](auto dst) {
            MapPixels<decltype(src), decltype(dst)>(
                r.buffer, r.buffer, r.width,
                [&values](uint32_t v) { return values[v]; });
        });
    });
    return Z_OK;
}

} // namespace ztk

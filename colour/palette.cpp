// Palette services: the crossing between the toolkit's RGBQUAD arrays and
// the platform's logical palettes, copies of palettes, gray palettes, the
// system palette and the comparison of a palette with an array.
//
// The fixed colour sets and the calls that hand them out live in
// fixed_palette.cpp.
#include <cstring>

#include "core/guards.h"
#include "core/os/os.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// No call here accepts more entries than this; working arrays are this
// size, so a larger count is cut rather than overrunning them.
constexpr uint32_t kMaxEntries = 256;

uint32_t BoundCount(int32_t count) {
    if (count <= 0)
        return 0;
    return uint32_t(count) < kMaxEntries ? uint32_t(count) : kMaxEntries;
}

// The reserved byte rides in the platform's flags byte, so a value kept
// there survives a trip through a logical palette.
os::PaletteEntry ToPlatform(const RGBQUAD &quad) {
    return os::PaletteEntry{quad.rgbRed, quad.rgbGreen, quad.rgbBlue,
                            quad.rgbReserved};
}

RGBQUAD FromPlatform(const os::PaletteEntry &entry) {
    RGBQUAD quad{};
    quad.rgbBlue = entry.blue;
    quad.rgbGreen = entry.green;
    quad.rgbRed = entry.red;
    quad.rgbReserved = entry.flags;
    return quad;
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

ZHPALETTE ZAPI Z_CreatePalette(const RGBQUAD *entries, int32_t count) {
    os::PaletteEntry platform[kMaxEntries];
    const uint32_t n = entries != nullptr ? BoundCount(count) : 0;
    for (uint32_t i = 0; i < n; ++i)
        platform[i] = ToPlatform(entries[i]);
    return os::PaletteCreate(platform, n);
}

int32_t ZAPI Z_GetPaletteEntries(ZHPALETTE palette, int32_t first,
                                 int32_t count, RGBQUAD *entries) {
    os::PaletteEntry platform[kMaxEntries];
    const uint32_t wanted = BoundCount(count);
    if (palette == nullptr || entries == nullptr || wanted == 0)
        return 0;
    const uint32_t got =
        os::PaletteGetEntries(palette, uint32_t(first), wanted, platform);
    for (uint32_t i = 0; i < got; ++i)
        entries[i] = FromPlatform(platform[i]);
    return int32_t(got);
}

int32_t ZAPI Z_SetPaletteEntries(ZHPALETTE palette, int32_t first,
                                 int32_t count, const RGBQUAD *entries) {
    os::PaletteEntry platform[kMaxEntries];
    const uint32_t n = entries != nullptr ? BoundCount(count) : 0;
    for (uint32_t i = 0; i < n; ++i)
        platform[i] = ToPlatform(entries[i]);
    return int32_t(os::PaletteSetEntries(palette, uint32_t(first), n, platform));
}

int32_t ZAPI Z_GetPaletteSize(ZHPALETTE palette) {
    if (palette == nullptr)
        return 0;
    // The platform keeps the count in 16 bits.
    return int32_t(os::PaletteEntryCount(palette) & 0xFFFFu);
}

ZHPALETTE ZAPI Z_CreateSystemPalette(void) {
    if ((os::ScreenCaps(os::kCapRasterCaps) & os::kRasterCapsPalette) == 0)
        return nullptr;
    os::PaletteEntry platform[kMaxEntries];
    const uint32_t n = BoundCount(os::ScreenCaps(os::kCapSizePalette));
    const uint32_t got = os::SystemPaletteEntries(0, n, platform);
    // Entries the device did not report are left black rather than unset.
    for (uint32_t i = got; i < n; ++i)
        platform[i] = os::PaletteEntry{0, 0, 0, 0};
    // The system's entries are already in platform order.
    return os::PaletteCreate(platform, n);
}

ZHPALETTE ZAPI Z_DupPalette(ZHPALETTE palette) {
    const int32_t size = Z_GetPaletteSize(palette);
    if (size == 0)
        return nullptr;
    OsBuffer<RGBQUAD> entries;
    if (!entries.Allocate(uint32_t(size), true))
        return nullptr;
    Z_GetPaletteEntries(palette, 0, size, entries.get());
    return Z_CreatePalette(entries.get(), size);
}

ZHPALETTE ZAPI Z_CreateGrayPalette(int32_t bitsPerPixel) {
    uint32_t bits = uint32_t(bitsPerPixel);
    if (bits == 0)
        bits = 8;
    // Above 8 bits the ramp would not fit a palette (and at 32 the shift
    // would leave one entry and a division by zero), so there is none.
    if (bits > 8)
        return nullptr;
    const uint32_t n = 1u << bits;
    OsBuffer<RGBQUAD> ramp;
    if (!ramp.Allocate(n, true))
        return nullptr;
    for (uint32_t i = 0; i < n; ++i) {
        // Each level computed on its own and truncated: 0, 36, 72, 109...
        // at 3 bits, which is not the rounded ramp of the fixed sets.
        const auto v = uint8_t((i * 255u) / (n - 1u));
        ramp[i].rgbBlue = v;
        ramp[i].rgbGreen = v;
        ramp[i].rgbRed = v;
        ramp[i].rgbReserved = 0;
    }
    return Z_CreatePalette(ramp.get(), int32_t(n));
}

int32_t ZAPI Z_CompareHandleToPalette(ZHPALETTE palette,
                                      const RGBQUAD *entries, int32_t count) {
    if (entries == nullptr)
        count = 0;
    RGBQUAD held[kMaxEntries];
    const int32_t got = Z_GetPaletteEntries(palette, 0, count, held);
    // Nothing to compare counts as a match; so does a shorter palette that
    // agrees with the start of the array. Reserved bytes don't matter.
    for (int32_t i = 0; i < got; ++i) {
        if (held[i].rgbRed != entries[i].rgbRed ||
            held[i].rgbGreen != entries[i].rgbGreen ||
            held[i].rgbBlue != entries[i].rgbBlue)
            return 0;
    }
    return 1;
}

} // extern "C"

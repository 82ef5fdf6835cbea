// The lookup of a fixed colour set by depth.
#include "colour/tables/fixed_palettes.h"

namespace ztk::tables {

static_assert(FixedPalette8[1].rgbBlue == 85 && FixedPalette8[4].rgbGreen == 36,
              "a channel's value is the level its index bits select");

const RGBQUAD *FixedPalette(uint32_t bitsPerPixel) {
    switch (bitsPerPixel) {
    case 1: return FixedPalette1.entries;
    case 2: return FixedPalette2.entries;
    case 3: return FixedPalette3.entries;
    case 4: return FixedPalette4.entries;
    case 5: return FixedPalette5.entries;
    case 6: return FixedPalette6.entries;
    case 7: return FixedPalette7.entries;
    case 8: return FixedPalette8.entries;
    default: return nullptr;
    }
}

} // namespace ztk::tables

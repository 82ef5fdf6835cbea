// The fixed colour sets as callers see them: copied into an array, pointed
// at, or made into a logical palette, for a depth or for a bitmap's colour
// count. Depth 0 means a different thing to each call, and each meaning
// is kept: a 256-level gray ramp when copying, one bit when creating, and
// nothing when pointing.
#include "colour/tables/fixed_palettes.h"
#include "ztkrn.h"

using namespace ztk;

extern "C" {

int32_t ZAPI Z_GetFixedPalette(RGBQUAD *entries, int32_t bitsPerPixel) {
    const uint32_t bits = uint32_t(bitsPerPixel);
    if (bits > 8 || entries == nullptr)
        return Z_ERR_PARAM;
    if (bits == 0) {
        for (uint32_t i = 0; i < 256; ++i)
            entries[i] = RGBQUAD{uint8_t(i), uint8_t(i), uint8_t(i), 0};
        return Z_OK;
    }
    const RGBQUAD *table = tables::FixedPalette(bits);
    for (uint32_t i = 0; i < (1u << bits); ++i)
        entries[i] = table[i];
    return Z_OK;
}

const RGBQUAD *ZAPI Z_IntGetFixedPalette(int32_t bitsPerPixel) {
    return tables::FixedPalette(uint32_t(bitsPerPixel));
}

ZHPALETTE ZAPI Z_CreateFixedPalette(int32_t bitsPerPixel) {
    uint32_t bits = uint32_t(bitsPerPixel);
    if (bits > 8)
        return nullptr;
    if (bits == 0)
        bits = 1;
    return Z_CreatePalette(tables::FixedPalette(bits), int32_t(1u << bits));
}

int32_t ZAPI Z_CreateBitmapFixedPalette(BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return 0;
    // The colour count picks the set, whatever the depth says.
    for (uint32_t bits = 1; bits <= 8; ++bits) {
        if (bitmap->ColorCount == int32_t(1u << bits)) {
            bitmap->Palette =
                Z_CreatePalette(tables::FixedPalette(bits), bitmap->ColorCount);
            return 1;
        }
    }
    return 0;
}

} // extern "C"

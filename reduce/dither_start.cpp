// Starting and stopping a dither: the state is prepared in full (palette
// kind, choosable entries, error rows, source palette, gray window) before
// it is hung on the bitmap, so a refused start leaves the bitmap as it was.
//
// The row loop is in dither_line.cpp.
#include <cstring>

#include "colour/colour.h"
#include "colour/tables/fixed_palettes.h"
#include "core/guards.h"
#include "reduce/dither.h"
#include "reduce/tables/dither_tables.h"
#include "ztkrn.h"

namespace ztk::dither {
namespace {

constexpr bool IsSourceDepth(int32_t bits) {
    return (bits >= 1 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 ||
           bits == 32;
}

// The smallest depth whose fixed set holds `colors` entries.
constexpr uint32_t DepthForColors(uint32_t colors) {
    uint32_t bits = 1;
    while ((1u << bits) < colors)
        ++bits;
    return bits;
}

constexpr int32_t KindOfFixedDepth(uint32_t bits) { return int32_t(bits) + 1; }

bool SameEntries(const RGBQUAD *a, const RGBQUAD *b, uint32_t colors) {
    return std::memcmp(a, b, size_t(colors) * sizeof(RGBQUAD)) == 0;
}

// Settles the palette kind and the palette the state works from. Only the
// entries passed are compared, so a short head of a fixed set is served as
// the whole set; the cube is recognised only where 129 to 256 colours are
// asked for.
void ChoosePaletteKind(DitherState *state, const RGBQUAD *&palette,
                       uint32_t *matchTable) {
    const uint32_t colors = state->TargetColors;
    const uint32_t bits = DepthForColors(colors);
    const RGBQUAD *fixed = tables::FixedPalette(bits);
    if (matchTable != nullptr) {
        state->PaletteKind = KindCallerTable;
        state->MatchTable = matchTable;
        if (palette == nullptr)
            palette = fixed;
        return;
    }
    if (palette == nullptr) {
        palette = fixed;
        state->PaletteKind = KindOfFixedDepth(bits);
        return;
    }
    if (SameEntries(palette, fixed, colors)) {
        state->PaletteKind = KindOfFixedDepth(bits);
        return;
    }
    if (bits == 8 && SameEntries(palette, tables::CubePalette216.entries, colors)) {
        state->PaletteKind = KindCube;
        return;
    }
    state->PaletteKind = KindOwnedTable;
}

// Entries flagged in bit 0 or 1 of the reserved byte may never be chosen;
// the rest keep their position in the palette as given in the reserved
// byte, which is what gets emitted.
void BuildMatchPalette(DitherState *state, const RGBQUAD *palette) {
    uint32_t taken = 0;
    for (uint32_t i = 0; i < state->TargetColors; ++i) {
        if ((palette[i].rgbReserved & 3u) != 0)
            continue;
        RGBQUAD &entry = state->MatchPalette[taken++];
        entry = palette[i];
        entry.rgbReserved = uint8_t(i);
    }
    state->MatchCount = taken;
}

bool AllocateErrorRows(DitherState *state, int32_t width) {
    const RowShape shape = ShapeOfMethod(uint32_t(state->Method));
    state->ErrorRowCount = shape.rows;
    if (shape.rows == 0)
        return true;
    const uint64_t length = uint64_t(width < 0 ? 0 : width) + 2u * shape.margin;
    if (length > 0xFFFFFFFFu)
        return false;
    state->ErrorRowLength = uint32_t(length);
    int32_t **channels[3] = {state->RedRows, state->GreenRows, state->BlueRows};
    for (uint32_t row = 0; row < shape.rows; ++row) {
        for (int32_t **rows : channels) {
            OsBuffer<int32_t> buffer;
            if (!buffer.Allocate(state->ErrorRowLength, true))
                return false;
            rows[row] = buffer.Release();
        }
    }
    return true;
}

// The palette's own colours go in first, so they are found without a
// search; of several entries with one key the first keeps it.
void SeedMatchTable(DitherState *state) {
    const bool useMatch = state->MatchCount != 0;
    const RGBQUAD *entries = useMatch ? state->MatchPalette : state->TargetPalette;
    const uint32_t count = useMatch ? state->MatchCount : state->TargetColors;
    for (uint32_t i = 0; i < count; ++i) {
        const RGBQUAD &e = entries[i];
        uint32_t &word = state->MatchTable[ColorKey15(e.rgbRed, e.rgbGreen, e.rgbBlue)];
        if (word == 0)
            word = i + 1;
    }
}

void ReadGrayWindow(DitherState *state, const BitmapHandle *bitmap) {
    const int32_t limit = GrayLutInForce(bitmap) ? bitmap->BitsPerPixel : 8;
    Z_GetGrayParams(bitmap->BitsPerPixel, limit, bitmap->LowBit,
                    bitmap->HighBit, &state->GrayBits, &state->GrayMask,
                    &state->GrayShift);
}

int32_t Prepare(DitherState *state, BitmapHandle *bitmap,
                const RGBQUAD *palette, int32_t colors, int32_t bitsPerPixel,
                uint32_t *matchTable) {
    if (!IsSourceDepth(bitmap->BitsPerPixel))
        return Z_ERR_PARAM;
    state->TargetColors = uint32_t(colors);
    state->SourceBits = bitmap->BitsPerPixel;
    state->OutputBits = bitsPerPixel;
    state->Method = int32_t(bitmap->DitheringMethod);
    if (colors <= 0 || colors > 256)
        return Z_ERR_PARAM;
    ChoosePaletteKind(state, palette, matchTable);
    if (state->PaletteKind == KindOwnedTable) {
        state->MatchTable = static_cast<uint32_t *>(
            Z_OsAllocInit(kMatchTableEntries * sizeof(uint32_t), 1));
        if (state->MatchTable == nullptr)
            return Z_ERR_NOMEM;
    }
    if (state->PaletteKind <= KindCallerTable)
        BuildMatchPalette(state, palette);
    if (bitmap->DitheringMethod > 8)
        return Z_ERR_PARAM;
    if (bitmap->BitsPerPixel <= 8 && bitmap->ColorCount > 0) {
        const int32_t count = bitmap->ColorCount > 256 ? 256 : bitmap->ColorCount;
        Z_GetPaletteEntries(bitmap->Palette, 0, count, state->SourcePalette);
    }
    std::memcpy(state->TargetPalette, palette, size_t(colors) * sizeof(RGBQUAD));
    if (!AllocateErrorRows(state, bitmap->Width))
        return Z_ERR_NOMEM;
    return Z_OK;
}

} // namespace

void FreeState(DitherState *state) {
    if (state == nullptr)
        return;
    if (state->PaletteKind == KindOwnedTable && state->MatchTable != nullptr)
        Z_OsFree(state->MatchTable);
    int32_t **channels[3] = {state->RedRows, state->GreenRows, state->BlueRows};
    for (int32_t **rows : channels) {
        for (uint32_t row = 0; row < 3; ++row) {
            if (rows[row] != nullptr)
                Z_OsFree(rows[row]);
        }
    }
    Z_OsFree(state);
}

} // namespace ztk::dither

using namespace ztk;
using namespace ztk::dither;

extern "C" {

int32_t ZAPI Z_StartDithering(BitmapHandle *bitmap, const RGBQUAD *palette,
                              int32_t colors) {
    if (colors <= 0 || colors > 256)
        return Z_ERR_PARAM;
    return Z_StartDitheringExt(bitmap, palette, colors,
                               int32_t(DepthForColors(uint32_t(colors))),
                               nullptr);
}

int32_t ZAPI Z_StartDitheringExt(BitmapHandle *bitmap, const RGBQUAD *palette,
                                 int32_t colors, int32_t bitsPerPixel,
                                 uint32_t *matchTable) {
    // A missing record is refused rather than followed.
    if (bitmap == nullptr)
        return Z_ERR_PARAM;
    auto *state = static_cast<DitherState *>(
        Z_OsAllocInit(sizeof(DitherState), 1));
    if (state == nullptr)
        return Z_ERR_NOMEM;
    const int32_t result =
        Prepare(state, bitmap, palette, colors, bitsPerPixel, matchTable);
    if (result != Z_OK) {
        FreeState(state);
        return result;
    }
    bitmap->DitherState = state;
    if (state->MatchTable != nullptr)
        SeedMatchTable(state);
    if (bitmap->Order == 2)
        ReadGrayWindow(state, bitmap);
    return Z_OK;
}

int32_t ZAPI Z_StopDithering(BitmapHandle *bitmap) {
    if (bitmap == nullptr || bitmap->DitherState == nullptr)
        return Z_OK;
    FreeState(bitmap->DitherState);
    bitmap->DitherState = nullptr;
    return Z_OK;
}

} // extern "C"

// Choosing, once per row, how the source row is decoded and how indices
// are stored, from the state and the source bitmap's order and gray table.
#include "reduce/dither_pixels.h"

namespace ztk::dither {
namespace {

// The levels of a window under 8 bits spread over 0..255.
void FillSpread(DecodeContext &c) {
    for (uint32_t v = 0; v <= c.grayMask && v < 256; ++v)
        c.spread[v] = uint8_t(c.grayMask == 0 ? 0 : v * 255 / c.grayMask);
}

// The three ways of a gray depth: through the gray table, spread from a
// narrow window, or taken as it is.
struct GrayDecoders {
    DecodeFn table, spread, plain;
};
constexpr GrayDecoders kGray12 = {&DecodeGray12<GrayMode::Table>,
                                  &DecodeGray12<GrayMode::Spread>,
                                  &DecodeGray12<GrayMode::Plain>};
constexpr GrayDecoders kGray16 = {&DecodeGray16<GrayMode::Table>,
                                  &DecodeGray16<GrayMode::Spread>,
                                  &DecodeGray16<GrayMode::Plain>};

// A gray table in force wins; otherwise a narrow window is spread. The two
// depths test narrowness differently (12 bits by the mask, 16 bits by the
// bit count), and each keeps its own test.
DecodeFn GrayDecoder(const BitmapHandle *bitmap, const GrayDecoders &ways,
                     DecodeContext &c, bool narrow) {
    if (GrayLutInForce(bitmap)) {
        c.lut = bitmap->GrayLUT;
        c.lutLength = bitmap->GrayLUTLength;
        return ways.table;
    }
    if (narrow) {
        FillSpread(c);
        return ways.spread;
    }
    return ways.plain;
}

} // namespace

DecodeFn ChooseDecoder(const BitmapHandle *bitmap, const DitherState *state,
                       DecodeContext &c) {
    c.palette = state->SourcePalette;
    c.grayMask = state->GrayMask;
    c.grayShift = state->GrayShift;
    if (c.grayShift > 31) {
        // The window lies above every bit of the sample.
        c.grayMask = 0;
        c.grayShift = 0;
    }
    const bool blueFirst = bitmap->Order == 1;
    switch (state->SourceBits) {
    case 1: return &DecodeIndexed<1>;
    case 2: return &DecodeIndexed<2>;
    case 3: return &DecodeIndexed<3>;
    case 4: return &DecodeIndexed<4>;
    case 5: return &DecodeIndexed<5>;
    case 6: return &DecodeIndexed<6>;
    case 7: return &DecodeIndexed<7>;
    case 8: return &DecodeIndexed<8>;
    case 12:
        return GrayDecoder(bitmap, kGray12, c, state->GrayMask < 255);
    case 16:
        if (bitmap->Order == 2)
            return GrayDecoder(bitmap, kGray16, c, state->GrayBits < 8);
        return blueFirst ? &DecodeRgb555<true> : &DecodeRgb555<false>;
    case 24: return blueFirst ? &DecodeBytes<3, true> : &DecodeBytes<3, false>;
    case 32: return blueFirst ? &DecodeBytes<4, true> : &DecodeBytes<4, false>;
    default: return nullptr;
    }
}

StoreFn ChooseStore(int32_t outputBits) {
    switch (outputBits) {
    case 1: return &StorePacked<1>;
    case 2: return &StorePacked<2>;
    case 3: return &StorePacked<3>;
    case 4: return &StorePacked<4>;
    case 5: return &StorePacked<5>;
    case 6: return &StorePacked<6>;
    case 7: return &StorePacked<7>;
    default: return &StoreNothing; // 8 bits are written in place
    }
}

} // namespace ztk::dither

// Dithering one row: the per-row choice of decoder, quantizer and store,
// the row's preparation (error rows stepped up, or the threshold row taken
// and the row counter advanced), and the run over the columns, strictly
// left to right, in runs that fit a small stack buffer.
#include <array>
#include <cstring>

#include "colour/colour.h"
#include "reduce/dither.h"
#include "reduce/dither_kernels.h"
#include "reduce/dither_pixels.h"
#include "reduce/tables/dither_tables.h"
#include "ztkrn.h"

namespace ztk::dither {
namespace {

// Columns converted per step: decoded pixels and indices stay in L1.
constexpr uint32_t kRun = 512;

// ---- choosing the quantizer ------------------------------------------------

template <int32_t Method>
struct KernelOfMethod;
template <> struct KernelOfMethod<DitherFloydSteinberg> { using type = FloydSteinbergKernel; };
template <> struct KernelOfMethod<DitherStucki> { using type = StuckiKernel; };
template <> struct KernelOfMethod<DitherBurkes> { using type = BurkesKernel; };
template <> struct KernelOfMethod<DitherSierra> { using type = SierraKernel; };
template <> struct KernelOfMethod<DitherStevensonArce> { using type = StevensonArceKernel; };
template <> struct KernelOfMethod<DitherJarvisJudiceNinke> { using type = JarvisJudiceNinkeKernel; };

template <int32_t Method, int32_t Kind>
constexpr QuantizeFn QuantizerFor() {
    // The two table kinds differ only in who owns the table.
    constexpr int32_t kind = Kind == KindCallerTable ? KindOwnedTable : Kind;
    if constexpr (Method == DitherNone)
        return &PlainChunk<kind>;
    else if constexpr (Method == DitherOrdered || Method == DitherClustered)
        return &ThresholdChunk<kind>;
    else
        return &DiffuseChunk<typename KernelOfMethod<Method>::type, kind>;
}

using QuantizerRow = std::array<QuantizeFn, kKindCount>;

template <int32_t Method, int32_t... Kind>
constexpr QuantizerRow QuantizersOf(std::integer_sequence<int32_t, Kind...>) {
    return {{QuantizerFor<Method, Kind>()...}};
}

template <int32_t... Method>
constexpr std::array<QuantizerRow, kMethodCount>
QuantizerTable(std::integer_sequence<int32_t, Method...>) {
    return {{QuantizersOf<Method>(std::make_integer_sequence<int32_t, kKindCount>{})...}};
}

constexpr auto kQuantizers =
    QuantizerTable(std::make_integer_sequence<int32_t, kMethodCount>{});

// ---- preparing the row ----------------------------------------------------------

void PrepareDiffusionRow(DitherState *state, QuantizeContext &q) {
    const RowShape shape = ShapeOfMethod(uint32_t(state->Method));
    int32_t *const *rows[3] = {state->RedRows, state->GreenRows, state->BlueRows};
    for (uint32_t ch = 0; ch < 3; ++ch) {
        ChannelRun &c = q.channels[ch];
        for (uint32_t k = 0; k < 3; ++k)
            c.rows[k] = rows[ch][k];
        StartRow(c, shape.rows, shape.margin);
    }
}

void PrepareThresholdRow(DitherState *state, QuantizeContext &q) {
    const tables::ThresholdMatrix &matrix = state->Method == DitherOrdered
                                                ? tables::OrderedMatrix
                                                : tables::ClusteredMatrix;
    q.cells = matrix[state->RowCounter & 7u];
    state->RowCounter += 1;
    for (uint32_t phase = 0; phase < 8; ++phase)
        q.offsets[phase] =
            ThresholdOffset(state->PaletteKind, state->OutputBits, q.cells[phase]);
}

// Columns the row can take: a diffusion row is held to the error rows
// sized at the start, should the width have grown since.
uint32_t ColumnsOf(const BitmapHandle *bitmap, const DitherState *state) {
    uint32_t width = bitmap->Width < 0 ? 0u : uint32_t(bitmap->Width);
    if (IsDiffusion(state->Method)) {
        const uint32_t margins = 2 * ShapeOfMethod(uint32_t(state->Method)).margin;
        const uint32_t room =
            state->ErrorRowLength > margins ? state->ErrorRowLength - margins : 0;
        if (width > room)
            width = room;
    }
    return width;
}

} // namespace
} // namespace ztk::dither

using namespace ztk;
using namespace ztk::dither;

extern "C" {

int32_t ZAPI Z_DitherLine(BitmapHandle *bitmap, const void *source,
                          void *destination) {
    if (bitmap == nullptr || bitmap->DitherState == nullptr ||
        source == nullptr || destination == nullptr)
        return Z_ERR_PARAM;
    DitherState *state = bitmap->DitherState;
    if (state->Method < 0 || state->Method >= kMethodCount ||
        state->PaletteKind < 0 || state->PaletteKind >= kKindCount)
        return Z_ERR_PARAM;

    QuantizeContext q{};
    q.matcher = Matcher{state->MatchTable, state->MatchPalette,
                        int32_t(state->MatchCount)};
    q.target = state->TargetPalette;
    if (IsDiffusion(state->Method))
        PrepareDiffusionRow(state, q);
    else if (state->Method != DitherNone)
        PrepareThresholdRow(state, q);

    const uint32_t width = ColumnsOf(bitmap, state);
    if (width == 0)
        return Z_OK;
    DecodeContext decode{};
    const DecodeFn decodeRun = ChooseDecoder(bitmap, state, decode);
    if (decodeRun == nullptr)
        return Z_ERR_PARAM;
    const QuantizeFn quantize = kQuantizers[size_t(state->Method)][size_t(state->PaletteKind)];
    const StoreFn store = ChooseStore(state->OutputBits);
    const bool inPlace = state->OutputBits == 8;

    const auto *in = static_cast<const uint8_t *>(source);
    auto *out = static_cast<uint8_t *>(destination);
    Px pixels[kRun];
    uint8_t indices[kRun];
    for (uint32_t x0 = 0; x0 < width; x0 += kRun) {
        const uint32_t count = width - x0 < kRun ? width - x0 : kRun;
        decodeRun(decode, in, x0, count, pixels);
        quantize(q, pixels, inPlace ? out + x0 : indices, x0, count);
        store(out, x0, count, indices);
    }
    return Z_OK;
}

} // extern "C"

// The conversion frame: Z_ConvertBufferExt checks and normalises a request
// and hands it to the converter of its source depth; Z_ConvertBuffer is the
// short form and Z_CalcConvertSize sizes the buffer. Also the destination
// palette and window that several converters share.
#include "colour/convert.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// A window that covers the whole sample is no window at all.
bool IsWholeSample(int32_t bits, int32_t lowBit, int32_t highBit) {
    return lowBit <= 0 && (highBit < 0 || highBit == bits - 1);
}

uint32_t ClearWholeWindows(uint32_t options, const ConvertRequest &r) {
    if ((options & CONVERT_SRC_WINDOW) &&
        IsWholeSample(r.sourceBits, r.lowBit, r.highBit))
        options &= ~CONVERT_SRC_WINDOW;
    if ((options & CONVERT_DST_WINDOW) &&
        IsWholeSample(r.destinationBits, r.lowBit, r.highBit))
        options &= ~CONVERT_DST_WINDOW;
    return options;
}

bool OptionsAreConsistent(uint32_t options, int32_t sourceBits,
                          int32_t destinationBits) {
    const bool srcGray = (options & CONVERT_SRC_GRAY) != 0;
    const bool dstGray = (options & CONVERT_DST_GRAY) != 0;
    const bool srcWindow = (options & CONVERT_SRC_WINDOW) != 0;
    const bool dstWindow = (options & CONVERT_DST_WINDOW) != 0;
    return !(srcWindow && dstWindow) && !(srcWindow && !srcGray) &&
           !(dstWindow && !dstGray) && !(sourceBits == 12 && !srcGray) &&
           !(destinationBits == 12 && !dstGray);
}

uint32_t StrideBytes(int32_t width, int32_t bits) {
    const uint32_t depth = bits == 0 ? 8u : uint32_t(bits);
    return ((uint32_t(width) * depth + 31u) >> 3) & ~3u;
}

} // namespace

const RGBQUAD *DestinationEntries(const ConvertRequest &request) {
    if (request.destinationPalette != nullptr)
        return request.destinationPalette;
    return Z_IntGetFixedPalette(request.destinationBits);
}

GrayWindow DestinationWindow(const ConvertRequest &request) {
    const int32_t bits = request.destinationBits;
    if ((request.options & CONVERT_DST_GRAY) == 0 && bits != 12)
        return GrayWindow{bits, 0xFFFFFFFFu, 0};
    if (request.options & CONVERT_DST_WINDOW)
        return GrayWindowOf(bits, bits, request.lowBit, request.highBit);
    return GrayWindow{bits, 0xFFFFFFFFu, 0};
}

} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_ConvertBufferExt(void *buffer, int32_t width, int32_t sourceBits,
                                int32_t destinationBits, int32_t sourceOrder,
                                int32_t destinationOrder,
                                const RGBQUAD *sourcePalette,
                                const RGBQUAD *destinationPalette,
                                uint32_t options, int32_t lowBit,
                                int32_t highBit) {
    // A negative width is outside the contract; it is refused like 0.
    if (buffer == nullptr || width <= 0)
        return Z_ERR_PARAM;
    if (sourceOrder == 2)
        options |= CONVERT_SRC_GRAY;
    if (destinationOrder == 2)
        options |= CONVERT_DST_GRAY;
    if (!OptionsAreConsistent(options, sourceBits, destinationBits))
        return Z_ERR_PARAM;
    ConvertRequest request{static_cast<uint8_t *>(buffer), uint32_t(width),
                           sourceBits, destinationBits, sourceOrder,
                           destinationOrder, sourcePalette, destinationPalette,
                           options, lowBit, highBit};
    request.options = ClearWholeWindows(options, request);
    if (sourceBits >= 0 && sourceBits <= 8)
        return ConvertFromIndexed(request);
    switch (sourceBits) {
    case 12: return ConvertFromGray12(request);
    case 16: return ConvertFromWord16(request);
    case 24:
    case 32: return ConvertFromRgb(request);
    default: return Z_ERR_PARAM;
    }
}

int32_t ZAPI Z_ConvertBuffer(void *buffer, int32_t width, int32_t sourceBits,
                             int32_t destinationBits, int32_t sourceOrder,
                             int32_t destinationOrder,
                             const RGBQUAD *sourcePalette,
                             const RGBQUAD *destinationPalette) {
    const uint32_t options = (sourceOrder == 2 ? CONVERT_SRC_GRAY : 0u) |
                             (destinationOrder == 2 ? CONVERT_DST_GRAY : 0u);
    return Z_ConvertBufferExt(buffer, width, sourceBits, destinationBits,
                              sourceOrder, destinationOrder, sourcePalette,
                              destinationPalette, options, -1, -1);
}

uint32_t ZAPI Z_CalcConvertSize(int32_t sourceWidth, int32_t sourceBits,
                                int32_t destinationWidth,
                                int32_t destinationBits) {
    uint32_t size = StrideBytes(sourceWidth, sourceBits);
    const uint32_t wider = StrideBytes(destinationWidth, sourceBits);
    const uint32_t converted = StrideBytes(destinationWidth, destinationBits);
    if (wider > size)
        size = wider;
    return converted > size ? converted : size;
}

} // extern "C"

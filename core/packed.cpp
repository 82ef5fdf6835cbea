// Runtime-depth pixel access, for the slow single-pixel paths.
#include "core/packed.h"

namespace ztk {

uint32_t GetPixelBits(const uint8_t *row, uint32_t x, int32_t bitsPerPixel) {
    uint32_t value = 0;
    if (!WithDepth(bitsPerPixel, [&](auto depth) {
            value = decltype(depth)::Layout::Get(row, x);
        }))
        value = row[x];
    return value;
}

void PutPixelBits(uint8_t *row, uint32_t x, int32_t bitsPerPixel,
                  uint32_t value) {
    if (!WithDepth(bitsPerPixel, [&](auto depth) {
            decltype(depth)::Layout::Put(row, x, value);
        }))
        row[x] = uint8_t(value);
}

} // namespace ztk

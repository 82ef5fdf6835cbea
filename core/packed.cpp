// Runtime-depth pixel access, for the slow single-pixel paths.
#include "core/packed.h"

namespace ztk {
namespace {

template <int Bits>
uint32_t GetSub(const uint8_t *row, uint32_t x) {
    return GetPacked<Bits>(row, x);
}
template <int Bits>
void PutSub(uint8_t *row, uint32_t x, uint32_t v) {
    PutPacked<Bits>(row, x, v);
}

using GetFn = uint32_t (*)(const uint8_t *, uint32_t);
using PutFn = void (*)(uint8_t *, uint32_t, uint32_t);
constexpr GetFn kGetSub[8] = {nullptr,    GetSub<1>, GetSub<2>, GetSub<3>,
                              GetSub<4>, GetSub<5>, GetSub<6>, GetSub<7>};
constexpr PutFn kPutSub[8] = {nullptr,    PutSub<1>, PutSub<2>, PutSub<3>,
                              PutSub<4>, PutSub<5>, PutSub<6>, PutSub<7>};

} // namespace

uint32_t GetPixelBits(const uint8_t *row, uint32_t x, int32_t bitsPerPixel) {
    if (bitsPerPixel >= 1 && bitsPerPixel <= 7)
        return kGetSub[bitsPerPixel](row, x);
    switch (bitsPerPixel) {
    case 12:
        return Get12(row, x);
    case 16:
        return uint32_t(row[2 * x]) | (uint32_t(row[2 * x + 1]) << 8);
    case 24: {
        const uint8_t *p = row + 3 * x;
        return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
    }
    case 32: {
        const uint8_t *p = row + 4 * x;
        return uint32_t(p[0]) | (uint32_t(p[1]) << 8) |
               (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
    }
    default:
        return row[x];
    }
}

void PutPixelBits(uint8_t *row, uint32_t x, int32_t bitsPerPixel,
                  uint32_t value) {
    if (bitsPerPixel >= 1 && bitsPerPixel <= 7) {
        kPutSub[bitsPerPixel](row, x, value);
        return;
    }
    switch (bitsPerPixel) {
    case 12:
        Put12(row, x, value);
        return;
    case 16:
        row[2 * x] = uint8_t(value);
        row[2 * x + 1] = uint8_t(value >> 8);
        return;
    case 24:
        row[3 * x] = uint8_t(value);
        row[3 * x + 1] = uint8_t(value >> 8);
        row[3 * x + 2] = uint8_t(value >> 16);
        return;
    case 32:
        row[4 * x] = uint8_t(value);
        row[4 * x + 1] = uint8_t(value >> 8);
        row[4 * x + 2] = uint8_t(value >> 16);
        row[4 * x + 3] = uint8_t(value >> 24);
        return;
    default:
        row[x] = uint8_t(value);
        return;
    }
}

} // namespace ztk

// Buffer conversion on every row of a 4000 x 3000 image, each case beside a
// memcpy of the same destination bytes per row in the same run. Rows are
// converted in place in one large image, so both sides stream the whole
// image through memory; the image is left as the previous pass made it,
// which changes no kernel's amount of work.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "ztkrn.h"

namespace {

constexpr int32_t kWidth = 4000;
constexpr int32_t kHeight = 3000;

struct Case {
    int32_t sourceBits, destinationBits, sourceOrder, destinationOrder;
};

uint32_t Stride(const Case &c) {
    return Z_CalcConvertSize(kWidth, c.sourceBits, kWidth, c.destinationBits);
}

uint32_t DestinationBytes(const Case &c) {
    const uint32_t bits = c.destinationBits == 0 ? 8u : uint32_t(c.destinationBits);
    return (uint32_t(kWidth) * bits + 7) / 8;
}

std::vector<uint8_t> Image(uint32_t stride) {
    std::vector<uint8_t> image(size_t(stride) * kHeight);
    uint32_t state = 12345;
    for (auto &byte : image) {
        state = state * 1103515245u + 12345u;
        byte = uint8_t(state >> 16);
    }
    return image;
}

void Convert(benchmark::State &state, Case c) {
    const uint32_t stride = Stride(c);
    std::vector<uint8_t> image = Image(stride);
    for (auto _ : state) {
        for (size_t y = 0; y < size_t(kHeight); ++y)
            Z_ConvertBuffer(&image[y * stride], kWidth, c.sourceBits,
                            c.destinationBits, c.sourceOrder,
                            c.destinationOrder, nullptr, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kHeight *
                            DestinationBytes(c));
}

void Memcpy(benchmark::State &state, Case c) {
    const uint32_t stride = Stride(c);
    const uint32_t bytes = DestinationBytes(c);
    std::vector<uint8_t> from = Image(stride), to(from.size());
    for (auto _ : state) {
        for (size_t y = 0; y < size_t(kHeight); ++y)
            std::memcpy(&to[y * stride], &from[y * stride], bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kHeight * bytes);
}

const Case k24To32{24, 32, 0, 0};
const Case k32To24{32, 24, 0, 0};
const Case kSwap{24, 24, 0, 1};
const Case k24To16{24, 16, 1, 1};
const Case kPaletteTo24{8, 24, 0, 1};
const Case kGray16To8{16, 0, 2, 0};

} // namespace

#define ZTK_CONVERT_BENCH(name, c)                                             \
    BENCHMARK_CAPTURE(Memcpy, name, c)->Unit(benchmark::kMillisecond);         \
    BENCHMARK_CAPTURE(Convert, name, c)->Unit(benchmark::kMillisecond)

ZTK_CONVERT_BENCH(24_to_32, k24To32);
ZTK_CONVERT_BENCH(32_to_24, k32To24);
ZTK_CONVERT_BENCH(swap_red_blue, kSwap);
ZTK_CONVERT_BENCH(24_to_16, k24To16);
ZTK_CONVERT_BENCH(palette8_to_24, kPaletteTo24);
ZTK_CONVERT_BENCH(gray16_to_8, kGray16To8);

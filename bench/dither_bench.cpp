// The dithering engine on a 4000x3000 24-bit image: Floyd-Steinberg and
// ordered dithering to the fixed 256-colour set (no search), and
// Floyd-Steinberg to a scattered 256-entry palette (the match table,
// filled lazily from a fresh start each run), against a memcpy of the same
// source bytes in the same run. Figures are pixels per second.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/bench_support.h"
#include "ztkrn.h"

namespace {

constexpr int32_t kWidth = 4000;
constexpr int32_t kHeight = 3000;
constexpr size_t kRowBytes = size_t(kWidth) * 3;

// A photograph stand-in: smooth gradients with fine noise, so that the
// image holds many colours and every key of the match table is met.
const std::vector<uint8_t> &Image() {
    static const std::vector<uint8_t> image = [] {
        std::vector<uint8_t> out(kRowBytes * kHeight);
        uint32_t state = 99;
        for (int32_t y = 0; y < kHeight; ++y) {
            uint8_t *row = out.data() + size_t(y) * kRowBytes;
            for (int32_t x = 0; x < kWidth; ++x) {
                state = state * 1103515245u + 12345u;
                const uint32_t noise = (state >> 24) & 15u;
                row[3 * x] = uint8_t((x * 255 / kWidth + noise) & 0xFF);
                row[3 * x + 1] = uint8_t((y * 255 / kHeight + noise) & 0xFF);
                row[3 * x + 2] = uint8_t(((x + y) * 255 / (kWidth + kHeight)) ^ noise);
            }
        }
        return out;
    }();
    return image;
}

using ztk::bench::ScatteredPalette;

void DitherImage(benchmark::State &state, uint32_t method,
                 const RGBQUAD *palette) {
    const std::vector<uint8_t> &image = Image();
    std::vector<uint8_t> out(size_t(kWidth) * kHeight);
    BitmapHandle bitmap{};
    Z_InitBitmap(&bitmap, kWidth, kHeight, 24);
    bitmap.DitheringMethod = method;
    for (auto _ : state) {
        if (Z_StartDithering(&bitmap, palette, 256) != Z_OK) {
            state.SkipWithError("start failed");
            break;
        }
        for (int32_t y = 0; y < kHeight; ++y)
            Z_DitherLine(&bitmap, image.data() + size_t(y) * kRowBytes,
                         out.data() + size_t(y) * kWidth);
        Z_StopDithering(&bitmap);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kWidth * kHeight);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
}

void BM_DitherFloydSteinbergFixed8(benchmark::State &state) {
    DitherImage(state, DitherFloydSteinberg, nullptr);
}
BENCHMARK(BM_DitherFloydSteinbergFixed8)->Unit(benchmark::kMillisecond);

void BM_DitherOrderedFixed8(benchmark::State &state) {
    DitherImage(state, DitherOrdered, nullptr);
}
BENCHMARK(BM_DitherOrderedFixed8)->Unit(benchmark::kMillisecond);

void BM_DitherFloydSteinbergMatchTable(benchmark::State &state) {
    const std::vector<RGBQUAD> palette = ScatteredPalette();
    DitherImage(state, DitherFloydSteinberg, palette.data());
}
BENCHMARK(BM_DitherFloydSteinbergMatchTable)->Unit(benchmark::kMillisecond);

void BM_DitherMemcpyBaseline(benchmark::State &state) {
    const std::vector<uint8_t> &image = Image();
    std::vector<uint8_t> to(image.size());
    for (auto _ : state) {
        std::memcpy(to.data(), image.data(), image.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kWidth * kHeight);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
}
BENCHMARK(BM_DitherMemcpyBaseline)->Unit(benchmark::kMillisecond);

} // namespace

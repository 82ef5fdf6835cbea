// The user match table: 32768 nearest searches over a 256-entry palette,
// against a memcpy of the table's 131072 bytes in the same run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "ztkrn.h"

namespace {

constexpr uint32_t kTableBytes = 32768 * 4;

// A palette with no structure to exploit: pseudo-random colours.
std::vector<RGBQUAD> ScatteredPalette() {
    std::vector<RGBQUAD> palette(256);
    uint32_t state = 12345;
    for (RGBQUAD &e : palette) {
        state = state * 1103515245u + 12345u;
        e.rgbRed = uint8_t(state >> 24);
        e.rgbGreen = uint8_t(state >> 16);
        e.rgbBlue = uint8_t(state >> 8);
        e.rgbReserved = 0;
    }
    return palette;
}

void BM_CreateUserMatchTable(benchmark::State &state) {
    const auto palette = ScatteredPalette();
    for (auto _ : state) {
        uint32_t *table = Z_CreateUserMatchTable(palette.data(), 256);
        benchmark::DoNotOptimize(table);
        Z_FreeUserMatchTable(table);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 32768);
    state.SetBytesProcessed(int64_t(state.iterations()) * kTableBytes);
}
BENCHMARK(BM_CreateUserMatchTable)->Unit(benchmark::kMillisecond);

void BM_FindPaletteIndex(benchmark::State &state) {
    const auto palette = ScatteredPalette();
    uint32_t key = 0;
    for (auto _ : state) {
        const int32_t r = int32_t((key >> 10) & 31) * 8;
        const int32_t g = int32_t((key >> 5) & 31) * 8;
        const int32_t b = int32_t(key & 31) * 8;
        benchmark::DoNotOptimize(Z_FindPaletteIndex(palette.data(), 256, r, g, b));
        key = (key + 7919) & 32767;
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
}
BENCHMARK(BM_FindPaletteIndex);

void BM_MatchTableMemcpyBaseline(benchmark::State &state) {
    std::vector<uint8_t> from(kTableBytes, 1), to(kTableBytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), kTableBytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kTableBytes);
}
BENCHMARK(BM_MatchTableMemcpyBaseline)->Unit(benchmark::kMicrosecond);

} // namespace

// The user match table: 32768 nearest searches over a 256-entry palette,
// against a memcpy of the table's 131072 bytes in the same run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/bench_support.h"
#include "ztkrn.h"

namespace {

constexpr uint32_t kTableBytes = 32768 * 4;

using ztk::bench::ScatteredPalette;

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

// Row walks: put, then get, every row of a large 24-bit bitmap, against
// memcpy of the same rows between the same row buffer and a plain array.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/testhooks.h"
#include "ztkrn.h"

namespace {

constexpr int32_t kWidth = 8000;
constexpr int32_t kHeight = 6000;

struct Image {
    BitmapHandle bitmap{};
    std::vector<uint8_t> row;
    uint32_t stride = 0;
    bool ready = false;

    explicit Image(bool sixteenBit) {
        ztk::test::SetSixteenBitHost(sixteenBit);
        Z_InitBitmap(&bitmap, kWidth, kHeight, 24);
        ready = Z_AllocateBitmap(&bitmap, MEMORY_NODISK) == Z_OK;
        stride = bitmap.BytesPerLine;
        row.assign(stride, 0x5A);
    }
    ~Image() {
        Z_FreeBitmap(&bitmap);
        ztk::test::SetSixteenBitHost(false);
    }
};

void WalkRows(benchmark::State &state, bool sixteenBit) {
    Image image(sixteenBit);
    if (!image.ready) {
        state.SkipWithError("allocation failed");
        return;
    }
    const int32_t lock = Z_LockBitmap(&image.bitmap);
    for (auto _ : state) {
        for (uint32_t y = 0; y < uint32_t(kHeight); ++y)
            Z_PutBitmapRow(&image.bitmap, image.row.data(), y, image.stride);
        for (uint32_t y = 0; y < uint32_t(kHeight); ++y)
            Z_GetBitmapRow(&image.bitmap, image.row.data(), y, image.stride);
        benchmark::DoNotOptimize(image.row.data());
        benchmark::ClobberMemory();
    }
    Z_UnlockBitmap(&image.bitmap, lock);
    state.SetBytesProcessed(int64_t(state.iterations()) * 2 * kHeight *
                            image.stride);
}

void BM_RowWalk_Mapping(benchmark::State &state) { WalkRows(state, false); }
void BM_RowWalk_GlobalBlock(benchmark::State &state) { WalkRows(state, true); }

void BM_RowWalk_Memcpy(benchmark::State &state) {
    const uint32_t stride = ((uint32_t(kWidth) * 24 + 31) >> 3) & ~3u;
    std::vector<uint8_t> plain(size_t(stride) * kHeight, 0);
    std::vector<uint8_t> row(stride, 0x5A);
    for (auto _ : state) {
        for (size_t y = 0; y < size_t(kHeight); ++y)
            std::memcpy(&plain[y * stride], row.data(), stride);
        for (size_t y = 0; y < size_t(kHeight); ++y)
            std::memcpy(row.data(), &plain[y * stride], stride);
        benchmark::DoNotOptimize(row.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * 2 * kHeight * stride);
}

} // namespace

BENCHMARK(BM_RowWalk_Memcpy)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_RowWalk_Mapping)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_RowWalk_GlobalBlock)->Unit(benchmark::kMillisecond)->MinTime(1.0);

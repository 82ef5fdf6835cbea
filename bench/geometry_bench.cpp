// Flip, mirror, quarter and half turns of a 2480x3508 1-bit page (A4 at
// 300 dpi) and of a 4000x3000 24-bit image, each beside a memcpy of the
// same number of bytes in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "geometry/geometry.h"
#include "ztkrn.h"

namespace {

struct Picture {
    BitmapHandle bitmap{};
    bool ready = false;

    Picture(int32_t width, int32_t height, int32_t bits) {
        Z_InitBitmap(&bitmap, width, height, bits);
        ready = Z_AllocateBitmap(&bitmap, MEMORY_NODISK) == Z_OK;
        if (!ready)
            return;
        // Text-like content: bytes that vary, mostly white at 1 bit.
        std::vector<uint8_t> row(bitmap.BytesPerLine);
        const int32_t lock = Z_LockBitmap(&bitmap);
        uint32_t state = 12345;
        for (int32_t y = 0; y < height; ++y) {
            for (auto &b : row) {
                state = state * 1103515245u + 12345u;
                b = uint8_t(state >> 16);
                if (bits == 1 && (state >> 28) < 12)
                    b = 0;
            }
            Z_PutBitmapRow(&bitmap, row.data(), uint32_t(y), bitmap.BytesPerLine);
        }
        Z_UnlockBitmap(&bitmap, lock);
    }
    ~Picture() { Z_FreeBitmap(&bitmap); }
    int64_t Bytes() const {
        return int64_t(bitmap.BytesPerLine) * bitmap.Height;
    }
};

enum class Op { Quarter, Half, Flip, Mirror };

template <Op op>
void Run(benchmark::State &state, int32_t width, int32_t height, int32_t bits) {
    Picture picture(width, height, bits);
    if (!picture.ready) {
        state.SkipWithError("allocation failed");
        return;
    }
    int32_t direction = 0;
    for (auto _ : state) {
        int32_t result = Z_OK;
        if constexpr (op == Op::Quarter) {
            result = Z_IntRotateBitmap90(&picture.bitmap, direction, 0, 100);
            direction ^= 1;
        } else if constexpr (op == Op::Half) {
            result = Z_IntRotateBitmap180(&picture.bitmap, 0, 100);
        } else if constexpr (op == Op::Flip) {
            result = Z_FlipBitmap(&picture.bitmap);
        } else {
            result = Z_ReverseBitmap(&picture.bitmap);
        }
        if (result != Z_OK) {
            state.SkipWithError("operation failed");
            break;
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * picture.Bytes());
}

void Memcpy(benchmark::State &state, int32_t width, int32_t height,
            int32_t bits) {
    const size_t bytes =
        size_t(((uint32_t(width) * uint32_t(bits) + 31) >> 3) & ~3u) *
        size_t(height);
    std::vector<uint8_t> from(bytes, 0x5A), to(bytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

constexpr int32_t kPageW = 2480, kPageH = 3508;
constexpr int32_t kPhotoW = 4000, kPhotoH = 3000;

void BM_Page1_Quarter(benchmark::State &s) { Run<Op::Quarter>(s, kPageW, kPageH, 1); }
void BM_Page1_Half(benchmark::State &s) { Run<Op::Half>(s, kPageW, kPageH, 1); }
void BM_Page1_Flip(benchmark::State &s) { Run<Op::Flip>(s, kPageW, kPageH, 1); }
void BM_Page1_Mirror(benchmark::State &s) { Run<Op::Mirror>(s, kPageW, kPageH, 1); }
void BM_Page1_Memcpy(benchmark::State &s) { Memcpy(s, kPageW, kPageH, 1); }
void BM_Photo24_Quarter(benchmark::State &s) { Run<Op::Quarter>(s, kPhotoW, kPhotoH, 24); }
void BM_Photo24_Half(benchmark::State &s) { Run<Op::Half>(s, kPhotoW, kPhotoH, 24); }
void BM_Photo24_Flip(benchmark::State &s) { Run<Op::Flip>(s, kPhotoW, kPhotoH, 24); }
void BM_Photo24_Mirror(benchmark::State &s) { Run<Op::Mirror>(s, kPhotoW, kPhotoH, 24); }
void BM_Photo24_Memcpy(benchmark::State &s) { Memcpy(s, kPhotoW, kPhotoH, 24); }

} // namespace

BENCHMARK(BM_Page1_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Page1_Quarter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Page1_Half)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Page1_Flip)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Page1_Mirror)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo24_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo24_Quarter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo24_Half)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo24_Flip)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo24_Mirror)->Unit(benchmark::kMillisecond);

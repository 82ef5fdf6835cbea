// Run-coded 1-bit pages: coding and expanding every row of a text-like
// A4 page at 300 dpi, whole-row code copies between two compressed
// bitmaps, plain row traffic on a compressed bitmap, and memcpy of the
// plain page as the baseline. All report pixels per second; the heap's
// share of the plain size is a counter.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "ztkrn.h"

namespace {

constexpr uint32_t kWidth = 2480, kHeight = 3508;
constexpr uint32_t kStride = ((kWidth + 31) >> 3) & ~3u;
constexpr double kPixels = double(kWidth) * kHeight;

// Lines of text: 50-row pitch, 32 rows of glyphs, words of short strokes
// between wide margins; the rest is white paper.
const std::vector<uint8_t> &TextPage() {
    static const std::vector<uint8_t> page = [] {
        std::vector<uint8_t> bits(size_t(kStride) * kHeight, 0);
        uint32_t state = 12345;
        auto next = [&](uint32_t range) {
            state = state * 1664525u + 1013904223u;
            return (state >> 10) % range;
        };
        for (uint32_t y = 200; y + 50 < kHeight - 200; y += 50) {
            for (uint32_t g = 0; g < 32; ++g) {
                uint8_t *row = bits.data() + size_t(y + g) * kStride;
                for (uint32_t x = 240; x < kWidth - 240;) {
                    const uint32_t word = 20 + next(120);
                    for (uint32_t end = x + word; x < end && x < kWidth - 240;) {
                        const uint32_t stroke = 1 + next(6);
                        for (uint32_t i = 0; i < stroke; ++i, ++x)
                            row[x >> 3] |= uint8_t(0x80u >> (x & 7));
                        x += 2 + next(9);
                    }
                    x += 25 + next(20);
                }
            }
        }
        return bits;
    }();
    return page;
}

struct CompressedPage {
    BitmapHandle h{};
    CompressedPage() {
        Z_InitBitmap(&h, int32_t(kWidth), int32_t(kHeight), 1);
        Z_AllocateBitmap(&h, MEMORY_COMPRESSED);
        const auto &page = TextPage();
        for (uint32_t y = 0; y < kHeight; ++y)
            Z_PutBitmapRow(&h, page.data() + size_t(y) * kStride, y, kStride);
    }
    ~CompressedPage() { Z_FreeBitmap(&h); }
};

std::vector<uint8_t> CodedPage() {
    std::vector<uint8_t> coded(size_t(kHeight) * (4 + 2 * kWidth + 2));
    Z_CompressRows(coded.data(), TextPage().data(), kWidth, kHeight);
    return coded;
}

void Report(benchmark::State &state) {
    state.counters["pixels/s"] = benchmark::Counter(
        kPixels * double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_PlainPageMemcpy(benchmark::State &state) {
    const auto &page = TextPage();
    std::vector<uint8_t> copy(page.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), page.data(), page.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    Report(state);
}

void BM_CodeEveryRow(benchmark::State &state) {
    const auto &page = TextPage();
    std::vector<uint8_t> coded(size_t(kHeight) * (4 + 2 * kWidth + 2));
    for (auto _ : state) {
        Z_CompressRows(coded.data(), page.data(), kWidth, kHeight);
        benchmark::DoNotOptimize(coded.data());
    }
    Report(state);
}

void BM_ExpandEveryRow(benchmark::State &state) {
    const auto coded = CodedPage();
    std::vector<uint8_t> plain(TextPage().size());
    for (auto _ : state) {
        Z_ExpandRows(coded.data(), plain.data(), kWidth, kHeight);
        benchmark::DoNotOptimize(plain.data());
    }
    Report(state);
}

void BM_CopyRowsBetweenCompressed(benchmark::State &state) {
    CompressedPage from, to;
    std::vector<uint8_t> record(4 + 2 * kWidth + 2);
    for (auto _ : state) {
        for (uint32_t y = 0; y < kHeight; ++y) {
            Z_GetBitmapRowCompressed(&from.h, nullptr, record.data(), int32_t(y), 1);
            Z_PutBitmapRowCompressed(&to.h, nullptr, record.data(), int32_t(y), 1);
        }
    }
    Report(state);
    state.counters["heap/plain"] =
        double(from.h.Size) / (double(kStride) * kHeight);
}

void BM_PutEveryRowCompressed(benchmark::State &state) {
    CompressedPage page;
    const auto &plain = TextPage();
    for (auto _ : state)
        for (uint32_t y = 0; y < kHeight; ++y)
            Z_PutBitmapRow(&page.h, plain.data() + size_t(y) * kStride, y, kStride);
    Report(state);
}

void BM_GetEveryRowCompressed(benchmark::State &state) {
    CompressedPage page;
    std::vector<uint8_t> row(kStride);
    for (auto _ : state) {
        for (uint32_t y = 0; y < kHeight; ++y)
            Z_GetBitmapRow(&page.h, row.data(), y, kStride);
        benchmark::DoNotOptimize(row.data());
    }
    Report(state);
}

BENCHMARK(BM_PlainPageMemcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CodeEveryRow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExpandEveryRow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyRowsBetweenCompressed)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PutEveryRowCompressed)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetEveryRowCompressed)->Unit(benchmark::kMillisecond);

} // namespace

// Run-coded 1-bit pages: coding and expanding every row of a text-like
// A4 page at 300 dpi, whole-row code copies between two compressed
// bitmaps, plain row traffic on a compressed bitmap, and memcpy of the
// plain page as the baseline. All report pixels per second; the heap's
// share of the plain size is a counter.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "compressed/heap.h"
#include "ztkrn.h"

namespace {

constexpr uint32_t kWidth = 2480, kHeight = 3508;
constexpr uint32_t kStride = ((kWidth + 31) >> 3) & ~3u;
constexpr double kPixels = double(kWidth) * kHeight;

// A page of 10-point text at 300 dpi: 50-row line pitch inside margins of
// 300 rows and 240 columns. Letters are 18-26 pixels wide; their x-height
// rows cross two strokes of 3-4 pixels, their ascender and descender rows
// one stroke on some letters only. Words are 2-9 letters, lines end
// ragged, and a paragraph break leaves a blank line.
const std::vector<uint8_t> &TextPage() {
    static const std::vector<uint8_t> page = [] {
        std::vector<uint8_t> bits(size_t(kStride) * kHeight, 0);
        uint32_t state = 12345;
        auto next = [&](uint32_t range) {
            state = state * 1664525u + 1013904223u;
            return (state >> 10) % range;
        };
        auto ink = [&](uint32_t y, uint32_t x, uint32_t length) {
            uint8_t *row = bits.data() + size_t(y) * kStride;
            for (uint32_t i = x; i < x + length; ++i)
                row[i >> 3] |= uint8_t(0x80u >> (i & 7));
        };
        const uint32_t left = 240, right = kWidth - 240;
        for (uint32_t y = 300; y + 50 <= kHeight - 300; y += 50) {
            if (next(8) == 0)
                continue; // paragraph break
            const uint32_t end = right - next(next(4) == 0 ? 1200 : 120);
            for (uint32_t x = left; x + 30 < end;) {
                const uint32_t letters = 2 + next(8);
                for (uint32_t l = 0; l < letters && x + 30 < end; ++l) {
                    const uint32_t width = 18 + next(9);
                    const uint32_t stroke = 3 + next(2);
                    const bool ascender = next(10) < 3, descender = next(10) < 2;
                    for (uint32_t g = 0; g < 40; ++g) {
                        const bool xHeight = g >= 12 && g < 30;
                        if (xHeight) {
                            ink(y + g, x, stroke);
                            ink(y + g, x + width - stroke - 4, stroke);
                        } else if ((g < 12 && ascender) || (g >= 30 && descender)) {
                            ink(y + g, x, stroke);
                        }
                    }
                    x += width;
                }
                x += 20 + next(12);
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
    // The heap as allocated, and the codes alone, against the plain page.
    const double plain = double(kStride) * kHeight;
    double codes = 0;
    for (uint32_t y = 0; y < kHeight; ++y)
        codes += 2.0 * ztk::EntryOf(&from.h, y)->Count;
    state.counters["heap/plain"] = double(from.h.Size) / plain;
    state.counters["codes/plain"] = codes / plain;
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

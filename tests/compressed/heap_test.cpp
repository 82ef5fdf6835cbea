// The row heap: creation sizes, first-fit allocation, splitting, growth and
// trimming, and long random sequences under the heap checker (which is
// what catches a missed merge).
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/compressed/fixtures.h"

namespace ztk::testing {
namespace {

struct Heap {
    uint8_t *p;
    Heap(uint32_t bytesPerLine = 128, uint32_t height = 1000)
        : p(RowHeapCreate(bytesPerLine, height)) {}
    ~Heap() { Z_OsFree(p); }
    HeapHeader *h() const { return HeaderOf(p); }
    BlockHeader *b(uint32_t at) const { return BlockAt(p, at); }
};

// The first heap holds an eighth of the plain page, in one step when that
// fits and 4 MiB otherwise; growth rounds what the last block must hold up
// to whole steps, and may shrink a large free end.
TEST(RowHeap, CreationAndGrowthSizes) {
    struct Case { uint32_t stride, height, size, grow, grown; };
    const Case cases[] = {
        {128, 1000, 262144, 1, 262144},          // estimate 16012
        {128, 1000, 262144, 262109, 524288},
        {4, 524264, 262144, 0, 262144},          // estimate exactly 262144
        {4, 524272, 4194304, 0, 262144},         // estimate 262146
        {2048, 1024, 4194304, 16, 262144},
        {2048, 1024, 4194304, 5000000, 5242880},
        {65536, 65536, 262144, 0, 262144},       // the product wraps in 32 bits
    };
    for (const Case &c : cases) {
        Heap heap(c.stride, c.height);
        ASSERT_NE(nullptr, heap.p);
        EXPECT_EQ(c.size, heap.h()->HeapSize) << c.stride << "x" << c.height;
        EXPECT_EQ(c.size - 36, heap.b(12)->PayloadSize);
        EXPECT_TRUE(HeapIsValid(heap.p));
        EXPECT_EQ(1, RowHeapGrow(&heap.p, c.grow));
        EXPECT_EQ(c.grown, heap.h()->HeapSize) << c.grow;
        EXPECT_EQ(c.grown - 36, heap.b(12)->PayloadSize);
        EXPECT_TRUE(HeapIsValid(heap.p));
    }
}

// Sizes round up to 4, and a block is split only when the rest can hold a
// header and some payload. Allocation takes the most recently freed block
// that fits; a row grows into a free neighbour in place, and moves with
// its bytes only when it can't.
TEST(RowHeap, AllocationPolicy) {
    Heap heap;
    uint32_t b[5];
    for (auto &x : b)
        x = RowHeapAlloc(&heap.p, 62);
    EXPECT_EQ(12u + 24 + 64, b[1]);
    struct Step { uint32_t size, payload; };
    for (const Step s : {Step{44, 64}, Step{40, 64}, Step{36, 36}}) {
        EXPECT_EQ(b[4], RowHeapResize(&heap.p, b[4], s.size));
        EXPECT_EQ(s.payload, heap.b(b[4])->PayloadSize) << s.size;
    }
    RowHeapFree(heap.p, b[1]);
    RowHeapFree(heap.p, b[3]);
    EXPECT_EQ(b[3], RowHeapAlloc(&heap.p, 64));
    RowHeapFree(heap.p, b[3]);
    std::memset(heap.p + b[2] + 24, 0x5A, 64);
    EXPECT_EQ(b[2], RowHeapResize(&heap.p, b[2], 100));
    EXPECT_EQ(100u, heap.b(b[2])->PayloadSize);
    const uint32_t moved = RowHeapResize(&heap.p, b[2], 400);
    EXPECT_NE(b[2], moved);
    EXPECT_EQ(std::vector<uint8_t>(64, 0x5A),
              std::vector<uint8_t>(heap.p + moved + 24, heap.p + moved + 88));
    EXPECT_TRUE(HeapIsValid(heap.p));
}

// A used last block gets a free one after it; a failed growth changes
// nothing.
TEST(RowHeap, GrowthPastAUsedLastBlock) {
    Heap heap;
    const uint32_t all = RowHeapAlloc(&heap.p, 262108);
    const std::vector<uint8_t> before(heap.p, heap.p + 262144);
    {
        FailureScope fail(1);
        EXPECT_EQ(0u, RowHeapAlloc(&heap.p, 1000));
        EXPECT_TRUE(fail.fired());
    }
    EXPECT_EQ(before, std::vector<uint8_t>(heap.p, heap.p + 262144));
    EXPECT_EQ(262144u, RowHeapAlloc(&heap.p, 1000));
    EXPECT_EQ(524288u, heap.h()->HeapSize);
    EXPECT_EQ(1u, heap.b(all)->Used);
    EXPECT_TRUE(HeapIsValid(heap.p));
}

// Random allocations, resizes and frees, the heap checked at every step;
// each block's bytes survive resizes, and freeing them all merges the heap
// back into one block.
TEST(RowHeap, RandomSequencesKeepTheHeapValid) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        std::mt19937 rng(seed);
        Heap heap(128, 64);
        std::map<uint32_t, std::pair<uint32_t, uint8_t>> live; // size, fill
        const auto holds = [&](uint32_t at, uint32_t size, uint8_t fill) {
            return std::all_of(heap.p + at + 24, heap.p + at + 24 + size,
                               [&](uint8_t x) { return x == fill; });
        };
        for (int step = 0; step < 1500; ++step) {
            const uint32_t op = rng() % 10;
            const uint32_t size = (rng() % 4 == 0) ? rng() % 40000 : rng() % 600;
            if (op < 4 || live.empty()) {
                const uint32_t at = RowHeapAlloc(&heap.p, size);
                ASSERT_NE(0u, at);
                live[at] = {size, uint8_t(rng())};
                std::memset(heap.p + at + 24, live[at].second, size);
            } else {
                const auto it = std::next(live.begin(), rng() % live.size());
                const auto [at, held] = *it;
                live.erase(it);
                if (op < 7) {
                    const uint32_t to = RowHeapResize(&heap.p, at, size);
                    ASSERT_NE(0u, to);
                    ASSERT_TRUE(holds(to, std::min(held.first, size), held.second));
                    std::memset(heap.p + to + 24, held.second, size);
                    live[to] = {size, held.second};
                } else {
                    RowHeapFree(heap.p, at);
                }
            }
            ASSERT_TRUE(HeapIsValid(heap.p)) << "seed " << seed << " step " << step;
        }
        for (const auto &[at, held] : live) {
            ASSERT_TRUE(holds(at, held.first, held.second));
            RowHeapFree(heap.p, at);
        }
        EXPECT_EQ(12u, heap.h()->FreeHead);
        EXPECT_EQ(0u, heap.b(12)->NextBlock);
    }
}

// A trim cuts the free end to 128 bytes and leaves 24 spare bytes past it
// until the next growth takes them; Size follows the heap, and failures
// change nothing.
TEST(BitmapHeap, TrimAndGrowThroughTheBitmap) {
    Page page(1000, 8);
    uint8_t *&heap = TableOf(page.get())->RowHeap;
    const uint32_t size = page->Size;
    {
        FailureScope fail(1);
        EXPECT_EQ(0, Z_TrimBitmapHeap(page.get()));
    }
    EXPECT_EQ(size, page->Size);
    {
        FailureScope fail(1);
        EXPECT_EQ(0, Z_GrowBitmapHeap(page.get(), 300000));
    }
    EXPECT_EQ(262144u, HeapSizeOf(page.get()));
    EXPECT_EQ(262144u, page->Size);
    EXPECT_EQ(1, Z_TrimBitmapHeap(page.get()));
    EXPECT_EQ(188u, page->Size);
    EXPECT_EQ(188u, HeapSizeOf(page.get()));
    EXPECT_EQ(128u, BlockAt(heap, 12)->PayloadSize);
    EXPECT_TRUE(HeapIsValid(heap));
    EXPECT_EQ(0, Z_TrimBitmapHeap(page.get())); // 128 is below 129
    for (uint32_t r = 0; r < 8; ++r) // more than 128 bytes of codes
        PutBits(page.get(), r, RandomRow(1000, 20, r));
    EXPECT_TRUE(StorageIsValid(page.get()));
    EXPECT_EQ(262144u, page->Size);
    EXPECT_EQ(1, Z_GrowBitmapHeap(page.get(), 262109));
    EXPECT_EQ(524288u, page->Size);
    EXPECT_TRUE(HeapIsValid(heap));
}

TEST(BitmapHeap, RefusedOnBitmapsWithoutAHeap) {
    Bitmap plain(64, 8, 1);
    EXPECT_EQ(Z_ERR_PARAM, Z_TrimBitmapHeap(nullptr));
    EXPECT_EQ(Z_ERR_PARAM, Z_TrimBitmapHeap(plain.get()));
    EXPECT_EQ(Z_ERR_PARAM, Z_GrowBitmapHeap(plain.get(), 10));
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(plain.get(), MEMORY_NODISK));
    EXPECT_EQ(Z_ERR_PARAM, Z_TrimBitmapHeap(plain.get()));
    EXPECT_EQ(Z_ERR_PARAM, Z_GrowBitmapHeap(plain.get(), 10));
}

} // namespace
} // namespace ztk::testing

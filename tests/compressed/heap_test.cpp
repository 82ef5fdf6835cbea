// The row heap: creation sizes, first-fit allocation, splitting, merging,
// growth and trimming, and long random sequences under the heap checker.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>

#include "compressed/heap.h"
#include "tests/compressed/heap_check.h"
#include "tests/support/support.h"

namespace ztk::testing {
namespace {

struct Heap {
    uint8_t *p;
    Heap(uint32_t bytesPerLine, uint32_t height)
        : p(RowHeapCreate(bytesPerLine, height)) {}
    ~Heap() { Z_OsFree(p); }
    HeapHeader *h() const { return HeaderOf(p); }
    BlockHeader *b(uint32_t at) const { return BlockAt(p, at); }
};

TEST(RowHeap, CreationSizeFollowsTheEstimate) {
    struct Case { uint32_t stride, height, size; };
    const Case cases[] = {
        {128, 1000, 262144},       // a 1000 x 1000 page: estimate 16012
        {4, 524264, 262144},       // estimate exactly 262144
        {4, 524272, 4194304},      // estimate 262146
        {2048, 1024, 4194304},     // 2097152 bytes: estimate 262156
        {4096, 100000, 4194304},   // far larger, same flat step
        {65536, 65536, 262144},    // the product wraps in 32 bits
    };
    for (const Case &c : cases) {
        Heap heap(c.stride, c.height);
        ASSERT_NE(nullptr, heap.p);
        EXPECT_EQ(c.size, heap.h()->HeapSize) << c.stride << "x" << c.height;
        EXPECT_EQ(12u, heap.h()->LastBlock);
        EXPECT_EQ(12u, heap.h()->FreeHead);
        EXPECT_EQ(c.size - 36, heap.b(12)->PayloadSize);
        EXPECT_EQ(0u, heap.b(12)->Used);
        EXPECT_TRUE(HeapIsValid(heap.p));
    }
}

TEST(RowHeap, AllocationSplitsAndRounds) {
    Heap heap(128, 1000);
    const uint32_t a = RowHeapAlloc(&heap.p, 10);
    EXPECT_EQ(12u, a);
    EXPECT_EQ(12u, heap.b(a)->PayloadSize);
    EXPECT_EQ(1u, heap.b(a)->Used);
    EXPECT_EQ(12u + 24 + 12, heap.h()->FreeHead);
    EXPECT_EQ(heap.h()->FreeHead, heap.h()->LastBlock);
    EXPECT_TRUE(HeapIsValid(heap.p));
}

// A split needs room for a header and some payload beyond the size.
TEST(RowHeap, ShrinkWithoutRoomForABlockKeepsThePayload) {
    Heap heap(128, 1000);
    const uint32_t a = RowHeapAlloc(&heap.p, 100);
    EXPECT_EQ(a, RowHeapResize(&heap.p, a, 90));
    EXPECT_EQ(100u, heap.b(a)->PayloadSize);
    EXPECT_EQ(a, RowHeapResize(&heap.p, a, 76));   // 76 + 24 is not below 100
    EXPECT_EQ(100u, heap.b(a)->PayloadSize);
    EXPECT_EQ(a, RowHeapResize(&heap.p, a, 72));
    EXPECT_EQ(72u, heap.b(a)->PayloadSize);
    EXPECT_TRUE(HeapIsValid(heap.p));
}

TEST(RowHeap, FreeingThreeNeighboursInAnyOrderLeavesOneBlock) {
    int order[] = {0, 1, 2};
    do {
        Heap heap(128, 1000);
        uint32_t blocks[3];
        for (auto &b : blocks)
            b = RowHeapAlloc(&heap.p, 40);
        // Take the rest too, so the three are all there is.
        RowHeapAlloc(&heap.p, heap.b(heap.h()->FreeHead)->PayloadSize);
        EXPECT_EQ(0u, heap.h()->FreeHead);
        for (int i : order) {
            RowHeapFree(heap.p, blocks[i]);
            ASSERT_TRUE(HeapIsValid(heap.p));
        }
        EXPECT_EQ(12u, heap.h()->FreeHead);
        EXPECT_EQ(0u, heap.b(12)->NextFree);
        EXPECT_EQ(3 * 40u + 2 * 24, heap.b(12)->PayloadSize);
    } while (std::next_permutation(order, order + 3));
}

TEST(RowHeap, FirstFitStartsFromTheLastFreed) {
    Heap heap(128, 1000);
    uint32_t b[5];
    for (auto &x : b)
        x = RowHeapAlloc(&heap.p, 64);
    RowHeapFree(heap.p, b[1]);
    RowHeapFree(heap.p, b[3]);
    EXPECT_EQ(b[3], RowHeapAlloc(&heap.p, 64));
    EXPECT_EQ(b[1], RowHeapAlloc(&heap.p, 64));
    EXPECT_TRUE(HeapIsValid(heap.p));
}

TEST(RowHeap, ResizeGrowsIntoAFreeNeighbourInPlace) {
    Heap heap(128, 1000);
    const uint32_t a = RowHeapAlloc(&heap.p, 16);
    const uint32_t b = RowHeapAlloc(&heap.p, 200);
    const uint32_t c = RowHeapAlloc(&heap.p, 16);
    RowHeapFree(heap.p, b);
    std::memset(heap.p + a + 24, 0x5A, 16);
    EXPECT_EQ(a, RowHeapResize(&heap.p, a, 100));
    EXPECT_EQ(100u, heap.b(a)->PayloadSize);
    EXPECT_EQ(0x5A, heap.p[a + 24 + 15]);
    EXPECT_TRUE(HeapIsValid(heap.p));
    // No room next door: the row moves, its old block is freed and merged.
    const uint32_t moved = RowHeapResize(&heap.p, a, 400);
    EXPECT_NE(a, moved);
    EXPECT_EQ(0x5A, heap.p[moved + 24 + 15]);
    EXPECT_EQ(0u, heap.b(a)->Used);
    EXPECT_EQ(1u, heap.b(c)->Used);
    EXPECT_TRUE(HeapIsValid(heap.p));
}

TEST(RowHeap, GrowthIsAStatementOfWhatTheLastBlockMustHold) {
    struct Case { uint32_t stride, height, bytes, size; };
    const Case cases[] = {
        {128, 1000, 1, 262144},        // total 37 rounds to one step
        {128, 1000, 262109, 524288},
        {2048, 1024, 16, 262144},      // a large free end shrinks
        {2048, 1024, 5000000, 5242880},
    };
    for (const Case &c : cases) {
        Heap heap(c.stride, c.height);
        EXPECT_EQ(1, RowHeapGrow(&heap.p, c.bytes));
        EXPECT_EQ(c.size, heap.h()->HeapSize) << c.bytes;
        EXPECT_EQ(c.size - 36, heap.b(12)->PayloadSize);
        EXPECT_TRUE(HeapIsValid(heap.p));
    }
}

TEST(RowHeap, GrowthAfterAUsedLastBlockAddsAFreeOne) {
    Heap heap(128, 1000);
    const uint32_t all = RowHeapAlloc(&heap.p, 262108);
    EXPECT_EQ(0u, heap.h()->FreeHead);
    const uint32_t more = RowHeapAlloc(&heap.p, 1000);
    EXPECT_EQ(524288u, heap.h()->HeapSize);
    EXPECT_EQ(262144u, more);
    EXPECT_EQ(1u, heap.b(all)->Used);
    EXPECT_TRUE(HeapIsValid(heap.p));
}

TEST(RowHeap, FailedGrowthLeavesTheHeapAsItWas) {
    Heap heap(128, 1000);
    RowHeapAlloc(&heap.p, 1000);
    const auto before = std::vector<uint8_t>(heap.p, heap.p + 262144);
    {
        FailureScope fail(1);
        EXPECT_EQ(0u, RowHeapAlloc(&heap.p, 300000));
        EXPECT_TRUE(fail.fired());
    }
    EXPECT_EQ(before, std::vector<uint8_t>(heap.p, heap.p + 262144));
    EXPECT_TRUE(HeapIsValid(heap.p));
}

// Random allocations, resizes and frees; every step is checked, and each
// block's bytes survive resizes.
TEST(RowHeap, RandomSequencesKeepTheHeapValid) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        std::mt19937 rng(seed);
        Heap heap(128, 64);
        std::map<uint32_t, std::pair<uint32_t, uint8_t>> live; // size, fill
        for (int step = 0; step < 1500; ++step) {
            const uint32_t op = rng() % 10;
            const uint32_t size = (rng() % 4 == 0) ? rng() % 40000 : rng() % 600;
            if (op < 4 || live.empty()) {
                const uint32_t at = RowHeapAlloc(&heap.p, size);
                ASSERT_NE(0u, at);
                const uint8_t fill = uint8_t(rng());
                std::memset(heap.p + at + 24, fill, size);
                live[at] = {size, fill};
            } else {
                auto it = std::next(live.begin(), rng() % live.size());
                const auto [at, held] = *it;
                live.erase(it);
                if (op < 7) {
                    const uint32_t to = RowHeapResize(&heap.p, at, size);
                    ASSERT_NE(0u, to);
                    const uint32_t kept = std::min(held.first, size);
                    for (uint32_t i = 0; i < kept; ++i)
                        ASSERT_EQ(held.second, heap.p[to + 24 + i]);
                    std::memset(heap.p + to + 24, held.second, size);
                    live[to] = {size, held.second};
                } else {
                    RowHeapFree(heap.p, at);
                }
            }
            ASSERT_TRUE(HeapIsValid(heap.p)) << "seed " << seed << " step " << step;
        }
        for (const auto &[at, held] : live)
            for (uint32_t i = 0; i < held.first; ++i)
                ASSERT_EQ(held.second, heap.p[at + 24 + i]);
        for (const auto &[at, held] : live)
            RowHeapFree(heap.p, at);
        EXPECT_EQ(12u, heap.h()->FreeHead);
        EXPECT_EQ(0u, heap.b(12)->NextBlock);
    }
}

TEST(BitmapHeap, TrimAndGrowThroughTheBitmap) {
    Bitmap page(1000, 1000, 1);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
    EXPECT_EQ(1, Z_TrimBitmapHeap(page.get()));
    EXPECT_EQ(188u, page->Size);
    EXPECT_EQ(188u, HeapSizeOf(page.get()));
    EXPECT_EQ(128u, BlockAt(TableOf(page.get())->RowHeap, 12)->PayloadSize);
    EXPECT_TRUE(HeapIsValid(TableOf(page.get())->RowHeap));
    EXPECT_EQ(0, Z_TrimBitmapHeap(page.get()));   // 128 is below 129

    EXPECT_EQ(1, Z_GrowBitmapHeap(page.get(), 1));
    EXPECT_EQ(262144u, page->Size);
    EXPECT_EQ(262144u - 36, BlockAt(TableOf(page.get())->RowHeap, 12)->PayloadSize);
    EXPECT_EQ(1, Z_GrowBitmapHeap(page.get(), 262109));
    EXPECT_EQ(524288u, page->Size);
    EXPECT_TRUE(HeapIsValid(TableOf(page.get())->RowHeap));
}

TEST(BitmapHeap, TrimLeavesTwentyFourSpareBytesUntilGrowth) {
    Bitmap page(64, 8, 1);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
    const std::vector<uint8_t> row(8, 0xF0);
    ASSERT_EQ(8, Z_PutBitmapRow(page.get(), row.data(), 0, 8));
    ASSERT_EQ(1, Z_TrimBitmapHeap(page.get()));
    uint8_t *heap = TableOf(page.get())->RowHeap;
    const uint32_t last = HeaderOf(heap)->LastBlock;
    EXPECT_EQ(last + 24 + 128 + 24, HeaderOf(heap)->HeapSize);
    // Fill the trimmed block, then grow past it: the spare bytes are taken.
    for (uint32_t r = 1; r < 8; ++r)
        ASSERT_EQ(8, Z_PutBitmapRow(page.get(), row.data(), r, 8));
    ASSERT_TRUE(StorageIsValid(page.get()));
    EXPECT_EQ(262144u, page->Size);
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

TEST(BitmapHeap, FailedTrimAndGrowChangeNothing) {
    Bitmap page(1000, 1000, 1);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
    const uint32_t size = page->Size;
    {
        FailureScope fail(1);
        EXPECT_EQ(0, Z_TrimBitmapHeap(page.get()));
    }
    EXPECT_EQ(size, page->Size);
    EXPECT_EQ(262144u, HeapSizeOf(page.get()));
    {
        FailureScope fail(1);
        EXPECT_EQ(0, Z_GrowBitmapHeap(page.get(), 300000));
    }
    EXPECT_EQ(262144u, HeapSizeOf(page.get()));
    EXPECT_EQ(262144u, page->Size);
    EXPECT_TRUE(HeapIsValid(TableOf(page.get())->RowHeap));
}

} // namespace
} // namespace ztk::testing

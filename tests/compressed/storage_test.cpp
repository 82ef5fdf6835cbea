// Compressed storage through the bitmap calls: allocation, release and
// height changes, with their allocation-failure sweeps.
#include <gtest/gtest.h>

#include <algorithm>

#include "compressed/runs.h"
#include "tests/compressed/fixtures.h"

namespace ztk::testing {
namespace {

using ztk::test::LiveUsage;

// Whatever accompanies the compressed request, the page gets a row table
// of Height entries (16 bytes of header in a 32-bit build, as hosts know
// it), a scratch buffer for one row's codes and a heap, and nothing else.
TEST(CompressedStorage, AllocationBuildsTableScratchAndHeap) {
    if (sizeof(void *) == 4) {
        EXPECT_EQ(16u, sizeof(RowTable));
    }
    EXPECT_EQ(uint32_t(sizeof(RowTable)) + 8000, RowTableBytes(1000));
    EXPECT_EQ(0u, RowTableBytes(-1));
    for (int32_t memory : {MEMORY_COMPRESSED, MEMORY_COMPRESSED | MEMORY_NODISK,
                           MEMORY_COMPRESSED | MEMORY_ANY,
                           MEMORY_COMPRESSED | MEMORY_DISK}) {
        const auto before = LiveUsage();
        Bitmap page(1000, 1000, 1);
        page->Flags |= BITMAP_LOCKED | BITMAP_MIRROR | BITMAP_GLOBALBLOCK;
        ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), memory)) << memory;
        EXPECT_EQ(BITMAP_ALLOCATED | BITMAP_INMEMORY | BITMAP_COMPRESSED, page->Flags);
        EXPECT_EQ(128000u, page->Size); // the heap's size only from a put on
        RowTable *table = TableOf(page.get());
        EXPECT_EQ(262144u, HeapSizeOf(page.get()));
        EXPECT_GE(table->ScratchSize, 2 * CodesForPixels(1000));
        for (int32_t r = 0; r < 1000; ++r)
            ASSERT_EQ(0u, EntriesOf(table)[r].Offset);
        const auto held = LiveUsage();
        EXPECT_EQ(before.blocks + 3, held.blocks);
        EXPECT_EQ(before.bytes + 262144 + RowTableBytes(1000) + table->ScratchSize,
                  held.bytes);
        PutBits(page.get(), 7, RandomRow(1000, 3, 7));
        Z_FreeBitmap(page.get());
        EXPECT_EQ(0u, page->Flags & (BITMAP_ALLOCATED | BITMAP_COMPRESSED));
        EXPECT_EQ(before, LiveUsage());
        Z_FreeBitmap(page.get()); // a second free does nothing
        EXPECT_EQ(before, LiveUsage());
    }
    Bitmap gray(10, 10, 8), alone(10, 10, 8);
    EXPECT_EQ(Z_OK, Z_AllocateBitmap(gray.get(), MEMORY_COMPRESSED | MEMORY_NODISK));
    EXPECT_EQ(0u, gray->Flags & BITMAP_COMPRESSED);
    EXPECT_EQ(Z_ERR_PARAM, Z_AllocateBitmap(alone.get(), MEMORY_COMPRESSED));
}

TEST(CompressedStorage, AllocationFailureSweep) {
    const auto before = LiveUsage();
    const int32_t failures = SweepFailures([&](uint32_t nth, const auto &armed) {
        Bitmap page(1000, 1000, 1);
        const SweepRun run = armed([&] {
            return Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED);
        });
        if (run.fired) {
            EXPECT_EQ(Z_ERR_NOMEM, run.result) << nth;
            EXPECT_EQ(0u, page->Flags & BITMAP_ALLOCATED);
            EXPECT_EQ(before, LiveUsage()) << nth;
        } else {
            EXPECT_EQ(Z_OK, run.result);
        }
    });
    EXPECT_EQ(3, failures); // table, scratch, heap
}

TEST(CompressedStorage, LockAndAccessLeaveCompressedBitmapsAlone) {
    Page page(64, 4);
    void *table = page->Data;
    EXPECT_EQ(0, Z_LockBitmap(page.get()));
    Z_AccessBitmap(page.get());
    EXPECT_EQ(table, page->Data);
    EXPECT_EQ(0u, page->Flags & BITMAP_LOCKED);
}

// Rows cut off give their blocks back, rows added are unset, the row
// cache is reset. A failed shrink has already lost its rows and takes the
// new height; a failed growth keeps the old one. Either way every row
// left reads as before.
TEST(CompressedStorage, HeightChangesAndTheirFailureSweeps) {
    for (int32_t height : {12, 0, 50}) {
        const auto before = LiveUsage();
        const int32_t failures = SweepFailures([&](uint32_t nth, const auto &armed) {
            Page page(256, 30);
            for (uint32_t r = 0; r < 30; ++r)
                PutBits(page.get(), r, RandomRow(256, 1 + r, r));
            const uint32_t size = page->Size;
            page->CurrentRow = 7;
            page->CurrentRowOffset = 7 * 32;
            const SweepRun run = armed([&] {
                return Z_ChangeBitmapHeight(page.get(), height);
            });
            EXPECT_EQ(run.fired ? Z_ERR_NOMEM : Z_OK, run.result) << nth;
            const int32_t now = run.fired && height > 30 ? 30 : height;
            ASSERT_EQ(now, page->Height) << nth;
            EXPECT_EQ(size, page->Size);
            EXPECT_TRUE(StorageIsValid(page.get()));
            uint32_t used = 0;
            uint8_t *heap = TableOf(page.get())->RowHeap;
            for (uint32_t at = 12; at != 0; at = BlockAt(heap, at)->NextBlock)
                used += BlockAt(heap, at)->Used;
            EXPECT_EQ(uint32_t(std::min(now, 30)), used);
            for (uint32_t r = 0; r < uint32_t(now); ++r)
                ASSERT_EQ(r < 30 ? RandomRow(256, 1 + r, r) : Bits(256, false),
                          GetBits(page.get(), r)) << r;
            if (!run.fired) {
                EXPECT_EQ(0u, page->CurrentRow);
                EXPECT_EQ(0u, page->CurrentRowOffset);
            }
        });
        EXPECT_EQ(1, failures) << height; // the table's reallocation
        EXPECT_EQ(before, LiveUsage());
    }
}

} // namespace
} // namespace ztk::testing

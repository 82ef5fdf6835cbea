// Compressed storage through the bitmap calls: allocation, release and
// height changes, with their allocation-failure sweeps.
#include <gtest/gtest.h>

#include <vector>

#include "compressed/heap.h"
#include "compressed/runs.h"
#include "tests/compressed/heap_check.h"
#include "tests/support/support.h"

namespace ztk::testing {
namespace {

using ztk::test::LiveUsage;

TEST(CompressedStorage, AllocationBuildsTableScratchAndHeap) {
    for (int32_t memory : {MEMORY_COMPRESSED, MEMORY_COMPRESSED | MEMORY_NODISK,
                           MEMORY_COMPRESSED | MEMORY_ANY,
                           MEMORY_COMPRESSED | MEMORY_DISK}) {
        const auto before = LiveUsage();
        {
            Bitmap page(1000, 1000, 1);
            page->Flags |= BITMAP_LOCKED | BITMAP_MIRROR | BITMAP_GLOBALBLOCK;
            // Whatever accompanies it, the request becomes 768.
            const int32_t result = Z_AllocateBitmap(page.get(), memory);
            ASSERT_EQ(Z_OK, result) << memory;
            EXPECT_EQ(BITMAP_ALLOCATED | BITMAP_INMEMORY | BITMAP_COMPRESSED,
                      page->Flags);
            EXPECT_EQ(128000u, page->Size); // the heap takes over on a put
            RowTable *table = TableOf(page.get());
            EXPECT_EQ(262144u, HeapSizeOf(page.get()));
            EXPECT_GE(table->ScratchSize, 1000u * 2 + 2);
            EXPECT_EQ(0u, table->Reserved);
            for (int32_t r = 0; r < 1000; ++r)
                ASSERT_EQ(0u, EntriesOf(table)[r].Offset);
            const auto held = LiveUsage();
            EXPECT_EQ(before.blocks + 3, held.blocks);
            EXPECT_EQ(before.bytes + 262144 + 1000 * 8 + int64_t(sizeof(RowTable)) +
                          table->ScratchSize,
                      held.bytes);
        }
        EXPECT_TRUE(before == LiveUsage());
    }
}

// In a 32-bit build the table is Height * 8 + 16 bytes, as hosts know it.
TEST(CompressedStorage, TableHeaderIsFourWordsIn32BitBuilds) {
    if (sizeof(void *) == 4) {
        EXPECT_EQ(16u, sizeof(RowTable));
    }
    EXPECT_EQ(8u, sizeof(RowEntry));
    EXPECT_EQ(uint32_t(sizeof(RowTable)) + 8000, RowTableBytes(1000));
    EXPECT_EQ(0u, RowTableBytes(-1));
}

TEST(CompressedStorage, OnlyOneBitBitmapsAreCompressed) {
    Bitmap gray(10, 10, 8);
    EXPECT_EQ(Z_OK, Z_AllocateBitmap(gray.get(), MEMORY_COMPRESSED | MEMORY_NODISK));
    EXPECT_EQ(0u, gray->Flags & BITMAP_COMPRESSED);
    Bitmap alone(10, 10, 8);
    EXPECT_EQ(Z_ERR_PARAM, Z_AllocateBitmap(alone.get(), MEMORY_COMPRESSED));
}

TEST(CompressedStorage, FreeReleasesEverything) {
    const auto before = LiveUsage();
    Bitmap page(300, 40, 1);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
    const auto row = Pattern(40, 3);
    for (uint32_t r = 0; r < 40; ++r)
        ASSERT_EQ(40, Z_PutBitmapRow(page.get(), row.data(), r, 40));
    Z_FreeBitmap(page.get());
    EXPECT_EQ(0u, page->Flags & (BITMAP_ALLOCATED | BITMAP_COMPRESSED));
    EXPECT_TRUE(before == LiveUsage());
    Z_FreeBitmap(page.get()); // a second free does nothing
    EXPECT_TRUE(before == LiveUsage());
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
            EXPECT_TRUE(before == LiveUsage()) << nth;
        } else {
            EXPECT_EQ(Z_OK, run.result);
        }
    });
    EXPECT_EQ(3, failures); // table, scratch, heap
    EXPECT_TRUE(before == LiveUsage());
}

// Rows 0..height-1 each hold a distinct pattern.
void FillRows(BitmapHandle *page) {
    for (int32_t r = 0; r < page->Height; ++r) {
        const auto row = Pattern(page->BytesPerLine, uint32_t(r));
        ASSERT_EQ(int32_t(page->BytesPerLine),
                  Z_PutBitmapRow(page, row.data(), uint32_t(r), page->BytesPerLine));
    }
}

void ExpectRows(BitmapHandle *page, int32_t filled) {
    std::vector<uint8_t> got(page->BytesPerLine);
    for (int32_t r = 0; r < page->Height; ++r) {
        auto want = r < filled ? Pattern(page->BytesPerLine, uint32_t(r))
                               : std::vector<uint8_t>(page->BytesPerLine, 0);
        ASSERT_EQ(int32_t(page->BytesPerLine),
                  Z_GetBitmapRow(page, got.data(), uint32_t(r), page->BytesPerLine));
        ASSERT_EQ(want, got) << "row " << r;
    }
}

TEST(CompressedStorage, HeightChangesFreeCutRowsAndAddEmptyOnes) {
    Bitmap page(256, 30, 1);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
    FillRows(page.get());
    const uint32_t size = page->Size;
    page->CurrentRow = 7;
    page->CurrentRowOffset = 7 * 32;
    ASSERT_EQ(Z_OK, Z_ChangeBitmapHeight(page.get(), 12));
    EXPECT_EQ(12, page->Height);
    EXPECT_EQ(0u, page->CurrentRow);
    EXPECT_EQ(0u, page->CurrentRowOffset);
    EXPECT_EQ(size, page->Size);
    EXPECT_TRUE(StorageIsValid(page.get()));
    ASSERT_EQ(Z_OK, Z_ChangeBitmapHeight(page.get(), 40));
    EXPECT_EQ(40, page->Height);
    EXPECT_TRUE(StorageIsValid(page.get()));
    ExpectRows(page.get(), 12);
    // The freed blocks are back in the heap: only twelve rows hold blocks.
    uint32_t used = 0;
    for (uint32_t at = 12; at != 0; at = BlockAt(TableOf(page.get())->RowHeap, at)->NextBlock)
        used += BlockAt(TableOf(page.get())->RowHeap, at)->Used;
    EXPECT_EQ(12u, used);
    EXPECT_EQ(Z_OK, Z_ChangeBitmapHeight(page.get(), 0));
    EXPECT_EQ(0, page->Height);
}

TEST(CompressedStorage, HeightChangeFailures) {
    for (int32_t height : {10, 50}) {
        const auto before = LiveUsage();
        {
            Bitmap page(256, 30, 1);
            ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
            FillRows(page.get());
            {
                FailureScope fail(1);
                EXPECT_EQ(Z_ERR_NOMEM, Z_ChangeBitmapHeight(page.get(), height));
                EXPECT_TRUE(fail.fired());
            }
            // A shrink has lost its rows and takes the height; growth doesn't.
            EXPECT_EQ(height < 30 ? height : 30, page->Height);
            EXPECT_TRUE(StorageIsValid(page.get()));
            ExpectRows(page.get(), page->Height);
        }
        EXPECT_TRUE(before == LiveUsage());
    }
}

TEST(CompressedStorage, LockAndAccessLeaveCompressedBitmapsAlone) {
    Bitmap page(64, 4, 1);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(page.get(), MEMORY_COMPRESSED));
    void *table = page->Data;
    EXPECT_EQ(0, Z_LockBitmap(page.get()));
    Z_AccessBitmap(page.get());
    EXPECT_EQ(table, page->Data);
    EXPECT_EQ(0u, page->Flags & BITMAP_LOCKED);
}

} // namespace
} // namespace ztk::testing

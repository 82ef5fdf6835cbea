// In-heap row edits: mirroring a stored row, placing a row between
// margins, and a quarter turn built column by column.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "compressed/rows.h"
#include "tests/compressed/heap_check.h"
#include "tests/support/support.h"

namespace ztk::testing {
namespace {

struct Page : Bitmap {
    Page(int32_t width, int32_t height) : Bitmap(width, height, 1) {
        EXPECT_EQ(Z_OK, Z_AllocateBitmap(&h, MEMORY_COMPRESSED));
    }
};

void Store(BitmapHandle *page, uint32_t row, const std::vector<uint16_t> &codes) {
    std::vector<uint16_t> rec(2);
    const uint32_t n = uint32_t(codes.size());
    std::memcpy(rec.data(), &n, 4);
    rec.insert(rec.end(), codes.begin(), codes.end());
    ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(page, nullptr, rec.data(), int32_t(row), 1));
}

TEST(RowEdits, MirrorInPlace) {
    struct Case { std::vector<uint16_t> in, out; };
    const Case cases[] = {
        {{3, 5}, {0, 5, 3}},
        {{0, 5, 3}, {3, 5}},
        {{0, 8}, {0, 8}},
        {{8}, {8}},
        {{1, 2, 3, 2}, {0, 2, 3, 2, 1}},
    };
    for (const Case &c : cases) {
        Page page(8, 1);
        Store(page.get(), 0, c.in);
        ASSERT_EQ(Z_OK, CompressedRowMirror(page.get(), 0));
        EXPECT_EQ(c.out, StoredCodes(page.get(), 0));
        EXPECT_TRUE(StorageIsValid(page.get()));
    }
    Page page(8, 1);
    EXPECT_EQ(Z_OK, CompressedRowMirror(page.get(), 0)); // unset
    EXPECT_EQ(0u, EntryOf(page.get(), 0)->Offset);
}

TEST(RowEdits, MirrorOfRandomRowsReversesThePixels) {
    Page page(999, 30);
    for (uint32_t r = 0; r < 30; ++r) {
        Bits bits = RandomRow(999, 1 + r, r);
        Store(page.get(), r, CanonicalCodes(bits));
        ASSERT_EQ(Z_OK, CompressedRowMirror(page.get(), r));
        EXPECT_EQ(CanonicalCodes(Bits(bits.rbegin(), bits.rend())),
                  StoredCodes(page.get(), r));
    }
    EXPECT_TRUE(StorageIsValid(page.get()));
}

TEST(RowEdits, PlaceBetweenMargins) {
    struct Case {
        std::vector<uint16_t> source;  // empty: unset
        uint32_t offset, margin;
        std::vector<uint16_t> placed;
    };
    const Case cases[] = {
        {{3, 5}, 4, 0, {7, 5, 8}},
        {{3, 5}, 4, 1, {0, 4, 3, 13}},
        {{3, 5}, 0, 1, {3, 17}},
        {{0, 8}, 0, 0, {0, 8, 12}},
        {{0, 8}, 12, 1, {0, 12, 0, 8}},  // no merging across the margin
        {{8}, 12, 0, {20}},
        {{}, 6, 1, {0, 6, 8, 6}},
    };
    for (const Case &c : cases) {
        Page from(8, 1), to(20, 1);
        if (!c.source.empty())
            Store(from.get(), 0, c.source);
        ASSERT_EQ(Z_OK, CompressedRowPlace(to.get(), from.get(), 0, c.offset, c.margin));
        EXPECT_EQ(c.placed, StoredCodes(to.get(), 0)) << c.offset << "/" << c.margin;
        EXPECT_TRUE(StorageIsValid(to.get()));
    }
}

// The quarter turn: destination row x is source column x, top to bottom.
TEST(RowEdits, ColumnAppendTransposes) {
    const uint32_t width = 37, height = 23;
    std::vector<Bits> rows;
    for (uint32_t r = 0; r < height; ++r)
        rows.push_back(RandomRow(width, 1 + r % 4, r));
    Page turned{int32_t(height), int32_t(width)};
    std::vector<RotateRunTracker> trackers(width);
    for (uint32_t x = 0; x < width; ++x)
        trackers[x] = RotateRunTracker{0, 0xFFFF, EntryOf(turned.get(), x)};
    for (uint32_t r = 0; r < height; ++r) {
        auto codes = CanonicalCodes(rows[r]);
        ASSERT_EQ(Z_OK, CompressedColumnAppend(turned.get(), trackers.data(),
                                               codes.data(), uint32_t(codes.size())));
        ASSERT_TRUE(StorageIsValid(turned.get()));
    }
    ASSERT_EQ(Z_OK, CompressedColumnFinish(turned.get(), trackers.data()));
    ASSERT_TRUE(StorageIsValid(turned.get()));
    for (uint32_t x = 0; x < width; ++x) {
        Bits column;
        for (uint32_t r = 0; r < height; ++r)
            column.push_back(rows[r][x]);
        EXPECT_EQ(CanonicalCodes(column), StoredCodes(turned.get(), x)) << x;
    }
}

// One pixel for each tracker; a source row longer than the trackers
// stops at the last one.
TEST(RowEdits, ColumnAppendStopsAtTheLastTracker) {
    Page turned(4, 3);
    std::vector<RotateRunTracker> trackers(3);
    for (uint32_t x = 0; x < 3; ++x)
        trackers[x] = RotateRunTracker{0, 0xFFFF, EntryOf(turned.get(), x)};
    const std::vector<uint16_t> codes = {2, 60000, 5};
    EXPECT_EQ(Z_OK, CompressedColumnAppend(turned.get(), trackers.data(),
                                           codes.data(), 3));
    EXPECT_EQ(1, trackers[1].Zeros);
    EXPECT_EQ(0xFFFF, trackers[1].Ones);
    EXPECT_EQ(1, trackers[2].Ones);
}

} // namespace
} // namespace ztk::testing

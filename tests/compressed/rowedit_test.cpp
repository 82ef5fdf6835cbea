// In-heap row edits: mirroring a stored row (with the mirror of coded
// buffers, which follows the same rules), placing a row between margins,
// and a quarter turn built column by column.
#include <gtest/gtest.h>

#include "compressed/rows.h"
#include "tests/compressed/fixtures.h"

namespace ztk::testing {
namespace {

void Store(BitmapHandle *page, uint32_t row, const Codes &codes) {
    const auto rec = Record(codes);
    ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(page, nullptr, rec.data(), int32_t(row), 1));
}

// A mirrored row still starts with 0-bits: a row ending in 1-bits gains a
// zero first code, and a zero first code is not carried to the end.
void ExpectMirror(const std::vector<Codes> &rows, const std::vector<Codes> &want) {
    Page page(16, int32_t(rows.size())); // the mirror doesn't look at the width
    for (uint32_t r = 0; r < rows.size(); ++r) {
        Store(page.get(), r, rows[r]);
        ASSERT_EQ(Z_OK, CompressedRowMirror(page.get(), r));
        EXPECT_EQ(want[r], StoredCodes(page.get(), r)) << "row " << r;
    }
    EXPECT_TRUE(StorageIsValid(page.get()));
    const Codes in = BufferOf(rows);
    Codes out(in.size() + rows.size() + 1, 0xEEEE), expect = BufferOf(want);
    ASSERT_EQ(Z_OK, Z_MirrorCompressedBuffer(in.data(), out.data(), int32_t(rows.size())));
    expect.resize(out.size(), 0xEEEE);
    EXPECT_EQ(expect, out);
}

TEST(RowMirror, WorkedExamples) {
    ExpectMirror({{7, 1}, {0, 1, 7}, {0, 8}, {8}, {3, 5}, {0, 5, 3}, {4, 8, 4},
                  {0, 2, 6}, {1, 2, 3, 2}},
                 {{0, 1, 7}, {7, 1}, {0, 8}, {8}, {0, 5, 3}, {3, 5}, {4, 8, 4},
                  {6, 2}, {0, 2, 3, 2, 1}});
    Page page(8, 1);
    EXPECT_EQ(Z_OK, CompressedRowMirror(page.get(), 0)); // unset
    EXPECT_EQ(0u, EntryOf(page.get(), 0)->Offset);
    EXPECT_EQ(Z_ERR_PARAM, CompressedRowMirror(page.get(), 1));
    Codes out(4);
    EXPECT_EQ(Z_ERR_PARAM, Z_MirrorCompressedBuffer(nullptr, out.data(), 1));
    EXPECT_EQ(Z_ERR_PARAM, Z_MirrorCompressedBuffer(out.data(), nullptr, 1));
}

TEST(RowMirror, RandomRowsReverseThePixels) {
    std::vector<Codes> rows, want;
    for (uint32_t r = 0; r < 30; ++r) {
        const Bits bits = RandomRow(999, 1 + r, r);
        rows.push_back(CanonicalCodes(bits));
        want.push_back(CanonicalCodes(Bits(bits.rbegin(), bits.rend())));
    }
    ExpectMirror(rows, want);
}

TEST(RowEdits, PlaceBetweenMargins) {
    struct Case {
        Codes source; // empty: unset
        uint32_t offset, margin;
        Codes placed;
    };
    const Case cases[] = {
        {{3, 5}, 4, 0, {7, 5, 8}},
        {{3, 5}, 4, 1, {0, 4, 3, 13}},
        {{3, 5}, 0, 1, {3, 17}},
        {{0, 8}, 0, 0, {0, 8, 12}},
        {{0, 8}, 12, 1, {0, 12, 0, 8}}, // no merging across the margin
        {{8}, 12, 0, {20}},
        {{}, 6, 1, {0, 6, 8, 6}},
    };
    for (const Case &c : cases) {
        Page from(8, 1), to(20, 1);
        if (!c.source.empty())
            Store(from.get(), 0, c.source);
        Store(to.get(), 0, {1, 19}); // replaced, its block given back
        ASSERT_EQ(Z_OK, CompressedRowPlace(to.get(), from.get(), 0, c.offset, c.margin));
        EXPECT_EQ(c.placed, StoredCodes(to.get(), 0)) << c.offset << "/" << c.margin;
        EXPECT_TRUE(StorageIsValid(to.get()));
    }
}

// The quarter turn: destination row x is source column x, top to bottom.
// A source row longer than the trackers stops at the last one.
TEST(RowEdits, ColumnAppendTransposes) {
    const uint32_t width = 37, height = 23;
    std::vector<Bits> rows;
    for (uint32_t r = 0; r < height; ++r)
        rows.push_back(RandomRow(width, 1 + r % 4, r));
    rows.push_back(Bits(width + 5, true));
    Page turned{int32_t(height + 1), int32_t(width)};
    std::vector<RotateRunTracker> trackers(width);
    for (uint32_t x = 0; x < width; ++x)
        trackers[x] = RotateRunTracker{0, 0xFFFF, EntryOf(turned.get(), x)};
    for (const Bits &row : rows) {
        const Codes codes = CanonicalCodes(row);
        ASSERT_EQ(Z_OK, CompressedColumnAppend(turned.get(), trackers.data(),
                                               codes.data(), uint32_t(codes.size())));
        ASSERT_TRUE(StorageIsValid(turned.get()));
    }
    ASSERT_EQ(Z_OK, CompressedColumnFinish(turned.get(), trackers.data()));
    ASSERT_TRUE(StorageIsValid(turned.get()));
    for (uint32_t x = 0; x < width; ++x) {
        Bits column;
        for (const Bits &row : rows)
            column.push_back(row[x]);
        EXPECT_EQ(CanonicalCodes(column), StoredCodes(turned.get(), x)) << x;
    }
}

} // namespace
} // namespace ztk::testing

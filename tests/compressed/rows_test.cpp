// The plain row calls on compressed 1-bit bitmaps: whole rows, column
// variants, counts, the partial-write faults kept on purpose, random
// sequences under the heap checker, and allocation-failure sweeps.
#include <gtest/gtest.h>

#include <random>

#include "compressed/rows.h"
#include "tests/compressed/fixtures.h"

namespace ztk::testing {
namespace {

using ztk::test::LiveUsage;

// Reads start at the byte holding the column and give 0 past the width
// and for unset rows; bits past the width are not stored; out-of-range
// rows and columns, and a width of 0, are refused. The row cache is left
// alone throughout.
TEST(CompressedRows, ColumnsBytesAndBounds) {
    Page page(40, 2);
    page->CurrentRow = 123;
    page->CurrentRowOffset = 4567;
    const auto bytes = Pattern(page.stride(), 4);
    PutBits(page.get(), 0, BitsOf(bytes.data(), 40));
    struct Case { uint32_t row, column, count, from; };
    const Case cases[] = {{0, 0, 5, 0}, {0, 3, 2, 0}, {0, 8, 4, 1}, {0, 13, 3, 1},
                          {0, 39, 1, 4}, {0, 32, 4, 4}, {1, 30, 3, 3},
                          {0, 8, 10, 1}}; // past the stride the row starts again
    for (const Case &c : cases) {
        std::vector<uint8_t> got(c.count + 1, 0x77);
        ASSERT_EQ(int32_t(c.count),
                  Z_GetBitmapRowCol(page.get(), got.data(), c.row, c.column, c.count));
        for (uint32_t i = 0, at = c.from; i < c.count; ++i, at = (at + 1) % page.stride()) {
            const uint8_t want = c.row == 0 && at < 5 ? bytes[at] : 0;
            EXPECT_EQ(want, got[i]) << c.column << " byte " << i;
        }
        EXPECT_EQ(0x77, got[c.count]);
    }
    Page narrow(10, 2);
    const std::vector<uint8_t> ones(narrow.stride(), 0xFF);
    ASSERT_EQ(4, Z_PutBitmapRow(narrow.get(), ones.data(), 0, 4));
    EXPECT_EQ((Codes{0, 10}), StoredCodes(narrow.get(), 0));
    std::vector<uint8_t> got(4, 0x11);
    ASSERT_EQ(4, Z_GetBitmapRow(narrow.get(), got.data(), 0, 4));
    EXPECT_EQ((std::vector<uint8_t>{0xFF, 0xC0, 0, 0}), got);
    EXPECT_EQ(Z_ERR_PARAM, Z_GetBitmapRowCol(page.get(), got.data(), 0, 40, 1));
    EXPECT_EQ(Z_ERR_PARAM, Z_PutBitmapRowCol(page.get(), got.data(), 0, 47, 1));
    EXPECT_EQ(Z_ERR_PARAM, Z_GetBitmapRow(page.get(), got.data(), 2, 1));
    EXPECT_EQ(Z_ERR_PARAM, Z_PutBitmapRow(page.get(), got.data(), 2, 1));
    ASSERT_EQ(3, Z_PutBitmapRowCol(page.get(), got.data(), 1, 8, 3));
    EXPECT_EQ(123u, page->CurrentRow);
    EXPECT_EQ(4567u, page->CurrentRowOffset);
    page->Width = 0;
    EXPECT_EQ(Z_ERR_PARAM, Z_PutBitmapRow(page.get(), got.data(), 0, 1));
    page->Width = 40;
}

// A long read repeats the row; a long write goes on into the next rows,
// and past the last row the rest has nowhere to go.
TEST(CompressedRows, LongCountsReadTheSameRowButWriteOnward) {
    Page page(40, 4);
    const uint32_t s = page.stride();
    const auto two = Pattern(2 * s, 9);
    ASSERT_EQ(int32_t(2 * s), Z_PutBitmapRow(page.get(), two.data(), 1, 2 * s));
    EXPECT_EQ(BitsOf(two.data(), 40), GetBits(page.get(), 1));
    EXPECT_EQ(BitsOf(two.data() + s, 40), GetBits(page.get(), 2));
    std::vector<uint8_t> got(2 * s);
    ASSERT_EQ(int32_t(2 * s), Z_GetBitmapRow(page.get(), got.data(), 1, 2 * s));
    EXPECT_EQ(std::vector<uint8_t>(got.begin(), got.begin() + s),
              std::vector<uint8_t>(got.begin() + s, got.end()));
    ASSERT_EQ(int32_t(2 * s), Z_PutBitmapRow(page.get(), two.data(), 3, 2 * s));
    EXPECT_EQ(BitsOf(two.data(), 40), GetBits(page.get(), 3));
    EXPECT_EQ(0, Z_PutBitmapRow(page.get(), two.data(), 0, 0));
    EXPECT_EQ(0, Z_GetBitmapRow(page.get(), got.data(), 0, 0));
}

// Column 3 acts at pixel 0: the write covers the whole first byte. On an
// unset row a piece further in is exact, with 0-bits round it.
TEST(CompressedRows, PutColumnActsAtTheWholeByte) {
    Page page(16, 1), other(24, 1);
    const uint8_t piece[2] = {0x81, 0x3C}, one = 0xFF;
    ASSERT_EQ(2, Z_PutBitmapRowCol(page.get(), piece, 0, 3, 2));
    EXPECT_EQ(BitsOf(piece, 16), GetBits(page.get(), 0));
    ASSERT_EQ(1, Z_PutBitmapRowCol(other.get(), &one, 0, 9, 1));
    EXPECT_EQ((Codes{8, 8, 8}), StoredCodes(other.get(), 0));
    // Joined to the 48 0-bits before it, a solid piece splits where a
    // further byte no longer fits, as a row coded whole does.
    Page wide(70000, 1);
    const std::vector<uint8_t> zeros((70000 - 48) / 8, 0);
    ASSERT_EQ(8744, Z_PutBitmapRowCol(wide.get(), zeros.data(), 0, 48, 8744));
    EXPECT_EQ((Codes{65528, 0, 4472}), StoredCodes(wide.get(), 0));
}

// A partial write through the plain call against the exact splice of
// Z_PutBitmapRowColCompressed, one byte written over a row.
TEST(CompressedRows, PartialWritesKeepTheirFaults) {
    struct Case {
        const char *name;
        int32_t width;
        std::vector<uint8_t> row; // empty: the row stays unset
        uint32_t column;
        uint8_t byte;
        Codes spliced;  // codes after the partial write
        bool staleLast; // and one more: whatever its place held
        Codes exact;
    };
    const Case cases[] = {
        // The tail is empty and the piece grows by one code: the codes from
        // the last replaced one move up, the final one drops out, and the
        // place after them keeps what it held.
        {"grow at end", 16, {0x00, 0xFF}, 0, 0xFF, {0, 8}, true, {0, 16}},
        {"grow mid", 24, {0x00, 0xFF, 0x00}, 0, 0x0F, {4, 4, 8}, true, {4, 12, 8}},
        {"colour break", 16, {0x0F, 0x00}, 0, 0xF0, {0, 4, 4}, true, {0, 4, 12}},
        // Shrinking by one: moved down from the last replaced code.
        {"shrink", 24, {0x0F, 0x00, 0xFF}, 0, 0x00, {8, 8, 8}, false, {16, 8}},
        // Splices that come out exact.
        {"join", 16, {0x00, 0xFF}, 8, 0x00, {16}, false, {16}},
        {"inside a run", 24, {0x00, 0x00, 0x00}, 8, 0xFF, {8, 8, 8}, false, {8, 8, 8}},
        {"unset", 24, {}, 8, 0xFF, {8, 8, 8}, false, {8, 8, 8}},
        {"same count", 16, {0x0F, 0x0F}, 8, 0x3F, {4, 4, 2, 6}, false, {4, 4, 2, 6}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Page quirky(c.width, 1), exact(c.width, 1);
        if (!c.row.empty()) {
            for (Page *p : {&quirky, &exact})
                PutBits(p->get(), 0, BitsOf(c.row.data(), uint32_t(c.width)));
        }
        Codes want = c.spliced;
        if (c.staleLast) {
            uint16_t held;
            std::memcpy(&held, TableOf(quirky.get())->RowHeap +
                                   EntryOf(quirky.get(), 0)->Offset + 24 +
                                   2 * c.spliced.size(), 2);
            want.push_back(held);
        }
        ASSERT_EQ(1, Z_PutBitmapRowCol(quirky.get(), &c.byte, 0, c.column, 1));
        EXPECT_EQ(want, StoredCodes(quirky.get(), 0));
        EXPECT_TRUE(StorageIsValid(quirky.get()));

        const auto piece = Record(CanonicalCodes(BitsOf(&c.byte, 8)));
        ASSERT_EQ(8, Z_PutBitmapRowColCompressed(exact.get(), nullptr, piece.data(),
                                                 0, c.column, 8));
        EXPECT_EQ(c.exact, StoredCodes(exact.get(), 0));
        EXPECT_EQ(HeapSizeOf(exact.get()), exact->Size);
    }
}

// Codes are stored unchecked. A row too short for the pixels written, or
// one whose splice would not fit the scratch buffer, is refused and left
// as it was, never walked or written past.
TEST(CompressedRows, UncheckedStoredCodesAreRefusedNotOverrun) {
    Page page(64, 2);
    Codes zeros(200, 0);
    zeros.push_back(64);
    const Codes bad = BufferOf({{3, 2}, zeros}), piece = Record({0, 2});
    ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(page.get(), nullptr, bad.data(), 0, 2));
    const uint8_t byte = 0xFF;
    EXPECT_EQ(Z_ERR_PARAM, Z_PutBitmapRowCol(page.get(), &byte, 0, 16, 1));
    EXPECT_EQ(Z_ERR_PARAM,
              Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 1, 63, 1));
    EXPECT_EQ((Codes{3, 2}), StoredCodes(page.get(), 0));
    EXPECT_EQ(zeros, StoredCodes(page.get(), 1));
    EXPECT_TRUE(StorageIsValid(page.get()));
    std::vector<uint8_t> got(8, 0x55);
    EXPECT_EQ(8, Z_GetBitmapRow(page.get(), got.data(), 0, 8));
    EXPECT_EQ((std::vector<uint8_t>{0x18, 0, 0, 0, 0, 0, 0, 0}), got);
}

// Whole rows, exact splices, partial writes, height changes, trims and
// growth in random order against a model of the pixels, at widths round
// byte and word boundaries and past a code; the storage is checked after
// every step. A row given a partial write is no longer predictable, but
// nothing may break.
TEST(CompressedRows, RandomSequencesKeepRowsAndHeapValid) {
    for (const int32_t width : {1, 7, 9, 32, 33, 1000, 2999, 70001}) {
        std::mt19937 rng{uint32_t(width)};
        const Bits blank(uint32_t(width), false);
        Page page(width, 24);
        std::vector<Bits> model(24, blank);
        std::vector<bool> dirty(24, false);
        // An unset row is one code of the width's low 16 bits: on wider
        // pages every row is written before it is spliced.
        const auto setRows = [&] {
            for (uint32_t r = 0; width > 65535 && r < uint32_t(page->Height); ++r)
                if (EntryOf(page.get(), r)->Offset == 0)
                    PutBits(page.get(), r, blank);
        };
        setRows();
        for (int step = 0; step < 250; ++step) {
            const uint32_t rows = uint32_t(page->Height);
            const uint32_t op = rng() % 20;
            const uint32_t row = rows ? rng() % rows : 0;
            const uint32_t mean = 1 + rng() % (rng() % 2 ? 8 : 4000);
            const uint32_t column = rng() % uint32_t(width);
            if (op < 6 && rows) {
                model[row] = RandomRow(uint32_t(width), mean, rng());
                dirty[row] = false;
                PutBits(page.get(), row, model[row]);
                ASSERT_EQ(HeapSizeOf(page.get()), page->Size);
            } else if (op < 12 && rows) {
                const uint32_t pixels = rng() % (uint32_t(width) - column + 1);
                const Bits piece = RandomRow(pixels, mean, rng());
                const auto rec = Record(CanonicalCodes(piece));
                ASSERT_EQ(int32_t(pixels),
                          Z_PutBitmapRowColCompressed(page.get(), nullptr, rec.data(),
                                                      row, column, pixels));
                std::copy(piece.begin(), piece.end(), model[row].begin() + column);
            } else if (op < 15 && rows) {
                const uint32_t count = 1 + rng() % 6;
                const auto bytes = Pattern(count, rng());
                const int32_t put =
                    Z_PutBitmapRowCol(page.get(), bytes.data(), row, column, count);
                ASSERT_TRUE(put == int32_t(count) || put == Z_ERR_PARAM);
                const uint32_t last = row + (column / 8 + count - 1) / page.stride();
                for (uint32_t r = row; r <= last && r < rows; ++r)
                    dirty[r] = true; // a write runs on into the next rows
            } else if (op < 17) {
                const int32_t height = int32_t(rng() % 30);
                ASSERT_EQ(Z_OK, Z_ChangeBitmapHeight(page.get(), height));
                model.resize(uint32_t(height), blank);
                dirty.resize(uint32_t(height), false);
                setRows();
            } else if (op < 18) {
                Z_TrimBitmapHeap(page.get());
            } else if (op < 19) {
                ASSERT_EQ(1, Z_GrowBitmapHeap(page.get(), rng() % 100000));
            } else if (rows) {
                std::vector<uint8_t> got(page.stride() * 2);
                ASSERT_EQ(int32_t(got.size()), Z_GetBitmapRow(page.get(), got.data(), row,
                                                              uint32_t(got.size())));
            }
            ASSERT_TRUE(StorageIsValid(page.get())) << width << " step " << step;
            if (row < uint32_t(page->Height) && !dirty[row]) {
                ASSERT_EQ(model[row], GetBits(page.get(), row))
                    << width << " step " << step << " row " << row;
            }
        }
        for (uint32_t r = 0; r < uint32_t(page->Height); ++r)
            if (!dirty[r]) {
                EXPECT_EQ(model[r], GetBits(page.get(), r)) << r;
            }
    }
}

// Each row write against a trimmed heap, with each acquisition failing in
// turn: the storage stays valid, nothing leaks, and the row is as stated
// (a whole-row write has given its old block back and leaves the row
// unset; the others keep the row's codes).
TEST(CompressedRows, FailedRowWritesLeaveTheStatedState) {
    const uint32_t width = 3000;
    const Bits busy = RandomRow(width, 1, 99);
    struct Op { const char *name; uint32_t row; bool unsetAfterFailure; };
    const Op ops[] = {{"whole row over a set row", 1, true},
                      {"whole row on an unset row", 5, true},
                      {"exact splice", 2, false},
                      {"partial write", 3, false},
                      {"codes", 0, false}};
    for (const Op &op : ops) {
        SCOPED_TRACE(op.name);
        const int32_t runs = SweepFailures([&](uint32_t nth, const auto &armed) {
            Page page(int32_t(width), 6);
            for (uint32_t r = 0; r < 4; ++r)
                PutBits(page.get(), r, RandomRow(width, 30, r));
            Z_TrimBitmapHeap(page.get());
            const auto before = LiveUsage();
            const Codes codes = StoredCodes(page.get(), op.row);
            const auto busyBytes = BytesOf(busy, page.stride());
            const auto busyRecord = Record(CanonicalCodes(busy));
            const SweepRun run = armed([&] {
                switch (&op - ops) {
                case 0: case 1:
                    return Z_PutBitmapRow(page.get(), busyBytes.data(), op.row,
                                          page.stride());
                case 2:
                    return Z_PutBitmapRowColCompressed(page.get(), nullptr,
                                                       busyRecord.data(), op.row, 5,
                                                       width - 5);
                case 3:
                    return Z_PutBitmapRowCol(page.get(), busyBytes.data(), op.row, 0,
                                             page.stride() - 8);
                default:
                    return Z_PutBitmapRowCompressed(page.get(), nullptr,
                                                    busyRecord.data(), int32_t(op.row), 1);
                }
            });
            EXPECT_TRUE(StorageIsValid(page.get())) << nth;
            EXPECT_EQ(HeapSizeOf(page.get()), page->Size) << nth;
            EXPECT_EQ(before.blocks, LiveUsage().blocks) << nth;
            if (!run.fired)
                return;
            EXPECT_EQ(Z_ERR_NOMEM, run.result) << nth;
            EXPECT_EQ(op.unsetAfterFailure ? Codes{} : codes,
                      StoredCodes(page.get(), op.row));
        });
        EXPECT_EQ(1, runs);
    }
}

} // namespace
} // namespace ztk::testing

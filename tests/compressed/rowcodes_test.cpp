// The ...Compressed family on compressed and plain 1-bit bitmaps.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/compressed/fixtures.h"

namespace ztk::testing {
namespace {

using ztk::test::LiveUsage;

// A 1-bit page, compressed or on one of the plain tiers.
struct AnyPage : TierScope, Bitmap {
    AnyPage(bool compressed, Tier tier, int32_t width, int32_t height)
        : TierScope(tier), Bitmap(width, height, 1) {
        EXPECT_EQ(Z_OK, Z_AllocateBitmap(&h, compressed ? MEMORY_COMPRESSED : MemoryFor(tier)));
    }
};

// Whole rows in (through both calls) and out on every tier, clipped to the
// last row, then random pieces running on into the next rows, which are
// the shortest codes of their pixels. Compressed rows move as they stand:
// empty runs stay, an unset row is one code of the width.
TEST(CompressedFamily, RowsAndPiecesOnEveryTier) {
    for (int kind = 0; kind < 4; ++kind) {
        SCOPED_TRACE(kind);
        const uint32_t width = 333, height = 7;
        const bool compressed = kind == 0;
        AnyPage page(compressed, Tier(std::max(kind - 1, 0)), width, height);
        std::vector<Codes> rows;
        std::vector<uint8_t> dirty(page->BytesPerLine, 0xA5);
        Bits all;
        for (uint32_t r = 0; r < height; ++r) {
            // A global block starts uncleared; a compressed row unset.
            const bool unset = compressed && r == height - 1;
            const Bits bits = unset ? Bits(width, false) : RandomRow(width, 1 + r * 3, r);
            all.insert(all.end(), bits.begin(), bits.end());
            rows.push_back(CanonicalCodes(bits));
            if (compressed && r == 4)
                rows.back().insert(rows.back().end(), {0, 0});
            const auto rec = Record(rows.back());
            if (unset)
                continue;
            if (r % 2 == 0) { // the work buffer's bytes past the row must not leak in
                ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(page.get(), dirty.data(), rec.data(),
                                                         int32_t(r), 1));
            } else { // on a plain bitmap the answer is the bytes written
                ASSERT_EQ(compressed ? int32_t(width) : int32_t(width + 7) / 8,
                          Z_PutBitmapRowColCompressed(page.get(), nullptr, rec.data(), r,
                                                      0, width));
            }
        }
        for (uint32_t r = 0; r < height; ++r)
            EXPECT_EQ(Bits(all.begin() + r * width, all.begin() + (r + 1) * width),
                      GetBits(page.get(), r, compressed || r % 2 == 0)) << r;
        Codes back(4 * width * height, 0xEEEE);
        ASSERT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, back.data(),
                                                 2, 100)); // clipped to 5 rows
        EXPECT_EQ(std::vector<Codes>(rows.begin() + 2, rows.end()), Records(back, 5));
        for (uint32_t i = 0; i < 60; ++i) {
            const uint32_t row = i % 3, column = (i * 37) % width;
            const uint32_t from = row * width + column;
            const uint32_t pixels = 1 + (i * 53) % (height * width - from);
            ASSERT_EQ(int32_t(pixels), Z_GetBitmapRowColCompressed(
                                           page.get(), nullptr, back.data(), row,
                                           column, pixels));
            const auto records = Records(back, (column + pixels - 1) / width + 1);
            for (size_t r = 0, at = from; r < records.size(); ++r) {
                const size_t end = std::min<size_t>(from + pixels, (at / width + 1) * width);
                EXPECT_EQ(CanonicalCodes(Bits(all.begin() + at, all.begin() + end)),
                          records[r]) << row << "/" << column << "/" << pixels;
                at = end;
            }
        }
        if (compressed) {
            EXPECT_TRUE(StorageIsValid(page.get()));
            EXPECT_EQ(HeapSizeOf(page.get()), page->Size);
        }
    }
}

TEST(CompressedFamily, DoorChecksAndTheLastRow) {
    Page page(500, 3);
    Codes out(8, 0xEEEE);
    EXPECT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 3, 1));
    EXPECT_EQ(Z_OK, Z_PutBitmapRowCompressed(page.get(), nullptr, out.data(), 3, 1));
    EXPECT_EQ(Codes(8, 0xEEEE), out);
    EXPECT_EQ(Z_ERR_PARAM, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 4, 1));
    EXPECT_EQ(Z_ERR_PARAM, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), -1, 1));
    EXPECT_EQ(Z_ERR_PARAM,
              Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(), 0, 500, 1));
    Bitmap unallocated(64, 2, 1), gray(64, 2, 8);
    EXPECT_EQ(Z_ERR_NOBITMAP, Z_GetBitmapRowCompressed(nullptr, nullptr, out.data(), 0, 1));
    EXPECT_EQ(Z_ERR_NOBITMAP,
              Z_PutBitmapRowColCompressed(unallocated.get(), nullptr, out.data(), 0, 0, 8));
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(gray.get(), MEMORY_NODISK));
    EXPECT_EQ(Z_ERR_BITSPERPIXEL,
              Z_GetBitmapRowColCompressed(gray.get(), nullptr, out.data(), 0, 0, 8));
}

// An unset row is one code of the width's low 16 bits, which only rows up
// to 65535 pixels wide can be, when read with the rows; read as a piece
// of Width pixels it comes in runs of 32767, the alternation striping it,
// and the call answers with the last run.
TEST(CompressedFamily, UnsetRowsAsCodes) {
    struct Case { int32_t width; Codes pieces; int32_t result; };
    const Case cases[] = {
        {500, {500}, 500},
        {32767, {32767}, 32767},
        {32768, {32767, 1}, 1},
        {65534, {32767, 32767}, 32767},
        {65535, {32767, 32767, 1}, 1},
        {70000, {32767, 32767, 4466}, 4466},
    };
    for (const Case &c : cases) {
        Page page(c.width, 1);
        Codes out(8, 0xEEEE);
        ASSERT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 0, 1));
        EXPECT_EQ(Codes{uint16_t(c.width)}, Records(out, 1)[0]) << c.width;
        EXPECT_EQ(c.result, Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(),
                                                        0, 0, uint32_t(c.width)));
        EXPECT_EQ(c.pieces, Records(out, 1)[0]) << c.width;
    }
}

// On a plain bitmap a piece is written as whole bytes at the column's
// byte, and must stay inside the storage.
TEST(CompressedFamily, PlainPutsWriteWholeBytesInsideTheStorage) {
    struct Case { uint32_t row, column, pixels; int32_t result; };
    const Case cases[] = {{0, 13, 8, 1}, {0, 0, 64, 8}, {1, 8, 64, Z_ERR_PARAM},
                          {2, 0, 8, Z_ERR_PARAM}, {0, 32, 8, Z_ERR_PARAM}};
    for (const Case &c : cases) {
        AnyPage page(false, Tier::Mapping, 32, 2);
        const auto piece = Record({0, 4, 4, 60});
        EXPECT_EQ(c.result, Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(),
                                                        c.row, c.column, c.pixels));
        Bits want(64, false);
        for (uint32_t i = 0; c.result > 0 && i < c.pixels; ++i)
            want[c.column / 8 * 8 + i] = i < 4 || i >= 8;
        Bits got = GetBits(page.get(), 0), second = GetBits(page.get(), 1);
        got.insert(got.end(), second.begin(), second.end());
        EXPECT_EQ(want, got) << c.row << "/" << c.column;
    }
}

TEST(CompressedFamily, PlainTiersSweepTheWorkBuffer) {
    AnyPage page(false, Tier::Mapping, 100, 2);
    const auto before = LiveUsage();
    Codes buffer(2 * 110);
    const int32_t failures = SweepFailures([&](uint32_t nth, const auto &armed) {
        const SweepRun run = armed([&] {
            return Z_GetBitmapRowCompressed(page.get(), nullptr, buffer.data(), 0, 2);
        });
        EXPECT_EQ(run.fired ? Z_ERR_NOMEM : Z_OK, run.result) << nth;
        EXPECT_EQ(before, LiveUsage()) << nth;
    });
    EXPECT_EQ(1, failures);
}

} // namespace
} // namespace ztk::testing

// The ...Compressed family on compressed and plain 1-bit bitmaps.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "compressed/heap.h"
#include "tests/compressed/heap_check.h"
#include "tests/support/support.h"

namespace ztk::testing {
namespace {

using ztk::test::LiveUsage;

std::vector<uint16_t> Record(const std::vector<uint16_t> &codes) {
    std::vector<uint16_t> out(2);
    const uint32_t n = uint32_t(codes.size());
    std::memcpy(out.data(), &n, 4);
    out.insert(out.end(), codes.begin(), codes.end());
    return out;
}

// Splits a buffer of records into code lists.
std::vector<std::vector<uint16_t>> Records(const std::vector<uint16_t> &buffer,
                                           size_t rows) {
    std::vector<std::vector<uint16_t>> out;
    size_t at = 0;
    for (size_t r = 0; r < rows; ++r) {
        uint32_t n;
        std::memcpy(&n, buffer.data() + at, 4);
        out.emplace_back(buffer.begin() + at + 2, buffer.begin() + at + 2 + n);
        at += 2 + n;
    }
    return out;
}

enum class Kind { Compressed, Mapping, GlobalBlock, TemporaryFile };

const char *NameOf(Kind k) {
    switch (k) {
    case Kind::Compressed: return "compressed";
    case Kind::Mapping: return "mapping";
    case Kind::GlobalBlock: return "global block";
    case Kind::TemporaryFile: return "temporary file";
    }
    return "?";
}

struct AnyPage {
    TierScope tier;
    Bitmap page;
    AnyPage(Kind kind, int32_t width, int32_t height)
        : tier(kind == Kind::GlobalBlock     ? Tier::GlobalBlock
               : kind == Kind::TemporaryFile ? Tier::TemporaryFile
                                             : Tier::Mapping),
          page(width, height, 1) {
        const int32_t memory = kind == Kind::Compressed      ? MEMORY_COMPRESSED
                               : kind == Kind::TemporaryFile ? MEMORY_DISK
                                                             : MEMORY_NODISK;
        EXPECT_EQ(Z_OK, Z_AllocateBitmap(page.get(), memory));
    }
    BitmapHandle *get() { return page.get(); }
};

Bits ReadBits(BitmapHandle *page, uint32_t row) {
    const int32_t lock = Z_LockBitmap(page);
    std::vector<uint8_t> bytes(page->BytesPerLine);
    EXPECT_EQ(int32_t(page->BytesPerLine),
              Z_GetBitmapRow(page, bytes.data(), row, page->BytesPerLine));
    Z_UnlockBitmap(page, lock);
    return BitsOf(bytes.data(), uint32_t(page->Width));
}

const Kind kKinds[] = {Kind::Compressed, Kind::Mapping, Kind::GlobalBlock,
                       Kind::TemporaryFile};

TEST(CompressedFamily, WholeRowsRoundTripOnEveryTier) {
    for (Kind kind : kKinds) {
        SCOPED_TRACE(NameOf(kind));
        const int32_t width = 333, height = 7;
        AnyPage page(kind, width, height);
        std::vector<uint16_t> buffer;
        std::vector<Bits> rows;
        for (uint32_t r = 0; r < uint32_t(height); ++r) {
            rows.push_back(RandomRow(width, r + 1, r));
            auto rec = Record(CanonicalCodes(rows.back()));
            buffer.insert(buffer.end(), rec.begin(), rec.end());
        }
        ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(page.get(), nullptr, buffer.data(),
                                                 0, height));
        for (uint32_t r = 0; r < uint32_t(height); ++r)
            EXPECT_EQ(rows[r], ReadBits(page.get(), r)) << r;
        std::vector<uint16_t> back(buffer.size() + 8, 0xEEEE);
        ASSERT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, back.data(),
                                                 2, 100)); // clipped to 5 rows
        auto got = Records(back, 5);
        for (uint32_t r = 2; r < uint32_t(height); ++r)
            EXPECT_EQ(CanonicalCodes(rows[r]), got[r - 2]) << r;
        if (kind == Kind::Compressed) {
            EXPECT_TRUE(StorageIsValid(page.get()));
        }
    }
}

TEST(CompressedFamily, EmptyRowsAndTheLastRow) {
    AnyPage page(Kind::Compressed, 500, 3);
    std::vector<uint16_t> out(8, 0xEEEE);
    ASSERT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 1, 1));
    EXPECT_EQ(Record({500}), std::vector<uint16_t>(out.begin(), out.begin() + 3));
    std::fill(out.begin(), out.end(), 0xEEEE);
    EXPECT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 3, 1));
    EXPECT_EQ(Z_OK, Z_PutBitmapRowCompressed(page.get(), nullptr, out.data(), 3, 1));
    EXPECT_EQ(std::vector<uint16_t>(8, 0xEEEE), out);
    EXPECT_EQ(Z_ERR_PARAM, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 4, 1));
}

TEST(CompressedFamily, DoorChecks) {
    Bitmap unallocated(64, 2, 1);
    std::vector<uint16_t> out(64);
    EXPECT_EQ(Z_ERR_NOBITMAP, Z_GetBitmapRowCompressed(nullptr, nullptr, out.data(), 0, 1));
    EXPECT_EQ(Z_ERR_NOBITMAP,
              Z_PutBitmapRowColCompressed(unallocated.get(), nullptr, out.data(), 0, 0, 8));
    Bitmap gray(64, 2, 8);
    ASSERT_EQ(Z_OK, Z_AllocateBitmap(gray.get(), MEMORY_NODISK));
    EXPECT_EQ(Z_ERR_BITSPERPIXEL,
              Z_GetBitmapRowColCompressed(gray.get(), nullptr, out.data(), 0, 0, 8));
}

TEST(CompressedFamily, PiecesOfStoredRows) {
    AnyPage page(Kind::Compressed, 16, 2);
    const auto row = Record({8, 8});
    ASSERT_EQ(16, Z_PutBitmapRowColCompressed(page.get(), nullptr, row.data(), 0, 0, 16));
    std::vector<uint16_t> out(16, 0xEEEE);
    ASSERT_EQ(8, Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(), 0, 4, 8));
    EXPECT_EQ(Record({4, 4}), std::vector<uint16_t>(out.begin(), out.begin() + 4));
    ASSERT_EQ(3, Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(), 0, 9, 3));
    EXPECT_EQ(Record({0, 3}), std::vector<uint16_t>(out.begin(), out.begin() + 4));
    // Running on: the rest of row 0 and the start of (unset) row 1.
    ASSERT_EQ(12, Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(), 0, 12, 12));
    auto records = Records(out, 2);
    EXPECT_EQ((std::vector<uint16_t>{0, 4}), records[0]);
    EXPECT_EQ((std::vector<uint16_t>{8}), records[1]);
    EXPECT_EQ(Z_ERR_PARAM,
              Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(), 0, 16, 1));
}

// An unset row stands for one code of the width's low 16 bits, which only
// rows up to 65535 pixels wide can be.
TEST(CompressedFamily, UnsetRowsAreOneCodeOfTheWidth) {
    for (int32_t width : {65535, 70000}) {
        AnyPage page(Kind::Compressed, width, 1);
        std::vector<uint16_t> out(4, 0xEEEE);
        ASSERT_EQ(Z_OK, Z_GetBitmapRowCompressed(page.get(), nullptr, out.data(), 0, 1));
        EXPECT_EQ(Record({uint16_t(width)}),
                  std::vector<uint16_t>(out.begin(), out.begin() + 3));
    }
}

TEST(CompressedFamily, WideEmptyRowsComeInRunsOf32767) {
    struct Case { int32_t width; std::vector<uint16_t> codes; int32_t result; };
    const Case cases[] = {
        {32767, {32767}, 32767},
        {32768, {32767, 1}, 1},
        {70000, {32767, 32767, 4466}, 4466},
        {65534, {32767, 32767}, 32767},
    };
    for (const Case &c : cases) {
        AnyPage page(Kind::Compressed, c.width, 1);
        std::vector<uint16_t> out(8, 0xEEEE);
        EXPECT_EQ(c.result, Z_GetBitmapRowColCompressed(page.get(), nullptr, out.data(),
                                                        0, 0, uint32_t(c.width)));
        EXPECT_EQ(Record(c.codes),
                  std::vector<uint16_t>(out.begin(), out.begin() + 2 + c.codes.size()));
    }
}

// Pieces taken out of random rows match the pixels, on every tier.
TEST(CompressedFamily, RandomPiecesMatchThePixels) {
    for (Kind kind : kKinds) {
        SCOPED_TRACE(NameOf(kind));
        const uint32_t width = 200, height = 4;
        AnyPage page(kind, width, height);
        std::vector<Bits> rows;
        for (uint32_t r = 0; r < height; ++r) {
            rows.push_back(RandomRow(width, 1 + r * 3, r + 50));
            auto rec = Record(CanonicalCodes(rows.back()));
            // On a plain bitmap the answer is the byte count of the write.
            ASSERT_EQ(kind == Kind::Compressed ? int32_t(width) : int32_t(width + 7) / 8,
                      Z_PutBitmapRowColCompressed(page.get(), nullptr, rec.data(), r, 0,
                                                  width));
        }
        for (uint32_t i = 0; i < 60; ++i) {
            const uint32_t row = i % 3, column = (i * 37) % width;
            const uint32_t pixels =
                1 + (i * 53) % ((height - row) * width - column);
            std::vector<uint16_t> out(4 * width, 0xEEEE);
            ASSERT_EQ(int32_t(pixels), Z_GetBitmapRowColCompressed(page.get(), nullptr,
                                                                   out.data(), row,
                                                                   column, pixels));
            Bits want(rows[row].begin() + column, rows[row].end());
            for (uint32_t r = row + 1; want.size() < pixels; ++r)
                want.insert(want.end(), rows[r].begin(), rows[r].end());
            want.resize(pixels);
            Bits got;
            const size_t records = 1 + (column + pixels - 1) / width;
            for (const auto &codes : Records(out, records)) {
                Bits part = BitsOfCodes(codes);
                got.insert(got.end(), part.begin(), part.end());
            }
            ASSERT_EQ(want, got) << row << "/" << column << "/" << pixels;
        }
    }
}

// Between two compressed bitmaps whole rows move as codes, unexpanded.
TEST(CompressedFamily, CopiesBetweenCompressedBitmapsMoveCodes) {
    AnyPage from(Kind::Compressed, 1000, 3), to(Kind::Compressed, 1000, 3);
    for (uint32_t r = 0; r < 3; ++r) {
        auto rec = Record(CanonicalCodes(RandomRow(1000, 7, r)));
        ASSERT_EQ(1000, Z_PutBitmapRowColCompressed(from.get(), nullptr, rec.data(), r, 0, 1000));
    }
    std::vector<uint16_t> buffer(3 * 1004);
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(Z_OK, Z_GetBitmapRowCompressed(from.get(), nullptr, buffer.data(), 0, 3));
        ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(to.get(), nullptr, buffer.data(), 0, 3));
        const RowEntry kept = *EntryOf(to.get(), 1);
        for (uint32_t r = 0; r < 3; ++r)
            EXPECT_EQ(StoredCodes(from.get(), r), StoredCodes(to.get(), r));
        if (pass == 1) {
            EXPECT_EQ(kept.Offset, EntryOf(to.get(), 1)->Offset);
        }
    }
    EXPECT_EQ(HeapSizeOf(to.get()), to.get()->Size);
}

TEST(CompressedFamily, PlainPutOfAPieceWritesWholeBytes) {
    AnyPage page(Kind::Mapping, 32, 1);
    const auto piece = Record({0, 4, 4});
    ASSERT_EQ(1, Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 0, 13, 8));
    std::vector<uint8_t> bytes(4);
    Z_GetBitmapRow(page.get(), bytes.data(), 0, 4);
    EXPECT_EQ((std::vector<uint8_t>{0, 0xF0, 0, 0}), bytes);
}

// A piece that would run past the last row of a plain bitmap is refused.
TEST(CompressedFamily, PlainPutsStayInsideTheStorage) {
    AnyPage page(Kind::Mapping, 32, 2);
    const auto piece = Record({0, 64});
    EXPECT_EQ(8, Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 0, 0, 64));
    EXPECT_EQ(Z_ERR_PARAM,
              Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 1, 8, 64));
    EXPECT_EQ(Z_ERR_PARAM,
              Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 2, 0, 8));
    EXPECT_EQ(Z_ERR_PARAM,
              Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 0, 32, 8));
}

TEST(CompressedFamily, PlainTiersSweepTheWorkBuffer) {
    AnyPage page(Kind::Mapping, 100, 2);
    const auto before = LiveUsage();
    std::vector<uint16_t> buffer(2 * 110);
    const int32_t failures = SweepFailures([&](uint32_t nth, const auto &armed) {
        const SweepRun run = armed([&] {
            return Z_GetBitmapRowCompressed(page.get(), nullptr, buffer.data(), 0, 2);
        });
        EXPECT_EQ(run.fired ? Z_ERR_NOMEM : Z_OK, run.result) << nth;
        EXPECT_TRUE(before == LiveUsage()) << nth;
    });
    EXPECT_EQ(1, failures);
}

TEST(CompressedFamily, SplicesThatDontFitAreRefused) {
    AnyPage page(Kind::Compressed, 16, 1);
    // Stored codes are taken as they stand, however many zeros they hold.
    std::vector<uint16_t> zeros(200, 0);
    zeros.push_back(16);
    const auto bad = Record(zeros);
    ASSERT_EQ(Z_OK, Z_PutBitmapRowCompressed(page.get(), nullptr, bad.data(), 0, 1));
    const auto piece = Record({0, 2});
    EXPECT_EQ(Z_ERR_PARAM,
              Z_PutBitmapRowColCompressed(page.get(), nullptr, piece.data(), 0, 15, 1));
    EXPECT_EQ(zeros, StoredCodes(page.get(), 0));
    EXPECT_TRUE(StorageIsValid(page.get()));
}

} // namespace
} // namespace ztk::testing

// Z_PutBitmapRowSegments on every depth and tier, checked pixel by pixel
// against a plain model: pixel column + p takes source pixel p for each p
// of each stretch, except where the edge masks say otherwise.
#include <gtest/gtest.h>

#include "compressed/storage.h"
#include "tests/compressed/fixtures.h"
#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

using Bytes = std::vector<uint8_t>;
using List = std::vector<uint32_t>;

// The bits of a pixel that a write takes: a keeping write leaves the
// fourth byte at 32 bits and the top bit of 16-bit colour.
uint32_t TakenBits(const BitmapHandle *b, bool keep) {
    if (keep && b->BitsPerPixel == 32)
        return 0x00FFFFFFu;
    if (keep && b->BitsPerPixel == 16 && b->Order != 2)
        return 0x7FFFu;
    return PixelMask(b->BitsPerPixel);
}

Bytes Model(const BitmapHandle *b, Bytes row, const Bytes &source,
            uint32_t column, const List &list, bool keep) {
    const int32_t bits = b->BitsPerPixel;
    const uint32_t taken = TakenBits(b, keep);
    for (size_t i = 0; i + 1 < list.size(); i += 2) {
        for (uint32_t p = list[i]; p < list[i + 1]; ++p) {
            // At 2 bits a stretch from a byte's third pixel leaves its fourth.
            if (bits == 2 && (list[i] & 3) == 2 && p == list[i] + 1)
                continue;
            const uint32_t old = GetPixelBits(row.data(), column + p, bits);
            const uint32_t from = GetPixelBits(source.data(), p, bits);
            PutPixelBits(row.data(), column + p, bits,
                         (from & taken) | (old & ~taken));
        }
    }
    return row;
}

// One write on row 1 over a patterned row, compared with the model; pad
// bytes are part of the comparison.
void CheckWrite(BitmapHandle *b, uint32_t column, const List &list,
                bool keep, uint32_t seed) {
    const uint32_t stride = b->BytesPerLine;
    const Bytes before = Pattern(stride, seed);
    Bytes source = Pattern(stride + 4, seed + 1);
    const Bytes sourceBefore = source;
    BitmapLock lock(b);
    ASSERT_EQ(Z_PutBitmapRow(b, before.data(), 1, stride), int32_t(stride));
    ASSERT_EQ(Z_PutBitmapRowSegments(b, source.data(), 1, column, list.data(),
                                     uint32_t(list.size()), keep),
              Z_OK);
    Bytes after(stride);
    ASSERT_EQ(Z_GetBitmapRow(b, after.data(), 1, stride), int32_t(stride));
    ASSERT_EQ(after, Model(b, before, source, column, list, keep));
    ASSERT_EQ(source, sourceBefore);
}

TEST(RowSegments, EveryDepthStartAndEndAtEveryPhase) {
    for (int32_t bits : kAllDepths) {
        Bitmap b(61, 3, bits);
        ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
        const Bytes row0 = ReadRow(b.get(), 0);
        // Column 8 starts a byte at every depth.
        for (uint32_t column : {0u, 8u}) {
            for (uint32_t start = 0; start < 17; ++start) {
                for (uint32_t end = start + 1; end <= start + 19; ++end) {
                    SCOPED_TRACE(::testing::Message()
                                 << bits << " bits, column " << column << ", "
                                 << start << " to " << end);
                    CheckWrite(b.get(), column, {start, end}, false,
                               start * 31 + end);
                }
            }
        }
        EXPECT_EQ(ReadRow(b.get(), 0), row0);
    }
}

// Hand-worked cases of single stretches on a row of 0xFF bytes with a
// source of zeros: the bytes that change are the stretch's pixels.
TEST(RowSegments, EdgeMasksByHand) {
    struct Case {
        int32_t bits;
        uint32_t start, end;
        Bytes expected; // first bytes of the row afterwards
    } cases[] = {
        {1, 3, 5, {0xE7, 0xFF}},  // 0x1F & 0xF8 = 0x18 cleared
        {4, 1, 2, {0xF0, 0xFF}},  // the low nibble of byte 0 only
        {2, 2, 4, {0xF3, 0xFF}},  // pixel 2 alone: the start mask is 0x0C
        {2, 2, 7, {0xF3, 0x03, 0xFF}}, // 0x0C, then 0xFC in byte 1
        {3, 2, 6, {0xFC, 0x00, 0x3F}}, // bits 6 to 17
        {12, 1, 2, {0xFF, 0x0F, 0x00, 0xFF}}, // the odd pixel's 12 bits
        {12, 1, 4, {0xFF, 0x0F, 0x00, 0x00, 0x00, 0x00, 0xFF}}, // 2, 3 a pair
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << " bits, " << c.start
                                          << " to " << c.end);
        Bitmap b(40, 1, c.bits);
        ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
        const Bytes ones(b->BytesPerLine, 0xFF), zeros(b->BytesPerLine, 0);
        Z_PutBitmapRow(b.get(), ones.data(), 0, b->BytesPerLine);
        const List list{c.start, c.end};
        ASSERT_EQ(Z_PutBitmapRowSegments(b.get(), (void *)zeros.data(), 0, 0,
                                         list.data(), 2, 0),
                  Z_OK);
        const Bytes row = ReadRow(b.get(), 0);
        EXPECT_EQ(Bytes(row.begin(), row.begin() + c.expected.size()),
                  c.expected);
    }
}

const List kManyPairs{1, 2, 3, 9, 11, 12, 14, 30, 33, 34, 40, 53};

TEST(RowSegments, ManyPairsAndKeepOnEveryPlainTier) {
    for (Store store : {Store::Mapping, Store::GlobalBlock, Store::TemporaryFile}) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            for (int32_t order : {0, 2}) {
                if (order == 2 && bits != 16)
                    continue;
                SCOPED_TRACE(::testing::Message() << StoreName(store) << ", "
                             << bits << " bits, order " << order);
                Bitmap b(61, 3, bits);
                b->Order = order;
                ASSERT_EQ(Z_AllocateBitmap(b.get(), MemoryOf(store)), Z_OK);
                CheckWrite(b.get(), 8, kManyPairs, false, 3);
                // The file tier's keeping write leaves the file alone.
                const bool keeps = TakenBits(b.get(), true) != TakenBits(b.get(), false);
                if (store != Store::TemporaryFile || !keeps) {
                    CheckWrite(b.get(), 0, kManyPairs, true, 4);
                    continue;
                }
                const Bytes before = AllBytes(b.get());
                Bytes source = Pattern(b->BytesPerLine, 5);
                ASSERT_EQ(Z_PutBitmapRowSegments(b.get(), source.data(), 1, 0,
                                                 kManyPairs.data(), 12, 1),
                          Z_OK);
                EXPECT_EQ(AllBytes(b.get()), before);
                FailureScope failing(1); // the work buffer
                EXPECT_EQ(Z_PutBitmapRowSegments(b.get(), source.data(), 1, 0,
                                                 kManyPairs.data(), 12, 1),
                          Z_ERR_NOMEM);
            }
        }
    }
}

// An odd count ends its last stretch at the value after the list; empty
// and reversed stretches write nothing.
TEST(RowSegments, OddCountsAndEmptyStretches) {
    Bitmap b(40, 3, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
    const List list{2, 5, 9, 20};
    Bytes source = Pattern(b->BytesPerLine, 1);
    const Bytes before = Pattern(b->BytesPerLine, 2);
    Z_PutBitmapRow(b.get(), before.data(), 1, b->BytesPerLine);
    ASSERT_EQ(Z_PutBitmapRowSegments(b.get(), source.data(), 1, 0, list.data(), 3, 0),
              Z_OK);
    EXPECT_EQ(ReadRow(b.get(), 1),
              [&] {
                  Bytes r = Model(b.get(), before, source, 0, list, false);
                  r.resize(b->BytesPerLine + 4);
                  return r;
              }());
    for (List odd : {List{7, 7}, List{9, 3}}) {
        CheckWrite(b.get(), 0, odd, false, 9);
        for (int32_t bits : {2, 12}) {
            Bitmap small(40, 3, bits);
            ASSERT_EQ(Z_AllocateBitmap(small.get(), MEMORY_ANY), Z_OK);
            CheckWrite(small.get(), 0, odd, false, 9);
        }
    }
}

// Compressed rows, worked out in codes.
TEST(RowSegmentsCompressed, CodesByHand) {
    Page page(64, 2);
    const Bytes ones(page.stride(), 0xFF), zeros(page.stride(), 0);
    // An unset row of 0-bits takes 1-bits at 8 to 16 and 24 to 32.
    const List two{8, 16, 24, 32};
    ASSERT_EQ(Z_PutBitmapRowSegments(page.get(), (void *)ones.data(), 0, 0,
                                     two.data(), 4, 0),
              Z_OK);
    EXPECT_EQ(StoredCodes(page.get(), 0), (Codes{8, 8, 8, 8, 32}));
    // Zeros cut a run of 1-bits, one stretch starting inside a byte.
    PutBits(page.get(), 1, Bits(64, true));
    const List cuts{5, 13, 20, 21};
    ASSERT_EQ(Z_PutBitmapRowSegments(page.get(), (void *)zeros.data(), 1, 0,
                                     cuts.data(), 4, 0),
              Z_OK);
    EXPECT_EQ(StoredCodes(page.get(), 1), (Codes{0, 5, 8, 7, 1, 43}));
    // An empty list changes nothing but Size.
    page->Size = 0;
    ASSERT_EQ(Z_PutBitmapRowSegments(page.get(), (void *)zeros.data(), 1, 0,
                                     cuts.data(), 0, 0),
              Z_OK);
    EXPECT_EQ(StoredCodes(page.get(), 1), (Codes{0, 5, 8, 7, 1, 43}));
    EXPECT_EQ(page->Size, HeapSizeOf(page.get()));
    EXPECT_EQ(Z_PutBitmapRowSegments(page.get(), (void *)zeros.data(), 2, 0,
                                     cuts.data(), 4, 0),
              Z_ERR_PARAM);
}

Bits ModelBits(Bits row, const Bits &source, uint32_t column, const List &list) {
    for (size_t i = 0; i + 1 < list.size(); i += 2)
        for (uint32_t p = list[i]; p < list[i + 1]; ++p)
            row[column + p] = source[p];
    return row;
}

// Random rows and lists at byte and odd places, with a column offset:
// pixels as the model has them, codes as short as they can be, and the
// source as it was.
TEST(RowSegmentsCompressed, RandomListsMatchTheModel) {
    for (uint32_t seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        Page page(300, 1);
        const Bits old = RandomRow(300, 1 + seed % 9, seed);
        const Bits fresh = RandomRow(292, 1 + seed % 5, seed + 1000);
        if (seed % 4 != 0)
            PutBits(page.get(), 0, old);
        const Bits start = seed % 4 != 0 ? old : Bits(300, false);
        List list;
        uint32_t state = seed * 2654435761u + 1;
        for (uint32_t at = 0;;) {
            state = state * 1664525u + 1013904223u;
            const uint32_t from = at + (state >> 24) % 20;
            const uint32_t to = from + 1 + (state >> 12) % 40;
            if (to > 292)
                break;
            list.insert(list.end(), {from, to});
            at = to;
        }
        Bytes source = BytesOf(fresh, 40);
        const Bytes sourceBefore = source;
        const uint32_t column = 8 * (seed % 2);
        ASSERT_EQ(Z_PutBitmapRowSegments(page.get(), source.data(), 0, column,
                                         list.data(), uint32_t(list.size()), 0),
                  Z_OK);
        const Bits expected = ModelBits(start, fresh, column, list);
        ASSERT_EQ(GetBits(page.get(), 0), expected);
        ASSERT_EQ(StoredCodes(page.get(), 0), CanonicalCodes(expected));
        ASSERT_EQ(source, sourceBefore);
        ASSERT_TRUE(StorageIsValid(page.get()));
    }
}

// A heap that can't grow leaves the row as it was and Size up to date.
TEST(RowSegmentsCompressed, HeapFailureLeavesTheRow) {
    Page page(30000, 16);
    uint32_t failures = 0;
    for (uint32_t seed = 0; seed < 48; ++seed) {
        const uint32_t row = seed % 16;
        const Bits before = GetBits(page.get(), row);
        Bytes source = BytesOf(RandomRow(30000, 2, seed), 3750);
        const List list{3, 29999};
        int32_t result;
        bool fired;
        {
            FailureScope failing(1);
            result = Z_PutBitmapRowSegments(page.get(), source.data(), row, 0,
                                            list.data(), 2, 0);
            fired = failing.fired();
        }
        EXPECT_EQ(page->Size, HeapSizeOf(page.get()));
        if (!fired) {
            ASSERT_EQ(result, Z_OK);
            continue;
        }
        ++failures;
        EXPECT_EQ(result, Z_ERR_NOMEM);
        EXPECT_EQ(GetBits(page.get(), row), before);
        ASSERT_TRUE(StorageIsValid(page.get()));
    }
    EXPECT_GT(failures, 0u);
}

} // namespace
} // namespace ztk::testing

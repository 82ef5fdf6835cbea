// The four row calls on every plain storage tier.
#include <gtest/gtest.h>

#include <vector>

#include "core/packed.h"
#include "tests/support/support.h"

namespace {

using ztk::testing::Bitmap;
using ztk::testing::Pattern;
using ztk::testing::Tier;
using ztk::testing::TierScope;

class RowsOnTier : public ::testing::TestWithParam<Tier> {
  protected:
    // Allocated and locked for the test; the free releases the lock.
    void Allocate(Bitmap &b) {
        ASSERT_EQ(Z_AllocateBitmap(b.get(), ztk::testing::MemoryFor(GetParam())),
                  Z_OK);
        Z_LockBitmap(b.get());
    }

    TierScope host_{GetParam()};
};

TEST_P(RowsOnTier, RowsWrittenReadBackAtEveryDepth) {
    for (int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32}) {
        Bitmap b(37, 9, bits);
        Allocate(b);
        const uint32_t stride = b->BytesPerLine;
        std::vector<uint8_t> image = Pattern(stride * 9, uint32_t(bits));
        // Written out of order, so the cache takes every kind of step.
        for (uint32_t row : {4u, 5u, 6u, 5u, 0u, 8u, 7u, 1u, 2u, 3u})
            ASSERT_EQ(Z_PutBitmapRow(b.get(), &image[row * stride], row, stride),
                      int32_t(stride));
        std::vector<uint8_t> back(stride * 9);
        for (uint32_t row = 9; row-- > 0;)
            ASSERT_EQ(Z_GetBitmapRow(b.get(), &back[row * stride], row, stride),
                      int32_t(stride));
        EXPECT_EQ(back, image) << bits << " bits";
    }
}

TEST_P(RowsOnTier, CountsRunOnIntoTheNextRows) {
    Bitmap b(10, 6, 8);
    Allocate(b);
    const uint32_t stride = b->BytesPerLine;
    std::vector<uint8_t> image = Pattern(stride * 6, 3);
    ASSERT_EQ(Z_PutBitmapRow(b.get(), image.data(), 0, stride * 6),
              int32_t(stride * 6));
    std::vector<uint8_t> two(stride * 2);
    ASSERT_EQ(Z_GetBitmapRow(b.get(), two.data(), 2, stride * 2),
              int32_t(stride * 2));
    EXPECT_TRUE(std::equal(two.begin(), two.end(), image.begin() + 2 * stride));
    EXPECT_EQ(b->CurrentRow, 2u); // the cache stands on the first row
    EXPECT_EQ(b->CurrentRowOffset, 2 * stride);
}

TEST_P(RowsOnTier, ColumnsMoveWholeBytesFromTheColumnsFirstByte) {
    Bitmap b(16, 2, 1);
    Allocate(b);
    const uint8_t ones[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    Z_PutBitmapRow(b.get(), ones, 0, 4);
    const uint8_t bits = 0x12;
    // Column 3 starts in byte 0: columns 0 to 7 are replaced.
    ASSERT_EQ(Z_PutBitmapRowCol(b.get(), &bits, 0, 3, 1), 1);
    uint8_t row[4];
    Z_GetBitmapRow(b.get(), row, 0, 4);
    EXPECT_EQ(row[0], 0x12);
    EXPECT_EQ(row[1], 0xFF);
    uint8_t got = 0;
    ASSERT_EQ(Z_GetBitmapRowCol(b.get(), &got, 0, 9, 1), 1);
    EXPECT_EQ(got, 0xFF);
    // The column plays no part in the cache.
    EXPECT_EQ(b->CurrentRowOffset, 0u);
}

TEST_P(RowsOnTier, TwelveBitColumnsStartAtTheTruncatedByte) {
    Bitmap b(8, 1, 12);
    Allocate(b);
    std::vector<uint8_t> row(b->BytesPerLine);
    for (size_t i = 0; i < row.size(); ++i)
        row[i] = uint8_t(i);
    Z_PutBitmapRow(b.get(), row.data(), 0, uint32_t(row.size()));
    const uint8_t expected[] = {0, 1, 3, 4, 6};
    for (uint32_t column = 0; column < 5; ++column) {
        uint8_t got = 0xEE;
        ASSERT_EQ(Z_GetBitmapRowCol(b.get(), &got, 0, column, 1), 1);
        EXPECT_EQ(got, expected[column]) << "column " << column;
    }
}

INSTANTIATE_TEST_SUITE_P(Tiers, RowsOnTier,
                         ::testing::Values(Tier::Mapping, Tier::GlobalBlock,
                                           Tier::TemporaryFile),
                         [](const auto &info) {
                             return ztk::testing::TierName(info.param);
                         });

// ---- the row cache ------------------------------------------------------------

TEST(RowCache, StepsByOneAddOrSubtractTheStride) {
    Bitmap b(10, 20, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
    uint8_t row[12];
    const uint32_t stride = b->BytesPerLine;
    Z_GetBitmapRow(b.get(), row, 0, 0);
    EXPECT_EQ(b->CurrentRow, 0u);
    EXPECT_EQ(b->CurrentRowOffset, 0u);
    Z_GetBitmapRow(b.get(), row, 1, 1);
    Z_GetBitmapRow(b.get(), row, 2, 1);
    EXPECT_EQ(b->CurrentRowOffset, 2 * stride);
    // A neighbour adds to whatever the cache holds: no multiplication. The
    // cache is skewed on purpose to tell the two apart.
    b->CurrentRowOffset += 1;
    Z_GetBitmapRow(b.get(), row, 3, 1);
    EXPECT_EQ(b->CurrentRowOffset, 3 * stride + 1);
    Z_GetBitmapRow(b.get(), row, 2, 1);
    EXPECT_EQ(b->CurrentRowOffset, 2 * stride + 1);
    // A jump multiplies afresh.
    Z_GetBitmapRow(b.get(), row, 5, 1);
    EXPECT_EQ(b->CurrentRowOffset, 5 * stride);
    Z_GetBitmapRow(b.get(), row, 4, 1);
    EXPECT_EQ(b->CurrentRowOffset, 4 * stride);
    EXPECT_EQ(b->CurrentRow, 4u);
    // The same row leaves the cache alone, even a skewed one.
    b->CurrentRowOffset = 7;
    Z_GetBitmapRow(b.get(), row, 4, 0);
    EXPECT_EQ(b->CurrentRowOffset, 7u);
}

TEST(RowCache, ACountOfZeroTransfersNothing) {
    Bitmap b(10, 2, 8);
    ASSERT_EQ(Z_AllocateBitmap(b.get(), MEMORY_ANY), Z_OK);
    uint8_t row = 0;
    EXPECT_EQ(Z_GetBitmapRow(b.get(), &row, 1, 0), 0);
    EXPECT_EQ(Z_PutBitmapRow(b.get(), &row, 1, 0), 0);
}

TEST(Rows, NoStorageAtAllIsOutOfMemory) {
    Bitmap b(10, 2, 8);
    uint8_t row[12] = {};
    EXPECT_EQ(Z_GetBitmapRow(b.get(), row, 1, 12), Z_ERR_NOMEM);
    EXPECT_EQ(Z_PutBitmapRowCol(b.get(), row, 1, 2, 10), Z_ERR_NOMEM);
    EXPECT_EQ(b->CurrentRow, 1u); // the cache moved all the same
}

TEST(ColumnToByteOffset, EveryDepthTruncates) {
    struct Case {
        int32_t bits;
        uint32_t column, offset;
    };
    const Case cases[] = {
        {1, 0, 0},   {1, 7, 0},   {1, 8, 1},    {1, 17, 2},  {2, 3, 0},
        {2, 4, 1},   {2, 11, 2},  {3, 2, 0},    {3, 3, 1},   {3, 8, 3},
        {4, 1, 0},   {4, 2, 1},   {4, 9, 4},    {5, 1, 0},   {5, 2, 1},
        {5, 8, 5},   {6, 1, 0},   {6, 2, 1},    {6, 5, 3},   {7, 1, 0},
        {7, 2, 1},   {7, 8, 7},   {8, 9, 9},    {12, 1, 1},  {12, 2, 3},
        {12, 3, 4},  {12, 10, 15}, {16, 5, 10}, {24, 5, 15}, {32, 5, 20},
        {9, 5, 5},   {0, 6, 6}};
    for (const Case &c : cases)
        EXPECT_EQ(ztk::ColumnToByteOffset(c.bits, c.column), c.offset)
            << c.bits << " bits, column " << c.column;
}

// ---- temporary files ----------------------------------------------------------

class FileRows : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(Z_AllocateBitmap(b_.get(), MEMORY_DISK), Z_OK);
        stride_ = b_->BytesPerLine;
    }
    // Replaces the bitmap's file handle for one call; the real one is put
    // back so that the free still finds it.
    template <typename Call>
    int32_t WithHandle(ZHANDLE handle, Call call) {
        ZHANDLE real = b_->Storage;
        b_->Storage = handle;
        int32_t result = call();
        b_->Storage = real;
        return result;
    }
    const char *name() const { return static_cast<const char *>(b_.h.Data); }

    TierScope host_{Tier::TemporaryFile};
    Bitmap b_{10, 8, 8};
    uint32_t stride_ = 0;
    std::vector<uint8_t> row_ = std::vector<uint8_t>(64, 0x33);
};

TEST_F(FileRows, AReadPastTheEndDeliversAShortCount) {
    // The file holds Size + 1 bytes: two rows from the last deliver one
    // row and the extra byte, with no error.
    EXPECT_EQ(Z_GetBitmapRow(b_.get(), row_.data(), 7, 2 * stride_),
              int32_t(stride_ + 1));
    EXPECT_EQ(Z_GetBitmapRow(b_.get(), row_.data(), 9, stride_), 0);
}

TEST_F(FileRows, AFailedSeekStillMovesTheCache) {
    int32_t result = WithHandle(Z_INVALID_HANDLE, [&] {
        return Z_GetBitmapRow(b_.get(), row_.data(), 7, stride_);
    });
    EXPECT_EQ(result, Z_ERR_SEEK);
    EXPECT_EQ(b_->CurrentRow, 7u);
    EXPECT_EQ(b_->CurrentRowOffset, 7 * stride_);
    EXPECT_EQ(WithHandle(Z_INVALID_HANDLE,
                         [&] {
                             return Z_PutBitmapRow(b_.get(), row_.data(), 1,
                                                   stride_);
                         }),
              Z_ERR_SEEK);
}

TEST_F(FileRows, ReadAndWriteFailuresHaveTheirOwnCodes) {
    ZHANDLE writeOnly = Z_OsOpen(name(), 1, 0x180);
    ZHANDLE readOnly = Z_OsOpen(name(), 0, 0x180);
    ASSERT_NE(writeOnly, Z_INVALID_HANDLE);
    ASSERT_NE(readOnly, Z_INVALID_HANDLE);
    EXPECT_EQ(WithHandle(writeOnly,
                         [&] {
                             return Z_GetBitmapRow(b_.get(), row_.data(), 2,
                                                   stride_);
                         }),
              Z_ERR_READ);
    EXPECT_EQ(WithHandle(readOnly,
                         [&] {
                             return Z_PutBitmapRowCol(b_.get(), row_.data(), 2,
                                                      3, 4);
                         }),
              Z_ERR_WRITE);
    Z_OsClose(writeOnly);
    Z_OsClose(readOnly);
}

TEST_F(FileRows, RowsReachTheFileAtTheirOffsets) {
    std::vector<uint8_t> image = Pattern(stride_ * 8, 11);
    ASSERT_EQ(Z_PutBitmapRow(b_.get(), image.data(), 0, stride_ * 8),
              int32_t(stride_ * 8));
    ZHANDLE reader = Z_OsOpen(name(), 0, 0x180);
    ASSERT_NE(reader, Z_INVALID_HANDLE);
    std::vector<uint8_t> raw(stride_ * 8 + 1);
    EXPECT_EQ(Z_OsRead(reader, raw.data(), uint32_t(raw.size())),
              int32_t(raw.size()));
    Z_OsClose(reader);
    EXPECT_TRUE(std::equal(image.begin(), image.end(), raw.begin()));
    EXPECT_EQ(raw.back(), 0);
}

} // namespace

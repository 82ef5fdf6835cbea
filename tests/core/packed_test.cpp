// The packed-pixel reader and writer.
#include <gtest/gtest.h>

#include <vector>

#include "core/bitmap.h"
#include "core/packed.h"

namespace {

// A reference that walks the stream bit by bit, high bits first.
uint32_t ReferenceGet(const std::vector<uint8_t> &row, uint32_t x, int bits) {
    uint32_t value = 0;
    for (int i = 0; i < bits; ++i) {
        uint32_t bit = x * bits + i;
        value = (value << 1) | ((row[bit >> 3] >> (7 - (bit & 7))) & 1);
    }
    return value;
}

TEST(Packed, SubByteDepthsAreAHighBitFirstStream) {
    for (int bits = 1; bits <= 7; ++bits) {
        const uint32_t pixels = 53;
        std::vector<uint8_t> row((pixels * bits + 7) / 8 + 1, 0);
        std::vector<uint8_t> expected(row.size(), 0);
        uint32_t state = 99;
        for (uint32_t x = 0; x < pixels; ++x) {
            state = state * 1103515245u + 12345u;
            uint32_t v = (state >> 16) & ((1u << bits) - 1);
            ztk::PutPixelBits(row.data(), x, bits, v);
            for (int i = 0; i < bits; ++i) {
                uint32_t bit = x * bits + i;
                if ((v >> (bits - 1 - i)) & 1)
                    expected[bit >> 3] |= uint8_t(0x80 >> (bit & 7));
            }
        }
        EXPECT_EQ(row, expected) << bits << " bits";
        for (uint32_t x = 0; x < pixels; ++x)
            ASSERT_EQ(ztk::GetPixelBits(row.data(), x, bits),
                      ReferenceGet(row, x, bits))
                << bits << " bits, pixel " << x;
        // Rewriting one pixel leaves its neighbours alone.
        std::vector<uint8_t> before = row;
        ztk::PutPixelBits(row.data(), 17, bits, ztk::GetPixelBits(row.data(), 17, bits) ^ 1);
        ztk::PutPixelBits(row.data(), 17, bits, ztk::GetPixelBits(row.data(), 17, bits) ^ 1);
        EXPECT_EQ(row, before);
    }
}

TEST(Packed, TwelveBitPairsShareTheMiddleByte) {
    uint8_t row[6] = {};
    ztk::Put12(row, 0, 0xABC);
    ztk::Put12(row, 1, 0x123);
    EXPECT_EQ(row[0], 0xBC);
    EXPECT_EQ(row[1], 0x3A); // top of the even pixel low, bottom of the odd high
    EXPECT_EQ(row[2], 0x12);
    EXPECT_EQ(ztk::Get12(row, 0), 0xABCu);
    EXPECT_EQ(ztk::Get12(row, 1), 0x123u);
    ztk::Put12(row, 0, 0x000);
    EXPECT_EQ(ztk::Get12(row, 1), 0x123u);
    ztk::Put12(row, 3, 0xFFF);
    EXPECT_EQ(row[4], 0xF0);
    EXPECT_EQ(row[5], 0xFF);
    EXPECT_EQ(row[3], 0x00);
}

TEST(Packed, WideDepthsAreLittleEndianInMemoryOrder) {
    uint8_t row[8] = {};
    ztk::PutPixelBits(row, 1, 16, 0xBEEF);
    EXPECT_EQ(row[2], 0xEF);
    EXPECT_EQ(row[3], 0xBE);
    ztk::PutPixelBits(row, 1, 24, 0x030201);
    EXPECT_EQ(row[3], 1);
    EXPECT_EQ(row[5], 3);
    EXPECT_EQ(ztk::GetPixelBits(row, 1, 24), 0x030201u);
    ztk::PutPixelBits(row, 1, 32, 0xA1B2C3D4);
    EXPECT_EQ(ztk::GetPixelBits(row, 1, 32), 0xA1B2C3D4u);
}

TEST(Packed, EdgeMasks) {
    EXPECT_EQ(ztk::StartMask(0), 0xFF);
    EXPECT_EQ(ztk::StartMask(3), 0x1F);
    EXPECT_EQ(ztk::EndMask(0), 0x00);
    EXPECT_EQ(ztk::EndMask(3), 0xE0);
    EXPECT_EQ(ztk::EndMask(8), 0xFF);
    EXPECT_EQ(ztk::PackedBytes(3, 5), 2u);
    EXPECT_EQ(ztk::PackedBytes(12, 3), 5u);
}

// Column positions from bit arithmetic: column * depth bits into the row,
// one byte a pixel for depths the library doesn't store.
TEST(Packed, ColumnPlacesFollowFromTheDepth) {
    const int32_t depths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 0, 9, 33};
    for (int32_t depth : depths) {
        const bool stored = ztk::IsStoredDepth(depth);
        const uint64_t bits = stored ? uint32_t(depth) : 8;
        EXPECT_EQ(ztk::TraitsOf(depth).bits, stored ? depth : 0);
        int32_t seen = 0;
        ztk::WithDepth(depth, [&](auto d) { seen = d.kBits; });
        EXPECT_EQ(seen, stored ? depth : 0);
        for (uint32_t column : {0u, 1u, 2u, 3u, 5u, 7u, 0x7FFFFFFFu}) {
            EXPECT_EQ(ztk::ColumnToByteOffset(depth, column),
                      uint32_t(column * bits / 8))
                << depth << " bits, column " << column;
            EXPECT_EQ(ztk::BitPhase(depth, column), column * bits % 8);
        }
    }
}

TEST(Packed, RowShiftsMoveTheStreamAndFillWithZeros) {
    uint8_t up[3] = {0x81, 0xC3, 0xFF};
    ztk::ShiftBitsUp(up, 3, 3); // 10000001 11000011 11111111 << 3
    EXPECT_EQ(up[0], 0x0E);
    EXPECT_EQ(up[1], 0x1F);
    EXPECT_EQ(up[2], 0xF8);
    uint8_t down[4] = {0x81, 0xC3, 0xFF, 0xAA};
    ztk::ShiftBitsDown(down, 3, 3); // the low 3 bits of 0xFF fall out
    EXPECT_EQ(down[0], 0x10);
    EXPECT_EQ(down[1], 0x38);
    EXPECT_EQ(down[2], 0x7F);
    EXPECT_EQ(down[3], 0xAA);
}

TEST(PixelMemory, RefusesWhatWouldWrapThirtyTwoBits) {
    uint32_t bytes = 7;
    EXPECT_TRUE(ztk::PixelMemoryBytes(4, 3, 40, bytes));
    EXPECT_EQ(bytes, 52u);
    EXPECT_TRUE(ztk::PixelMemoryBytes(0x10000, 0xFFFF, 0xFFFF, bytes));
    EXPECT_EQ(bytes, 0xFFFFFFFFu);
    bytes = 7;
    EXPECT_FALSE(ztk::PixelMemoryBytes(0x10000, 0xFFFF, 0x10000, bytes));
    EXPECT_FALSE(ztk::PixelMemoryBytes(0x10000, 0x10000, 0, bytes));
    EXPECT_FALSE(ztk::PixelMemoryBytes(uint64_t(1) << 32, 1, 0, bytes));
    EXPECT_FALSE(ztk::PixelMemoryBytes(1, 0xFFFFFFFFu, 1, bytes));
    EXPECT_EQ(bytes, 7u);
    // (0x7FFFFFFF * 32 + 31) >> 3 needs 34 bits; the record's form wraps.
    EXPECT_EQ(ztk::StrideOf64(0x7FFFFFFF, 32), 0x1FFFFFFFCull);
    EXPECT_EQ(ztk::StrideOf(0x7FFFFFFF, 32), 0x1FFFFFFCu);
}

} // namespace

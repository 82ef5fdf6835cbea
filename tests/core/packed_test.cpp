// The packed-pixel reader and writer.
#include <gtest/gtest.h>

#include <vector>

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

} // namespace

// Z_MirrorLine at every depth and every width from 1 to 70 against a
// pixel-by-pixel reference, the padding rules, and the worked examples.
#include <gtest/gtest.h>

#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

TEST(MirrorLine, OnceReversesTwiceRestoresEveryDepthAndWidth) {
    for (int32_t bits : kAllDepths)
        for (uint32_t width = 1; width <= 70 || (bits <= 4 && width <= 600);
             width += width <= 70 ? 1 : 7) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, width " << width);
            const uint32_t bytes = PackedBytes(bits, width);
            // Noise after the last pixel and one spare byte after the row.
            std::vector<uint8_t> row = Pattern(bytes + 1, width * 31 + bits);
            const std::vector<uint8_t> original = row;
            std::vector<uint32_t> pixels(width);
            for (uint32_t x = 0; x < width; ++x)
                pixels[x] = GetPixelBits(row.data(), x, bits);
            ASSERT_EQ(Z_MirrorLine(row.data(), int32_t(width), bits), Z_OK);
            for (uint32_t x = 0; x < width; ++x)
                ASSERT_EQ(GetPixelBits(row.data(), x, bits),
                          pixels[width - 1 - x]) << "pixel " << x;
            const uint32_t usedBits = width * uint32_t(bits);
            if (bits == 1 || bits == 2 || bits == 4) {
                if (usedBits % 8 != 0) {
                    EXPECT_EQ(row[bytes - 1] & (0xFFu >> (usedBits % 8)), 0u);
                }
            } else {
                // Fields and whole pixels only: the rest stays.
                EXPECT_EQ(row[bytes], original[bytes]);
                if (bits < 8 && usedBits % 8 != 0) {
                    const uint32_t rest = 0xFFu >> (usedBits % 8);
                    EXPECT_EQ(row[bytes - 1] & rest, original[bytes - 1] & rest);
                }
            }
            EXPECT_EQ(row[bytes], original[bytes]) << "spare byte";
            ASSERT_EQ(Z_MirrorLine(row.data(), int32_t(width), bits), Z_OK);
            for (uint32_t x = 0; x < width; ++x)
                ASSERT_EQ(GetPixelBits(row.data(), x, bits), pixels[x]);
            if (bits != 1 && bits != 2 && bits != 4) {
                EXPECT_EQ(row, original);
            }
        }
}

TEST(MirrorLine, WorkedExamples) {
    struct Case {
        int32_t bits, width;
        std::vector<uint8_t> in, out;
    } cases[] = {
        {1, 1, {0xAA}, {0x80}},               // reversed, then up by 7
        {1, 9, {0x80, 0x7F}, {0x00, 0x80}},   // two bytes, then up by 7
        {4, 3, {0x12, 0x3F}, {0x32, 0x10}},   // nibbles, then up by 4
        {12, 1, {0x12, 0x34, 0x56}, {0x12, 0x34, 0x56}},
        {12, 2, {0x21, 0x43, 0x65}, {0x54, 0x16, 0x32}},
        {12, 3, {0x11, 0x21, 0x22, 0x33, 0xA3}, {0x33, 0x23, 0x22, 0x11, 0xA1}},
        {3, 2, {0b00101100}, {0b01100100}},
        {8, 3, {1, 2, 3}, {3, 2, 1}},
        {24, 2, {1, 2, 3, 4, 5, 6}, {4, 5, 6, 1, 2, 3}},
    };
    for (auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << " bits, width " << c.width);
        std::vector<uint8_t> row = c.in;
        row.push_back(0xEE);
        Z_MirrorLine(row.data(), c.width, c.bits);
        row.pop_back();
        EXPECT_EQ(row, c.out);
    }
}

} // namespace
} // namespace ztk::testing

// Source pixels in every depth and order (gray windows and gray tables
// included) decoded to channels, indices stored in every output depth with
// the bits no pixel covers left alone, and rows read from buffers of
// exactly their bytes.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "reduce/dither_pixels.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

// A source palette whose entries tell their index apart in each channel.
Colour Marked(uint32_t i) { return Colour{uint8_t(i), uint8_t(255 - i), uint8_t(i ^ 0x55)}; }
Colour Level(uint8_t v) { return Colour{v, v, v}; }

enum class Lut { None, InForce, DroppedAfterStart };

struct DecodeCase {
    const char *what;
    int32_t bits, order;
    std::vector<uint8_t> row;
    std::vector<Colour> expected;
    int32_t low = 0, high = -1;
    Lut lut = Lut::None;
};

TEST(DitherPixels, EverySourceDepthAndOrderDecodes) {
    std::vector<RGBQUAD> palette, lut;
    for (uint32_t i = 0; i < 256; ++i)
        palette.push_back(Quad(Marked(i).r, Marked(i).g, Marked(i).b));
    for (uint32_t i = 0; i < 0xAC0; ++i)
        lut.push_back(Quad(uint8_t(i), uint8_t(i >> 4), 7));
    // 16-bit colour word: top bit ignored, 31 / 16 / 1 in the three fields.
    const uint8_t lo = uint8_t(0x8000u | (31u << 10) | (16u << 5) | 1u), hi = 0xFE;
    const DecodeCase cases[] = {
        {"1 bit", 1, 0, {0xB0}, {Marked(1), Marked(0), Marked(1), Marked(1)}},
        {"2 bits", 2, 0, {0xE4}, {Marked(3), Marked(2), Marked(1), Marked(0)}},
        {"3 bits, one crossing a byte", 3, 0, {0xAF, 0x80}, {Marked(5), Marked(3), Marked(7)}},
        {"4 bits", 4, 0, {0xA5}, {Marked(10), Marked(5)}},
        {"5 bits", 5, 0, {0x8A, 0x40}, {Marked(17), Marked(9)}},
        {"6 bits", 6, 0, {0x84, 0xCF, 0xC0}, {Marked(33), Marked(12), Marked(63)}},
        {"7 bits", 7, 0, {0xC8, 0x6C}, {Marked(100), Marked(27)}},
        {"8 bits", 8, 0, {200, 3}, {Marked(200), Marked(3)}},
        // 0xABC and 0x123 packed; 8 bits of the window, its top ones.
        {"12 bits, whole window", 12, 2, {0xBC, 0x3A, 0x12}, {Level(0xAB), Level(0x12)}},
        // Window of bits 0..5: 60 and 35 spread as v * 255 / 63.
        {"12 bits, 6-bit window", 12, 2, {0xBC, 0x3A, 0x12}, {Level(242), Level(141)}, 0, 5},
        // A gray table takes the whole sample; its entries are blue, green, red.
        {"12 bits through the table", 12, 2, {0xBC, 0x3A, 0x12}, {{0xBC, 0xAB, 7}, {0x23, 0x12, 7}},
         0, -1, Lut::InForce},
        {"16 gray, whole window", 16, 2, {0xEF, 0xBE}, {Level(0xBE)}},
        // Bits 0..3: 15 and 4 spread as v * 255 / 15.
        {"16 gray, 4-bit window", 16, 2, {0xEF, 0xBE, 0x34, 0x12}, {Level(255), Level(68)}, 0, 3},
        {"16 gray, table, window 4..15, one past the end reads black", 16, 2,
         {0x00, 0xAB, 0x00, 0xAC}, {{0xB0, 0xAB, 7}, {0, 0, 0}}, 4, 15, Lut::InForce},
        {"16 gray, window wholly above the sample", 16, 2, {0x42, 0x00, 0x34, 0x12},
         {Level(0), Level(0)}, 0, 40},
        // The window stays 16 bits wide; its values are held to white.
        {"16 gray, table dropped after the start", 16, 2, {0x42, 0x00, 0x34, 0x12},
         {Level(0x42), Level(255)}, 0, -1, Lut::DroppedAfterStart},
        {"16 colour, blue first", 16, 1, {lo, hi}, {{255, 132, 8}}},
        {"16 colour, red first", 16, 0, {lo, hi}, {{8, 132, 255}}},
        {"24, red first", 24, 0, {1, 2, 3, 4, 5, 6}, {{1, 2, 3}, {4, 5, 6}}},
        {"24, blue first", 24, 1, {1, 2, 3, 4, 5, 6}, {{3, 2, 1}, {6, 5, 4}}},
        {"32, red first", 32, 0, {1, 2, 3, 9, 4, 5, 6, 9}, {{1, 2, 3}, {4, 5, 6}}},
        {"32, blue first", 32, 1, {1, 2, 3, 9, 4, 5, 6, 9}, {{3, 2, 1}, {6, 5, 4}}},
    };
    for (const DecodeCase &c : cases) {
        Source source(int32_t(c.expected.size()), c.bits, DitherNone, c.order);
        if (c.bits <= 8) {
            source.h.Palette = Z_CreatePalette(palette.data(), 256);
            source.h.ColorCount = 256;
        }
        source.h.LowBit = c.low;
        source.h.HighBit = c.high;
        if (c.lut != Lut::None) {
            source.h.GrayLUT = lut.data();
            source.h.GrayLUTLength = uint32_t(lut.size());
            source.h.Flags |= BITMAP_GRAYLUT;
        }
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK) << c.what;
        if (c.lut == Lut::DroppedAfterStart)
            source.h.Flags &= ~BITMAP_GRAYLUT;
        dither::DecodeContext context{};
        const auto decode = dither::ChooseDecoder(source.get(), source.state(), context);
        source.h.GrayLUT = nullptr;
        ASSERT_NE(decode, nullptr) << c.what;
        std::vector<dither::Px> out(c.expected.size());
        decode(context, c.row.data(), 0, uint32_t(out.size()), out.data());
        for (size_t i = 0; i < out.size(); ++i)
            EXPECT_TRUE(out[i].r == c.expected[i].r && out[i].g == c.expected[i].g &&
                        out[i].b == c.expected[i].b)
                << c.what << " pixel " << i << ": " << int(out[i].r) << "," << int(out[i].g)
                << "," << int(out[i].b);
    }
}

// Indices of the 256-colour set cut to each depth, packed across byte
// boundaries with the bits past the last pixel kept, 8 bits written whole,
// other depths writing nothing at all.
TEST(DitherPixels, EveryOutputDepthKeepsUncoveredBits) {
    const std::vector<uint8_t> in = Rgb24Row({{255, 255, 255}, {0, 0, 0}, {255, 0, 0}});
    for (int32_t bits : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 24}) {
        Source source(3, 24, DitherNone);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), nullptr, 256, bits, nullptr), Z_OK);
        std::vector<uint8_t> out(8, 0x5A), want(8, 0x5A);
        ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out.data()), Z_OK);
        if (bits >= 1 && bits <= 8) {
            const uint32_t mask = (1u << bits) - 1;
            PutPixelBits(want.data(), 0, bits, 255u & mask);
            PutPixelBits(want.data(), 1, bits, 0);
            PutPixelBits(want.data(), 2, bits, 0xE0u & mask);
        }
        EXPECT_EQ(out, want) << bits << " bits";
    }
}

// Rows of odd widths in every source depth, dithered with diffusion from
// buffers of exactly the row's bytes (the sanitizers watch the reads).
TEST(DitherPixels, ExactRowBuffersAreEnough) {
    for (int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32})
        for (int32_t width : {1, 3, 5, 13}) {
            Source source(width, bits, DitherJarvisJudiceNinke, bits == 12 ? 2 : 0);
            ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 7), Z_OK);
            std::vector<uint8_t> in((size_t(width) * size_t(bits) + 7) / 8, 0xA7);
            std::vector<uint8_t> out((size_t(width) * 3 + 7) / 8, 0);
            for (int y = 0; y < 3; ++y)
                ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out.data()), Z_OK);
        }
}

} // namespace
} // namespace ztk::testing

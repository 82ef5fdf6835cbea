// Source pixels in every depth and order (gray windows and gray tables
// included) decoded to channels, and indices stored in every output depth
// with the bits no pixel covers left alone.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "reduce/dither_pixels.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

using dither::ChooseDecoder;
using dither::ChooseStore;
using dither::DecodeContext;
using dither::Px;

// A source palette whose entries tell their index apart in each channel.
std::vector<RGBQUAD> MarkedPalette() {
    std::vector<RGBQUAD> out;
    for (uint32_t i = 0; i < 256; ++i)
        out.push_back(Quad(uint8_t(i), uint8_t(255 - i), uint8_t(i ^ 0x55)));
    return out;
}

struct DecodeCase {
    const char *what;
    int32_t bits, order;
    std::vector<uint8_t> row;
    std::vector<Colour> expected;
    int32_t low = 0, high = -1;
    bool lut = false;
};

Colour Marked(uint32_t i) { return Colour{uint8_t(i), uint8_t(255 - i), uint8_t(i ^ 0x55)}; }
Colour Level(uint8_t v) { return Colour{v, v, v}; }

std::vector<Px> Decode(const DecodeCase &c, std::vector<RGBQUAD> &lut) {
    Source source(int32_t(c.expected.size()), c.bits, DitherNone, c.order);
    const std::vector<RGBQUAD> palette = MarkedPalette();
    if (c.bits <= 8) {
        source.h.Palette = Z_CreatePalette(palette.data(), 256);
        source.h.ColorCount = 256;
    }
    source.h.LowBit = c.low;
    source.h.HighBit = c.high;
    if (c.lut) {
        source.h.GrayLUT = lut.data();
        source.h.GrayLUTLength = uint32_t(lut.size());
        source.h.Flags |= BITMAP_GRAYLUT;
    }
    EXPECT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK);
    DecodeContext context{};
    const dither::DecodeFn decode = ChooseDecoder(source.get(), source.state(), context);
    std::vector<Px> out(c.expected.size());
    if (decode == nullptr)
        ADD_FAILURE() << c.what;
    else
        decode(context, c.row.data(), 0, uint32_t(out.size()), out.data());
    source.h.GrayLUT = nullptr;
    return out;
}

TEST(DitherPixels, EverySourceDepthAndOrderDecodes) {
    // 16-bit colour word: top bit ignored, 31 / 16 / 1 in the three fields.
    const uint32_t word = 0x8000u | (31u << 10) | (16u << 5) | 1u;
    const uint8_t lo = uint8_t(word), hi = uint8_t(word >> 8);
    const DecodeCase cases[] = {
        {"1 bit", 1, 0, {0xB0}, {Marked(1), Marked(0), Marked(1), Marked(1)}},
        {"2 bits", 2, 0, {0xE4}, {Marked(3), Marked(2), Marked(1), Marked(0)}},
        {"4 bits", 4, 0, {0xA5}, {Marked(10), Marked(5)}},
        {"3 bits, the third crossing a byte", 3, 0, {0xAF, 0x80},
         {Marked(5), Marked(3), Marked(7)}},
        {"5 bits", 5, 0, {0x8A, 0x40}, {Marked(17), Marked(9)}},
        {"6 bits", 6, 0, {0x84, 0xCF, 0xC0}, {Marked(33), Marked(12), Marked(63)}},
        {"7 bits", 7, 0, {0xC8, 0x6C}, {Marked(100), Marked(27)}},
        {"8 bits", 8, 0, {200, 3}, {Marked(200), Marked(3)}},
        // 0xABC and 0x123 packed; 8 bits of the window, its top ones.
        {"12 bits, whole window", 12, 2, {0xBC, 0x3A, 0x12}, {Level(0xAB), Level(0x12)}},
        // Window of bits 0..5: 60 and 35 spread as v * 255 / 63.
        {"12 bits, 6-bit window", 12, 2, {0xBC, 0x3A, 0x12}, {Level(242), Level(141)}, 0, 5},
        {"16 gray, whole window", 16, 2, {0xEF, 0xBE}, {Level(0xBE)}},
        // Bits 0..3: 15 and 4 spread as v * 255 / 15.
        {"16 gray, 4-bit window", 16, 2, {0xEF, 0xBE, 0x34, 0x12}, {Level(255), Level(68)}, 0, 3},
        {"16 colour, blue first", 16, 1, {lo, hi}, {{255, 132, 8}}},
        {"16 colour, red first", 16, 0, {lo, hi}, {{8, 132, 255}}},
        {"24, red first", 24, 0, {1, 2, 3, 4, 5, 6}, {{1, 2, 3}, {4, 5, 6}}},
        {"24, blue first", 24, 1, {1, 2, 3, 4, 5, 6}, {{3, 2, 1}, {6, 5, 4}}},
        {"32, red first", 32, 0, {1, 2, 3, 9, 4, 5, 6, 9}, {{1, 2, 3}, {4, 5, 6}}},
        {"32, blue first", 32, 1, {1, 2, 3, 9, 4, 5, 6, 9}, {{3, 2, 1}, {6, 5, 4}}},
    };
    std::vector<RGBQUAD> lut;
    for (const DecodeCase &c : cases) {
        const std::vector<Px> out = Decode(c, lut);
        for (size_t i = 0; i < out.size(); ++i) {
            EXPECT_EQ(out[i].r, c.expected[i].r) << c.what << " pixel " << i;
            EXPECT_EQ(out[i].g, c.expected[i].g) << c.what << " pixel " << i;
            EXPECT_EQ(out[i].b, c.expected[i].b) << c.what << " pixel " << i;
        }
    }
}

// With a gray table in force the whole sample, windowed, picks an entry
// whose bytes are blue, green, red; a value past the table reads black.
TEST(DitherPixels, GrayTablesPickEntries) {
    std::vector<RGBQUAD> lut;
    for (uint32_t i = 0; i < 0xAC0; ++i)
        lut.push_back(Quad(uint8_t(i), uint8_t(i >> 4), 7));
    DecodeCase twelve{"12 bits through the table", 12, 2, {0xBC, 0x3A, 0x12},
                      {{0xBC, 0xAB, 7}, {0x23, 0x12, 7}}};
    twelve.lut = true;
    DecodeCase sixteen{"16 bits, window 4..15, one past the end", 16, 2,
                       {0x00, 0xAB, 0x00, 0xAC}, {{0xB0, 0xAB, 7}, {0, 0, 0}}, 4, 15};
    sixteen.lut = true;
    for (const DecodeCase &c : {twelve, sixteen}) {
        const std::vector<Px> out = Decode(c, lut);
        for (size_t i = 0; i < out.size(); ++i) {
            EXPECT_EQ(out[i].r, c.expected[i].r) << c.what << " pixel " << i;
            EXPECT_EQ(out[i].g, c.expected[i].g) << c.what << " pixel " << i;
            EXPECT_EQ(out[i].b, c.expected[i].b) << c.what << " pixel " << i;
        }
    }
}

// A window that lies wholly above the sample reads as black; a gray table
// dropped after the start leaves a window wider than a byte, whose values
// are held to white.
TEST(DitherPixels, OddWindowsStayInRange) {
    const std::vector<uint8_t> row = {0x42, 0x00, 0x34, 0x12};
    std::vector<Px> out(2);
    {
        Source source(2, 16, DitherNone, 2);
        source.h.HighBit = 40;
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK);
        EXPECT_EQ(source.state()->GrayShift, 33u);
        DecodeContext context{};
        ChooseDecoder(source.get(), source.state(), context)(context, row.data(), 0, 2,
                                                              out.data());
        EXPECT_EQ(out[0].r, 0);
        EXPECT_EQ(out[1].g, 0);
    }
    {
        RGBQUAD lut[4] = {};
        Source source(2, 16, DitherNone, 2);
        source.h.GrayLUT = lut;
        source.h.GrayLUTLength = 4;
        source.h.Flags |= BITMAP_GRAYLUT;
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK);
        source.h.Flags &= ~BITMAP_GRAYLUT;
        source.h.GrayLUT = nullptr;
        DecodeContext context{};
        ChooseDecoder(source.get(), source.state(), context)(context, row.data(), 0, 2,
                                                              out.data());
        EXPECT_EQ(out[0].b, 0x42);
        EXPECT_EQ(out[1].r, 255);
    }
}

// With no dithering a fixed set takes the plain high bits of each channel.
TEST(DitherPixels, PlainHighBitsWithoutDithering) {
    EXPECT_EQ(Dither24(DitherNone, nullptr, 8, {{{128, 128, 128}, {127, 127, 127}}}),
              (IndexRows{{7, 0}}));
    EXPECT_EQ(Dither24(DitherNone, nullptr, 16, {{{128, 128, 128}, {127, 127, 127},
                                                  {0, 0, 255}, {255, 0, 0}}}),
              (IndexRows{{15, 0, 12, 9}}));
}

TEST(DitherPixels, EveryOutputDepthKeepsUncoveredBits) {
    struct Case {
        int32_t bits;
        std::vector<uint8_t> indices;
        std::vector<uint8_t> onZeros, onOnes;
    } cases[] = {
        {1, {1, 0, 1}, {0xA0}, {0xBF}},
        {2, {3, 2, 1}, {0xE4}, {0xE7}},
        {3, {5, 3, 7}, {0xAF, 0x80}, {0xAF, 0xFF}},
        {4, {10, 5, 12}, {0xA5, 0xC0}, {0xA5, 0xCF}},
        {5, {17, 9}, {0x8A, 0x40}, {0x8A, 0x7F}},
        {6, {33, 12, 63}, {0x84, 0xCF, 0xC0}, {0x84, 0xCF, 0xFF}},
        {7, {100, 27}, {0xC8, 0x6C}, {0xC8, 0x6F}},
    };
    for (const Case &c : cases) {
        for (uint8_t fill : {uint8_t(0), uint8_t(0xFF)}) {
            std::vector<uint8_t> row(c.onZeros.size() + 1, fill);
            ChooseStore(c.bits)(row.data(), 0, uint32_t(c.indices.size()), c.indices.data());
            const std::vector<uint8_t> &want = fill ? c.onOnes : c.onZeros;
            for (size_t i = 0; i < want.size(); ++i)
                EXPECT_EQ(row[i], want[i]) << c.bits << " bits, byte " << i;
            EXPECT_EQ(row.back(), fill) << c.bits << " bits";
        }
    }
}

// End to end: indices of the 256-colour set cut to each depth, 8 bits
// written whole, other depths writing nothing at all.
TEST(DitherPixels, OutputDepthsThroughTheRowLoop) {
    const std::vector<uint8_t> in = Rgb24Row({{255, 255, 255}, {0, 0, 0}, {255, 0, 0}});
    for (int32_t bits : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 24}) {
        Source source(3, 24, DitherNone);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), nullptr, 256, bits, nullptr), Z_OK);
        std::vector<uint8_t> out(8, 0x5A);
        ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out.data()), Z_OK);
        if (bits < 1 || bits > 8) {
            EXPECT_EQ(out, std::vector<uint8_t>(8, 0x5A)) << bits;
            continue;
        }
        const uint32_t mask = (1u << bits) - 1;
        EXPECT_EQ(GetPixelBits(out.data(), 0, bits), 255u & mask) << bits;
        EXPECT_EQ(GetPixelBits(out.data(), 1, bits), 0u) << bits;
        EXPECT_EQ(GetPixelBits(out.data(), 2, bits), 0xE0u & mask) << bits;
        const uint32_t used = (3 * uint32_t(bits) + 7) / 8;
        for (uint32_t i = used; i < 8; ++i)
            EXPECT_EQ(out[i], 0x5A) << bits;
    }
}

// Rows of odd widths in every source depth, dithered with diffusion from
// buffers of exactly the row's bytes (the sanitizers watch the reads).
TEST(DitherPixels, ExactRowBuffersAreEnough) {
    for (int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32}) {
        for (int32_t width : {1, 3, 5, 13}) {
            Source source(width, bits, DitherJarvisJudiceNinke, bits == 12 ? 2 : 0);
            ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 7), Z_OK);
            std::vector<uint8_t> in((size_t(width) * size_t(bits) + 7) / 8, 0xA7);
            std::vector<uint8_t> out((size_t(width) * 3 + 7) / 8, 0);
            for (int y = 0; y < 3; ++y)
                ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out.data()), Z_OK);
        }
    }
}

} // namespace
} // namespace ztk::testing

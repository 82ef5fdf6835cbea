// Error diffusion: outputs worked out from the rules for short rows
// several rows deep, for every kernel on a small arbitrary palette and on
// two fixed sets; the sums left in the error rows; truncation toward zero;
// errors lost at the edges; and rows wider than the engine's inner run.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "colour/tables/fixed_palettes.h"
#include "reduce/tables/dither_tables.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

// Gray 60 everywhere, four columns, three rows, palette {black, gray 200}
// (kind 0: searched with the low three bits cleared, so a channel of 104
// or more picks 200). Floyd-Steinberg, sums S and carries trunc(S / 16):
//   row 0: x0 S=0 v=60 e=60; x1 S=420 c=26 v=86 e=86; x2 S=602 c=37 v=97;
//          x3 S=679 c=42 v=102 -> 0 0 0 0
//          row 1 sums: 5*60+3*86=558, 60+5*86+3*97=781, 86+5*97+3*102=877,
//          97+5*102=607; 3*60 lands left of column 0, 1*102 right of 3
//   row 1: x0 558 c=34 v=94 e=94; x1 781+658=1439 c=89 v=149 -> 1 e=-51;
//          x2 877-357=520 c=32 v=92 e=92; x3 607+644=1251 c=78 v=138 -> 1
//   row 2: x0 317 c=19 v=79; x1 668 c=41 v=101 -> 0; x2 930 c=58 v=118 -> 1
//          e=-82; x3 -218-574=-792 c=-49 (toward zero) v=11 -> 0
TEST(Diffusion, FloydSteinbergWorkedByHand) {
    const RGBQUAD palette[2] = {Quad(0, 0, 0), Quad(200, 200, 200)};
    const ColourRows rows(3, std::vector<Colour>(4, Colour{60, 60, 60}));
    Source source(4, 24, DitherFloydSteinberg);
    ASSERT_EQ(Z_StartDithering(source.get(), palette, 2), Z_OK);
    ASSERT_EQ(source.state()->PaletteKind, 0);
    ASSERT_EQ(source.state()->ErrorRowCount, 1u);
    ASSERT_EQ(source.state()->ErrorRowLength, 6u);
    ASSERT_EQ(source.state()->OutputBits, 1); // two colours need one bit

    // Indices land in the top four bits; the low four keep their 0xE.
    const uint8_t expectedBytes[3] = {0x0E, 0x5E, 0x2E};
    auto ditherRow = [&](int y) {
        const std::vector<uint8_t> in = Rgb24Row(rows[size_t(y)]);
        uint8_t out[2] = {0xEE, 0xEE};
        EXPECT_EQ(Z_DitherLine(source.get(), in.data(), out), Z_OK);
        EXPECT_EQ(out[0], expectedBytes[y]) << "row " << y;
        EXPECT_EQ(out[1], 0xEE) << "row " << y;
    };
    ditherRow(0); // 0 0 0 0
    // Column x in slot x + 1: the next row's sums, the lost share left of
    // column 0 in slot 0, and the share past the end in slot 5.
    const int32_t expected[6] = {180, 558, 781, 877, 607, 102};
    for (int32_t *channel : {source.state()->RedRows[0],
                             source.state()->GreenRows[0],
                             source.state()->BlueRows[0]})
        for (int slot = 0; slot < 6; ++slot)
            EXPECT_EQ(channel[slot], expected[slot]) << "slot " << slot;

    ditherRow(1); // 0 1 0 1
    ditherRow(2); // 0 0 1 0
}

// One column: 197 picks 200 with error -3, and the only share that stays
// in the row is 5 * -3 = -15 for the pixel below. -15 / 16 is 0 toward
// zero, so 104 stays 104 and picks 200; rounding down would give 103,
// which picks black. The other shares fall outside the row and are lost.
TEST(Diffusion, NegativeSumsTruncateTowardZero) {
    const RGBQUAD palette[2] = {Quad(0, 0, 0), Quad(200, 200, 200)};
    const ColourRows rows = {{{197, 197, 197}}, {{104, 104, 104}}};
    EXPECT_EQ(Dither24(DitherFloydSteinberg, palette, 2, rows),
              (IndexRows{{1}, {1}}));
}

// Carries cross columns and rows: a pixel of 100 among zeros, then a row
// of 100. Row 0: x2 e=100 sends 700 right, 300/500/100 below; x3 S=700
// c=43 v=43 e=43 sends 129 and 215 below. Row 1: x0 e=100 sends 700 to
// x1: 1000 c=62 v=162 -> 200, e=-38; x2 629-266=363 c=22 v=122 -> 200,
// e=-78; x3 315-546=-231 c=-14 v=86 -> black.
TEST(Diffusion, CarriesAcrossColumnsAndIntoLaterRows) {
    const RGBQUAD palette[2] = {Quad(0, 0, 0), Quad(200, 200, 200)};
    const ColourRows rows = {{{0, 0, 0}, {0, 0, 0}, {100, 100, 100}, {0, 0, 0}},
                             {{100, 100, 100}, {100, 100, 100}, {100, 100, 100},
                              {100, 100, 100}}};
    EXPECT_EQ(Dither24(DitherFloydSteinberg, palette, 2, rows),
              (IndexRows{{0, 0, 0, 0}, {0, 1, 1, 0}}));
}

// Five columns, four rows of assorted colours: an arbitrary palette
// (searched), the 4-gray set (2-bit luminance) and the 256-colour set
// (channel bits). Worked out from the kernel weights on a plain grid of
// sums, each divided once toward zero, shares outside the row dropped.
struct KernelCase {
    uint32_t method;
    const char *name;
    IndexRows arbitrary, grays, colours;
};

const ColourRows kScene = {
    {{30, 60, 90}, {120, 20, 250}, {255, 255, 255}, {90, 140, 10}, {180, 180, 180}},
    {{250, 5, 5}, {64, 64, 64}, {10, 200, 120}, {100, 100, 220}, {0, 0, 0}},
    {{128, 128, 128}, {77, 150, 33}, {220, 90, 160}, {5, 250, 250}, {140, 60, 200}},
    {{60, 60, 60}, {200, 200, 40}, {33, 66, 99}, {250, 250, 250}, {120, 120, 120}},
};

const KernelCase kKernelCases[] = {
    {1, "FloydSteinberg",
     {{0, 2, 3, 1, 2}, {1, 1, 2, 2, 0}, {2, 0, 3, 2, 2}, {1, 3, 0, 3, 2}},
     {{0, 1, 3, 1, 2}, {1, 1, 2, 1, 0}, {1, 1, 2, 2, 1}, {1, 2, 1, 3, 1}},
     {{5, 131, 255, 80, 182}, {224, 41, 25, 107, 0}, {145, 80, 234, 31, 135}, {37, 216, 10, 255, 109}}},
    {2, "Stucki",
     {{0, 2, 3, 1, 3}, {1, 1, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 0, 3, 2}},
     {{0, 1, 3, 1, 2}, {1, 1, 2, 1, 0}, {2, 1, 2, 2, 1}, {0, 2, 0, 3, 2}},
     {{5, 99, 255, 80, 182}, {224, 73, 25, 111, 0}, {146, 80, 234, 31, 135}, {36, 216, 9, 255, 109}}},
    {3, "Burkes",
     {{0, 2, 3, 1, 3}, {1, 1, 2, 2, 0}, {2, 0, 1, 2, 2}, {1, 3, 2, 3, 2}},
     {{0, 1, 3, 1, 2}, {1, 1, 2, 1, 0}, {1, 1, 2, 2, 1}, {1, 2, 1, 3, 1}},
     {{5, 99, 255, 80, 182}, {224, 73, 25, 111, 0}, {146, 80, 202, 31, 135}, {36, 216, 41, 255, 109}}},
    {4, "Sierra",
     {{0, 2, 3, 1, 3}, {1, 0, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 2, 3, 2}},
     {{0, 1, 3, 1, 2}, {1, 1, 2, 1, 0}, {2, 1, 2, 2, 1}, {0, 2, 1, 3, 1}},
     {{5, 99, 255, 80, 182}, {224, 73, 25, 111, 0}, {146, 80, 202, 31, 135}, {36, 216, 41, 255, 109}}},
    {5, "StevensonArce",
     {{0, 2, 3, 1, 3}, {1, 0, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 0, 3, 2}},
     {{0, 1, 3, 1, 2}, {1, 1, 2, 1, 0}, {2, 1, 2, 2, 1}, {0, 2, 1, 3, 1}},
     {{5, 99, 255, 80, 182}, {224, 73, 25, 111, 0}, {145, 80, 202, 31, 135}, {37, 216, 41, 255, 110}}},
    {6, "JarvisJudiceNinke",
     {{0, 2, 3, 1, 3}, {1, 0, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 2, 3, 2}},
     {{0, 1, 3, 1, 2}, {1, 1, 2, 1, 0}, {2, 1, 2, 2, 1}, {0, 2, 1, 3, 1}},
     {{5, 99, 255, 80, 182}, {224, 73, 25, 111, 0}, {146, 80, 202, 31, 135}, {36, 216, 41, 255, 109}}},
};

TEST(Diffusion, EveryKernelOnArbitraryAndFixedPalettes) {
    const RGBQUAD arbitrary[4] = {Quad(0, 0, 0), Quad(200, 40, 40),
                                  Quad(40, 160, 216), Quad(248, 248, 160)};
    for (const KernelCase &c : kKernelCases) {
        EXPECT_EQ(Dither24(c.method, arbitrary, 4, kScene), c.arbitrary) << c.name;
        EXPECT_EQ(Dither24(c.method, nullptr, 4, kScene), c.grays) << c.name;
        EXPECT_EQ(Dither24(c.method, nullptr, 256, kScene), c.colours) << c.name;
    }
}

// ---- a plain model for rows wider than one inner run ------------------------

struct Weight {
    int dx, dy, w;
};
struct KernelModel {
    int32_t divisor;
    std::vector<Weight> weights;
};

KernelModel ModelOf(uint32_t method) {
    switch (method) {
    case 1: return {16, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}};
    case 2:
        return {42, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8},
                     {1, 1, 4}, {2, 1, 2}, {-2, 2, 1}, {-1, 2, 2}, {0, 2, 4},
                     {1, 2, 2}, {2, 2, 1}}};
    case 3:
        return {32, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8},
                     {1, 1, 4}, {2, 1, 2}}};
    case 4:
        return {32, {{1, 0, 5}, {2, 0, 3}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5},
                     {1, 1, 4}, {2, 1, 2}, {-1, 2, 2}, {0, 2, 3}, {1, 2, 2}}};
    case 5:
        return {200, {{2, 0, 32}, {-3, 1, 12}, {-1, 1, 26}, {1, 1, 30}, {3, 1, 16},
                      {-2, 2, 12}, {0, 2, 26}, {2, 2, 12}, {-3, 3, 5}, {-1, 3, 12},
                      {1, 3, 12}, {3, 3, 5}}};
    default:
        return {48, {{1, 0, 7}, {2, 0, 5}, {-2, 1, 3}, {-1, 1, 5}, {0, 1, 7},
                     {1, 1, 5}, {2, 1, 3}, {-2, 2, 1}, {-1, 2, 3}, {0, 2, 5},
                     {1, 2, 3}, {2, 2, 1}}};
    }
}

IndexRows ModelDither(uint32_t method, const ColourRows &image,
                      const std::function<int(int, int, int)> &indexOf,
                      const RGBQUAD *target) {
    const KernelModel k = ModelOf(method);
    const int h = int(image.size()), w = int(image[0].size());
    std::vector<std::vector<std::array<int64_t, 3>>> sums(
        static_cast<size_t>(h + 4), std::vector<std::array<int64_t, 3>>(static_cast<size_t>(w)));
    IndexRows out(static_cast<size_t>(h), std::vector<int>(static_cast<size_t>(w)));
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const Colour &c = image[size_t(y)][size_t(x)];
            const int in[3] = {c.r, c.g, c.b};
            int v[3];
            for (int ch = 0; ch < 3; ++ch) {
                const int64_t carry = sums[size_t(y)][size_t(x)][size_t(ch)] / k.divisor;
                v[ch] = int(std::min<int64_t>(255, std::max<int64_t>(0, in[ch] + carry)));
            }
            const int index = indexOf(v[0], v[1], v[2]);
            out[size_t(y)][size_t(x)] = index;
            const int t[3] = {target[index].rgbRed, target[index].rgbGreen,
                              target[index].rgbBlue};
            for (const Weight &wt : k.weights) {
                const int tx = x + wt.dx;
                if (tx < 0 || tx >= w)
                    continue;
                for (int ch = 0; ch < 3; ++ch)
                    sums[size_t(y + wt.dy)][size_t(tx)][size_t(ch)] +=
                        int64_t(wt.w) * (v[ch] - t[ch]);
            }
        }
    }
    return out;
}

ColourRows NoiseImage(int width, int height, uint32_t seed) {
    ColourRows rows(static_cast<size_t>(height), std::vector<Colour>(static_cast<size_t>(width)));
    uint32_t state = seed;
    for (auto &row : rows)
        for (Colour &c : row) {
            state = state * 1103515245u + 12345u;
            c = Colour{uint8_t(state >> 24), uint8_t(state >> 16), uint8_t(state >> 8)};
        }
    return rows;
}

TEST(Diffusion, RowsWiderThanOneRunMatchThePlainModel) {
    const ColourRows image = NoiseImage(1100, 5, 77);
    const RGBQUAD *fixed8 = tables::FixedPalette8.entries;
    auto channelBits = [](int r, int g, int b) {
        return ((r >> 5) << 5) | ((g >> 5) << 2) | (b >> 6);
    };
    std::vector<RGBQUAD> arbitrary;
    for (int i = 0; i < 37; ++i)
        arbitrary.push_back(Quad(uint8_t(i * 97), uint8_t(i * 53 + 7), uint8_t(i * 31 + 3)));
    // The searched palette: own colours first, then each key resolved on
    // its lowest colour and remembered.
    for (uint32_t method = 1; method <= 6; ++method) {
        EXPECT_EQ(Dither24(method, nullptr, 256, image),
                  ModelDither(method, image, channelBits, fixed8))
            << "method " << method;
        std::map<uint32_t, int> table;
        for (int i = 0; i < 37; ++i) {
            const RGBQUAD &e = arbitrary[size_t(i)];
            table.emplace(((e.rgbRed >> 3) << 10) | ((e.rgbGreen >> 3) << 5) | (e.rgbBlue >> 3), i);
        }
        auto searched = [&](int r, int g, int b) {
            const uint32_t key = uint32_t(((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3));
            auto found = table.find(key);
            if (found == table.end())
                found = table.emplace(key, Z_FindPaletteIndex(arbitrary.data(), 37, r & 0xF8,
                                                              g & 0xF8, b & 0xF8)).first;
            return found->second;
        };
        EXPECT_EQ(Dither24(method, arbitrary.data(), 37, image),
                  ModelDither(method, image, searched, arbitrary.data()))
            << "method " << method;
    }
}

// Every narrow width against the model, so margins wider than the row
// (a width of 1 under a margin of 3) behave.
TEST(Diffusion, NarrowRowsMatchThePlainModel) {
    auto grays = [](int r, int g, int b) { return ((2 * r + 5 * g + b + 4) >> 9) & 3; };
    for (int width = 1; width <= 9; ++width) {
        const ColourRows image = NoiseImage(width, 6, uint32_t(width));
        for (uint32_t method = 1; method <= 6; ++method)
            EXPECT_EQ(Dither24(method, nullptr, 4, image),
                      ModelDither(method, image, grays, tables::FixedPalette2.entries))
                << "method " << method << " width " << width;
    }
}

// Every fixed set under every kernel, each index by its own rule; the
// shortened sets count the entries they lack as black.
TEST(Diffusion, EveryFixedKindMatchesThePlainModel) {
    struct Kind {
        int32_t colors;
        const RGBQUAD *palette; // passed to the start; null for the fixed set
        std::function<int(int, int, int)> index;
    };
    const Kind kinds[] = {
        {2, nullptr, [](int r, int g, int b) { return ((2 * r + 5 * g + b + 4) >> 10) & 1; }},
        {3, nullptr, [](int r, int g, int b) { return ((2 * r + 5 * g + b + 4) >> 9) & 3; }},
        {8, nullptr, [](int r, int g, int b) { return ((r >> 7) << 2) | ((g >> 7) << 1) | (b >> 7); }},
        {16, nullptr, [](int r, int g, int b) {
             const int i = ((b >> 7) << 2) | ((g >> 7) << 1) | (r >> 7);
             return i ? i + 8 : 0;
         }},
        {32, nullptr, [](int r, int g, int b) { return ((r >> 6) << 3) | ((g >> 6) << 1) | (b >> 7); }},
        {64, nullptr, [](int r, int g, int b) { return ((r >> 6) << 4) | ((g >> 6) << 2) | (b >> 6); }},
        {100, nullptr, [](int r, int g, int b) { return ((r >> 6) << 5) | ((g >> 5) << 2) | (b >> 6); }},
        {256, nullptr, [](int r, int g, int b) { return ((r >> 5) << 5) | ((g >> 5) << 2) | (b >> 6); }},
        {216, tables::CubePalette216.entries,
         [](int r, int g, int b) { return (r / 51 * 6 + g / 51) * 6 + b / 51; }},
    };
    const RGBQUAD *sets[9] = {tables::FixedPalette1.entries, tables::FixedPalette2.entries,
                              tables::FixedPalette3.entries, tables::FixedPalette4.entries,
                              tables::FixedPalette5.entries, tables::FixedPalette6.entries,
                              tables::FixedPalette7.entries, tables::FixedPalette8.entries,
                              tables::CubePalette216.entries};
    const ColourRows image = NoiseImage(7, 5, 5);
    for (size_t k = 0; k < 9; ++k) {
        // What the error is measured on: the entries passed, zero beyond.
        std::vector<RGBQUAD> target(256, Quad(0, 0, 0));
        std::copy(sets[k], sets[k] + kinds[k].colors, target.begin());
        for (uint32_t method = 1; method <= 6; ++method)
            EXPECT_EQ(Dither24(method, kinds[k].palette, kinds[k].colors, image),
                      ModelDither(method, image, kinds[k].index, target.data()))
                << "colors " << kinds[k].colors << " method " << method;
    }
}

} // namespace
} // namespace ztk::testing

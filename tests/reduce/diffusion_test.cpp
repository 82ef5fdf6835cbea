// Error diffusion: outputs worked out from the kernel weights for short
// rows several rows deep (carries across columns and rows, truncation
// toward zero, errors lost at the edges), and every palette kind under
// every kernel against a plain model, narrow rows and rows wider than the
// engine's inner run included.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <vector>

#include "colour/tables/fixed_palettes.h"
#include "reduce/tables/dither_tables.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

// Floyd-Steinberg on {black, gray 200}, searched with the low three bits
// cleared, so a channel of 104 or more picks 200.
struct HandCase { const char *what; ColourRows rows; IndexRows expected; };

const HandCase kHandCases[] = {
    // Gray 60, sums S and carries trunc(S / 16):
    //   row 0: x0 S=0 v=60; x1 S=420 c=26 v=86; x2 S=602 c=37 v=97;
    //          x3 S=679 c=42 v=102 -> 0 0 0 0; below: 558 781 877 607,
    //          3*60 left of column 0 and 1*102 right of column 3 lost
    //   row 1: x0 c=34 v=94; x1 781+658=1439 c=89 v=149 -> 1 e=-51;
    //          x2 877-357=520 c=32 v=92; x3 607+644=1251 c=78 v=138 -> 1
    //   row 2: x0 317 c=19 v=79; x1 668 c=41 v=101 -> 0; x2 930 c=58
    //          v=118 -> 1 e=-82; x3 -218-574=-792 c=-49 (toward zero) v=11
    {"gray 60, three rows", Flat(4, 3, {60, 60, 60}),
     {{0, 0, 0, 0}, {0, 1, 0, 1}, {0, 0, 1, 0}}},
    // Row 0: x2 e=100 sends 700 right, 300/500/100 below; x3 S=700 c=43
    // e=43 sends 129 and 215 below. Row 1: x0 e=100 sends 700 to x1: 1000
    // c=62 v=162 -> 200 e=-38; x2 629-266=363 c=22 v=122 -> 200 e=-78; x3
    // 315-546=-231 c=-14 v=86 -> black.
    {"carries across columns and into the next row",
     {{{0, 0, 0}, {0, 0, 0}, {100, 100, 100}, {0, 0, 0}}, Flat(4, 1, {100, 100, 100})[0]},
     {{0, 0, 0, 0}, {0, 1, 1, 0}}},
    // 197 picks 200, e=-3; only 5*-3 stays in a one-column row, and -15/16
    // is 0 toward zero, so 104 still picks 200 (rounding down: 103, black).
    {"negative sums truncate toward zero", {{{197, 197, 197}}, {{104, 104, 104}}}, {{1}, {1}}},
    // 100 is black with e=100; of its shares only 5*100 stays, so 72 gets
    // 31 and is 103, black. Any lost share kept would lift it past 104.
    {"shares outside the row are lost", {{{100, 100, 100}}, {{72, 72, 72}}}, {{0}, {0}}},
};

TEST(Diffusion, HandWorkedFloydSteinberg) {
    const RGBQUAD palette[2] = {Quad(0, 0, 0), Quad(200, 200, 200)};
    for (const HandCase &c : kHandCases)
        EXPECT_EQ(Dither24(DitherFloydSteinberg, palette, 2, c.rows), c.expected) << c.what;
}

// Five columns, four rows of assorted colours on an arbitrary palette
// (searched). Worked out from the kernel weights on a plain grid of sums,
// each divided once toward zero, shares outside the row dropped; the fixed
// sets under every kernel are compared with the plain model below.
struct KernelCase { uint32_t method; IndexRows expected; };

const ColourRows kScene = {
    {{30, 60, 90}, {120, 20, 250}, {255, 255, 255}, {90, 140, 10}, {180, 180, 180}},
    {{250, 5, 5}, {64, 64, 64}, {10, 200, 120}, {100, 100, 220}, {0, 0, 0}},
    {{128, 128, 128}, {77, 150, 33}, {220, 90, 160}, {5, 250, 250}, {140, 60, 200}},
    {{60, 60, 60}, {200, 200, 40}, {33, 66, 99}, {250, 250, 250}, {120, 120, 120}},
};

const KernelCase kKernelCases[] = {
    {DitherFloydSteinberg, {{0, 2, 3, 1, 2}, {1, 1, 2, 2, 0}, {2, 0, 3, 2, 2}, {1, 3, 0, 3, 2}}},
    {DitherStucki, {{0, 2, 3, 1, 3}, {1, 1, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 0, 3, 2}}},
    {DitherBurkes, {{0, 2, 3, 1, 3}, {1, 1, 2, 2, 0}, {2, 0, 1, 2, 2}, {1, 3, 2, 3, 2}}},
    {DitherSierra, {{0, 2, 3, 1, 3}, {1, 0, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 2, 3, 2}}},
    {DitherStevensonArce, {{0, 2, 3, 1, 3}, {1, 0, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 0, 3, 2}}},
    {DitherJarvisJudiceNinke, {{0, 2, 3, 1, 3}, {1, 0, 2, 2, 0}, {2, 1, 1, 2, 2}, {0, 3, 2, 3, 2}}},
};

TEST(Diffusion, HandWorkedEveryKernel) {
    const RGBQUAD arbitrary[4] = {Quad(0, 0, 0), Quad(200, 40, 40), Quad(40, 160, 216),
                                  Quad(248, 248, 160)};
    for (const KernelCase &c : kKernelCases)
        EXPECT_EQ(Dither24(c.method, arbitrary, 4, kScene), c.expected) << c.method;
}

// ---- the plain model -----------------------------------------------------------

// Each method's weights by rows below (0 = the same row) and columns -3..+3;
// no dithering is the model with no weights.
struct KernelModel { int32_t divisor; int weights[4][7]; };
const KernelModel kModels[7] = {
    {1, {}},
    {16, {{0, 0, 0, 0, 7, 0, 0}, {0, 0, 3, 5, 1, 0, 0}}},
    {42, {{0, 0, 0, 0, 8, 4, 0}, {0, 2, 4, 8, 4, 2, 0}, {0, 1, 2, 4, 2, 1, 0}}},
    {32, {{0, 0, 0, 0, 8, 4, 0}, {0, 2, 4, 8, 4, 2, 0}}},
    {32, {{0, 0, 0, 0, 5, 3, 0}, {0, 2, 4, 5, 4, 2, 0}, {0, 0, 2, 3, 2, 0, 0}}},
    {200, {{0, 0, 0, 0, 0, 32, 0}, {12, 0, 26, 0, 30, 0, 16}, {0, 12, 0, 26, 0, 12, 0},
           {5, 0, 12, 0, 12, 0, 5}}},
    {48, {{0, 0, 0, 0, 7, 5, 0}, {0, 3, 5, 7, 5, 3, 0}, {0, 1, 3, 5, 3, 1, 0}}},
};

int Key(int r, int g, int b) { return ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3); }

// A grid of sums per pixel, each divided once toward zero, shares that
// fall outside the row dropped, the error measured on `target`. A fixed
// set (named by its size) computes the index; otherwise the first `colors`
// entries are searched: their own keys go in first, the first entry
// keeping a shared key, then any other key is resolved once, on the
// lowest colour of its cell.
IndexRows ModelDither(uint32_t method, const ColourRows &image, int32_t set,
                      const std::vector<RGBQUAD> &target, int32_t colors) {
    const KernelModel &k = kModels[method];
    std::map<int, int> keys;
    for (size_t i = size_t(colors); i-- > 0;)
        keys[Key(target[i].rgbRed, target[i].rgbGreen, target[i].rgbBlue)] = int(i);
    const size_t h = image.size(), w = image[0].size();
    using SumRow = std::vector<std::array<int64_t, 3>>;
    std::vector<SumRow> sums(h + 4, SumRow(w));
    IndexRows out(h, std::vector<int>(w));
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            const Colour &c = image[y][x];
            const int in[3] = {c.r, c.g, c.b};
            int v[3];
            for (size_t ch = 0; ch < 3; ++ch)
                v[ch] = int(std::clamp<int64_t>(in[ch] + sums[y][x][ch] / k.divisor, 0, 255));
            const int index = out[y][x] =
                set ? FixedIndex(set, v[0], v[1], v[2])
                    : keys.emplace(Key(v[0], v[1], v[2]),
                                   Z_FindPaletteIndex(target.data(), colors, v[0] & 0xF8,
                                                      v[1] & 0xF8, v[2] & 0xF8)).first->second;
            const RGBQUAD &e = target[size_t(index)];
            const int t[3] = {e.rgbRed, e.rgbGreen, e.rgbBlue};
            for (size_t dy = 0; dy < 4; ++dy)
                for (int dx = -3; dx <= 3; ++dx) {
                    const int64_t tx = int64_t(x) + dx;
                    if (tx < 0 || tx >= int64_t(w))
                        continue;
                    for (size_t ch = 0; ch < 3; ++ch)
                        sums[y + dy][size_t(tx)][ch] += k.weights[dy][dx + 3] * (v[ch] - t[ch]);
                }
        }
    return out;
}

ColourRows NoiseImage(int width, int height, uint32_t seed) {
    ColourRows rows = Flat(width, height, {0, 0, 0});
    for (auto &row : rows)
        for (Colour &c : row) {
            seed = seed * 1103515245u + 12345u;
            c = Colour{uint8_t(seed >> 24), uint8_t(seed >> 16), uint8_t(seed >> 8)};
        }
    return rows;
}

// Every palette kind under every method, on rows from one column (narrower
// than any margin) to wider than the inner run. The shortened fixed sets
// count the entries they lack as black; the searched palette resolves a
// key once, on its lowest colour, after its own colours went in first.
TEST(Diffusion, EveryKindMatchesThePlainModel) {
    std::vector<RGBQUAD> arbitrary;
    for (int i = 0; i < 37; ++i)
        arbitrary.push_back(Quad(uint8_t(i * 97), uint8_t(i * 53 + 7), uint8_t(i * 31 + 3)));
    // Colours passed, the whole set's size (0: searched), what is passed.
    const struct { int32_t colors, set; const RGBQUAD *passed, *entries; } kinds[] = {
        {2, 2, nullptr, tables::FixedPalette1.entries},
        {3, 4, nullptr, tables::FixedPalette2.entries},
        {8, 8, nullptr, tables::FixedPalette3.entries},
        {16, 16, nullptr, tables::FixedPalette4.entries},
        {32, 32, nullptr, tables::FixedPalette5.entries},
        {64, 64, nullptr, tables::FixedPalette6.entries},
        {100, 128, nullptr, tables::FixedPalette7.entries},
        {256, 256, nullptr, tables::FixedPalette8.entries},
        {216, 216, tables::CubePalette216.entries, tables::CubePalette216.entries},
        {37, 0, arbitrary.data(), arbitrary.data()},
    };
    for (const int width : {1, 2, 3, 7, 1100}) {
        const ColourRows image = NoiseImage(width, width > 7 ? 3 : 6, uint32_t(width));
        for (const auto &kind : kinds) {
            std::vector<RGBQUAD> target(256, Quad(0, 0, 0));
            std::copy(kind.entries, kind.entries + kind.colors, target.begin());
            for (uint32_t method = 0; method <= 6; ++method)
                EXPECT_EQ(Dither24(method, kind.passed, kind.colors, image),
                          ModelDither(method, image, kind.set, target, kind.colors))
                    << "colors " << kind.colors << " method " << method << " width " << width;
        }
    }
}

} // namespace
} // namespace ztk::testing

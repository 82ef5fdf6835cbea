// Colour matching: the nearest search with its end shortcuts, early exit
// and tie rule; the user match table and the thread's choice of it; and
// the map from one palette to another.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "colour/colour.h"
#include "colour/match.h"
#include "colour/tables/fixed_palettes.h"
#include "core/context.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

int32_t Find(const std::vector<RGBQUAD> &palette, int32_t r, int32_t g,
             int32_t b) {
    return Z_FindPaletteIndex(palette.data(), int32_t(palette.size()), r, g, b);
}

struct NearestCase {
    const char *what;
    std::vector<RGBQUAD> palette;
    int32_t r, g, b;
    int32_t expected;
};

TEST(NearestEntry, ShortcutsEarlyExitAndTies) {
    const NearestCase cases[] = {
        {"black shortcut takes the last entry", {Gray(255), Gray(0)}, 0, 0, 0, 1},
        {"black prefers the first end", {Gray(0), Gray(128), Gray(0)}, 0, 0, 0, 0},
        {"white prefers the last end", {Gray(255), Gray(128), Gray(255)}, 255, 255, 255, 2},
        {"white falls back to the first end", {Gray(255), Gray(128), Gray(7)}, 255, 255, 255, 0},
        {"black only in the middle: the scan", {Gray(9), Gray(0), Gray(255)}, 0, 0, 0, 1},
        {"white only in the middle: the scan", {Gray(9), Gray(255), Gray(0)}, 255, 255, 255, 1},
        {"a later entry of the wanted class wins a tie",
         {Rgb(254, 0, 0), Rgb(255, 1, 0)}, 255, 0, 0, 1},
        {"no entry of the wanted class: the first stays",
         {Rgb(100, 101, 100), Rgb(100, 99, 100)}, 100, 100, 100, 0},
        {"the last of the wanted class, whatever came before",
         {Rgb(101, 100, 100), Rgb(100, 101, 100), Rgb(100, 100, 99)}, 100, 100, 100, 2},
        {"an exact match ends the scan before a duplicate",
         {Gray(10), Gray(10)}, 10, 10, 10, 0},
        {"plain nearest", {Gray(0), Rgb(200, 10, 10), Rgb(10, 200, 10)}, 180, 40, 0, 1},
        {"channels above a byte are held to it", {Gray(0), Gray(128), Gray(255)}, 300, 999, 256, 2},
        {"channels below 0 are held to it", {Gray(0), Gray(128), Gray(255)}, -5, -1, -300, 0},
        {"empty palette", {}, 1, 2, 3, -1},
        {"empty palette, black", {}, 0, 0, 0, -1},
    };
    for (const NearestCase &c : cases)
        EXPECT_EQ(Find(c.palette, c.r, c.g, c.b), c.expected) << c.what;
    EXPECT_EQ(Z_FindPaletteIndex(nullptr, 0, 1, 2, 3), -1);
}

TEST(ColourRules, GrayWideningAndKey) {
    EXPECT_EQ(GrayOfColor(10, 20, 30), (20u + 100 + 30 + 4) >> 3);
    EXPECT_EQ(GrayOfColor(0, 0, 3), 0u); // the +4 rounds only from 4 up
    EXPECT_EQ(GrayOfColor(0, 0, 4), 1u);
    EXPECT_EQ(Widen5(0), 0u);
    EXPECT_EQ(Widen5(16), 132u);
    EXPECT_EQ(Widen5(31), 255u);
    EXPECT_EQ(ColorKey15(0xF8, 0x0F, 7), 0x7C20u);
}

struct ClassCase {
    uint32_t r, g, b, expected;
};

TEST(OrderingClassRule, BitsByChannelOrder) {
    const ClassCase cases[] = {
        {5, 5, 5, 0}, {1, 2, 3, 4}, {1, 0, 2, 4 | 2}, {1, 5, 2, 4 | 1},
        {3, 0, 1, 2}, {3, 9, 1, 1},
        {2, 1, 1, 0}, {1, 2, 2, 4}, // green equal to an end sets no bit
    };
    for (const ClassCase &c : cases)
        EXPECT_EQ(OrderingClass(c.r, c.g, c.b), c.expected)
            << c.r << "," << c.g << "," << c.b;
}

// The search written out from its rule, for random palettes.
int32_t ReferenceNearest(const std::vector<RGBQUAD> &p, uint32_t r, uint32_t g,
                         uint32_t b) {
    const int32_t n = int32_t(p.size());
    auto is = [&](int32_t i, uint32_t v) {
        return p[i].rgbRed == v && p[i].rgbGreen == v && p[i].rgbBlue == v;
    };
    if (r == 0 && g == 0 && b == 0) {
        if (is(0, 0)) return 0;
        if (is(n - 1, 0)) return n - 1;
    }
    if (r == 255 && g == 255 && b == 255) {
        if (is(n - 1, 255)) return n - 1;
        if (is(0, 255)) return 0;
    }
    auto sq = [](int32_t d) { return uint32_t(d * d); };
    uint32_t best = 0xFFFFFFFFu;
    int32_t index = -1;
    for (int32_t i = 0; i < n && best != 0; ++i) {
        const uint32_t d = sq(p[i].rgbRed - int32_t(r)) +
                           sq(p[i].rgbGreen - int32_t(g)) +
                           sq(p[i].rgbBlue - int32_t(b));
        if (d < best) {
            best = d;
            index = i;
        } else if (d == best && OrderingClass(p[i].rgbRed, p[i].rgbGreen,
                                              p[i].rgbBlue) ==
                                    OrderingClass(r, g, b)) {
            index = i;
        }
    }
    return index;
}

TEST(NearestEntry, RandomPalettesAgreeWithTheRule) {
    // Coarse channels make ties and exact matches common.
    for (uint32_t seed = 0; seed < 200; ++seed) {
        const auto bytes = Pattern(4 * 40 + 3 * 50, seed);
        std::vector<RGBQUAD> palette;
        const size_t n = 1 + bytes[0] % 40;
        for (size_t i = 0; i < n; ++i)
            palette.push_back(Rgb(uint8_t(bytes[4 * i] & 0xF0),
                                  uint8_t(bytes[4 * i + 1] & 0xF0),
                                  uint8_t(bytes[4 * i + 2] & 0xF0)));
        for (size_t k = 0; k < 50; ++k) {
            const uint32_t r = bytes[160 + 3 * k] & 0xF8;
            const uint32_t g = bytes[161 + 3 * k] & 0xF8;
            const uint32_t b = bytes[162 + 3 * k] & 0xF8;
            ASSERT_EQ(Find(palette, int32_t(r), int32_t(g), int32_t(b)),
                      ReferenceNearest(palette, r, g, b))
                << "seed " << seed << " colour " << k;
        }
    }
}

using MatchTables = NoLeakTest;

TEST_F(MatchTables, EachCellHoldsTheEntryOfItsLowestColourPlusOne) {
    const std::vector<RGBQUAD> palette = {Gray(0), Rgb(255, 0, 0), Gray(255),
                                          Rgb(0, 0, 250)};
    // The one block is the table: failing it gives none, and nothing leaks.
    EXPECT_EQ(SweepFailures([&](uint32_t, const auto &armed) {
                  uint32_t *t = nullptr;
                  if (armed([&] {
                          t = Z_CreateUserMatchTable(palette.data(), 4);
                          return 1;
                      }).fired) {
                      EXPECT_EQ(t, nullptr);
                  }
                  Z_FreeUserMatchTable(t);
              }),
              1);
    uint32_t *table = Z_CreateUserMatchTable(palette.data(), 4);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(ztk::test::LiveUsage().bytes, before_.bytes + 131072);
    for (uint32_t key = 0; key < 32768; ++key) {
        const int32_t r = int32_t((key >> 10) & 31) * 8;
        const int32_t g = int32_t((key >> 5) & 31) * 8;
        const int32_t b = int32_t(key & 31) * 8;
        ASSERT_EQ(table[key], uint32_t(Find(palette, r, g, b) + 1)) << key;
        ASSERT_NE(table[key], 0u);
    }
    EXPECT_EQ(table[ColorKey15(0, 0, 0)], 1u);
    EXPECT_EQ(table[ColorKey15(255, 0, 0)], 2u);
    // The brightest cell is searched at 248, not at white, and white
    // would have been found at the last end by the shortcut.
    EXPECT_EQ(table[0x7FFF], 3u);
    EXPECT_EQ(table[ColorKey15(0, 0, 255)], 4u);
    EXPECT_EQ(Z_FreeUserMatchTable(table), Z_OK);
}

TEST_F(MatchTables, ThreadChoiceIsKeptPerThreadAndNeverCopied) {
    const std::vector<RGBQUAD> palette = {Gray(0), Gray(255)};
    uint32_t *table = Z_CreateUserMatchTable(palette.data(), 2);
    uint32_t *earlier = Z_SetUserMatchTable(table);
    EXPECT_EQ(Context().UserMatchTable, table);
    uint32_t *seenElsewhere = table;
    std::thread other([&] { seenElsewhere = Z_SetUserMatchTable(nullptr); });
    other.join();
    EXPECT_EQ(seenElsewhere, nullptr);
    EXPECT_EQ(Z_SetUserMatchTable(nullptr), table);
    EXPECT_EQ(Context().UserMatchTable, nullptr);
    EXPECT_EQ(Z_FreeUserMatchTable(table), Z_OK);
    EXPECT_EQ(Z_FreeUserMatchTable(nullptr), Z_OK);
    Z_SetUserMatchTable(earlier);
}

// ---- the palette map ----------------------------------------------------

TEST(PaletteMap, IdentitySearchAndGrayForms) {
    std::vector<RGBQUAD> ramp;
    for (uint32_t i = 0; i < 256; ++i)
        ramp.push_back(Gray(uint8_t(i)));
    const RGBQUAD *one = tables::FixedPalette(1);
    uint8_t map[256];
    std::memset(map, 0xEE, sizeof map);
    // Both gray: nothing to map.
    EXPECT_EQ(BuildPaletteMap(nullptr, 256, nullptr, 256, map), 1);
    EXPECT_EQ(map[0], 0xEE);
    // The equal start of a larger destination is the identity, duplicates
    // included, which a search would send to their first copy.
    const std::vector<RGBQUAD> source = {Rgb(1, 2, 3, 4), Gray(9), Gray(9)};
    std::vector<RGBQUAD> destination = source;
    destination.push_back(Gray(200));
    EXPECT_EQ(BuildPaletteMap(source.data(), 3, destination.data(), 4, map), 1);
    EXPECT_TRUE(map[0] == 0 && map[1] == 1 && map[2] == 2 && map[3] == 0xEE);
    // A reserved byte that differs makes it a search.
    destination[0].rgbReserved = 0;
    EXPECT_EQ(BuildPaletteMap(source.data(), 3, destination.data(), 3, map), 0);
    EXPECT_EQ(map[2], 1);
    // A smaller destination searches.
    const std::vector<RGBQUAD> reversed = {Gray(255), Gray(0)};
    EXPECT_EQ(BuildPaletteMap(one, 2, reversed.data(), 2, map), 0);
    EXPECT_TRUE(map[0] == 1 && map[1] == 0);
    // A gray source finds each level; the full ramp is the identity, and an
    // empty destination finds nothing, which a byte holds as 255.
    EXPECT_EQ(BuildPaletteMap(nullptr, 0, one, 2, map), 0);
    for (uint32_t i = 0; i < 256; ++i)
        EXPECT_EQ(map[i], i < 128 ? 0 : 1) << i;
    EXPECT_EQ(BuildPaletteMap(nullptr, 0, ramp.data(), 256, map), 1);
    EXPECT_EQ(BuildPaletteMap(nullptr, 0, ramp.data(), 0, map), 0);
    EXPECT_EQ(map[17], 255);
    // A gray destination takes the gray of each entry.
    std::memset(map, 0xEE, sizeof map);
    const std::vector<RGBQUAD> colours = {Rgb(255, 0, 0), Rgb(0, 255, 0),
                                          Rgb(0, 0, 255), Rgb(10, 20, 30)};
    EXPECT_EQ(BuildPaletteMap(colours.data(), 4, nullptr, 256, map), 0);
    EXPECT_EQ(map[0], (2 * 255 + 4) >> 3);
    EXPECT_EQ(map[1], (5 * 255 + 4) >> 3);
    EXPECT_EQ(map[2], (255 + 4) >> 3);
    EXPECT_EQ(map[3], (20 + 100 + 30 + 4) >> 3);
    EXPECT_EQ(map[4], 0xEE);
    EXPECT_EQ(BuildPaletteMap(ramp.data(), 256, nullptr, 256, map), 1);
}

} // namespace
} // namespace ztk::testing

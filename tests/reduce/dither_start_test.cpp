// Starting, running and stopping: refused arguments, the output depth and
// the palette kinds recognised over the entries passed, searched palettes
// (flagged entries never chosen, seeded keys, keys resolved once per cell),
// the caller's match table, and the allocation-failure sweep.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "colour/colour.h"
#include "colour/tables/fixed_palettes.h"
#include "core/testhooks.h"
#include "reduce/tables/dither_tables.h"
#include "tests/reduce/dither_support.h"

namespace ztk::testing {
namespace {

using ztk::test::LiveUsage;

std::vector<RGBQUAD> Head(const RGBQUAD *table, size_t count) {
    return std::vector<RGBQUAD>(table, table + count);
}

TEST(DitherStart, RefusedArgumentsLeaveTheRecord) {
    auto *sentinel = reinterpret_cast<DitherState *>(uintptr_t(0x1000));
    const struct { const char *what; int32_t bits; uint32_t method; int32_t colors; } cases[] = {
        {"no colours", 24, 1, 0},       {"257 colours", 24, 1, 257},
        {"negative colours", 24, 1, -1}, {"method 9", 24, 9, 16},
        {"source of 9 bits", 9, 1, 16},  {"source of 0 bits", 0, 1, 16},
    };
    const auto before = LiveUsage();
    EXPECT_EQ(Z_StartDitheringExt(nullptr, nullptr, 2, 1, nullptr), Z_ERR_PARAM);
    EXPECT_EQ(Z_StartDithering(nullptr, nullptr, 2), Z_ERR_PARAM);
    for (const auto &c : cases) {
        BitmapHandle h{};
        Z_InitBitmap(&h, 4, 1, 24);
        h.BitsPerPixel = c.bits;
        h.DitheringMethod = c.method;
        h.DitherState = sentinel;
        EXPECT_EQ(Z_StartDitheringExt(&h, nullptr, c.colors, 8, nullptr), Z_ERR_PARAM) << c.what;
        EXPECT_EQ(Z_StartDithering(&h, nullptr, c.colors), Z_ERR_PARAM) << c.what;
        EXPECT_EQ(h.DitherState, sentinel) << c.what;
        EXPECT_EQ(LiveUsage(), before) << c.what;
    }
}

// With no palette the fixed set of the smallest depth that holds the
// colours is used, and that depth is the output depth.
TEST(DitherStart, NullPaletteTakesTheFixedSetOfTheDepth) {
    const int32_t counts[] = {1, 2, 3, 4, 5, 8, 9, 16, 17, 32, 33, 64, 65, 128, 129, 256};
    for (size_t i = 0; i < 16; ++i) {
        Source source(4, 24, DitherNone);
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, counts[i]), Z_OK);
        EXPECT_EQ(source.state()->OutputBits, int32_t(i / 2 + 1)) << counts[i];
        EXPECT_EQ(source.state()->PaletteKind, int32_t(i / 2 + 2)) << counts[i];
    }
}

TEST(DitherStart, KindsRecognisedOverTheEntriesPassed) {
    const RGBQUAD *cube = tables::CubePalette216.entries;
    std::vector<RGBQUAD> flagged = Head(tables::FixedPalette2.entries, 4);
    flagged[3].rgbReserved = 8; // the compare includes reserved bytes
    std::vector<RGBQUAD> cubeWithGray = Head(cube, 256);
    cubeWithGray[255] = Quad(9, 9, 9);
    std::vector<RGBQUAD> eightAsSixteen = Head(tables::FixedPalette3.entries, 8);
    eightAsSixteen.resize(16); // compared as sixteen entries, the tail black
    const struct {
        const char *what;
        std::vector<RGBQUAD> palette;
        int32_t colors, kind;
    } cases[] = {
        {"3-entry head of the 4 grays", Head(tables::FixedPalette2.entries, 3), 3, 3},
        {"200-entry head of the 256 colours", Head(tables::FixedPalette8.entries, 200), 200, 9},
        {"the 16-colour set for 9 colours", Head(tables::FixedPalette4.entries, 9), 9, 5},
        {"a reserved byte differs", flagged, 4, 0},
        {"the 8-colour set asked for 16", eightAsSixteen, 16, 0},
        {"the cube of 216", Head(cube, 216), 216, 10},
        {"the cube with its black tail", Head(cube, 256), 256, 10},
        {"the cube's head of 129", Head(cube, 129), 129, 10},
        {"the cube's head of 128 is not looked for", Head(cube, 128), 128, 0},
        {"the cube with a gray tail entry", cubeWithGray, 256, 0},
        {"white first is not the 1-bit set", {Quad(255, 255, 255), Quad(0, 0, 0)}, 2, 0},
    };
    for (const auto &c : cases) {
        Source source(4, 24, DitherFloydSteinberg);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), c.palette.data(), c.colors, 8, nullptr), Z_OK)
            << c.what;
        EXPECT_EQ(source.state()->PaletteKind, c.kind) << c.what;
    }
}

// Searched palettes emit positions in the palette as given.
TEST(DitherStart, SearchedPalettes) {
    const struct {
        const char *what;
        std::vector<RGBQUAD> palette;
        std::vector<uint32_t> methods;
        ColourRows rows;
        IndexRows expected;
    } cases[] = {
        // Bit 0 or 1 of the reserved byte keeps an entry out of the search.
        {"flagged entries are never chosen",
         {Quad(0, 0, 0, 1), Quad(128, 128, 128, 4), Quad(255, 255, 255, 2), Quad(16, 16, 16),
          Quad(255, 255, 255, 3)},
         {DitherNone},
         {{{0, 0, 0}, {255, 255, 255}, {130, 130, 130}, {20, 20, 20}}},
         {{3, 1, 1, 3}}},
        {"every entry flagged still runs", {Quad(0, 0, 0, 1), Quad(255, 255, 255, 2)},
         {DitherNone, DitherFloydSteinberg, DitherOrdered},
         {{{0, 0, 0}, {255, 255, 255}, {9, 9, 9}}, {{1, 2, 3}, {200, 0, 0}, {0, 0, 0}}},
         {{0, 0, 0}, {0, 0, 0}}},
        // 207 has the key of 200, which the first entry keeps; 215 is
        // searched as 208, nearest to 207.
        {"the first entry keeps a shared key",
         {Quad(0, 0, 0), Quad(200, 200, 200), Quad(207, 207, 207)}, {DitherNone},
         {{{207, 207, 207}, {215, 215, 215}, {200, 200, 200}}}, {{1, 2, 1}}},
        // 12 is nearer 20 than 0, but its cell is searched as 8, once.
        {"a key is resolved on its cell's lowest colour", {Quad(0, 0, 0), Quad(20, 20, 20)},
         {DitherNone}, {{{12, 12, 12}, {15, 15, 15}}}, {{0, 0}}},
    };
    for (const auto &c : cases)
        for (uint32_t method : c.methods)
            EXPECT_EQ(Dither24(method, c.palette.data(), int32_t(c.palette.size()), c.rows),
                      c.expected) << c.what << ", method " << method;
}

// A caller's table is read and filled in place as it stands: here every
// key holds MatchPalette position 1, palette index 2, so every colour
// gives 2; it outlives the stop. Emptied, it is seeded with the palette,
// and a fixed set passed with it is searched rather than computed.
TEST(DitherStart, CallersTableIsUsedAsItIsAndNeverFreed) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0, 2), Quad(90, 90, 90), Quad(180, 180, 180)};
    // From the allocator, so that a wrongful free shows in the live usage.
    auto *table = static_cast<uint32_t *>(Z_OsAllocInit(32768 * 4, 1));
    ASSERT_NE(table, nullptr);
    std::fill(table, table + 32768, 2u);
    const auto before = LiveUsage();
    const ColourRows row = {{{0, 0, 0}, {90, 90, 90}, {255, 255, 255}}};
    EXPECT_EQ(Dither24(DitherFloydSteinberg, palette, 3, row, table), (IndexRows{{2, 2, 2}}));
    EXPECT_EQ(LiveUsage(), before);
    EXPECT_EQ(std::count(table, table + 32768, 2u), 32768);

    std::fill(table, table + 32768, 0u);
    EXPECT_EQ(Dither24(DitherNone, nullptr, 4, {{{100, 100, 100}, {170, 170, 170}}}, table),
              (IndexRows{{1, 2}}));
    EXPECT_EQ(table[ColorKey15(170, 170, 170)], 3u); // seeded: the gray 170 is entry 2
    EXPECT_EQ(table[ColorKey15(100, 100, 100)], 2u); // searched onto gray 85
    EXPECT_EQ(table[ColorKey15(0, 0, 0)], 1u);
    Z_OsFree(table);
}

TEST(DitherLine, RefusesMissingPiecesAndKeepsTheStartedMethod) {
    Source source(2, 24, DitherNone);
    const std::vector<uint8_t> in = Rgb24Row({{128, 128, 128}, {128, 128, 128}});
    uint8_t out[1] = {};
    EXPECT_EQ(Z_DitherLine(source.get(), in.data(), out), Z_ERR_PARAM); // not started
    ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 2), Z_OK);
    EXPECT_EQ(Z_DitherLine(nullptr, in.data(), out), Z_ERR_PARAM);
    EXPECT_EQ(Z_DitherLine(source.get(), nullptr, out), Z_ERR_PARAM);
    EXPECT_EQ(Z_DitherLine(source.get(), in.data(), nullptr), Z_ERR_PARAM);
    // The method is read at the start only: both pixels plainly white.
    source.h.DitheringMethod = DitherOrdered;
    ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out), Z_OK);
    EXPECT_EQ(out[0], 0xC0);
    EXPECT_EQ(Z_StopDithering(source.get()), Z_OK);
    EXPECT_EQ(Z_StopDithering(source.get()), Z_OK);
    EXPECT_EQ(Z_StopDithering(nullptr), Z_OK);
}

// Acquisitions: the state, an owned table, then 3 channels per error row,
// which every method has as many of as its kernel reaches rows down.
TEST(DitherStart, AllocationFailureSweep) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0), Quad(10, 200, 30), Quad(250, 250, 250)};
    auto *callers = static_cast<uint32_t *>(Z_OsAllocInit(32768 * 4, 1));
    const int32_t rowsOf[9] = {0, 1, 2, 1, 2, 3, 2, 0, 0};
    for (uint32_t method = 0; method <= 8; ++method)
        for (uint32_t *table : {static_cast<uint32_t *>(nullptr), callers}) {
            Source source(7, 24, method);
            // A running state whose place must survive every failed start.
            ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 2), Z_OK);
            DitherState *const earlier = source.state();
            const auto before = LiveUsage();
            const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
                const SweepRun run = armed(
                    [&] { return Z_StartDitheringExt(source.get(), palette, 3, 8, table); });
                if (run.fired) {
                    EXPECT_EQ(run.result, Z_ERR_NOMEM);
                    EXPECT_EQ(LiveUsage(), before);
                    EXPECT_EQ(source.state(), earlier);
                } else {
                    EXPECT_EQ(run.result, Z_OK);
                    Z_StopDithering(source.get());
                    source.h.DitherState = earlier;
                }
            });
            EXPECT_EQ(failures, (table ? 1 : 2) + 3 * rowsOf[method]) << "method " << method;
        }
    Z_OsFree(callers);
}

} // namespace
} // namespace ztk::testing

// Starting and stopping: refused arguments, the palette kinds and their
// recognition over the entries passed, match tables (owned or the
// caller's, seeded, searched with low bits cleared, flagged entries never
// chosen), the source palette and gray window, and the allocation-failure
// sweep.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
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

int32_t KindOf(const RGBQUAD *palette, int32_t colors, uint32_t *table = nullptr) {
    Source source(4, 24, DitherFloydSteinberg);
    if (Z_StartDitheringExt(source.get(), palette, colors, 8, table) != Z_OK)
        return -1;
    return source.state()->PaletteKind;
}

TEST(DitherStart, RefusedArgumentsLeaveTheRecord) {
    auto *sentinel = reinterpret_cast<DitherState *>(uintptr_t(0x1000));
    struct Case {
        const char *what;
        int32_t bits;
        uint32_t method;
        int32_t colors;
    } cases[] = {
        {"no colours", 24, 1, 0},      {"257 colours", 24, 1, 257},
        {"negative colours", 24, 1, -1}, {"method 9", 24, 9, 16},
        {"source of 9 bits", 9, 1, 16}, {"source of 0 bits", 0, 1, 16},
    };
    const auto before = LiveUsage();
    EXPECT_EQ(Z_StartDitheringExt(nullptr, nullptr, 2, 1, nullptr), Z_ERR_PARAM);
    EXPECT_EQ(Z_StartDithering(nullptr, nullptr, 2), Z_ERR_PARAM);
    for (const Case &c : cases) {
        BitmapHandle h{};
        Z_InitBitmap(&h, 4, 1, 24);
        h.BitsPerPixel = c.bits;
        h.DitheringMethod = c.method;
        h.DitherState = sentinel;
        EXPECT_EQ(Z_StartDitheringExt(&h, nullptr, c.colors, 8, nullptr), Z_ERR_PARAM)
            << c.what;
        EXPECT_EQ(h.DitherState, sentinel) << c.what;
        if (c.colors <= 0 || c.colors > 256) {
            EXPECT_EQ(Z_StartDithering(&h, nullptr, c.colors), Z_ERR_PARAM) << c.what;
        }
        EXPECT_EQ(h.DitherState, sentinel) << c.what;
        EXPECT_EQ(LiveUsage(), before) << c.what;
    }
}

TEST(DitherStart, EveryAcceptedSourceDepthAndMethodStarts) {
    for (int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32}) {
        for (uint32_t method = 0; method <= 8; ++method) {
            Source source(5, bits, method);
            ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 16), Z_OK);
            const DitherState *s = source.state();
            EXPECT_EQ(s->SourceBits, bits);
            EXPECT_EQ(s->Method, int32_t(method));
            EXPECT_EQ(s->OutputBits, 4);
            EXPECT_EQ(s->TargetColors, 16u);
            const uint32_t rows[9] = {0, 1, 2, 1, 2, 3, 2, 0, 0};
            const uint32_t margins[9] = {0, 1, 2, 2, 2, 3, 2, 0, 0};
            EXPECT_EQ(s->ErrorRowCount, rows[method]);
            EXPECT_EQ(s->ErrorRowLength, rows[method] ? 5 + 2 * margins[method] : 0u);
            for (uint32_t k = 0; k < 3; ++k) {
                EXPECT_EQ(s->RedRows[k] != nullptr, k < rows[method]);
                EXPECT_EQ(s->BlueRows[k] != nullptr, k < rows[method]);
            }
        }
    }
}

TEST(DitherStart, OutputDepthFollowsTheColourCount) {
    const int32_t counts[] = {1, 2, 3, 4, 5, 8, 9, 16, 17, 32, 33, 64, 65, 128, 129, 256};
    const int32_t depths[] = {1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8};
    for (size_t i = 0; i < 16; ++i) {
        Source source(4, 24, DitherNone);
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, counts[i]), Z_OK);
        EXPECT_EQ(source.state()->OutputBits, depths[i]) << counts[i];
    }
}

TEST(DitherStart, KindsRecognisedOverTheEntriesPassed) {
    const RGBQUAD *cube = tables::CubePalette216.entries;
    std::vector<RGBQUAD> flagged = Head(tables::FixedPalette2.entries, 4);
    flagged[3].rgbReserved = 8; // the compare includes reserved bytes
    std::vector<RGBQUAD> cubeWithGray = Head(cube, 256);
    cubeWithGray[255] = Quad(9, 9, 9);
    struct Case {
        const char *what;
        std::vector<RGBQUAD> palette;
        int32_t colors;
        int32_t kind;
    } cases[] = {
        {"3-entry head of the 4 grays", Head(tables::FixedPalette2.entries, 3), 3, 3},
        {"200-entry head of the 256 colours", Head(tables::FixedPalette8.entries, 200), 200, 9},
        {"the whole 16-colour set", Head(tables::FixedPalette4.entries, 16), 16, 5},
        {"the 16-colour set for 9 colours", Head(tables::FixedPalette4.entries, 9), 9, 5},
        {"a reserved byte differs", flagged, 4, 0},
        {"the 8-colour set asked for 16", Head(tables::FixedPalette3.entries, 8), 16, -2},
        {"the cube of 216", Head(cube, 216), 216, 10},
        {"the cube with its black tail", Head(cube, 256), 256, 10},
        {"the cube's head of 129", Head(cube, 129), 129, 10},
        {"the cube's head of 128 is not looked for", Head(cube, 128), 128, 0},
        {"the cube's head of 8", Head(cube, 8), 8, 0},
        {"the cube with a gray tail entry", cubeWithGray, 256, 0},
        {"two grays of the 1-bit set", {Quad(0, 0, 0), Quad(255, 255, 255)}, 2, 2},
        {"white first is not the 1-bit set", {Quad(255, 255, 255), Quad(0, 0, 0)}, 2, 0},
    };
    for (Case &c : cases) {
        if (c.kind == -2) {
            // Eight entries compared as sixteen would read past them.
            c.palette.resize(16);
            c.kind = 0;
        }
        EXPECT_EQ(KindOf(c.palette.data(), c.colors), c.kind) << c.what;
    }
    const int32_t colours[] = {2, 4, 8, 16, 32, 64, 128, 256};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(KindOf(nullptr, colours[i]), i + 2) << "null palette, " << colours[i];
    EXPECT_EQ(KindOf(nullptr, 3), 3);
    EXPECT_EQ(KindOf(nullptr, 200), 9);
}

TEST(DitherStart, FixedKindsHaveNoTableAndCopyTheTarget) {
    Source source(4, 24, DitherNone);
    ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 5), Z_OK);
    const DitherState *s = source.state();
    EXPECT_EQ(s->PaletteKind, 4);
    EXPECT_EQ(s->MatchTable, nullptr);
    EXPECT_EQ(s->MatchCount, 0u);
    EXPECT_EQ(std::memcmp(s->TargetPalette, tables::FixedPalette3.entries, 5 * 4), 0);
    const RGBQUAD zero[3] = {};
    EXPECT_EQ(std::memcmp(s->TargetPalette + 5, zero, sizeof zero), 0);
}

// Entries with bit 0 or 1 of the reserved byte are left out of the search;
// what is emitted is the position in the palette as given.
TEST(DitherStart, FlaggedEntriesAreNeverChosen) {
    const RGBQUAD palette[5] = {Quad(0, 0, 0, 1), Quad(128, 128, 128, 4),
                                Quad(255, 255, 255, 2), Quad(16, 16, 16),
                                Quad(255, 255, 255, 3)};
    Source source(4, 24, DitherNone);
    ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 5, 8, nullptr), Z_OK);
    const DitherState *s = source.state();
    ASSERT_EQ(s->PaletteKind, 0);
    ASSERT_EQ(s->MatchCount, 2u);
    EXPECT_EQ(s->MatchPalette[0].rgbRed, 128);
    EXPECT_EQ(s->MatchPalette[0].rgbReserved, 1);
    EXPECT_EQ(s->MatchPalette[1].rgbReserved, 3);
    // The owned table is seeded with positions in MatchPalette.
    EXPECT_EQ(s->MatchTable[ColorKey15(128, 128, 128)], 1u);
    EXPECT_EQ(s->MatchTable[ColorKey15(16, 16, 16)], 2u);
    EXPECT_EQ(s->MatchTable[ColorKey15(0, 0, 0)], 0u);
    const IndexRows out =
        DitherRows(source.get(), {{{0, 0, 0}, {255, 255, 255}, {130, 130, 130}, {20, 20, 20}}});
    EXPECT_EQ(out, (IndexRows{{3, 1, 1, 3}}));
}

// Of two entries with one key the first keeps the key; the second is found
// only by colours searched onto it from another key.
TEST(DitherStart, FirstEntryKeepsASharedKey) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0), Quad(200, 200, 200), Quad(207, 207, 207)};
    Source source(3, 24, DitherNone);
    ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 3, 8, nullptr), Z_OK);
    EXPECT_EQ(source.state()->MatchTable[ColorKey15(207, 207, 207)], 2u);
    // 207 has the key of 200; 215 is searched as 208, nearest to 207.
    EXPECT_EQ(DitherRows(source.get(), {{{207, 207, 207}, {215, 215, 215}, {200, 200, 200}}}),
              (IndexRows{{1, 2, 1}}));
}

// A key is resolved on its lowest colour and stays so for every colour of
// the cell: 12 is nearer 20 than 0, but its cell is searched as 8.
TEST(DitherStart, AResolvedKeyHoldsForItsWholeCell) {
    const RGBQUAD palette[2] = {Quad(0, 0, 0), Quad(20, 20, 20)};
    for (const std::vector<Colour> &row :
         {std::vector<Colour>{{12, 12, 12}, {15, 15, 15}},
          std::vector<Colour>{{15, 15, 15}, {12, 12, 12}}}) {
        Source source(2, 24, DitherNone);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 2, 8, nullptr), Z_OK);
        EXPECT_EQ(DitherRows(source.get(), {row}), (IndexRows{{0, 0}}));
        EXPECT_EQ(source.state()->MatchTable[ColorKey15(12, 12, 12)], 1u);
    }
}

TEST(DitherStart, CallersTableIsUsedAsItIsAndNeverFreed) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0, 2), Quad(90, 90, 90), Quad(180, 180, 180)};
    uint32_t *table = static_cast<uint32_t *>(Z_OsAllocInit(32768 * 4, 1));
    ASSERT_NE(table, nullptr);
    for (uint32_t i = 0; i < 32768; ++i)
        table[i] = 2; // every key: MatchPalette position 1, palette index 2
    const auto before = LiveUsage();
    {
        Source source(3, 24, DitherFloydSteinberg);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 3, 8, table), Z_OK);
        EXPECT_EQ(source.state()->PaletteKind, 1);
        EXPECT_EQ(source.state()->MatchTable, table);
        EXPECT_EQ(DitherRows(source.get(), {{{0, 0, 0}, {90, 90, 90}, {255, 255, 255}}}),
                  (IndexRows{{2, 2, 2}}));
        EXPECT_EQ(Z_StopDithering(source.get()), Z_OK);
        EXPECT_EQ(source.state(), nullptr);
    }
    EXPECT_EQ(LiveUsage(), before);
    EXPECT_EQ(table[0], 2u);

    // An empty caller's table is seeded and filled in place, and a fixed
    // set passed with it is still searched.
    std::memset(table, 0, 32768 * 4);
    {
        Source source(2, 24, DitherNone);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), nullptr, 4, 8, table), Z_OK);
        EXPECT_EQ(source.state()->PaletteKind, 1);
        EXPECT_EQ(table[ColorKey15(170, 170, 170)], 3u);
        EXPECT_EQ(DitherRows(source.get(), {{{100, 100, 100}, {170, 170, 170}}}),
                  (IndexRows{{1, 2}}));
        EXPECT_EQ(table[ColorKey15(100, 100, 100)], 2u);
    }
    Z_OsFree(table);
}

TEST(DitherStart, APaletteWithEveryEntryFlaggedStillRuns) {
    const RGBQUAD palette[2] = {Quad(0, 0, 0, 1), Quad(255, 255, 255, 2)};
    for (uint32_t method : {0u, 1u, 7u}) {
        Source source(3, 24, method);
        ASSERT_EQ(Z_StartDitheringExt(source.get(), palette, 2, 8, nullptr), Z_OK);
        EXPECT_EQ(source.state()->MatchCount, 0u);
        const IndexRows out = DitherRows(source.get(), {{{0, 0, 0}, {255, 255, 255}, {9, 9, 9}},
                                                        {{1, 2, 3}, {200, 0, 0}, {0, 0, 0}}});
        for (const auto &row : out)
            for (int v : row)
                EXPECT_EQ(v, 0);
    }
}

TEST(DitherStart, SourcePaletteAndGrayWindow) {
    {
        Source source(4, 4, DitherNone);
        const RGBQUAD entries[3] = {Quad(1, 2, 3), Quad(4, 5, 6), Quad(7, 8, 9)};
        source.h.Palette = Z_CreatePalette(entries, 3);
        source.h.ColorCount = 3;
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 2), Z_OK);
        EXPECT_EQ(std::memcmp(source.state()->SourcePalette, entries, sizeof entries), 0);
        EXPECT_EQ(source.state()->SourcePalette[3].rgbRed, 0);
    }
    struct Case {
        int32_t bits, low, high;
        bool lut;
        uint32_t grayBits, mask, shift;
    } cases[] = {
        {16, 0, 15, false, 8, 255, 8},   {16, 0, 15, true, 16, 0xFFFF, 0},
        {16, 2, 13, true, 12, 0xFFF, 2}, {12, -1, -1, false, 8, 255, 4},
        {12, 0, 5, false, 6, 63, 0},
    };
    for (const Case &c : cases) {
        Source source(4, c.bits, DitherNone, 2);
        source.h.LowBit = c.low;
        source.h.HighBit = c.high;
        RGBQUAD lut[1] = {};
        if (c.lut) {
            source.h.GrayLUT = lut;
            source.h.Flags |= BITMAP_GRAYLUT;
        }
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK);
        EXPECT_EQ(source.state()->GrayBits, c.grayBits);
        EXPECT_EQ(source.state()->GrayMask, c.mask);
        EXPECT_EQ(source.state()->GrayShift, c.shift);
        Z_StopDithering(source.get());
        source.h.GrayLUT = nullptr;
    }
    // Colour orders read no window.
    Source colour(4, 16, DitherNone, 1);
    ASSERT_EQ(Z_StartDithering(colour.get(), nullptr, 256), Z_OK);
    EXPECT_EQ(colour.state()->GrayMask, 0u);
}

TEST(DitherLine, RefusesMissingPieces) {
    Source source(4, 24, DitherNone);
    uint8_t in[12] = {}, out[4] = {};
    EXPECT_EQ(Z_DitherLine(source.get(), in, out), Z_ERR_PARAM); // not started
    ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 256), Z_OK);
    EXPECT_EQ(Z_DitherLine(nullptr, in, out), Z_ERR_PARAM);
    EXPECT_EQ(Z_DitherLine(source.get(), nullptr, out), Z_ERR_PARAM);
    EXPECT_EQ(Z_DitherLine(source.get(), in, nullptr), Z_ERR_PARAM);
    EXPECT_EQ(Z_DitherLine(source.get(), in, out), Z_OK);
    EXPECT_EQ(Z_StopDithering(source.get()), Z_OK);
    EXPECT_EQ(Z_StopDithering(source.get()), Z_OK);
    EXPECT_EQ(Z_StopDithering(nullptr), Z_OK);
}

// The method is read at the start only.
TEST(DitherLine, MethodChangedAfterTheStartHasNoEffect) {
    Source source(2, 24, DitherNone);
    ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 2), Z_OK);
    source.h.DitheringMethod = DitherOrdered;
    const std::vector<uint8_t> in = Rgb24Row({{128, 128, 128}, {128, 128, 128}});
    uint8_t out[1] = {};
    ASSERT_EQ(Z_DitherLine(source.get(), in.data(), out), Z_OK);
    EXPECT_EQ(out[0], 0xC0); // both plainly white, no threshold
    EXPECT_EQ(source.state()->RowCounter, 0u);
}

TEST(DitherStart, AllocationFailureSweep) {
    const RGBQUAD palette[3] = {Quad(0, 0, 0), Quad(10, 200, 30), Quad(250, 250, 250)};
    uint32_t *callers = static_cast<uint32_t *>(Z_OsAllocInit(32768 * 4, 1));
    struct Case {
        uint32_t method;
        uint32_t *table;
        int32_t failures; // state, owned table, 3 channels per error row
    } cases[] = {
        {DitherStevensonArce, nullptr, 11},
        {DitherFloydSteinberg, callers, 4},
        {DitherOrdered, nullptr, 2},
    };
    for (const Case &c : cases) {
        Source source(7, 24, c.method);
        // A running state whose place must survive every failed start.
        ASSERT_EQ(Z_StartDithering(source.get(), nullptr, 2), Z_OK);
        DitherState *const earlier = source.state();
        const auto before = LiveUsage();
        const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
            const SweepRun run = armed([&] {
                return Z_StartDitheringExt(source.get(), palette, 3, 8, c.table);
            });
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
        EXPECT_EQ(failures, c.failures) << "method " << c.method;
    }
    Z_OsFree(callers);
}

} // namespace
} // namespace ztk::testing

// Palette services: the crossing between arrays and logical palettes,
// copies, gray and fixed palettes, the system palette and the comparison.
#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

#include "colour/tables/fixed_palettes.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

using PaletteServices = NoLeakTest;

TEST_F(PaletteServices, EntriesCrossBothWaysWithTheReservedByte) {
    const auto before = ztk::test::LiveUsage();
    Palette palette({Gray(10), Gray(20), Gray(30), Rgb(250, 128, 7, 0x7F)});
    EXPECT_EQ(ztk::test::LiveUsage().objects, before.objects + 1);
    EXPECT_EQ(Z_GetPaletteSize(palette.get()), 4);
    RGBQUAD out[8];
    std::memset(out, 0xEE, sizeof out);
    // From entry 2, up to 5 wanted: two delivered, the rest untouched.
    EXPECT_EQ(Z_GetPaletteEntries(palette.get(), 2, 5, out), 2);
    EXPECT_TRUE(SameColour(out[0], Gray(30)));
    EXPECT_TRUE(SameColour(out[1], Rgb(250, 128, 7, 0x7F)));
    EXPECT_EQ(out[2].rgbRed, 0xEE);
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(Z_GetPaletteEntries(palette.get(), 4, 1, out), 0);
    EXPECT_EQ(Z_GetPaletteEntries(nullptr, 0, 1, out), 0);
    EXPECT_EQ(Z_GetPaletteEntries(palette.get(), 0, 0, out), 0);
    EXPECT_EQ(out[0].rgbRed, 0xEE);
    const RGBQUAD in[2] = {Rgb(9, 8, 7, 5), Rgb(6, 5, 4)};
    EXPECT_EQ(Z_SetPaletteEntries(palette.get(), 1, 2, in), 2);
    EXPECT_EQ(Z_SetPaletteEntries(palette.get(), 0, 0, in), 0);
    const auto got = EntriesOf(palette.get());
    ASSERT_EQ(got.size(), 4u);
    EXPECT_TRUE(SameColour(got[0], Gray(10)));
    EXPECT_TRUE(SameColour(got[1], in[0]));
    EXPECT_TRUE(SameColour(got[2], in[1]));
    EXPECT_EQ(Z_GetPaletteSize(nullptr), 0);
    EXPECT_EQ(Z_DupPalette(nullptr), nullptr);
    Palette empty(Z_CreatePalette(nullptr, 0));
    EXPECT_EQ(Z_GetPaletteSize(empty.get()), 0);
    EXPECT_EQ(Z_DupPalette(empty.get()), nullptr);
}

TEST_F(PaletteServices, DuplicateFailsCleanlyUnderEveryFailure) {
    const std::vector<RGBQUAD> in = {Rgb(1, 2, 3, 4), Rgb(5, 6, 7, 8)};
    Palette original(in);
    const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
        ZHPALETTE copy = nullptr;
        const SweepRun run = armed([&] {
            copy = Z_DupPalette(original.get());
            return copy != nullptr ? 1 : 0;
        });
        if (run.fired) {
            EXPECT_EQ(copy, nullptr) << "failure " << run.nth;
        } else {
            EXPECT_NE(copy, original.get());
            const auto out = EntriesOf(copy);
            EXPECT_TRUE(out.size() == 2 && SameColour(out[0], in[0]) &&
                        SameColour(out[1], in[1]));
        }
        Palette owner(copy);
    });
    EXPECT_EQ(failures, 2); // the buffer, then the palette
}

TEST_F(PaletteServices, GrayRampsAreTruncatedPerEntry) {
    std::vector<uint8_t> all(256);
    for (uint32_t i = 0; i < 256; ++i)
        all[i] = uint8_t(i);
    const std::pair<int32_t, std::vector<uint8_t>> cases[] = {
        {1, {0, 255}},
        {2, {0, 85, 170, 255}},
        {3, {0, 36, 72, 109, 145, 182, 218, 255}},
        {0, all}, {8, all}, // zero bits means eight
        {9, {}}, {16, {}}, {-1, {}},
    };
    for (const auto &c : cases) {
        Palette gray(Z_CreateGrayPalette(c.first));
        EXPECT_EQ(gray.get() == nullptr, c.second.empty()) << c.first;
        const auto out = EntriesOf(gray.get());
        ASSERT_EQ(out.size(), c.second.size()) << c.first;
        for (size_t i = 0; i < out.size(); ++i)
            EXPECT_TRUE(SameColour(out[i], Gray(c.second[i])))
                << c.first << " bits, entry " << i;
    }
}

TEST_F(PaletteServices, GrayRampFailsCleanlyUnderEveryFailure) {
    const int32_t failures = SweepFailures([&](uint32_t, const auto &armed) {
        ZHPALETTE gray = nullptr;
        const SweepRun run = armed([&] {
            gray = Z_CreateGrayPalette(4);
            return 1;
        });
        if (run.fired) {
            EXPECT_EQ(gray, nullptr) << "failure " << run.nth;
        }
        Palette owner(gray);
    });
    EXPECT_EQ(failures, 2);
}

TEST_F(PaletteServices, BitmapFixedPaletteFollowsTheColourCount) {
    for (int32_t count : {16, 0, 1, 3, 100, 512, -2}) {
        Bitmap bitmap(4, 4, 8);
        bitmap->ColorCount = count;
        bitmap->Palette = nullptr;
        EXPECT_EQ(Z_CreateBitmapFixedPalette(bitmap.get()), count == 16) << count;
        const auto out = EntriesOf(bitmap->Palette);
        ASSERT_EQ(out.size(), count == 16 ? 16u : 0u);
        for (size_t i = 0; i < out.size(); ++i)
            EXPECT_TRUE(SameColour(out[i], tables::FixedPalette(4)[i]));
    }
    // A palette that cannot be made still answers 1.
    Bitmap bitmap(4, 4, 1);
    FailureScope failure(1);
    EXPECT_EQ(Z_CreateBitmapFixedPalette(bitmap.get()), 1);
    EXPECT_TRUE(failure.fired());
    EXPECT_EQ(bitmap->Palette, nullptr);
}

#if !defined(_WIN32)
TEST_F(PaletteServices, ScreenWithoutAPaletteGivesNoSystemPalette) {
    EXPECT_EQ(Z_CreateSystemPalette(), nullptr);
}
#endif

TEST_F(PaletteServices, Comparison) {
    Palette palette({Rgb(1, 2, 3, 0), Rgb(4, 5, 6, 0)});
    const RGBQUAD same[3] = {Rgb(1, 2, 3, 9), Rgb(4, 5, 6, 9), Rgb(7, 7, 7)};
    const RGBQUAD other[2] = {Rgb(1, 2, 3), Rgb(4, 99, 6)};
    // Reserved bytes are not compared.
    EXPECT_EQ(Z_CompareHandleToPalette(palette.get(), same, 2), 1);
    EXPECT_EQ(Z_CompareHandleToPalette(palette.get(), other, 2), 0);
    EXPECT_EQ(Z_CompareHandleToPalette(palette.get(), other, 1), 1);
    // A shorter palette that agrees with the start of the array matches.
    EXPECT_EQ(Z_CompareHandleToPalette(palette.get(), same, 3), 1);
    // Nothing to compare is a match.
    EXPECT_EQ(Z_CompareHandleToPalette(nullptr, other, 2), 1);
    EXPECT_EQ(Z_CompareHandleToPalette(palette.get(), other, 0), 1);
}

} // namespace
} // namespace ztk::testing

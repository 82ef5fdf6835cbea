// Single pixels at every depth and with every tag: bounds, palette
// indices, gray windows (the read spread over 16 bits, the write scaled
// down rounding up), colour layouts, the 12-bit neighbour and the 32-bit
// fourth byte, the region's say through the dispatch table; translation of
// colour values between bitmaps, palette ranges and playback parameters.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "colour/colour.h"
#include "core/dispatch.h"
#include "core/packed.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

ColorValue Direct(uint32_t r, uint32_t g, uint32_t b) {
    return r | (g << 8) | (b << 16);
}
ColorValue DirectOf(const RGBQUAD &q) {
    return Direct(q.rgbRed, q.rgbGreen, q.rgbBlue);
}

class Pixels : public NoLeakTest {
  protected:
    void TearDown() override {
        for (auto &b : bitmaps_) {
            Z_InitGrayParams(&b->h);
            Z_FreeBitmap(&b->h);
        }
        bitmaps_.clear();
        NoLeakTest::TearDown();
    }
    BitmapHandle *Make(int32_t width, int32_t height, int32_t bits,
                       int32_t order = 0, const RGBQUAD *palette = nullptr) {
        bitmaps_.push_back(std::make_unique<Bitmap>());
        BitmapHandle *b = bitmaps_.back()->get();
        EXPECT_EQ(Z_CreateBitmap(b, MEMORY_ANY, width, height, bits, order,
                                 palette, 2),
                  Z_OK);
        return b;
    }
    // The raw row as stored.
    std::vector<uint8_t> Stored(BitmapHandle *b, uint32_t row) {
        std::vector<uint8_t> out(b->BytesPerLine);
        Z_GetBitmapRow(b, out.data(), row, b->BytesPerLine);
        return out;
    }
    void SetGrayTable(BitmapHandle *b, const std::vector<RGBQUAD> &entries) {
        b->GrayLUT = static_cast<RGBQUAD *>(
            Z_OsAlloc(uint32_t(entries.size() * sizeof(RGBQUAD))));
        std::memcpy(b->GrayLUT, entries.data(), entries.size() * sizeof(RGBQUAD));
        b->GrayLUTLength = uint32_t(entries.size());
        b->Flags |= BITMAP_GRAYLUT;
    }
    std::vector<std::unique_ptr<Bitmap>> bitmaps_;
};

TEST_F(Pixels, OutsideTheBitmapIsInvalidOrEmpty) {
    for (int32_t bits : {1, 4, 8, 12, 16, 24, 32}) {
        SCOPED_TRACE(bits);
        BitmapHandle *b = Make(5, 3, bits);
        const int32_t places[][2] = {{3, 0}, {-1, 0}, {0, 5}, {0, -1}, {7, 9}};
        for (const auto &p : places) {
            EXPECT_EQ(Z_GetPixelColor(b, p[0], p[1]), COLOR_INVALID);
            EXPECT_EQ(Z_PutPixelColor(b, p[0], p[1], 0), Z_ERR_EMPTY);
        }
        EXPECT_NE(Z_GetPixelColor(b, 2, 4), COLOR_INVALID);
        EXPECT_EQ(Z_PutPixelColor(b, 2, 4, 0), Z_OK);
    }
    EXPECT_EQ(Z_GetPixelColor(nullptr, 0, 0), COLOR_INVALID);
    EXPECT_EQ(Z_PutPixelColor(nullptr, 0, 0, 0), Z_ERR_NOBITMAP);
    Bitmap unallocated(4, 4, 8);
    EXPECT_EQ(Z_GetPixelColor(unallocated.get(), 0, 0), COLOR_INVALID);
    EXPECT_EQ(Z_PutPixelColor(unallocated.get(), 0, 0, 0), Z_ERR_NOBITMAP);
}

TEST_F(Pixels, PaletteDepthsStoreIndicesAndReadTheirColours) {
    for (int32_t bits = 1; bits <= 8; ++bits) {
        SCOPED_TRACE(bits);
        BitmapHandle *b = Make(21, 2, bits);
        const RGBQUAD *fixed = Z_IntGetFixedPalette(bits);
        const uint32_t mask = (1u << bits) - 1u;
        std::vector<uint8_t> expected = Stored(b, 1);
        for (uint32_t x = 0; x < 21; ++x) {
            const uint32_t index = (x * 7 + 3) & mask;
            // The index comes from the low bits of a tagged value.
            ASSERT_EQ(Z_PutPixelColor(b, 1, int32_t(x),
                                      ColorTagIndex | 0xF00u | index |
                                          (mask + 1)),
                      Z_OK);
            PutPixelBits(expected.data(), x, bits, index);
            ASSERT_EQ(Z_GetPixelColor(b, 1, int32_t(x)), DirectOf(fixed[index]))
                << x;
        }
        // Only the pixels' own bits changed, and row 0 is untouched.
        EXPECT_EQ(Stored(b, 1), expected);
        EXPECT_EQ(Stored(b, 0), std::vector<uint8_t>(b->BytesPerLine, 0));
    }
}

TEST_F(Pixels, UntaggedColoursAreSearchedInThePalette) {
    BitmapHandle *b = Make(8, 1, 4);
    EXPECT_EQ(Z_PutPixelColor(b, 0, 1, Direct(250, 5, 0)), Z_OK);
    EXPECT_EQ(Stored(b, 0)[0], 0x09);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 1), Direct(255, 0, 0));
    // A gray level on a palette bitmap is the direct gray of its top byte.
    BitmapHandle *g = Make(8, 1, 0);
    EXPECT_EQ(Z_PutPixelColor(g, 0, 3, ColorTagGray16 | 0x80FFu), Z_OK);
    EXPECT_EQ(Stored(g, 0)[3], 0x80);
    EXPECT_EQ(Z_GetPixelColor(g, 0, 3), Direct(0x80, 0x80, 0x80));
    // An index written to an 8-bit bitmap is stored as it is, to a 1-bit
    // one masked.
    BitmapHandle *e = Make(8, 1, 8);
    EXPECT_EQ(Z_PutPixelColor(e, 0, 0, ColorTagIndex | 5), Z_OK);
    EXPECT_EQ(Stored(e, 0)[0], 5);
    BitmapHandle *one = Make(8, 1, 1);
    EXPECT_EQ(Z_PutPixelColor(one, 0, 0, ColorTagIndex | 5), Z_OK);
    EXPECT_EQ(Stored(one, 0)[0], 0x80);
}

TEST_F(Pixels, ARawLevelTagIsNoIndexAndNoGrayLevel) {
    BitmapHandle *b = Make(8, 1, 4);
    ASSERT_EQ(Z_PutPixelColor(b, 0, 0, ColorTagRaw16 | Direct(0, 0, 120)), Z_OK);
    EXPECT_EQ(Stored(b, 0)[0], 0x40);
    // On a gray bitmap its bytes are a colour: gray (2 * 0x34 + 5 * 0x12 +
    // 4) >> 3 = 24, spread over 16 bits.
    BitmapHandle *g = Make(2, 1, 16, 2);
    ASSERT_EQ(Z_PutPixelColor(g, 0, 1, ColorTagRaw16 | 0x1234), Z_OK);
    EXPECT_EQ(GetPixelBits(Stored(g, 0).data(), 1, 16), 24u * 0x101);
}

TEST_F(Pixels, TwelveBitPixelsWithAGrayTable) {
    BitmapHandle *b = Make(3, 1, 12, 2);
    std::vector<RGBQUAD> table(16);
    for (uint32_t i = 0; i < 16; ++i)
        table[i] = Rgb(uint8_t(i * 16), 0, 0);
    SetGrayTable(b, table);
    b->LowBit = 4;
    b->HighBit = 7;
    ASSERT_EQ(Z_PutPixelColor(b, 0, 1, Direct(0x50, 0, 0)), Z_OK);
    EXPECT_EQ(Get12(Stored(b, 0).data(), 1), 5u << 4);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 1), Direct(0x50, 0, 0));
    EXPECT_EQ(Z_GetPixelColor(b, 0, 0), Direct(0, 0, 0));
}

TEST_F(Pixels, OneAndFourBitColumnsAddressByTheirLow16Bits) {
    BitmapHandle *b = Make(65536 + 16, 1, 1);
    ASSERT_EQ(Z_PutPixelColor(b, 0, 3, ColorTagIndex | 1), Z_OK);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 65536 + 3), Direct(255, 255, 255));
    ASSERT_EQ(Z_PutPixelColor(b, 0, 65536 + 9, ColorTagIndex | 1), Z_OK);
    EXPECT_EQ(Stored(b, 0)[1], 0x40);
    BitmapHandle *four = Make(65536 + 4, 1, 4);
    ASSERT_EQ(Z_PutPixelColor(four, 0, 65536 + 1, ColorTagIndex | 0xC), Z_OK);
    EXPECT_EQ(Stored(four, 0)[0], 0x0C);
    // Other depths use the whole column.
    BitmapHandle *two = Make(65536 + 4, 1, 2);
    ASSERT_EQ(Z_PutPixelColor(two, 0, 65536 + 1, ColorTagIndex | 3), Z_OK);
    EXPECT_EQ(Stored(two, 0)[0], 0);
    EXPECT_EQ(Stored(two, 0)[16384], 0x30);
}

TEST_F(Pixels, SixteenBitGrayWindowsScaleBothWays) {
    BitmapHandle *b = Make(4, 1, 16, 2);
    b->LowBit = 0;
    b->HighBit = 11;
    std::vector<uint8_t> row = {0xFF, 0x0F, 0x00, 0x08, 0, 0, 0, 0};
    Z_PutBitmapRow(b, row.data(), 0, 8);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 0), ColorTagGray16 | 0xFFFFu);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 1), ColorTagGray16 | (0x800u * 0xFFFF / 0xFFF));
    ASSERT_EQ(Z_PutPixelColor(b, 0, 2, ColorTagGray16 | 0xFFFF), Z_OK);
    // ((0xFFFF << 12) - 0xFFFF + 0xFFFE) / 0xFFFF = 0xFFF.
    EXPECT_EQ(GetPixelBits(Stored(b, 0).data(), 2, 16), 0xFFFu);
    // Rounding up: 300 * 4095 / 65535 is 18.7, stored as 19.
    ASSERT_EQ(Z_PutPixelColor(b, 0, 3, ColorTagGray16 | 300), Z_OK);
    EXPECT_EQ(GetPixelBits(Stored(b, 0).data(), 3, 16), 19u);

    // A window above bit 0 is shifted into place.
    b->LowBit = 4;
    ASSERT_EQ(Z_PutPixelColor(b, 0, 3, ColorTagGray16 | 0x8000), Z_OK);
    EXPECT_EQ(GetPixelBits(Stored(b, 0).data(), 3, 16), 128u << 4);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 3), ColorTagGray16 | (128u * 0xFFFF / 255));

    // The whole sample: written as it is, read as it is.
    b->LowBit = 0;
    b->HighBit = 15;
    ASSERT_EQ(Z_PutPixelColor(b, 0, 0, Direct(255, 255, 255)), Z_OK);
    EXPECT_EQ(GetPixelBits(Stored(b, 0).data(), 0, 16), 0xFFFFu);
    ASSERT_EQ(Z_PutPixelColor(b, 0, 0, ColorTagGray16 | 0x1234), Z_OK);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 0), ColorTagGray16 | 0x1234u);
}

TEST_F(Pixels, TwelveBitPixelsKeepTheirNeighbours) {
    BitmapHandle *b = Make(5, 1, 12, 2);
    std::vector<uint8_t> row(b->BytesPerLine, 0);
    for (uint32_t x = 0; x < 5; ++x)
        Put12(row.data(), x, 0x111u * (x + 1));
    Z_PutBitmapRow(b, row.data(), 0, b->BytesPerLine);
    ASSERT_EQ(Z_PutPixelColor(b, 0, 1, ColorTagGray16 | 0xFFFF), Z_OK);
    ASSERT_EQ(Z_PutPixelColor(b, 0, 4, ColorTagGray16 | 0), Z_OK);
    Put12(row.data(), 1, 0xFFF);
    Put12(row.data(), 4, 0);
    EXPECT_EQ(Stored(b, 0), row);
    // Read back: v * 0xFFFF / mask, always.
    EXPECT_EQ(Z_GetPixelColor(b, 0, 1), ColorTagGray16 | 0xFFFFu);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 2), ColorTagGray16 | (0x333u * 0xFFFF / 0xFFF));
    // A direct colour is its gray, spread and scaled down rounding up.
    ASSERT_EQ(Z_PutPixelColor(b, 0, 3, Direct(128, 128, 128)), Z_OK);
    EXPECT_EQ(Get12(Stored(b, 0).data(), 3),
              (0x8080u * 4095 + 0xFFFE) / 0xFFFF);
}

TEST_F(Pixels, GrayTablesGiveColoursAndTakeIndices) {
    BitmapHandle *b = Make(4, 1, 16, 2);
    std::vector<RGBQUAD> table(256);
    for (uint32_t i = 0; i < 256; ++i)
        table[i] = Rgb(uint8_t(i), 0, uint8_t(255 - i));
    SetGrayTable(b, table);
    b->LowBit = 4;
    b->HighBit = 11;
    ASSERT_EQ(Z_PutPixelColor(b, 0, 0, Direct(100, 0, 155)), Z_OK);
    EXPECT_EQ(GetPixelBits(Stored(b, 0).data(), 0, 16), 100u << 4);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 0), Direct(100, 0, 155));
    // A sample beyond the table reads its last entry.
    std::vector<uint8_t> row = {0xF0, 0xFF};
    b->HighBit = 15;
    Z_PutBitmapRow(b, row.data(), 0, 2);
    EXPECT_EQ(Z_GetPixelColor(b, 0, 0), Direct(255, 0, 0));
}

TEST_F(Pixels, ColourLayouts) {
    struct Case {
        int32_t bits, order;
        std::vector<uint8_t> stored;
    } cases[] = {
        {16, 1, {0x01, 0x7E}}, {16, 0, {0x1F, 0x06}},
        {24, 1, {0x08, 0x80, 0xF8}}, {24, 0, {0xF8, 0x80, 0x08}},
        {32, 1, {0x08, 0x80, 0xF8, 0xAA}}, {32, 0, {0xF8, 0x80, 0x08, 0xAA}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.bits << " bits, order " << c.order);
        BitmapHandle *b = Make(3, 2, c.bits, c.order);
        std::vector<uint8_t> row(b->BytesPerLine, 0xAA);
        Z_PutBitmapRow(b, row.data(), 1, b->BytesPerLine);
        ASSERT_EQ(Z_PutPixelColor(b, 1, 1, Direct(0xF8, 0x80, 0x08)), Z_OK);
        const size_t size = size_t(c.bits / 8);
        const std::vector<uint8_t> stored = Stored(b, 1);
        EXPECT_EQ(std::vector<uint8_t>(stored.begin() + long(size),
                                       stored.begin() + long(2 * size)),
                  c.stored);
        EXPECT_EQ(stored[0], 0xAA);
        const ColorValue back = Z_GetPixelColor(b, 1, 1);
        if (c.bits == 16)
            EXPECT_EQ(back, Direct(Widen5(31), Widen5(16), Widen5(1)));
        else
            EXPECT_EQ(back, Direct(0xF8, 0x80, 0x08));
    }
}

int32_t ZAPI NowhereInRegion(BitmapHandle *, int32_t, int32_t) { return 0; }
int32_t ZAPI EverywhereInRegion(BitmapHandle *, int32_t, int32_t) { return 1; }

class RegionSlot {
  public:
    explicit RegionSlot(PixelInRegionProc proc) {
        ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
        table[SLOT_PIXELINREGION] = reinterpret_cast<ZDISPATCHPROC>(proc);
        Z_SetDisDispatch(table);
    }
    ~RegionSlot() { ClearDispatchTable(); }
};

TEST_F(Pixels, TheRegionSlotDecidesInsteadOfTheBounds) {
    BitmapHandle *b = Make(4, 2, 8);
    {
        RegionSlot slot(NowhereInRegion);
        EXPECT_EQ(Z_PutPixelColor(b, 0, 0, ColorTagIndex | 7), Z_ERR_EMPTY);
    }
    EXPECT_EQ(Stored(b, 0)[0], 0);
    {
        RegionSlot slot(EverywhereInRegion);
        EXPECT_EQ(Z_PutPixelColor(b, 0, 0, ColorTagIndex | 7), Z_OK);
        // Past the bitmap there is nothing to write, whatever the region says.
        EXPECT_EQ(Z_PutPixelColor(b, 2, 0, ColorTagIndex | 9), Z_OK);
        EXPECT_EQ(Z_PutPixelColor(b, 0, -1, ColorTagIndex | 9), Z_OK);
    }
    EXPECT_EQ(Stored(b, 0)[0], 7);
    EXPECT_EQ(Stored(b, 1), std::vector<uint8_t>(4, 0));
}

TEST_F(Pixels, TranslateBetweenBitmaps) {
    BitmapHandle *src = Make(2, 1, 8);
    BitmapHandle *same = Make(2, 1, 8);
    BitmapHandle *gray = Make(2, 1, 0);
    BitmapHandle *wide = Make(2, 1, 24);
    BitmapHandle *gray16 = Make(2, 1, 16, 2);

    EXPECT_EQ(Z_TranslateBitmapColor(nullptr, src, ColorTagIndex | 5),
              ColorTagIndex | 5u);
    // Equal entries at the index: unchanged, tag and all.
    EXPECT_EQ(Z_TranslateBitmapColor(same, src, ColorTagIndex | 0x49),
              ColorTagIndex | 0x49u);
    // Entry 0x49 of the fixed set is (73, 73, 85): nearest on the gray ramp
    // is level 77 (distances 96 against 99 for 76 and 78).
    EXPECT_EQ(Z_TranslateBitmapColor(gray, src, ColorTagIndex | 0x49),
              ColorTagIndex | 77u);
    EXPECT_EQ(Z_TranslateBitmapColor(wide, src, ColorTagIndex | 0x49),
              Direct(73, 73, 85));
    // An index without a source palette to read is black.
    EXPECT_EQ(Z_TranslateBitmapColor(wide, nullptr, ColorTagIndex | 3), 0u);
    EXPECT_EQ(Z_TranslateBitmapColor(gray, wide, ColorTagIndex | 3),
              ColorTagIndex | 0u);
    // Direct colours: kept above 8 bits, the nearest entry otherwise.
    EXPECT_EQ(Z_TranslateBitmapColor(wide, src, Direct(1, 2, 3)), Direct(1, 2, 3));
    EXPECT_EQ(Z_TranslateBitmapColor(gray, src, Direct(200, 200, 200)),
              ColorTagIndex | 200u);
    // Gray levels: raw for a gray bitmap, a direct gray elsewhere.
    EXPECT_EQ(Z_TranslateBitmapColor(gray16, src, ColorTagGray16 | 0x1234),
              ColorTagGray16 | 0x1234u);
    EXPECT_EQ(Z_TranslateBitmapColor(wide, src, ColorTagGray16 | 0x1234),
              Direct(0x12, 0x12, 0x12));
    EXPECT_EQ(Z_TranslateBitmapColor(gray, src, ColorTagGray16 | 0x1234),
              ColorTagIndex | 0x12u);
}

TEST_F(Pixels, TranslateAGrayLevelThroughAGrayTable) {
    BitmapHandle *b = Make(2, 1, 16, 2);
    std::vector<RGBQUAD> table(0x10000, Rgb(0, 0, 0));
    table[7] = Rgb(0x34, 0x12, 0);
    SetGrayTable(b, table);
    // The level's two bytes are red and green; blue is 0. A table of
    // exactly 65536 entries is searched over 65535.
    EXPECT_EQ(Z_TranslateBitmapColor(b, nullptr, ColorTagGray16 | 0x1234),
              ColorTagIndex | 7u);
}

TEST_F(Pixels, PaletteRanges) {
    BitmapHandle *b = Make(2, 1, 8);
    BitmapHandle *wide = Make(2, 1, 24);
    RGBQUAD got[4] = {};
    EXPECT_EQ(Z_GetBitmapColors(nullptr, 0, 1, got), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_GetBitmapColors(b, 0, 0, got), Z_ERR_PARAM);
    EXPECT_EQ(Z_GetBitmapColors(wide, 0, 1, got), Z_ERR_PARAM);
    EXPECT_EQ(Z_GetBitmapColors(b, 254, 4, got), Z_ERR_PARAM);
    ASSERT_EQ(Z_GetBitmapColors(b, 1, 2, got), Z_OK);
    EXPECT_TRUE(SameColour(got[0], Z_IntGetFixedPalette(8)[1]));

    const RGBQUAD fresh[2] = {Rgb(1, 2, 3), Rgb(4, 5, 6, 7)};
    EXPECT_EQ(Z_PutBitmapColors(nullptr, 0, 1, fresh), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_PutBitmapColors(b, 250, 10, fresh), Z_ERR_PARAM);
    EXPECT_EQ(Z_PutBitmapColors(b, -1, 1, fresh), Z_ERR_PARAM);
    EXPECT_EQ(Z_PutBitmapColors(wide, 0, 1, fresh), Z_ERR_PARAM);
    const ztk::test::Usage usage = ztk::test::LiveUsage();
    ASSERT_EQ(Z_PutBitmapColors(b, 254, 2, fresh), Z_OK);
    EXPECT_EQ(ztk::test::LiveUsage(), usage); // the old palette went
    const auto entries = EntriesOf(b->Palette);
    ASSERT_EQ(entries.size(), 256u);
    EXPECT_TRUE(SameColour(entries[254], fresh[0]));
    EXPECT_TRUE(SameColour(entries[255], fresh[1]));
    EXPECT_TRUE(SameColour(entries[253], Z_IntGetFixedPalette(8)[253]));
    // A palette that can't be made leaves none, and still succeeds.
    {
        FailureScope fail(1);
        EXPECT_EQ(Z_PutBitmapColors(b, 0, 1, fresh), Z_OK);
    }
    EXPECT_EQ(b->Palette, nullptr);
}

TEST_F(Pixels, PlaybackParametersAreCopiedAndTranslated) {
    BitmapHandle *src = Make(2, 1, 24);
    BitmapHandle *dst = Make(2, 1, 0);
    src->Flags |= BITMAP_PLAYBACK1;
    dst->Flags |= BITMAP_PLAYBACK2 | BITMAP_CLIENTBIT;
    src->PlaybackValue1 = 11;
    src->PlaybackValue2 = 22;
    src->PlaybackValue3 = 33;
    src->PlaybackValue4 = 44;
    src->PlaybackColor1 = Direct(200, 200, 200);
    src->PlaybackColor2 = Direct(10, 10, 10);
    EXPECT_EQ(Z_CopyPlaybackParms(dst, nullptr), Z_ERR_PARAM);
    EXPECT_EQ(Z_CopyPlaybackParms(nullptr, src), Z_ERR_PARAM);
    ASSERT_EQ(Z_CopyPlaybackParms(dst, src), Z_OK);
    EXPECT_EQ(dst->Flags & (BITMAP_PLAYBACK1 | BITMAP_PLAYBACK2 | BITMAP_CLIENTBIT),
              BITMAP_PLAYBACK1 | BITMAP_CLIENTBIT);
    EXPECT_EQ(dst->PlaybackValue1, 11u);
    EXPECT_EQ(dst->PlaybackValue4, 44u);
    EXPECT_EQ(dst->PlaybackColor1, ColorTagIndex | 200u);
    EXPECT_EQ(dst->PlaybackColor2, ColorTagIndex | 10u);
}

} // namespace
} // namespace ztk::testing

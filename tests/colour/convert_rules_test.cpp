// The conversion frame's checks and the converters' particular rules, each
// with values worked out by hand: windows on either side, gray tables,
// the fixed-table exception at 2 bits, and the long-standing asymmetries
// between the 12- and 16-bit gray paths.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "colour/colour.h"
#include "colour/convert.h"
#include "core/packed.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

std::vector<uint8_t> Row(int32_t bits, const std::vector<uint32_t> &pixels,
                         size_t extra = 16) {
    std::vector<uint8_t> row(pixels.size() * 4 + extra, 0);
    for (size_t x = 0; x < pixels.size(); ++x)
        PutPixelBits(row.data(), uint32_t(x), bits, pixels[x]);
    return row;
}

std::vector<uint32_t> Pixels(const std::vector<uint8_t> &row, int32_t bits,
                             size_t count) {
    std::vector<uint32_t> out(count);
    for (size_t x = 0; x < count; ++x)
        out[x] = GetPixelBits(row.data(), uint32_t(x), bits);
    return out;
}

// One call of Z_ConvertBufferExt on a row of pixels and what it gives.
struct Rule {
    const char *what;
    int32_t sd, dd, so, dO;
    uint32_t options;
    int32_t low, high;
    std::vector<uint32_t> in, out;
};

void Check(const Rule &r, const RGBQUAD *srcPalette = nullptr,
           const RGBQUAD *dstPalette = nullptr) {
    SCOPED_TRACE(r.what);
    std::vector<uint8_t> row = Row(r.sd == 0 ? 8 : r.sd, r.in);
    ASSERT_EQ(Z_ConvertBufferExt(row.data(), int32_t(r.in.size()), r.sd, r.dd,
                                 r.so, r.dO, srcPalette, dstPalette, r.options,
                                 r.low, r.high),
              Z_OK);
    EXPECT_EQ(Pixels(row, r.dd == 0 ? 8 : r.dd, r.in.size()), r.out);
}

constexpr uint32_t SG = CONVERT_SRC_GRAY, DG = CONVERT_DST_GRAY,
                   SW = CONVERT_SRC_WINDOW, DW = CONVERT_DST_WINDOW;

TEST(ConvertFrame, RefusalsComeBeforeAnyByteChanges) {
    struct Refusal {
        const char *what;
        void *buffer;
        int32_t width, sd, dd, so, dO;
        uint32_t options;
        int32_t low, high;
    };
    std::vector<uint8_t> row = Pattern(64, 1);
    const std::vector<uint8_t> before = row;
    uint8_t *b = row.data();
    const Refusal cases[] = {
        {"null buffer", nullptr, 4, 8, 24, 0, 0, 0, -1, -1},
        {"width 0", b, 0, 8, 24, 0, 0, 0, -1, -1},
        {"negative width", b, -3, 8, 24, 0, 0, 0, -1, -1},
        {"both windows, even whole ones", b, 4, 16, 16, 2, 2, SW | DW, -1, -1},
        {"source window without gray", b, 4, 16, 8, 0, 0, SW, 2, 9},
        {"destination window without gray", b, 4, 8, 16, 0, 0, DW, 2, 9},
        {"12 bits from order 1", b, 4, 12, 8, 1, 0, 0, -1, -1},
        {"12 bits to order 0", b, 4, 8, 12, 0, 0, 0, -1, -1},
        {"source depth 10", b, 4, 10, 8, 0, 0, 0, -1, -1},
        {"destination depth 10", b, 4, 8, 10, 0, 0, 0, -1, -1},
        {"24-bit source of order 2", b, 4, 24, 8, 2, 0, 0, -1, -1},
        {"32-bit source of order 3", b, 4, 32, 0, 3, 0, 0, -1, -1},
        {"24-bit destination of order 5", b, 4, 8, 24, 0, 5, 0, -1, -1},
        {"16-bit colour destination of order 3", b, 4, 24, 16, 0, 3, 0, -1, -1},
        {"16-bit source of order 3", b, 4, 16, 8, 3, 0, 0, -1, -1},
        {"16-bit colour to colour of order 4", b, 4, 16, 16, 0, 4, 0, -1, -1},
    };
    for (const Refusal &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Z_ConvertBufferExt(c.buffer, c.width, c.sd, c.dd, c.so, c.dO,
                                     nullptr, nullptr, c.options, c.low, c.high),
                  Z_ERR_PARAM);
        EXPECT_EQ(row, before);
    }
    EXPECT_EQ(Z_ConvertBuffer(b, 4, 12, 8, 2, 0, nullptr, nullptr), Z_OK);
}

TEST(ConvertFrame, AWholeWindowIsNoWindow) {
    const std::vector<uint32_t> in = {0x1234, 0xFFFF, 0x00FF, 0x8000};
    std::vector<uint8_t> plain = Row(16, in), windowed = plain;
    ASSERT_EQ(Z_ConvertBufferExt(plain.data(), 4, 16, 0, 2, 0, nullptr, nullptr,
                                 0, -1, -1),
              Z_OK);
    ASSERT_EQ(Z_ConvertBufferExt(windowed.data(), 4, 16, 0, 2, 0, nullptr,
                                 nullptr, SW, -1, 15),
              Z_OK);
    EXPECT_EQ(windowed, plain);
    EXPECT_EQ(Pixels(plain, 8, 4), (std::vector<uint32_t>{0x12, 0xFF, 0, 0x80}));
}

TEST(ConvertFrame, CalcConvertSizeIsTheLargestStride) {
    EXPECT_EQ(Z_CalcConvertSize(100, 1, 100, 24), 300u);
    EXPECT_EQ(Z_CalcConvertSize(10, 0, 10, 0), 12u);
    // Narrower and shallower: the source row still has to fit.
    EXPECT_EQ(Z_CalcConvertSize(100, 24, 10, 1), 300u);
    // Wider at the source depth before the depth changes.
    EXPECT_EQ(Z_CalcConvertSize(10, 24, 100, 1), 300u);
    EXPECT_EQ(Z_CalcConvertSize(13, 12, 13, 12), 20u);
}

TEST(ConvertRules, PaletteAndGraySources) {
    const Rule rules[] = {
        {"2 bits without palette read black, white, black, gray 85", 2, 24, 0, 0,
         0, -1, -1, {0, 1, 2, 3}, {0, 0xFFFFFF, 0, 0x555555}},
        {"the 2-bit exception is for sources only", 8, 2, 0, 0, 0, -1, -1,
         {0, 0x49, 0xB6, 0xFF}, {0, 1, 2, 3}},
        {"8-bit gray to 16-bit gray", 0, 16, 0, 2, 0, -1, -1, {255, 128, 0},
         {0xFFFF, 0x8080, 0}},
        {"8-bit gray to 12 bits", 0, 12, 0, 2, 0, -1, -1, {255, 128, 1},
         {4095, 2055, 16}},
        {"8-bit gray to 16-bit colour", 0, 16, 0, 1, 0, -1, -1, {0xFF, 0x87},
         {0x7FFF, 0x4210}},
        {"8-bit gray to 32 bits, fourth byte 0", 0, 32, 0, 0, 0, -1, -1,
         {0x12}, {0x121212}},
        {"8-bit gray into 8 bits always searches the fixed set", 0, 8, 0, 0, 0,
         -1, -1, {0, 255, 73}, {0, 255, 0x49}},
        {"window on a 16-bit gray destination", 0, 16, 0, 2, DW, 4, 11,
         {0xAB, 0xFF}, {0xAB0, 0xFF0}},
        {"window on a 12-bit destination below 8 bits", 8, 12, 0, 2, DG | DW, 2,
         5, {0xFF, 0x00}, {15 << 2, 0}},
    };
    for (const Rule &r : rules)
        Check(r);
}

TEST(ConvertRules, ColourSources) {
    const Rule rules[] = {
        {"24 to 16 bits, order 1", 24, 16, 0, 1, 0, -1, -1, {0x0080FF}, {0x7E00}},
        {"24 to 16 bits, order 0", 24, 16, 0, 0, 0, -1, -1, {0x0080FF}, {0x021F}},
        {"24 to gray", 24, 0, 1, 0, 0, -1, -1,
         {0xFFFFFF, 0x0000FF, 0x00FF00, 0xFF0000, 0}, {255, 32, 159, 64, 0}},
        {"32 to 24 drops the fourth byte", 32, 24, 0, 1, 0, -1, -1,
         {0xAA112233}, {0x332211}},
        {"32 to 32 swap keeps the fourth byte", 32, 32, 0, 1, 0, -1, -1,
         {0xAA112233}, {0xAA332211}},
        {"24 to 12 bits spreads to 4095", 24, 12, 0, 2, 0, -1, -1,
         {0xFFFFFF, 0x808080}, {4095, 2055}},
        {"16-bit colour to the other order keeps bit 15", 16, 16, 1, 0, 0, -1,
         -1, {0x8001, 0x03E0}, {0x8400, 0x03E0}},
        {"16-bit colour widens each channel", 16, 24, 1, 0, 0, -1, -1,
         {0x7C00 | (16 << 5)}, {0x0084FF}},
        {"16-bit colour to 12 bits gives g x 16", 16, 12, 1, 2, 0, -1, -1,
         {0x7FFF, 0}, {255 * 16, 0}},
        {"16-bit colour to 16-bit gray", 16, 16, 1, 2, 0, -1, -1, {0x7FFF},
         {0xFFFF}},
        {"16-bit colour to a 12-bit window", 16, 12, 1, 2, DW, 0, 9, {0x7FFF},
         {1023}},
    };
    for (const Rule &r : rules)
        Check(r);
}

TEST(ConvertRules, ColourRowsRoundTrip) {
    const std::vector<uint8_t> before = Pattern(3 * 33, 4);
    std::vector<uint8_t> row = before;
    ASSERT_EQ(Z_ConvertBuffer(row.data(), 33, 24, 24, 0, 0, nullptr, nullptr), Z_OK);
    EXPECT_EQ(row, before);
    ASSERT_EQ(Z_ConvertBuffer(row.data(), 33, 24, 24, 0, 1, nullptr, nullptr), Z_OK);
    EXPECT_EQ(row[0], before[2]);
    EXPECT_EQ(row[2], before[0]);
    ASSERT_EQ(Z_ConvertBuffer(row.data(), 33, 24, 24, 1, 0, nullptr, nullptr), Z_OK);
    EXPECT_EQ(row, before);

    // 24 to 32 in a buffer of the calculated size: fourth bytes 0, and back.
    std::vector<uint8_t> wide(Z_CalcConvertSize(33, 24, 33, 32), 0xEE);
    std::memcpy(wide.data(), before.data(), before.size());
    ASSERT_EQ(Z_ConvertBuffer(wide.data(), 33, 24, 32, 1, 1, nullptr, nullptr), Z_OK);
    for (size_t x = 0; x < 33; ++x) {
        EXPECT_EQ(wide[4 * x + 3], 0);
        EXPECT_EQ(std::memcmp(&wide[4 * x], &before[3 * x], 3), 0) << x;
    }
    ASSERT_EQ(Z_ConvertBuffer(wide.data(), 33, 32, 24, 1, 1, nullptr, nullptr), Z_OK);
    EXPECT_EQ(std::memcmp(wide.data(), before.data(), before.size()), 0);
}

TEST(ConvertRules, TwelveBitGray) {
    const Rule rules[] = {
        {"to 4 bits without a table: full scale looks up map[15], not white",
         12, 4, 2, 0, 0, -1, -1, {0xFFF, 0x000}, {0, 0}},
        {"to 8 bits the top byte is the level", 12, 8, 2, 0, 0, -1, -1,
         {0xFFF, 0x80F}, {255, 0x92}},
        {"to gray bytes", 12, 0, 2, 0, 0, -1, -1, {0xABC}, {0xAB}},
        {"to 16-bit gray spreads by 0xFFFF / 4095", 12, 16, 2, 2, 0, -1, -1,
         {0xFFF, 0x800, 1}, {0xFFFF, 0x800u * 0xFFFF / 0xFFF, 16}},
        {"to 24 bits, not rescaled", 12, 24, 2, 0, 0, -1, -1, {0xABC},
         {0xABABAB}},
        {"to 16-bit colour", 12, 16, 2, 1, 0, -1, -1, {0xFFF}, {0x7FFF}},
        {"12 to 12 without a window does nothing", 12, 12, 2, 2, 0, -1, -1,
         {0xABC, 0x123, 0xFED}, {0xABC, 0x123, 0xFED}},
        {"a source window moves down to bit 0", 12, 12, 2, 2, SW, 4, 11,
         {0xABC, 0x123}, {0xAB, 0x12}},
        {"a destination window keeps the top bits in place", 12, 12, 2, 2, DW,
         4, 11, {0xABC, 0x123}, {0xAB0, 0x120}},
        {"a source window to bytes stretches below 8 bits", 12, 0, 2, 0, SW, 2,
         5, {0x03C, 0x004}, {255, 17}},
        {"a 16-bit destination window", 12, 16, 2, 2, DW, 8, 15, {0xABC},
         {0xAB00}},
    };
    for (const Rule &r : rules)
        Check(r);
}

TEST(ConvertRules, OddTwelveBitRowsLeaveTheMissingNeighboursHalfByte) {
    std::vector<uint8_t> row = {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80};
    // Three 8-bit levels become three 12-bit samples: pixel 2 ends in the
    // low half of byte 4; its high half is left as it was.
    row[4] = 0xA5;
    std::vector<uint8_t> buffer = row;
    ASSERT_EQ(Z_ConvertBuffer(buffer.data(), 3, 0, 12, 0, 2, nullptr, nullptr), Z_OK);
    EXPECT_EQ(Get12(buffer.data(), 0), 0x10u * 4095 / 255);
    EXPECT_EQ(Get12(buffer.data(), 2), 0x30u * 4095 / 255);
    EXPECT_EQ(buffer[4] & 0xF0, 0xA0);
    // The same from 16-bit gray, narrowing.
    std::vector<uint8_t> words = {0x00, 0x12, 0x00, 0x34, 0xF0, 0x56, 0xFF, 0xFF};
    ASSERT_EQ(Z_ConvertBuffer(words.data(), 3, 16, 12, 2, 2, nullptr, nullptr), Z_OK);
    EXPECT_EQ(Get12(words.data(), 2), 0x56Fu);
    EXPECT_EQ(words[4], 0xF5); // high half as it was, low half the sample's top
    EXPECT_EQ(words[5], 0x56); // past the 12-bit row: the source byte
}

// A gray table of `n` entries where entry i is the colour `of(i)`.
template <class Of>
std::vector<RGBQUAD> Table(uint32_t n, Of of) {
    std::vector<RGBQUAD> t(n);
    for (uint32_t i = 0; i < n; ++i)
        t[i] = of(i);
    return t;
}

TEST(ConvertRules, TwelveBitGrayWithATable) {
    const auto lut = Table(4096, [](uint32_t i) {
        return Rgb(uint8_t(i), uint8_t(i >> 4), uint8_t(255 - (i & 255)));
    });
    const Rule colour = {"the table's colour of each sample", 12, 24, 2, 0, 0,
                         -1, -1, {0x123, 0xFFF}, {0xDC1223, 0x00FFFF}};
    Check(colour, lut.data());
    const Rule gray = {"gray of the table's entry", 12, 0, 2, 0, 0, -1, -1,
                       {0x123}, {GrayOfColor(0x23, 0x12, 0xDC)}};
    Check(gray, lut.data());
    // A gray destination of 12 or 16 bits drops the table.
    const Rule dropped = {"dropped for a 16-bit gray destination", 12, 16, 2,
                          2, 0, -1, -1, {0xFFF, 0x800},
                          {0xFFFF, 0x800u * 0xFFFF / 0xFFF}};
    Check(dropped, lut.data());
}

TEST(ConvertRules, SixteenBitGray) {
    const Rule rules[] = {
        {"to bytes: the top byte", 16, 0, 2, 0, 0, -1, -1, {0xAB12}, {0xAB}},
        {"to 12 bits: shifted right 4", 16, 12, 2, 2, 0, -1, -1, {0xABCD},
         {0xABC}},
        {"to 16 bits without windows does nothing", 16, 16, 2, 2, 0, -1, -1,
         {0xABCD}, {0xABCD}},
        {"a source window to 16 bits spreads over 0xFFFF", 16, 16, 2, 2, SW, 0,
         11, {0x0FFF, 0x0800, 0xF001}, {0xFFFF, 0x800u * 0xFFFF / 0xFFF, 16}},
        {"a destination window to 16 bits", 16, 16, 2, 2, DW, 4, 11, {0xABCD},
         {0xAB0}},
        {"a source window to bytes stretches", 16, 0, 2, 0, SW, 2, 5,
         {0x003C, 0x0004}, {255, 17}},
        {"a source window to 12 bits", 16, 12, 2, 2, SW, 0, 7, {0x00FF, 0x0080},
         {4095, 0x80u * 4095 / 255}},
        {"a destination window to 12 bits", 16, 12, 2, 2, DW, 0, 7,
         {0xABCD}, {0xAB}},
        {"to 24 bits with just the source gray bit: the gray path", 16, 24, 2,
         0, 0, -1, -1, {0xAB12}, {0xABABAB}},
        {"a live source window sends it down the colour path instead", 16, 24,
         2, 0, SW, 0, 11, {0x7C00 | (16 << 5)}, {0xFF8400}},
        {"to 16-bit colour", 16, 16, 2, 1, SG, -1, -1, {0xFF00}, {0x7FFF}},
    };
    for (const Rule &r : rules)
        Check(r);
}

TEST(ConvertRules, SixteenBitGrayWithATable) {
    // Entry s is pure blue for high samples and pure green for low ones.
    const auto lut = Table(65536, [](uint32_t i) {
        return i >= 0x8000 ? Rgb(0, 0, 255) : Rgb(0, 255, 0);
    });
    const Rule rules[] = {
        // Green and blue weights exchanged on this path alone: blue counts
        // five eighths, so (5 * 255 + 4) >> 3 = 159, then 159 * 273 / 17.
        {"to 12 bits the table path swaps green and blue weights", 16, 12, 2, 2,
         0, -1, -1, {0x9000, 0x1000}, {2553, 513}},
        {"to 12 bits through a destination window uses the plain gray", 16, 12,
         2, 2, DW, 0, 7, {0x9000, 0x1000}, {32, 159}},
        {"to 16 bits the gray of the entry at the sample, shifted up 8", 16, 16,
         2, 2, 0, -1, -1, {0x9000, 0x1000}, {32 << 8, 159 << 8}},
        // The window drops bit 15, so both samples find the green entry.
        {"to 16 bits through a source window: entry v, in both bytes", 16, 16,
         2, 2, SW, 0, 14, {0x9000, 0x1000}, {159 * 0x101, 159 * 0x101}},
        {"to 24 bits the table's colour", 16, 24, 2, 0, SG, -1, -1,
         {0x9000, 0x1000}, {0xFF0000, 0x00FF00}},
        {"to bytes the gray of the entry", 16, 0, 2, 0, 0, -1, -1,
         {0x9000, 0x1000}, {32, 159}},
    };
    for (const Rule &r : rules)
        Check(r, lut.data());
}

TEST(ConvertRules, GrayRowOperations) {
    std::vector<uint8_t> row = Row(12, {0xFFF, 0x5A5, 0x003});
    std::vector<uint8_t> out(8, 0xEE);
    Gray12To8(3, nullptr, row.data(), out.data(), 0xFF, 4);
    EXPECT_EQ(Pixels(out, 8, 3), (std::vector<uint32_t>{0xFF, 0x5A, 0x00}));
    Gray12To8(3, nullptr, row.data(), out.data(), 0x3, 0);
    EXPECT_EQ(Pixels(out, 8, 3), (std::vector<uint32_t>{255, 85, 255}));
    Gray12To8(3, nullptr, row.data(), out.data(), 0, 0); // an empty window
    EXPECT_EQ(Pixels(out, 8, 3), (std::vector<uint32_t>{0, 0, 0}));

    std::vector<uint8_t> twelve(8, 0);
    Gray12To12(3, nullptr, row.data(), twelve.data(), 0xFF, 4);
    EXPECT_EQ(Pixels(twelve, 12, 3),
              (std::vector<uint32_t>{4095, 0x5Au * 4095 / 255, 0}));
    const auto lut = Table(4096, [](uint32_t i) { return Gray(uint8_t(i)); });
    Gray12To12(3, lut.data(), row.data(), twelve.data(), 0xFFF, 0);
    EXPECT_EQ(Pixels(twelve, 12, 3),
              (std::vector<uint32_t>{4095, 0xA5u * 4095 / 255, 3u * 4095 / 255}));

    std::vector<uint8_t> sixteen(8, 0);
    Gray12To16(3, nullptr, row.data(), sixteen.data(), 0xFFF, 0);
    EXPECT_EQ(Pixels(sixteen, 16, 3),
              (std::vector<uint32_t>{0xFFFF, 0x5A5u * 0xFFFF / 0xFFF, 48}));
    Gray12To16(3, lut.data(), row.data(), sixteen.data(), 0xFFF, 0);
    EXPECT_EQ(Pixels(sixteen, 16, 3),
              (std::vector<uint32_t>{0xFFFF, 0xA5A5, 0x0303}));
    // Widening in one row is allowed too.
    std::vector<uint8_t> same = Row(12, {0xFFF, 0x5A5, 0x003});
    Gray12To16(3, nullptr, same.data(), same.data(), 0xFFF, 0);
    EXPECT_EQ(Pixels(same, 16, 3),
              (std::vector<uint32_t>{0xFFFF, 0x5A5u * 0xFFFF / 0xFFF, 48}));

    std::vector<uint8_t> words = Row(16, {0xFFFF, 0x1234});
    Gray16To12(2, nullptr, words.data(), twelve.data(), 0xFFF, 4);
    EXPECT_EQ(Pixels(twelve, 12, 2), (std::vector<uint32_t>{0xFFF, 0x123}));
    Gray16To12(2, nullptr, words.data(), twelve.data(), 0xFF, 8);
    EXPECT_EQ(Pixels(twelve, 12, 2), (std::vector<uint32_t>{4095, 0x12u * 4095 / 255}));
    Gray16To8(2, nullptr, words.data(), out.data(), 0xFFFF, 0);
    EXPECT_EQ(Pixels(out, 8, 2), (std::vector<uint32_t>{0xFF, 0x34}));
    const auto lut16 = Table(65536, [](uint32_t i) { return Rgb(0, 0, uint8_t(i)); });
    Gray16To8(2, lut16.data(), words.data(), out.data(), 0xFFFF, 0);
    EXPECT_EQ(Pixels(out, 8, 2), (std::vector<uint32_t>{GrayOfColor(0, 0, 0xFF),
                                                        GrayOfColor(0, 0, 0x34)}));
    Gray16To12(2, lut16.data(), words.data(), twelve.data(), 0xFFFF, 0);
    EXPECT_EQ(Pixels(twelve, 12, 2),
              (std::vector<uint32_t>{GrayOfColor(0, 0, 0xFF) * 4095 / 255,
                                     GrayOfColor(0, 0, 0x34) * 4095 / 255}));
}

TEST(ConvertRules, DividerIsExact) {
    const uint32_t divisors[] = {1, 2, 3, 7, 15, 17, 255, 256, 4095, 0xFFFF,
                                 0x10001, 0x7FFFFFFF, 0xFFFFFFFF};
    const uint32_t numerators[] = {0, 1, 254, 255, 4094, 4095, 0xFFFE0001,
                                   0xFFFFFFFF, 0x80000000, 0x12345678};
    for (uint32_t d : divisors)
        for (uint32_t n : numerators)
            EXPECT_EQ(Divider(d)(n), n / d) << n << " / " << d;
    uint32_t state = 7;
    for (int i = 0; i < 100000; ++i) {
        state = state * 1103515245u + 12345u;
        const uint32_t d = (state >> 8) % 70000u + 1u;
        state = state * 1103515245u + 12345u;
        const uint32_t n = state ^ (state << 13);
        ASSERT_EQ(Divider(d)(n), n / d) << n << " / " << d;
    }
    EXPECT_EQ(Divider(0)(1234), 0u);
}

} // namespace
} // namespace ztk::testing

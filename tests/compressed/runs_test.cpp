// Run coding: RunCompress/RunExpand through the exported buffer calls (the
// random round trips also check every byte's entry in the run tables), the
// 65535 split, and flipping coded buffers. Mirroring is tested with the
// in-heap mirror in rowedit_test.cpp.
#include <gtest/gtest.h>

#include "compressed/runs.h"
#include "tests/compressed/fixtures.h"

namespace ztk::testing {
namespace {

// The codes of `pixels` pixels from `column` (below 8) of `source`, which
// must be left as it was although its first byte is masked meanwhile.
Codes CodeRow(const std::vector<uint8_t> &source, uint32_t column,
              uint32_t pixels) {
    Codes out(2 + 2 * size_t(pixels) + 16, 0xEEEE);
    std::vector<uint8_t> copy(source);
    EXPECT_EQ(int32_t(pixels), Z_CompressRow(out.data(), copy.data(), column, pixels));
    EXPECT_EQ(source, copy);
    return Records(out, 1)[0];
}

TEST(RunCoding, WorkedExamples) {
    struct Case {
        std::vector<uint8_t> bytes;
        uint32_t column, pixels;
        Codes codes;
    };
    const std::vector<uint8_t> zeros(70000 / 8, 0), ones(140000 / 8, 0xFF);
    const Case cases[] = {
        {{0x0F, 0xF0}, 0, 16, {4, 8, 4}},
        {{0xC0}, 0, 8, {0, 2, 6}},
        {{0x00}, 0, 8, {8}},
        {{0x01}, 0, 8, {7, 1}},
        {{0x80}, 0, 8, {0, 1, 7}},
        {std::vector<uint8_t>(8, 0), 0, 64, {64}},
        {std::vector<uint8_t>(8, 0xFF), 0, 64, {0, 64}},
        // A byte at a time: at 65528 a further whole byte no longer fits.
        {zeros, 0, 70000, {65528, 0, 4472}},
        {ones, 0, 140000, {0, 65528, 0, 65528, 0, 8944}},
        // The bits before the column are cleared and cancel the initial
        // code of minus their count.
        {{0xFF}, 3, 5, {0, 5}},
        {{0x1F}, 3, 5, {0, 5}},
        {{0xE0}, 3, 5, {5}},
        {{0x0F}, 2, 3, {2, 1}},
        {{0xF0, 0xF0}, 4, 8, {4, 4}},
        {{0xA5}, 0, 3, {0, 1, 1, 1}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(c.codes, CodeRow(c.bytes, c.column, c.pixels))
            << c.pixels << " pixels from column " << c.column;
}

// Random rows coded and expanded back from any pixel, near byte boundaries
// and the widths where codes start to split. Expansion clears the bits
// after the last pixel of its last byte and touches nothing beyond.
TEST(RunCoding, RandomRowsRoundTripBitForBit) {
    std::vector<uint32_t> widths;
    for (uint32_t w = 1; w <= 17; ++w)
        widths.push_back(w);
    for (uint32_t w : {63u, 64u, 65u, 65527u, 65528u, 65529u, 65535u, 65536u,
                       65537u, 65543u, 131062u, 131069u, 131070u, 131071u, 131080u})
        widths.push_back(w);
    uint32_t seed = 0;
    for (uint32_t width : widths) {
        for (uint32_t mean : {1u, 5u, 300u, 70000u}) {
            ++seed;
            const uint32_t column = seed % 8;
            const Bits bits = RandomRow(width + column, mean, seed);
            const Bits wanted(bits.begin() + column, bits.end());
            const Codes codes = CodeRow(BytesOf(bits, (width + column + 7) / 8), column, width);
            ASSERT_EQ(wanted, BitsOfCodes(codes)) << width << "/" << mean;
            bool longRuns = false;
            for (size_t i = 1; i < codes.size(); ++i)
                longRuns |= codes[i] > 65527 || codes[i - 1] > 65527;
            if (!longRuns) {
                EXPECT_EQ(CanonicalCodes(wanted), codes) << width;
            }

            const Codes record = Record(codes);
            const uint32_t first = (seed * 7919u) % width;
            const uint32_t pixels = width - first;
            std::vector<uint8_t> out((pixels + 7) / 8 + 4, 0xA5);
            ASSERT_EQ(Z_OK, Z_ExpandRow(record.data(), out.data(), first, pixels));
            Bits back = BitsOf(out.data(), (pixels + 7) / 8 * 8);
            Bits want(wanted.begin() + first, wanted.end());
            want.resize(back.size(), false);
            ASSERT_EQ(want, back) << width << " from " << first;
            ASSERT_EQ(std::vector<uint8_t>(4, 0xA5),
                      std::vector<uint8_t>(out.end() - 4, out.end()));
        }
    }
}

// Rows of a plain buffer are a 32-bit word apart.
TEST(RunCoding, RowsBuffersUseWordStrides) {
    for (uint32_t width : {1u, 31u, 32u, 33u, 100u}) {
        const uint32_t stride = ((width + 31) >> 3) & ~3u;
        std::vector<uint8_t> plain, back(stride * 5, 0x5A);
        std::vector<Codes> wanted;
        for (uint32_t r = 0; r < 5; ++r) {
            const Bits bits = RandomRow(width, 3, r + width);
            wanted.push_back(CanonicalCodes(bits));
            const auto b = BytesOf(bits, stride);
            plain.insert(plain.end(), b.begin(), b.end());
        }
        Codes buffer(5 * (width + 4));
        EXPECT_EQ(Z_OK, Z_CompressRows(buffer.data(), plain.data(), width, 5));
        EXPECT_EQ(wanted, Records(buffer, 5)) << width;
        EXPECT_EQ(Z_OK, Z_ExpandRows(buffer.data(), back.data(), width, 5));
        for (uint32_t r = 0; r < 5; ++r)
            EXPECT_EQ(BitsOfCodes(wanted[r]), BitsOf(back.data() + r * stride, width));
    }
}

// Null codes give zeros. Codes handed in are trusted, but no sum can push
// the expansion past the bytes asked for, nor make it read past the codes.
TEST(RunExpansion, WrongSumsStayInsideTheBytesAsked) {
    std::vector<uint8_t> out(4, 0xFF);
    RunExpand(nullptr, 0, out.data(), 5, 20);
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 0xFF}), out);
    const Codes rows[] = {{0, 65535, 0, 65535}, {3, 65535}, {1}, {0}, {},
                          {0, 0, 0, 2}, {65535, 65535, 65535}};
    for (const Codes &codes : rows) {
        for (uint32_t first : {0u, 1u, 9u, 70000u}) {
            std::vector<uint8_t> bytes(6, 0xA5);
            RunExpand(codes.data(), uint32_t(codes.size()), bytes.data(), first, 13);
            EXPECT_EQ(0xA5, bytes[2]);
            EXPECT_EQ(0, bytes[1] & 0x07);
        }
    }
}

TEST(CompressedBuffers, FlipReversesTheOrderOfRows) {
    const Codes in = BufferOf({{1, 2, 3}, {8}, {0, 5, 3, 0}});
    Codes out(in.size() + 1, 0xEEEE), want = BufferOf({{0, 5, 3, 0}, {8}, {1, 2, 3}});
    want.push_back(0xEEEE);
    EXPECT_EQ(Z_OK, Z_FlipCompressedBuffer(in.data(), out.data(), 3));
    EXPECT_EQ(want, out);
    EXPECT_EQ(Z_OK, Z_FlipCompressedBuffer(in.data(), out.data(), 0)); // writes nothing
    EXPECT_EQ(want, out);
    EXPECT_EQ(Z_ERR_PARAM, Z_FlipCompressedBuffer(nullptr, out.data(), 0));
    EXPECT_EQ(Z_ERR_PARAM, Z_FlipCompressedBuffer(in.data(), nullptr, 0));
}

} // namespace
} // namespace ztk::testing

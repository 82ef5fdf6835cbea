// Run coding: the byte tables, RunCompress/RunExpand through the exported
// buffer calls, the 65535 split, mirroring and flipping coded buffers.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "compressed/runs.h"
#include "tests/compressed/heap_check.h"
#include "ztkrn.h"

namespace ztk::testing {
namespace {

// A compressed buffer row: count then codes, as a vector of 16-bit words.
std::vector<uint16_t> CodeRow(const std::vector<uint8_t> &source,
                              uint32_t column, uint32_t pixels) {
    std::vector<uint16_t> out(2 + 2 * size_t(pixels) + 16, 0xEEEE);
    std::vector<uint8_t> copy(source);
    EXPECT_EQ(int32_t(pixels),
              Z_CompressRow(out.data(), copy.data() + column / 8, column, pixels));
    uint32_t n;
    std::memcpy(&n, out.data(), 4);
    return std::vector<uint16_t>(out.begin() + 2, out.begin() + 2 + n);
}

std::vector<uint16_t> Record(const std::vector<uint16_t> &codes) {
    std::vector<uint16_t> out(2);
    const uint32_t n = uint32_t(codes.size());
    std::memcpy(out.data(), &n, 4);
    out.insert(out.end(), codes.begin(), codes.end());
    return out;
}

TEST(RunTables, ListTheRunsOfEachByte) {
    struct Case { uint8_t byte; std::vector<uint16_t> runs; };
    const Case cases[] = {
        {0x00, {8}}, {0xFF, {8}}, {0x38, {2, 3, 3}}, {0x0F, {4, 4}},
        {0xC0, {2, 6}}, {0x01, {7, 1}}, {0x80, {1, 7}},
        {0x55, {1, 1, 1, 1, 1, 1, 1, 1}}, {0xAA, {1, 1, 1, 1, 1, 1, 1, 1}},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(c.runs.size(), ByteRunCount[c.byte]) << int(c.byte);
        for (size_t i = 0; i < 8; ++i)
            EXPECT_EQ(i < c.runs.size() ? c.runs[i] : 0, ByteRuns[c.byte][i])
                << int(c.byte) << " run " << i;
    }
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t changes = 0, sum = 0;
        for (int bit = 6; bit >= 0; --bit)
            changes += ((b >> bit) & 1) != ((b >> (bit + 1)) & 1);
        for (uint32_t i = 0; i < ByteRunCount[b]; ++i)
            sum += ByteRuns[b][i];
        EXPECT_EQ(changes + 1, ByteRunCount[b]) << b;
        EXPECT_EQ(8u, sum) << b;
    }
}

TEST(RunCoding, WorkedExamples) {
    struct Case {
        std::vector<uint8_t> bytes;
        uint32_t column, pixels;
        std::vector<uint16_t> codes;
    };
    std::vector<uint8_t> zeros(70000 / 8, 0), ones(140000 / 8, 0xFF);
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
        // The three cleared bits cancel the initial -3.
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

TEST(RunCoding, CompressRowLeavesTheSourceAsItWas) {
    uint8_t byte = 0xFF;
    std::vector<uint16_t> out(8);
    EXPECT_EQ(5, Z_CompressRow(out.data(), &byte, 3, 5));
    EXPECT_EQ(0xFF, byte);
}

// Random rows coded and expanded back, near byte boundaries and the widths
// where codes start to split.
TEST(RunCoding, RandomRowsRoundTripBitForBit) {
    std::vector<uint32_t> widths;
    for (uint32_t w = 1; w <= 17; ++w)
        widths.push_back(w);
    for (uint32_t w : {63u, 64u, 65u, 65527u, 65528u, 65529u, 65535u, 65536u,
                       65537u, 65543u, 131062u, 131069u, 131070u, 131071u,
                       131080u})
        widths.push_back(w);
    uint32_t seed = 0;
    for (uint32_t width : widths) {
        for (uint32_t mean : {1u, 5u, 300u, 70000u}) {
            ++seed;
            const uint32_t column = seed % 8;
            Bits bits = RandomRow(width + column, mean, seed);
            auto bytes = BytesOf(bits, (width + column + 7) / 8);
            Bits wanted(bits.begin() + column, bits.end());
            auto codes = CodeRow(bytes, column, width);
            ASSERT_EQ(wanted, BitsOfCodes(codes)) << width << "/" << mean;
            bool longRuns = false;
            for (size_t i = 1; i < codes.size(); ++i)
                longRuns |= codes[i] > 65527 || codes[i - 1] > 65527;
            if (!longRuns) {
                EXPECT_EQ(CanonicalCodes(wanted), codes) << width;
            }

            // Expansion from any pixel, with a guard after the bytes asked.
            auto record = Record(codes);
            const uint32_t first = (seed * 7919u) % width;
            const uint32_t pixels = width - first;
            std::vector<uint8_t> out((pixels + 7) / 8 + 4, 0xA5);
            ASSERT_EQ(Z_OK, Z_ExpandRow(record.data(), out.data(), first, pixels));
            Bits back = BitsOf(out.data(), pixels);
            ASSERT_EQ(Bits(wanted.begin() + first, wanted.end()), back)
                << width << " from " << first;
            for (uint32_t i = pixels; i < (pixels + 7) / 8 * 8; ++i)
                ASSERT_FALSE((out[i >> 3] >> (7 - (i & 7))) & 1) << i;
            for (size_t i = (pixels + 7) / 8; i < out.size(); ++i)
                ASSERT_EQ(0xA5, out[i]);
        }
    }
}

TEST(RunCoding, RowsBuffersUseWordStrides) {
    for (uint32_t width : {1u, 31u, 32u, 33u, 100u}) {
        const uint32_t stride = ((width + 31) >> 3) & ~3u;
        const uint32_t rows = 5;
        std::vector<uint8_t> plain(stride * rows);
        std::vector<Bits> wanted;
        for (uint32_t r = 0; r < rows; ++r) {
            wanted.push_back(RandomRow(width, 3, r + width));
            auto b = BytesOf(wanted.back(), stride);
            std::copy(b.begin(), b.end(), plain.begin() + r * stride);
        }
        std::vector<uint16_t> buffer(rows * (width + 4));
        EXPECT_EQ(Z_OK, Z_CompressRows(buffer.data(), plain.data(), width, rows));
        const uint8_t *at = reinterpret_cast<uint8_t *>(buffer.data());
        for (uint32_t r = 0; r < rows; ++r) {
            uint32_t n;
            std::memcpy(&n, at, 4);
            const uint16_t *c = reinterpret_cast<const uint16_t *>(at + 4);
            EXPECT_EQ(CanonicalCodes(wanted[r]), std::vector<uint16_t>(c, c + n));
            at += 4 + 2 * n;
        }
        std::vector<uint8_t> back(stride * rows, 0x5A);
        EXPECT_EQ(Z_OK, Z_ExpandRows(buffer.data(), back.data(), width, rows));
        for (uint32_t r = 0; r < rows; ++r)
            EXPECT_EQ(wanted[r], BitsOf(back.data() + r * stride, width));
    }
}

TEST(RunExpansion, NullCodesGiveZeros) {
    std::vector<uint8_t> out(4, 0xFF);
    RunExpand(nullptr, 0, out.data(), 5, 20);
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 0xFF}), out);
}

// Codes handed in are trusted, but no sum can push the expansion past the
// bytes asked for, nor make it read past the codes it was given.
TEST(RunExpansion, WrongSumsStayInsideTheBytesAsked) {
    const std::vector<std::vector<uint16_t>> rows = {
        {0, 65535, 0, 65535}, {3, 65535}, {1}, {0}, {}, {0, 0, 0, 2},
        {65535, 65535, 65535},
    };
    for (const auto &codes : rows) {
        for (uint32_t first : {0u, 1u, 9u, 70000u}) {
            std::vector<uint8_t> out(6, 0xA5);
            RunExpand(codes.data(), uint32_t(codes.size()), out.data(), first, 13);
            EXPECT_EQ(0xA5, out[2]);
            EXPECT_EQ(0, out[1] & 0x07);
        }
    }
}

TEST(CompressedBuffers, MirrorReversesRows) {
    struct Case { std::vector<uint16_t> in, out; };
    const Case cases[] = {
        {{7, 1}, {0, 1, 7}},
        {{0, 1, 7}, {7, 1}},
        {{0, 8}, {0, 8}},
        {{8}, {8}},
        {{3, 5}, {0, 5, 3}},
        {{4, 8, 4}, {4, 8, 4}},
        {{0, 2, 6}, {6, 2}},
    };
    for (const Case &c : cases) {
        auto in = Record(c.in);
        std::vector<uint16_t> out(in.size() + 4, 0xEEEE);
        ASSERT_EQ(Z_OK, Z_MirrorCompressedBuffer(in.data(), out.data(), 1));
        EXPECT_EQ(Record(c.out), std::vector<uint16_t>(out.begin(),
                                                       out.begin() + 2 + c.out.size()));
        EXPECT_EQ(0xEEEE, out[2 + c.out.size()]);
    }
    // Random rows mirror to the reversed pixels.
    std::vector<uint16_t> in, expect;
    for (uint32_t r = 0; r < 20; ++r) {
        Bits bits = RandomRow(77 + r, 4, r);
        auto codes = CanonicalCodes(bits);
        auto rec = Record(codes);
        in.insert(in.end(), rec.begin(), rec.end());
        Bits mirrored(bits.rbegin(), bits.rend());
        auto want = Record(CanonicalCodes(mirrored));
        expect.insert(expect.end(), want.begin(), want.end());
    }
    std::vector<uint16_t> out(expect.size());
    ASSERT_EQ(Z_OK, Z_MirrorCompressedBuffer(in.data(), out.data(), 20));
    EXPECT_EQ(expect, out);
    EXPECT_EQ(Z_ERR_PARAM, Z_MirrorCompressedBuffer(nullptr, out.data(), 1));
    EXPECT_EQ(Z_ERR_PARAM, Z_MirrorCompressedBuffer(in.data(), nullptr, 1));
}

TEST(CompressedBuffers, FlipReversesTheOrderOfRows) {
    std::vector<uint16_t> rows[] = {Record({1, 2, 3}), Record({8}), Record({0, 5, 3, 0})};
    std::vector<uint16_t> in, expect;
    for (auto &r : rows)
        in.insert(in.end(), r.begin(), r.end());
    for (int i = 2; i >= 0; --i)
        expect.insert(expect.end(), rows[i].begin(), rows[i].end());
    std::vector<uint16_t> out(in.size() + 1, 0xEEEE);
    EXPECT_EQ(Z_OK, Z_FlipCompressedBuffer(in.data(), out.data(), 3));
    EXPECT_EQ(expect, std::vector<uint16_t>(out.begin(), out.end() - 1));
    EXPECT_EQ(0xEEEE, out.back());

    std::vector<uint16_t> untouched(4, 0xEEEE);
    EXPECT_EQ(Z_OK, Z_FlipCompressedBuffer(in.data(), untouched.data(), 0));
    EXPECT_EQ(std::vector<uint16_t>(4, 0xEEEE), untouched);
    EXPECT_EQ(Z_ERR_PARAM, Z_FlipCompressedBuffer(nullptr, out.data(), 0));
}

} // namespace
} // namespace ztk::testing

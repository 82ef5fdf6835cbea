// Every pair of source and destination depths in every order through
// Z_ConvertBuffer: which pairs are refused (with the buffer untouched), and
// for the others every destination pixel against a reference worked out
// pixel by pixel from the conversion rules, written here independently of
// the library's kernels. Bits after the last destination pixel, and bytes
// past the larger of the two rows, keep what they held.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "colour/colour.h"
#include "core/packed.h"
#include "tests/colour/colour_support.h"

namespace ztk::testing {
namespace {

const int32_t kDepths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32};

int32_t Bits(int32_t depth) { return depth == 0 ? 8 : depth; }

bool Refused(int32_t sd, int32_t dd, int32_t so, int32_t dO) {
    return (sd == 12 && so != 2) || (dd == 12 && dO != 2) ||
           ((sd == 24 || sd == 32) && so == 2) ||
           ((dd == 24 || dd == 32) && dO == 2);
}

struct Colour {
    uint32_t r, g, b;
};

uint32_t GrayOf(Colour c) { return (2 * c.r + 5 * c.g + c.b + 4) >> 3; }

Colour Of(const RGBQUAD &q) { return Colour{q.rgbRed, q.rgbGreen, q.rgbBlue}; }

// What the library falls back on for a missing palette.
std::vector<RGBQUAD> SourceEntries(int32_t depth, const RGBQUAD *given) {
    const uint32_t n = 1u << depth;
    if (given != nullptr)
        return std::vector<RGBQUAD>(given, given + n);
    if (depth == 2)
        return {Gray(0), Gray(255), Gray(0), Gray(85)};
    const RGBQUAD *fixed = Z_IntGetFixedPalette(depth);
    return std::vector<RGBQUAD>(fixed, fixed + n);
}

std::vector<RGBQUAD> DestinationEntries(int32_t depth, const RGBQUAD *given) {
    const RGBQUAD *p = given != nullptr ? given : Z_IntGetFixedPalette(depth);
    return std::vector<RGBQUAD>(p, p + (1u << depth));
}

uint32_t Nearest(const std::vector<RGBQUAD> &palette, Colour c) {
    return uint32_t(Z_FindPaletteIndex(palette.data(), int32_t(palette.size()),
                                       int32_t(c.r), int32_t(c.g),
                                       int32_t(c.b)));
}

uint32_t Bytes(Colour c, int32_t order) {
    return order == 1 ? (c.b | c.g << 8 | c.r << 16) : (c.r | c.g << 8 | c.b << 16);
}

uint32_t Pack555(Colour c, int32_t order) {
    const uint32_t hi = (order == 1 ? c.r : c.b) >> 3;
    const uint32_t lo = (order == 1 ? c.b : c.r) >> 3;
    return hi << 10 | (c.g >> 3) << 5 | lo;
}

Colour Unpack555(uint32_t w, int32_t order) {
    const uint32_t hi = Widen5((w >> 10) & 31), lo = Widen5(w & 31);
    const uint32_t g = Widen5((w >> 5) & 31);
    return order == 1 ? Colour{hi, g, lo} : Colour{lo, g, hi};
}

// One conversion as a test sees it.
struct Pair {
    int32_t sd, dd, so, dO;
    const RGBQUAD *srcPalette, *dstPalette;
};

// The destination pixel of a colour or gray read from the source; the
// source classes differ only in how they get there.
uint32_t FromColour(const Pair &p, Colour c, uint32_t raw32) {
    const uint32_t g = GrayOf(c);
    switch (p.dd) {
    case 0: return g;
    // 16-bit colour reaches 12 bits through an 8-bit window: g * 16.
    case 12: return p.sd == 16 ? g * 16 : g * 4095 / 255;
    case 16: return p.dO == 2 ? g * 0x101 : Pack555(c, p.dO);
    case 24: return Bytes(c, p.dO);
    case 32:
        // Only a 32-bit source keeps its fourth byte, and only in place.
        return Bytes(c, p.dO) | (p.sd == 32 ? raw32 & 0xFF000000u : 0u);
    default: return Nearest(DestinationEntries(p.dd, p.dstPalette), c);
    }
}

uint32_t FromIndex(const Pair &p, uint32_t index) {
    const auto src = SourceEntries(p.sd, p.srcPalette);
    const auto dst = p.dd >= 1 && p.dd <= 8
                         ? DestinationEntries(p.dd, p.dstPalette)
                         : std::vector<RGBQUAD>();
    if (p.dd >= 1 && p.dd <= 8 && dst.size() >= src.size() &&
        std::memcmp(src.data(), dst.data(), src.size() * 4) == 0)
        return index;
    return FromColour(p, Of(src[index]), 0);
}

// 12- and 16-bit gray without windows or tables: the top bits the
// destination can hold, not stretched.
uint32_t FromGray(const Pair &p, uint32_t s, int32_t sourceBits) {
    const uint32_t top8 = s >> (sourceBits - 8);
    switch (p.dd) {
    case 0:
        // 16-bit gray into gray samples with a gray destination order has
        // no bits left to give.
        return sourceBits == 16 && p.dO == 2 ? 0 : top8;
    case 12: return sourceBits == 16 ? s >> 4 : s;
    case 16:
        if (p.dO != 2)
            return Pack555(Colour{top8, top8, top8}, 1);
        return sourceBits == 16 ? s : s * 0xFFFF / 4095;
    case 24:
    case 32: return top8 | top8 << 8 | top8 << 16;
    default: {
        const bool limited = sourceBits == 12 || p.dO == 2;
        const uint32_t v = limited ? s >> (sourceBits - p.dd) : top8;
        return Nearest(DestinationEntries(p.dd, p.dstPalette), Colour{v, v, v});
    }
    }
}

uint32_t Expected(const Pair &p, uint32_t raw) {
    if (p.sd == 0) {
        if (p.dd >= 1 && p.dd <= 8)
            return Nearest(DestinationEntries(p.dd, p.dstPalette),
                           Colour{raw, raw, raw});
        return FromColour(p, Colour{raw, raw, raw}, 0);
    }
    if (p.sd <= 8)
        return FromIndex(p, raw);
    if (p.sd == 12)
        return FromGray(p, raw, 12);
    if (p.sd == 16 && p.so == 2)
        return FromGray(p, raw, 16);
    if (p.sd == 16) {
        if (p.dd == 16 && p.dO != 2)
            return p.so == p.dO ? raw
                                : (raw & 0x83E0u) | (raw & 31) << 10 |
                                      ((raw >> 10) & 31);
        return FromColour(p, Unpack555(raw, p.so), 0);
    }
    const uint32_t first = raw & 0xFF, third = (raw >> 16) & 0xFF;
    const Colour c = p.so == 1 ? Colour{third, (raw >> 8) & 0xFF, first}
                               : Colour{first, (raw >> 8) & 0xFF, third};
    return FromColour(p, c, raw);
}

constexpr uint32_t kWidth = 13; // odd, so 12-bit rows end on an even pixel


uint32_t RowBits(int32_t depth) { return kWidth * uint32_t(Bits(depth)); }

void CheckPair(const Pair &p, uint32_t seed) {
    SCOPED_TRACE(::testing::Message()
                 << p.sd << " (order " << p.so << ") to " << p.dd << " (order "
                 << p.dO << ")" << (p.srcPalette ? ", palettes given" : ""));
    const std::vector<uint8_t> before = Pattern(kWidth * 4 + 16, seed);
    std::vector<uint8_t> row = before;
    const int32_t result =
        Z_ConvertBuffer(row.data(), int32_t(kWidth), p.sd, p.dd, p.so, p.dO,
                        p.srcPalette, p.dstPalette);
    if (Refused(p.sd, p.dd, p.so, p.dO)) {
        EXPECT_EQ(result, Z_ERR_PARAM);
        EXPECT_EQ(row, before);
        return;
    }
    ASSERT_EQ(result, Z_OK);
    const int32_t sb = Bits(p.sd), db = Bits(p.dd);
    for (uint32_t x = 0; x < kWidth; ++x) {
        const uint32_t raw = GetPixelBits(before.data(), x, sb);
        ASSERT_EQ(GetPixelBits(row.data(), x, db), Expected(p, raw))
            << "pixel " << x << ", source value " << raw;
    }
    // Bits of the last destination byte after its last pixel, and every byte
    // past both rows, are as they were.
    const uint32_t end = RowBits(p.dd);
    if (db == 12) {
        // The odd row ends on an even pixel: the high half of its second
        // byte belongs to the pixel that isn't there.
        EXPECT_EQ(row[end / 8] & 0xF0, before[end / 8] & 0xF0);
    }
    for (uint32_t bit = db == 12 ? end + 4 : end; bit < ((end + 7) & ~7u); ++bit) {
        const uint32_t mask = 0x80u >> (bit & 7);
        ASSERT_EQ(row[bit / 8] & mask, before[bit / 8] & mask) << "bit " << bit;
    }
    const uint32_t used = (std::max(RowBits(p.sd), end) + 7) / 8;
    for (size_t i = used; i < row.size(); ++i)
        ASSERT_EQ(row[i], before[i]) << "byte " << i;
}

TEST(ConvertPairs, EveryDepthAndOrderWithTheFixedPalettes) {
    uint32_t seed = 1;
    for (int32_t sd : kDepths)
        for (int32_t dd : kDepths)
            for (int32_t so = 0; so <= 2; ++so)
                for (int32_t dO = 0; dO <= 2; ++dO)
                    CheckPair(Pair{sd, dd, so, dO, nullptr, nullptr}, seed++);
}

std::vector<RGBQUAD> RandomPalette(uint32_t seed) {
    const std::vector<uint8_t> bytes = Pattern(1024, seed);
    std::vector<RGBQUAD> palette(256);
    std::memcpy(palette.data(), bytes.data(), 1024);
    return palette;
}

TEST(ConvertPairs, EveryDepthAndOrderWithGivenPalettes) {
    const std::vector<RGBQUAD> source = RandomPalette(77);
    const std::vector<RGBQUAD> destination = RandomPalette(78);
    uint32_t seed = 1000;
    for (int32_t sd : kDepths)
        for (int32_t dd : kDepths)
            for (int32_t so = 0; so <= 2; ++so)
                for (int32_t dO = 0; dO <= 2; ++dO)
                    // For 12- and 16-bit sources the source palette is a
                    // gray table, which has its own tests.
                    CheckPair(Pair{sd, dd, so, dO,
                                   sd >= 12 && sd <= 16 ? nullptr : source.data(),
                                   destination.data()},
                              seed++);
}

TEST(ConvertPairs, EqualPalettesAtEqualDepthsLeaveTheRowAlone) {
    const std::vector<RGBQUAD> palette = RandomPalette(5);
    std::vector<RGBQUAD> copy = palette;
    for (int32_t depth = 1; depth <= 8; ++depth) {
        SCOPED_TRACE(depth);
        const std::vector<uint8_t> before = Pattern(64, uint32_t(depth));
        std::vector<uint8_t> row = before;
        EXPECT_EQ(Z_ConvertBuffer(row.data(), 40, depth, depth, 0, 0,
                                  palette.data(), copy.data()),
                  Z_OK);
        EXPECT_EQ(row, before);
    }
    // A difference in a reserved byte is a difference: the row is remapped,
    // here onto itself, and still changes nothing a pixel can show.
    copy[3].rgbReserved ^= 1;
    std::vector<uint8_t> row = Pattern(64, 9);
    const std::vector<uint8_t> before = row;
    EXPECT_EQ(Z_ConvertBuffer(row.data(), 64, 8, 8, 0, 0, palette.data(),
                              copy.data()),
              Z_OK);
    for (uint32_t x = 0; x < 64; ++x) {
        const RGBQUAD &now = palette[row[x]], &was = palette[before[x]];
        EXPECT_TRUE(now.rgbRed == was.rgbRed && now.rgbGreen == was.rgbGreen &&
                    now.rgbBlue == was.rgbBlue);
    }
}

TEST(ConvertPairs, DepthsOutsideTheListAreRefusedUntouched) {
    for (int32_t bad : {-1, 9, 10, 11, 13, 15, 17, 31, 33, 64}) {
        for (int32_t good : {0, 1, 8, 12, 16, 24, 32}) {
            SCOPED_TRACE(::testing::Message() << bad << " with " << good);
            const std::vector<uint8_t> before = Pattern(64, 3);
            std::vector<uint8_t> row = before;
            EXPECT_EQ(Z_ConvertBuffer(row.data(), 4, bad, good, 2, 2, nullptr,
                                      nullptr),
                      Z_ERR_PARAM);
            EXPECT_EQ(Z_ConvertBuffer(row.data(), 4, good, bad, 2, 2, nullptr,
                                      nullptr),
                      Z_ERR_PARAM);
            EXPECT_EQ(row, before);
        }
    }
}

} // namespace
} // namespace ztk::testing

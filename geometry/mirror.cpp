// Z_MirrorLine: one packed row reversed in place at any depth.
//
// Below 8 bits whole bytes are exchanged end for end with their pixels
// reversed inside by shifts and masks, then the row is shifted up over the
// slack the last byte had; 3, 5, 6 and 7 bits exchange fields from both
// ends; 12 bits exchange three-byte pairs with their halves swapped.
#include <cstring>

#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

constexpr uint8_t ReverseBits1(uint32_t b) {
    b = ((b & 0xF0u) >> 4) | ((b & 0x0Fu) << 4);
    b = ((b & 0xCCu) >> 2) | ((b & 0x33u) << 2);
    return uint8_t(((b & 0xAAu) >> 1) | ((b & 0x55u) << 1));
}
constexpr uint8_t ReverseBits2(uint32_t b) {
    b = ((b & 0xF0u) >> 4) | ((b & 0x0Fu) << 4);
    return uint8_t(((b & 0xCCu) >> 2) | ((b & 0x33u) << 2));
}
constexpr uint8_t ReverseBits4(uint32_t b) {
    return uint8_t(((b & 0xF0u) >> 4) | ((b & 0x0Fu) << 4));
}

template <int Bits>
constexpr uint8_t ReverseIn(uint32_t b) {
    if constexpr (Bits == 1)
        return ReverseBits1(b);
    else if constexpr (Bits == 2)
        return ReverseBits2(b);
    else
        return ReverseBits4(b);
}

// Eight bytes at once, in the same shifts and masks: the byte order
// reversed, then each byte's fields. The word is read little-endian.
constexpr uint64_t SwapBytes(uint64_t v) {
    v = ((v & 0x00FF00FF00FF00FFull) << 8) | ((v >> 8) & 0x00FF00FF00FF00FFull);
    v = ((v & 0x0000FFFF0000FFFFull) << 16) |
        ((v >> 16) & 0x0000FFFF0000FFFFull);
    return (v << 32) | (v >> 32);
}

template <int Bits>
constexpr uint64_t ReverseWord(uint64_t v) {
    v = SwapBytes(v);
    v = ((v & 0xF0F0F0F0F0F0F0F0ull) >> 4) | ((v & 0x0F0F0F0F0F0F0F0Full) << 4);
    if constexpr (Bits <= 2)
        v = ((v & 0xCCCCCCCCCCCCCCCCull) >> 2) |
            ((v & 0x3333333333333333ull) << 2);
    if constexpr (Bits == 1)
        v = ((v & 0xAAAAAAAAAAAAAAAAull) >> 1) |
            ((v & 0x5555555555555555ull) << 1);
    return v;
}

inline uint64_t LoadLittle(const uint8_t *p) {
    uint64_t v = 0;
    for (int k = 7; k >= 0; --k)
        v = (v << 8) | p[k];
    return v;
}
inline void StoreLittle(uint8_t *p, uint64_t v) {
    for (int k = 0; k < 8; ++k, v >>= 8)
        p[k] = uint8_t(v);
}

// Moves `n` bytes up by `u` bits, the last byte filling with zeros.
void ShiftRowUp(uint8_t *row, uint32_t n, uint32_t u) {
    for (uint32_t i = 0; i + 1 < n; ++i)
        row[i] = uint8_t((row[i] << u) | (row[i + 1] >> (8 - u)));
    row[n - 1] = uint8_t(row[n - 1] << u);
}

template <int Bits>
void MirrorSubByte(uint8_t *row, uint32_t width) {
    constexpr uint32_t perByte = 8 / Bits;
    const uint32_t last = (width - 1) / perByte;
    uint32_t i = 0, j = last;
    // Whole words from both ends while they don't overlap.
    for (; j >= i + 15; i += 8, j -= 8) {
        const uint64_t front = LoadLittle(row + i);
        const uint64_t back = LoadLittle(row + j - 7);
        StoreLittle(row + i, ReverseWord<Bits>(back));
        StoreLittle(row + j - 7, ReverseWord<Bits>(front));
    }
    for (; i <= j && j != ~0u; ++i, --j) {
        const uint8_t front = row[i], back = row[j];
        row[i] = ReverseIn<Bits>(back);
        row[j] = ReverseIn<Bits>(front);
    }
    const uint32_t unused = (~(uint32_t(Bits) * width - 1)) & 7u;
    if (unused != 0)
        ShiftRowUp(row, last + 1, unused);
}

// Depths whose pixels straddle bytes: fields exchanged from both ends.
template <int Bits>
void MirrorFields(uint8_t *row, uint32_t width) {
    for (uint32_t i = 0, j = width - 1; i < width / 2; ++i, --j) {
        const uint32_t front = GetPacked<Bits>(row, i);
        const uint32_t back = GetPacked<Bits>(row, j);
        PutPacked<Bits>(row, i, back);
        PutPacked<Bits>(row, j, front);
    }
}

template <uint32_t Size>
void MirrorElements(uint8_t *row, uint32_t width) {
    if (width < 2)
        return;
    uint8_t *front = row;
    uint8_t *back = row + size_t(width - 1) * Size;
    uint8_t t[Size];
    for (; front < back; front += Size, back -= Size) {
        std::memcpy(t, front, Size);
        std::memcpy(front, back, Size);
        std::memcpy(back, t, Size);
    }
}

// A pair in three bytes with its even and odd pixel exchanged.
inline uint32_t SwappedPair(const uint8_t *p) {
    const uint32_t v = uint32_t(p[0]) | (uint32_t(p[1]) << 8) |
                       (uint32_t(p[2]) << 16);
    return ((v & 0xFFFu) << 12) | (v >> 12);
}
inline void StorePair(uint8_t *p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
}

// An even width is whole pairs, exchanged from both ends with their halves
// swapped. An odd width ends in a lone pixel, so pixels pair off across
// pair boundaries and go one by one, keeping the neighbours' half bytes.
void Mirror12(uint8_t *row, uint32_t width) {
    if ((width & 1) == 0) {
        uint8_t *front = row;
        uint8_t *back = row + size_t((width - 1) >> 1) * 3;
        for (uint32_t k = width >> 2; k != 0; --k, front += 3, back -= 3) {
            const uint32_t f = SwappedPair(front), b = SwappedPair(back);
            StorePair(front, b);
            StorePair(back, f);
        }
        if (width % 4 == 2)
            StorePair(front, SwappedPair(front));
        return;
    }
    for (uint32_t i = 0, j = width - 1; i < j; ++i, --j) {
        const uint32_t front = Get12(row, i), back = Get12(row, j);
        Put12(row, i, back);
        Put12(row, j, front);
    }
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_MirrorLine(void *row, int32_t width, int32_t bitsPerPixel) {
    auto *bytes = static_cast<uint8_t *>(row);
    if (width <= 0)
        return Z_OK;
    const uint32_t w = uint32_t(width);
    switch (bitsPerPixel) {
    case 1: MirrorSubByte<1>(bytes, w); break;
    case 2: MirrorSubByte<2>(bytes, w); break;
    case 4: MirrorSubByte<4>(bytes, w); break;
    case 3: MirrorFields<3>(bytes, w); break;
    case 5: MirrorFields<5>(bytes, w); break;
    case 6: MirrorFields<6>(bytes, w); break;
    case 7: MirrorFields<7>(bytes, w); break;
    case 8: MirrorElements<1>(bytes, w); break;
    case 12: Mirror12(bytes, w); break;
    case 16: MirrorElements<2>(bytes, w); break;
    case 24: MirrorElements<3>(bytes, w); break;
    default: MirrorElements<4>(bytes, w); break;
    }
    return Z_OK;
}

} // extern "C"

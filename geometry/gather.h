// Gathering source rows into byte-wide column strips for the quarter turn.
//
// At 1 bit eight rows, at 4 bits two, are merged into a buffer with one
// byte for each source column (a pair of columns at 4 bits), earliest row
// in the high bits: each byte is then exactly one byte of a target row.
#pragma once

#include <cstdint>
#include <cstring>

namespace ztk {

// NibbleSpreadTable[k][n], read as four bytes in memory order, has in byte
// j the bit of row phase k (0x80 >> k) when bit 3 - j of n is set: one
// nibble of a source row spread over four column bytes. Built for a
// little-endian host, as the library is.
struct NibbleSpread {
    uint32_t words[8][16];
};

constexpr NibbleSpread MakeNibbleSpread() {
    NibbleSpread t{};
    for (uint32_t k = 0; k < 8; ++k)
        for (uint32_t n = 0; n < 16; ++n) {
            uint32_t word = 0;
            for (uint32_t j = 0; j < 4; ++j)
                if (n & (8u >> j))
                    word |= (0x80u >> k) << (8 * j);
            t.words[k][n] = word;
        }
    return t;
}

inline constexpr NibbleSpread NibbleSpreadTable = MakeNibbleSpread();

// Row `phase` of a group of eight at 1 bit: `bytes` source bytes make
// 8 * bytes group bytes. Phase 0 stores, so what an earlier group left
// never leaks in.
inline void GatherOneBitRow(uint8_t *group, const uint8_t *row,
                            uint32_t bytes, uint32_t phase) {
    const uint32_t *spread = NibbleSpreadTable.words[phase];
    for (uint32_t i = 0; i < bytes; ++i, group += 8) {
        uint32_t high = spread[row[i] >> 4];
        uint32_t low = spread[row[i] & 15u];
        if (phase != 0) {
            uint32_t had[2];
            std::memcpy(had, group, 8);
            high |= had[0];
            low |= had[1];
        }
        std::memcpy(group, &high, 4);
        std::memcpy(group + 4, &low, 4);
    }
}

// Row `phase` (0 or 1) of a pair at 4 bits: each source byte makes two
// group bytes, one for each of its pixels.
inline void GatherFourBitRow(uint8_t *group, const uint8_t *row,
                             uint32_t bytes, uint32_t phase) {
    if (phase == 0) {
        for (uint32_t i = 0; i < bytes; ++i) {
            group[2 * i] = uint8_t(row[i] & 0xF0u);
            group[2 * i + 1] = uint8_t(row[i] << 4);
        }
    } else {
        for (uint32_t i = 0; i < bytes; ++i) {
            group[2 * i] = uint8_t(group[2 * i] | (row[i] >> 4));
            group[2 * i + 1] = uint8_t(group[2 * i + 1] | (row[i] & 15u));
        }
    }
}

// Rows a group takes at a depth: 8 at 1 bit, 2 at 4 bits, else 1.
constexpr uint32_t GroupRows(int32_t bitsPerPixel) {
    return bitsPerPixel == 1 ? 8 : bitsPerPixel == 4 ? 2 : 1;
}

// Adds one source row to the group; true when the group is full.
inline bool GatherRow(int32_t bitsPerPixel, uint8_t *group,
                      const uint8_t *row, uint32_t width, uint32_t phase) {
    if (bitsPerPixel == 1)
        GatherOneBitRow(group, row, (width + 7) >> 3, phase);
    else if (bitsPerPixel == 4)
        GatherFourBitRow(group, row, (width + 1) >> 1, phase);
    return phase + 1 == GroupRows(bitsPerPixel);
}

} // namespace ztk

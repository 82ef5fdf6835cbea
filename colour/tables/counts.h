// Two small arithmetic tables: the squares behind the colour distance
// (indexed by an absolute channel difference, shared with the palette
// optimiser) and the number of set bits in each byte value.
#pragma once

#include <cstdint>

namespace ztk::tables {

struct SquareTableType {
    uint32_t values[256];
    constexpr uint32_t operator[](uint32_t i) const { return values[i]; }
};

struct BitCountTableType {
    uint8_t values[256];
    constexpr uint8_t operator[](uint32_t i) const { return values[i]; }
};

constexpr SquareTableType MakeSquareTable() {
    SquareTableType table{};
    for (uint32_t i = 0; i < 256; ++i)
        table.values[i] = i * i;
    return table;
}

constexpr BitCountTableType MakeBitCountTable() {
    BitCountTableType table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint8_t count = 0;
        for (uint32_t bits = i; bits != 0; bits >>= 1)
            count = uint8_t(count + (bits & 1u));
        table.values[i] = count;
    }
    return table;
}

// The same squares over signed differences -255..255, entry 255 + d
// holding d * d, for scans that would otherwise take absolute values.
struct DifferenceSquaresType {
    uint32_t values[511];
};

constexpr DifferenceSquaresType MakeDifferenceSquares(const SquareTableType &squares) {
    DifferenceSquaresType table{};
    for (uint32_t d = 0; d < 256; ++d) {
        table.values[255 + d] = squares[d];
        table.values[255 - d] = squares[d];
    }
    return table;
}

inline constexpr SquareTableType SquareTable = MakeSquareTable();
inline constexpr DifferenceSquaresType DifferenceSquares =
    MakeDifferenceSquares(SquareTable);
inline constexpr BitCountTableType BitCountTable = MakeBitCountTable();

static_assert(SquareTable[255] == 65025u, "squares of channel differences");
static_assert(BitCountTable[0x81] == 2 && BitCountTable[255] == 8,
              "set bits per byte");

} // namespace ztk::tables

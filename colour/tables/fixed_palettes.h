// The default colour sets, one per depth from 1 to 8 bits: what every
// converter, the dithering code and the colour reduction fall back on when
// a caller gives no palette. Built at compile time from the channel layout
// of each depth; only the 16-colour set is a literal list, because its
// order follows no bit rule.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ztkrn.h"

namespace ztk::tables {

template <size_t N>
struct PaletteTable {
    RGBQUAD entries[N];
    static constexpr size_t size() { return N; }
    constexpr const RGBQUAD &operator[](size_t i) const { return entries[i]; }
};

// Channel levels for 2, 4 and 8 steps. The 8-step ramp is rounded
// (i * 255 / 7 to the nearest), unlike the truncated ramp of gray palettes.
inline constexpr uint8_t Levels2[2] = {0, 255};
inline constexpr uint8_t Levels4[4] = {0, 85, 170, 255};
inline constexpr uint8_t Levels8[8] = {0, 36, 73, 109, 146, 182, 219, 255};

// Where a channel sits in the index: `width` bits from bit `low`.
struct ChannelBits {
    uint32_t low;
    uint32_t width;
};

constexpr uint8_t LevelOf(ChannelBits channel, uint32_t index) {
    const uint32_t step = (index >> channel.low) & ((1u << channel.width) - 1u);
    return channel.width == 1   ? Levels2[step]
           : channel.width == 2 ? Levels4[step]
                                : Levels8[step];
}

template <size_t N>
constexpr PaletteTable<N> ChannelPalette(ChannelBits blue, ChannelBits green,
                                         ChannelBits red) {
    PaletteTable<N> table{};
    for (uint32_t i = 0; i < N; ++i) {
        table.entries[i].rgbBlue = LevelOf(blue, i);
        table.entries[i].rgbGreen = LevelOf(green, i);
        table.entries[i].rgbRed = LevelOf(red, i);
        table.entries[i].rgbReserved = 0;
    }
    return table;
}

// Black and white; then four grays: all three channels read the same bits.
inline constexpr auto FixedPalette1 =
    ChannelPalette<2>({0, 1}, {0, 1}, {0, 1});
inline constexpr auto FixedPalette2 =
    ChannelPalette<4>({0, 2}, {0, 2}, {0, 2});
// Blue is bit 0 here, whereas the 16-colour set below starts with red.
inline constexpr auto FixedPalette3 =
    ChannelPalette<8>({0, 1}, {1, 1}, {2, 1});

constexpr RGBQUAD Rgb(uint8_t red, uint8_t green, uint8_t blue) {
    return RGBQUAD{blue, green, red, 0};
}

inline constexpr PaletteTable<16> FixedPalette4 = {{
    Rgb(0, 0, 0),       Rgb(128, 0, 0),     Rgb(0, 128, 0),
    Rgb(128, 128, 0),   Rgb(0, 0, 128),     Rgb(128, 0, 128),
    Rgb(0, 128, 128),   Rgb(128, 128, 128), Rgb(192, 192, 192),
    Rgb(255, 0, 0),     Rgb(0, 255, 0),     Rgb(255, 255, 0),
    Rgb(0, 0, 255),     Rgb(255, 0, 255),   Rgb(0, 255, 255),
    Rgb(255, 255, 255),
}};

inline constexpr auto FixedPalette5 =
    ChannelPalette<32>({0, 1}, {1, 2}, {3, 2});
inline constexpr auto FixedPalette6 =
    ChannelPalette<64>({0, 2}, {2, 2}, {4, 2});
inline constexpr auto FixedPalette7 =
    ChannelPalette<128>({0, 2}, {2, 3}, {5, 2});
inline constexpr auto FixedPalette8 =
    ChannelPalette<256>({0, 2}, {2, 3}, {5, 3});

// The table for a depth of 1 to 8 bits; null for any other depth.
const RGBQUAD *FixedPalette(uint32_t bitsPerPixel);

} // namespace ztk::tables

// Packed pixels: the one place that knows how pixels sit in a row.
//
// Depths 1 to 7 are a bit stream, high bits first: pixel x occupies bits
// x*depth .. x*depth+depth-1 counted from the top bit of byte 0, and a pixel
// may straddle two bytes, read and written through a big-endian 16-bit pair.
// 12-bit pixels go two to three bytes: the even pixel is the low 12 bits of
// the little-endian word at byte 3k, the odd one the high 12 bits of the
// word at byte 3k+1. Byte-sized depths are plain arrays.
//
// The template forms and the layout types are for kernels chosen once per
// row; the runtime-depth forms are for single-pixel paths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ztk {

// The bits a pixel takes in a row: the depth itself for every depth the
// library stores, and one byte for anything else, which the single-pixel
// paths have always read as bytes.
constexpr uint32_t StoredBits(int32_t bitsPerPixel) {
    return (bitsPerPixel >= 1 && bitsPerPixel <= 8) || bitsPerPixel == 12 ||
                   bitsPerPixel == 16 || bitsPerPixel == 24 ||
                   bitsPerPixel == 32
               ? uint32_t(bitsPerPixel)
               : 8u;
}

// Byte offset of a column's first byte, truncating, for any depth.
constexpr uint32_t ColumnToByteOffset(int32_t bitsPerPixel, uint32_t column) {
    return uint32_t((uint64_t(column) * StoredBits(bitsPerPixel)) >> 3);
}

// Where a column starts inside its first byte, in bits from the top: the
// place in the stream below 8 bits, 0 or 4 for the two halves of a 12-bit
// pair, 0 for whole-byte depths.
constexpr uint32_t BitPhase(int32_t bitsPerPixel, uint32_t column) {
    return (column * StoredBits(bitsPerPixel)) & 7u;
}

// Bytes that hold `pixels` pixels at a depth, rounded up to whole bytes.
constexpr uint32_t PackedBytes(int32_t bitsPerPixel, uint32_t pixels) {
    return static_cast<uint32_t>(
        (uint64_t(pixels) * uint32_t(bitsPerPixel) + 7) >> 3);
}

// ---- bit streams moved by less than a byte ---------------------------------

// Moves a stream of `count` bytes (at least one) up, towards byte 0, by
// `shift` bits (1 to 7); the last byte fills from below with zeros.
inline void ShiftBitsUp(uint8_t *bytes, uint32_t count, uint32_t shift) {
    for (uint32_t i = 0; i + 1 < count; ++i)
        bytes[i] = uint8_t((bytes[i] << shift) | (bytes[i + 1] >> (8 - shift)));
    bytes[count - 1] = uint8_t(bytes[count - 1] << shift);
}

// Moves a stream of `count` bytes (at least one) down by `shift` bits (1
// to 7); the first byte fills from above with zeros and the bits that fall
// out of the last byte are lost.
inline void ShiftBitsDown(uint8_t *bytes, uint32_t count, uint32_t shift) {
    for (uint32_t i = count - 1; i >= 1; --i)
        bytes[i] = uint8_t((bytes[i] >> shift) | (bytes[i - 1] << (8 - shift)));
    bytes[0] = uint8_t(bytes[0] >> shift);
}

// ---- sub-byte fields ---------------------------------------------------------

// The bits of a sub-byte pixel that starts `phase` bits into `bytes`, and
// their replacement; a pixel that crosses into the next byte is taken as a
// big-endian pair, as everywhere in the stream.
constexpr uint32_t GetBitsAt(const uint8_t *bytes, uint32_t phase,
                             uint32_t bits) {
    const uint32_t mask = (1u << bits) - 1;
    if (phase + bits <= 8)
        return (uint32_t(bytes[0]) >> (8 - bits - phase)) & mask;
    const uint32_t pair = (uint32_t(bytes[0]) << 8) | bytes[1];
    return (pair >> (16 - bits - phase)) & mask;
}

constexpr void PutBitsAt(uint8_t *bytes, uint32_t phase, uint32_t bits,
                         uint32_t value) {
    const uint32_t mask = (1u << bits) - 1;
    value &= mask;
    if (phase + bits <= 8) {
        const uint32_t shift = 8 - bits - phase;
        bytes[0] = uint8_t((bytes[0] & ~(mask << shift)) | (value << shift));
        return;
    }
    const uint32_t shift = 16 - bits - phase;
    uint32_t pair = (uint32_t(bytes[0]) << 8) | bytes[1];
    pair = (pair & ~(mask << shift)) | (value << shift);
    bytes[0] = uint8_t(pair >> 8);
    bytes[1] = uint8_t(pair);
}

// Pixel x of a stream whose depth is known at compile time.
template <int Bits>
constexpr uint32_t GetPacked(const uint8_t *row, uint32_t x) {
    static_assert(Bits >= 1 && Bits <= 7, "sub-byte depths only");
    const uint32_t bit = x * Bits;
    return GetBitsAt(row + (bit >> 3), bit & 7, Bits);
}

template <int Bits>
constexpr void PutPacked(uint8_t *row, uint32_t x, uint32_t value) {
    static_assert(Bits >= 1 && Bits <= 7, "sub-byte depths only");
    const uint32_t bit = x * Bits;
    PutBitsAt(row + (bit >> 3), bit & 7, Bits, value);
}

// ---- 12-bit pairs ------------------------------------------------------------

constexpr uint32_t Get12(const uint8_t *row, uint32_t x) {
    const uint32_t at = (x >> 1) * 3;
    if ((x & 1) == 0)
        return (uint32_t(row[at]) | (uint32_t(row[at + 1]) << 8)) & 0xFFFu;
    return (uint32_t(row[at + 1]) | (uint32_t(row[at + 2]) << 8)) >> 4;
}

// Writes one sample and keeps the neighbour's half byte.
constexpr void Put12(uint8_t *row, uint32_t x, uint32_t value) {
    const uint32_t at = (x >> 1) * 3;
    value &= 0xFFFu;
    if ((x & 1) == 0) {
        row[at] = uint8_t(value);
        row[at + 1] = uint8_t((row[at + 1] & 0xF0u) | (value >> 8));
    } else {
        row[at + 1] = uint8_t((row[at + 1] & 0x0Fu) | ((value & 0xFu) << 4));
        row[at + 2] = uint8_t(value >> 4);
    }
}

// ---- any depth at run time (single pixels, tests) ------------------------

// The raw value of pixel x: an index or sample for depths up to 16, the
// bytes in memory order (first byte lowest) for 24 and 32.
uint32_t GetPixelBits(const uint8_t *row, uint32_t x, int32_t bitsPerPixel);
void PutPixelBits(uint8_t *row, uint32_t x, int32_t bitsPerPixel,
                  uint32_t value);

// ---- pixel layouts for row kernels -----------------------------------------

// One type per layout, each with its width in bits and the raw value of a
// pixel: an index or sample up to 16 bits, the bytes in memory order (first
// byte lowest) at 24 and 32. Kernels are instantiated on these once per row
// so that no pixel loop asks for the depth.
//
// Each layout also reads and writes four pixels from pixel x at once; the
// byte-sized colour layouts do it in whole 32-bit words.
// Four pixel values, passed by value so that they stay in registers while
// bytes are stored around them.
struct Quad {
    uint32_t a, b, c, d;
};

template <class Layout>
struct LayoutGroups {
    static Quad Get4(const uint8_t *row, uint32_t x) {
        return Quad{Layout::Get(row, x), Layout::Get(row, x + 1),
                    Layout::Get(row, x + 2), Layout::Get(row, x + 3)};
    }
    static void Put4(uint8_t *row, uint32_t x, Quad q) {
        Layout::Put(row, x, q.a);
        Layout::Put(row, x + 1, q.b);
        Layout::Put(row, x + 2, q.c);
        Layout::Put(row, x + 3, q.d);
    }
};

// Little-endian words at any address; one move on a little-endian host.
inline uint32_t Load32(const uint8_t *p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
#else
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) |
           (uint32_t(p[3]) << 24);
#endif
}
inline void Store32(uint8_t *p, uint32_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    std::memcpy(p, &v, 4);
#else
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
#endif
}

struct Layout8 {
    static constexpr int32_t kBits = 8;
    static uint32_t Get(const uint8_t *row, uint32_t x) { return row[x]; }
    static void Put(uint8_t *row, uint32_t x, uint32_t v) {
        row[x] = uint8_t(v);
    }
    static Quad Get4(const uint8_t *row, uint32_t x) {
        const uint32_t w = Load32(row + x);
        return Quad{w & 0xFFu, (w >> 8) & 0xFFu, (w >> 16) & 0xFFu, w >> 24};
    }
    static void Put4(uint8_t *row, uint32_t x, Quad q) {
        Store32(row + x, (q.a & 0xFFu) | ((q.b & 0xFFu) << 8) |
                             ((q.c & 0xFFu) << 16) | (q.d << 24));
    }
};

template <int Bits>
struct LayoutPacked : LayoutGroups<LayoutPacked<Bits>> {
    static constexpr int32_t kBits = Bits;
    static uint32_t Get(const uint8_t *row, uint32_t x) {
        return GetPacked<Bits>(row, x);
    }
    static void Put(uint8_t *row, uint32_t x, uint32_t v) {
        PutPacked<Bits>(row, x, v);
    }
};

struct Layout12 : LayoutGroups<Layout12> {
    static constexpr int32_t kBits = 12;
    static uint32_t Get(const uint8_t *row, uint32_t x) { return Get12(row, x); }
    static void Put(uint8_t *row, uint32_t x, uint32_t v) { Put12(row, x, v); }
};

// Little-endian words; rows need not be aligned.
struct Layout16 {
    static constexpr int32_t kBits = 16;
    static uint32_t Get(const uint8_t *row, uint32_t x) {
        return uint32_t(row[2 * x]) | (uint32_t(row[2 * x + 1]) << 8);
    }
    static void Put(uint8_t *row, uint32_t x, uint32_t v) {
        row[2 * x] = uint8_t(v);
        row[2 * x + 1] = uint8_t(v >> 8);
    }
    static Quad Get4(const uint8_t *row, uint32_t x) {
        const uint32_t low = Load32(row + size_t(x) * 2);
        const uint32_t high = Load32(row + size_t(x) * 2 + 4);
        return Quad{low & 0xFFFFu, low >> 16, high & 0xFFFFu, high >> 16};
    }
    static void Put4(uint8_t *row, uint32_t x, Quad q) {
        Store32(row + size_t(x) * 2, (q.a & 0xFFFFu) | (q.b << 16));
        Store32(row + size_t(x) * 2 + 4, (q.c & 0xFFFFu) | (q.d << 16));
    }
};

struct Layout24 {
    static constexpr int32_t kBits = 24;
    static uint32_t Get(const uint8_t *row, uint32_t x) {
        const uint8_t *p = row + size_t(x) * 3;
        return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
    }
    static void Put(uint8_t *row, uint32_t x, uint32_t v) {
        uint8_t *p = row + size_t(x) * 3;
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
        p[2] = uint8_t(v >> 16);
    }
    // Four pixels are exactly three words.
    static Quad Get4(const uint8_t *row, uint32_t x) {
        const uint8_t *p = row + size_t(x) * 3;
        const uint32_t a = Load32(p), b = Load32(p + 4), c = Load32(p + 8);
        return Quad{a & 0xFFFFFFu, (a >> 24) | ((b & 0xFFFFu) << 8),
                    (b >> 16) | ((c & 0xFFu) << 16), c >> 8};
    }
    static void Put4(uint8_t *row, uint32_t x, Quad q) {
        uint8_t *p = row + size_t(x) * 3;
        const uint32_t a = (q.a & 0xFFFFFFu) | (q.b << 24);
        const uint32_t b = ((q.b >> 8) & 0xFFFFu) | (q.c << 16);
        const uint32_t c = ((q.c >> 16) & 0xFFu) | (q.d << 8);
        Store32(p, a);
        Store32(p + 4, b);
        Store32(p + 8, c);
    }
};

struct Layout32 {
    static constexpr int32_t kBits = 32;
    static uint32_t Get(const uint8_t *row, uint32_t x) {
        return Load32(row + size_t(x) * 4);
    }
    static void Put(uint8_t *row, uint32_t x, uint32_t v) {
        Store32(row + size_t(x) * 4, v);
    }
    static Quad Get4(const uint8_t *row, uint32_t x) {
        const uint8_t *p = row + size_t(x) * 4;
        return Quad{Load32(p), Load32(p + 4), Load32(p + 8), Load32(p + 12)};
    }
    static void Put4(uint8_t *row, uint32_t x, Quad q) {
        uint8_t *p = row + size_t(x) * 4;
        Store32(p, q.a);
        Store32(p + 4, q.b);
        Store32(p + 8, q.c);
        Store32(p + 12, q.d);
    }
};

// ---- per-depth facts and the one dispatcher ----------------------------------

// What code that walks pixels needs to know of a depth, fixed at compile
// time. A depth the library doesn't store has bits 0.
struct DepthTraits {
    int32_t bits;
    // A bit stream of 1 to 7 bits.
    bool subByte;
    // A pixel shares a byte with another pixel, so that writing it alone
    // means reading the byte first (below 8 bits, and 12).
    bool sharesBytes;
    // Bytes of a pixel for whole-byte depths, 0 below 8 bits and at 12.
    uint32_t bytesPerPixel;
};

constexpr DepthTraits MakeDepthTraits(int32_t bits) {
    const bool stored = StoredBits(bits) == uint32_t(bits);
    if (!stored)
        return DepthTraits{0, false, false, 0};
    const bool subByte = bits < 8;
    const bool wholeBytes = bits % 8 == 0;
    return DepthTraits{bits, subByte, !wholeBytes,
                       wholeBytes ? uint32_t(bits) / 8 : 0};
}

struct DepthTable {
    DepthTraits depth[33];
};

constexpr DepthTable MakeDepthTable() {
    DepthTable t{};
    for (int32_t bits = 0; bits <= 32; ++bits)
        t.depth[bits] = MakeDepthTraits(bits);
    return t;
}

inline constexpr DepthTable kDepthTable = MakeDepthTable();

constexpr const DepthTraits &TraitsOf(int32_t bitsPerPixel) {
    return kDepthTable.depth[bitsPerPixel >= 0 && bitsPerPixel <= 32
                                 ? bitsPerPixel
                                 : 0];
}

// Whether a bitmap may have the depth: 1 to 8, 12, 16, 24 or 32 bits.
constexpr bool IsStoredDepth(int32_t bitsPerPixel) {
    return TraitsOf(bitsPerPixel).bits != 0;
}

template <int Bits>
struct LayoutOfDepth {
    using type = LayoutPacked<Bits>;
};
template <> struct LayoutOfDepth<8> { using type = Layout8; };
template <> struct LayoutOfDepth<12> { using type = Layout12; };
template <> struct LayoutOfDepth<16> { using type = Layout16; };
template <> struct LayoutOfDepth<24> { using type = Layout24; };
template <> struct LayoutOfDepth<32> { using type = Layout32; };

// A depth as a type: its width, its facts and its layout, for kernels
// instantiated once per depth.
template <int Bits>
struct Depth {
    static constexpr int32_t kBits = Bits;
    static constexpr DepthTraits kTraits = MakeDepthTraits(Bits);
    static_assert(kTraits.bits == Bits, "a depth the library stores");
    using Layout = typename LayoutOfDepth<Bits>::type;
};

// Calls f with the Depth<> of a stored depth and returns true; false,
// without calling, for any other. The only switch on depth that kernels
// need: everything below it is chosen at compile time.
template <typename F>
bool WithDepth(int32_t bitsPerPixel, F &&f) {
    switch (bitsPerPixel) {
    case 1: f(Depth<1>{}); return true;
    case 2: f(Depth<2>{}); return true;
    case 3: f(Depth<3>{}); return true;
    case 4: f(Depth<4>{}); return true;
    case 5: f(Depth<5>{}); return true;
    case 6: f(Depth<6>{}); return true;
    case 7: f(Depth<7>{}); return true;
    case 8: f(Depth<8>{}); return true;
    case 12: f(Depth<12>{}); return true;
    case 16: f(Depth<16>{}); return true;
    case 24: f(Depth<24>{}); return true;
    case 32: f(Depth<32>{}); return true;
    default: return false;
    }
}

// Calls f with the layout of a depth (0 meaning 8-bit samples) and returns
// true; false, without calling, for a depth that has no layout.
template <typename F>
bool WithLayout(int32_t bitsPerPixel, F &&f) {
    return WithDepth(bitsPerPixel == 0 ? 8 : bitsPerPixel, [&f](auto depth) {
        f(typename decltype(depth)::Layout{});
    });
}

// Rewrites `count` pixels from one layout to another, pixel x of `source`
// becoming pixel x of `destination` through `fn`. The rows may be one and
// the same: a widening runs from the last pixel back, anything else from
// the first, so no pixel is overwritten before it has been read. Neither
// direction ever writes over the source of a pixel still to come, so
// pixels are taken four at a time, all read before any is written, which
// keeps loads from waiting on the stores before them.
template <class Src, class Dst, class Fn>
void MapPixels(const uint8_t *source, uint8_t *destination, uint32_t count,
               Fn &&fn) {
    auto convert = [&fn](Quad q) {
        return Quad{fn(q.a), fn(q.b), fn(q.c), fn(q.d)};
    };
    if constexpr (Dst::kBits > Src::kBits) {
        uint32_t x = count;
        for (; x >= 4; x -= 4)
            Dst::Put4(destination, x - 4, convert(Src::Get4(source, x - 4)));
        while (x-- > 0)
            Dst::Put(destination, x, fn(Src::Get(source, x)));
    } else {
        uint32_t x = 0;
        for (; x + 4 <= count; x += 4)
            Dst::Put4(destination, x, convert(Src::Get4(source, x)));
        for (; x < count; ++x)
            Dst::Put(destination, x, fn(Src::Get(source, x)));
    }
}

// ---- edge masks for runs of sub-byte pixels -----------------------------

// Bits of the first byte from bit phase `phase` (0 = top bit) onward.
constexpr uint8_t StartMask(uint32_t phase) { return uint8_t(0xFFu >> phase); }
// Bits of the last byte before bit phase `phase` (0 = none, 8 = all).
constexpr uint8_t EndMask(uint32_t phase) {
    return uint8_t(~(0xFFu >> phase));
}


// ---- edge masks of stretches, by depth ------------------------------------

// The pixels a stretch takes in its first byte and in its last, for depths
// 1 to 7, indexed by the place of its first pixel (or of the pixel after
// its last) inside the depth's repeating byte pattern, `pixel & place`.
// Place 0 starts a byte, where 0xFF stands for the whole byte. Row segments
// and combine share these; the entries match StartMask and EndMask of the
// bit phase except start place 2 at 2 bits, 0x0C rather than 0x0F, so that
// such a stretch never takes the fourth pixel of its first byte. Writers
// have always had it so and it stays.
struct EdgeMasks {
    uint32_t place;
    uint8_t start[8];
    uint8_t end[8];
};

inline constexpr EdgeMasks kEdgeMasks[8] = {
    {0, {0xFF}, {0xFF}},
    {7, {0xFF, 0x7F, 0x3F, 0x1F, 0x0F, 0x07, 0x03, 0x01},
        {0xFF, 0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE}},
    {3, {0xFF, 0x3F, 0x0C, 0x03}, {0xFF, 0xC0, 0xF0, 0xFC}},
    {7, {0xFF, 0x1F, 0x03, 0x7F, 0x0F, 0x01, 0x3F, 0x07},
        {0xFF, 0xE0, 0xFC, 0x80, 0xF0, 0xFE, 0xC0, 0xF8}},
    {1, {0xFF, 0x0F}, {0xFF, 0xF0}},
    {7, {0xFF, 0x07, 0x3F, 0x01, 0x0F, 0x7F, 0x03, 0x1F},
        {0xFF, 0xF8, 0xC0, 0xFE, 0xF0, 0x80, 0xFC, 0xE0}},
    {3, {0xFF, 0x03, 0x0F, 0x3F}, {0xFF, 0xFC, 0xF0, 0xC0}},
    {7, {0xFF, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x3F, 0x7F},
        {0xFF, 0xFE, 0xFC, 0xF8, 0xF0, 0xE0, 0xC0, 0x80}},
};

// Edge masks of a stretch of sub-byte pixels from `first` to before `end`.
constexpr uint8_t EdgeStartMask(int32_t bits, uint32_t first) {
    return kEdgeMasks[bits].start[first & kEdgeMasks[bits].place];
}
constexpr uint8_t EdgeEndMask(int32_t bits, uint32_t end) {
    return kEdgeMasks[bits].end[end & kEdgeMasks[bits].place];
}

constexpr bool EdgeMasksFollowThePhase() {
    for (int32_t bits = 1; bits <= 7; ++bits) {
        for (uint32_t p = 0; p <= kEdgeMasks[bits].place; ++p) {
            const uint32_t phase = (p * uint32_t(bits)) & 7;
            const uint8_t start = phase == 0 ? 0xFF : StartMask(phase);
            const uint8_t end = phase == 0 ? 0xFF : EndMask(phase);
            const bool quirk = bits == 2 && p == 2;
            if (kEdgeMasks[bits].end[p] != end ||
                (kEdgeMasks[bits].start[p] != start) != quirk)
                return false;
            if (((kEdgeMasks[bits].place + 1) * uint32_t(bits)) % 8 != 0)
                return false;
        }
    }
    return true;
}
static_assert(EdgeMasksFollowThePhase(),
              "edge masks are the bit-phase masks but for 0x0C at 2 bits");

} // namespace ztk

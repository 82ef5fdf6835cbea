// RunCompress and RunExpand, and the exported calls that apply them to
// caller buffers: Z_CompressRow(s), Z_ExpandRow(s), Z_MirrorCompressedBuffer,
// Z_FlipCompressedBuffer.
//
// A compressed buffer holds rows back to back, each a 32-bit count and that
// many codes; rows are therefore aligned to two bytes only, and the counts
// are read and written bytewise. The caller sizes every buffer here.
#include "compressed/runs.h"

#include <cstring>

#include "core/packed.h"
#include "ztkrn.h"

namespace ztk {
namespace {

// The code under construction. It is held in a register and stored when
// the next code opens, so long runs cost one addition a byte.
struct Coder {
    uint16_t *cursor;
    uint32_t value;
    uint8_t colour;
    // The first byte of a call adds without the 65535 test. That is what
    // lets Z_CompressRow start from -k and have the k cleared bits cancel
    // it by wrapping round.
    bool exempt = true;

    void Open(uint32_t code) {
        *cursor++ = uint16_t(value);
        value = code;
    }
    // A new code that may need splitting; only the initial value and the
    // tail can be longer than a code.
    void OpenLong(uint32_t run) {
        const uint32_t first = run < kMaxCode ? run : kMaxCode;
        Open(first);
        for (run -= first; run != 0;) {
            const uint32_t part = run < kMaxCode ? run : kMaxCode;
            Open(0);
            Open(part);
            run -= part;
        }
    }
    void Add(uint32_t run) {
        if (exempt && run <= kMaxCode) {
            value = (value + run) & kMaxCode;
            return;
        }
        if (uint64_t(value) + run > kMaxCode) {
            Open(0);
            Open(0);
        }
        while (run > kMaxCode) {
            value = kMaxCode;
            run -= kMaxCode;
            Open(0);
            Open(0);
        }
        value += run;
    }
};

// A whole source byte: its first run joins the current code when the
// colours agree, the others open codes of their own.
inline void CodeByte(Coder &c, uint32_t byte) {
    const uint16_t *runs = ByteRuns[byte];
    const uint32_t count = ByteRunCount[byte];
    uint32_t j = 0;
    if ((byte & kBlack) == c.colour) {
        c.Add(runs[0]);
        j = 1;
    }
    for (; j < count; ++j)
        c.Open(runs[j]);
    c.colour = (byte & 1u) ? kBlack : 0;
}

// The last, partial byte: runs are clipped to the bits that remain.
inline void CodePartialByte(Coder &c, uint32_t byte, uint32_t bits) {
    const uint16_t *runs = ByteRuns[byte];
    uint8_t colour = byte & kBlack;
    for (uint32_t j = 0; bits != 0; ++j) {
        const uint32_t run = runs[j] < bits ? runs[j] : bits;
        if (colour == c.colour)
            c.Add(run);
        else
            c.Open(run);
        c.colour = colour;
        colour ^= kBlack;
        bits -= run;
    }
}

// Whole bytes of the current colour only lengthen the current code; eight
// of them at a time while the code has room for all 64 bits, which gives
// exactly what the byte-by-byte test would.
inline uint32_t SkipSolid(Coder &c, const uint8_t *source, uint32_t at,
                          uint32_t whole) {
    const uint64_t fill = c.colour ? ~uint64_t(0) : 0;
    while (at + 8 <= whole && c.value + 64 <= kMaxCode) {
        uint64_t word;
        std::memcpy(&word, source + at, 8);
        if (word != fill)
            break;
        c.value += 64;
        at += 8;
    }
    return at;
}

} // namespace

void RunCompress(uint16_t *&cursor, uint8_t &following, uint32_t initial,
                 uint8_t colour, const uint8_t *source, uint32_t pixels,
                 uint32_t tail, uint8_t tailColour) {
    Coder c{cursor, 0, colour};
    c.value = initial < kMaxCode ? initial : kMaxCode;
    for (uint32_t rest = initial - c.value; rest != 0;) {
        const uint32_t part = rest < kMaxCode ? rest : kMaxCode;
        c.Open(0);
        c.Open(part);
        rest -= part;
    }
    const uint32_t whole = pixels >> 3;
    uint32_t at = 0;
    if (whole != 0) {
        CodeByte(c, source[at++]);
        c.exempt = false;
    }
    while (at < whole) {
        const uint32_t byte = source[at];
        if (byte == (c.colour ? 0xFFu : 0u) && c.value + 8 <= kMaxCode) {
            c.value += 8;
            at = SkipSolid(c, source, at + 1, whole);
            continue;
        }
        CodeByte(c, byte);
        ++at;
    }
    if ((pixels & 7) != 0)
        CodePartialByte(c, source[whole], pixels & 7);
    if (tail != 0) {
        if (tailColour == c.colour) {
            c.Add(tail);
        } else {
            c.OpenLong(tail);
            c.colour = tailColour;
        }
    }
    *c.cursor++ = uint16_t(c.value);
    cursor = c.cursor;
    following = c.colour ^ kBlack;
}

namespace {

void PaintOnes(uint8_t *row, uint32_t at, uint32_t run) {
    uint8_t *byte = row + (at >> 3);
    const uint32_t phase = at & 7;
    if (phase + run <= 8) {
        *byte |= uint8_t(StartMask(phase) & EndMask(phase + run));
        return;
    }
    *byte++ |= StartMask(phase);
    run -= 8 - phase;
    std::memset(byte, 0xFF, run >> 3);
    byte += run >> 3;
    if ((run & 7) != 0)
        *byte |= EndMask(run & 7);
}

} // namespace

void RunExpand(const uint16_t *codes, uint32_t count, uint8_t *destination,
               uint32_t first, uint32_t pixels) {
    std::memset(destination, 0, (uint64_t(pixels) + 7) / 8);
    if (codes == nullptr || pixels == 0)
        return;
    uint32_t i = 0;
    uint32_t skip = first;
    while (i < count && skip >= codes[i])
        skip -= codes[i++];
    if (i == count)
        return;
    // Position in the output, and the rest of the run under the cursor.
    uint32_t at = 0;
    uint32_t run = codes[i] - skip;
    if ((i & 1) == 0) {
        if (run >= pixels)
            return;
        at = run;
        if (++i == count)
            return;
        run = codes[i];
    }
    while (true) {
        const uint32_t left = pixels - at;
        if (run >= left) {
            PaintOnes(destination, at, left);
            return;
        }
        if (run != 0)
            PaintOnes(destination, at, run);
        at += run;
        if (++i == count)
            return;
        if (codes[i] >= pixels - at)
            return;
        at += codes[i];
        if (++i == count)
            return;
        run = codes[i];
    }
}

} // namespace ztk

using namespace ztk;

namespace {

uint32_t LoadCount(const uint8_t *at) {
    uint32_t n;
    std::memcpy(&n, at, 4);
    return n;
}

void StoreCount(uint8_t *at, uint32_t n) { std::memcpy(at, &n, 4); }

const uint16_t *CodesOf(const uint8_t *row) {
    return reinterpret_cast<const uint16_t *>(row + 4);
}

uint32_t RowStride(uint32_t pixels) {
    return uint32_t(((uint64_t(pixels) + 31) >> 3) & ~uint64_t(3));
}

} // namespace

extern "C" {

int32_t ZAPI Z_CompressRow(void *row, void *source, uint32_t column,
                           uint32_t pixels) {
    auto *out = static_cast<uint8_t *>(row);
    auto *bits = static_cast<uint8_t *>(source);
    const uint32_t k = column & 7;
    const uint8_t saved = k != 0 ? bits[0] : 0;
    if (k != 0)
        bits[0] &= StartMask(k);
    uint16_t *cursor = reinterpret_cast<uint16_t *>(out + 4);
    uint8_t following = 0;
    RunCompress(cursor, following, (0x10000u - k) & kMaxCode, 0, bits,
                pixels + k, 0, 0);
    if (k != 0)
        bits[0] = saved;
    StoreCount(out, uint32_t(cursor - reinterpret_cast<uint16_t *>(out + 4)));
    return int32_t(pixels);
}

int32_t ZAPI Z_CompressRows(void *buffer, const void *source, uint32_t pixels,
                            uint32_t rows) {
    auto *out = static_cast<uint8_t *>(buffer);
    auto *bits = static_cast<const uint8_t *>(source);
    const uint32_t stride = RowStride(pixels);
    for (uint32_t r = 0; r < rows; ++r, bits += stride) {
        uint16_t *codes = reinterpret_cast<uint16_t *>(out + 4);
        uint16_t *cursor = codes;
        uint8_t following = 0;
        RunCompress(cursor, following, 0, 0, bits, pixels, 0, 0);
        const uint32_t n = uint32_t(cursor - codes);
        StoreCount(out, n);
        out += 4 + 2 * size_t(n);
    }
    return Z_OK;
}

int32_t ZAPI Z_ExpandRow(const void *row, void *destination, uint32_t column,
                         uint32_t pixels) {
    auto *in = static_cast<const uint8_t *>(row);
    RunExpand(CodesOf(in), LoadCount(in), static_cast<uint8_t *>(destination),
              column, pixels);
    return Z_OK;
}

int32_t ZAPI Z_ExpandRows(const void *buffer, void *destination,
                          uint32_t pixels, uint32_t rows) {
    auto *in = static_cast<const uint8_t *>(buffer);
    auto *bits = static_cast<uint8_t *>(destination);
    const uint32_t stride = RowStride(pixels);
    for (uint32_t r = 0; r < rows; ++r, bits += stride) {
        const uint32_t n = LoadCount(in);
        RunExpand(CodesOf(in), n, bits, 0, pixels);
        in += 4 + 2 * size_t(n);
    }
    return Z_OK;
}

// Reverses each row without expanding it. A zero first code would become
// a pointless last one and is left out; a row that ends in 1-bits gains a
// zero first code so that the mirror still starts with 0-bits.
int32_t ZAPI Z_MirrorCompressedBuffer(const void *source, void *destination,
                                      int32_t rows) {
    if (source == nullptr || destination == nullptr)
        return Z_ERR_PARAM;
    auto *in = static_cast<const uint8_t *>(source);
    auto *out = static_cast<uint8_t *>(destination);
    for (int32_t r = 0; r < rows; ++r) {
        const uint32_t n = LoadCount(in);
        const uint16_t *codes = CodesOf(in);
        const uint32_t m = (n != 0 && codes[0] == 0) ? n - 1 : n;
        uint16_t *written = reinterpret_cast<uint16_t *>(out + 4);
        if ((n & 1) == 0) {
            StoreCount(out, m + 1);
            *written++ = 0;
        } else {
            StoreCount(out, m);
        }
        for (uint32_t i = 0; i < m; ++i)
            written[i] = codes[n - 1 - i];
        out += 4 + 2 * size_t((n & 1) == 0 ? m + 1 : m);
        in += 4 + 2 * size_t(n);
    }
    return Z_OK;
}

// Reverses the order of the rows, each copied whole.
int32_t ZAPI Z_FlipCompressedBuffer(const void *source, void *destination,
                                    int32_t rows) {
    if (source == nullptr || destination == nullptr)
        return Z_ERR_PARAM;
    auto *in = static_cast<const uint8_t *>(source);
    size_t total = 0;
    for (int32_t r = 0; r < rows; ++r)
        total += 4 + 2 * size_t(LoadCount(in + total));
    auto *out = static_cast<uint8_t *>(destination);
    size_t at = 0;
    for (int32_t r = 0; r < rows; ++r) {
        const size_t length = 4 + 2 * size_t(LoadCount(in + at));
        std::memcpy(out + total - at - length, in + at, length);
        at += length;
    }
    return Z_OK;
}

} // extern "C"

// Run coding of 1-bit rows: the byte tables, the two primitives that cross
// between bits and codes, and a bounded builder for rows assembled code by
// code.
//
// A coded row is a list of 16-bit run lengths, alternately 0-bits and
// 1-bits, the first always counting 0-bits. Runs longer than 65535 are
// broken by a zero-length run of the other colour. Colours are carried as
// 0 and 128 so that they compare directly with a masked source byte.
#pragma once

#include <cstdint>

namespace ztk {

constexpr uint32_t kMaxCode = 0xFFFFu;
constexpr uint8_t kBlack = 0x80; // the colour of 1-bits

struct ByteRunTables {
    uint32_t count[256];
    uint16_t runs[256][8];
};

// Runs of equal bits in each byte value, first pixel (top bit) first.
constexpr ByteRunTables MakeByteRunTables() {
    ByteRunTables t{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t n = 0;
        uint32_t bit = 7;
        while (true) {
            const uint32_t value = (b >> bit) & 1u;
            uint16_t length = 0;
            while (((b >> bit) & 1u) == value) {
                ++length;
                if (bit == 0)
                    break;
                --bit;
            }
            t.runs[b][n++] = length;
            if (((b >> bit) & 1u) == value)
                break; // the run reached the last bit
        }
        t.count[b] = n;
    }
    return t;
}

inline constexpr ByteRunTables kByteRunTables = MakeByteRunTables();
inline constexpr const uint32_t (&ByteRunCount)[256] = kByteRunTables.count;
inline constexpr const uint16_t (&ByteRuns)[256][8] = kByteRunTables.runs;

// Codes `pixels` source bits after an initial code of `initial` in
// `colour`, then appends a tail run. `cursor` points at the code that
// receives the initial value and is left one past the last code written;
// `following` gets the colour a further code would have. Nothing is
// bounded here: the caller sizes the output (see CodesForPixels).
void RunCompress(uint16_t *&cursor, uint8_t &following, uint32_t initial,
                 uint8_t colour, const uint8_t *source, uint32_t pixels,
                 uint32_t tail, uint8_t tailColour);

// Codes RunCompress can produce for a call over `pixels` source pixels
// whose initial value and tail together don't exceed `pixels` more: room
// for a code a pixel, the initial and tail codes, and every 65535 split.
constexpr uint64_t CodesForPixels(uint64_t pixels) {
    return pixels + 8 + pixels / 16384;
}

// Expands `pixels` pixels from pixel `first` of a coded row into
// `destination`, which is cleared for (pixels + 7) / 8 bytes first. Null
// codes give zeros. Only `count` codes are ever read and no byte past the
// cleared ones is written, whatever the codes add up to.
void RunExpand(const uint16_t *codes, uint32_t count, uint8_t *destination,
               uint32_t first, uint32_t pixels);

// Assembles a coded row code by code into a buffer of fixed capacity. A
// row that would not fit marks the builder as overflowed instead of
// writing past the end, which only codes that don't add up can cause.
class CodeBuilder {
  public:
    CodeBuilder(uint16_t *base, uint32_t capacity)
        : base_(base), capacity_(capacity) {}

    void Append(uint32_t code) {
        if (size_ < capacity_)
            base_[size_++] = uint16_t(code);
        else
            overflow_ = true;
    }
    // A new code, split by zero-length codes if longer than a code.
    void AppendLong(uint32_t run) {
        const uint32_t first = run < kMaxCode ? run : kMaxCode;
        Append(first);
        for (run -= first; run != 0 && !overflow_;) {
            const uint32_t part = run < kMaxCode ? run : kMaxCode;
            Append(0);
            Append(part);
            run -= part;
        }
    }
    // Adds to the last code, breaking it with a zero-length run of the
    // other colour when the sum would not fit in a code.
    void Extend(uint32_t run) {
        if (size_ == 0) {
            Append(0);
            if (overflow_)
                return;
        }
        uint16_t &last = base_[size_ - 1];
        if (uint64_t(last) + run > kMaxCode) {
            Append(0);
            AppendLong(run);
        } else {
            last = uint16_t(last + run);
        }
    }
    // Adds when the run has the colour of the last code, else appends.
    void Join(uint32_t run, uint8_t colour) {
        if (size_ != 0 && colour == LastColour())
            Extend(run);
        else
            AppendLong(run);
    }
    // The place after the last code and the room from there, for a
    // primitive that writes codes directly; Advance takes over what it
    // wrote up to `end`.
    uint16_t *end() const { return base_ + size_; }
    uint32_t room() const { return capacity_ - size_; }
    void Advance(const uint16_t *end) { size_ = uint32_t(end - base_); }
    void DropLast() {
        if (size_ != 0)
            --size_;
    }
    uint8_t LastColour() const {
        return ((size_ - 1) & 1u) != 0 ? kBlack : 0;
    }
    uint16_t Last() const { return base_[size_ - 1]; }
    uint32_t size() const { return size_; }
    bool overflow() const { return overflow_; }
    const uint16_t *data() const { return base_; }

  private:
    uint16_t *base_;
    uint32_t capacity_;
    uint32_t size_ = 0;
    bool overflow_ = false;
};

} // namespace ztk

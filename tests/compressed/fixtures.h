// Shared fixtures of the compressed tests: a heap checker that walks the
// physical chain and the free list, reference rows of one bool a pixel,
// records of coded buffers, and a compressed page.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "compressed/heap.h"
#include "tests/support/support.h"
#include "ztkrn.h"

namespace ztk::testing {

using Codes = std::vector<uint16_t>;
using Bits = std::vector<bool>;

// The chain covers the heap from its header to HeapSize (less the spare 24
// bytes that each trim leaves), no two neighbours are free, LastBlock ends
// the chain, and the free list holds exactly the free blocks.
inline ::testing::AssertionResult HeapIsValid(uint8_t *heap) {
    const HeapHeader *h = HeaderOf(heap);
    std::set<uint32_t> free, listed;
    uint32_t at = kHeapHeaderBytes, prev = 0;
    for (uint32_t steps = 0; at != 0; ++steps, prev = at, at = BlockAt(heap, at)->NextBlock) {
        if (steps > h->HeapSize / kBlockHeaderBytes ||
            uint64_t(at) + kBlockHeaderBytes > h->HeapSize)
            return ::testing::AssertionFailure() << "chain runs off at " << at;
        const BlockHeader *b = BlockAt(heap, at);
        const uint64_t end = uint64_t(at) + kBlockHeaderBytes + b->PayloadSize;
        const bool joined = b->NextBlock != 0 ? b->NextBlock == end
                                              : (h->HeapSize - end) % kBlockHeaderBytes == 0;
        if (b->PrevBlock != prev || b->PayloadSize % 4 != 0 || b->Used > 1 ||
            end > h->HeapSize || !joined || (b->Used == 0 && free.count(prev)))
            return ::testing::AssertionFailure() << "block " << at;
        if (b->Used == 0)
            free.insert(at);
    }
    if (h->LastBlock != prev)
        return ::testing::AssertionFailure() << "LastBlock " << h->LastBlock;
    uint32_t back = 0;
    for (uint32_t f = h->FreeHead; f != 0; back = f, f = BlockAt(heap, f)->NextFree)
        if (!free.count(f) || !listed.insert(f).second ||
            BlockAt(heap, f)->PrevFree != back)
            return ::testing::AssertionFailure() << "free list at " << f;
    if (listed != free)
        return ::testing::AssertionFailure() << listed.size() << " of "
                                             << free.size() << " free listed";
    return ::testing::AssertionSuccess();
}

// The heap is valid and every set row owns a distinct used block that
// holds its codes.
inline ::testing::AssertionResult StorageIsValid(const BitmapHandle *bitmap) {
    RowTable *table = TableOf(bitmap);
    auto heap = HeapIsValid(table->RowHeap);
    if (!heap)
        return heap;
    std::set<uint32_t> owned;
    for (int32_t r = 0; r < bitmap->Height; ++r) {
        const RowEntry &e = EntriesOf(table)[r];
        if (e.Offset == 0)
            continue;
        const BlockHeader *b = BlockAt(table->RowHeap, e.Offset);
        if (b->Used != 1 || uint64_t(e.Count) * 2 > b->PayloadSize ||
            !owned.insert(e.Offset).second)
            return ::testing::AssertionFailure() << "row " << r << " block";
    }
    return ::testing::AssertionSuccess();
}

inline Bits BitsOf(const uint8_t *bytes, uint32_t pixels) {
    Bits out(pixels);
    for (uint32_t i = 0; i < pixels; ++i)
        out[i] = (bytes[i >> 3] >> (7 - (i & 7))) & 1;
    return out;
}

inline std::vector<uint8_t> BytesOf(const Bits &bits, uint32_t bytes) {
    std::vector<uint8_t> out(bytes);
    for (size_t i = 0; i < bits.size(); ++i)
        if (bits[i])
            out[i >> 3] |= uint8_t(0x80u >> (i & 7));
    return out;
}

// Pixels a code list stands for, following the alternation.
inline Bits BitsOfCodes(const Codes &codes) {
    Bits out;
    for (size_t i = 0; i < codes.size(); ++i)
        out.insert(out.end(), codes[i], (i & 1) != 0);
    return out;
}

// The shortest code list of a row whose runs all fit in a code.
inline Codes CanonicalCodes(const Bits &bits) {
    Codes out{0};
    for (size_t i = 0; i < bits.size(); ++out.back(), ++i)
        if (bits[i] != (out.size() % 2 == 0)) // not the last code's colour
            out.push_back(0);
    return out;
}

// A row of runs with a given mean length, text-like for long means.
inline Bits RandomRow(uint32_t pixels, uint32_t meanRun, uint32_t seed) {
    Bits out;
    uint32_t state = seed * 747796405u + 2891336453u;
    for (bool colour = (seed & 1) != 0; out.size() < pixels; colour = !colour) {
        state = state * 1664525u + 1013904223u;
        const size_t run = 1 + (state >> 8) % (2 * meanRun);
        out.insert(out.end(), std::min<size_t>(run, pixels - out.size()), colour);
    }
    return out;
}

// A row of a coded buffer: a 32-bit count, then the codes.
inline Codes Record(const Codes &codes) {
    Codes out(2);
    const uint32_t n = uint32_t(codes.size());
    std::memcpy(out.data(), &n, 4);
    out.insert(out.end(), codes.begin(), codes.end());
    return out;
}

// Records laid end to end as a coded buffer.
inline Codes BufferOf(const std::vector<Codes> &rows) {
    Codes out;
    for (const Codes &row : rows) {
        const Codes record = Record(row);
        out.insert(out.end(), record.begin(), record.end());
    }
    return out;
}

// Splits the first `rows` records of a coded buffer into code lists.
inline std::vector<Codes> Records(const Codes &buffer, size_t rows) {
    std::vector<Codes> out;
    for (size_t r = 0, at = 0; r < rows; ++r) {
        uint32_t n;
        std::memcpy(&n, buffer.data() + at, 4);
        out.emplace_back(buffer.begin() + at + 2, buffer.begin() + at + 2 + n);
        at += 2 + n;
    }
    return out;
}

// A stored row's codes; none for an unset row.
inline Codes StoredCodes(const BitmapHandle *bitmap, uint32_t row) {
    const RowEntry &e = EntriesOf(TableOf(bitmap))[row];
    if (e.Offset == 0)
        return {};
    const uint16_t *c = CodesAt(TableOf(bitmap)->RowHeap, e.Offset);
    return Codes(c, c + e.Count);
}

// A compressed 1-bit page.
struct Page : Bitmap {
    Page(int32_t width, int32_t height) : Bitmap(width, height, 1) {
        EXPECT_EQ(Z_OK, Z_AllocateBitmap(&h, MEMORY_COMPRESSED));
    }
    uint32_t stride() const { return h.BytesPerLine; }
};

// Whole rows through the plain row calls.
inline void PutBits(BitmapHandle *page, uint32_t row, const Bits &bits) {
    auto bytes = BytesOf(bits, page->BytesPerLine);
    ASSERT_EQ(int32_t(page->BytesPerLine),
              Z_PutBitmapRow(page, bytes.data(), row, page->BytesPerLine));
}

// A row read back on any tier; everything past Width in the stride must
// read as 0 unless the row was written short of its padding.
inline Bits GetBits(BitmapHandle *page, uint32_t row, bool padded = true) {
    std::vector<uint8_t> bytes(page->BytesPerLine, 0xA5);
    const int32_t lock = Z_LockBitmap(page);
    EXPECT_EQ(int32_t(page->BytesPerLine),
              Z_GetBitmapRow(page, bytes.data(), row, page->BytesPerLine));
    Z_UnlockBitmap(page, lock);
    Bits all = BitsOf(bytes.data(), page->BytesPerLine * 8);
    if (padded) {
        EXPECT_EQ(Bits(all.size() - uint32_t(page->Width), false),
                  Bits(all.begin() + page->Width, all.end()))
            << "padding of row " << row;
    }
    all.resize(uint32_t(page->Width));
    return all;
}

} // namespace ztk::testing

// Test helpers for compressed storage: a heap checker that walks the
// physical chain and the free list, and bit-level reference rows.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

#include "compressed/heap.h"
#include "ztkrn.h"

namespace ztk::testing {

// The chain covers the heap from its header to HeapSize (less the spare 24
// bytes that each trim leaves), no two neighbours are free, and the free
// list holds exactly the free blocks.
inline ::testing::AssertionResult HeapIsValid(uint8_t *heap) {
    const HeapHeader *h = HeaderOf(heap);
    std::set<uint32_t> free;
    uint32_t at = kHeapHeaderBytes, prev = 0, lastSeen = 0;
    bool prevFree = false;
    for (uint32_t steps = 0; at != 0; ++steps) {
        if (steps > h->HeapSize / kBlockHeaderBytes)
            return ::testing::AssertionFailure() << "chain loops";
        const BlockHeader *b = BlockAt(heap, at);
        if (b->PrevBlock != prev)
            return ::testing::AssertionFailure()
                   << "block " << at << " PrevBlock " << b->PrevBlock;
        if (b->PayloadSize % 4 != 0 || b->Used > 1)
            return ::testing::AssertionFailure() << "block " << at << " fields";
        const uint64_t end = uint64_t(at) + kBlockHeaderBytes + b->PayloadSize;
        if (end > h->HeapSize)
            return ::testing::AssertionFailure() << "block " << at << " overruns";
        if (b->Used == 0) {
            if (prevFree)
                return ::testing::AssertionFailure()
                       << "free neighbours at " << prev << " and " << at;
            free.insert(at);
        }
        prevFree = b->Used == 0;
        if (b->NextBlock == 0) {
            // Each trim leaves 24 bytes past the last block, until growth.
            if ((h->HeapSize - end) % kBlockHeaderBytes != 0)
                return ::testing::AssertionFailure()
                       << "chain ends at " << end << " of " << h->HeapSize;
        } else if (b->NextBlock != end) {
            return ::testing::AssertionFailure() << "gap after " << at;
        }
        lastSeen = at;
        prev = at;
        at = b->NextBlock;
    }
    if (h->LastBlock != lastSeen)
        return ::testing::AssertionFailure() << "LastBlock " << h->LastBlock
                                             << " is not " << lastSeen;
    std::set<uint32_t> listed;
    uint32_t back = 0;
    for (uint32_t f = h->FreeHead; f != 0; f = BlockAt(heap, f)->NextFree) {
        if (!free.count(f) || listed.count(f))
            return ::testing::AssertionFailure()
                   << "free list holds " << f << " wrongly";
        if (BlockAt(heap, f)->PrevFree != back)
            return ::testing::AssertionFailure() << "PrevFree of " << f;
        listed.insert(f);
        back = f;
    }
    if (listed != free)
        return ::testing::AssertionFailure()
               << listed.size() << " listed, " << free.size() << " free";
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

// ---- reference rows, one bool a pixel --------------------------------

using Bits = std::vector<bool>;

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
inline Bits BitsOfCodes(const std::vector<uint16_t> &codes) {
    Bits out;
    for (size_t i = 0; i < codes.size(); ++i)
        out.insert(out.end(), codes[i], (i & 1) != 0);
    return out;
}

// The shortest code list of a row whose runs all fit in a code.
inline std::vector<uint16_t> CanonicalCodes(const Bits &bits) {
    std::vector<uint16_t> out{0};
    bool colour = false;
    for (bool b : bits) {
        if (b != colour) {
            out.push_back(0);
            colour = b;
        }
        ++out.back();
    }
    return out;
}

// A row of runs with a given mean length, text-like for long means.
inline Bits RandomRow(uint32_t pixels, uint32_t meanRun, uint32_t seed) {
    Bits out(pixels);
    uint32_t state = seed * 747796405u + 2891336453u;
    bool colour = (seed & 1) != 0;
    for (uint32_t i = 0; i < pixels;) {
        state = state * 1664525u + 1013904223u;
        uint32_t run = 1 + (state >> 8) % (2 * meanRun);
        for (; run != 0 && i < pixels; --run)
            out[i++] = colour;
        colour = !colour;
    }
    return out;
}

// A stored row's codes.
inline std::vector<uint16_t> StoredCodes(const BitmapHandle *bitmap,
                                         uint32_t row) {
    const RowEntry &e = EntriesOf(TableOf(bitmap))[row];
    if (e.Offset == 0)
        return {};
    const uint16_t *c = CodesAt(TableOf(bitmap)->RowHeap, e.Offset);
    return std::vector<uint16_t>(c, c + e.Count);
}

} // namespace ztk::testing

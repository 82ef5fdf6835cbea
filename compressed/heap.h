// The storage of a compressed bitmap: the row table that Data points at,
// and the row heap, one growable block holding every row's codes.
//
// Every link inside the heap is a byte offset from its start, never a
// pointer, so that growth is one reallocation with nothing to fix up.
// Offset 0 is the null link; the heap's own header occupies it.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

struct RowEntry {
    uint32_t Offset; // heap offset of the row's block, 0 while unset
    uint32_t Count;  // codes in the block
};

// Followed in memory by one RowEntry for each row, row 0 first.
struct RowTable {
    uint16_t *Scratch; // codes of one row while it is built
    uint32_t ScratchSize;
    uint8_t *RowHeap;
    uint32_t Reserved;
};

inline RowTable *TableOf(const BitmapHandle *bitmap) {
    return static_cast<RowTable *>(bitmap->Data);
}
inline RowEntry *EntriesOf(RowTable *table) {
    return reinterpret_cast<RowEntry *>(table + 1);
}
inline RowEntry *EntryOf(const BitmapHandle *bitmap, uint32_t row) {
    return EntriesOf(TableOf(bitmap)) + row;
}
// Bytes of a row table for `height` rows; 0 when that can't be held.
uint32_t RowTableBytes(int64_t height);

struct HeapHeader {
    uint32_t HeapSize;
    uint32_t LastBlock;
    uint32_t FreeHead;
};

struct BlockHeader {
    uint32_t PrevBlock;
    uint32_t NextBlock;
    uint32_t Used;
    uint32_t PrevFree;
    uint32_t NextFree;
    uint32_t PayloadSize;
};

constexpr uint32_t kHeapHeaderBytes = 12;
constexpr uint32_t kBlockHeaderBytes = 24;
constexpr uint32_t kHeapStep = 262144;
constexpr uint32_t kLargeHeapBytes = 4194304;

inline HeapHeader *HeaderOf(uint8_t *heap) {
    return reinterpret_cast<HeapHeader *>(heap);
}
inline BlockHeader *BlockAt(uint8_t *heap, uint32_t offset) {
    return reinterpret_cast<BlockHeader *>(heap + offset);
}
inline uint16_t *CodesAt(uint8_t *heap, uint32_t offset) {
    return reinterpret_cast<uint16_t *>(heap + offset + kBlockHeaderBytes);
}
inline uint32_t HeapSizeOf(const BitmapHandle *bitmap) {
    return HeaderOf(TableOf(bitmap)->RowHeap)->HeapSize;
}

// A new heap sized from the bitmap's plain size, one free block filling it.
uint8_t *RowHeapCreate(uint32_t bytesPerLine, uint32_t height);

// The operations below take the address of the table's RowHeap field
// wherever they can move the heap; raw pointers into it must be taken
// afresh afterwards. Sizes are in bytes and rounded up to 4.
uint32_t RowHeapAlloc(uint8_t **heap, uint32_t size);
uint32_t RowHeapResize(uint8_t **heap, uint32_t offset, uint32_t size);
void RowHeapFree(uint8_t *heap, uint32_t offset);
uint32_t RowHeapSplit(uint8_t *heap, uint32_t offset, uint32_t size);
int32_t RowHeapGrow(uint8_t **heap, uint32_t bytes);

} // namespace ztk

// The row heap of a compressed bitmap: first-fit allocation from the most
// recently freed block, splitting, merging both ways, growth in 256 KiB
// steps; and the exported Z_TrimBitmapHeap and Z_GrowBitmapHeap.
//
// Free and link fields are trusted as they stand; only sizes that come
// from outside (rows, growth requests) are checked against 32 bits.
#include "compressed/heap.h"

#include <cstring>

#include "core/guards.h"

namespace ztk {

uint32_t RowTableBytes(int64_t height) {
    if (height < 0)
        return 0;
    const uint64_t bytes = uint64_t(height) * sizeof(RowEntry) + sizeof(RowTable);
    return bytes > 0xFFFFFFFFu ? 0 : uint32_t(bytes);
}

namespace {

uint32_t RoundTo4(uint32_t size) { return (size + 3u) & ~3u; }

void LayOut(uint8_t *heap, uint32_t size) {
    HeapHeader *h = HeaderOf(heap);
    h->HeapSize = size;
    h->LastBlock = kHeapHeaderBytes;
    h->FreeHead = kHeapHeaderBytes;
    BlockHeader *b = BlockAt(heap, kHeapHeaderBytes);
    *b = BlockHeader{};
    b->PayloadSize = size - kHeapHeaderBytes - kBlockHeaderBytes;
}

void PushFree(uint8_t *heap, uint32_t offset) {
    HeapHeader *h = HeaderOf(heap);
    BlockHeader *b = BlockAt(heap, offset);
    b->Used = 0;
    b->PrevFree = 0;
    b->NextFree = h->FreeHead;
    if (h->FreeHead != 0)
        BlockAt(heap, h->FreeHead)->PrevFree = offset;
    h->FreeHead = offset;
}

void UnlinkFree(uint8_t *heap, uint32_t offset) {
    BlockHeader *b = BlockAt(heap, offset);
    if (b->PrevFree != 0)
        BlockAt(heap, b->PrevFree)->NextFree = b->NextFree;
    else
        HeaderOf(heap)->FreeHead = b->NextFree;
    if (b->NextFree != 0)
        BlockAt(heap, b->NextFree)->PrevFree = b->PrevFree;
    b->PrevFree = 0;
    b->NextFree = 0;
}

// Joins the free block `second` to the block physically before it.
void Merge(uint8_t *heap, uint32_t first, uint32_t second) {
    BlockHeader *a = BlockAt(heap, first);
    BlockHeader *b = BlockAt(heap, second);
    a->NextBlock = b->NextBlock;
    if (b->NextBlock != 0)
        BlockAt(heap, b->NextBlock)->PrevBlock = first;
    HeapHeader *h = HeaderOf(heap);
    if (h->LastBlock == second)
        h->LastBlock = first;
    a->PayloadSize += b->PayloadSize + kBlockHeaderBytes;
    UnlinkFree(heap, second);
}

bool IsFree(uint8_t *heap, uint32_t offset) {
    return offset != 0 && BlockAt(heap, offset)->Used == 0;
}

uint32_t FindFree(uint8_t *heap, uint32_t size) {
    for (uint32_t at = HeaderOf(heap)->FreeHead; at != 0;
         at = BlockAt(heap, at)->NextFree)
        if (BlockAt(heap, at)->PayloadSize >= size)
            return at;
    return 0;
}

} // namespace

// The estimate supposes that run coding shrinks a page to an eighth; a
// large page starts at a flat 4 MiB however large it is, and grows.
uint8_t *RowHeapCreate(uint32_t bytesPerLine, uint32_t height) {
    const uint32_t estimate = bytesPerLine * height / 8 + kHeapHeaderBytes;
    const uint32_t size = estimate <= kHeapStep ? kHeapStep : kLargeHeapBytes;
    auto *heap = static_cast<uint8_t *>(Z_OsAllocInit(size, 1));
    if (heap != nullptr)
        LayOut(heap, size);
    return heap;
}

uint32_t RowHeapAlloc(uint8_t **heap, uint32_t size) {
    if (size > 0xFFFFFFFFu - 3u)
        return 0;
    size = RoundTo4(size);
    uint32_t at = FindFree(*heap, size);
    if (at == 0) {
        if (!RowHeapGrow(heap, size))
            return 0;
        at = FindFree(*heap, size);
        if (at == 0)
            return 0;
    }
    BlockAt(*heap, at)->Used = 1;
    RowHeapSplit(*heap, at, size);
    UnlinkFree(*heap, at);
    return at;
}

// A split leaves the block larger than asked when the rest could hold no
// payload beyond its own header.
uint32_t RowHeapSplit(uint8_t *heap, uint32_t offset, uint32_t size) {
    BlockHeader *b = BlockAt(heap, offset);
    if (size + kBlockHeaderBytes >= b->PayloadSize)
        return 0;
    const uint32_t split = offset + kBlockHeaderBytes + size;
    BlockHeader *n = BlockAt(heap, split);
    *n = BlockHeader{};
    n->PayloadSize = b->PayloadSize - size - kBlockHeaderBytes;
    b->PayloadSize = size;
    n->PrevBlock = offset;
    n->NextBlock = b->NextBlock;
    if (b->NextBlock != 0)
        BlockAt(heap, b->NextBlock)->PrevBlock = split;
    b->NextBlock = split;
    HeapHeader *h = HeaderOf(heap);
    if (h->LastBlock == offset)
        h->LastBlock = split;
    PushFree(heap, split);
    if (IsFree(heap, n->NextBlock))
        Merge(heap, split, n->NextBlock);
    return split;
}

void RowHeapFree(uint8_t *heap, uint32_t offset) {
    PushFree(heap, offset);
    BlockHeader *b = BlockAt(heap, offset);
    if (IsFree(heap, b->NextBlock))
        Merge(heap, offset, b->NextBlock);
    if (IsFree(heap, b->PrevBlock))
        Merge(heap, b->PrevBlock, offset);
}

// Grows (or, with a large free last block, shrinks) the heap so that its
// last block can hold `bytes`: a statement of need, not an increment.
int32_t RowHeapGrow(uint8_t **heap, uint32_t bytes) {
    HeapHeader *h = HeaderOf(*heap);
    const uint32_t last = h->LastBlock;
    const bool lastFree = IsFree(*heap, last);
    uint64_t total = lastFree ? uint64_t(h->HeapSize) + bytes -
                                    BlockAt(*heap, last)->PayloadSize
                              : uint64_t(h->HeapSize) + bytes + kBlockHeaderBytes;
    total = (total + kHeapStep - 1) & ~uint64_t(kHeapStep - 1);
    if (total > 0xFFFFFFFFu)
        return 0;
    const uint32_t oldSize = h->HeapSize;
    auto *moved = static_cast<uint8_t *>(Z_OsReAlloc(*heap, uint32_t(total)));
    if (moved == nullptr)
        return 0;
    // New room is cleared so that nothing ever reads what the system left.
    if (total > oldSize)
        std::memset(moved + oldSize, 0, size_t(total - oldSize));
    *heap = moved;
    h = HeaderOf(moved);
    h->HeapSize = uint32_t(total);
    if (last == 0) {
        LayOut(moved, uint32_t(total));
    } else if (lastFree) {
        BlockAt(moved, last)->PayloadSize =
            uint32_t(total) - last - kBlockHeaderBytes;
    } else {
        BlockHeader *l = BlockAt(moved, last);
        const uint32_t at = last + kBlockHeaderBytes + l->PayloadSize;
        BlockHeader *n = BlockAt(moved, at);
        *n = BlockHeader{};
        n->PrevBlock = last;
        n->PayloadSize = uint32_t(total) - at - kBlockHeaderBytes;
        l->NextBlock = at;
        h->LastBlock = at;
        PushFree(moved, at);
    }
    return 1;
}

// Grows in place into a free neighbour when it can, so that the row stays
// where it is; only otherwise is the row copied to a new block.
uint32_t RowHeapResize(uint8_t **heap, uint32_t offset, uint32_t size) {
    if (size > 0xFFFFFFFFu - 3u)
        return 0;
    size = RoundTo4(size);
    BlockHeader *b = BlockAt(*heap, offset);
    if (size <= b->PayloadSize) {
        RowHeapSplit(*heap, offset, size);
        return offset;
    }
    const uint32_t next = b->NextBlock;
    if (IsFree(*heap, next) &&
        uint64_t(b->PayloadSize) + BlockAt(*heap, next)->PayloadSize +
                kBlockHeaderBytes >= size) {
        Merge(*heap, offset, next);
        RowHeapSplit(*heap, offset, size);
        return offset;
    }
    const uint32_t moved = RowHeapAlloc(heap, size);
    if (moved == 0)
        return 0;
    std::memcpy(*heap + moved + kBlockHeaderBytes,
                *heap + offset + kBlockHeaderBytes,
                BlockAt(*heap, offset)->PayloadSize);
    RowHeapFree(*heap, offset);
    return moved;
}

} // namespace ztk

using namespace ztk;

namespace {

bool IsCompressedBitmap(const BitmapHandle *bitmap) {
    return IsAllocated(bitmap) && (bitmap->Flags & BITMAP_COMPRESSED) != 0;
}

} // namespace

extern "C" {

// Cuts the free end of the heap down to 128 bytes of payload. The 24
// bytes left past that block belong to no block until the next growth.
int32_t ZAPI Z_TrimBitmapHeap(BitmapHandle *bitmap) {
    if (!IsCompressedBitmap(bitmap))
        return Z_ERR_PARAM;
    RowTable *table = TableOf(bitmap);
    HeapHeader *h = HeaderOf(table->RowHeap);
    const uint32_t last = h->LastBlock;
    if (!IsFree(table->RowHeap, last) ||
        BlockAt(table->RowHeap, last)->PayloadSize < 129)
        return 0;
    const uint32_t size =
        h->HeapSize - BlockAt(table->RowHeap, last)->PayloadSize + 152;
    auto *moved = static_cast<uint8_t *>(Z_OsReAlloc(table->RowHeap, size));
    if (moved == nullptr)
        return 0;
    table->RowHeap = moved;
    HeaderOf(moved)->HeapSize = size;
    BlockAt(moved, last)->PayloadSize = 128;
    bitmap->Size = size;
    return 1;
}

int32_t ZAPI Z_GrowBitmapHeap(BitmapHandle *bitmap, uint32_t bytes) {
    if (!IsCompressedBitmap(bitmap))
        return Z_ERR_PARAM;
    RowTable *table = TableOf(bitmap);
    const int32_t grown = RowHeapGrow(&table->RowHeap, bytes);
    bitmap->Size = HeaderOf(table->RowHeap)->HeapSize;
    return grown;
}

} // extern "C"

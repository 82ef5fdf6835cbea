// The bitmap record and its storage tiers: initialise, allocate, free,
// lock, change height, copy the record.
//
// Ordinary platforms keep plain pixels in committed memory that never moves
// (the mapping tier), so rows are plain copies with no lock traffic. The
// 16-bit host keeps them in movable global blocks, or in a temporary file
// when memory runs out. 1-bit bitmaps may instead hold run-coded rows.
#include <cstring>

#include "compositing/region.h"
#include "compressed/storage.h"
#include "core/bitmap.h"
#include "core/context.h"
#include "core/guards.h"
#include "core/os/os.h"
#include "core/packed.h"
#include "gate/gate.h"

namespace ztk {

bool IsAllowedDepth(int32_t bitsPerPixel) {
    return IsStoredDepth(bitsPerPixel);
}

uint32_t StrideOf(int32_t width, int32_t bitsPerPixel) {
    return ((uint32_t(width) * uint32_t(bitsPerPixel) + 31u) >> 3) & ~3u;
}

// The record keeps 32-bit arithmetic, which wraps for absurd dimensions.
// Storage is only ever made for a size that the same dimensions give in
// full precision, so a wrapped Size can never under-allocate.
bool StorageSizeIsExact(const BitmapHandle *bitmap, uint32_t height,
                        uint32_t size) {
    if (bitmap->Width < 0)
        return false;
    const uint64_t stride =
        StrideOf64(uint32_t(bitmap->Width), uint32_t(bitmap->BitsPerPixel));
    uint32_t exact = 0;
    return stride == bitmap->BytesPerLine &&
           PixelMemoryBytes(stride, height, bitmap->DataOffset, exact) &&
           exact == size;
}

namespace {

constexpr uint32_t kBlockBits = BITMAP_MIRROR | BITMAP_GLOBALBLOCK;

bool HasBlockBit(const BitmapHandle *bitmap) {
    return (bitmap->Flags & kBlockBits) != 0;
}

// Whether the bitmap's pixels sit in a global block that must be locked
// before Data can be used.
bool NeedsLock(const BitmapHandle *bitmap) {
    return (bitmap->Flags & BITMAP_COMPRESSED) == 0 &&
           (bitmap->Flags & BITMAP_INMEMORY) != 0 &&
           (SixteenBitHost() || HasBlockBit(bitmap));
}

void LockStorage(BitmapHandle *bitmap) {
    auto *pixels = static_cast<uint8_t *>(os::BlockLock(bitmap->Storage));
    if (pixels != nullptr && HasBlockBit(bitmap))
        pixels += bitmap->DataOffset;
    bitmap->Data = pixels;
    bitmap->Flags |= BITMAP_LOCKED;
}

void UnlockStorage(BitmapHandle *bitmap) {
    os::BlockUnlock(bitmap->Storage);
    bitmap->Data = nullptr;
    bitmap->Flags &= ~BITMAP_LOCKED;
}

void MarkInMemory(BitmapHandle *bitmap) {
    bitmap->Flags &= ~(BITMAP_LOCKED | kBlockBits);
    bitmap->Flags |= BITMAP_ALLOCATED | BITMAP_INMEMORY;
}

int32_t AllocateMapping(BitmapHandle *bitmap) {
    ZHANDLE mapping = nullptr;
    void *view = nullptr;
    if (!os::MappingCreate(bitmap->Size, &mapping, &view))
        return Z_ERR_NOMEM;
    bitmap->Storage = mapping;
    bitmap->Data = view;
    MarkInMemory(bitmap);
    return Z_OK;
}

// The global block is 16 bytes larger than the pixels, as it always was.
bool AllocateGlobalBlock(BitmapHandle *bitmap) {
    uint64_t bytes = uint64_t(bitmap->Size) + 16;
    if (bytes > 0xFFFFFFFFu)
        return false;
    os::Block block = os::BlockAlloc(uint32_t(bytes), false);
    if (block == nullptr)
        return false;
    bitmap->Storage = block;
    MarkInMemory(bitmap);
    return true;
}

void DiscardTemporaryFile(ZHANDLE file, char *name) {
    Z_OsClose(file);
    Z_OsDelete(name);
    Z_OsFree(name);
}

// A temporary file of Size + 1 bytes: the zero byte written at Size gives
// the file its length.
int32_t AllocateTemporaryFile(BitmapHandle *bitmap) {
    char path[os::kMaxPath] = {};
    Z_OsGetTempName(path);
    size_t length = std::strlen(path);
    auto *name = static_cast<char *>(Z_OsAlloc(uint32_t(length + 1)));
    ZHANDLE file = Z_INVALID_HANDLE;
    if (name != nullptr) {
        std::memcpy(name, path, length + 1);
        file = Z_OsCreat(name, 0);
    }
    if (file == Z_INVALID_HANDLE) {
        // The name was reserved by creating the file; take it away again.
        if (length != 0)
            Z_OsDelete(path);
        if (name != nullptr)
            Z_OsFree(name);
        bitmap->Storage = Z_INVALID_HANDLE;
        return Z_ERR_NOMEM;
    }
    const uint32_t size = bitmap->Size;
    if (Z_OsSeek(file, int32_t(size), 0) != size) {
        DiscardTemporaryFile(file, name);
        return Z_ERR_NOMEM;
    }
    const uint8_t zero = 0;
    if (Z_OsWrite(file, &zero, 1) != 1) {
        DiscardTemporaryFile(file, name);
        return Z_ERR_WRITE;
    }
    Z_OsSeek(file, 0, 0);
    bitmap->Storage = file;
    bitmap->Data = name;
    bitmap->Flags &= ~kBlockBits;
    bitmap->Flags |= BITMAP_ALLOCATED | BITMAP_ONDISK;
    return Z_OK;
}

// A new mapping of the new size with the old pixels copied in; the rows
// added are zero because the memory is new.
int32_t RemapHeight(BitmapHandle *bitmap, uint32_t newSize) {
    ZHANDLE mapping = nullptr;
    void *view = nullptr;
    if (!os::MappingCreate(newSize, &mapping, &view))
        return Z_ERR_NOMEM;
    std::memcpy(view, bitmap->Data,
                bitmap->Size < newSize ? bitmap->Size : newSize);
    os::MappingDestroy(bitmap->Storage, bitmap->Data);
    bitmap->Storage = mapping;
    bitmap->Data = view;
    return Z_OK;
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_InitBitmap(BitmapHandle *bitmap, int32_t width, int32_t height,
                          int32_t bitsPerPixel) {
    ThreadContext &context = Context();
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    // Cleared before the depth is judged, so a refused depth leaves an
    // empty record rather than a stale one.
    std::memset(bitmap, 0, sizeof *bitmap);
    if (!IsAllowedDepth(bitsPerPixel))
        return Z_ERR_BITSPERPIXEL;
    bitmap->Width = width;
    bitmap->Height = height;
    bitmap->BitsPerPixel = bitsPerPixel;
    bitmap->BytesPerLine = StrideOf(width, bitsPerPixel);
    bitmap->Size = uint32_t(height) * bitmap->BytesPerLine;
    bitmap->DitheringMethod = context.DefaultDithering;
    bitmap->ViewPerspective = 2;
    if (bitsPerPixel <= 8) {
        bitmap->Order = 0;
        bitmap->ColorCount = int32_t(1u << bitsPerPixel);
    } else {
        bitmap->Order = bitsPerPixel == 12 ? 2 : 1;
    }
    bitmap->XResolution =
        context.DefaultXResolution > 0 ? context.DefaultXResolution : 150;
    bitmap->YResolution =
        context.DefaultYResolution > 0 ? context.DefaultYResolution : 150;
    bitmap->HighBit = bitsPerPixel - 1;
    bitmap->BaseHighBit = bitsPerPixel - 1;
    return Z_OK;
}

int32_t ZAPI Z_AllocateBitmap(BitmapHandle *bitmap, int32_t memory) {
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    if (bitmap->Size == 0)
        return Z_ERR_EMPTY;
    if (bitmap->Order == 2 && !gate::Allows(SUPPORT_GRAY_ORDER))
        return Z_ERR_LOCKED;
    if ((memory & MEMORY_COMPRESSED) == 0) {
        bitmap->Flags &= ~BITMAP_COMPRESSED;
    } else if (bitmap->BitsPerPixel == 1 && gate::Allows(SUPPORT_COMPRESSED) &&
               compressed::Available()) {
        memory = MEMORY_COMPRESSED | MEMORY_NODISK;
        bitmap->Flags |= BITMAP_COMPRESSED;
    } else {
        // A BITMAP_COMPRESSED already in Flags is left alone: duplicates
        // pass their source's bit through this path.
        memory &= ~MEMORY_COMPRESSED;
    }
    if (memory != MEMORY_ANY && memory != MEMORY_DISK &&
        memory != MEMORY_NODISK && memory != (MEMORY_COMPRESSED | MEMORY_NODISK))
        return Z_ERR_PARAM;
    if (memory == (MEMORY_COMPRESSED | MEMORY_NODISK))
        return compressed::Allocate(bitmap);
    if (!StorageSizeIsExact(bitmap, uint32_t(bitmap->Height), bitmap->Size))
        return Z_ERR_NOMEM;
    if (!SixteenBitHost())
        return AllocateMapping(bitmap);
    if (memory != MEMORY_DISK) {
        if (AllocateGlobalBlock(bitmap))
            return Z_OK;
        if (memory == MEMORY_NODISK)
            return Z_ERR_NOMEM;
    }
    return AllocateTemporaryFile(bitmap);
}

void ZAPI Z_FreeBitmap(BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return;
    if (bitmap->Region != nullptr) {
        Z_DeleteZarnRgn(bitmap->Region);
        bitmap->Region = nullptr;
    }
    if (bitmap->Palette != nullptr) {
        os::ObjectDelete(bitmap->Palette);
        bitmap->Palette = nullptr;
    }
    uint32_t &flags = bitmap->Flags;
    if ((flags & BITMAP_ALLOCATED) == 0)
        return;
    if (flags & BITMAP_MIRROR) {
        // The block belongs to whoever mirrored it in.
        flags &= ~(BITMAP_COMPRESSED | BITMAP_INMEMORY | BITMAP_ONDISK |
                   BITMAP_MIRROR);
    } else if (flags & BITMAP_COMPRESSED) {
        compressed::Release(bitmap);
        flags &= ~BITMAP_COMPRESSED;
    } else if (flags & BITMAP_INMEMORY) {
        const bool block = SixteenBitHost() || (flags & BITMAP_GLOBALBLOCK);
        if ((flags & BITMAP_LOCKED) && block)
            UnlockStorage(bitmap);
        if (block)
            os::BlockFree(bitmap->Storage);
        else
            os::MappingDestroy(bitmap->Storage, bitmap->Data);
        flags &= ~BITMAP_INMEMORY;
    } else if (flags & BITMAP_ONDISK) {
        Z_OsClose(bitmap->Storage);
        Z_OsDelete(static_cast<const char *>(bitmap->Data));
        Z_OsFree(bitmap->Data);
        flags &= ~BITMAP_ONDISK;
    }
    flags &= ~BITMAP_ALLOCATED;
    if (bitmap->GrayLUT != nullptr) {
        Z_OsFree(bitmap->GrayLUT);
        bitmap->GrayLUT = nullptr;
    }
}

int32_t ZAPI Z_FreeImage(BitmapHandle *bitmap, int32_t alsoOwned) {
    if (!IsAllocated(bitmap))
        return Z_OK;
    if (alsoOwned == 0) {
        bitmap->Palette = nullptr;
        bitmap->Region = nullptr;
    }
    Z_FreeBitmap(bitmap);
    return Z_OK;
}

void ZAPI Z_AccessBitmap(BitmapHandle *bitmap) {
    if (bitmap == nullptr || !NeedsLock(bitmap) ||
        (bitmap->Flags & BITMAP_LOCKED))
        return;
    LockStorage(bitmap);
}

void ZAPI Z_ReleaseBitmap(BitmapHandle *bitmap) {
    if (bitmap == nullptr || !NeedsLock(bitmap) ||
        !(bitmap->Flags & BITMAP_LOCKED))
        return;
    UnlockStorage(bitmap);
}

int32_t ZAPI Z_LockBitmap(BitmapHandle *bitmap) {
    if (bitmap == nullptr)
        return 0;
    const int32_t previous = (bitmap->Flags & BITMAP_LOCKED) ? 1 : 0;
    if (!NeedsLock(bitmap) || previous != 0)
        return previous;
    LockStorage(bitmap);
    return 0;
}

void ZAPI Z_UnlockBitmap(BitmapHandle *bitmap, int32_t previousState) {
    if (previousState != 0)
        return;
    Z_ReleaseBitmap(bitmap);
}

int32_t ZAPI Z_ChangeBitmapHeight(BitmapHandle *bitmap, int32_t height) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    if (bitmap->Flags & (BITMAP_LOCKED | BITMAP_MIRROR))
        return Z_ERR_PARAM;
    if (height == bitmap->Height)
        return Z_OK;
    if (height < 0)
        return Z_ERR_PARAM;
    if (bitmap->Flags & BITMAP_COMPRESSED)
        return compressed::ChangeHeight(bitmap, height);
    const uint32_t newSize =
        bitmap->BytesPerLine * uint32_t(height) + bitmap->DataOffset;
    if (!StorageSizeIsExact(bitmap, uint32_t(height), newSize))
        return Z_ERR_NOMEM;
    if (!SixteenBitHost() && !(bitmap->Flags & BITMAP_GLOBALBLOCK)) {
        int32_t result = RemapHeight(bitmap, newSize);
        if (result != Z_OK)
            return result;
    } else if (bitmap->Flags & BITMAP_INMEMORY) {
        // Without the 16 spare bytes of the allocation; that has always been
        // so and does no harm.
        os::Block block = os::BlockReAlloc(bitmap->Storage, newSize);
        if (block == nullptr)
            return Z_ERR_NOMEM;
        bitmap->Storage = block;
    } else if (!os::RuntimeChangeSize(bitmap->Storage, newSize)) {
        // A temporary file is held by OS handle, which the runtime's
        // descriptor-based resize doesn't know; such bitmaps keep their
        // height, and callers have always had to allow for that.
        return Z_ERR_NOMEM;
    }
    bitmap->Size = newSize;
    bitmap->Height = height;
    bitmap->CurrentRow = 0;
    bitmap->CurrentRowOffset = 0;
    return Z_OK;
}

void ZAPI Z_CopyBitmapHandle(BitmapHandle *destination,
                             const BitmapHandle *source) {
    if (destination != nullptr && source != nullptr)
        std::memcpy(destination, source, sizeof(BitmapHandle));
}

} // extern "C"

// The POSIX backend of the OS layer.
//
// It emulates what Win32 gives the library: movable global blocks whose data
// pointer leads back to the handle, committed zero-filled memory that never
// moves (anonymous mappings), files and temporary names, a thread-local slot
// with a hook at thread end, and logical palettes as plain objects. There is
// no palette device and no 16-bit host here.
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/os/os.h"

namespace ztk::os {
namespace {

// ---- global blocks -----------------------------------------------------------

constexpr uint64_t kBlockMagic = 0x5A4B424C4F434B31ull;   // "ZKBLOCK1"
constexpr uint64_t kMappingMagic = 0x5A4B4D4150504E47ull; // "ZKMAPPNG"
constexpr uint32_t kPaletteMagic = 0x5A4B504Cu;           // "ZKPL"

struct BlockRecord;

// Sits just before the data so that a data pointer finds its handle. Two
// words keep the data aligned for any pixel type.
struct alignas(16) BlockHeader {
    BlockRecord *owner;
    uint64_t magic;
};

struct BlockRecord {
    uint64_t magic;
    BlockHeader *memory;
    uint32_t size;
    uint32_t locks;
};

BlockRecord *RecordOf(Block block) {
    auto *record = static_cast<BlockRecord *>(block);
    return (record != nullptr && record->magic == kBlockMagic) ? record
                                                                : nullptr;
}

} // namespace

Block BlockAlloc(uint32_t size, bool zeroFill) {
    if (InjectedFailure())
        return nullptr;
    auto *record = static_cast<BlockRecord *>(std::malloc(sizeof(BlockRecord)));
    if (record == nullptr)
        return nullptr;
    size_t bytes = sizeof(BlockHeader) + size;
    void *memory = zeroFill ? std::calloc(1, bytes) : std::malloc(bytes);
    if (memory == nullptr) {
        std::free(record);
        return nullptr;
    }
    record->magic = kBlockMagic;
    record->memory = static_cast<BlockHeader *>(memory);
    record->memory->owner = record;
    record->memory->magic = kBlockMagic;
    record->size = size;
    record->locks = 0;
    CountBlock(+1, size);
    return record;
}

void *BlockLock(Block block) {
    BlockRecord *record = RecordOf(block);
    if (record == nullptr)
        return nullptr;
    ++record->locks;
    return record->memory + 1;
}

bool BlockUnlock(Block block) {
    BlockRecord *record = RecordOf(block);
    if (record == nullptr || record->locks == 0)
        return false;
    return --record->locks != 0;
}

Block BlockReAlloc(Block block, uint32_t size) {
    BlockRecord *record = RecordOf(block);
    if (record == nullptr || InjectedFailure())
        return nullptr;
    void *moved = std::realloc(record->memory, sizeof(BlockHeader) + size);
    if (moved == nullptr)
        return nullptr;
    CountBlock(0, int64_t(size) - int64_t(record->size));
    record->memory = static_cast<BlockHeader *>(moved);
    record->size = size;
    return record;
}

bool BlockFree(Block block) {
    BlockRecord *record = RecordOf(block);
    if (record == nullptr)
        return false;
    CountBlock(-1, -int64_t(record->size));
    record->memory->magic = 0;
    record->magic = 0;
    std::free(record->memory);
    std::free(record);
    return true;
}

Block BlockOfPointer(const void *data) {
    if (data == nullptr)
        return nullptr;
    const auto *header = static_cast<const BlockHeader *>(data) - 1;
    if (header->magic != kBlockMagic)
        return nullptr;
    return header->owner;
}

// ---- mappings ----------------------------------------------------------------

namespace {
struct MappingRecord {
    uint64_t magic;
    void *base;
    size_t length;
};
} // namespace

bool MappingCreate(uint32_t size, ZHANDLE *mapping, void **view) {
    if (size == 0 || InjectedFailure())
        return false;
    auto *record =
        static_cast<MappingRecord *>(std::malloc(sizeof(MappingRecord)));
    if (record == nullptr)
        return false;
    void *base = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) {
        std::free(record);
        return false;
    }
    *record = MappingRecord{kMappingMagic, base, size};
    CountObject(+1);
    *mapping = record;
    *view = base;
    return true;
}

void MappingDestroy(ZHANDLE mapping, void *view) {
    auto *record = static_cast<MappingRecord *>(mapping);
    if (record == nullptr || record->magic != kMappingMagic ||
        record->base != view)
        return;
    munmap(record->base, record->length);
    record->magic = 0;
    std::free(record);
    CountObject(-1);
}

// ---- files -------------------------------------------------------------------

namespace {
int Descriptor(ZHANDLE file) {
    return static_cast<int>(reinterpret_cast<intptr_t>(file));
}
ZHANDLE HandleOf(int fd) {
    return reinterpret_cast<ZHANDLE>(static_cast<intptr_t>(fd));
}
} // namespace

// Share modes have no POSIX counterpart; the request carries them for the
// Win32 backend and they are not enforced here.
ZHANDLE FileOpen(const char *name, const FileRequest &request) {
    if (name == nullptr || InjectedFailure())
        return Z_INVALID_HANDLE;
    int flags = O_CLOEXEC;
    bool reads = (request.access & kAccessRead) != 0;
    bool writes = (request.access & kAccessWrite) != 0;
    flags |= reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    if (request.creation == kCreateAlways)
        flags |= O_CREAT | O_TRUNC;
    else if (request.creation == kTruncateExisting)
        flags |= O_TRUNC;
    mode_t mode = (request.attributes & kAttributeReadOnly) ? 0444 : 0666;
    int fd = open(name, flags, mode);
    if (fd < 0)
        return Z_INVALID_HANDLE;
    CountObject(+1);
    return HandleOf(fd);
}

int32_t FileRead(ZHANDLE file, void *buffer, uint32_t count) {
    auto *bytes = static_cast<uint8_t *>(buffer);
    uint32_t done = 0;
    while (done < count) {
        ssize_t got = read(Descriptor(file), bytes + done, count - done);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (got == 0)
            break;
        done += static_cast<uint32_t>(got);
    }
    return static_cast<int32_t>(done);
}

int32_t FileWrite(ZHANDLE file, const void *buffer, uint32_t count) {
    const auto *bytes = static_cast<const uint8_t *>(buffer);
    uint32_t done = 0;
    while (done < count) {
        ssize_t put = write(Descriptor(file), bytes + done, count - done);
        if (put < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        done += static_cast<uint32_t>(put);
    }
    return static_cast<int32_t>(done);
}

uint32_t FileSeek(ZHANDLE file, int32_t offset, int32_t origin) {
    int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : SEEK_END;
    off_t at = lseek(Descriptor(file), static_cast<off_t>(offset), whence);
    if (at < 0)
        return 0xFFFFFFFFu;
    return static_cast<uint32_t>(at);
}

int32_t FileClose(ZHANDLE file) {
    if (close(Descriptor(file)) != 0)
        return -1;
    CountObject(-1);
    return 0;
}

int32_t FileDelete(const char *name) {
    return (name != nullptr && unlink(name) == 0) ? 0 : -1;
}

uint32_t TempPath(char *buffer, uint32_t size) {
    const char *folder = std::getenv("TMPDIR");
    if (folder == nullptr || folder[0] == '\0')
        folder = "/tmp";
    size_t length = std::strlen(folder);
    bool slash = folder[length - 1] == '/';
    size_t needed = length + (slash ? 0 : 1);
    if (needed + 1 > size)
        return static_cast<uint32_t>(needed + 1);
    std::memcpy(buffer, folder, length);
    if (!slash)
        buffer[length] = '/';
    buffer[needed] = '\0';
    return static_cast<uint32_t>(needed);
}

// As the platform does it: prefix, four hex digits, ".TMP", trying numbers
// until an unused one is found.
bool TempFileName(const char *folder, const char *prefix, char *name) {
    static std::atomic<uint32_t> counter{0};
    if (InjectedFailure())
        return false;
    uint32_t seed = static_cast<uint32_t>(getpid()) * 2654435761u +
                    counter.fetch_add(1) * 40503u;
    for (uint32_t attempt = 0; attempt < 0x10000; ++attempt) {
        uint32_t unique = (seed + attempt) & 0xFFFFu;
        if (unique == 0)
            continue;
        char candidate[kMaxPath];
        int length = std::snprintf(candidate, sizeof candidate, "%s%.3s%04X.TMP",
                                   folder, prefix, unique);
        if (length < 0 || length >= static_cast<int>(sizeof candidate))
            return false;
        int fd = open(candidate, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        if (fd >= 0) {
            close(fd);
            std::memcpy(name, candidate, static_cast<size_t>(length) + 1);
            return true;
        }
        if (errno != EEXIST)
            return false;
    }
    return false;
}

// Bitmap files are held by handle and opened by FileOpen, never through the
// C runtime, so the runtime has no descriptor to change.
bool RuntimeChangeSize(ZHANDLE, uint32_t) { return false; }

// ---- thread-local slot ---------------------------------------------------------

namespace {
pthread_key_t gSlot;
bool gSlotLive = false;
} // namespace

bool SlotCreate(ThreadExitHook onExit) {
    if (pthread_key_create(&gSlot, onExit) != 0)
        return false;
    gSlotLive = true;
    return true;
}

void SlotDestroy() {
    if (gSlotLive) {
        gSlotLive = false;
        pthread_key_delete(gSlot);
    }
}

void *SlotGet() { return gSlotLive ? pthread_getspecific(gSlot) : nullptr; }

bool SlotSet(void *value) {
    return gSlotLive && pthread_setspecific(gSlot, value) == 0;
}

// A 32-bit platform of major version 10: the top bit clear, so never the
// 16-bit host.
uint32_t PlatformVersion() { return 0x0000000Au; }

// ---- palettes ------------------------------------------------------------------

namespace {
// The entries follow the object in the same allocation.
struct PaletteObject {
    uint32_t magic;
    uint32_t count;
    PaletteEntry *entries() { return reinterpret_cast<PaletteEntry *>(this + 1); }
};

PaletteObject *PaletteOf(ZHPALETTE palette) {
    auto *object = static_cast<PaletteObject *>(palette);
    return (object != nullptr && object->magic == kPaletteMagic) ? object
                                                                  : nullptr;
}

uint32_t Span(const PaletteObject *object, uint32_t first, uint32_t count) {
    if (first >= object->count)
        return 0;
    uint32_t room = object->count - first;
    return count < room ? count : room;
}
} // namespace

ZHPALETTE PaletteCreate(const PaletteEntry *entries, uint32_t count) {
    if (InjectedFailure())
        return nullptr;
    size_t bytes = sizeof(PaletteObject) + sizeof(PaletteEntry) * count;
    auto *object = static_cast<PaletteObject *>(std::calloc(1, bytes));
    if (object == nullptr)
        return nullptr;
    object->magic = kPaletteMagic;
    object->count = count;
    if (count != 0 && entries != nullptr)
        std::memcpy(object->entries(), entries, sizeof(PaletteEntry) * count);
    CountObject(+1);
    return object;
}

uint32_t PaletteGetEntries(ZHPALETTE palette, uint32_t first, uint32_t count,
                           PaletteEntry *out) {
    PaletteObject *object = PaletteOf(palette);
    if (object == nullptr)
        return 0;
    uint32_t n = Span(object, first, count);
    if (n != 0)
        std::memcpy(out, object->entries() + first, sizeof(PaletteEntry) * n);
    return n;
}

uint32_t PaletteSetEntries(ZHPALETTE palette, uint32_t first, uint32_t count,
                           const PaletteEntry *in) {
    PaletteObject *object = PaletteOf(palette);
    if (object == nullptr)
        return 0;
    uint32_t n = Span(object, first, count);
    if (n != 0)
        std::memcpy(object->entries() + first, in, sizeof(PaletteEntry) * n);
    return n;
}

uint32_t PaletteEntryCount(ZHPALETTE palette) {
    PaletteObject *object = PaletteOf(palette);
    return object == nullptr ? 0 : object->count;
}

uint32_t PaletteNearest(ZHPALETTE palette, uint8_t red, uint8_t green,
                        uint8_t blue) {
    PaletteObject *object = PaletteOf(palette);
    if (object == nullptr)
        return 0;
    uint32_t best = 0;
    uint32_t bestDistance = 0xFFFFFFFFu;
    for (uint32_t i = 0; i < object->count; ++i) {
        const PaletteEntry &e = object->entries()[i];
        int32_t dr = int32_t(e.red) - red;
        int32_t dg = int32_t(e.green) - green;
        int32_t db = int32_t(e.blue) - blue;
        auto distance = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i;
            if (distance == 0)
                break;
        }
    }
    return best;
}

bool PaletteDelete(ZHPALETTE palette) {
    PaletteObject *object = PaletteOf(palette);
    if (object == nullptr)
        return false;
    object->magic = 0;
    std::free(object);
    CountObject(-1);
    return true;
}

// Palettes are the only drawing objects there are here.
bool ObjectDelete(ZHANDLE object) { return PaletteDelete(object); }

// A true-colour screen at 96 dots per inch, with no palette.
int32_t ScreenCaps(int32_t index) {
    switch (index) {
    case kCapLogPixelsX:
    case kCapLogPixelsY:
        return 96;
    case kCapBitsPixel:
        return 24;
    default:
        return 0;
    }
}

uint32_t SystemPaletteEntries(uint32_t, uint32_t, PaletteEntry *) { return 0; }

} // namespace ztk::os

// The exported Z_Os* family: thin pass-throughs to the OS layer in the
// shape of the platform calls they stand for. No bookkeeping here.
#include <cstring>

#include "core/os/os.h"

namespace ztk::os {

// The runtime-style open flags and permission bits, read into a platform
// request. With neither permission bit set the open flags themselves become
// the share mode; that is how it has always behaved, and a host that opens
// with flags 0 and no permission shares nothing.
FileRequest TranslateOpenFlags(int32_t openFlags, int32_t permission) {
    FileRequest request{};
    switch (openFlags & 3) {
    case 0:
        request.access = kAccessRead;
        request.attributes = kAttributeReadOnly;
        break;
    case 1:
        request.access = kAccessWrite;
        request.attributes = kAttributeNormal;
        break;
    default:
        request.access = kAccessRead | kAccessWrite;
        request.attributes = kAttributeNormal;
        break;
    }
    bool pRead = (permission & 0x100) != 0;
    bool pWrite = (permission & 0x80) != 0;
    if (pRead && pWrite)
        request.share = kShareRead | kShareWrite;
    else if (pWrite)
        request.share = 0;
    else if (pRead)
        request.share = kShareRead;
    else
        request.share = static_cast<uint32_t>(openFlags);
    if (openFlags & 0x100)
        request.creation = kCreateAlways;
    else if (openFlags & 0x200)
        request.creation = kTruncateExisting;
    else
        request.creation = kOpenExisting;
    return request;
}

} // namespace ztk::os

using namespace ztk;

extern "C" {

void *ZAPI Z_OsAlloc(uint32_t size) {
    os::Block block = os::BlockAlloc(size, false);
    return block == nullptr ? nullptr : os::BlockLock(block);
}

void *ZAPI Z_OsAllocInit(uint32_t size, int32_t zeroFill) {
    os::Block block = os::BlockAlloc(size, zeroFill != 0);
    return block == nullptr ? nullptr : os::BlockLock(block);
}

// On failure the block survives with its contents but is no longer locked;
// callers keep the old pointer, which on every backend still addresses it.
void *ZAPI Z_OsReAlloc(void *data, uint32_t size) {
    os::Block block = os::BlockOfPointer(data);
    if (block == nullptr)
        return nullptr;
    os::BlockUnlock(block);
    os::Block moved = os::BlockReAlloc(block, size);
    return moved == nullptr ? nullptr : os::BlockLock(moved);
}

int32_t ZAPI Z_OsFree(void *data) {
    os::Block block = os::BlockOfPointer(data);
    if (block != nullptr) {
        os::BlockUnlock(block);
        os::BlockFree(block);
    }
    return 0;
}

ZHANDLE ZAPI Z_OsCreat(const char *name, int32_t attributes) {
    os::FileRequest request{};
    request.access = (attributes & 1) ? os::kAccessRead
                                      : os::kAccessRead | os::kAccessWrite;
    request.share = os::kShareRead | os::kShareWrite;
    request.creation = os::kCreateAlways;
    request.attributes = static_cast<uint32_t>(attributes) & 7u;
    return os::FileOpen(name, request);
}

int32_t ZAPI Z_OsGetTempName(char *name) {
    char folder[os::kMaxPath];
    uint32_t length = os::TempPath(folder, sizeof folder);
    if (length != 0 && length < sizeof folder)
        os::TempFileName(folder, "ZD", name);
    return 0;
}

ZHANDLE ZAPI Z_OsOpen(const char *name, int32_t openFlags, int32_t permission) {
    return os::FileOpen(name, os::TranslateOpenFlags(openFlags, permission));
}

int32_t ZAPI Z_OsRead(ZHANDLE file, void *buffer, uint32_t count) {
    return os::FileRead(file, buffer, count);
}

int32_t ZAPI Z_OsWrite(ZHANDLE file, const void *buffer, uint32_t count) {
    return os::FileWrite(file, buffer, count);
}

uint32_t ZAPI Z_OsSeek(ZHANDLE file, int32_t offset, int32_t origin) {
    return os::FileSeek(file, offset, origin);
}

int32_t ZAPI Z_OsClose(ZHANDLE file) { return os::FileClose(file); }

int32_t ZAPI Z_OsDelete(const char *name) { return os::FileDelete(name); }

} // extern "C"

// The operating-system layer: the only code that talks to the platform.
//
// Callers see one small interface; a POSIX backend (posix.cpp) and, on
// Windows, a Win32 backend implement it. What one platform lacks the other
// emulates: on POSIX a global block carries a header so that its data
// pointer finds its handle, a logical palette is a plain object, and the
// screen reports no palette device.
//
// Every acquisition of memory or of an object here passes one fault point
// and is counted, so that tests can fail the Nth acquisition and check that
// nothing was left behind (see accounting.cpp).
#pragma once

#include <cstddef>
#include <cstdint>

#include "ztkrn.h"

namespace ztk::os {

// ---- accounting and fault injection (shared by every backend) ----------

// True when this acquisition must fail because a test asked for it.
bool InjectedFailure();
void CountBlock(int32_t delta, int64_t bytes); // +1/size on allocation, -1/-size on release
void CountObject(int32_t delta); // mappings, palettes, files

// ---- movable global blocks -----------------------------------------------

using Block = void *;

Block BlockAlloc(uint32_t size, bool zeroFill); // movable, shareable; null on failure
void *BlockLock(Block block);                   // null on failure
bool BlockUnlock(Block block);                  // false when no longer locked
Block BlockReAlloc(Block block, uint32_t size); // may move; null on failure, block intact
bool BlockFree(Block block);                    // true on success
Block BlockOfPointer(const void *data);         // the handle of a locked data pointer

// ---- committed, zero-filled memory that never moves --------------------

// The mapping tier: one object and its view, made together and released
// together. Failure leaves both outputs untouched and nothing made.
bool MappingCreate(uint32_t size, ZHANDLE *mapping, void **view);
void MappingDestroy(ZHANDLE mapping, void *view);

// ---- files -----------------------------------------------------------------

enum FileAccess : uint32_t { kAccessRead = 1, kAccessWrite = 2 };
enum FileShare : uint32_t { kShareRead = 1, kShareWrite = 2 };
enum FileCreation : uint32_t {
    kCreateAlways = 2,
    kOpenExisting = 3,
    kTruncateExisting = 5,
};
enum FileAttributes : uint32_t {
    kAttributeReadOnly = 1,
    kAttributeHidden = 2,
    kAttributeSystem = 4,
    kAttributeNormal = 0x80,
};

// How an open request reaches the platform; the share mode is passed on
// as given, bits beyond read and write included.
struct FileRequest {
    uint32_t access;
    uint32_t share;
    uint32_t creation;
    uint32_t attributes;
};

ZHANDLE FileOpen(const char *name, const FileRequest &request); // Z_INVALID_HANDLE on failure
int32_t FileRead(ZHANDLE file, void *buffer, uint32_t count);   // -1 on failure
int32_t FileWrite(ZHANDLE file, const void *buffer, uint32_t count);
uint32_t FileSeek(ZHANDLE file, int32_t offset, int32_t origin); // 0xFFFFFFFF on failure
int32_t FileClose(ZHANDLE file);                                 // 0, or -1
int32_t FileDelete(const char *name);                            // 0, or -1

constexpr uint32_t kMaxPath = 260;
// The folder for temporary files, with a trailing separator.
uint32_t TempPath(char *buffer, uint32_t size);
// A fresh unique name in the folder, made from the prefix; the file is
// created empty. False when none could be made.
bool TempFileName(const char *folder, const char *prefix, char *name);

// The C runtime's descriptor-based change of a file's length. Bitmap files
// are held by OS handle, which the runtime's descriptor table never knows,
// so on a faithful platform this fails; callers rely on that.
bool RuntimeChangeSize(ZHANDLE descriptor, uint32_t size);

// ---- thread-local slot and module life -----------------------------------

using ThreadExitHook = void (*)(void *value);
bool SlotCreate(ThreadExitHook onExit); // false when no slot can be had
void SlotDestroy();
void *SlotGet();
bool SlotSet(void *value); // false when there is no slot

#if defined(_WIN32)
// A thread is ending: hands its slot value, if any, to the hook once. The
// Win32 platform reports thread ends to the module's entry point rather
// than to the slot, so the backend's start-up code calls this.
void SlotThreadEnd();
#endif

// The platform's version word, in the layout of GetVersion.
uint32_t PlatformVersion();

// ---- logical palettes and the screen -------------------------------------

struct PaletteEntry {
    uint8_t red;
    uint8_t green;
    uint8_t blue;
    uint8_t flags;
};

ZHPALETTE PaletteCreate(const PaletteEntry *entries, uint32_t count);
// Entries delivered (0 when none; the output is then untouched).
uint32_t PaletteGetEntries(ZHPALETTE palette, uint32_t first, uint32_t count,
                           PaletteEntry *out);
uint32_t PaletteSetEntries(ZHPALETTE palette, uint32_t first, uint32_t count,
                           const PaletteEntry *in);
uint32_t PaletteEntryCount(ZHPALETTE palette);
// Least squared distance, the first entry winning ties; 0 for no palette.
uint32_t PaletteNearest(ZHPALETTE palette, uint8_t red, uint8_t green,
                        uint8_t blue);
bool PaletteDelete(ZHPALETTE palette);
// Deletes any drawing object (palettes, regions, bitmaps), as DeleteObject.
bool ObjectDelete(ZHANDLE object);

enum ScreenCap : int32_t {
    kCapLogPixelsX = 88,
    kCapLogPixelsY = 90,
    kCapSizePalette = 104,
    kCapRasterCaps = 38,
    kCapBitsPixel = 12,
};
constexpr int32_t kRasterCapsPalette = 0x100;
int32_t ScreenCaps(int32_t index);
uint32_t SystemPaletteEntries(uint32_t first, uint32_t count,
                              PaletteEntry *out);

} // namespace ztk::os

namespace ztk::os {
// How Z_OsOpen reads its runtime-style flags (exposed for tests).
FileRequest TranslateOpenFlags(int32_t openFlags, int32_t permission);
} // namespace ztk::os

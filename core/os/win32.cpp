// The Win32 backend of the OS layer.
//
// Holds: movable global blocks (the GlobalAlloc family), the mapping tier
// (committed sections backed by the paging file), files and temporary
// names, the thread-local slot with its hook at thread end, logical
// palettes and the screen's capabilities, the C runtime's change of a
// file's length, and the start and stop of the module when it is linked
// into an executable. The DLL's entry point is in win32_dll.cpp, built into
// the DLL only, so that a host linking the static library keeps its own.
#include <windows.h>

#include <io.h>

#include <climits>
#include <cstddef>

#include "core/context.h"
#include "core/os/os.h"

namespace ztk::os {

static_assert(sizeof(PaletteEntry) == sizeof(PALETTEENTRY) &&
                  offsetof(PaletteEntry, red) == offsetof(PALETTEENTRY, peRed) &&
                  offsetof(PaletteEntry, green) ==
                      offsetof(PALETTEENTRY, peGreen) &&
                  offsetof(PaletteEntry, blue) ==
                      offsetof(PALETTEENTRY, peBlue) &&
                  offsetof(PaletteEntry, flags) ==
                      offsetof(PALETTEENTRY, peFlags),
              "palette entries pass to GDI as they are");
static_assert(kCreateAlways == CREATE_ALWAYS &&
                  kOpenExisting == OPEN_EXISTING &&
                  kTruncateExisting == TRUNCATE_EXISTING,
              "creation values are the platform's");
static_assert(kAttributeReadOnly == FILE_ATTRIBUTE_READONLY &&
                  kAttributeHidden == FILE_ATTRIBUTE_HIDDEN &&
                  kAttributeSystem == FILE_ATTRIBUTE_SYSTEM &&
                  kAttributeNormal == FILE_ATTRIBUTE_NORMAL,
              "attribute bits are the platform's");
static_assert(kShareRead == FILE_SHARE_READ && kShareWrite == FILE_SHARE_WRITE,
              "share bits are the platform's");
static_assert(kCapLogPixelsX == LOGPIXELSX && kCapLogPixelsY == LOGPIXELSY &&
                  kCapSizePalette == SIZEPALETTE &&
                  kCapRasterCaps == RASTERCAPS && kCapBitsPixel == BITSPIXEL &&
                  kRasterCapsPalette == RC_PALETTE,
              "device capability indices are the platform's");

namespace {

HGLOBAL GlobalOf(Block block) { return static_cast<HGLOBAL>(block); }

// A movable block of zero bytes is born discarded: it can't be locked, and
// resizing to zero discards a live one with its contents. One byte keeps
// every block lockable, as the callers expect of a successful allocation.
SIZE_T BlockBytes(uint32_t size) { return size == 0 ? 1 : size; }

// Blocks are counted by the size the platform reports for them, the one
// size that a resize or a free can read back (a zero-byte request counts as
// its one byte).
int64_t SizeOf(HGLOBAL block) { return static_cast<int64_t>(GlobalSize(block)); }

} // namespace

// ---- global blocks -----------------------------------------------------------

Block BlockAlloc(uint32_t size, bool zeroFill) {
    if (InjectedFailure())
        return nullptr;
    UINT flags = GMEM_SHARE | GMEM_MOVEABLE | (zeroFill ? GMEM_ZEROINIT : 0);
    HGLOBAL block = GlobalAlloc(flags, BlockBytes(size));
    if (block == nullptr)
        return nullptr;
    CountBlock(+1, SizeOf(block));
    return block;
}

void *BlockLock(Block block) {
    return block == nullptr ? nullptr : GlobalLock(GlobalOf(block));
}

bool BlockUnlock(Block block) {
    return block != nullptr && GlobalUnlock(GlobalOf(block)) != FALSE;
}

Block BlockReAlloc(Block block, uint32_t size) {
    if (block == nullptr || InjectedFailure())
        return nullptr;
    int64_t before = SizeOf(GlobalOf(block));
    HGLOBAL moved = GlobalReAlloc(GlobalOf(block), BlockBytes(size), GMEM_MOVEABLE);
    if (moved == nullptr)
        return nullptr;
    CountBlock(0, SizeOf(moved) - before);
    return moved;
}

bool BlockFree(Block block) {
    if (block == nullptr)
        return false;
    int64_t bytes = SizeOf(GlobalOf(block));
    if (GlobalFree(GlobalOf(block)) != nullptr)
        return false;
    CountBlock(-1, -bytes);
    return true;
}

Block BlockOfPointer(const void *data) {
    return data == nullptr ? nullptr : GlobalHandle(data);
}

// ---- mappings ----------------------------------------------------------------

// Committed at creation, so the allocation succeeds whole or fails at once;
// the pages come zeroed from the paging file and the view never moves.
bool MappingCreate(uint32_t size, ZHANDLE *mapping, void **view) {
    if (size == 0 || InjectedFailure())
        return false;
    HANDLE section =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr,
                           PAGE_READWRITE | SEC_COMMIT | SEC_NOCACHE, 0, size,
                           nullptr);
    if (section == nullptr)
        return false;
    void *base = MapViewOfFile(section, FILE_MAP_WRITE, 0, 0, 0);
    if (base == nullptr) {
        CloseHandle(section);
        return false;
    }
    CountObject(+1);
    *mapping = section;
    *view = base;
    return true;
}

void MappingDestroy(ZHANDLE mapping, void *view) {
    if (mapping == nullptr || view == nullptr)
        return;
    UnmapViewOfFile(view);
    if (CloseHandle(mapping))
        CountObject(-1);
}

// ---- files -------------------------------------------------------------------

namespace {
// The invalid handle is also the pseudo-handle of the process, which the
// platform would happily "close"; it is never a file.
bool IsFile(ZHANDLE file) {
    return file != nullptr && file != Z_INVALID_HANDLE;
}
} // namespace

ZHANDLE FileOpen(const char *name, const FileRequest &request) {
    if (name == nullptr || InjectedFailure())
        return Z_INVALID_HANDLE;
    DWORD access = ((request.access & kAccessRead) ? GENERIC_READ : 0) |
                   ((request.access & kAccessWrite) ? GENERIC_WRITE : 0);
    HANDLE file = CreateFileA(name, access, request.share, nullptr,
                              request.creation, request.attributes, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return Z_INVALID_HANDLE;
    CountObject(+1);
    return file;
}

int32_t FileRead(ZHANDLE file, void *buffer, uint32_t count) {
    DWORD got = 0;
    if (!ReadFile(file, buffer, count, &got, nullptr))
        return -1;
    return static_cast<int32_t>(got);
}

int32_t FileWrite(ZHANDLE file, const void *buffer, uint32_t count) {
    DWORD put = 0;
    if (!WriteFile(file, buffer, count, &put, nullptr))
        return -1;
    return static_cast<int32_t>(put);
}

uint32_t FileSeek(ZHANDLE file, int32_t offset, int32_t origin) {
    DWORD method = origin == 0   ? FILE_BEGIN
                   : origin == 1 ? FILE_CURRENT
                                 : FILE_END;
    return SetFilePointer(file, offset, nullptr, method);
}

int32_t FileClose(ZHANDLE file) {
    if (!IsFile(file) || !CloseHandle(file))
        return -1;
    CountObject(-1);
    return 0;
}

int32_t FileDelete(const char *name) {
    return (name != nullptr && DeleteFileA(name)) ? 0 : -1;
}

uint32_t TempPath(char *buffer, uint32_t size) {
    return GetTempPathA(size, buffer);
}

bool TempFileName(const char *folder, const char *prefix, char *name) {
    if (InjectedFailure())
        return false;
    return GetTempFileNameA(folder, prefix, 0, name) != 0;
}

// The runtime's descriptor table never holds the OS handles that bitmap
// files are kept by, so this normally fails; that is the behaviour callers
// have always had to live with. The table is asked first because some
// runtimes (Wine's) report a change of an unknown descriptor as done
// without doing it, where Windows' own says it has no such descriptor.
bool RuntimeChangeSize(ZHANDLE descriptor, uint32_t size) {
    if (size > static_cast<uint32_t>(LONG_MAX))
        return false;
    int fd = static_cast<int>(reinterpret_cast<intptr_t>(descriptor));
    if (_get_osfhandle(fd) == -1)
        return false;
    return _chsize(fd, static_cast<long>(size)) == 0;
}

// ---- thread-local slot ---------------------------------------------------------

namespace {
DWORD gSlot = TLS_OUT_OF_INDEXES;
ThreadExitHook gOnExit = nullptr;
} // namespace

bool SlotCreate(ThreadExitHook onExit) {
    DWORD slot = TlsAlloc();
    if (slot == TLS_OUT_OF_INDEXES)
        return false;
    gSlot = slot;
    gOnExit = onExit;
    return true;
}

void SlotDestroy() {
    if (gSlot != TLS_OUT_OF_INDEXES) {
        TlsFree(gSlot);
        gSlot = TLS_OUT_OF_INDEXES;
    }
}

void *SlotGet() {
    return gSlot != TLS_OUT_OF_INDEXES ? TlsGetValue(gSlot) : nullptr;
}

bool SlotSet(void *value) {
    return gSlot != TLS_OUT_OF_INDEXES && TlsSetValue(gSlot, value) != 0;
}

// The slot is emptied before the hook runs, so a thread's value is handed
// over once however many of the platform's notices report its end.
void SlotThreadEnd() {
    void *value = SlotGet();
    if (value == nullptr)
        return;
    SlotSet(nullptr);
    if (gOnExit != nullptr)
        gOnExit(value);
}

uint32_t PlatformVersion() { return GetVersion(); }

// ---- palettes ------------------------------------------------------------------

namespace {

// A LOGPALETTE with room for every entry a caller may pass.
struct PaletteBuffer {
    WORD version;
    WORD count;
    PALETTEENTRY entries[256];
};
static_assert(offsetof(PaletteBuffer, entries) ==
                  offsetof(LOGPALETTE, palPalEntry),
              "the buffer is laid out as a LOGPALETTE");

// GDI delivers the entry count instead of entries when asked for none, so
// an empty request never reaches it.
bool WantsEntries(uint32_t count, const void *entries) {
    return count != 0 && entries != nullptr;
}

} // namespace

// Callers never pass more than 256 entries; more is refused rather than
// overrunning the buffer.
ZHPALETTE PaletteCreate(const PaletteEntry *entries, uint32_t count) {
    if (count > 256 || InjectedFailure())
        return nullptr;
    PaletteBuffer buffer{};
    buffer.version = 0x300;
    buffer.count = static_cast<WORD>(count);
    for (uint32_t i = 0; entries != nullptr && i < count; ++i) {
        buffer.entries[i] = PALETTEENTRY{entries[i].red, entries[i].green,
                                         entries[i].blue, entries[i].flags};
    }
    HPALETTE palette = CreatePalette(reinterpret_cast<LOGPALETTE *>(&buffer));
    if (palette == nullptr)
        return nullptr;
    CountObject(+1);
    return palette;
}

uint32_t PaletteGetEntries(ZHPALETTE palette, uint32_t first, uint32_t count,
                           PaletteEntry *out) {
    if (palette == nullptr || !WantsEntries(count, out))
        return 0;
    return GetPaletteEntries(static_cast<HPALETTE>(palette), first, count,
                             reinterpret_cast<PALETTEENTRY *>(out));
}

uint32_t PaletteSetEntries(ZHPALETTE palette, uint32_t first, uint32_t count,
                           const PaletteEntry *in) {
    if (palette == nullptr || !WantsEntries(count, in))
        return 0;
    return SetPaletteEntries(static_cast<HPALETTE>(palette), first, count,
                             reinterpret_cast<const PALETTEENTRY *>(in));
}

// The object of a logical palette is its 16-bit entry count.
uint32_t PaletteEntryCount(ZHPALETTE palette) {
    if (palette == nullptr)
        return 0;
    WORD count = 0;
    if (GetObjectA(palette, sizeof count, &count) == 0)
        return 0;
    return count;
}

uint32_t PaletteNearest(ZHPALETTE palette, uint8_t red, uint8_t green,
                        uint8_t blue) {
    if (palette == nullptr)
        return 0;
    UINT index = GetNearestPaletteIndex(static_cast<HPALETTE>(palette),
                                        RGB(red, green, blue));
    return index == CLR_INVALID ? 0 : index;
}

bool PaletteDelete(ZHPALETTE palette) {
    if (palette == nullptr || GetObjectType(palette) != OBJ_PAL ||
        !DeleteObject(palette))
        return false;
    CountObject(-1);
    return true;
}

// Palettes are counted as the library makes them; other drawing objects
// (a companion module's regions, say) are deleted without counting.
bool ObjectDelete(ZHANDLE object) {
    if (object == nullptr)
        return false;
    if (GetObjectType(object) == OBJ_PAL)
        return PaletteDelete(object);
    return DeleteObject(object) != FALSE;
}

// ---- the screen ------------------------------------------------------------------

int32_t ScreenCaps(int32_t index) {
    HDC screen = GetDC(nullptr);
    if (screen == nullptr)
        return 0;
    int32_t value = GetDeviceCaps(screen, index);
    ReleaseDC(nullptr, screen);
    return value;
}

uint32_t SystemPaletteEntries(uint32_t first, uint32_t count,
                              PaletteEntry *out) {
    if (!WantsEntries(count, out))
        return 0;
    HDC screen = GetDC(nullptr);
    if (screen == nullptr)
        return 0;
    UINT got = GetSystemPaletteEntries(screen, first, count,
                                       reinterpret_cast<PALETTEENTRY *>(out));
    ReleaseDC(nullptr, screen);
    return got;
}

// ---- start and stop in an executable ----------------------------------------------

namespace {

// Linked into an executable, the library has no entry point of its own: the
// executable's TLS callbacks stand in for it, reporting process start and
// end and every thread's end. The DLL gets the same notices in DllMain; this
// callback stays out of the way there.
void NTAPI ExecutableNotice(PVOID image, DWORD reason, PVOID) {
    if (image != GetModuleHandleW(nullptr))
        return;
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        // A refused attach can't stop an executable from starting; the
        // module then stays unstarted and threads work on the fallback.
        ProcessAttach();
        break;
    case DLL_THREAD_DETACH:
        SlotThreadEnd();
        break;
    case DLL_PROCESS_DETACH:
        if (gModule.ModuleRefCount > 0)
            ProcessDetach();
        break;
    default:
        break;
    }
}

} // namespace
} // namespace ztk::os

// The loader runs the callbacks listed between the runtime's .CRT$XLA and
// .CRT$XLZ markers.
extern "C" __attribute__((section(".CRT$XLY"), used))
const PIMAGE_TLS_CALLBACK ztkrn_tls_notice = ztk::os::ExecutableNotice;

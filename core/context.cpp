// Module start and stop, per-thread settings, and the version record.
#include "core/context.h"

#include <cstring>

#include "core/dispatch.h"
#include "core/os/os.h"
#include "core/testhooks.h"
#include "gate/gate.h"

namespace ztk {

ModuleState gModule{};

namespace {

ThreadContext gFallback{};

void SetDefaults(ThreadContext &context) {
    context.RedirectOpen = Z_OsOpen;
    context.RedirectRead = Z_OsRead;
    context.RedirectWrite = Z_OsWrite;
    context.RedirectSeek = Z_OsSeek;
    context.RedirectClose = Z_OsClose;
    context.DefaultDithering = 7;
    context.DefaultXResolution = 150;
    context.DefaultYResolution = 150;
}

ThreadContext *CreateBlock() {
    auto *context = static_cast<ThreadContext *>(
        Z_OsAllocInit(sizeof(ThreadContext), 1));
    if (context == nullptr)
        return nullptr;
    if (!os::SlotSet(context)) {
        // A module that is not started has no slot to keep it in.
        Z_OsFree(context);
        return nullptr;
    }
    SetDefaults(*context);
    return context;
}

// Removing a hot key needs the platform's windows; without them a context
// never holds a hot-key window, and there is nothing to tear down.
void TearDownHotKey(ThreadContext &context) {
    if (context.HotKeyWindow != nullptr) {
        context.HotKeyWindow = nullptr;
        context.HotKeyCallback = nullptr;
    }
}

// The slot's hook at the end of a thread: its detach.
void ThreadDetach(void *value) {
    auto *context = static_cast<ThreadContext *>(value);
    if (context == nullptr)
        return;
    TearDownHotKey(*context);
    Z_OsFree(context);
}

} // namespace

ThreadContext &FallbackContext() { return gFallback; }

ThreadContext &Context() {
    auto *context = static_cast<ThreadContext *>(os::SlotGet());
    if (context != nullptr)
        return *context;
    context = CreateBlock();
    return context != nullptr ? *context : gFallback;
}

// A version word with the top bit set and a major version below 4 is the
// 32-bit subsystem of a 16-bit host.
static bool IsSixteenBitVersion(uint32_t version) {
    return (version & 0x80000000u) != 0 && (version & 0xFFu) < 4;
}

bool ProcessAttach() {
    if (gModule.ModuleRefCount == 0) {
        ClearDispatchTable();
        gModule.IsSixteenBitHost = IsSixteenBitVersion(os::PlatformVersion());
        // The thunk to the 16-bit companion and the hot-key window class
        // exist only on the Win32 platform; elsewhere ThunkActive stays clear.
        gModule.ThunkActive = false;
    }
    if (!os::SlotCreate(ThreadDetach))
        return false;
    if (CreateBlock() == nullptr) {
        os::SlotDestroy();
        return false;
    }
    ++gModule.ModuleRefCount;
    return true;
}

// The block of the thread that unloads the module goes with the process.
void ProcessDetach() {
    --gModule.ModuleRefCount;
    auto *context = static_cast<ThreadContext *>(os::SlotGet());
    if (context != nullptr)
        TearDownHotKey(*context);
    os::SlotDestroy();
}

#if !defined(_WIN32)
namespace {
// Load and unload of the module. A failed attach cannot refuse the load
// here; the module then stays unstarted and every thread works on
// FallbackContext.
__attribute__((constructor)) void ModuleLoad() { ProcessAttach(); }
__attribute__((destructor)) void ModuleUnload() {
    if (gModule.ModuleRefCount > 0)
        ProcessDetach();
}
} // namespace
#endif

} // namespace ztk

namespace ztk::test {
bool ProcessAttach() { return ztk::ProcessAttach(); }
void ProcessDetach() { ztk::ProcessDetach(); }
int32_t ModuleRefCount() { return gModule.ModuleRefCount; }
void SetSixteenBitHost(bool on) { gModule.IsSixteenBitHost = on; }
} // namespace ztk::test

using ztk::Context;

extern "C" {

int32_t ZAPI Z_SetDefaultXResolution(int32_t value) {
    ztk::ThreadContext &context = Context();
    int32_t old = context.DefaultXResolution;
    context.DefaultXResolution = value;
    return old;
}

int32_t ZAPI Z_GetDefaultXResolution(void) {
    return Context().DefaultXResolution;
}

int32_t ZAPI Z_SetDefaultYResolution(int32_t value) {
    ztk::ThreadContext &context = Context();
    int32_t old = context.DefaultYResolution;
    context.DefaultYResolution = value;
    return old;
}

int32_t ZAPI Z_GetDefaultYResolution(void) {
    return Context().DefaultYResolution;
}

int32_t ZAPI Z_DefaultDithering(uint32_t method) {
    ztk::ThreadContext &context = Context();
    if (method > 8)
        return Z_ERR_PARAM;
    context.DefaultDithering = method;
    return Z_OK;
}

ZSTATUSCALLBACK ZAPI Z_SetStatusCallBack(ZSTATUSCALLBACK fn) {
    ztk::ThreadContext &context = Context();
    ZSTATUSCALLBACK old = context.StatusCallBack;
    context.StatusCallBack = fn;
    return old;
}

ZSTATUSCALLBACK ZAPI Z_GetStatusCallBack(void) {
    return Context().StatusCallBack;
}

// Filled afresh at each call: the record is small, and the library keeps
// no lazily built statics that would tie C hosts to the C++ runtime.
int32_t ZAPI Z_VersionInfo(ZarnVersionInfo *info) {
    ztk::Context();
    std::memset(info, 0, sizeof *info);
    // The product name in the platform's single-byte code page.
    std::strncpy(info->Product, "ZARNKIT\xAE DLL for Win32",
                 sizeof info->Product - 1);
    info->Major = 10;
    info->Minor = 0;
    std::strncpy(info->Date, __DATE__, sizeof info->Date - 1);
    std::strncpy(info->Time, __TIME__, sizeof info->Time - 1);
    info->Level = ztk::gate::Level();
    return Z_OK;
}

} // extern "C"

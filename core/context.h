// Per-thread settings and module-wide state.
//
// Each calling thread gets its own ThreadContext on first use, kept in the
// module's thread-local slot; a thread whose block can't be made works on
// the shared, zeroed FallbackContext for that call.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

using HotKeyProc = int32_t(ZAPI *)(int32_t key, uint32_t modifiers,
                                   uint32_t userData);

// Fifteen words, in the order hosts of the old module knew them.
struct ThreadContext {
    uint32_t *UserMatchTable;
    ZOPENPROC RedirectOpen;
    ZREADPROC RedirectRead;
    ZWRITEPROC RedirectWrite;
    ZSEEKPROC RedirectSeek;
    ZCLOSEPROC RedirectClose;
    uint32_t DefaultDithering;
    int32_t DefaultXResolution;
    int32_t DefaultYResolution;
    ZSTATUSCALLBACK StatusCallBack;
    ZHANDLE HotKeyWindow;
    int32_t HotKeyCode;
    uint32_t HotKeyModifiers;
    HotKeyProc HotKeyCallback;
    uint32_t HotKeyUserData;
};

// The calling thread's block, made on first use; FallbackContext when it
// can't be made.
ThreadContext &Context();
ThreadContext &FallbackContext();

struct ModuleState {
    bool IsSixteenBitHost;
    bool ThunkActive;
    int32_t ModuleRefCount;
};
extern ModuleState gModule;

inline bool SixteenBitHost() { return gModule.IsSixteenBitHost; }

// Process attach and detach, in the documented order; a platform backend
// calls these from its load and unload hooks. Attach fails when no slot or
// no first block can be had.
bool ProcessAttach();
void ProcessDetach();

} // namespace ztk

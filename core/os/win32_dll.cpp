// The entry point of the DLL: process and thread attach and detach.
//
// Built into the DLL only. The static library leaves DllMain to its host and
// starts the module from the executable's TLS callbacks (win32.cpp).
#include <windows.h>

#include "core/context.h"
#include "core/os/os.h"

// Hosts of the 32-bit DLL share the record word for word.
static_assert(sizeof(void *) != 4 || sizeof(BitmapHandle) == 136,
              "the record is 34 words in the 32-bit DLL");

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        // No slot or no first block: the load fails.
        return ztk::ProcessAttach() ? TRUE : FALSE;
    case DLL_THREAD_DETACH:
        ztk::os::SlotThreadEnd();
        break;
    case DLL_PROCESS_DETACH:
        // Also reached after a refused attach, which has nothing to undo.
        if (ztk::gModule.ModuleRefCount > 0)
            ztk::ProcessDetach();
        break;
    default:
        // A new thread's block is made on its first use.
        break;
    }
    return TRUE;
}

// The module-wide dispatch table. It is written at set-up and only read
// afterwards, so it is not protected.
#include "core/dispatch.h"

#include <cstring>

namespace ztk {
namespace {
ZDISPATCHPROC gTable[DISPATCH_SLOTS];
} // namespace

ZDISPATCHPROC DispatchEntry(int slot) {
    return (slot >= 0 && slot < DISPATCH_SLOTS) ? gTable[slot] : nullptr;
}

void ClearDispatchTable() {
    for (ZDISPATCHPROC &entry : gTable)
        entry = nullptr;
}

} // namespace ztk

extern "C" {

int32_t ZAPI Z_GetDisDispatch(ZDISPATCHPROC *table) {
    if (table == nullptr)
        return Z_ERR_PARAM;
    if (ztk::gTable[SLOT_AFTERREVERSE] == nullptr)
        return Z_ERR_NODISPATCH;
    std::memcpy(table, ztk::gTable, sizeof ztk::gTable);
    return Z_OK;
}

int32_t ZAPI Z_SetDisDispatch(const ZDISPATCHPROC *table) {
    std::memcpy(ztk::gTable, table, sizeof ztk::gTable);
    return Z_OK;
}

} // extern "C"

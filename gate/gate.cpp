// The licence gate. Every feature is enabled unless a test withholds it;
// the enciphered keys of the old product are not carried over, so any key
// unlocks what it names.
#include "gate/gate.h"

#include <atomic>

#include "core/testhooks.h"
#include "ztkrn.h"

namespace ztk::gate {
namespace {
std::atomic<uint32_t> gLocked{0};
} // namespace

bool Allows(uint32_t feature) {
    return (gLocked.load(std::memory_order_relaxed) & feature) == 0;
}

int32_t Level() {
    return static_cast<int32_t>(SUPPORT_ALL & ~gLocked.load());
}

} // namespace ztk::gate

namespace ztk::test {
void LockFeature(uint32_t features, bool locked) {
    if (locked)
        gate::gLocked.fetch_or(features);
    else
        gate::gLocked.fetch_and(~features);
}
} // namespace ztk::test

extern "C" {

int32_t ZAPI Z_IsSupportLocked(uint32_t feature) {
    return ztk::gate::Allows(feature) ? 0 : 1;
}

int32_t ZAPI Z_UnlockSupport(uint32_t features, const char *) {
    if ((features & ~SUPPORT_ALL) != 0)
        return Z_ERR_PARAM;
    ztk::gate::gLocked.fetch_and(~features);
    return Z_OK;
}

} // extern "C"

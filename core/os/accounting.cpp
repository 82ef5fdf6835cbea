// Allocation accounting and fault injection, common to every OS backend.
#include <atomic>

#include "core/os/os.h"
#include "core/testhooks.h"

namespace ztk::os {
namespace {
std::atomic<int64_t> gBlocks{0};
std::atomic<int64_t> gBytes{0};
std::atomic<int64_t> gObjects{0};
std::atomic<uint32_t> gCountdown{0};
std::atomic<bool> gFired{false};
} // namespace

bool InjectedFailure() {
    uint32_t left = gCountdown.load(std::memory_order_relaxed);
    while (left != 0) {
        if (gCountdown.compare_exchange_weak(left, left - 1)) {
            if (left == 1) {
                gFired.store(true);
                return true;
            }
            return false;
        }
    }
    return false;
}

void CountBlock(int32_t delta, int64_t bytes) {
    gBlocks.fetch_add(delta, std::memory_order_relaxed);
    gBytes.fetch_add(bytes, std::memory_order_relaxed);
}

void CountObject(int32_t delta) {
    gObjects.fetch_add(delta, std::memory_order_relaxed);
}

} // namespace ztk::os

namespace ztk::test {

Usage LiveUsage() {
    return Usage{os::gBlocks.load(), os::gBytes.load(), os::gObjects.load()};
}

void FailAcquisition(uint32_t nth) {
    os::gFired.store(false);
    os::gCountdown.store(nth);
}

bool FailureFired() { return os::gFired.load(); }

} // namespace ztk::test

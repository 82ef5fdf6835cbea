// Shared test helpers: bitmaps that free themselves, storage tiers, and the
// allocation-failure sweep.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "core/testhooks.h"
#include "ztkrn.h"

namespace ztk::test {
inline bool operator==(const Usage &a, const Usage &b) {
    return a.blocks == b.blocks && a.bytes == b.bytes && a.objects == b.objects;
}
inline std::ostream &operator<<(std::ostream &out, const Usage &u) {
    return out << u.blocks << " blocks, " << u.bytes << " bytes, " << u.objects
               << " objects";
}
} // namespace ztk::test

namespace ztk::testing {

// A bitmap record that is freed when the test leaves its scope.
struct Bitmap {
    BitmapHandle h{};
    Bitmap() = default;
    Bitmap(int32_t width, int32_t height, int32_t bits) {
        Z_InitBitmap(&h, width, height, bits);
    }
    ~Bitmap() { Z_FreeBitmap(&h); }
    Bitmap(const Bitmap &) = delete;
    Bitmap &operator=(const Bitmap &) = delete;
    BitmapHandle *operator->() { return &h; }
    BitmapHandle *get() { return &h; }
};

// The plain storage tiers. The global-block and temporary-file tiers exist
// only on the 16-bit host, which tests switch on for as long as a TierScope
// lives.
enum class Tier { Mapping, GlobalBlock, TemporaryFile };
std::string TierName(Tier tier);
int32_t MemoryFor(Tier tier);

class TierScope {
  public:
    explicit TierScope(Tier tier);
    ~TierScope();
    TierScope(const TierScope &) = delete;
    TierScope &operator=(const TierScope &) = delete;
};

// Records are compared byte for byte.
inline bool SameRecord(const BitmapHandle &a, const BitmapHandle &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Arms a failure of the nth acquisition for the life of the scope.
class FailureScope {
  public:
    explicit FailureScope(uint32_t nth) { ztk::test::FailAcquisition(nth); }
    ~FailureScope() { ztk::test::FailAcquisition(0); }
    bool fired() const { return ztk::test::FailureFired(); }
};

// One run of an allocation-failure sweep: the operation ran with the nth
// acquisition failing, and `fired` says whether that failure happened.
struct SweepRun {
    uint32_t nth;
    int32_t result;
    bool fired;
};

// Fails each acquisition in turn (n = 1, 2, ...) until a run completes
// without the failure firing, and returns the number of failed runs.
// `run(nth)` prepares its own state, then calls `armed(op)` to run the
// operation under the armed failure, checks and cleans up.
int32_t SweepFailures(
    const std::function<void(uint32_t nth,
                             const std::function<SweepRun(
                                 const std::function<int32_t()> &)> &armed)>
        &run,
    uint32_t limit = 100000);

// Row content that tells rows and bytes apart.
std::vector<uint8_t> Pattern(uint32_t bytes, uint32_t seed);

} // namespace ztk::testing

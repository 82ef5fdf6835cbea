// Hooks for the library's own tests. They are compiled into the static
// library and hidden in the shared one; no host should call them.
#pragma once

#include <cstdint>

namespace ztk::test {

struct Usage {
    int64_t blocks;  // live global blocks (Z_OsAlloc family included)
    int64_t bytes;   // their requested sizes
    int64_t objects; // live mappings, palettes and open files
};
Usage LiveUsage();

// Make the nth acquisition from now fail (1 = the next one); 0 disarms.
void FailAcquisition(uint32_t nth);
// Whether the armed failure has happened since FailAcquisition.
bool FailureFired();

// Run the module as it would run on a 16-bit host: global blocks and
// temporary files instead of mappings.
void SetSixteenBitHost(bool on);

// Withhold or grant a licence-gated feature (SUPPORT_* bits).
void LockFeature(uint32_t features, bool locked);

// Start and stop the module again, as a load and an unload would; tests of
// the start-up path use these. Attach reports whether the load succeeded.
bool ProcessAttach();
void ProcessDetach();
int32_t ModuleRefCount();

} // namespace ztk::test

// The licence gate as the rest of the library sees it: each guarded
// operation asks whether its feature is enabled and takes its refused path
// on a no.
#pragma once

#include <cstdint>

namespace ztk::gate {

// True when the feature (one SUPPORT_* bit) may be used.
bool Allows(uint32_t feature);

// The enabled features as one word, as the version record reports them.
int32_t Level();

} // namespace ztk::gate

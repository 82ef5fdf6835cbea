#include "tests/support/support.h"

namespace ztk::testing {

std::string TierName(Tier tier) {
    switch (tier) {
    case Tier::Mapping: return "Mapping";
    case Tier::GlobalBlock: return "GlobalBlock";
    case Tier::TemporaryFile: return "TemporaryFile";
    }
    return "?";
}

int32_t MemoryFor(Tier tier) {
    return tier == Tier::TemporaryFile ? MEMORY_DISK : MEMORY_NODISK;
}

TierScope::TierScope(Tier tier) {
    ztk::test::SetSixteenBitHost(tier != Tier::Mapping);
}

TierScope::~TierScope() { ztk::test::SetSixteenBitHost(false); }

int32_t SweepFailures(
    const std::function<void(uint32_t,
                             const std::function<SweepRun(
                                 const std::function<int32_t()> &)> &)> &run,
    uint32_t limit) {
    int32_t failures = 0;
    for (uint32_t nth = 1; nth <= limit; ++nth) {
        bool fired = false;
        run(nth, [&](const std::function<int32_t()> &op) {
            FailureScope scope(nth);
            int32_t result = op();
            fired = scope.fired();
            return SweepRun{nth, result, fired};
        });
        if (!fired)
            return failures;
        ++failures;
    }
    ADD_FAILURE() << "the operation never completed within " << limit
                  << " injected failures";
    return failures;
}

std::vector<uint8_t> Pattern(uint32_t bytes, uint32_t seed) {
    std::vector<uint8_t> out(bytes);
    uint32_t state = seed * 2654435761u + 12345u;
    for (uint32_t i = 0; i < bytes; ++i) {
        state = state * 1103515245u + 12345u;
        out[i] = uint8_t(state >> 16);
    }
    return out;
}

} // namespace ztk::testing

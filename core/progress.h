// Progress reporting as every long operation does it.
//
// The status function is fetched once, when the operation has checked its
// arguments and obtained its buffers; a function set later has no effect on
// the run. N units of work move the percentage by quotient and remainder,
// so the function hears the start value first, then each value where the
// percentage really moves, and exactly the end value after the last unit.
// Any answer but Z_OK stops the operation, which returns that answer.
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

class Progress {
  public:
    explicit Progress(uint32_t units, int32_t from = 0, int32_t to = 100);

    // Reports the start value; Z_OK or the function's answer.
    int32_t Begin();
    // Reports after one unit of work; Z_OK or the function's answer.
    int32_t Step();

  private:
    int32_t Report(int32_t percent);

    ZSTATUSCALLBACK fn_;
    uint32_t units_;
    int32_t percent_;
    int32_t step_;
    uint32_t rest_;
    uint32_t accumulated_ = 0;
};

} // namespace ztk

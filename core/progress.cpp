#include "core/progress.h"

namespace ztk {

Progress::Progress(uint32_t units, int32_t from, int32_t to)
    : fn_(Z_GetStatusCallBack()), units_(units), percent_(from), step_(0),
      rest_(0) {
    uint32_t span = to >= from ? uint32_t(to - from) : 0;
    if (units != 0) {
        step_ = int32_t(span / units);
        rest_ = span % units;
    }
}

int32_t Progress::Report(int32_t percent) {
    return fn_ == nullptr ? Z_OK : fn_(percent);
}

int32_t Progress::Begin() { return Report(percent_); }

int32_t Progress::Step() {
    if (fn_ == nullptr)
        return Z_OK;
    percent_ += step_;
    accumulated_ += rest_;
    if (units_ != 0 && accumulated_ >= units_) {
        accumulated_ -= units_;
        ++percent_;
        return Report(percent_);
    }
    return step_ != 0 ? Report(percent_) : Z_OK;
}

} // namespace ztk

// A stand-in for the companion module that builds regions: the region
// questions answer from per-row segment lists held here, for as long as a
// Companion lives. Each answer is recorded, so that tests can check what
// the kernel asked.
#pragma once

#include <cstdint>
#include <vector>

#include "core/dispatch.h"
#include "ztkrn.h"

namespace ztk::testing {

class Companion {
  public:
    // Rows of `lists` from `bounds.top` on; rows past them report none.
    Companion(RECT bounds, std::vector<std::vector<uint32_t>> lists,
              uint32_t maxValues)
        : bounds_(bounds), lists_(std::move(lists)), maxValues_(maxValues) {
        current_ = this;
        ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
        table[SLOT_REGIONBOUNDS] = Slot(Bounds);
        table[SLOT_REGIONMAXVALUES] = Slot(MaxValues);
        table[SLOT_REGIONSEGMENTS] = Slot(Segments);
        Z_SetDisDispatch(table);
    }
    ~Companion() {
        ClearDispatchTable();
        current_ = nullptr;
    }
    Companion(const Companion &) = delete;
    Companion &operator=(const Companion &) = delete;

    int32_t answer = Z_OK; // what every question returns
    std::vector<uint32_t> rowsAsked;
    BitmapHandle *lastBitmap = nullptr;
    int32_t lastOption = -1;

  private:
    template <typename F>
    static ZDISPATCHPROC Slot(F f) {
        return reinterpret_cast<ZDISPATCHPROC>(f);
    }
    static int32_t ZAPI Bounds(BitmapHandle *bitmap, int32_t option,
                               RECT *rect) {
        current_->lastBitmap = bitmap;
        current_->lastOption = option;
        *rect = current_->bounds_;
        return current_->answer;
    }
    static int32_t ZAPI MaxValues(BitmapHandle *bitmap, uint32_t *count) {
        current_->lastBitmap = bitmap;
        *count = current_->maxValues_;
        return current_->answer;
    }
    static int32_t ZAPI Segments(BitmapHandle *bitmap, uint32_t row,
                                 uint32_t *list, uint32_t *count) {
        Companion &c = *current_;
        c.lastBitmap = bitmap;
        c.rowsAsked.push_back(row);
        const int64_t at = int64_t(row) - c.bounds_.top;
        *count = 0;
        if (at >= 0 && at < int64_t(c.lists_.size())) {
            for (uint32_t v : c.lists_[size_t(at)])
                list[(*count)++] = v;
        }
        return c.answer;
    }

    static inline Companion *current_ = nullptr;
    RECT bounds_;
    std::vector<std::vector<uint32_t>> lists_;
    uint32_t maxValues_;
};

// Records what the status callback hears for as long as it lives; the
// call numbered `stopAt` (from 1) answers `stopWith`.
class StatusLog {
  public:
    explicit StatusLog(size_t stopAt = 0, int32_t stopWith = Z_OK)
        : stopAt_(stopAt), stopWith_(stopWith) {
        current_ = this;
        Z_SetStatusCallBack(Listen);
    }
    ~StatusLog() {
        Z_SetStatusCallBack(nullptr);
        current_ = nullptr;
    }
    StatusLog(const StatusLog &) = delete;
    StatusLog &operator=(const StatusLog &) = delete;
    std::vector<int32_t> heard;

  private:
    static int32_t ZAPI Listen(int32_t percent) {
        current_->heard.push_back(percent);
        return current_->heard.size() == current_->stopAt_ ? current_->stopWith_
                                                           : Z_OK;
    }
    static inline StatusLog *current_ = nullptr;
    size_t stopAt_;
    int32_t stopWith_;
};

} // namespace ztk::testing

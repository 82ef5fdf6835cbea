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

} // namespace ztk::testing

// Scope guards for what a long operation holds: a bitmap lock, a block from
// the Z_OsAlloc family, the silenced status callback. With these, no path
// out of an operation can leave a lock or a buffer behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ztkrn.h"

namespace ztk {

inline bool IsAllocated(const BitmapHandle *bitmap) {
    return bitmap != nullptr && (bitmap->Flags & BITMAP_ALLOCATED) != 0;
}

// Takes the nesting lock and hands the earlier state back on the way out.
class BitmapLock {
  public:
    explicit BitmapLock(BitmapHandle *bitmap)
        : bitmap_(bitmap), previous_(Z_LockBitmap(bitmap)) {}
    ~BitmapLock() { Z_UnlockBitmap(bitmap_, previous_); }
    BitmapLock(const BitmapLock &) = delete;
    BitmapLock &operator=(const BitmapLock &) = delete;

  private:
    BitmapHandle *bitmap_;
    int32_t previous_;
};

// A block from Z_OsAlloc, freed on every path unless released.
template <typename T = uint8_t>
class OsBuffer {
  public:
    OsBuffer() = default;
    explicit OsBuffer(uint32_t count, bool zeroFill = false) {
        Allocate(count, zeroFill);
    }
    ~OsBuffer() { Reset(); }
    OsBuffer(const OsBuffer &) = delete;
    OsBuffer &operator=(const OsBuffer &) = delete;

    // Count is in elements; false when the size overflows or memory fails.
    bool Allocate(uint32_t count, bool zeroFill = false) {
        Reset();
        uint64_t bytes = uint64_t(count) * sizeof(T);
        if (bytes > 0xFFFFFFFFu)
            return false;
        data_ = static_cast<T *>(
            Z_OsAllocInit(static_cast<uint32_t>(bytes), zeroFill ? 1 : 0));
        return data_ != nullptr;
    }
    void Reset() {
        if (data_ != nullptr)
            Z_OsFree(data_);
        data_ = nullptr;
    }
    T *Release() {
        T *data = data_;
        data_ = nullptr;
        return data;
    }
    T *get() const { return data_; }
    T &operator[](size_t i) const { return data_[i]; }
    explicit operator bool() const { return data_ != nullptr; }

  private:
    T *data_ = nullptr;
};

// Turns progress reporting off for an inner step of a composite operation
// and puts the caller's function back on the way out.
class SilencedStatus {
  public:
    SilencedStatus() : saved_(Z_SetStatusCallBack(nullptr)) {}
    ~SilencedStatus() { Z_SetStatusCallBack(saved_); }
    SilencedStatus(const SilencedStatus &) = delete;
    SilencedStatus &operator=(const SilencedStatus &) = delete;
    ZSTATUSCALLBACK saved() const { return saved_; }

  private:
    ZSTATUSCALLBACK saved_;
};

// Whether the caller's palette and region go with its old image when a
// replacement takes its place: Keep when the replacement carries the same
// objects on (Z_FreeImage with flag 0), Free when the replacement has its
// own (flag 1).
enum class CallerObjects { Keep, Free };

// The ending of every operation that puts a new record in place of the
// caller's: release the caller's image by the rule and take over the
// replacement's 34 words, so the caller's pointer stays valid.
inline void ReplaceRecord(BitmapHandle *caller,
                          const BitmapHandle *replacement,
                          CallerObjects objects = CallerObjects::Keep) {
    Z_FreeImage(caller, objects == CallerObjects::Free ? 1 : 0);
    std::memcpy(caller, replacement, sizeof(BitmapHandle));
}

// The same for a replacement in a record of its own, which is freed once
// its words have moved.
inline void ReplaceRecord(BitmapHandle *caller,
                          OsBuffer<BitmapHandle> &replacement,
                          CallerObjects objects) {
    ReplaceRecord(caller, replacement.get(), objects);
    replacement.Reset();
}

} // namespace ztk

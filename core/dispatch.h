// The table through which a companion module plugs region and display
// services into the kernel. Every caller tests its slot and has a defined
// behaviour without it.
#pragma once

#include "ztkrn.h"

namespace ztk {

ZDISPATCHPROC DispatchEntry(int slot);
void ClearDispatchTable();

// The slot's function, cast to the signature its caller defines; null when
// the companion did not fill it.
template <typename Fn>
Fn DispatchSlot(int slot) {
    return reinterpret_cast<Fn>(DispatchEntry(slot));
}

// Signatures of the slots the kernel calls.
using AfterBitmapProc = int32_t(ZAPI *)(BitmapHandle *bitmap);
using RegionCopyProc = int32_t(ZAPI *)(BitmapHandle *destination,
                                       BitmapHandle *source, int32_t dx,
                                       int32_t dy);
using AfterSizeProc = int32_t(ZAPI *)(BitmapHandle *bitmap, int32_t width,
                                      int32_t height);
using AfterRotateProc = int32_t(ZAPI *)(BitmapHandle *bitmap, int32_t width,
                                        int32_t height, int32_t angle);
using RegionBoundsProc = int32_t(ZAPI *)(BitmapHandle *bitmap, int32_t option,
                                         RECT *rect);
using RegionMaxValuesProc = int32_t(ZAPI *)(BitmapHandle *bitmap,
                                            uint32_t *count);
using RegionSegmentsProc = int32_t(ZAPI *)(BitmapHandle *bitmap, uint32_t row,
                                           uint32_t *list, uint32_t *count);
using PixelInRegionProc = int32_t(ZAPI *)(BitmapHandle *bitmap, int32_t row,
                                          int32_t column);

} // namespace ztk

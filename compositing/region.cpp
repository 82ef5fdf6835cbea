// The region record's end, and the region questions with their whole-bitmap
// answers for a kernel that runs without its companion module.
#include "compositing/region.h"

#include "core/dispatch.h"
#include "core/os/os.h"

using namespace ztk;

extern "C" int32_t ZAPI Z_DeleteZarnRgn(ZarnRgn *region) {
    if (region == nullptr)
        return Z_ERR_PARAM;
    region->Bounds = RECT{0, 0, 0, 0};
    if (region->FirstList != nullptr) {
        Z_OsFree(region->FirstList);
        region->FirstList = nullptr;
        region->FirstListCount = 0;
    }
    if (region->SecondList != nullptr) {
        Z_OsFree(region->SecondList);
        region->SecondList = nullptr;
        region->SecondListCount = 0;
    }
    if (region->SecondHandle != nullptr) {
        os::ObjectDelete(region->SecondHandle);
        region->SecondHandle = nullptr;
    }
    if (region->RegionHandle != nullptr)
        os::ObjectDelete(region->RegionHandle);
    Z_OsFree(region);
    return Z_OK;
}

int32_t Z_IntRegionBounds(BitmapHandle *bitmap, int32_t option, RECT *rect) {
    if (auto bounds = DispatchSlot<RegionBoundsProc>(SLOT_REGIONBOUNDS))
        return bounds(bitmap, option, rect);
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    if (rect != nullptr)
        *rect = RECT{0, 0, bitmap->Width, bitmap->Height};
    return Z_OK;
}

int32_t Z_IntRegionMaxValues(BitmapHandle *bitmap, uint32_t *count) {
    if (auto maxValues = DispatchSlot<RegionMaxValuesProc>(SLOT_REGIONMAXVALUES))
        return maxValues(bitmap, count);
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    if (count == nullptr)
        return Z_ERR_PARAM;
    *count = 2;
    return Z_OK;
}

// Without a companion the list is one pair over the whole row, whatever
// the row; the caller's buffer holds at least the two values it was told.
int32_t Z_IntRegionRowSegments(BitmapHandle *bitmap, uint32_t row,
                               uint32_t *list, uint32_t *count) {
    if (auto segments = DispatchSlot<RegionSegmentsProc>(SLOT_REGIONSEGMENTS))
        return segments(bitmap, row, list, count);
    if (bitmap == nullptr)
        return Z_ERR_NOBITMAP;
    if (count == nullptr || list == nullptr)
        return Z_ERR_PARAM;
    list[0] = 0;
    list[1] = uint32_t(bitmap->Width);
    *count = 2;
    return Z_OK;
}

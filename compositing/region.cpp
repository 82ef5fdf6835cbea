// Deleting a region record. Only the leading fields are the kernel's to
// know; the companion module's own fields go with the block.
#include "compositing/region.h"

#include "core/os/os.h"

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
        ztk::os::ObjectDelete(region->SecondHandle);
        region->SecondHandle = nullptr;
    }
    if (region->RegionHandle != nullptr)
        ztk::os::ObjectDelete(region->RegionHandle);
    Z_OsFree(region);
    return Z_OK;
}

// Rotation by any angle in hundredths of a degree: the right angles go to
// the exact turns, everything else to the inverse-mapping walk.
#include "core/guards.h"
#include "geometry/geometry.h"

namespace ztk {
namespace {

// A turn by a whole number of turns moves nothing, but the caller's share
// of the percent scale is still reported, start and end.
int32_t ReportUnturned(int32_t fromPercent, int32_t toPercent) {
    const ZSTATUSCALLBACK status = Z_GetStatusCallBack();
    if (status == nullptr)
        return Z_OK;
    const int32_t started = status(fromPercent);
    if (started != Z_OK || toPercent == fromPercent)
        return started;
    return status(toPercent);
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_IntRotateBitmapFine(BitmapHandle *bitmap, int32_t angle,
                                   int32_t resize, ColorValue fill,
                                   int32_t fromPercent, int32_t toPercent) {
    (void)fill;
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    // From here on the angle is the inverse turn, from target to source.
    int32_t inverse = int32_t(-int64_t(angle) % 36000);
    if (inverse < 0)
        inverse += 36000;
    const bool square = bitmap->Width == bitmap->Height;
    if (inverse == 0)
        return ReportUnturned(fromPercent, toPercent);
    if (inverse == 9000 && (resize != 0 || square))
        return Z_IntRotateBitmap90(bitmap, 0, fromPercent, toPercent);
    if (inverse == 27000 && (resize != 0 || square))
        return Z_IntRotateBitmap90(bitmap, 1, fromPercent, toPercent);
    if (inverse == 18000)
        return Z_IntRotateBitmap180(bitmap, fromPercent, toPercent);
    return Z_ERR_PARAM;
}

int32_t ZAPI Z_RotateBitmapFine(BitmapHandle *bitmap, int32_t angle,
                                int32_t resize, ColorValue fill) {
    return Z_IntRotateBitmapFine(bitmap, angle, resize, fill, 0, 100);
}

} // extern "C"

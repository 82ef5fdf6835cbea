// Z_FillBitmap and Z_ClearBitmap: every pixel of a bitmap's region set to
// one value. The row pattern is made once; each row then costs its segment
// question and one segment write, whatever the tier.
#include "colour/match.h"
#include "compositing/region.h"
#include "core/guards.h"
#include "core/progress.h"

namespace ztk {
namespace {

// Rows in memory aren't worth a report each, so only the temporary-file
// tier spreads progress over the rows; the others report 0 and then 100.
int32_t FillRegion(BitmapHandle *bitmap, const ColorValue *color) {
    RECT rect{};
    const int32_t bounds = Z_IntRegionBounds(bitmap, 0, &rect);
    if (bounds != Z_OK)
        return bounds;
    OsBuffer<uint8_t> row(bitmap->BytesPerLine, true);
    if (!row)
        return Z_ERR_NOMEM;
    uint32_t maxValues = 0;
    Z_IntRegionMaxValues(bitmap, &maxValues);
    // One value more than asked: an odd count reads the value after the
    // list as its last end.
    OsBuffer<uint32_t> list;
    if (uint64_t(maxValues) + 1 > 0xFFFFFFFFu || !list.Allocate(maxValues + 1, true))
        return Z_ERR_NOMEM;
    BitmapLock lock(bitmap);
    if (color != nullptr)
        FillRowWithColor(bitmap, *color, row.get(), bitmap->Width);

    const bool onDisk = (bitmap->Flags & BITMAP_ONDISK) != 0;
    const int64_t rows = int64_t(rect.bottom) - rect.top;
    Progress progress(onDisk ? uint32_t(rows > 0 ? rows : 0) : 1u);
    int32_t status = progress.Begin();
    for (int32_t y = rect.top; y < rect.bottom && status == Z_OK; ++y) {
        uint32_t count = 0;
        Z_IntRegionRowSegments(bitmap, uint32_t(y), list.get(), &count);
        Z_PutBitmapRowSegments(bitmap, row.get(), uint32_t(y), 0, list.get(),
                               count, 0);
        if (onDisk)
            status = progress.Step();
    }
    if (!onDisk && status == Z_OK)
        status = progress.Step();
    return status;
}

} // namespace
} // namespace ztk

extern "C" {

int32_t ZAPI Z_FillBitmap(BitmapHandle *bitmap, ColorValue color) {
    return ztk::FillRegion(bitmap, &color);
}

int32_t ZAPI Z_ClearBitmap(BitmapHandle *bitmap) {
    return ztk::FillRegion(bitmap, nullptr);
}

} // extern "C"

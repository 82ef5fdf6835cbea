// Quarter turns: Z_IntRotateBitmap90 on bitmaps of every tier (through an
// expanded copy for compressed pages up to a size), Z_IntRotateRuns90 for
// larger compressed pages, and Z_RotateBuffer90 on plain buffers.
//
// A source row becomes a target column. Rows are gathered into byte-wide
// column strips first (gather.h), so a column write touches one byte of
// each target row however many pixels the byte holds.
#include "compressed/heap.h"
#include "compressed/rows.h"
#include "core/copy.h"
#include "core/dispatch.h"
#include "core/guards.h"
#include "core/progress.h"
#include "geometry/gather.h"
#include "geometry/geometry.h"

namespace ztk {
namespace {

// Above this many plain bytes a compressed page is turned in its runs; an
// expanded page of that size is what a machine can be expected to hold.
constexpr uint32_t kRunTurnLimit = 18000000;
uint32_t g_runTurnLimit = kRunTurnLimit;

int32_t AfterRotate(BitmapHandle *bitmap, int32_t width, int32_t height,
                    int32_t angle) {
    auto hook = DispatchSlot<AfterRotateProc>(SLOT_AFTERROTATE);
    return hook != nullptr ? hook(bitmap, width, height, angle) : Z_OK;
}

// Group buffer bytes for `columns` source columns; 0 for depths that
// write each row as it stands.
uint32_t GroupBytes(int32_t bitsPerPixel, uint32_t columns) {
    if (bitsPerPixel == 1)
        return ((columns + 7) >> 3) * 8;
    if (bitsPerPixel == 4)
        return ((columns + 1) >> 1) * 2;
    return 0;
}

// The row path: every source row gathered and flushed down the target's
// columns. `direction` is the stored sense, already inverted for a view 2.
int32_t TurnRows(BitmapHandle *source, BitmapHandle *target,
                 int32_t direction, int32_t fromPercent, int32_t toPercent) {
    const int32_t depth = source->BitsPerPixel;
    const uint32_t width = uint32_t(source->Width);
    const uint32_t height = uint32_t(source->Height);
    OsBuffer<uint8_t> row, group;
    if (!row.Allocate(source->BytesPerLine, true))
        return Z_ERR_NOMEM;
    const uint32_t groupBytes = GroupBytes(depth, uint32_t(target->Height));
    if (groupBytes != 0 && !group.Allocate(groupBytes, true))
        return Z_ERR_NOMEM;
    BitmapLock lockSource(source);
    BitmapLock lockTarget(target);
    Progress progress(height, fromPercent, toPercent);
    int32_t status = progress.Begin();
    const uint8_t *strips = groupBytes != 0 ? group.get() : row.get();
    uint32_t column = 0, phase = 0;
    for (uint32_t y = 0; status == Z_OK && y < height; ++y) {
        Z_GetBitmapRow(source, row.get(), direction != 0 ? height - 1 - y : y,
                       source->BytesPerLine);
        const bool full = GatherRow(depth, group.get(), row.get(), width, phase);
        ++phase;
        if (full || y + 1 == height) {
            // A failed column is passed over; the next row goes on.
            Z_IntPutBitmapColumn(target, strips, column,
                                 uint32_t(target->Height), direction == 0);
            column += GroupRows(depth);
            phase = 0;
        }
        status = progress.Step();
    }
    return status;
}

// The last step of a turn: the target takes over the caller's record.
void Install(BitmapHandle *bitmap, const BitmapHandle *target) {
    ReplaceRecord(bitmap, target);
}

int32_t TurnCompressedRuns(BitmapHandle *bitmap, BitmapHandle *target,
                           int32_t direction, int32_t angle,
                           int32_t fromPercent, int32_t toPercent) {
    const int32_t turned =
        Z_IntRotateRuns90(bitmap, target, direction, fromPercent, toPercent);
    if (turned != Z_OK) {
        Z_FreeImage(target, 0);
        return turned;
    }
    // The turn stands whatever the hook says.
    const int32_t result =
        AfterRotate(target, target->Width, target->Height, angle);
    Install(bitmap, target);
    return result;
}

// A turned working copy goes back to run coding, copying into the working
// copy's record; the plain turn stays installed if that fails.
int32_t Recompress(BitmapHandle *working, BitmapHandle *target) {
    Z_FreeImage(working, 0);
    const int32_t copied = ExpandedBitmapCopy(working, target);
    if (copied != Z_OK)
        return copied;
    Z_FreeImage(target, 0);
    std::memcpy(target, working, sizeof(BitmapHandle));
    return Z_OK;
}

} // namespace

namespace test {
void SetRunTurnLimit(uint32_t bytes) {
    g_runTurnLimit = bytes != 0 ? bytes : kRunTurnLimit;
}
} // namespace test

} // namespace ztk

using namespace ztk;

int32_t Z_IntRotateBitmap90(BitmapHandle *bitmap, int32_t direction,
                            int32_t fromPercent, int32_t toPercent) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    const int32_t angle = direction == 0 ? -9000 : 9000;
    OsBuffer<BitmapHandle> workingRecord, targetRecord;
    BitmapHandle *working = bitmap;
    if ((bitmap->Flags & BITMAP_COMPRESSED) &&
        uint64_t(bitmap->BytesPerLine) * uint32_t(bitmap->Height) <=
            g_runTurnLimit) {
        if (!workingRecord.Allocate(1, true))
            return Z_ERR_NOMEM;
        const int32_t expanded =
            ExpandedBitmapCopy(workingRecord.get(), bitmap);
        if (expanded != Z_OK)
            return expanded;
        working = workingRecord.get();
    }
    int32_t status = Z_ERR_NOMEM;
    BitmapHandle *target = nullptr;
    if (targetRecord.Allocate(1, true)) {
        target = targetRecord.get();
        status = Z_DupBitmapNewDim(target, working, working->Height,
                                   working->Width, working->BitsPerPixel, 1);
    }
    if (status != Z_OK) {
        if (working != bitmap)
            Z_FreeImage(working, 0);
        return status;
    }
    if (working->Flags & BITMAP_COMPRESSED)
        return TurnCompressedRuns(bitmap, target, direction, angle,
                                  fromPercent, toPercent);
    // A bitmap stored bottom row first turns the other way in storage.
    const int32_t stored =
        working->ViewPerspective == 2 ? (direction == 0 ? 1 : 0) : direction;
    status = TurnRows(working, target, stored, fromPercent, toPercent);
    if (status == Z_OK)
        status = AfterRotate(target, target->Width, target->Height, angle);
    if (status != Z_OK) {
        if (working != bitmap)
            Z_FreeImage(working, 0);
        Z_FreeImage(target, 0);
        return status;
    }
    if (working != bitmap)
        status = Recompress(working, target);
    Install(bitmap, target);
    return status;
}

int32_t Z_IntRotateRuns90(BitmapHandle *source, BitmapHandle *target,
                          int32_t direction, int32_t fromPercent,
                          int32_t toPercent) {
    const uint32_t items = uint32_t(target->Height);
    OsBuffer<RotateRunTracker> trackers;
    if (!trackers.Allocate(items, true))
        return Z_ERR_NOMEM;
    const bool reversed = (source->ViewPerspective == 2) != (direction != 0);
    for (uint32_t i = 0; i < items; ++i) {
        trackers[i].Zeros = 0;
        trackers[i].Ones = 0xFFFF;
        trackers[i].Entry = EntryOf(target, reversed ? i : items - 1 - i);
    }
    // An unset row is all 0-bits: one run of the width, split where a code
    // can't hold it.
    const uint32_t width = uint32_t(source->Width);
    OsBuffer<uint16_t> blank;
    const uint32_t blankCount = (width / 65535) * 2 + 1;
    if (!blank.Allocate(blankCount))
        return Z_ERR_NOMEM;
    for (uint32_t i = 0; i + 1 < blankCount; i += 2) {
        blank[i] = 65535;
        blank[i + 1] = 0;
    }
    blank[blankCount - 1] = uint16_t(width % 65535);
    const uint32_t height = uint32_t(source->Height);
    Progress progress(height, fromPercent, toPercent);
    int32_t status = progress.Begin();
    for (uint32_t k = 0; status == Z_OK && k < height; ++k) {
        const RowEntry *entry = EntryOf(source, reversed ? height - 1 - k : k);
        if (entry->Offset == 0)
            status = CompressedColumnAppend(target, trackers.get(),
                                            blank.get(), blankCount);
        else
            status = CompressedColumnAppend(
                target, trackers.get(),
                CodesAt(TableOf(source)->RowHeap, entry->Offset),
                entry->Count);
        if (status == Z_OK)
            status = progress.Step();
    }
    if (status == Z_OK)
        status = CompressedColumnFinish(target, trackers.get());
    target->Size = HeapSizeOf(target);
    return status;
}

extern "C" {

int32_t ZAPI Z_RotateBuffer90(const void *source, void *target,
                              int32_t reverse, int32_t width, int32_t height,
                              int32_t bitsPerPixel) {
    const uint32_t w = width > 0 ? uint32_t(width) : 0;
    const uint32_t sourceStride = ((uint32_t(bitsPerPixel) * w + 31) >> 3) & ~3u;
    const uint32_t targetStride =
        ((uint32_t(bitsPerPixel) * uint32_t(height) + 31) >> 3) & ~3u;
    OsBuffer<uint8_t> group;
    const uint32_t groupBytes = bitsPerPixel == 1   ? (w + 7) & ~7u
                                : bitsPerPixel == 4 ? (w + 1) & ~1u
                                                    : 0;
    if (groupBytes != 0 && !group.Allocate(groupBytes, true))
        return Z_ERR_NOMEM;
    if (height <= 0)
        return 1;
    const auto *rows = static_cast<const uint8_t *>(source);
    const uint32_t h = uint32_t(height);
    uint32_t column = 0, phase = 0;
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t *row =
            rows + size_t(sourceStride) * (reverse != 0 ? h - 1 - y : y);
        const bool full = GatherRow(bitsPerPixel, group.get(), row, w, phase);
        ++phase;
        if (full || y + 1 == h) {
            Z_IntPutBufferColumn(groupBytes != 0 ? group.get() : row,
                                 static_cast<uint8_t *>(target), column, w, w,
                                 bitsPerPixel, targetStride, reverse == 0);
            column += GroupRows(bitsPerPixel);
            phase = 0;
        }
    }
    return 1;
}

} // extern "C"

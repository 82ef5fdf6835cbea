// Column writes for the quarter turn: one packed row of pixels written down
// a column of a bitmap on any tier (Z_IntPutBitmapColumn) or of a flat
// buffer (Z_IntPutBufferColumn).
//
// A pixel's place inside its row is the same on every row, so the walk is
// one pointer (or file offset) step a row, and the kernel for a depth is
// chosen once per column. At depths 1 and 4 the source holds a whole byte
// for each row, gathered beforehand, so those columns are bytes too.
#include <cstring>

#include "compressed/heap.h"
#include "compressed/rows.h"
#include "core/packed.h"
#include "core/rows.h"
#include "geometry/geometry.h"

namespace ztk {
namespace {

// Bytes of a row that one write of pixel `column` touches.
uint32_t FieldBytes(int32_t depth, uint32_t phase) {
    switch (depth) {
    case 1: case 2: case 4: case 8: return 1;
    case 3: case 5: case 6: case 7: return phase + uint32_t(depth) > 8 ? 2 : 1;
    case 12: return 2;
    default: return uint32_t(depth) / 8;
    }
}

// Whether the field shares its bytes with other pixels, so that the bytes
// must be read before they are written.
bool SharesBytes(int32_t depth) {
    return depth == 2 || depth == 3 || depth == 5 || depth == 6 ||
           depth == 7 || depth == 12;
}

// Writes pixel i of `source` into the field at `at`, which starts `phase`
// bits into its byte; at 12 bits an odd column is the high 12 bits of the
// word at `at`, an even one the low 12.
template <int Depth>
inline void StoreField(uint8_t *at, const uint8_t *source, uint32_t i,
                       uint32_t phase) {
    if constexpr (Depth == 1 || Depth == 4 || Depth == 8) {
        *at = source[i];
    } else if constexpr (Depth < 8) {
        PutBitsAt(at, phase, Depth, GetPacked<Depth>(source, i));
    } else if constexpr (Depth == 12) {
        const uint32_t v = Get12(source, i);
        if (phase == 0) {
            at[0] = uint8_t(v);
            at[1] = uint8_t((at[1] & 0xF0u) | (v >> 8));
        } else {
            at[0] = uint8_t((at[0] & 0x0Fu) | ((v & 0xFu) << 4));
            at[1] = uint8_t(v >> 4);
        }
    } else {
        std::memcpy(at, source + size_t(i) * (Depth / 8), Depth / 8);
    }
}

template <int Depth>
void WalkColumn(uint8_t *at, ptrdiff_t step, const uint8_t *source,
                uint32_t count, uint32_t phase) {
    // The pointer never steps past the last row written.
    for (uint32_t i = 0;; at += step) {
        StoreField<Depth>(at, source, i, phase);
        if (++i == count)
            break;
    }
}

// `at` is the first pixel's field; `step` goes to the next row's.
void WalkColumnAnyDepth(int32_t depth, uint8_t *at, ptrdiff_t step,
                        const uint8_t *source, uint32_t count,
                        uint32_t phase) {
    switch (depth) {
    case 1: WalkColumn<1>(at, step, source, count, phase); break;
    case 2: WalkColumn<2>(at, step, source, count, phase); break;
    case 3: WalkColumn<3>(at, step, source, count, phase); break;
    case 4: WalkColumn<4>(at, step, source, count, phase); break;
    case 5: WalkColumn<5>(at, step, source, count, phase); break;
    case 6: WalkColumn<6>(at, step, source, count, phase); break;
    case 7: WalkColumn<7>(at, step, source, count, phase); break;
    case 12: WalkColumn<12>(at, step, source, count, phase); break;
    case 16: WalkColumn<16>(at, step, source, count, phase); break;
    case 24: WalkColumn<24>(at, step, source, count, phase); break;
    case 32: WalkColumn<32>(at, step, source, count, phase); break;
    default: WalkColumn<8>(at, step, source, count, phase); break;
    }
}

// The phase StoreField wants: bits into the byte below 8 bits, the column's
// parity at 12.
uint32_t FieldPhase(int32_t depth, uint32_t column) {
    if (depth == 12)
        return (column & 1) * 4;
    return depth < 8 ? (column * uint32_t(depth)) & 7 : 0;
}

void StoreAnyDepth(int32_t depth, uint8_t *at, const uint8_t *source,
                   uint32_t i, uint32_t phase) {
    switch (depth) {
    case 1: StoreField<1>(at, source, i, phase); break;
    case 2: StoreField<2>(at, source, i, phase); break;
    case 3: StoreField<3>(at, source, i, phase); break;
    case 4: StoreField<4>(at, source, i, phase); break;
    case 5: StoreField<5>(at, source, i, phase); break;
    case 6: StoreField<6>(at, source, i, phase); break;
    case 7: StoreField<7>(at, source, i, phase); break;
    case 12: StoreField<12>(at, source, i, phase); break;
    case 16: StoreField<16>(at, source, i, phase); break;
    case 24: StoreField<24>(at, source, i, phase); break;
    case 32: StoreField<32>(at, source, i, phase); break;
    default: StoreField<8>(at, source, i, phase); break;
    }
}

// The temporary-file tier: a seek and a write a row, with a read first
// where the field shares its bytes.
int32_t PutFileColumn(BitmapHandle *bitmap, const uint8_t *source,
                      uint32_t column, uint32_t count, bool upward) {
    const int32_t depth = bitmap->BitsPerPixel;
    const uint32_t phase = FieldPhase(depth, column);
    const uint32_t bytes = FieldBytes(depth, phase);
    const uint32_t offset = ColumnToByteOffset(depth, column);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t row = upward ? count - 1 - i : i;
        const uint32_t position = row * bitmap->BytesPerLine + offset;
        uint8_t field[4] = {};
        if (SharesBytes(depth)) {
            if (Z_OsSeek(bitmap->Storage, int32_t(position), 0) != position)
                return Z_ERR_SEEK;
            if (Z_OsRead(bitmap->Storage, field, bytes) != int32_t(bytes))
                return Z_ERR_WRITE;
        }
        StoreAnyDepth(depth, field, source, i, phase);
        if (Z_OsSeek(bitmap->Storage, int32_t(position), 0) != position)
            return Z_ERR_SEEK;
        if (Z_OsWrite(bitmap->Storage, field, bytes) != int32_t(bytes))
            return Z_ERR_WRITE;
    }
    return 1;
}

// Run-coded rows: each byte of the source is spliced in as the eight (or
// fewer, at the right edge) pixels of its unit.
int32_t PutCompressedColumn(BitmapHandle *bitmap, const uint8_t *source,
                            uint32_t column, uint32_t count, bool upward) {
    const uint32_t unit = column & ~7u;
    const uint32_t width = uint32_t(bitmap->Width);
    const uint32_t n = width - unit < 8 ? width - unit : 8;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t row = upward ? count - 1 - i : i;
        const int32_t result = CompressedRowWrite(
            bitmap, EntryOf(bitmap, row), source + i, unit, n);
        if (result < 0)
            return result;
    }
    bitmap->Size = HeapSizeOf(bitmap);
    return 1;
}


} // namespace
} // namespace ztk

using namespace ztk;

int32_t Z_IntPutBitmapColumn(BitmapHandle *bitmap, const uint8_t *buffer,
                             uint32_t column, uint32_t count, int32_t upward) {
    if (count == 0)
        return 1;
    if (bitmap->Flags & BITMAP_COMPRESSED)
        return PutCompressedColumn(bitmap, buffer, column, count, upward != 0);
    if ((bitmap->Flags & BITMAP_INMEMORY) == 0)
        return PutFileColumn(bitmap, buffer, column, count, upward != 0);
    const int32_t depth = bitmap->BitsPerPixel;
    const ptrdiff_t stride = ptrdiff_t(bitmap->BytesPerLine);
    uint8_t *at = static_cast<uint8_t *>(bitmap->Data) +
                  ColumnToByteOffset(depth, column);
    if (upward != 0) {
        // The cache stands at row `count`, the walk one row above it.
        at += SeekRow(bitmap, count) - bitmap->BytesPerLine;
    }
    WalkColumnAnyDepth(depth, at, upward != 0 ? -stride : stride, buffer,
                       count, FieldPhase(depth, column));
    return 1;
}

int32_t Z_IntPutBufferColumn(const uint8_t *buffer, uint8_t *rowPixels,
                             uint32_t column, uint32_t /*rows*/,
                             uint32_t count, int32_t bitsPerPixel,
                             uint32_t stride, int32_t upward) {
    if (count == 0)
        return 1;
    uint8_t *at = rowPixels + ColumnToByteOffset(bitsPerPixel, column);
    if (upward != 0)
        at += size_t(stride) * (count - 1);
    WalkColumnAnyDepth(bitsPerPixel, at,
                       upward != 0 ? -ptrdiff_t(stride) : ptrdiff_t(stride),
                       buffer, count, FieldPhase(bitsPerPixel, column));
    return 1;
}

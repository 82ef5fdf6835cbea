// Copies of bitmaps: the whole of one (Z_CopyBitmap), its pixels into
// another (Z_CopyBitmapData), a rectangle with bit realignment
// (Z_CopyBitmapRect, Z_TrimBitmap), and the conversions between compressed
// and plain storage (ExpandedBitmapCopy, ExpandBitmapInPlace).
#include "core/copy.h"

#include <cstring>

#include "core/dispatch.h"
#include "core/guards.h"
#include "core/packed.h"

namespace ztk {
namespace {

// Where column c starts inside its byte, in bits from the top. Depths of
// whole bytes always start on a byte.
uint32_t BitPhase(int32_t bitsPerPixel, int32_t column) {
    const uint32_t c = uint32_t(column);
    switch (bitsPerPixel) {
    case 1: return c & 7;
    case 2: return (c & 3) * 2;
    case 3: return (c * 3) & 7;
    case 4: case 12: return (c & 1) * 4;
    case 5: return (c * 5) & 7;
    case 6: return (c * 6) & 7;
    case 7: return (c * 7) & 7;
    default: return 0;
    }
}

// Moves a bit stream of `count` bytes up (towards byte 0) by `s` bits.
void ShiftBitsUp(uint8_t *bytes, uint32_t count, uint32_t s) {
    for (uint32_t i = 0; i + 1 < count; ++i)
        bytes[i] = uint8_t((bytes[i] << s) | (bytes[i + 1] >> (8 - s)));
    bytes[count - 1] = uint8_t(bytes[count - 1] << s);
}

// Moves a bit stream down by `s` bits; the bits that fall out of the last
// byte read land in the byte after it, which the caller provides.
void ShiftBitsDown(uint8_t *bytes, uint32_t count, uint32_t s) {
    for (uint32_t i = count; i >= 1; --i)
        bytes[i] = uint8_t((bytes[i] >> s) | (bytes[i - 1] << (8 - s)));
    bytes[0] = uint8_t(bytes[0] >> s);
}

// 12-bit pixels seen through a frame that starts one byte before the
// buffer: place x of the frame is Get12/Put12 at x with every byte index
// less one. Only odd places and even places from 2 are ever used, so no
// index falls before the buffer.
uint32_t GetShifted12(const uint8_t *bytes, uint32_t x) {
    const uint32_t at = (x >> 1) * 3 - 1;
    if ((x & 1) == 0)
        return (uint32_t(bytes[at]) | (uint32_t(bytes[at + 1]) << 8)) & 0xFFFu;
    return (uint32_t(bytes[at + 1]) | (uint32_t(bytes[at + 2]) << 8)) >> 4;
}

void PutShifted12(uint8_t *bytes, uint32_t x, uint32_t value) {
    const uint32_t at = (x >> 1) * 3 - 1;
    if ((x & 1) == 0) {
        bytes[at] = uint8_t(value);
        bytes[at + 1] = uint8_t((bytes[at + 1] & 0xF0u) | (value >> 8));
    } else {
        bytes[at + 1] =
            uint8_t((bytes[at + 1] & 0x0Fu) | ((value & 0xFu) << 4));
        bytes[at + 2] = uint8_t(value >> 4);
    }
}

// A row read from an odd column starts half a pair in; +4 moves every
// pixel down one place to start on a pair, -4 the other way. The half of
// the last pair past the copy keeps what it held.
void ShiftPlaces12(uint8_t *bytes, uint32_t pixels, int32_t shift) {
    if (shift > 0) {
        for (uint32_t i = 0; i < pixels; ++i)
            Put12(bytes, i, GetShifted12(bytes, i + 1));
    } else {
        for (uint32_t i = pixels; i-- > 0;)
            PutShifted12(bytes, i + 1, Get12(bytes, i));
    }
}

void Realign(uint8_t *bytes, uint32_t count, int32_t bitsPerPixel,
             int32_t shift, uint32_t pixels) {
    if (bitsPerPixel == 12)
        ShiftPlaces12(bytes, pixels, shift);
    else if (shift > 0)
        ShiftBitsUp(bytes, count, uint32_t(shift));
    else
        ShiftBitsDown(bytes, count, uint32_t(-shift));
}

int32_t Smaller(int32_t a, int32_t b) { return a < b ? a : b; }

// Rows from the source's clipped rectangle into the new bitmap, realigned
// where the two lefts sit at different places in their bytes.
int32_t CopyRectRows(BitmapHandle *target, BitmapHandle *source,
                     int32_t sourceLeft, int32_t sourceTop,
                     int32_t targetLeft, int32_t targetTop, int32_t width,
                     int32_t height) {
    const int32_t depth = source->BitsPerPixel;
    const uint32_t sourcePhase = BitPhase(depth, sourceLeft);
    const uint32_t targetPhase = BitPhase(depth, targetLeft);
    const uint64_t bits = uint64_t(uint32_t(width)) * uint32_t(depth);
    const uint32_t sourceBytes = uint32_t((sourcePhase + 7 + bits) >> 3);
    const uint32_t targetBytes = uint32_t((targetPhase + 7 + bits) >> 3);
    const int32_t shift = int32_t(sourcePhase) - int32_t(targetPhase);
    // One byte more than either row: a shift down spills into the byte
    // after the last one read. Zeroed, so what spills in is 0.
    const uint32_t larger = sourceBytes > targetBytes ? sourceBytes
                                                      : targetBytes;
    OsBuffer<uint8_t> buffer;
    if (!buffer.Allocate(larger + 1, true))
        return Z_ERR_NOMEM;
    BitmapLock lockSource(source);
    BitmapLock lockTarget(target);
    for (int32_t y = 0; y < height; ++y) {
        Z_GetBitmapRowCol(source, buffer.get(), uint32_t(sourceTop + y),
                          uint32_t(sourceLeft), sourceBytes);
        if (shift != 0)
            Realign(buffer.get(), sourceBytes, depth, shift, uint32_t(width));
        Z_PutBitmapRowCol(target, buffer.get(), uint32_t(targetTop + y),
                          uint32_t(targetLeft), targetBytes);
    }
    return Z_OK;
}

// The new bitmap for a rectangle, with the source's region moved along
// when a companion module keeps regions.
// The part of a rectangle that lies on the bitmap; width or height come out
// zero or negative when nothing does. The sums wrap as the record's
// arithmetic always has.
struct ClippedRect {
    int32_t left, top, width, height;
};

ClippedRect ClipToBitmap(const BitmapHandle *bitmap, int32_t left,
                         int32_t top, int32_t width, int32_t height) {
    ClippedRect clip{};
    clip.left = left > 0 ? left : 0;
    clip.top = top > 0 ? top : 0;
    clip.width =
        Smaller(int32_t(uint32_t(left) + uint32_t(width)), bitmap->Width) -
        clip.left;
    clip.height =
        Smaller(int32_t(uint32_t(top) + uint32_t(height)), bitmap->Height) -
        clip.top;
    return clip;
}

int32_t MakeRectTarget(BitmapHandle *target, BitmapHandle *source,
                       int32_t left, int32_t top, int32_t width,
                       int32_t height) {
    const int32_t made = Z_DupBitmapNewDim(target, source, width, height,
                                           source->BitsPerPixel, 7);
    if (made != Z_OK)
        return made;
    if (auto copyRegion = DispatchSlot<RegionCopyProc>(SLOT_REGIONCOPY)) {
        const int32_t result = copyRegion(target, source, -left, -top);
        if (result != Z_OK) {
            target->Region = nullptr;
            Z_FreeBitmap(target);
            return result;
        }
    }
    return Z_OK;
}

int32_t CopyCompressedRows(BitmapHandle *destination, BitmapHandle *source) {
    OsBuffer<uint8_t> buffer;
    if (!buffer.Allocate(uint32_t(source->Width) * 2 + 6))
        return Z_ERR_NOMEM;
    for (int32_t y = 0; y < source->Height; ++y) {
        Z_GetBitmapRowCompressed(source, nullptr, buffer.get(), y, 1);
        const int32_t put =
            Z_PutBitmapRowCompressed(destination, nullptr, buffer.get(), y, 1);
        if (put < 1)
            return put;
    }
    return Z_OK;
}

int32_t CopyPlainRows(BitmapHandle *destination, BitmapHandle *source) {
    OsBuffer<uint8_t> buffer;
    if (!buffer.Allocate(source->BytesPerLine))
        return Z_ERR_NOMEM;
    for (int32_t y = 0; y < source->Height; ++y) {
        Z_GetBitmapRow(source, buffer.get(), uint32_t(y), source->BytesPerLine);
        Z_PutBitmapRow(destination, buffer.get(), uint32_t(y),
                       destination->BytesPerLine);
    }
    return Z_OK;
}

} // namespace

int32_t ExpandedBitmapCopy(BitmapHandle *destination, BitmapHandle *source) {
    source->Flags ^= BITMAP_COMPRESSED;
    const int32_t made =
        Z_DupBitmapNewDim(destination, source, source->Width, source->Height,
                          source->BitsPerPixel, DUP_ALLOCATE);
    source->Flags ^= BITMAP_COMPRESSED;
    if (made != Z_OK)
        return made;
    const int32_t copied = Z_CopyBitmapData(destination, source);
    if (copied != Z_OK)
        Z_FreeImage(destination, 0);
    return copied;
}

int32_t ExpandBitmapInPlace(BitmapHandle *bitmap) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    if ((bitmap->Flags & BITMAP_COMPRESSED) == 0)
        return Z_OK;
    BitmapHandle plain{};
    const int32_t result = ExpandedBitmapCopy(&plain, bitmap);
    if (result != Z_OK)
        return result;
    ReplaceRecord(bitmap, &plain);
    return Z_OK;
}

} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_CopyBitmapData(BitmapHandle *destination,
                              BitmapHandle *source) {
    if (!IsAllocated(destination) || !IsAllocated(source))
        return Z_ERR_NOBITMAP;
    if (destination == source)
        return Z_OK;
    BitmapLock lockSource(source);
    BitmapLock lockDestination(destination);
    if ((source->Flags & BITMAP_COMPRESSED) &&
        (destination->Flags & BITMAP_COMPRESSED))
        return CopyCompressedRows(destination, source);
    return CopyPlainRows(destination, source);
}

int32_t ZAPI Z_CopyBitmap(BitmapHandle *destination, BitmapHandle *source) {
    if (destination == nullptr || !IsAllocated(source))
        return Z_ERR_PARAM;
    if (destination == source)
        return Z_OK;
    const int32_t made =
        Z_DupBitmapNewDim(destination, source, source->Width, source->Height,
                          source->BitsPerPixel, 7);
    if (made != Z_OK)
        return made;
    const int32_t copied = Z_CopyBitmapData(destination, source);
    if (copied != Z_OK)
        Z_FreeBitmap(destination);
    return copied;
}

int32_t ZAPI Z_CopyBitmapRect(BitmapHandle *destination, BitmapHandle *source,
                              int32_t left, int32_t top, int32_t width,
                              int32_t height) {
    if (!IsAllocated(source))
        return Z_ERR_PARAM;
    const bool inPlace = destination == nullptr || destination == source;
    BitmapHandle local{};
    BitmapHandle *target = inPlace ? &local : destination;
    const int32_t made =
        MakeRectTarget(target, source, left, top, width, height);
    if (made != Z_OK)
        return made;
    const ClippedRect clip = ClipToBitmap(source, left, top, width, height);
    const int32_t sourceLeft = clip.left;
    const int32_t sourceTop = clip.top;
    const int32_t copyWidth = clip.width;
    const int32_t copyHeight = clip.height;
    if (copyWidth <= 0 || copyHeight <= 0) {
        // Nothing of the source falls inside: a new destination stays as
        // allocated; the in-place record would serve nobody, so it goes.
        if (inPlace)
            Z_FreeBitmap(&local);
        return Z_OK;
    }
    const int32_t copied =
        CopyRectRows(target, source, sourceLeft, sourceTop,
                     sourceLeft - left, sourceTop - top, copyWidth, copyHeight);
    if (copied != Z_OK) {
        Z_FreeBitmap(target);
        return copied;
    }
    if (inPlace) {
        Z_FreeBitmap(source);
        std::memcpy(source, &local, sizeof(BitmapHandle));
    }
    return Z_OK;
}

int32_t ZAPI Z_TrimBitmap(BitmapHandle *bitmap, int32_t left, int32_t top,
                          int32_t width, int32_t height) {
    if (!IsAllocated(bitmap))
        return Z_ERR_PARAM;
    const ClippedRect clip = ClipToBitmap(bitmap, left, top, width, height);
    return Z_CopyBitmapRect(nullptr, bitmap, clip.left, clip.top, clip.width,
                            clip.height);
}

} // extern "C"

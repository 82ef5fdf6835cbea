// Z_PutBitmapRowSegments: the one call that writes a row under a region's
// cut, taking from a full-width source row only the stretches a segment
// list names.
//
// On the plain tiers a stretch merges its edge bytes at pixel precision
// and moves its middle as one block; one writer per depth class, chosen
// once per call, over a memory or a file cursor. With the keep flag, 16-bit
// colour keeps each pixel's top bit and 32 bits each pixel's fourth byte.
// Compressed rows are rebuilt once for the whole list (segments_runs.cpp).
#include <cstring>

#include "compressed/rows.h"
#include "compressed/storage.h"
#include "core/guards.h"
#include "core/packed.h"
#include "core/rows.h"

namespace ztk {
namespace {

inline uint32_t LoadWord(const uint8_t *p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8);
}
inline void StoreWord(uint8_t *p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}

// The bits of a pixel that a keeping write takes from the source.
template <uint32_t Bytes>
struct KeepTop {
    static constexpr uint32_t kBytes = Bytes;
    static constexpr uint32_t kTaken = Bytes == 4 ? 0x00FFFFFFu : 0x7FFFu;
    static void Merge(uint8_t *to, const uint8_t *from, uint32_t pixels) {
        for (uint32_t x = 0; x < pixels; ++x, to += Bytes, from += Bytes) {
            if constexpr (Bytes == 4)
                Store32(to, (Load32(from) & kTaken) | (Load32(to) & ~kTaken));
            else
                StoreWord(to, (LoadWord(from) & kTaken) | (LoadWord(to) & ~kTaken));
        }
    }
};

// A stretch's bytes straight in Data, from the place Begin names on.
class MemoryRow {
  public:
    explicit MemoryRow(BitmapHandle *bitmap)
        : data_(static_cast<uint8_t *>(bitmap->Data)) {}
    int32_t Begin(uint32_t position) {
        at_ = data_ + position;
        return Z_OK;
    }
    int32_t MergeByte(uint8_t from, uint8_t taken) {
        *at_ = uint8_t((from & taken) | (*at_ & ~taken));
        ++at_;
        return Z_OK;
    }
    int32_t MergeWord(uint32_t from, uint32_t taken) {
        StoreWord(at_, (from & taken) | (LoadWord(at_) & ~taken));
        at_ += 2;
        return Z_OK;
    }
    int32_t Copy(const uint8_t *from, uint32_t bytes) {
        std::memcpy(at_, from, bytes);
        at_ += bytes;
        return Z_OK;
    }
    template <class Keep>
    int32_t MergePixels(const uint8_t *from, uint32_t pixels) {
        Keep::Merge(at_, from, pixels);
        at_ += size_t(pixels) * Keep::kBytes;
        return Z_OK;
    }

  private:
    uint8_t *data_;
    uint8_t *at_ = nullptr;
};

// The temporary file, from one seek at the start of each stretch on: a
// merge reads its bytes, steps back over them and writes them again.
class FileRow {
  public:
    FileRow(BitmapHandle *bitmap, uint8_t *work)
        : file_(bitmap->Storage), work_(work) {}
    int32_t Begin(uint32_t position) {
        at_ = position;
        return Z_OsSeek(file_, int32_t(position), 0) == position ? Z_OK
                                                                : Z_ERR_SEEK;
    }
    int32_t MergeByte(uint8_t from, uint8_t taken) {
        uint8_t byte;
        if (Z_OsRead(file_, &byte, 1) != 1)
            return Z_ERR_READ;
        byte = uint8_t((from & taken) | (byte & ~taken));
        return StepBackAndWrite(&byte, 1);
    }
    int32_t MergeWord(uint32_t from, uint32_t taken) {
        uint8_t bytes[2];
        if (Z_OsRead(file_, bytes, 2) != 2)
            return Z_ERR_READ;
        StoreWord(bytes, (from & taken) | (LoadWord(bytes) & ~taken));
        return StepBackAndWrite(bytes, 2);
    }
    int32_t Copy(const uint8_t *from, uint32_t bytes) {
        const int32_t put = Z_OsWrite(file_, from, bytes);
        at_ += bytes;
        return put == int32_t(bytes) ? Z_OK : Z_ERR_WRITE;
    }
    // Merged in the work buffer, then written with a length of 0: on this
    // tier a keeping write leaves the file as it was and only moves the
    // position on by the stretch. Hosts have always had it so.
    template <class Keep>
    int32_t MergePixels(const uint8_t *from, uint32_t pixels) {
        const uint32_t bytes = pixels * Keep::kBytes;
        if (Z_OsRead(file_, work_, bytes) != int32_t(bytes))
            return Z_ERR_READ;
        at_ += bytes;
        Keep::Merge(work_, from, pixels);
        return Z_OsWrite(file_, work_, 0) == 0 ? Z_OK : Z_ERR_WRITE;
    }

  private:
    int32_t StepBackAndWrite(const uint8_t *bytes, uint32_t count) {
        if (Z_OsSeek(file_, -int32_t(count), 1) != at_)
            return Z_ERR_SEEK;
        return Copy(bytes, count);
    }

    ZHANDLE file_;
    uint8_t *work_;
    uint32_t at_ = 0; // where the stretch's next byte goes
};

// One writer per depth class. Each takes the stretch's start and end in
// source pixels, with the row cursor already at the stretch's first byte.
template <int Bits>
struct SubByteStretch {
    template <class Row>
    int32_t Put(Row &row, const uint8_t *source, uint32_t start,
                uint32_t end) const {
        const uint32_t first = ColumnToByteOffset(Bits, start);
        uint32_t span = uint32_t(((uint64_t(end) * Bits + 7) >> 3) - first);
        uint8_t startMask = EdgeStartMask(Bits, start);
        const uint8_t endMask = EdgeEndMask(Bits, end);
        if (span < 2)
            startMask &= endMask;
        const uint8_t *from = source + first;
        int32_t result = Z_OK;
        if (startMask != 0xFF) {
            result = row.MergeByte(*from++, startMask);
            --span;
        }
        if (span == 0 || result != Z_OK)
            return result;
        if (endMask != 0xFF)
            --span;
        if (span != 0)
            result = row.Copy(from, span);
        if (endMask != 0xFF && result == Z_OK)
            result = row.MergeByte(from[span], endMask);
        return result;
    }
};

// Two pixels in three bytes: an odd first pixel and a single last one are
// merged as 16-bit units, the pairs between copied whole.
struct TwelveStretch {
    template <class Row>
    int32_t Put(Row &row, const uint8_t *source, uint32_t start,
                uint32_t end) const {
        const uint8_t *from = source + ColumnToByteOffset(12, start);
        int32_t result = Z_OK;
        if ((start & 1) != 0) {
            result = row.MergeWord(LoadWord(from), 0xFFF0u);
            from += 2;
            ++start;
        }
        const uint32_t pairs = (end - start) >> 1;
        if (pairs != 0 && result == Z_OK) {
            result = row.Copy(from, pairs * 3);
            from += size_t(pairs) * 3;
        }
        if (start + 2 * pairs < end && result == Z_OK)
            result = row.MergeWord(LoadWord(from), 0x0FFFu);
        return result;
    }
};

template <uint32_t Bytes>
struct WholeStretch {
    template <class Row>
    int32_t Put(Row &row, const uint8_t *source, uint32_t start,
                uint32_t end) const {
        return row.Copy(source + size_t(start) * Bytes, (end - start) * Bytes);
    }
};

template <class Keep>
struct KeepStretch {
    template <class Row>
    int32_t Put(Row &row, const uint8_t *source, uint32_t start,
                uint32_t end) const {
        return row.template MergePixels<Keep>(
            source + size_t(start) * Keep::kBytes, end - start);
    }
};

// Empty and reversed stretches write nothing.
template <class Row, class Stretch>
int32_t PutPairs(BitmapHandle *bitmap, Row &row, const Stretch &stretch,
                 const uint8_t *source, uint32_t rowOffset, uint32_t column,
                 const uint32_t *list, uint32_t pairs) {
    const int32_t bits = bitmap->BitsPerPixel;
    for (uint32_t i = 0; i < pairs; ++i) {
        const uint32_t start = list[2 * i], end = list[2 * i + 1];
        if (end <= start)
            continue;
        int32_t result =
            row.Begin(rowOffset + ColumnToByteOffset(bits, column + start));
        if (result == Z_OK)
            result = stretch.Put(row, source, start, end);
        if (result != Z_OK)
            return result;
    }
    return Z_OK;
}

bool KeepsTop(const BitmapHandle *bitmap, int32_t keep) {
    return keep != 0 && (bitmap->BitsPerPixel == 32 ||
                         (bitmap->BitsPerPixel == 16 && bitmap->Order != 2));
}

// The work buffer of a keeping write on the file tier holds the longest
// stretch of the list, and at least a byte.
uint64_t LongestStretchBytes(const uint32_t *list, uint32_t pairs,
                             uint32_t bytesPerPixel) {
    uint32_t longest = 0;
    for (uint32_t i = 0; i < pairs; ++i) {
        const uint32_t start = list[2 * i], end = list[2 * i + 1];
        if (end > start && end - start > longest)
            longest = end - start;
    }
    return longest == 0 ? 1 : uint64_t(longest) * bytesPerPixel;
}

template <class Row>
int32_t PutPlain(BitmapHandle *bitmap, Row &row, const uint8_t *source,
                 uint32_t rowOffset, uint32_t column, const uint32_t *list,
                 uint32_t pairs, bool keep) {
    int32_t result = Z_ERR_BITSPERPIXEL;
    auto put = [&](const auto &stretch) {
        result = PutPairs(bitmap, row, stretch, source, rowOffset, column,
                          list, pairs);
    };
    WithDepth(bitmap->BitsPerPixel, [&](auto depth) {
        constexpr DepthTraits traits = decltype(depth)::kTraits;
        if constexpr (traits.subByte)
            put(SubByteStretch<traits.bits>{});
        else if constexpr (traits.sharesBytes)
            put(TwelveStretch{});
        else if constexpr (traits.bytesPerPixel == 4 || traits.bytesPerPixel == 2)
            keep ? put(KeepStretch<KeepTop<traits.bytesPerPixel>>{})
                 : put(WholeStretch<traits.bytesPerPixel>{});
        else
            put(WholeStretch<traits.bytesPerPixel>{});
    });
    return result;
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" int32_t ZAPI Z_PutBitmapRowSegments(BitmapHandle *bitmap,
                                              void *source, uint32_t row,
                                              uint32_t column,
                                              const uint32_t *list,
                                              uint32_t count, int32_t keep) {
    // An odd count takes the value after the list as the last end.
    const uint32_t pairs = uint32_t((uint64_t(count) + 1) / 2);
    auto *from = static_cast<uint8_t *>(source);
    if (bitmap->Flags & BITMAP_COMPRESSED) {
        const int32_t result =
            pairs == 0 ? Z_OK
                       : CompressedRowSegments(bitmap, from, row, column, list,
                                               pairs);
        bitmap->Size = HeapSizeOf(bitmap);
        return result;
    }
    const uint32_t rowOffset = SeekRow(bitmap, row);
    const bool keepTop = KeepsTop(bitmap, keep);
    if (bitmap->Flags & BITMAP_INMEMORY) {
        MemoryRow memory(bitmap);
        return PutPlain(bitmap, memory, from, rowOffset, column, list, pairs,
                        keepTop);
    }
    if ((bitmap->Flags & BITMAP_ONDISK) == 0)
        return Z_ERR_NOMEM;
    OsBuffer<uint8_t> work;
    if (keepTop) {
        const uint64_t bytes = LongestStretchBytes(
            list, pairs, uint32_t(bitmap->BitsPerPixel) / 8);
        if (bytes > 0xFFFFFFFFu || !work.Allocate(uint32_t(bytes)))
            return Z_ERR_NOMEM;
    }
    FileRow file(bitmap, work.get());
    return PutPlain(bitmap, file, from, rowOffset, column, list, pairs,
                    keepTop);
}

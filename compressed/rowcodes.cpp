// The ...Compressed family: rows moved as codes, on compressed and plain
// 1-bit bitmaps alike. Between two compressed bitmaps a whole-row copy
// moves codes only; a plain bitmap is read or written through a work
// buffer of one row.
#include <cstring>

#include "compressed/rows.h"
#include "compressed/runs.h"
#include "core/guards.h"

namespace ztk {
namespace {

bool IsCompressed(const BitmapHandle *bitmap) {
    return (bitmap->Flags & BITMAP_COMPRESSED) != 0;
}

// The family's common door: an allocated bitmap of one bit per pixel.
int32_t CheckBitmap(const BitmapHandle *bitmap) {
    if (!IsAllocated(bitmap))
        return Z_ERR_NOBITMAP;
    if (bitmap->BitsPerPixel != 1)
        return Z_ERR_BITSPERPIXEL;
    return Z_OK;
}

// Clips a run of rows to the bitmap; false when none is left to do, with
// the result to give in `result`.
bool ClipRows(const BitmapHandle *bitmap, int32_t first, int32_t &rows,
              int32_t &result) {
    const int64_t left = int64_t(bitmap->Height) - first;
    result = Z_OK;
    if (first < 0 || left < 0) {
        result = Z_ERR_PARAM;
        return false;
    }
    if (rows > left)
        rows = int32_t(left);
    return rows > 0;
}

// The caller's work buffer, or one of our own for the length of the call.
class WorkBuffer {
  public:
    WorkBuffer(void *given, uint32_t bytes) {
        data_ = static_cast<uint8_t *>(given);
        if (data_ == nullptr && owned_.Allocate(bytes))
            data_ = owned_.get();
    }
    uint8_t *get() const { return data_; }

  private:
    OsBuffer<uint8_t> owned_;
    uint8_t *data_;
};

uint32_t CountAt(const uint8_t *record) {
    uint32_t n;
    std::memcpy(&n, record, 4);
    return n;
}

const uint16_t *CodesIn(const uint8_t *record) {
    return reinterpret_cast<const uint16_t *>(record + 4);
}

// Whether a write of `bytes` from (row, column) of a plain 1-bit bitmap,
// running on into the next rows as such writes do, stays in its storage.
bool FitsStorage(const BitmapHandle *bitmap, uint32_t row, uint32_t column,
                 uint32_t bytes) {
    if (bitmap->Width <= 0 || column >= uint32_t(bitmap->Width) ||
        row >= uint32_t(bitmap->Height))
        return false;
    const uint64_t room =
        uint64_t(uint32_t(bitmap->Height) - row) * bitmap->BytesPerLine - column / 8;
    return bytes <= room;
}

// One record of a piece of a compressed row, from `column` for `pixels`.
uint32_t ExtractPiece(const BitmapHandle *bitmap, uint32_t row,
                      uint32_t column, uint32_t pixels, uint8_t *record) {
    StoredRow stored;
    LoadRow(bitmap, row, stored);
    CodeBuilder out(reinterpret_cast<uint16_t *>(record + 4), 0xFFFFFFFFu);
    out.Append(0);
    RowWalker walk(stored);
    // Codes no longer than what is still to skip are passed over whole,
    // as in an expansion.
    uint32_t skip = column;
    while (!walk.done() && skip >= walk.avail) {
        skip -= walk.avail;
        walk.Next();
    }
    if (!walk.done())
        walk.avail -= skip;
    for (uint32_t left = pixels; left != 0 && !walk.done();) {
        const uint8_t colour = ColourOf(walk.index);
        const uint32_t took = walk.Take(left);
        out.Join(took, colour);
        left -= took;
    }
    const uint32_t count = out.size();
    std::memcpy(record, &count, 4);
    return count;
}

// Rebuilds the row around the piece in the scratch buffer, exact at any
// pixel, then stores it.
int32_t SplicePiece(BitmapHandle *bitmap, uint32_t row,
                           uint32_t column, uint32_t pixels,
                           const uint16_t *piece, uint32_t n) {
    StoredRow stored;
    LoadRow(bitmap, row, stored);
    RowTable *table = TableOf(bitmap);
    CodeBuilder out(table->Scratch, table->ScratchSize / 2);
    RowWalker walk(stored);
    for (uint32_t left = column; left != 0 && !walk.done();) {
        const uint32_t took = walk.Take(left);
        out.Append(took);
        left -= took;
    }
    // The piece starts with 0-bits: after a prefix ending in 1-bits open a
    // 0-bits code, or go back to the one before an empty 1-bits code.
    if (out.size() == 0)
        out.Append(0);
    else if (out.LastColour() == kBlack && out.Last() != 0)
        out.Append(0);
    else if (out.LastColour() == kBlack)
        out.DropLast();
    if (n != 0)
        out.Extend(piece[0]);
    for (uint32_t i = 1; i < n; ++i)
        out.Append(piece[i]);
    for (uint32_t left = pixels; left != 0 && !walk.done();)
        left -= walk.Take(left);
    const int64_t owed = int64_t(bitmap->Width) - column - pixels;
    if (owed > 0 && !walk.done()) {
        const uint8_t pieceEnd = (n & 1) == 0 ? kBlack : 0;
        const uint8_t cutColour = ColourOf(walk.index);
        uint32_t left = uint32_t(owed);
        const uint32_t rest = walk.Take(left);
        if (cutColour == pieceEnd)
            out.Extend(rest);
        else
            out.AppendLong(rest);
        for (left -= rest; left != 0 && !walk.done();) {
            const uint32_t took = walk.Take(left);
            out.Append(took);
            left -= took;
        }
    }
    if (out.overflow())
        return Z_ERR_PARAM;
    return StoreCodes(bitmap, EntryOf(bitmap, row), out.data(), out.size());
}

} // namespace

int32_t StoreCodes(BitmapHandle *bitmap, RowEntry *entry,
                   const uint16_t *codes, uint32_t count) {
    if (count > 0x7FFFFFFFu)
        return Z_ERR_PARAM;
    RowTable *table = TableOf(bitmap);
    uint32_t offset = entry->Offset;
    if (offset == 0)
        offset = RowHeapAlloc(&table->RowHeap, count * 2);
    else if (entry->Count != count)
        offset = RowHeapResize(&table->RowHeap, offset, count * 2);
    if (offset == 0)
        return Z_ERR_NOMEM;
    std::memmove(CodesAt(table->RowHeap, offset), codes, size_t(count) * 2);
    entry->Offset = offset;
    entry->Count = count;
    return Z_OK;
}

void LoadRow(const BitmapHandle *bitmap, uint32_t row, StoredRow &out) {
    const RowEntry *entry = EntryOf(bitmap, row);
    out.unset = uint16_t(bitmap->Width);
    if (entry->Offset == 0) {
        out.codes = &out.unset;
        out.count = 1;
    } else {
        out.codes = CodesAt(TableOf(bitmap)->RowHeap, entry->Offset);
        out.count = entry->Count;
    }
}

} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_GetBitmapRowCompressed(BitmapHandle *bitmap, void *work,
                                      void *buffer, int32_t firstRow,
                                      int32_t rows) {
    int32_t result = CheckBitmap(bitmap);
    if (result != Z_OK || !ClipRows(bitmap, firstRow, rows, result))
        return result;
    auto *out = static_cast<uint8_t *>(buffer);
    if (IsCompressed(bitmap)) {
        for (int32_t r = 0; r < rows; ++r) {
            StoredRow stored;
            LoadRow(bitmap, uint32_t(firstRow + r), stored);
            std::memcpy(out, &stored.count, 4);
            std::memcpy(out + 4, stored.codes, size_t(stored.count) * 2);
            out += 4 + size_t(stored.count) * 2;
        }
        return Z_OK;
    }
    BitmapLock lock(bitmap);
    WorkBuffer scratch(work, bitmap->BytesPerLine);
    if (scratch.get() == nullptr)
        return Z_ERR_NOMEM;
    for (int32_t r = 0; r < rows; ++r) {
        const int32_t got =
            CompressedRowCodes(bitmap, scratch.get(), out, uint32_t(firstRow + r),
                               0, uint32_t(bitmap->Width));
        if (got != bitmap->Width)
            return got < 0 ? got : Z_ERR_WRITE;
        out += 4 + size_t(CountAt(out)) * 2;
    }
    return Z_OK;
}

int32_t ZAPI Z_PutBitmapRowCompressed(BitmapHandle *bitmap, void *work,
                                      const void *buffer, int32_t firstRow,
                                      int32_t rows) {
    int32_t result = CheckBitmap(bitmap);
    if (result != Z_OK || !ClipRows(bitmap, firstRow, rows, result))
        return result;
    auto *in = static_cast<const uint8_t *>(buffer);
    if (IsCompressed(bitmap)) {
        for (int32_t r = 0; r < rows && result == Z_OK; ++r) {
            const uint32_t count = CountAt(in);
            result = StoreCodes(bitmap, EntryOf(bitmap, uint32_t(firstRow + r)),
                                CodesIn(in), count);
            in += 4 + size_t(count) * 2;
        }
        bitmap->Size = HeapSizeOf(bitmap);
        return result;
    }
    BitmapLock lock(bitmap);
    const uint32_t stride = bitmap->BytesPerLine;
    WorkBuffer scratch(work, stride);
    if (scratch.get() == nullptr)
        return Z_ERR_NOMEM;
    const uint32_t width = uint32_t(bitmap->Width);
    const uint32_t expanded = uint32_t((uint64_t(width) + 7) / 8);
    for (int32_t r = 0; r < rows; ++r) {
        const uint32_t count = CountAt(in);
        RunExpand(CodesIn(in), count, scratch.get(), 0, width);
        if (stride > expanded)
            std::memset(scratch.get() + expanded, 0, stride - expanded);
        const int32_t put = Z_PutBitmapRow(bitmap, scratch.get(),
                                           uint32_t(firstRow + r), stride);
        if (put != int32_t(stride))
            return put < 0 ? put : Z_ERR_WRITE;
        in += 4 + size_t(count) * 2;
    }
    return Z_OK;
}

int32_t ZAPI Z_GetBitmapRowColCompressed(BitmapHandle *bitmap, void *work,
                                         void *buffer, uint32_t row,
                                         uint32_t column, uint32_t pixels) {
    const int32_t checked = CheckBitmap(bitmap);
    if (checked != Z_OK)
        return checked;
    auto *out = static_cast<uint8_t *>(buffer);
    if (!IsCompressed(bitmap)) {
        BitmapLock lock(bitmap);
        WorkBuffer scratch(work, bitmap->BytesPerLine);
        if (scratch.get() == nullptr)
            return Z_ERR_NOMEM;
        return CompressedRowCodes(bitmap, scratch.get(), out, row, column,
                                  pixels);
    }
    const uint32_t width = uint32_t(bitmap->Width);
    if (bitmap->Width <= 0 || column >= width ||
        row >= uint32_t(bitmap->Height))
        return Z_ERR_PARAM;
    if (column == 0 && pixels == width) {
        const RowEntry *entry = EntryOf(bitmap, row);
        if (entry->Offset != 0) {
            StoredRow stored;
            LoadRow(bitmap, row, stored);
            std::memcpy(out, &stored.count, 4);
            std::memcpy(out + 4, stored.codes, size_t(stored.count) * 2);
            return int32_t(pixels);
        }
        // A very wide empty row is given as runs of 32767 and the call
        // answers with the last run; the alternation makes such a row
        // striped, and hosts have always had it so.
        if (pixels < 32768) {
            const uint32_t one = 1;
            const uint16_t code = uint16_t(pixels);
            std::memcpy(out, &one, 4);
            std::memcpy(out + 4, &code, 2);
            return int32_t(pixels);
        }
        const uint32_t k = (pixels - 1) / 32767;
        auto *codes = reinterpret_cast<uint16_t *>(out + 4);
        for (uint32_t i = 0; i < k; ++i)
            codes[i] = 32767;
        const uint32_t rest = pixels - k * 32767;
        codes[k] = uint16_t(rest);
        const uint32_t count = k + 1;
        std::memcpy(out, &count, 4);
        return int32_t(rest);
    }
    uint32_t left = pixels;
    for (; left != 0 && row < uint32_t(bitmap->Height); ++row, column = 0) {
        const uint32_t n = width - column < left ? width - column : left;
        const uint32_t count = ExtractPiece(bitmap, row, column, n, out);
        out += 4 + size_t(count) * 2;
        left -= n;
    }
    return int32_t(pixels - left);
}

int32_t ZAPI Z_PutBitmapRowColCompressed(BitmapHandle *bitmap, void *work,
                                         const void *source, uint32_t row,
                                         uint32_t column, uint32_t pixels) {
    const int32_t checked = CheckBitmap(bitmap);
    if (checked != Z_OK)
        return checked;
    auto *in = static_cast<const uint8_t *>(source);
    const uint32_t n = CountAt(in);
    if (!IsCompressed(bitmap)) {
        const uint32_t bytes = uint32_t((uint64_t(pixels) + 7) >> 3);
        if (!FitsStorage(bitmap, row, column, bytes))
            return Z_ERR_PARAM;
        BitmapLock lock(bitmap);
        WorkBuffer scratch(work, bytes > bitmap->BytesPerLine
                                     ? bytes
                                     : bitmap->BytesPerLine);
        if (scratch.get() == nullptr)
            return Z_ERR_NOMEM;
        RunExpand(CodesIn(in), n, scratch.get(), 0, pixels);
        return Z_PutBitmapRowCol(bitmap, scratch.get(), row, column, bytes);
    }
    const uint32_t width = uint32_t(bitmap->Width);
    int32_t result;
    if (bitmap->Width <= 0 || column >= width ||
        row >= uint32_t(bitmap->Height))
        result = Z_ERR_PARAM;
    else if (column == 0 && pixels == width)
        result = StoreCodes(bitmap, EntryOf(bitmap, row), CodesIn(in), n);
    else
        result = SplicePiece(bitmap, row, column, pixels, CodesIn(in), n);
    bitmap->Size = HeapSizeOf(bitmap);
    return result == Z_OK ? int32_t(pixels) : result;
}

} // extern "C"

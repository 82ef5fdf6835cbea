// Row segments on a compressed bitmap: the row is rebuilt once in the
// scratch buffer for the whole list, old codes copied across the gaps and
// the source coded over each stretch, then stored in one heap operation.
#include <cstring>

#include "compressed/rows.h"
#include "compressed/runs.h"
#include "compressed/storage.h"
#include "core/packed.h"

namespace ztk {
namespace {

// Old codes over `pixels` pixels: the first piece joins the last code
// when the colours agree, the rest follow as they stand, and the last is
// cut where the pixels end.
void CopyOld(CodeBuilder &out, RowWalker &walk, uint32_t pixels) {
    bool first = true;
    for (uint32_t left = pixels; left != 0 && !walk.done(); first = false) {
        const uint8_t colour = ColourOf(walk.index);
        const uint32_t took = walk.Take(left);
        if (first)
            out.Join(took, colour);
        else
            out.Append(took);
        left -= took;
    }
}

void SkipOld(RowWalker &walk, uint32_t pixels) {
    for (uint32_t left = pixels; left != 0 && !walk.done();)
        left -= walk.Take(left);
}

// Codes a stretch of source bits from the last code on, which stays open
// for what follows. A stretch starting inside a byte lends that byte's
// earlier bits the colour of the last code and takes them back off the
// code's start value, so the byte is coded whole; the byte is restored.
bool CodeStretch(CodeBuilder &out, uint8_t *source, uint32_t start,
                 uint32_t pixels) {
    if (out.room() + 1 < CodesForPixels(pixels))
        return false;
    const uint32_t k = start & 7;
    uint8_t *bytes = source + (start >> 3);
    const uint8_t colour = out.LastColour();
    const uint8_t saved = bytes[0];
    if (k != 0) {
        const uint8_t lent = colour != 0 ? uint8_t(~StartMask(k)) : 0;
        bytes[0] = uint8_t((saved & StartMask(k)) | lent);
    }
    uint16_t *cursor = out.end() - 1;
    uint8_t following = 0;
    RunCompress(cursor, following, (out.Last() + 0x10000u - k) & kMaxCode,
                colour, bytes, pixels + k, 0, 0);
    bytes[0] = saved;
    out.Advance(cursor);
    return true;
}

} // namespace

int32_t CompressedRowSegments(BitmapHandle *bitmap, uint8_t *source,
                              uint32_t row, uint32_t column,
                              const uint32_t *list, uint32_t pairs) {
    if (row >= uint32_t(bitmap->Height))
        return Z_ERR_PARAM;
    StoredRow stored;
    LoadRow(bitmap, row, stored);
    RowTable *table = TableOf(bitmap);
    CodeBuilder out(table->Scratch, table->ScratchSize / 2);
    RowWalker walk(stored);
    out.Append(0);
    uint32_t place = 0;
    for (uint32_t i = 0; i < pairs; ++i) {
        const uint32_t start = list[2 * i], end = list[2 * i + 1];
        if (end <= start)
            continue;
        const uint32_t at = column + start;
        if (at > place)
            CopyOld(out, walk, at - place);
        SkipOld(walk, end - start);
        if (!CodeStretch(out, source, start, end - start))
            return Z_ERR_PARAM;
        place = column + end;
    }
    const uint32_t width = uint32_t(bitmap->Width);
    if (width > place)
        CopyOld(out, walk, width - place);
    if (out.overflow())
        return Z_ERR_PARAM;
    return StoreCodes(bitmap, EntryOf(bitmap, row), out.data(), out.size());
}

} // namespace ztk

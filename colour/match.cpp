// Colour matching: the nearest-entry search over an RGBQUAD array, the
// 15-bit user match table built from it and the thread's choice of table,
// the set-bit table's export, and the map from one palette to another.
//
// The search is a plain scan over the table of squares; its shortcuts for
// black and white serve the common 1-bit and gray palettes.
#include <cstring>

#include "colour/colour.h"
#include "colour/match.h"
#include "colour/tables/counts.h"
#include "core/context.h"
#include "ztkrn.h"

namespace ztk {
namespace {

constexpr uint32_t kMatchTableEntries = 32768;

constexpr bool IsColour(const RGBQUAD &entry, uint32_t value) {
    return entry.rgbRed == value && entry.rgbGreen == value &&
           entry.rgbBlue == value;
}

// Channels outside 0..255 would index past the table of squares.
constexpr uint32_t Channel(int32_t value) {
    return value < 0 ? 0u : value > 255 ? 255u : uint32_t(value);
}

// Black prefers the first entry and white the last, each looking at the
// other end only second; -1 when neither end fits.
int32_t EndShortcut(const RGBQUAD *palette, int32_t count, uint32_t red,
                    uint32_t green, uint32_t blue) {
    const int32_t last = count - 1;
    if ((red | green | blue) == 0) {
        if (IsColour(palette[0], 0))
            return 0;
        if (IsColour(palette[last], 0))
            return last;
    } else if ((red & green & blue) == 255) {
        if (IsColour(palette[last], 255))
            return last;
        if (IsColour(palette[0], 255))
            return 0;
    }
    return -1;
}

// Among equally near entries the last one ordered like the wanted colour
// wins; if none is, the first found stays. An exact match ends the scan,
// so a duplicate after it is never seen.
int32_t ScanNearest(const RGBQUAD *palette, int32_t count, uint32_t red,
                    uint32_t green, uint32_t blue) {
    const uint32_t wanted = OrderingClass(red, green, blue);
    // Rows of the table of squares centred on the wanted channels, so that
    // an entry's channel indexes its squared difference directly.
    const uint32_t *toRed = tables::DifferenceSquares.values + 255 - red;
    const uint32_t *toGreen = tables::DifferenceSquares.values + 255 - green;
    const uint32_t *toBlue = tables::DifferenceSquares.values + 255 - blue;
    uint32_t bestDistance = 0xFFFFFFFFu;
    int32_t best = -1;
    for (int32_t i = 0; i < count && bestDistance != 0; ++i) {
        const RGBQUAD &e = palette[i];
        const uint32_t d =
            toRed[e.rgbRed] + toGreen[e.rgbGreen] + toBlue[e.rgbBlue];
        if (d < bestDistance) {
            bestDistance = d;
            best = i;
        } else if (d == bestDistance &&
                   OrderingClass(e.rgbRed, e.rgbGreen, e.rgbBlue) == wanted) {
            best = i;
        }
    }
    return best;
}

int32_t FindNearest(const RGBQUAD *palette, int32_t count, uint32_t red,
                    uint32_t green, uint32_t blue) {
    // An empty palette has no ends to look at.
    if (palette == nullptr || count <= 0)
        return -1;
    const int32_t end = EndShortcut(palette, count, red, green, blue);
    if (end >= 0)
        return end;
    return ScanNearest(palette, count, red, green, blue);
}

int32_t BoundMapCount(int32_t count) {
    return count < 0 ? 0 : count > 256 ? 256 : count;
}

bool IsIdentity(const uint8_t *map, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        if (map[i] != uint8_t(i))
            return false;
    }
    return true;
}

} // namespace

int32_t BuildPaletteMap(const RGBQUAD *source, int32_t sourceCount,
                        const RGBQUAD *destination, int32_t destinationCount,
                        uint8_t *map) {
    if (source == nullptr && destination == nullptr)
        return 1;
    if (source == nullptr) {
        // Gray source: every level finds its entry.
        for (uint32_t i = 0; i < 256; ++i)
            map[i] = uint8_t(
                FindNearest(destination, destinationCount, i, i, i));
        return IsIdentity(map, 256) ? 1 : 0;
    }
    const int32_t n = BoundMapCount(sourceCount);
    if (destination == nullptr) {
        // Gray destination: every entry becomes its gray level.
        for (int32_t i = 0; i < n; ++i)
            map[i] = uint8_t(GrayOfColor(source[i].rgbRed, source[i].rgbGreen,
                                         source[i].rgbBlue));
        return IsIdentity(map, n) ? 1 : 0;
    }
    if (destinationCount >= n &&
        std::memcmp(source, destination, size_t(n) * sizeof(RGBQUAD)) == 0) {
        for (int32_t i = 0; i < n; ++i)
            map[i] = uint8_t(i);
        return 1;
    }
    for (int32_t i = 0; i < n; ++i)
        map[i] = uint8_t(FindNearest(destination, destinationCount,
                                     source[i].rgbRed, source[i].rgbGreen,
                                     source[i].rgbBlue));
    return IsIdentity(map, n) ? 1 : 0;
}

} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_FindPaletteIndex(const RGBQUAD *palette, int32_t count,
                                int32_t red, int32_t green, int32_t blue) {
    return FindNearest(palette, count, Channel(red), Channel(green),
                       Channel(blue));
}

uint32_t *ZAPI Z_CreateUserMatchTable(const RGBQUAD *palette, int32_t count) {
    auto *table = static_cast<uint32_t *>(
        Z_OsAlloc(kMatchTableEntries * sizeof(uint32_t)));
    if (table == nullptr)
        return nullptr;
    // Each cell is looked up by its lowest colour, so the brightest colour
    // searched is 248 in each channel, never pure white.
    for (uint32_t key = 0; key < kMatchTableEntries; ++key) {
        const uint32_t red = ((key >> 10) & 31u) * 8u;
        const uint32_t green = ((key >> 5) & 31u) * 8u;
        const uint32_t blue = (key & 31u) * 8u;
        table[key] = uint32_t(FindNearest(palette, count, red, green, blue) + 1);
    }
    return table;
}

uint32_t *ZAPI Z_SetUserMatchTable(uint32_t *table) {
    ThreadContext &context = Context();
    uint32_t *previous = context.UserMatchTable;
    context.UserMatchTable = table;
    return previous;
}

int32_t ZAPI Z_FreeUserMatchTable(uint32_t *table) {
    if (table != nullptr)
        Z_OsFree(table);
    return Z_OK;
}

const uint8_t *ZAPI Z_Get1BitOnTable(void) {
    return tables::BitCountTable.values;
}

} // extern "C"

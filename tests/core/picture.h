// Pictures for geometry and copy tests: bitmaps on any tier filled with
// patterned pixels, and their pixels read back through the row calls, so
// that expectations are worked out pixel by pixel, away from the code
// under test.
#pragma once

#include <cstdint>
#include <vector>

#include "core/guards.h"
#include "core/packed.h"
#include "tests/support/support.h"

namespace ztk::testing {

// A storage kind for a test: the three plain tiers and run-coded rows.
enum class Store { Mapping, GlobalBlock, TemporaryFile, Compressed };

inline const char *StoreName(Store s) {
    switch (s) {
    case Store::Mapping: return "mapping";
    case Store::GlobalBlock: return "global block";
    case Store::TemporaryFile: return "temporary file";
    default: return "compressed";
    }
}

inline Tier TierOf(Store s) {
    return s == Store::GlobalBlock     ? Tier::GlobalBlock
           : s == Store::TemporaryFile ? Tier::TemporaryFile
                                       : Tier::Mapping;
}

inline int32_t MemoryOf(Store s) {
    return s == Store::Compressed ? MEMORY_COMPRESSED : MemoryFor(TierOf(s));
}

using Pixels = std::vector<std::vector<uint32_t>>;

inline uint32_t PixelMask(int32_t bits) {
    return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
}

inline std::vector<uint8_t> ReadRow(BitmapHandle *b, int32_t y) {
    std::vector<uint8_t> row(b->BytesPerLine + 4, 0);
    BitmapLock lock(b); // a global block has no address until locked
    Z_GetBitmapRow(b, row.data(), uint32_t(y), b->BytesPerLine);
    return row;
}

inline Pixels ReadPixels(BitmapHandle *b) {
    Pixels out(static_cast<size_t>(b->Height),
               std::vector<uint32_t>(static_cast<size_t>(b->Width)));
    for (int32_t y = 0; y < b->Height; ++y) {
        const auto row = ReadRow(b, y);
        for (int32_t x = 0; x < b->Width; ++x)
            out[y][x] = GetPixelBits(row.data(), uint32_t(x), b->BitsPerPixel);
    }
    return out;
}

inline void WritePixels(BitmapHandle *b, const Pixels &p) {
    std::vector<uint8_t> row(b->BytesPerLine + 4);
    BitmapLock lock(b);
    for (int32_t y = 0; y < b->Height; ++y) {
        std::fill(row.begin(), row.end(), uint8_t(0));
        for (int32_t x = 0; x < b->Width; ++x)
            PutPixelBits(row.data(), uint32_t(x), b->BitsPerPixel, p[y][x]);
        Z_PutBitmapRow(b, row.data(), uint32_t(y), b->BytesPerLine);
    }
}

inline Pixels PatternPixels(int32_t width, int32_t height, int32_t bits,
                            uint32_t seed) {
    const auto bytes = Pattern(uint32_t(width * height * 4), seed);
    Pixels p(static_cast<size_t>(height),
             std::vector<uint32_t>(static_cast<size_t>(width)));
    size_t i = 0;
    for (auto &row : p)
        for (auto &v : row) {
            v = (uint32_t(bytes[i]) | (uint32_t(bytes[i + 1]) << 8) |
                 (uint32_t(bytes[i + 2]) << 16) |
                 (uint32_t(bytes[i + 3]) << 24)) &
                PixelMask(bits);
            i += 4;
        }
    return p;
}

// Makes and fills a bitmap; the caller holds the tier's scope.
inline void MakePicture(Bitmap &b, Store store, int32_t width, int32_t height,
                        int32_t bits, uint32_t seed, int32_t view = 0) {
    ASSERT_EQ(Z_CreateBitmap(b.get(), MemoryOf(store), width, height, bits, 0,
                             nullptr, view),
              Z_OK);
    if (store == Store::Compressed) {
        ASSERT_TRUE(b->Flags & BITMAP_COMPRESSED);
    }
    WritePixels(b.get(), PatternPixels(width, height, bits, seed));
}

// Every stored byte of a bitmap, padding included.
inline std::vector<uint8_t> AllBytes(BitmapHandle *b) {
    std::vector<uint8_t> out;
    for (int32_t y = 0; y < b->Height; ++y) {
        auto row = ReadRow(b, y);
        out.insert(out.end(), row.begin(), row.begin() + b->BytesPerLine);
    }
    return out;
}

inline const int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32};

} // namespace ztk::testing

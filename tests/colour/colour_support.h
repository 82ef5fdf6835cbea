// Helpers shared by the colour tests: colours and palettes written as
// lists, gray tables, and a fixture that fails a test which leaves a
// block, a palette or a match table behind.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "core/os/os.h"
#include "tests/support/support.h"
#include "ztkrn.h"

namespace ztk::testing {

inline RGBQUAD Rgb(uint8_t red, uint8_t green, uint8_t blue,
                   uint8_t reserved = 0) {
    RGBQUAD q;
    q.rgbBlue = blue;
    q.rgbGreen = green;
    q.rgbRed = red;
    q.rgbReserved = reserved;
    return q;
}

inline RGBQUAD Gray(uint8_t level) { return Rgb(level, level, level); }

inline ColorValue Direct(uint32_t r, uint32_t g, uint32_t b) {
    return r | (g << 8) | (b << 16);
}

// A table of `n` entries where entry i is the colour `of(i)`.
template <class Of>
std::vector<RGBQUAD> Table(uint32_t n, Of of) {
    std::vector<RGBQUAD> t(n);
    for (uint32_t i = 0; i < n; ++i)
        t[i] = of(i);
    return t;
}

// Puts a copy of `entries` in force as the bitmap's gray table; the
// bitmap's owner frees it with Z_InitGrayParams.
inline void SetGrayTable(BitmapHandle *b, const std::vector<RGBQUAD> &entries) {
    const size_t bytes = entries.size() * sizeof(RGBQUAD);
    b->GrayLUT = static_cast<RGBQUAD *>(Z_OsAlloc(uint32_t(bytes)));
    std::memcpy(b->GrayLUT, entries.data(), bytes);
    b->GrayLUTLength = uint32_t(entries.size());
    b->Flags |= BITMAP_GRAYLUT;
}

inline bool SameColour(const RGBQUAD &a, const RGBQUAD &b) {
    return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen &&
           a.rgbBlue == b.rgbBlue && a.rgbReserved == b.rgbReserved;
}

// Entries of a logical palette, read back through the public call.
inline std::vector<RGBQUAD> EntriesOf(ZHPALETTE palette) {
    std::vector<RGBQUAD> out(256);
    const int32_t got = Z_GetPaletteEntries(palette, 0, 256, out.data());
    out.resize(size_t(got > 0 ? got : 0));
    return out;
}

class NoLeakTest : public ::testing::Test {
  protected:
    void SetUp() override { before_ = ztk::test::LiveUsage(); }
    void TearDown() override {
        const auto after = ztk::test::LiveUsage();
        EXPECT_EQ(before_.blocks, after.blocks) << "blocks left behind";
        EXPECT_EQ(before_.bytes, after.bytes) << "bytes left behind";
        EXPECT_EQ(before_.objects, after.objects) << "palettes left behind";
    }
    ztk::test::Usage before_{};
};

// A logical palette deleted at the end of the scope.
class Palette {
  public:
    explicit Palette(ZHPALETTE handle) : handle_(handle) {}
    explicit Palette(const std::vector<RGBQUAD> &entries)
        : handle_(Z_CreatePalette(entries.data(), int32_t(entries.size()))) {}
    ~Palette() {
        if (handle_ != nullptr) {
            EXPECT_TRUE(ztk::os::ObjectDelete(handle_));
        }
    }
    Palette(const Palette &) = delete;
    Palette &operator=(const Palette &) = delete;
    ZHPALETTE get() const { return handle_; }

  private:
    ZHPALETTE handle_;
};

} // namespace ztk::testing

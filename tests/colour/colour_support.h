// Helpers shared by the colour tests: palettes written as lists of
// colours, and a fixture that fails a test which leaves a block, a
// palette or a match table behind.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

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
            EXPECT_TRUE(DeletePalette(handle_));
        }
    }
    Palette(const Palette &) = delete;
    Palette &operator=(const Palette &) = delete;
    ZHPALETTE get() const { return handle_; }
    ZHPALETTE release() {
        ZHPALETTE h = handle_;
        handle_ = nullptr;
        return h;
    }
    static bool DeletePalette(ZHPALETTE handle);

  private:
    ZHPALETTE handle_;
};

} // namespace ztk::testing

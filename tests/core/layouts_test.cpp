// The layout types of the row kernels: four pixels at once are the same as
// one at a time, and MapPixels converts in place in both directions without
// reading a pixel it has already overwritten.
#include <gtest/gtest.h>

#include <vector>

#include "core/packed.h"
#include "tests/support/support.h"

namespace ztk::testing {
namespace {

template <class Layout>
void CheckGroups() {
    SCOPED_TRACE(Layout::kBits);
    const std::vector<uint8_t> row = Pattern(64, uint32_t(Layout::kBits));
    for (uint32_t x = 0; x < 8; ++x) {
        const Quad q = Layout::Get4(row.data(), x);
        EXPECT_EQ(q.a, Layout::Get(row.data(), x));
        EXPECT_EQ(q.b, Layout::Get(row.data(), x + 1));
        EXPECT_EQ(q.c, Layout::Get(row.data(), x + 2));
        EXPECT_EQ(q.d, Layout::Get(row.data(), x + 3));
        std::vector<uint8_t> one = row, four = row;
        const Quad values{0x89ABCDEFu, 0x12345678u, 0xFEDCBA98u, 0x0F1E2D3Cu};
        const uint32_t mask = Layout::kBits == 32 ? 0xFFFFFFFFu
                                                  : (1u << Layout::kBits) - 1u;
        Layout::Put(one.data(), x, values.a & mask);
        Layout::Put(one.data(), x + 1, values.b & mask);
        Layout::Put(one.data(), x + 2, values.c & mask);
        Layout::Put(one.data(), x + 3, values.d & mask);
        Layout::Put4(four.data(), x,
                     Quad{values.a & mask, values.b & mask, values.c & mask,
                          values.d & mask});
        EXPECT_EQ(one, four) << "from pixel " << x;
    }
}

TEST(Layouts, FourAtOnceIsFourTimesOne) {
    CheckGroups<Layout8>();
    CheckGroups<LayoutPacked<1>>();
    CheckGroups<LayoutPacked<3>>();
    CheckGroups<LayoutPacked<7>>();
    CheckGroups<Layout12>();
    CheckGroups<Layout16>();
    CheckGroups<Layout24>();
    CheckGroups<Layout32>();
}

// Widening and narrowing in one buffer give what two buffers give.
template <class Src, class Dst>
void CheckInPlace(uint32_t count) {
    SCOPED_TRACE(::testing::Message() << Src::kBits << " to " << Dst::kBits
                                      << ", " << count << " pixels");
    const std::vector<uint8_t> source = Pattern(count * 4 + 8, count);
    std::vector<uint8_t> apart(source.size(), 0), same = source;
    auto fn = [](uint32_t v) { return v * 2654435761u >> 7; };
    MapPixels<Src, Dst>(source.data(), apart.data(), count, fn);
    MapPixels<Src, Dst>(same.data(), same.data(), count, fn);
    for (uint32_t x = 0; x < count; ++x)
        ASSERT_EQ(Dst::Get(same.data(), x), Dst::Get(apart.data(), x)) << x;
}

TEST(Layouts, MapPixelsInPlaceInBothDirections) {
    for (uint32_t count : {1u, 3u, 4u, 5u, 8u, 13u}) {
        CheckInPlace<Layout8, Layout24>(count);
        CheckInPlace<Layout24, Layout32>(count);
        CheckInPlace<LayoutPacked<3>, Layout12>(count);
        CheckInPlace<Layout12, Layout16>(count);
        CheckInPlace<Layout32, Layout24>(count);
        CheckInPlace<Layout16, Layout8>(count);
        CheckInPlace<Layout12, LayoutPacked<5>>(count);
        CheckInPlace<LayoutPacked<6>, LayoutPacked<6>>(count);
    }
}

} // namespace
} // namespace ztk::testing

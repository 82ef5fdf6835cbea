// The region record's deletion and the three region questions, with and
// without a companion module in the dispatch table.
#include <gtest/gtest.h>

#include "compositing/region.h"
#include "core/os/os.h"
#include "tests/compositing/companion.h"
#include "tests/support/support.h"

namespace {

using namespace ztk::testing;

TEST(DeleteZarnRgn, FreesListsHandlesAndRecord) {
    EXPECT_EQ(Z_DeleteZarnRgn(nullptr), Z_ERR_PARAM);
    const auto before = ztk::test::LiveUsage();
    struct Case {
        bool first, second, regionHandle, secondHandle;
    } cases[] = {{true, true, true, true},
                 {false, true, false, true}, // the second handle alone
                 {true, false, true, false},
                 {false, false, false, false}};
    for (const Case &c : cases) {
        auto *region = static_cast<ZarnRgn *>(Z_OsAllocInit(sizeof(ZarnRgn), 1));
        region->Bounds = RECT{1, 2, 3, 4};
        if (c.first) {
            region->FirstList = static_cast<uint32_t *>(Z_OsAlloc(16));
            region->FirstListCount = 4;
        }
        if (c.second) {
            region->SecondList = static_cast<uint32_t *>(Z_OsAlloc(8));
            region->SecondListCount = 2;
        }
        if (c.regionHandle)
            region->RegionHandle = ztk::os::PaletteCreate(nullptr, 2);
        if (c.secondHandle)
            region->SecondHandle = ztk::os::PaletteCreate(nullptr, 2);
        EXPECT_EQ(Z_DeleteZarnRgn(region), Z_OK);
        EXPECT_EQ(ztk::test::LiveUsage(), before);
    }
}

TEST(RegionQuestions, WithoutACompanionDescribeTheWholeBitmap) {
    Bitmap b(37, 5, 8);
    RECT rect{9, 9, 9, 9};
    EXPECT_EQ(Z_IntRegionBounds(b.get(), 0, &rect), Z_OK);
    EXPECT_EQ(rect.left, 0);
    EXPECT_EQ(rect.top, 0);
    EXPECT_EQ(rect.right, 37);
    EXPECT_EQ(rect.bottom, 5);
    EXPECT_EQ(Z_IntRegionBounds(b.get(), 0, nullptr), Z_OK);
    EXPECT_EQ(Z_IntRegionBounds(nullptr, 0, &rect), Z_ERR_NOBITMAP);

    uint32_t count = 0;
    EXPECT_EQ(Z_IntRegionMaxValues(b.get(), &count), Z_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(Z_IntRegionMaxValues(nullptr, &count), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_IntRegionMaxValues(b.get(), nullptr), Z_ERR_PARAM);

    // Any row, even one past the bitmap, is the one pair over the row.
    uint32_t list[2] = {7, 7};
    count = 0;
    EXPECT_EQ(Z_IntRegionRowSegments(b.get(), 99, list, &count), Z_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(list[0], 0u);
    EXPECT_EQ(list[1], 37u);
    EXPECT_EQ(Z_IntRegionRowSegments(nullptr, 0, list, &count), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_IntRegionRowSegments(b.get(), 0, list, nullptr), Z_ERR_PARAM);
    EXPECT_EQ(Z_IntRegionRowSegments(b.get(), 0, nullptr, &count), Z_ERR_PARAM);
}

TEST(RegionQuestions, AFilledSlotAnswersWithItsOwnResult) {
    Bitmap b(37, 5, 8);
    Companion companion(RECT{3, 1, 20, 3}, {{3, 5, 8, 20}, {}}, 6);
    companion.answer = -77;
    RECT rect{};
    EXPECT_EQ(Z_IntRegionBounds(b.get(), 5, &rect), -77);
    EXPECT_EQ(companion.lastOption, 5);
    EXPECT_EQ(rect.left, 3);
    EXPECT_EQ(rect.bottom, 3);
    uint32_t count = 0;
    EXPECT_EQ(Z_IntRegionMaxValues(b.get(), &count), -77);
    EXPECT_EQ(count, 6u);
    uint32_t list[6] = {};
    EXPECT_EQ(Z_IntRegionRowSegments(b.get(), 1, list, &count), -77);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(list[2], 8u);
    EXPECT_EQ(Z_IntRegionRowSegments(b.get(), 2, list, &count), -77);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(companion.lastBitmap, b.get());
    EXPECT_EQ(companion.rowsAsked, (std::vector<uint32_t>{1, 2}));
}

} // namespace

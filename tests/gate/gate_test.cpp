// The licence gate: everything enabled unless withheld.
#include <gtest/gtest.h>

#include "core/testhooks.h"
#include "gate/gate.h"
#include "ztkrn.h"

namespace {

TEST(Gate, EveryFeatureIsEnabledByDefault) {
    for (uint32_t bit = 1; bit <= SUPPORT_ALL; bit <<= 1) {
        EXPECT_EQ(Z_IsSupportLocked(bit), 0) << bit;
        EXPECT_TRUE(ztk::gate::Allows(bit));
    }
    EXPECT_EQ(ztk::gate::Level(), int32_t(SUPPORT_ALL));
}

TEST(Gate, AWithheldFeatureIsRefusedUntilUnlocked) {
    ztk::test::LockFeature(SUPPORT_VIEW_PERSPECTIVE | SUPPORT_GRAYSCALE, true);
    EXPECT_EQ(Z_IsSupportLocked(SUPPORT_VIEW_PERSPECTIVE), 1);
    EXPECT_EQ(Z_IsSupportLocked(SUPPORT_GRAYSCALE), 1);
    EXPECT_EQ(Z_IsSupportLocked(SUPPORT_COMPRESSED), 0);
    EXPECT_EQ(Z_UnlockSupport(SUPPORT_VIEW_PERSPECTIVE, "any key"), Z_OK);
    EXPECT_EQ(Z_IsSupportLocked(SUPPORT_VIEW_PERSPECTIVE), 0);
    EXPECT_EQ(Z_IsSupportLocked(SUPPORT_GRAYSCALE), 1);
    EXPECT_EQ(Z_UnlockSupport(0x8000u, nullptr), Z_ERR_PARAM);
    ztk::test::LockFeature(SUPPORT_ALL, false);
    EXPECT_EQ(Z_IsSupportLocked(SUPPORT_GRAYSCALE), 0);
}

} // namespace

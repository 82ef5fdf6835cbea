// The dispatch table that companion modules fill.
#include <gtest/gtest.h>

#include "core/dispatch.h"

namespace {

int32_t ZAPI AfterReverse(BitmapHandle *) { return Z_OK; }
int32_t ZAPI AfterFlip(BitmapHandle *) { return 7; }

TEST(Dispatch, EmptyUntilAModuleFillsIt) {
    ztk::ClearDispatchTable();
    ZDISPATCHPROC table[DISPATCH_SLOTS];
    EXPECT_EQ(Z_GetDisDispatch(table), Z_ERR_NODISPATCH);
    EXPECT_EQ(Z_GetDisDispatch(nullptr), Z_ERR_PARAM);
    EXPECT_EQ(ztk::DispatchSlot<ztk::AfterBitmapProc>(SLOT_AFTERFLIP), nullptr);
}

TEST(Dispatch, SetCopiesAllSlotsAndGetHandsThemBack) {
    ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
    table[SLOT_AFTERREVERSE] = reinterpret_cast<ZDISPATCHPROC>(AfterReverse);
    table[SLOT_AFTERFLIP] = reinterpret_cast<ZDISPATCHPROC>(AfterFlip);
    EXPECT_EQ(Z_SetDisDispatch(table), Z_OK);
    ZDISPATCHPROC out[DISPATCH_SLOTS] = {};
    EXPECT_EQ(Z_GetDisDispatch(out), Z_OK);
    for (int i = 0; i < DISPATCH_SLOTS; ++i)
        EXPECT_EQ(out[i], table[i]) << "slot " << i;
    EXPECT_EQ(Z_GetDisDispatch(nullptr), Z_ERR_PARAM); // whatever it holds
    auto after = ztk::DispatchSlot<ztk::AfterBitmapProc>(SLOT_AFTERFLIP);
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after(nullptr), 7);
    EXPECT_EQ(ztk::DispatchEntry(DISPATCH_SLOTS), nullptr);
    ztk::ClearDispatchTable();
}

TEST(Dispatch, SlotZeroIsTheSignOfAFilledTable) {
    ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
    table[SLOT_AFTERFLIP] = reinterpret_cast<ZDISPATCHPROC>(AfterFlip);
    Z_SetDisDispatch(table);
    ZDISPATCHPROC out[DISPATCH_SLOTS];
    EXPECT_EQ(Z_GetDisDispatch(out), Z_ERR_NODISPATCH);
    ztk::ClearDispatchTable();
}

} // namespace

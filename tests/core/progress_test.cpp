#include <gtest/gtest.h>

#include <vector>

#include "core/progress.h"
#include "ztkrn.h"

namespace {

std::vector<int32_t> gHeard;
int32_t gStopAt = -1;
int32_t gStopWith = Z_OK;

int32_t ZAPI Listen(int32_t percent) {
    gHeard.push_back(percent);
    return percent == gStopAt ? gStopWith : Z_OK;
}

// Runs `units` steps and returns what the status function heard.
std::vector<int32_t> Heard(uint32_t units, int32_t from = 0, int32_t to = 100) {
    gHeard.clear();
    ZSTATUSCALLBACK old = Z_SetStatusCallBack(Listen);
    ztk::Progress progress(units, from, to);
    EXPECT_EQ(progress.Begin(), Z_OK);
    for (uint32_t i = 0; i < units; ++i)
        EXPECT_EQ(progress.Step(), Z_OK);
    Z_SetStatusCallBack(old);
    return gHeard;
}

TEST(Progress, ThreeUnitsCarryTheRemainderIntoTheLastStep) {
    EXPECT_EQ(Heard(3), (std::vector<int32_t>{0, 33, 66, 100}));
}

TEST(Progress, ManyUnitsReportEachWholePercentOnce) {
    std::vector<int32_t> heard = Heard(300);
    ASSERT_EQ(heard.size(), 101u);
    for (int32_t i = 0; i <= 100; ++i)
        EXPECT_EQ(heard[size_t(i)], i);
}

TEST(Progress, UnitsThatDivideAHundredStepEvenly) {
    EXPECT_EQ(Heard(4), (std::vector<int32_t>{0, 25, 50, 75, 100}));
    EXPECT_EQ(Heard(1), (std::vector<int32_t>{0, 100}));
    // 7 units: step 14, remainder 2; the carry lands at units 4 and 7.
    EXPECT_EQ(Heard(7), (std::vector<int32_t>{0, 14, 28, 42, 57, 71, 85, 100}));
}

TEST(Progress, AGivenRangeStartsAndEndsOnItsBounds) {
    EXPECT_EQ(Heard(2, 50, 100), (std::vector<int32_t>{50, 75, 100}));
    EXPECT_EQ(Heard(3, 0, 50), (std::vector<int32_t>{0, 16, 33, 50}));
}

TEST(Progress, AnAnswerOtherThanOkIsReturnedAtOnce) {
    gHeard.clear();
    gStopAt = 33;
    gStopWith = -1234;
    ZSTATUSCALLBACK old = Z_SetStatusCallBack(Listen);
    ztk::Progress progress(3);
    EXPECT_EQ(progress.Begin(), Z_OK);
    EXPECT_EQ(progress.Step(), -1234);
    Z_SetStatusCallBack(old);
    gStopAt = -1;
    EXPECT_EQ(gHeard, (std::vector<int32_t>{0, 33}));
}

TEST(Progress, TheFunctionIsFetchedOnceAtTheStart) {
    gHeard.clear();
    ZSTATUSCALLBACK old = Z_SetStatusCallBack(nullptr);
    ztk::Progress progress(2);
    Z_SetStatusCallBack(Listen); // too late for this run
    EXPECT_EQ(progress.Begin(), Z_OK);
    EXPECT_EQ(progress.Step(), Z_OK);
    Z_SetStatusCallBack(old);
    EXPECT_TRUE(gHeard.empty());
}

} // namespace

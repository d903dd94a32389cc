#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "tvn_time.h"

namespace {

int64_t g_secs = 5000;
int g_fail = 0;
int fake_clock(struct timespec* ts) {
    if (g_fail != 0) return -1;
    ts->tv_sec = g_secs;
    ts->tv_nsec = 999999999;
    return 0;
}

class TimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_secs = 5000;
        g_fail = 0;
        tvn::set_monotonic_clock(&fake_clock);
    }
    void TearDown() override { tvn::set_monotonic_clock(nullptr); }
};

TEST_F(TimeTest, WholeSecondsOfTheMonotonicClock) { EXPECT_EQ(GetCurTimeStamp(), 5000u); }

TEST_F(TimeTest, ExpiryIsStrictlyAfterArrivalPlusSpan) {
    struct { uint64_t arrival, span; bool expired; } cases[] = {
        {4997, 2, true},   // 4999 < 5000
        {4998, 2, false},  // 5000 is not before now
        {5000, 0, false},
        {4999, 0, true},
        {0, 4999, true},
        {6000, 1, false},  // arrival in the future
    };
    for (auto c : cases) EXPECT_EQ(IsTimeout(c.arrival, c.span), c.expired) << c.arrival << "+" << c.span;
}

TEST_F(TimeTest, OverflowAndClockFailureNeverExpire) {
    constexpr uint64_t max = std::numeric_limits<uint64_t>::max();
    EXPECT_FALSE(IsTimeout(max - 1, 5));
    EXPECT_FALSE(IsTimeout(max, max));
    g_fail = 1;
    EXPECT_EQ(GetCurTimeStamp(), 0u);
    EXPECT_FALSE(IsTimeout(0, 0));
}

TEST(RealClock, Advances) {
    uint64_t a = GetCurTimeStamp();
    EXPECT_GT(a, 0u);
    EXPECT_GE(GetCurTimeStamp(), a);
}

}  // namespace

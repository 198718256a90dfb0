// The clock and the local calendar.
#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

TEST(Clock, IsTheCalendarClock) {
    int64_t now = (int64_t)time(nullptr);
    EXPECT_NEAR((double)now, (double)ClockSeconds(), 2.0);
}

TEST(Clock, CanBeSetForATest) {
    ClockSetForTest(1000000000);
    EXPECT_EQ(1000000000, ClockSeconds());
    ClockSetForTest(-1);
    EXPECT_NE(1000000000, ClockSeconds());
}

TEST(Clock, LocalTimeComesBackAsTheSameSeconds) {
    for (int64_t seconds : {86400LL * 365, 1000000000LL, 1709251199LL}) {
        std::tm local = {};
        ASSERT_TRUE(ClockToLocal(seconds, &local));
        local.tm_isdst = -1;
        EXPECT_EQ(seconds, ClockFromLocal(&local));
    }
}

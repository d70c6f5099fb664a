#include "sim/base/deadline.h"

#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace {

using sim::deadline;

TEST(Deadline, HasAllItsTimeLeftAtFirst) {
    const int left = deadline::after_ms(100000).left_ms();
    EXPECT_LE(left, 100000);
    EXPECT_GT(left, 50000);
}

TEST(Deadline, NeverComesWhenNegative) {
    EXPECT_EQ(deadline::after_ms(-1).left_ms(), -1);
}

TEST(Deadline, HasComeAtOnceWhenZero) {
    EXPECT_EQ(deadline::after_ms(0).left_ms(), 0);
}

TEST(Deadline, HasNothingLeftOnceItHasPassed) {
    const deadline until = deadline::after_ms(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
    EXPECT_EQ(until.left_ms(), 0);
}

TEST(Deadline, IsNotOverBeforeItsTime) {
    // A wait of the time left must reach the deadline, or the waiting turns into spinning.
    const deadline until = deadline::after_ms(20);
    std::this_thread::sleep_for(std::chrono::milliseconds(until.left_ms()));
    EXPECT_EQ(until.left_ms(), 0);
}

TEST(Deadline, TakesTheLongestTimeThereIs) {
    EXPECT_GT(deadline::after_ms(std::numeric_limits<int>::max()).left_ms(), 2000000000);
}

} // namespace

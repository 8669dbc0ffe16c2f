#include <gtest/gtest.h>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/SystemNotifications.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

// Fault: pinning the clock to the reading it already had still posted a change, so
// observers that reload on a clock change did so for nothing.
TEST(ClockTest, PinningPostsAChangeOnlyWhenTheReadingChanges) {
    int changes = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(
        NSSystemClockDidChangeNotification, [&](const Notification&) { ++changes; });
    Clock::setNowForTesting(Date(1'700'000'000));
    EXPECT_EQ(changes, 1);
    Clock::setNowForTesting(Date(1'700'000'000));
    EXPECT_EQ(changes, 1);
    Clock::setNowForTesting(Date(1'700'000'001));
    EXPECT_EQ(changes, 2);
    Clock::advanceForTesting(5);  // time passing is not a change of the clock
    EXPECT_EQ(changes, 2);
    Clock::resetForTesting();
    EXPECT_EQ(changes, 3);
    Clock::resetForTesting();
    EXPECT_EQ(changes, 3);
}

TEST(ClockTest, TheCoarseReadingLagsByATickAtMostAndIsPinnedWithNow) {
    const Date coarse = Clock::coarseNow();
    const Date now = Clock::now();
    EXPECT_LE(coarse, now);
    EXPECT_LT(now.timeIntervalSinceDate(coarse), 5.0);  // a tick, or a preempted test
    const testing::ScopedPinnedClock pinned(Date(1'700'000'000));
    EXPECT_EQ(Clock::coarseNow(), Date(1'700'000'000));
}

}  // namespace
}  // namespace velmora

// Each thread computes with its own calendar from VelmoraDAO; a change of zone or locale
// made on one thread must reach the calendars other threads already hold.
#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;
using dates_test::PinnedDates;

// Runs step one on a new thread, then `between` here, then step two on that same thread.
template <class First, class Between, class Second>
void onOtherThreadAroundChange(First first, Between between, Second second) {
    std::promise<void> firstDone;
    std::promise<void> changed;
    std::thread worker([&] {
        first();
        firstDone.set_value();
        changed.get_future().wait();
        second();
    });
    firstDone.get_future().wait();
    between();
    changed.set_value();
    worker.join();
}

TEST(ThreadCalendarsTest, ZoneChangeReachesCalendarsCachedOnOtherThreads) {
    const Date instant = at("UTC", 2024, 6, 1, 20);  // 22:00 in Berlin, 05:00 on the 2nd in Tokyo
    PinnedDates pinned("Europe/Berlin", "en_US", instant);
    std::optional<testing::ScopedSystemTimeZone> tokyo;
    std::shared_ptr<Calendar> before;
    std::shared_ptr<Calendar> after;
    std::optional<Date> startBefore;
    std::optional<Date> startAfter;
    bool todayBefore = false;
    bool todayAfter = false;
    onOtherThreadAroundChange(
        [&] {
            before = VelmoraDAO::getSharedInstance().getThreadSafeNSCalendar(false);
            startBefore = dateJustAtStartOfDay(instant);
            todayBefore = isDateToday(at("Europe/Berlin", 2024, 6, 1, 1));
        },
        [&] { tokyo.emplace("Asia/Tokyo"); },
        [&] {
            after = VelmoraDAO::getSharedInstance().getThreadSafeNSCalendar(false);
            startAfter = dateJustAtStartOfDay(instant);
            todayAfter = isDateToday(at("Europe/Berlin", 2024, 6, 1, 1));
        });
    EXPECT_EQ(startBefore, at("Europe/Berlin", 2024, 6, 1));
    EXPECT_EQ(startAfter, at("Asia/Tokyo", 2024, 6, 2));
    EXPECT_TRUE(todayBefore);
    EXPECT_FALSE(todayAfter);  // 1 June 01:00 in Berlin is 1 June in Tokyo, now the 2nd
    EXPECT_NE(before, after);
    EXPECT_EQ(before->timeZone().name(), "Europe/Berlin");
    EXPECT_EQ(after->timeZone().name(), "Asia/Tokyo");
    // This thread follows too, with a calendar of its own.
    const std::shared_ptr<Calendar> mine =
        VelmoraDAO::getSharedInstance().getThreadSafeNSCalendar(false);
    EXPECT_NE(mine, after);
    EXPECT_EQ(mine->timeZone().name(), "Asia/Tokyo");
    EXPECT_EQ(dateJustAtStartOfDay(instant), at("Asia/Tokyo", 2024, 6, 2));
}

TEST(ThreadCalendarsTest, LocaleChangeReachesTheWeekStartOfOtherThreads) {
    // October 2023 begins on a Sunday: no days before it in a Sunday-first week, six in a
    // Monday-first one.
    const Date october = at("Europe/Berlin", 2023, 10, 10);
    PinnedDates pinned("Europe/Berlin", "en_US", october);
    std::optional<testing::ScopedCurrentLocale> german;
    int before = -1;
    int after = -1;
    onOtherThreadAroundChange([&] { before = numberOfDaysInPreviousPartialWeek(october); },
                              [&] { german.emplace("de_DE"); },
                              [&] { after = numberOfDaysInPreviousPartialWeek(october); });
    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 6);
}

TEST(ThreadCalendarsTest, ThreadsKeepComputingWhileTheZoneChanges) {
    const Date instant = at("UTC", 2024, 6, 1, 20);
    PinnedDates pinned("Europe/Berlin", "en_US", instant);
    const Date berlinStart = at("Europe/Berlin", 2024, 6, 1);
    const Date tokyoStart = at("Asia/Tokyo", 2024, 6, 2);
    std::atomic<bool> stop{false};
    std::atomic<int> unexpected{0};
    std::atomic<int> rounds{0};
    std::vector<std::thread> workers;
    for (int i = 0; i < 3; ++i) {
        workers.emplace_back([&] {
            while (!stop.load()) {
                const std::optional<Date> start = dateJustAtStartOfDay(instant);
                if (start != berlinStart && start != tokyoStart) {
                    unexpected.fetch_add(1);
                }
                rounds.fetch_add(1);
            }
        });
    }
    for (int change = 0; change < 20; ++change) {
        testing::ScopedSystemTimeZone tokyo("Asia/Tokyo");
        std::this_thread::yield();
    }
    while (rounds.load() < 100) {
        std::this_thread::yield();
    }
    stop = true;
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(unexpected.load(), 0);
    // Back in Berlin, every thread's next answer is Berlin's.
    std::optional<Date> fresh;
    std::thread([&] { fresh = dateJustAtStartOfDay(instant); }).join();
    EXPECT_EQ(fresh, berlinStart);
    EXPECT_EQ(dateJustAtStartOfDay(instant), berlinStart);
}

}  // namespace
}  // namespace velmora

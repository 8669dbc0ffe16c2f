#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;
using dates_test::PinnedDates;
using dates_test::ScopedWeekStart;

constexpr std::string_view kBerlin = "Europe/Berlin";

std::vector<Date> midnights(int year, int month, int firstDay, int lastDay) {
    std::vector<Date> days;
    for (int day = firstDay; day <= lastDay; ++day) {
        days.push_back(at(kBerlin, year, month, day));
    }
    return days;
}

struct PartialWeeksCase {
    int weekStart;  // 0: the locale's (Sunday in en_US)
    int year, month;
    int before, after;
};

TEST(MonthGridTest, PartialWeeksFollowTheWeekStart) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 1, 15, 10));
    for (const PartialWeeksCase& c : {
             PartialWeeksCase{2, 2024, 1, 0, 4},   // starts on Monday, ends on Wednesday
             PartialWeeksCase{2, 2023, 10, 6, 5},  // starts on Sunday, ends on Tuesday
             PartialWeeksCase{2, 2024, 9, 6, 6},   // Sunday to Monday
             PartialWeeksCase{0, 2023, 10, 0, 4}, PartialWeeksCase{0, 2024, 1, 1, 3},
             PartialWeeksCase{7, 2024, 2, 5, 1},  // Saturday start; 29 Feb 2024 is a Thursday
             PartialWeeksCase{2, 2021, 2, 0, 0},  // February 2021: exactly four weeks
         }) {
        SCOPED_TRACE(::testing::Message()
                     << "week start " << c.weekStart << ", " << c.year << "-" << c.month);
        ScopedWeekStart weekStart(c.weekStart);
        const Date inMonth = at(kBerlin, c.year, c.month, 17, 15, 30);
        EXPECT_EQ(numberOfDaysInPreviousPartialWeek(inMonth), c.before);
        EXPECT_EQ(numberOfDaysInFollowingPartialWeek(inMonth), c.after);

        const int previousMonth = c.month == 1 ? 12 : c.month - 1;
        const int previousYear = c.month == 1 ? c.year - 1 : c.year;
        const int previousLength =
            static_cast<int>(vl_numberOfDaysInMonth(at(kBerlin, previousYear, previousMonth, 1)));
        EXPECT_EQ(
            daysInFinalWeekOfPreviousMonth(inMonth),
            midnights(previousYear, previousMonth, previousLength - c.before + 1, previousLength));
        EXPECT_EQ(daysInFirstWeekOfFollowingMonth(inMonth),
                  midnights(c.month == 12 ? c.year + 1 : c.year, c.month == 12 ? 1 : c.month + 1, 1,
                            c.after));
        // Together with the month they fill whole weeks.
        const std::size_t shown = daysInFinalWeekOfPreviousMonth(inMonth).size() +
                                  daysInSelectedMonth(inMonth).size() +
                                  daysInFirstWeekOfFollowingMonth(inMonth).size();
        EXPECT_EQ(shown % 7, 0u);
    }
}

TEST(MonthGridTest, DaysOfTheMonthAreMidnights) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 3, 5, 10));
    // March 2024 holds Berlin's spring change; every day still starts at 00:00.
    EXPECT_EQ(daysInSelectedMonth(at(kBerlin, 2024, 3, 31, 23, 59, 59)), midnights(2024, 3, 1, 31));
    EXPECT_EQ(daysInSelectedMonth(at(kBerlin, 2024, 2, 10)), midnights(2024, 2, 1, 29));
    EXPECT_EQ(daysInSelectedMonth(at(kBerlin, 2023, 2, 10)), midnights(2023, 2, 1, 28));
    EXPECT_EQ(vl_numberOfDaysInMonth(at(kBerlin, 2024, 2, 29, 23)), 29);
    EXPECT_EQ(vl_numberOfDaysInMonth(at(kBerlin, 2100, 2, 1)), 28);
    EXPECT_EQ(vl_numberOfDaysInMonth(at(kBerlin, 2024, 4, 30)), 30);
}

TEST(MonthGridTest, WeekdayCountsFromTheWeekStart) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 1, 15, 10));
    const Date sunday = at(kBerlin, 2024, 1, 14, 12);
    const Date monday = at(kBerlin, 2024, 1, 15, 0);
    EXPECT_EQ(vl_weekday(sunday), 1);
    EXPECT_EQ(vl_weekday(monday), 2);
    {
        ScopedWeekStart weekStart(2);
        EXPECT_EQ(vl_weekday(sunday), 7);
        EXPECT_EQ(vl_weekday(monday), 1);
    }
    {
        ScopedWeekStart weekStart(7);  // Saturday
        EXPECT_EQ(vl_weekday(sunday), 2);
    }
    EXPECT_EQ(vl_day(sunday), 14);
}

TEST(MonthGridTest, MovingBetweenMonths) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 1, 15, 10));
    const Date january31 = at(kBerlin, 2024, 1, 31, 18, 45);
    EXPECT_EQ(vl_dateByMovingToFirstDayOfTheMonth(january31), at(kBerlin, 2024, 1, 1));
    EXPECT_EQ(vl_dateByMovingToLastDayOfTheMonth(january31), at(kBerlin, 2024, 1, 31));
    EXPECT_EQ(vl_dateByMovingToLastDayOfTheMonth(at(kBerlin, 2024, 2, 1)),
              at(kBerlin, 2024, 2, 29));
    EXPECT_EQ(vl_dateByMovingToLastDayOfTheMonth(at(kBerlin, 2024, 12, 31, 23)),
              at(kBerlin, 2024, 12, 31));
    EXPECT_EQ(vl_dateByMovingToFirstDayOfThePreviousMonth(at(kBerlin, 2024, 3, 31, 12)),
              at(kBerlin, 2024, 2, 1));
    EXPECT_EQ(vl_dateByMovingToFirstDayOfThePreviousMonth(january31), at(kBerlin, 2023, 12, 1));
    EXPECT_EQ(vl_dateByMovingToFirstDayOfTheFollowingMonth(january31), at(kBerlin, 2024, 2, 1));
    EXPECT_EQ(vl_dateByMovingToFirstDayOfTheFollowingMonth(at(kBerlin, 2024, 12, 5)),
              at(kBerlin, 2025, 1, 1));

    // 1 February 2024 is a Thursday (5): that weekday gives the first itself.
    struct Case {
        int weekday;
        int expectedDay;
    };
    for (const Case& c : {Case{5, 1}, Case{6, 2}, Case{7, 3}, Case{1, 4}, Case{2, 5}, Case{4, 7}}) {
        EXPECT_EQ(vl_dateByMovingToFirstDayOfTheFollowingMonthWithWeekday(january31, c.weekday),
                  at(kBerlin, 2024, 2, c.expectedDay))
            << "weekday " << c.weekday;
    }
    // Calendar weekdays, whatever the week start.
    ScopedWeekStart weekStart(2);
    EXPECT_EQ(vl_dateByMovingToFirstDayOfTheFollowingMonthWithWeekday(january31, 1),
              at(kBerlin, 2024, 2, 4));
}

TEST(MonthGridTest, DaysAndComponents) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 1, 15, 10));
    EXPECT_EQ(vl_today(), at(kBerlin, 2024, 1, 15, 10));
    EXPECT_EQ(vl_dateForDay(29, 2, 2024), at(kBerlin, 2024, 2, 29));
    EXPECT_EQ(vl_dateForStartOfDay(31, 4, 2024), at(kBerlin, 2024, 5, 1));
    Calendar tokyo(CalendarIdentifier::Gregorian);
    tokyo.setTimeZone(TimeZone::named("Asia/Tokyo").value());
    EXPECT_EQ(vl_dateForDay(1, 1, 2024, &tokyo), at("Asia/Tokyo", 2024, 1, 1));
    EXPECT_EQ(vl_dateForStartOfDay(1, 1, 2024, &tokyo), at("Asia/Tokyo", 2024, 1, 1));

    const Date date = at(kBerlin, 2024, 2, 29, 13, 45, 30);
    DateComponents grid;
    grid.year = 2024;
    grid.month = 2;
    grid.day = 29;
    grid.weekday = 5;
    grid.weekOfMonth = 5;
    EXPECT_EQ(vl_componentsForMonthDayAndYear(date), grid);
    DateComponents time;
    time.hour = 13;
    time.minute = 45;
    time.second = 30;
    EXPECT_EQ(vl_componentsForHourMinutesAndSeconds(date), time);
    DateComponents gridWithTime = grid;
    gridWithTime.hour = 13;
    gridWithTime.minute = 45;
    EXPECT_EQ(vl_componentsMonthDayYearHourMinutes(date), gridWithTime);
    EXPECT_EQ(vl_componentsForHourMinutesAndSeconds(date, &tokyo).hour, 21);
    EXPECT_EQ(vl_componentsForMonthDayAndYear(date, &tokyo).day, 29);
    EXPECT_EQ(vl_componentsMonthDayYearHourMinutes(at(kBerlin, 2024, 2, 29, 23), &tokyo).day, 1);
}

TEST(MonthGridTest, BrokenMonthsAreLoggedAndReturnedAsTheyAre) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 1, 15, 10));
    auto memory = std::make_shared<MemoryLogger>(10);
    Log::addLogger(memory, LogLevel::Verbose);
    const Date nowhere(std::nan(""));
    EXPECT_EQ(vl_numberOfDaysInMonth(nowhere), 0);
    EXPECT_TRUE(daysInSelectedMonth(nowhere).empty());
    EXPECT_TRUE(daysInFinalWeekOfPreviousMonth(nowhere).empty());
    EXPECT_TRUE(daysInFirstWeekOfFollowingMonth(nowhere).empty());
    EXPECT_EQ(vl_numberOfDaysInMonth(at(kBerlin, 2024, 1, 1)), 31);  // not logged
    Log::removeLogger(memory);

    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    const std::vector<std::string> lines = memory->lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "   INVALID NUM OF DAYS IN MONTH: nan 0");
    EXPECT_EQ(lines[1], "ERROR  [daysInSelectedMonth] TODAY [" +
                            dao.getTodayAtStartOfDay()->description() +
                            ", END: " + dao.getTodayBeforeEndOfDay()->description() +
                            "] First Day Of This Month: (null), total days: 0, comps: 0d, 0m, 0y");
}

}  // namespace
}  // namespace velmora

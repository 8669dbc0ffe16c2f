#include <cmath>
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/locale/DateFormatter.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;
using dates_test::PinnedDates;

constexpr std::string_view kBerlin = "Europe/Berlin";
constexpr std::string_view kNewYork = "America/New_York";

TEST(BuildingTest, SettingTimeLeavesWhatIsNegativeOrUnchanged) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 5, 6, 7));
    const Date date = at(kBerlin, 2024, 5, 6, 7, 8, 9).dateByAddingTimeInterval(0.25);
    // Nothing to change: the very date, its quarter second included.
    EXPECT_EQ(getDateBySettingHours(date, -1, -1, -1), date);
    EXPECT_EQ(getDateBySettingHours(date, 7, 8, 9), date);
    EXPECT_EQ(getDateBySettingHours(date, 7, -5, 9), date);
    // A change rebuilds the date from whole seconds.
    EXPECT_EQ(getDateBySettingHours(date, 13, -1, -1), at(kBerlin, 2024, 5, 6, 13, 8, 9));
    EXPECT_EQ(getDateBySettingHours(date, -1, 0, 0), at(kBerlin, 2024, 5, 6, 7, 0, 0));
    Calendar tokyo(CalendarIdentifier::Gregorian);
    tokyo.setTimeZone(TimeZone::named("Asia/Tokyo").value());
    EXPECT_EQ(getDateBySettingHours(date, 23, 0, 0, &tokyo), at("Asia/Tokyo", 2024, 5, 6, 23));
    EXPECT_EQ(getDateBySettingHours(Date(std::nan("")), 1, 2, 3), std::nullopt);
}

TEST(BuildingTest, SettingDaysWeeksMonthsYears) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 5, 6, 7));
    const Date date = at(kBerlin, 2024, 5, 6, 7, 8, 9);  // a Monday
    EXPECT_EQ(getDateBySettingDays(date, 0, 0, 0, 0), at(kBerlin, 2024, 5, 6, 7, 8, 0));
    EXPECT_EQ(getDateBySettingDays(date, 20, -1, 0, 0), at(kBerlin, 2024, 5, 20, 7, 8));
    EXPECT_EQ(getDateBySettingDays(date, 0, 0, 2, 2023), at(kBerlin, 2023, 2, 6, 7, 8));
    // Day 31 of a 30-day month rolls over.
    EXPECT_EQ(getDateBySettingDays(date, 31, 0, 6, 0), at(kBerlin, 2024, 7, 1, 7, 8));
    // A week of the month keeps the weekday: Monday of May's fourth week (Sunday-first).
    EXPECT_EQ(getDateBySettingDays(date, 0, 4, 0, 0), at(kBerlin, 2024, 5, 20, 7, 8));
}

TEST(BuildingTest, AddingCalendarFields) {
    PinnedDates pinned(kNewYork, "en_US", at(kNewYork, 2024, 1, 31, 7));
    const Date january31 = at(kNewYork, 2024, 1, 31, 7, 30).dateByAddingTimeInterval(0.5);
    struct Case {
        int days, weeks, months, years, hour;
        Date expected;
    };
    for (const Case& c : {
             Case{0, 0, 1, 0, -1, at(kNewYork, 2024, 2, 29, 7, 30).dateByAddingTimeInterval(0.5)},
             Case{0, 0, 1, 1, -1, at(kNewYork, 2025, 2, 28, 7, 30).dateByAddingTimeInterval(0.5)},
             Case{1, 1, 0, 0, -1, at(kNewYork, 2024, 2, 8, 7, 30).dateByAddingTimeInterval(0.5)},
             Case{-31, 0, 0, 0, -1,
                  at(kNewYork, 2023, 12, 31, 7, 30).dateByAddingTimeInterval(0.5)},
             Case{1, 0, 0, 0, 18, at(kNewYork, 2024, 2, 1, 18)},
             Case{0, 0, 0, 0, 0, at(kNewYork, 2024, 1, 31, 0)},
         }) {
        SCOPED_TRACE(::testing::Message() << c.days << " " << c.weeks << " " << c.months << " "
                                          << c.years << " " << c.hour);
        EXPECT_EQ(getDateByAddingDays(january31, c.days, c.weeks, c.months, c.years, c.hour),
                  c.expected);
    }
    // All zero and no hour: the date itself; all zero and "hour -2": added, still equal.
    EXPECT_EQ(getDateByAddingDays(january31, 0, 0, 0, 0), january31);
    EXPECT_EQ(getDateByAddingDays(january31, 0, 0, 0, 0, -2), january31);
}

TEST(BuildingTest, AddingKeepsWallClockAcrossDaylightSaving) {
    for (std::string_view zone : {kNewYork, kBerlin}) {
        SCOPED_TRACE(zone);
        const int day = zone == kNewYork ? 9 : 30;  // the day before the spring change
        PinnedDates pinned(zone, "en_US", at(zone, 2024, 3, day, 12));
        const Date noon = at(zone, 2024, 3, day, 12);
        const Date next = getDateByAddingDays(noon, 1, 0, 0, 0).value();
        EXPECT_EQ(next, at(zone, 2024, 3, day + 1, 12));
        EXPECT_EQ(next.timeIntervalSinceDate(noon), 23 * 3600);
        EXPECT_EQ(dateForTomorrowWithCurrentTime(noon), next);
        EXPECT_EQ(dateForYesterdayWithCurrentTime(next), noon);
        // Hours are elapsed time.
        EXPECT_EQ(getDateByAddingHours(noon, 24, 0, 0), next.dateByAddingTimeInterval(3600));
        EXPECT_EQ(getDateByAddingHours(noon, 1, 30, -60), noon.dateByAddingTimeInterval(5340));
    }
}

TEST(BuildingTest, UsingDatesAndTimes) {
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 5, 6, 7));
    const Date date = at(kBerlin, 2024, 5, 6, 7, 8, 9);
    const Date other = at(kBerlin, 2023, 12, 25, 18, 30, 45);
    EXPECT_EQ(getDateByUsingHours(21, 15, 5, date), at(kBerlin, 2024, 5, 6, 21, 15, 5));
    EXPECT_EQ(getDateByUsingDay(29, 2, 2024), at(kBerlin, 2024, 2, 29));
    EXPECT_EQ(getDateByUsingDay(30, 2, 2023), at(kBerlin, 2023, 3, 2));
    EXPECT_EQ(getDateByUsingDate(date, other, false), at(kBerlin, 2023, 12, 25, 7, 8, 9));
    EXPECT_EQ(getDateByUsingDate(date, other, true), other);
    EXPECT_EQ(setTimeByUsingDate(date, other), at(kBerlin, 2024, 5, 6, 18, 30, 45));
}

TEST(BuildingTest, StartMiddayAndEndOfDay) {
    for (std::string_view zone : {kNewYork, kBerlin, std::string_view("Asia/Tokyo")}) {
        SCOPED_TRACE(zone);
        const int day = zone == kNewYork ? 10 : 31;  // spring change in New York and Berlin
        PinnedDates pinned(zone, "en_US", at(zone, 2024, 3, day, 12));
        const Date date = at(zone, 2024, 3, day, 17, 45, 12);
        EXPECT_EQ(dateJustAtStartOfDay(date), at(zone, 2024, 3, day));
        EXPECT_EQ(dateAtMidnight(date), at(zone, 2024, 3, day));
        EXPECT_EQ(dateJustAtStartOfDay(date, nullptr, true), at(zone, 2024, 3, day, 12));
        EXPECT_EQ(dateJustBeforeEndOfDay(date), at(zone, 2024, 3, day, 23, 59, 59));
        EXPECT_EQ(dateWithoutSeconds(date.dateByAddingTimeInterval(0.75)),
                  at(zone, 2024, 3, day, 17, 45));
    }
    PinnedDates pinned(kBerlin, "en_US", at(kBerlin, 2024, 3, 31, 12));
    Calendar tokyo(CalendarIdentifier::Gregorian);
    tokyo.setTimeZone(TimeZone::named("Asia/Tokyo").value());
    const Date lateInBerlin = at(kBerlin, 2024, 3, 31, 23);  // 1 April in Tokyo
    EXPECT_EQ(dateJustAtStartOfDay(lateInBerlin, &tokyo), at("Asia/Tokyo", 2024, 4, 1));
    EXPECT_EQ(dateJustBeforeEndOfDay(lateInBerlin, &tokyo),
              at("Asia/Tokyo", 2024, 4, 1, 23, 59, 59));
    EXPECT_EQ(dateWithoutSeconds(Date(std::nan(""))), std::nullopt);
}

TEST(BuildingTest, RoundTripsThroughFormatters) {
    PinnedDates pinned(kNewYork, "en_US", at(kNewYork, 2024, 7, 4, 22, 15));
    EXPECT_EQ(dateWithToday(), at(kNewYork, 2024, 7, 4));
    // The "en_UK" formatter writes the day in the system zone and reads back its midnight.
    EXPECT_EQ(dateAtMidnightWithUKLocale(at(kNewYork, 2024, 7, 4, 23, 59)),
              at(kNewYork, 2024, 7, 4));
    // With a formatter of the caller's, its pattern decides what survives.
    DateFormatter hours;
    hours.setTimeZone(TimeZone::named("Asia/Tokyo").value());
    hours.setDateFormat("yyyy-MM-dd HH");
    EXPECT_EQ(dateAtMidnightWithUKLocale(at(kNewYork, 2024, 7, 4, 23, 59), hours),
              at(kNewYork, 2024, 7, 4, 23));
}

TEST(BuildingTest, DaylightSavingAdjustmentOnlyOnTheDayOfTheChange) {
    struct Case {
        std::string_view zone;
        int month, day;
        double shift;  // seconds added on that day
    };
    for (const Case& c : {Case{kBerlin, 3, 31, -3600}, Case{kBerlin, 10, 27, 3600},
                          Case{kNewYork, 3, 10, -3600}, Case{kNewYork, 11, 3, 3600}}) {
        SCOPED_TRACE(::testing::Message() << c.zone << " " << c.month << "/" << c.day);
        PinnedDates pinned(c.zone, "en_US", at(c.zone, 2024, c.month, c.day, 12));
        for (int hour : {0, 5, 23}) {
            const Date date = at(c.zone, 2024, c.month, c.day, hour, 10);
            EXPECT_EQ(getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(date),
                      date.dateByAddingTimeInterval(c.shift));
            const Date dayBefore = at(c.zone, 2024, c.month, c.day - 1, hour, 10);
            EXPECT_EQ(getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(dayBefore), dayBefore);
            const Date dayAfter = at(c.zone, 2024, c.month, c.day + 1, hour, 10);
            EXPECT_EQ(getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(dayAfter), dayAfter);
        }
    }
    // No transitions at all in Tokyo; and a calendar passed in decides the zone.
    PinnedDates pinned("Asia/Tokyo", "en_US", at("Asia/Tokyo", 2024, 3, 31, 12));
    const Date date = at("Asia/Tokyo", 2024, 3, 31, 12);
    EXPECT_EQ(getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(date), date);
    Calendar berlin(CalendarIdentifier::Gregorian);
    berlin.setTimeZone(TimeZone::named(kBerlin).value());
    EXPECT_EQ(getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(date, &berlin),
              date.dateByAddingTimeInterval(-3600));
}

TEST(BuildingTest, RamadanOnTheIslamicCalendar) {
    PinnedDates pinned("Asia/Riyadh", "en_US", at("Asia/Riyadh", 2024, 3, 1));
    Calendar islamic(CalendarIdentifier::Islamic);
    const auto islamicDate = [&islamic](int year, int month, int day) {
        DateComponents parts;
        parts.year = year;
        parts.month = month;
        parts.day = day;
        return islamic.dateFromComponents(parts).value();
    };
    const Date ramadan1 = islamicDate(1445, 9, 1);
    const Date shawwal1 = islamicDate(1445, 10, 1);
    // 1445's Ramadan fell in March and April 2024.
    EXPECT_EQ(Calendar::current().component(CalendarUnit::Month, ramadan1), 3);
    EXPECT_EQ(Calendar::current().component(CalendarUnit::Month, shawwal1), 4);

    EXPECT_TRUE(isDateInRamdanUsingIslamicCal(ramadan1, islamic, 0));
    EXPECT_FALSE(isDateInRamdanUsingIslamicCal(ramadan1.dateByAddingTimeInterval(-1), islamic, 0));
    EXPECT_TRUE(isDateInRamdanUsingIslamicCal(shawwal1.dateByAddingTimeInterval(-1), islamic, 0));
    EXPECT_FALSE(isDateInRamdanUsingIslamicCal(shawwal1, islamic, 0));
    EXPECT_FALSE(isDateInRamdanUsingIslamicCal(at("Asia/Riyadh", 2024, 6, 1), islamic, 0));

    // A correction of one day moves both bounds a day earlier.
    constexpr double day = 86400;
    EXPECT_TRUE(isDateInRamdanUsingIslamicCal(ramadan1.dateByAddingTimeInterval(-day), islamic, 1));
    EXPECT_FALSE(
        isDateInRamdanUsingIslamicCal(ramadan1.dateByAddingTimeInterval(-day - 1), islamic, 1));
    EXPECT_FALSE(
        isDateInRamdanUsingIslamicCal(shawwal1.dateByAddingTimeInterval(-day), islamic, 1));
    EXPECT_TRUE(
        isDateInRamdanUsingIslamicCal(shawwal1.dateByAddingTimeInterval(-day - 1), islamic, 1));
    // And -1 a day later.
    EXPECT_FALSE(isDateInRamdanUsingIslamicCal(ramadan1, islamic, -1));
    EXPECT_TRUE(isDateInRamdanUsingIslamicCal(shawwal1, islamic, -1));
}

}  // namespace
}  // namespace velmora

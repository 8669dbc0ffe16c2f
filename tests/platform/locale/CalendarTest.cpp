#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/SystemNotifications.h"
#include "Velmora/platform/locale/Calendar.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

constexpr CalendarUnit kDateAndTime = CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day |
                                      CalendarUnit::Hour | CalendarUnit::Minute |
                                      CalendarUnit::Second | CalendarUnit::Weekday;

TimeZone zone(std::string_view name) {
    return TimeZone::named(name).value();
}

Calendar gregorianIn(std::string_view zoneName, std::string_view locale = "en_US") {
    testing::ScopedCurrentLocale pinnedLocale(locale);
    Calendar calendar(CalendarIdentifier::Gregorian);
    calendar.setTimeZone(zone(zoneName));
    return calendar;
}

Date at(const Calendar& calendar, int year, int month, int day, int hour = 0, int minute = 0,
        int second = 0) {
    return testing::wallClockDate(calendar, year, month, day, hour, minute, second);
}

TEST(CalendarTest, ComponentsAndDatesFromComponentsRoundTrip) {
    const Calendar calendar = gregorianIn("Europe/Berlin");
    const Date date = at(calendar, 2024, 2, 29, 13, 45, 30);
    EXPECT_EQ(date.timeIntervalSince1970(), 1709210730.0);  // 12:45:30 UTC

    const DateComponents parts = calendar.components(kDateAndTime, date);
    EXPECT_EQ(parts.year, 2024);
    EXPECT_EQ(parts.month, 2);
    EXPECT_EQ(parts.day, 29);
    EXPECT_EQ(parts.hour, 13);
    EXPECT_EQ(parts.minute, 45);
    EXPECT_EQ(parts.second, 30);
    EXPECT_EQ(parts.weekday, 5);  // Thursday
    EXPECT_FALSE(parts.era);      // not asked for
    EXPECT_FALSE(parts.weekOfMonth);
    EXPECT_EQ(calendar.component(CalendarUnit::Era, date), 1);
    EXPECT_EQ(calendar.component(CalendarUnit::None, date), 0);

    // Absent fields default to the first of January of year 1 at midnight; out-of-range
    // fields roll over.
    DateComponents rolled;
    rolled.year = 2023;
    rolled.month = 4;
    rolled.day = 31;
    EXPECT_EQ(calendar.dateFromComponents(rolled), at(calendar, 2023, 5, 1));
    DateComponents monthThirteen;
    monthThirteen.year = 2023;
    monthThirteen.month = 13;
    EXPECT_EQ(calendar.dateFromComponents(monthThirteen), at(calendar, 2024, 1, 1));
    DateComponents timeOnly;
    timeOnly.hour = 9;
    EXPECT_EQ(calendar.components(CalendarUnit::Year | CalendarUnit::Hour,
                                  calendar.dateFromComponents(timeOnly).value()),
              (DateComponents{.year = 1, .hour = 9}));
}

TEST(CalendarTest, WeekOfMonthWithWeekdayWinsOverTheDay) {
    Calendar calendar = gregorianIn("UTC");
    calendar.setFirstWeekday(2);  // Monday
    // Wednesday 2024-05-15 is in the third Monday-started week of May (weeks from the
    // 1st: 1-5, 6-12, 13-19).
    DateComponents parts = calendar.components(
        CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day | CalendarUnit::Weekday,
        at(calendar, 2024, 5, 15));
    EXPECT_EQ(calendar.component(CalendarUnit::WeekOfMonth, at(calendar, 2024, 5, 15)), 3);
    parts.weekOfMonth = 4;
    EXPECT_EQ(calendar.dateFromComponents(parts), at(calendar, 2024, 5, 22));
}

TEST(CalendarTest, AddingComponentsFollowsCalendarRules) {
    const Calendar calendar = gregorianIn("America/New_York");
    const auto add = [&](DateComponents parts, Date date) {
        return calendar.dateByAddingComponents(parts, date).value();
    };
    EXPECT_EQ(add({.month = 1}, at(calendar, 2023, 1, 31, 10)), at(calendar, 2023, 2, 28, 10));
    EXPECT_EQ(add({.month = 1}, at(calendar, 2024, 1, 31, 10)), at(calendar, 2024, 2, 29, 10));
    EXPECT_EQ(add({.year = 1}, at(calendar, 2024, 2, 29)), at(calendar, 2025, 2, 28));
    EXPECT_EQ(add({.day = -1}, at(calendar, 2024, 3, 1)), at(calendar, 2024, 2, 29));
    EXPECT_EQ(add({.weekOfMonth = 2}, at(calendar, 2024, 12, 25)), at(calendar, 2025, 1, 8));
    // Across the spring-forward night a day keeps the wall clock (23 elapsed hours)...
    const Date saturdayNoon = at(calendar, 2024, 3, 9, 12);
    EXPECT_EQ(add({.day = 1}, saturdayNoon), at(calendar, 2024, 3, 10, 12));
    EXPECT_EQ(add({.day = 1}, saturdayNoon).timeIntervalSinceDate(saturdayNoon), 23 * 3600);
    // ...while 24 hours are elapsed time.
    EXPECT_EQ(add({.hour = 24}, saturdayNoon), at(calendar, 2024, 3, 10, 13));
    // Nothing to add: the same instant, fractions of a second kept.
    const Date fractional(1700000000.25);
    EXPECT_EQ(add({}, fractional), fractional);
    EXPECT_EQ(add({.day = 1}, fractional), Date(1700000000.25 + 86400));
}

// Midnight UTC of a proleptic Gregorian day, counted without ICU.
Date utcMidnight(int year, unsigned month, unsigned day) {
    const std::chrono::sys_days days = std::chrono::year_month_day{
        std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    return Date(static_cast<double>(days.time_since_epoch() / std::chrono::seconds(1)));
}

// Fault pinned: before 1582-10-15 the calendar switched to Julian rules, so a date read
// as proleptic Gregorian came back ten days off (1500-03-01 as 1500-02-20).
TEST(CalendarTest, GregorianRulesHoldBeforeTheChangeover) {
    const Calendar calendar = gregorianIn("UTC");
    struct Case {
        int year;
        unsigned month, day;
    };
    const std::vector<Case> cases{
        {1500, 3, 1},  {1582, 10, 4}, {1582, 10, 10}, {1582, 10, 15},
        {1700, 2, 28}, {1200, 2, 29}, {1, 1, 1},
    };
    for (const Case& c : cases) {
        const Date date = utcMidnight(c.year, c.month, c.day);
        const DateComponents parts = calendar.components(kDateAndTime, date);
        EXPECT_EQ(parts.year, c.year) << c.year;
        EXPECT_EQ(parts.month, static_cast<int>(c.month)) << c.year;
        EXPECT_EQ(parts.day, static_cast<int>(c.day)) << c.year;
        EXPECT_EQ(at(calendar, c.year, static_cast<int>(c.month), static_cast<int>(c.day)), date);
    }
    // One day after 1582-10-04 is the 5th, and 1700 (a Julian leap year) has no 29 February.
    EXPECT_EQ(calendar.dateByAddingComponents({.day = 1}, utcMidnight(1582, 10, 4)),
              utcMidnight(1582, 10, 5));
    EXPECT_EQ(calendar.dateByAddingComponents({.day = 1}, utcMidnight(1700, 2, 28)),
              utcMidnight(1700, 3, 1));
}

TEST(CalendarTest, SettingTheTimeAndStartOfDayAcrossDaylightSaving) {
    const Calendar berlin = gregorianIn("Europe/Berlin");
    const Date springDay = at(berlin, 2024, 3, 31, 15, 20);
    EXPECT_EQ(berlin.dateBySettingHour(9, 30, 0, springDay), at(berlin, 2024, 3, 31, 9, 30));
    // 02:30 does not exist that night in Berlin: moved forward by the change.
    EXPECT_EQ(berlin.dateBySettingHour(2, 30, 0, springDay)->timeIntervalSince1970(),
              at(berlin, 2024, 3, 31, 3, 30).timeIntervalSince1970());
    EXPECT_FALSE(berlin.dateBySettingHour(24, 0, 0, springDay));
    EXPECT_FALSE(berlin.dateBySettingHour(-1, 0, 0, springDay));
    EXPECT_EQ(berlin.startOfDay(springDay), at(berlin, 2024, 3, 31));

    // In Santiago the clocks went from 24:00 to 01:00 on 2022-09-11: the day begins at 01:00.
    const Calendar santiago = gregorianIn("America/Santiago");
    const Date noon = at(santiago, 2022, 9, 11, 12);
    EXPECT_EQ(santiago.component(CalendarUnit::Hour, santiago.startOfDay(noon).value()), 1);
    EXPECT_EQ(santiago.component(CalendarUnit::Day, santiago.startOfDay(noon).value()), 11);
}

TEST(CalendarTest, RangesAndOrdinalsOfUnits) {
    Calendar calendar = gregorianIn("America/New_York");
    const Date leapFebruary = at(calendar, 2024, 2, 10);
    EXPECT_EQ(calendar.rangeOfUnit(CalendarUnit::Day, CalendarUnit::Month, leapFebruary),
              (Range{1, 29}));
    EXPECT_EQ(
        calendar.rangeOfUnit(CalendarUnit::Day, CalendarUnit::Month, at(calendar, 2023, 2, 1)),
        (Range{1, 28}));
    EXPECT_EQ(calendar.rangeOfUnit(CalendarUnit::Month, CalendarUnit::Year, leapFebruary),
              (Range{1, 12}));
    EXPECT_EQ(calendar.rangeOfUnit(CalendarUnit::Day, CalendarUnit::Year, leapFebruary),
              (Range{1, 366}));
    EXPECT_EQ(calendar.rangeOfUnit(CalendarUnit::Hour, CalendarUnit::Day, leapFebruary),
              (Range{0, 24}));
    EXPECT_FALSE(calendar.rangeOfUnit(CalendarUnit::Year, CalendarUnit::Day, leapFebruary));

    // The day range of the spring-forward Sunday lasts 23 hours; of the fall-back one 25.
    const auto day = [&](Date date) {
        return calendar.rangeOfUnit(CalendarUnit::Day, date).value();
    };
    EXPECT_EQ(day(at(calendar, 2024, 3, 10, 15)).start, at(calendar, 2024, 3, 10));
    EXPECT_EQ(day(at(calendar, 2024, 3, 10, 15)).duration, 23 * 3600);
    EXPECT_EQ(day(at(calendar, 2024, 11, 3, 15)).duration, 25 * 3600);
    EXPECT_EQ(calendar.rangeOfUnit(CalendarUnit::Month, leapFebruary)->duration, 29 * 86400.0);

    // The weekday's position depends on the first weekday; the calendar weekday does not.
    const Date sunday = at(calendar, 2024, 6, 2);
    EXPECT_EQ(calendar.ordinalityOfUnit(CalendarUnit::Weekday, CalendarUnit::WeekOfMonth, sunday),
              1);
    calendar.setFirstWeekday(2);
    EXPECT_EQ(calendar.ordinalityOfUnit(CalendarUnit::Weekday, CalendarUnit::WeekOfMonth, sunday),
              7);
    EXPECT_EQ(calendar.component(CalendarUnit::Weekday, sunday), 1);
    EXPECT_EQ(calendar.rangeOfUnit(CalendarUnit::WeekOfYear, sunday)->start,
              at(calendar, 2024, 5, 27));
    EXPECT_EQ(calendar.ordinalityOfUnit(CalendarUnit::Day, CalendarUnit::Year, sunday), 154);
    EXPECT_EQ(calendar.ordinalityOfUnit(CalendarUnit::Month, CalendarUnit::Year, sunday), 6);
    EXPECT_EQ(calendar.ordinalityOfUnit(CalendarUnit::Hour, CalendarUnit::Day, sunday), 1);
    EXPECT_FALSE(calendar.ordinalityOfUnit(CalendarUnit::Year, CalendarUnit::Day, sunday));
}

TEST(CalendarTest, DifferencesCountWholeUnitsLargestFirst) {
    const Calendar calendar = gregorianIn("Europe/Berlin");
    const Date from = at(calendar, 2024, 1, 30, 22, 0, 0);
    const Date to = at(calendar, 2024, 3, 2, 21, 59, 59);
    const DateComponents days = calendar.components(CalendarUnit::Day, from, to);
    EXPECT_EQ(days.day, 31);  // 32 days less one second
    const DateComponents mixed = calendar.components(
        CalendarUnit::Month | CalendarUnit::Day | CalendarUnit::Minute, from, to);
    EXPECT_EQ(mixed.month, 1);
    EXPECT_EQ(mixed.day, 1);
    EXPECT_EQ(mixed.minute, 1439);
    EXPECT_EQ(calendar.components(CalendarUnit::Day, to, from).day, -31);
    // Midnight to midnight across the spring change is one day, although 23 hours.
    EXPECT_EQ(
        calendar.components(CalendarUnit::Day, at(calendar, 2024, 3, 31), at(calendar, 2024, 4, 1))
            .day,
        1);
}

TEST(CalendarTest, LocaleDecidesTheFirstWeekdayAndIslamicMonthsDiffer) {
    EXPECT_EQ(gregorianIn("UTC", "en_US").firstWeekday(), 1);
    EXPECT_EQ(gregorianIn("UTC", "de_DE").firstWeekday(), 2);
    EXPECT_EQ(gregorianIn("UTC", "de_DE").minimumDaysInFirstWeek(), 4);
    // A Thai locale prefers the Buddhist calendar; ours stays Gregorian.
    const Calendar thai = gregorianIn("UTC", "th_TH");
    EXPECT_EQ(thai.component(CalendarUnit::Year, Date(1704164645)), 2024);

    testing::ScopedCurrentLocale locale("en_US");
    testing::ScopedSystemTimeZone riyadh("Asia/Riyadh");
    const Calendar islamic(CalendarIdentifier::Islamic);
    // 2024-03-11 is 1 Ramadan 1445 in the astronomical Islamic calendar.
    const Date firstOfRamadan = at(islamic, 1445, 9, 1);
    const Calendar gregorian(CalendarIdentifier::Gregorian);
    const DateComponents there = gregorian.components(
        CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day, firstOfRamadan);
    EXPECT_EQ(there.year, 2024);
    EXPECT_EQ(there.month, 3);
    EXPECT_NEAR(*there.day, 11, 1);
    EXPECT_FALSE(islamic.isEqual(gregorian));
    EXPECT_TRUE(gregorian.isEqual(Calendar(gregorian)));
}

TEST(CalendarTest, NonFiniteDatesGiveNothing) {
    const Calendar calendar = gregorianIn("UTC");
    const Date notANumber(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(calendar.components(kDateAndTime, notANumber), DateComponents{});
    EXPECT_FALSE(calendar.startOfDay(notANumber));
    EXPECT_FALSE(calendar.dateByAddingComponents({.day = 1}, notANumber));
    EXPECT_FALSE(calendar.rangeOfUnit(CalendarUnit::Day, notANumber));
    EXPECT_FALSE(calendar.ordinalityOfUnit(CalendarUnit::Day, CalendarUnit::Month, notANumber));
}

TEST(SystemSettingsTest, ChangesPostTheirNotificationsOnlyWhenTheyChange) {
    testing::ScopedSystemTimeZone utc("UTC");
    testing::ScopedCurrentLocale english("en_US");
    std::vector<std::string> posted;
    std::vector<NotificationCenter::Observation> tokens;
    for (const char* name :
         {NSSystemTimeZoneDidChangeNotification, NSCurrentLocaleDidChangeNotification,
          NSSystemClockDidChangeNotification}) {
        tokens.push_back(NotificationCenter::defaultCenter().addObserver(
            name, [&posted](const Notification& note) { posted.push_back(note.name); }));
    }
    {
        testing::ScopedSystemTimeZone tokyo("Asia/Tokyo");
        TimeZone::setSystemTimeZone(zone("Asia/Tokyo"));  // no change, no post
        testing::ScopedCurrentLocale swiss("de_CH");
        Locale::setCurrent(Locale("de-CH"));  // the same locale spelt otherwise
        testing::ScopedPinnedClock clock(Date(1704164645));
    }
    const std::vector<std::string> expected{
        NSSystemTimeZoneDidChangeNotification, NSCurrentLocaleDidChangeNotification,
        NSSystemClockDidChangeNotification,    NSSystemClockDidChangeNotification,
        NSCurrentLocaleDidChangeNotification,  NSSystemTimeZoneDidChangeNotification};
    EXPECT_EQ(posted, expected);
}

TEST(TimeZoneTransitionsTest, DaylightSavingOffsetsAndNextTransitions) {
    const TimeZone newYork = zone("America/New_York");
    const Date winter(1704164645);  // 2024-01-02
    EXPECT_EQ(newYork.daylightSavingTimeOffset(winter), 0);
    EXPECT_EQ(newYork.daylightSavingTimeOffset(Date(1719835200)), 3600);  // 2024-07-01
    EXPECT_EQ(newYork.nextDaylightSavingTimeTransition(winter), Date(1710054000));
    EXPECT_EQ(newYork.nextDaylightSavingTimeTransition(Date(1710054000)), Date(1730613600));
    EXPECT_EQ(zone("Europe/Berlin").nextDaylightSavingTimeTransition(winter), Date(1711846800));
    // Tokyo has had no change since 1951, Lord Howe shifts by half an hour.
    EXPECT_FALSE(zone("Asia/Tokyo").nextDaylightSavingTimeTransition(winter));
    EXPECT_EQ(zone("Australia/Lord_Howe").daylightSavingTimeOffset(winter), 1800);

    EXPECT_EQ(TimeZone::withAbbreviation("UTC"), TimeZone::utc());
    EXPECT_EQ(TimeZone::withAbbreviation("CET")->name(), "Europe/Paris");
    EXPECT_FALSE(TimeZone::withAbbreviation("XYZ"));
    EXPECT_FALSE(TimeZone::withAbbreviation("utc"));
}

}  // namespace
}  // namespace velmora

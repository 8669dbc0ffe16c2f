#include <cmath>
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;
using dates_test::PinnedDates;

constexpr double kUtc20200601At0900 = 1591002000.0;  // 2020-06-01 09:00:00 UTC

TEST(IntervalsTest, SyncableKeepsTheWallClockReadingAcrossZones) {
    double stored = 0;
    {
        // Europe/Berlin is at UTC+2 in June.
        PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2020, 6, 1, 12));
        stored = syncableTimeIntervalSince1970(at("Europe/Berlin", 2020, 6, 1, 9));
        EXPECT_EQ(stored, kUtc20200601At0900);
    }
    // America/New_York is at UTC-4 in June, Etc/GMT+5 at UTC-5 all year.
    for (std::string_view reader : {"America/New_York", "Etc/GMT+5", "Asia/Tokyo"}) {
        SCOPED_TRACE(reader);
        PinnedDates pinned(reader, "en_US", Date(kUtc20200601At0900));
        EXPECT_EQ(syncableDateWithTimeIntervalSince1970(stored), at(reader, 2020, 6, 1, 9));
    }
}

TEST(IntervalsTest, SyncableInverseReadsTheOffsetAtTheStoredNumber) {
    // Berlin leaves summer time at 2024-10-27 01:00 UTC. 01:30 (summer time, 23:30 UTC the
    // evening before) is stored as 01:30 UTC, where Berlin is already at +1: the reading
    // comes back an hour late. Deliberately left so.
    PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2024, 10, 27, 12));
    const Date early = at("Europe/Berlin", 2024, 10, 27, 1, 30);
    const double stored = syncableTimeIntervalSince1970(early);
    EXPECT_EQ(syncableDateWithTimeIntervalSince1970(stored), early.dateByAddingTimeInterval(3600));
    // Away from the change the pair round-trips.
    const Date midday = at("Europe/Berlin", 2024, 10, 27, 12);
    EXPECT_EQ(syncableDateWithTimeIntervalSince1970(syncableTimeIntervalSince1970(midday)), midday);
}

TEST(IntervalsTest, AbsoluteIsNoonOfTheDayWrittenAsUtc) {
    constexpr double kNoon20240315Utc = 1710504000.0;  // 2024-03-15 12:00:00 UTC
    // UTC+14, UTC-12, and zones with (Berlin, New York) and without (Tokyo) summer time.
    for (std::string_view zone :
         {"Pacific/Kiritimati", "Etc/GMT+12", "Europe/Berlin", "America/New_York", "Asia/Tokyo"}) {
        SCOPED_TRACE(zone);
        PinnedDates pinned(zone, "en_US", at(zone, 2024, 3, 15, 8));
        EXPECT_EQ(absoluteTimeIntervalSince1970(at(zone, 2024, 3, 15, 0, 0, 0)), kNoon20240315Utc);
        EXPECT_EQ(absoluteTimeIntervalSince1970(at(zone, 2024, 3, 15, 23, 59, 59)),
                  kNoon20240315Utc);
        EXPECT_EQ(dateWithAbsoluteTimeIntervalSince1970(kNoon20240315Utc),
                  at(zone, 2024, 3, 15, 12));
    }
}

TEST(IntervalsTest, AbsoluteKeepsTheDayFromUtcPlus14ToUtcMinus12) {
    double stored = 0;
    {
        PinnedDates pinned("Pacific/Kiritimati", "en_US", at("Pacific/Kiritimati", 2024, 3, 15, 1));
        stored = absoluteTimeIntervalSince1970(at("Pacific/Kiritimati", 2024, 3, 15, 0, 30));
    }
    PinnedDates pinned("Etc/GMT+12", "en_US", at("Etc/GMT+12", 2024, 3, 15, 1));
    const Date read = dateWithAbsoluteTimeIntervalSince1970(stored);
    EXPECT_EQ(getValueForComponent(read, CalendarUnit::Day), 15);
    EXPECT_EQ(getValueForComponent(read, CalendarUnit::Hour), 12);
}

TEST(IntervalsTest, AbsoluteSurvivesDaylightSavingDays) {
    struct Case {
        std::string_view zone;
        int month;
        int day;
    };
    for (const Case& c : {Case{"Europe/Berlin", 3, 31}, Case{"Europe/Berlin", 10, 27},
                          Case{"America/New_York", 3, 10}, Case{"America/New_York", 11, 3}}) {
        SCOPED_TRACE(::testing::Message() << c.zone << " " << c.month << "/" << c.day);
        PinnedDates pinned(c.zone, "en_US", at(c.zone, 2024, c.month, c.day, 6));
        const double early =
            absoluteTimeIntervalSince1970(at(c.zone, 2024, c.month, c.day, 0, 0, 1));
        const double late =
            absoluteTimeIntervalSince1970(at(c.zone, 2024, c.month, c.day, 23, 59, 59));
        EXPECT_EQ(early, late);
        EXPECT_EQ(dateWithAbsoluteTimeIntervalSince1970(early),
                  at(c.zone, 2024, c.month, c.day, 12));
    }
}

TEST(IntervalsTest, AbsoluteUsesTheCalendarGiven) {
    PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2024, 3, 15, 8));
    Calendar tokyo(CalendarIdentifier::Gregorian);
    tokyo.setTimeZone(TimeZone::named("Asia/Tokyo").value());
    // 2024-03-15 23:30 in Berlin is already the 16th in Tokyo; noon there is 04:00 in
    // Berlin, which is stored with Berlin's offset.
    const double stored =
        absoluteTimeIntervalSince1970(at("Europe/Berlin", 2024, 3, 15, 23, 30), &tokyo);
    EXPECT_EQ(stored, at("UTC", 2024, 3, 16, 4).timeIntervalSince1970());
}

TEST(IntervalsTest, GhTimeIntervalFamily) {
    PinnedDates pinned("America/New_York", "en_US", at("America/New_York", 2024, 7, 4, 15));
    const Date date = at("America/New_York", 2024, 7, 4, 15, 42, 17);
    EXPECT_EQ(gh_timeIntervalSince1970(std::nullopt), 0);
    EXPECT_EQ(gh_timeIntervalSince1970(std::nullopt, 9, true, true), 0);
    // The time of day as seconds after midnight of 1970-01-01, a wall-clock value.
    EXPECT_EQ(gh_timeIntervalSince1970(date, 9, true), 9 * 3600);
    EXPECT_EQ(gh_timeIntervalSince1970(date, 0, true), 0);
    // Default hour 12, on the date's own day.
    EXPECT_EQ(gh_timeIntervalSince1970(date), at("UTC", 2024, 7, 4, 12).timeIntervalSince1970());
    EXPECT_EQ(gh_timeIntervalSince1970(date, 7), at("UTC", 2024, 7, 4, 7).timeIntervalSince1970());
    // Ignoring the time: the date itself as a wall-clock value, seconds and all.
    EXPECT_EQ(gh_timeIntervalSince1970(date, 7, false, true),
              at("UTC", 2024, 7, 4, 15, 42, 17).timeIntervalSince1970());
}

TEST(IntervalsTest, GhTimeIntervalWithStartOfEpochInOtherZones) {
    for (std::string_view zone : {"Europe/Berlin", "Pacific/Kiritimati", "Etc/GMT+12"}) {
        SCOPED_TRACE(zone);
        PinnedDates pinned(zone, "en_US", at(zone, 2024, 1, 2, 3));
        EXPECT_EQ(gh_timeIntervalSince1970(at(zone, 2024, 1, 2, 3), 18, true), 18 * 3600);
    }
}

TEST(IntervalsTest, GhParseTimeSinceEpoch) {
    PinnedDates pinned("Europe/Berlin", "en_US", Date(1700000000));
    const Date fallback(42);
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value(), fallback), fallback);
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value()), std::nullopt);
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value(1700000000)), Date(1700000000));
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value("1700000000.5"), fallback), Date(1700000000.5));
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value::decimal("-86400.25")), Date(-86400.25));
    // The local zone given explicitly changes nothing.
    const TimeZone berlin = TimeZone::named("Europe/Berlin").value();
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value(1700000000), fallback, &berlin), Date(1700000000));
    // A reading taken in Tokyo (+9) moved to the same reading in Berlin (+1 in November).
    const TimeZone tokyo = TimeZone::named("Asia/Tokyo").value();
    EXPECT_EQ(gh_parseTimeSinceEpoch(Value(1700000000), fallback, &tokyo),
              Date(1700000000 + 3600 - 9 * 3600));
}

TEST(IntervalsTest, ConvertDateFromTimezone) {
    PinnedDates pinned("America/New_York", "en_US", at("America/New_York", 2024, 1, 10, 9));
    // 09:00 read as New York time, meant as a reading of GMT (no zone) or Paris.
    const Date readAsLocal = at("America/New_York", 2024, 1, 10, 9);
    EXPECT_EQ(convertDateFromTimezone(readAsLocal, nullptr), at("UTC", 2024, 1, 10, 9));
    const TimeZone paris = TimeZone::named("Europe/Paris").value();
    EXPECT_EQ(convertDateFromTimezone(readAsLocal, &paris), at("Europe/Paris", 2024, 1, 10, 9));
    // Offsets are taken at the date: New York in July is at -4.
    EXPECT_EQ(convertDateFromTimezone(at("America/New_York", 2024, 7, 10, 9), &paris),
              at("Europe/Paris", 2024, 7, 10, 9));
    const TimeZone local = TimeZone::named("America/New_York").value();
    EXPECT_EQ(convertDateFromTimezone(readAsLocal, &local), readAsLocal);
}

TEST(IntervalsTest, GetValueForComponent) {
    PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2024, 2, 29, 13));
    const Date date = at("Europe/Berlin", 2024, 2, 29, 13, 45, 30);  // a Thursday
    struct Case {
        CalendarUnit unit;
        int expected;
    };
    for (const Case& c :
         {Case{CalendarUnit::Year, 2024}, Case{CalendarUnit::Month, 2}, Case{CalendarUnit::Day, 29},
          Case{CalendarUnit::Hour, 13}, Case{CalendarUnit::Minute, 45},
          Case{CalendarUnit::Second, 30}, Case{CalendarUnit::Weekday, 5},
          Case{CalendarUnit::WeekOfMonth, 5}, Case{CalendarUnit::Era, 0},
          Case{CalendarUnit::WeekOfYear, 0}, Case{CalendarUnit::Year | CalendarUnit::Month, 0}}) {
        SCOPED_TRACE(static_cast<unsigned>(c.unit));
        EXPECT_EQ(getValueForComponent(date, c.unit), c.expected);
    }
    Calendar tokyo(CalendarIdentifier::Gregorian);
    tokyo.setTimeZone(TimeZone::named("Asia/Tokyo").value());
    EXPECT_EQ(getValueForComponent(date, CalendarUnit::Hour, &tokyo), 21);
    EXPECT_EQ(getValueForComponent(Date(std::nan("")), CalendarUnit::Day), 0);
}

}  // namespace
}  // namespace velmora

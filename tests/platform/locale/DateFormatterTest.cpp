#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Velmora/platform/locale/DateFormatter.h"
#include "Velmora/platform/locale/NumberFormatter.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

constexpr Date kSample(1704164645.006);  // 2024-01-02 03:04:05.006 UTC
// America/New_York springs forward on 2024-03-10 at 07:00 UTC and falls back on
// 2024-11-03 at 06:00 UTC.
constexpr Date kSpringForward(1710054000.0);
constexpr Date kFallBack(1730613600.0);

TimeZone zone(std::string_view name) {
    return TimeZone::named(name).value();
}

TEST(TimeZoneTest, NamedZonesAndTheirOffsets) {
    EXPECT_EQ(zone("UTC").secondsFromGMT(kSample), 0);
    EXPECT_EQ(zone("Asia/Tokyo").secondsFromGMT(kSample), 9 * 3600);
    EXPECT_EQ(zone("Asia/Kolkata").secondsFromGMT(kSample), 5 * 3600 + 1800);
    EXPECT_EQ(zone("GMT+05:30").secondsFromGMT(kSample), 5 * 3600 + 1800);

    const TimeZone newYork = zone("America/New_York");
    EXPECT_EQ(newYork.name(), "America/New_York");
    EXPECT_EQ(newYork.secondsFromGMT(kSpringForward.dateByAddingTimeInterval(-0.001)), -5 * 3600);
    EXPECT_EQ(newYork.secondsFromGMT(kSpringForward), -4 * 3600);
    EXPECT_EQ(newYork.secondsFromGMT(kFallBack.dateByAddingTimeInterval(-0.001)), -4 * 3600);
    EXPECT_EQ(newYork.secondsFromGMT(kFallBack), -5 * 3600);
    EXPECT_EQ(newYork.secondsFromGMT(Date(std::numeric_limits<double>::quiet_NaN())), -5 * 3600);
}

TEST(TimeZoneTest, UnknownNamesGiveNothing) {
    EXPECT_FALSE(TimeZone::named("Mars/Olympus_Mons"));
    EXPECT_FALSE(TimeZone::named(""));
    EXPECT_FALSE(TimeZone::named("utc"));  // names are case-sensitive
    // The name ICU gives unknown zones is not a zone either.
    EXPECT_FALSE(TimeZone::named("Etc/Unknown"));
}

TEST(TimeZoneTest, EqualityAndTheSystemZone) {
    EXPECT_EQ(TimeZone::utc(), zone("UTC"));
    EXPECT_EQ(TimeZone::utc().name(), "UTC");
    EXPECT_EQ(zone("Asia/Tokyo"), zone("Asia/Tokyo"));
    EXPECT_FALSE(zone("Asia/Tokyo") == zone("Asia/Seoul"));  // same offsets, other zone
    EXPECT_FALSE(zone("Asia/Tokyo") == TimeZone::utc());

    const TimeZone before = TimeZone::systemTimeZone();
    {
        testing::ScopedSystemTimeZone tokyo("Asia/Tokyo");
        EXPECT_EQ(TimeZone::systemTimeZone(), zone("Asia/Tokyo"));
        {
            testing::ScopedSystemTimeZone newYork("America/New_York");
            EXPECT_EQ(TimeZone::systemTimeZone().name(), "America/New_York");
        }
        EXPECT_EQ(TimeZone::systemTimeZone(), zone("Asia/Tokyo"));
    }
    EXPECT_EQ(TimeZone::systemTimeZone(), before);
}

TEST(LocaleTest, IdentifiersAndTheCurrentLocale) {
    EXPECT_EQ(Locale("en-US").identifier(), "en_US");
    EXPECT_EQ(Locale("en-US"), Locale("en_US"));
    EXPECT_EQ(Locale("de_ch").identifier(), "de_CH");
    EXPECT_FALSE(Locale("de_CH") == Locale("de_DE"));

    const Locale before = Locale::current();
    {
        testing::ScopedCurrentLocale swiss("de_CH");
        EXPECT_EQ(Locale::current().identifier(), "de_CH");
    }
    EXPECT_EQ(Locale::current(), before);
}

class DateFormatterTest : public ::testing::Test {
  protected:
    testing::ScopedCurrentLocale locale_{"en_US_POSIX"};
    testing::ScopedSystemTimeZone zone_{"UTC"};
};

TEST_F(DateFormatterTest, StartsWithTheCurrentLocaleAndSystemZoneAndKeepsThem) {
    DateFormatter formatter;
    EXPECT_EQ(formatter.dateFormat(), "");
    EXPECT_EQ(formatter.stringFromDate(kSample), "");
    EXPECT_EQ(formatter.locale(), Locale("en_US_POSIX"));
    EXPECT_EQ(formatter.timeZone(), TimeZone::utc());

    formatter.setDateFormat("yyyy/MM/dd HH:mm:ss:SSS");
    EXPECT_EQ(formatter.dateFormat(), "yyyy/MM/dd HH:mm:ss:SSS");
    testing::ScopedSystemTimeZone tokyo("Asia/Tokyo");
    testing::ScopedCurrentLocale german("de_DE");
    EXPECT_EQ(formatter.stringFromDate(kSample), "2024/01/02 03:04:05:006");

    DateFormatter inTokyo;
    inTokyo.setDateFormat("yyyy/MM/dd HH:mm:ss:SSS");
    EXPECT_EQ(inTokyo.timeZone(), zone("Asia/Tokyo"));
    EXPECT_EQ(inTokyo.locale(), Locale("de_DE"));
    EXPECT_EQ(inTokyo.stringFromDate(kSample), "2024/01/02 12:04:05:006");
}

// Fault pinned: dates before 1582-10-15 were printed in the Julian calendar and BC years
// lost their sign.
TEST_F(DateFormatterTest, PrintsProlepticGregorianDatesAndSignedYears) {
    DateFormatter formatter;
    formatter.setDateFormat("uuuu-MM-dd");
    const std::vector<std::pair<double, std::string>> cases{
        {-14922057600.0, "1497-02-20"},  // before the changeover
        {-12219292800.0, "1582-10-15"},  // the first Gregorian day
        {-12219379200.0, "1582-10-14"},  // a day the Julian reckoning would call 10-04
        {-62167219200.0, "0000-01-01"},  // year 0, 1 BC
        {-63587289600.0, "-0045-01-01"},
    };
    for (const auto& [seconds, text] : cases) {
        EXPECT_EQ(formatter.stringFromDate(Date(seconds)), text);
        EXPECT_EQ(formatter.dateFromString(text), Date(seconds)) << text;
    }
}

TEST_F(DateFormatterTest, WallTimeAcrossDaylightSavingChanges) {
    DateFormatter formatter;
    formatter.setDateFormat("yyyy-MM-dd HH:mm:ss.SSS Z");
    formatter.setTimeZone(zone("America/New_York"));
    EXPECT_EQ(formatter.stringFromDate(kSpringForward.dateByAddingTimeInterval(-0.001)),
              "2024-03-10 01:59:59.999 -0500");
    EXPECT_EQ(formatter.stringFromDate(kSpringForward), "2024-03-10 03:00:00.000 -0400");
    EXPECT_EQ(formatter.stringFromDate(kFallBack.dateByAddingTimeInterval(-0.001)),
              "2024-11-03 01:59:59.999 -0400");
    EXPECT_EQ(formatter.stringFromDate(kFallBack), "2024-11-03 01:00:00.000 -0500");

    formatter.setTimeZone(TimeZone::utc());
    EXPECT_EQ(formatter.stringFromDate(kSpringForward), "2024-03-10 07:00:00.000 +0000");
}

TEST_F(DateFormatterTest, MillisecondsAreTruncatedOnBothSidesOf1970) {
    DateFormatter formatter;
    formatter.setDateFormat("yyyy/MM/dd HH:mm:ss:SSS");
    EXPECT_EQ(formatter.stringFromDate(Date(0)), "1970/01/01 00:00:00:000");
    EXPECT_EQ(formatter.stringFromDate(Date(0.0009)), "1970/01/01 00:00:00:000");
    EXPECT_EQ(formatter.stringFromDate(Date(59.9999)), "1970/01/01 00:00:59:999");
    EXPECT_EQ(formatter.stringFromDate(Date(-0.001)), "1969/12/31 23:59:59:999");
    EXPECT_EQ(formatter.stringFromDate(Date(-0.0005)), "1969/12/31 23:59:59:999");
    EXPECT_EQ(formatter.stringFromDate(Date(std::numeric_limits<double>::infinity())), "");
    EXPECT_EQ(formatter.stringFromDate(Date(std::nan(""))), "");
}

TEST_F(DateFormatterTest, PatternsAndLocales) {
    DateFormatter formatter;
    formatter.setDateFormat("EEEE d MMMM yyyy 'at' h a");
    EXPECT_EQ(formatter.stringFromDate(kSample), "Tuesday 2 January 2024 at 3 AM");
    formatter.setLocale(Locale("de_DE"));
    EXPECT_EQ(formatter.locale(), Locale("de_DE"));
    formatter.setDateFormat("EEEE d. MMMM yyyy");
    EXPECT_EQ(formatter.stringFromDate(kSample), "Dienstag 2. Januar 2024");
    // Letters outside the pattern syntax write nothing; quoted text is literal.
    formatter.setDateFormat("yyyy'j'jj");
    EXPECT_EQ(formatter.stringFromDate(kSample), "2024j");
}

TEST_F(DateFormatterTest, OneFormatterServesManyThreads) {
    DateFormatter formatter;
    formatter.setDateFormat("yyyy/MM/dd HH:mm:ss:SSS");
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            // Each thread writes its own hour, so a calendar shared without the lock shows.
            const Date date = kSample.dateByAddingTimeInterval(3600.0 * t);
            const std::string expected = fmt::format("2024/01/02 {:02}:04:05:006", 3 + t);
            for (int i = 0; i < 300; ++i) {
                wrong[t] += formatter.stringFromDate(date) != expected;
            }
        });
    }
    for (int round = 0; round < 50; ++round) {
        formatter.setTimeZone(TimeZone::utc());
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

TEST_F(DateFormatterTest, StylesGiveTheLocalesPatterns) {
    DateFormatter formatter;
    formatter.setLocale(Locale("en_US"));
    formatter.setTimeZone(zone("UTC"));
    EXPECT_EQ(formatter.dateFormat(), "");  // no pattern, no styles
    formatter.setTimeStyle(DateFormatterStyle::Short);
    EXPECT_EQ(formatter.dateFormat(), "h:mm\u202fa");
    EXPECT_EQ(formatter.stringFromDate(kSample), "3:04\u202fAM");
    formatter.setTimeStyle(DateFormatterStyle::Long);
    EXPECT_NE(formatter.dateFormat().find('a'), std::string::npos);
    formatter.setLocale(Locale("de_DE"));
    EXPECT_EQ(formatter.dateFormat().find('a'), std::string::npos);  // a 24-hour locale
    formatter.setDateStyle(DateFormatterStyle::Medium);
    formatter.setTimeStyle(DateFormatterStyle::None);
    EXPECT_EQ(formatter.stringFromDate(kSample), "02.01.2024");
    formatter.setDateFormat("yyyy");  // a pattern replaces the styles'
    EXPECT_EQ(formatter.stringFromDate(kSample), "2024");

    EXPECT_EQ(DateFormatter::dateFormatFromTemplate("yMMMd", Locale("en_US")), "MMM d, y");
    EXPECT_EQ(DateFormatter::dateFormatFromTemplate("yMMMd", Locale("de_DE")), "d. MMM y");
    EXPECT_EQ(DateFormatter::dateFormatFromTemplate("jm", Locale("en_GB")), "HH:mm");
}

TEST_F(DateFormatterTest, ParsingNeedsTheWholeTextAndKeepsItsLeniency) {
    DateFormatter formatter;
    formatter.setLocale(Locale("en_US_POSIX"));
    formatter.setTimeZone(zone("America/New_York"));
    formatter.setDateFormat("yyyy-MM-dd HH:mm");
    EXPECT_EQ(formatter.dateFromString("2024-03-10 12:30"), Date(1710088200));
    EXPECT_EQ(formatter.dateFromString("2024-3-10 12:30"), Date(1710088200));  // fewer digits
    EXPECT_FALSE(formatter.dateFromString("2024-03-10 12:30x"));
    EXPECT_FALSE(formatter.dateFromString("2024-03-10"));
    EXPECT_FALSE(formatter.dateFromString(""));
    EXPECT_FALSE(formatter.dateFromString("2024-13-10 12:30"));  // strict fields
    formatter.setLenient(true);
    EXPECT_EQ(formatter.dateFromString("2023-13-10 12:30"),
              formatter.dateFromString("2024-01-10 12:30"));
    EXPECT_FALSE(formatter.dateFromString("\xff\xfe"));

    // Fields the pattern lacks default to 1970-01-01 00:00 in the formatter's zone, and a
    // written date reads back as the day it names.
    formatter.setLenient(false);
    formatter.setDateFormat("yyyy-d-M");
    EXPECT_EQ(formatter.stringFromDate(Date(1710088200)), "2024-10-3");
    EXPECT_EQ(formatter.dateFromString("2024-10-3"), Date(1710046800));  // 00:00 EST

    auto copy = formatter.copy();
    EXPECT_EQ(copy->dateFormat(), "yyyy-d-M");
    EXPECT_EQ(copy->timeZone(), zone("America/New_York"));
}

TEST(LocaleTest, AutoupdatingLocaleFollowsTheCurrentOne) {
    testing::ScopedCurrentLocale english("en_US");
    const Locale following = Locale::autoupdatingCurrent();
    const Locale fixed = Locale::current();
    DateFormatter formatter;
    formatter.setLocale(following);
    formatter.setTimeZone(zone("UTC"));
    formatter.setDateFormat("EEEE");
    EXPECT_EQ(formatter.stringFromDate(kSample), "Tuesday");
    EXPECT_FALSE(Locale("en_US").usesMetricSystem());
    {
        testing::ScopedCurrentLocale german("de_DE");
        EXPECT_TRUE(following.isAutoupdating());
        EXPECT_EQ(following.identifier(), "de_DE");
        EXPECT_EQ(fixed.identifier(), "en_US");
        EXPECT_EQ(formatter.stringFromDate(kSample), "Dienstag");
        EXPECT_TRUE(following.usesMetricSystem());
    }
    EXPECT_EQ(formatter.stringFromDate(kSample), "Tuesday");
}

TEST(NumberFormatterTest, StylesLocalesAndParsing) {
    NumberFormatter formatter;
    formatter.setLocale(Locale("en_US"));
    EXPECT_EQ(formatter.stringFromNumber(1234.5), "1234");  // even: 1234.5 rounds to 1234
    EXPECT_EQ(formatter.stringFromNumber(1234.6), "1235");
    EXPECT_EQ(formatter.stringFromNumber(-42LL), "-42");
    formatter.setNumberStyle(NumberFormatterStyle::Decimal);
    EXPECT_EQ(formatter.stringFromNumber(1234.5678), "1,234.568");
    EXPECT_EQ(formatter.numberFromString("1,234.5"), 1234.5);
    EXPECT_FALSE(formatter.numberFromString("12 apples"));
    EXPECT_FALSE(formatter.numberFromString(""));
    formatter.setLocale(Locale("de_DE"));
    EXPECT_EQ(formatter.stringFromNumber(1234.5), "1.234,5");
    EXPECT_EQ(formatter.numberFromString("1.234,5"), 1234.5);
    formatter.setNumberStyle(NumberFormatterStyle::Percent);
    formatter.setLocale(Locale("en_US"));
    EXPECT_EQ(formatter.stringFromNumber(0.25), "25%");
    formatter.setNumberStyle(NumberFormatterStyle::Currency);
    EXPECT_EQ(formatter.stringFromNumber(1234.5), "$1,234.50");
}

}  // namespace
}  // namespace velmora

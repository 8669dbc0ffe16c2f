#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;
using dates_test::PinnedDates;

constexpr std::string_view kNewYork = "America/New_York";

TEST(FormattingTest, RelativeTimeInBothDirections) {
    const Date now = at(kNewYork, 2024, 1, 15, 10, 30);
    PinnedDates pinned(kNewYork, "en_US", now);
    struct Case {
        double secondsAway;
        std::string_view expected;
    };
    for (const Case& c : {
             Case{0, "just a moment ago"},
             Case{1.9, "just a moment ago"},
             Case{2, "2 seconds ago"},
             Case{59.99, "59 seconds ago"},
             Case{60, "about a minute ago"},
             Case{119, "about a minute ago"},
             Case{120, "2 minutes ago"},
             Case{3599, "59 minutes ago"},
             Case{3600, "about an hour ago"},
             Case{89 * 60 + 59, "about an hour ago"},
             Case{90 * 60, "2 hours ago"},
             Case{9000 - 1, "2 hours ago"},
             Case{9000, "3 hours ago"},
             Case{86399, "24 hours ago"},
         }) {
        SCOPED_TRACE(c.secondsAway);
        EXPECT_EQ(formatRelativeTime(now.dateByAddingTimeInterval(-c.secondsAway)), c.expected);
        // A future date is described in the same words.
        EXPECT_EQ(formatRelativeTime(now.dateByAddingTimeInterval(c.secondsAway)), c.expected);
    }
    // A day and more: the date and time.
    EXPECT_EQ(formatRelativeTime(now.dateByAddingTimeInterval(-86400)), "Sun 10:30 AM");
    EXPECT_EQ(formatRelativeTime(at(kNewYork, 2023, 12, 25, 18, 5)), "Dec 25 6:05 PM");
}

TEST(FormattingTest, TimesDatesAndShortForms) {
    const Date now = at(kNewYork, 2024, 1, 15, 10, 30);
    PinnedDates pinned(kNewYork, "en_US", now);
    const Date evening = at(kNewYork, 2024, 1, 15, 21, 5);
    EXPECT_EQ(formatTime(evening), "9:05 PM");
    EXPECT_EQ(formatDate(evening), "Monday, January 15, 2024");
    EXPECT_EQ(formatDateTime(evening), "9:05 PM");
    EXPECT_EQ(formatShortTime(evening), "9:05 PM");

    const Date lastWeek = at(kNewYork, 2024, 1, 9, 8, 0);  // under 604800 s ago
    EXPECT_EQ(formatDateTime(lastWeek), "Tue 8:00 AM");
    const Date longAgo = at(kNewYork, 2024, 1, 8, 10, 29, 59);  // 604801 s ago
    EXPECT_EQ(formatDateTime(longAgo), "Jan 8 10:29 AM");
    EXPECT_EQ(formatShortTime(longAgo), "1/8/24");

    // Within a week the "en_UK" formatter is used with whatever pattern it holds.
    ASSERT_TRUE(dateAtMidnightWithUKLocale(now));  // leaves "yyyy-MM-dd" on it
    EXPECT_EQ(formatShortTime(lastWeek), "2024-01-09");
    VelmoraDAO::getSharedInstance().getThreadSafeNSDateFormatter(true)->setDateFormat("d MMM");
    EXPECT_EQ(formatShortTime(lastWeek), "9 Jan");
}

TEST(FormattingTest, FormattingFollowsTheLocaleAndZone) {
    const Date now = at("Europe/Berlin", 2024, 1, 15, 10, 30);
    PinnedDates pinned("Europe/Berlin", "de_DE", now);
    EXPECT_EQ(formatDate(now), "Montag, Januar 15, 2024");
    testing::ScopedSystemTimeZone tokyo("Asia/Tokyo");
    EXPECT_EQ(formatTime(now), "6:30 PM");
}

TEST(FormattingTest, TodayYesterdayOrTheDay) {
    PinnedDates pinned(kNewYork, "en_US", at(kNewYork, 2024, 3, 1, 10));
    DateComponents today;
    today.year = 2024;
    today.month = 3;
    today.day = 1;
    DateComponents yesterday;
    yesterday.year = 2024;
    yesterday.month = 2;
    yesterday.day = 29;
    EXPECT_EQ(formatDay(at(kNewYork, 2024, 3, 1, 23, 59), today, yesterday), "Today");
    EXPECT_EQ(formatDay(at(kNewYork, 2024, 2, 29, 0, 0), today, yesterday), "Yesterday");
    EXPECT_EQ(formatDay(at(kNewYork, 2024, 2, 28, 12), today, yesterday), "February 28");
    // Only day, month and year are compared; extra fields do not matter.
    today.hour = 3;
    EXPECT_EQ(formatDay(at(kNewYork, 2024, 3, 1, 8), today, yesterday), "Today");
    EXPECT_EQ(formatDay(at(kNewYork, 2023, 3, 1, 8), today, yesterday), "March 1");
}

TEST(FormattingTest, TwentyFourHourClockByLocale) {
    struct Case {
        std::string_view locale;
        bool twentyFour;
    };
    for (const Case& c : {Case{"en_US", false}, Case{"en_GB", true}, Case{"de_DE", true},
                          Case{"ja_JP", true}, Case{"ko_KR", false}, Case{"en_AU", false}}) {
        SCOPED_TRACE(c.locale);
        PinnedDates pinned(kNewYork, c.locale, at(kNewYork, 2024, 3, 1, 15));
        EXPECT_EQ(Is24HourClock(), c.twentyFour);
    }
}

}  // namespace
}  // namespace velmora

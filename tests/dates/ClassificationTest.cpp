#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;
using dates_test::PinnedDates;

// Which of the today-relative tests hold, as one comparable line.
std::string classify(Date date) {
    std::string found;
    const auto add = [&found](bool holds, std::string_view name) {
        if (holds) {
            found += found.empty() ? "" : " ";
            found += name;
        }
    };
    add(isDateToday(date), "today");
    add(isDateYesterday(date), "yesterday");
    add(isDateTomorrow(date), "tomorrow");
    add(isDateBeforeToday(date), "before");
    add(isDateAfterToday(date), "after");
    add(isDateThisMonth(date), "this-month");
    add(isDatePreviousMonths(date), "previous-months");
    add(isDateNextMonth(date), "next-month");
    add(isDateFutureMonths(date), "future-months");
    add(vl_isToday(date), "vl-today");
    return found;
}

struct ClassifyCase {
    int year, month, day, hour, minute, second;
    std::string_view expected;
};

void expectClassified(std::string_view zone, const std::vector<ClassifyCase>& cases) {
    for (const ClassifyCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << zone << " " << c.year << "-" << c.month << "-" << c.day
                                          << " " << c.hour << ":" << c.minute << ":" << c.second);
        EXPECT_EQ(classify(at(zone, c.year, c.month, c.day, c.hour, c.minute, c.second)),
                  c.expected);
    }
}

TEST(ClassificationTest, AgainstTodayInJanuary) {
    // Now is Monday 2024-01-15 10:00 in Berlin: December of last year is a previous month.
    PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2024, 1, 15, 10));
    expectClassified("Europe/Berlin", {
                                          {2024, 1, 15, 0, 0, 0, "today this-month vl-today"},
                                          {2024, 1, 15, 23, 59, 59, "today this-month vl-today"},
                                          {2024, 1, 14, 23, 59, 59, "yesterday before this-month"},
                                          {2024, 1, 14, 9, 0, 0, "yesterday before this-month"},
                                          {2024, 1, 16, 0, 0, 0, "tomorrow after this-month"},
                                          {2024, 1, 17, 0, 0, 0, "after this-month"},
                                          {2024, 1, 1, 0, 0, 0, "before this-month"},
                                          {2023, 12, 31, 23, 59, 59, "before previous-months"},
                                          {2023, 6, 1, 0, 0, 0, "before previous-months"},
                                          {2024, 2, 1, 0, 0, 0, "after next-month"},
                                          {2024, 2, 29, 23, 0, 0, "after next-month"},
                                          {2024, 3, 1, 0, 0, 0, "after future-months"},
                                          {2025, 1, 1, 0, 0, 0, "after future-months"},
                                      });
}

TEST(ClassificationTest, AgainstTodayInDecember) {
    // Next month is in the next year; the month after is "future" though its number is
    // smaller than now's.
    PinnedDates pinned("America/New_York", "en_US", at("America/New_York", 2024, 12, 31, 23, 30));
    expectClassified("America/New_York", {
                                             {2025, 1, 1, 0, 0, 0, "tomorrow after next-month"},
                                             {2025, 1, 31, 0, 0, 0, "after next-month"},
                                             {2025, 2, 1, 0, 0, 0, "after future-months"},
                                             {2024, 11, 30, 0, 0, 0, "before previous-months"},
                                             {2024, 12, 1, 0, 0, 0, "before this-month"},
                                         });
}

TEST(ClassificationTest, DaylightSavingDaysAreWholeDays) {
    struct Day {
        std::string_view zone;
        int month, day;
    };
    for (const Day& d :
         {Day{"America/New_York", 3, 10}, Day{"America/New_York", 11, 3},
          Day{"Europe/Berlin", 3, 31}, Day{"Europe/Berlin", 10, 27}, Day{"Asia/Tokyo", 3, 31}}) {
        PinnedDates pinned(d.zone, "en_US", at(d.zone, 2024, d.month, d.day, 12));
        expectClassified(d.zone,
                         {
                             {2024, d.month, d.day, 0, 0, 0, "today this-month vl-today"},
                             {2024, d.month, d.day, 23, 59, 59, "today this-month vl-today"},
                         });
        const Date dayBefore = at(d.zone, 2024, d.month, d.day - 1, 0, 30);
        const Date dayAfter = at(d.zone, 2024, d.month, d.day + 1, 23, 30);
        EXPECT_TRUE(isDateYesterday(dayBefore)) << d.zone;
        EXPECT_TRUE(isDateTomorrow(dayAfter)) << d.zone;
        EXPECT_TRUE(isDateXDaysAgo(dayBefore, 1)) << d.zone;
        EXPECT_TRUE(isDateInXDays(dayAfter, 1)) << d.zone;
        EXPECT_FALSE(isDateInXDays(dayAfter, 2)) << d.zone;
    }
}

TEST(ClassificationTest, VlIsTodayGivesUpBeyondADayOfElapsedTime) {
    // 3 November 2024 lasts 25 hours in New York: its first and last seconds are more than
    // 86400 s apart, so the quick test says "not today" where the calendar says "today".
    PinnedDates pinned("America/New_York", "en_US", at("America/New_York", 2024, 11, 3, 0, 0, 30));
    const Date lastSecond = at("America/New_York", 2024, 11, 3, 23, 59, 59);
    EXPECT_TRUE(isDateToday(lastSecond));
    EXPECT_FALSE(vl_isToday(lastSecond));
    EXPECT_TRUE(vl_isToday(at("America/New_York", 2024, 11, 3, 22, 0, 0)));
}

TEST(ClassificationTest, XDaysAwayAndComparedMonths) {
    PinnedDates pinned("Asia/Tokyo", "en_US", at("Asia/Tokyo", 2024, 3, 1, 8));
    EXPECT_TRUE(isDateXDaysAgo(at("Asia/Tokyo", 2024, 2, 28, 22), 2));  // 2024 is a leap year
    EXPECT_TRUE(isDateInXDays(at("Asia/Tokyo", 2024, 3, 31, 1), 30));
    EXPECT_TRUE(isDateXDaysAgo(at("Asia/Tokyo", 2024, 3, 1, 23), 0));
    EXPECT_TRUE(isDateInXDays(at("Asia/Tokyo", 2024, 2, 29, 23), -1));
    EXPECT_FALSE(isDateXDaysAgo(at("Asia/Tokyo", 2024, 2, 28, 22), 1));

    const Date january31 = at("Asia/Tokyo", 2024, 1, 31, 12);
    // One month after 31 January is 29 February.
    EXPECT_TRUE(isDateNextMonthComparedTo(at("Asia/Tokyo", 2024, 2, 1), january31));
    EXPECT_FALSE(isDateNextMonthComparedTo(at("Asia/Tokyo", 2024, 3, 1), january31));
    EXPECT_TRUE(isDatePreviousMonthComparedTo(at("Asia/Tokyo", 2023, 12, 31), january31));
    EXPECT_FALSE(isDatePreviousMonthComparedTo(at("Asia/Tokyo", 2024, 1, 1), january31));
    EXPECT_FALSE(isDatePreviousMonthComparedTo(at("Asia/Tokyo", 2022, 12, 1), january31));
}

TEST(ClassificationTest, DatesWithoutADayAreNothing) {
    PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2024, 1, 15, 10));
    EXPECT_EQ(classify(Date(std::nan(""))), "");
    EXPECT_EQ(classify(Date(INFINITY)), "");
}

TEST(ClassificationTest, DifferencesInMinutesAndDays) {
    PinnedDates pinned("Europe/Berlin", "en_US", at("Europe/Berlin", 2024, 3, 30, 12));
    const Date saturdayNoon = at("Europe/Berlin", 2024, 3, 30, 12);
    // Whole minutes, sign kept, truncated toward zero.
    EXPECT_EQ(minutesToDate(saturdayNoon, saturdayNoon.dateByAddingTimeInterval(90 * 60 + 59)), 90);
    EXPECT_EQ(minutesToDate(saturdayNoon, saturdayNoon.dateByAddingTimeInterval(-(90 * 60 + 59))),
              -90);
    EXPECT_EQ(minutesToDate(saturdayNoon, saturdayNoon.dateByAddingTimeInterval(59)), 0);
    // Midnights crossed, over the spring change (the night of 30/31 March has 23 hours).
    EXPECT_EQ(daysToDate(saturdayNoon, at("Europe/Berlin", 2024, 3, 31, 0, 0, 0)), 1);
    EXPECT_EQ(daysToDate(saturdayNoon, at("Europe/Berlin", 2024, 4, 1, 0, 30)), 2);
    EXPECT_EQ(daysToDate(saturdayNoon, at("Europe/Berlin", 2024, 3, 30, 23, 59, 59)), 0);
    EXPECT_EQ(daysToDate(at("Europe/Berlin", 2024, 4, 1, 0, 30), saturdayNoon), -2);
    EXPECT_EQ(daysToDate(at("Europe/Berlin", 2023, 3, 30), at("Europe/Berlin", 2024, 3, 30)), 366);
    // The same instants in New York are other days.
    testing::ScopedSystemTimeZone newYork("America/New_York");
    EXPECT_EQ(daysToDate(saturdayNoon, at("Europe/Berlin", 2024, 3, 31, 0, 0, 0)), 0);
}

}  // namespace
}  // namespace velmora

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/dates/DateDetector.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;

constexpr std::string_view kBerlin = "Europe/Berlin";

// Monday 2026-11-23 10:00 in Berlin, with a calendar of its own.
class DateDetectorTest : public ::testing::Test {
  protected:
    DateDetectorTest() { calendar_.setTimeZone(TimeZone::named(kBerlin).value()); }

    static Date day(int month, int dayOfMonth, int hour = 0, int minute = 0, int year = 2026) {
        return at(kBerlin, year, month, dayOfMonth, hour, minute);
    }

    std::optional<DetectedDate> first(std::string_view text, bool monthFirst = false) const {
        return DateDetector(calendar_, now_, monthFirst).firstMatch(text);
    }

    Calendar calendar_{CalendarIdentifier::Gregorian};
    Date now_ = at(kBerlin, 2026, 11, 23, 10);
};

TEST_F(DateDetectorTest, ReadsEachForm) {
    struct Case {
        const char* text;
        const char* matched;
        Date date;
        bool hasTime;
        double duration;
    };
    for (const Case& c : {
             Case{"dec 24", "dec 24", day(12, 24), false, 0},
             Case{"see you 24 December 2025!", "24 December 2025", day(12, 24, 0, 0, 2025), false,
                  0},
             Case{"december 24th", "december 24th", day(12, 24), false, 0},
             Case{"dec 24, 2027 at 5pm", "dec 24, 2027 at 5pm", day(12, 24, 17, 0, 2027), true, 0},
             Case{"on the 3rd", "on the 3rd", day(12, 3), false, 0},
             Case{"the 3rd of march", "the 3rd of march", day(3, 3, 0, 0, 2027), false, 0},
             Case{"next friday", "next friday", day(11, 27), false, 0},
             Case{"this sat", "this sat", day(11, 28), false, 0},
             Case{"last monday", "last monday", day(11, 16), false, 0},
             Case{"next monday", "next monday", day(11, 30), false, 0},
             Case{"monday", "monday", day(11, 23), false, 0},
             Case{"in 3 days", "in 3 days", day(11, 26), false, 0},
             Case{"in two weeks", "in two weeks", day(12, 7), false, 0},
             Case{"a week from today", "a week from today", day(11, 30), false, 0},
             Case{"the day after tomorrow", "the day after tomorrow", day(11, 25), false, 0},
             Case{"3 days ago", "3 days ago", day(11, 20), false, 0},
             Case{"in 2 hours", "in 2 hours", day(11, 23, 12), true, 0},
             Case{"next month", "next month", day(12, 23), false, 0},
             Case{"5pm", "5pm", day(11, 23, 17), true, 0},
             Case{"5:30 p.m.", "5:30 p.m.", day(11, 23, 17, 30), true, 0},
             Case{"17:30", "17:30", day(11, 23, 17, 30), true, 0},
             Case{"noon", "noon", day(11, 23, 12), true, 0},
             Case{"midnight", "midnight", day(11, 23, 0), true, 0},
             Case{"meet at 9", "at 9", day(11, 23, 9), true, 0},
             Case{"2025-12-24", "2025-12-24", day(12, 24, 0, 0, 2025), false, 0},
             Case{"2025-12-24T09:30:00Z", "2025-12-24T09:30:00Z", day(12, 24, 10, 30, 2025), true,
                  0},
             Case{"24/12/2025", "24/12/2025", day(12, 24, 0, 0, 2025), false, 0},
             Case{"24.12.25", "24.12.25", day(12, 24, 0, 0, 2025), false, 0},
             Case{"call 3-5pm", "3-5pm", day(11, 23, 15), true, 7200},
             Case{"from 9 to 11", "from 9 to 11", day(11, 23, 9), true, 7200},
             Case{"11-1pm", "11-1pm", day(11, 23, 11), true, 7200},
             Case{"10:00-11:30", "10:00-11:30", day(11, 23, 10), true, 5400},
             Case{"5pm on friday", "5pm on friday", day(11, 27, 17), true, 0},
         }) {
        const std::optional<DetectedDate> found = first(c.text);
        ASSERT_TRUE(found.has_value()) << c.text;
        EXPECT_EQ(found->matchedText, c.matched) << c.text;
        EXPECT_EQ(found->date, c.date) << c.text << " gave " << found->date.description();
        EXPECT_EQ(found->hasTime, c.hasTime) << c.text;
        EXPECT_EQ(found->duration, c.duration) << c.text;
        EXPECT_EQ(std::string_view(c.text).substr(found->range.location, found->range.length),
                  c.matched);
    }
}

TEST_F(DateDetectorTest, NumericOrderFollowsTheRegion) {
    EXPECT_EQ(first("1/2/2027", false)->date, day(2, 1, 0, 0, 2027));
    EXPECT_EQ(first("1/2/2027", true)->date, day(1, 2, 0, 0, 2027));
    EXPECT_EQ(first("12/24/2025", false), std::nullopt);
}

TEST_F(DateDetectorTest, YearlessDatesTakeTheNearestYear) {
    EXPECT_EQ(first("jan 3")->date, day(1, 3, 0, 0, 2027));
    EXPECT_EQ(first("jun 1")->date, day(6, 1));
}

TEST_F(DateDetectorTest, NamedZones) {
    const std::optional<DetectedDate> est = first("5pm EST");
    ASSERT_TRUE(est.has_value());
    ASSERT_TRUE(est->timeZone.has_value());
    EXPECT_EQ(est->date, Date(at("America/New_York", 2026, 11, 23, 17)));
    const std::optional<DetectedDate> offset = first("2026-01-15T17:00:00+05:30");
    ASSERT_TRUE(offset.has_value());
    EXPECT_EQ(offset->date, Date(1768476600));  // 11:30 UTC
}

TEST_F(DateDetectorTest, AllMatchesInOrder) {
    const std::vector<DetectedDate> found =
        DateDetector(calendar_, now_, false).matches("lunch fri at 1pm, then 3-5pm; 2025-12-24");
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].matchedText, "fri at 1pm");
    EXPECT_EQ(found[1].matchedText, "3-5pm");
    EXPECT_EQ(found[2].matchedText, "2025-12-24");
    EXPECT_LT(found[0].range.end(), found[1].range.location);
}

TEST_F(DateDetectorTest, TextsWithoutDates) {
    for (const char* text : {"", "buy milk", "feb 30", "25:61", "room 101", "may I", "\xff\xfe",
                             "mayday", "13/13/2025"}) {
        EXPECT_EQ(first(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace velmora

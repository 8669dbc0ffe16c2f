// CivilCalendar answers as the ICU calendar does, most of all around daylight-saving
// changes: every half hour of three days either side of a change, in zones whose clocks
// jump at 02:00, at midnight, by half an hour, and by a whole day.
#include <array>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/dates/internal/CivilCalendar.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/TimeZone.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

struct Change {
    const char* zone;
    int year, month, day;
};

constexpr std::array kChanges{
    Change{"America/New_York", 2026, 3, 8},     Change{"America/New_York", 2026, 11, 1},
    Change{"Europe/London", 2026, 3, 29},       Change{"Australia/Lord_Howe", 2026, 4, 5},
    Change{"Australia/Lord_Howe", 2026, 10, 4}, Change{"America/Santiago", 2026, 9, 6},
    Change{"America/Santiago", 2026, 4, 5},     Change{"Pacific/Apia", 2011, 12, 30},
    Change{"Asia/Kolkata", 2026, 6, 1},
};

std::string text(const std::optional<Date>& date) {
    return date ? std::to_string(date->timeIntervalSince1970()) : std::string("none");
}

TEST(CivilCalendarTest, AnswersAsTheCalendarAroundDaylightSavingChanges) {
    for (const Change& change : kChanges) {
        Calendar calendar(CalendarIdentifier::Gregorian);
        calendar.setTimeZone(TimeZone::named(change.zone).value());
        const CivilCalendar civil(calendar);
        const Date middle = dates_test::at(change.zone, change.year, change.month, change.day, 12);
        for (int halfHour = -144; halfHour <= 144; ++halfHour) {
            const Date date = middle.dateByAddingTimeInterval(halfHour * 1800.0);
            SCOPED_TRACE(std::string(change.zone) + " " + std::to_string(halfHour));
            for (const CalendarUnit unit :
                 {CalendarUnit::Year, CalendarUnit::Month, CalendarUnit::Day, CalendarUnit::Weekday,
                  CalendarUnit::Hour, CalendarUnit::Minute}) {
                EXPECT_EQ(civil.component(unit, date), calendar.component(unit, date));
            }
            EXPECT_EQ(text(civil.startOfDay(date)), text(calendar.startOfDay(date)));
            EXPECT_EQ(text(civil.dateBySettingHour(1, 30, 0, date)),
                      text(calendar.dateBySettingHour(1, 30, 0, date)));
            const int day = calendar.component(CalendarUnit::Day, date);
            DateComponents parts;
            parts.year = change.year;
            parts.month = change.month;
            parts.day = day + 1;
            EXPECT_EQ(text(civil.dateFromDay(change.year, change.month, day + 1)),
                      text(calendar.dateFromComponents(parts)));
            const Date start = calendar.startOfDay(date).value();
            for (const Date base : {date, start}) {
                for (const std::array<int, 3>& amount :
                     {std::array<int, 3>{0, 0, 1}, {0, 0, -1}, {0, 0, 7}, {0, 1, 0}, {1, 0, -2}}) {
                    DateComponents add;
                    add.year = amount[0];
                    add.month = amount[1];
                    add.day = amount[2];
                    EXPECT_EQ(text(civil.dateByAdding(amount[0], amount[1], amount[2], base)),
                              text(calendar.dateByAddingComponents(add, base)));
                }
                EXPECT_EQ(text(civil.dateByAddingDays(base, 1, 1, 0, 0, 0)),
                          text(getDateByAddingDays(base, 1, 1, 0, 0, 0, &calendar)));
                EXPECT_EQ(text(civil.dateByAddingHours(base, 5, 30)),
                          text(getDateByAddingHours(base, 5, 30, 0)));
            }
        }
    }
}

}  // namespace
}  // namespace velmora

// Classification of a date against today and against other dates' months, and the
// differences in minutes and days.
#include <cmath>
#include <string>
#include <vector>

#include "Velmora/dates/DateCalendars.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/services/DayBoundaries.h"

namespace velmora {
namespace {

constexpr double kSecondsPerDay = 86400.0;

// Start of the date's day in this thread's calendar.
std::optional<Date> startOfDay(Date date) {
    return dayStart(*defaultCalendar(), date, /*midday=*/false);
}

// Both days exist and are the same instant; a missing one never matches.
bool sameStart(const std::optional<Date>& a, const std::optional<Date>& b) {
    return a && b && *a == *b;
}

// The date's day equals the day of now moved by `days` calendar days.
bool isDateOnDayFromToday(Date date, int days) {
    const std::optional<Date> target = getDateByAddingDays(Date::now(), days, 0, 0, 0);
    return target && sameStart(startOfDay(date), startOfDay(*target));
}

struct MonthOfYear {
    int month = 0;
    int year = 0;
};

// Nothing for a date the calendar cannot place.
std::optional<MonthOfYear> monthOf(const Calendar& calendar, const std::optional<Date>& date) {
    if (!date) {
        return std::nullopt;
    }
    const DateComponents parts = calendar.components(kDateHourAndMinuteUnits, *date);
    if (!parts.month || !parts.year) {
        return std::nullopt;
    }
    return MonthOfYear{*parts.month, *parts.year};
}

// Month and year of date, and of reference moved by `months` months.
bool isSameMonth(Date date, Date reference, int months) {
    const CalendarRef calendar(nullptr);
    const std::optional<MonthOfYear> a = monthOf(*calendar, date);
    const std::optional<MonthOfYear> b =
        monthOf(*calendar, getDateByAddingDays(reference, 0, 0, months, 0));
    return a && b && a->month == b->month && a->year == b->year;
}

// The date's month lies before (negative) or after (positive) the month of now moved by
// `months` months.
int compareWithMonthFromNow(Date date, int months) {
    const CalendarRef calendar(nullptr);
    const std::optional<MonthOfYear> a = monthOf(*calendar, date);
    const std::optional<MonthOfYear> b =
        monthOf(*calendar, getDateByAddingDays(Date::now(), 0, 0, months, 0));
    if (!a || !b) {
        return 0;
    }
    if (a->year != b->year) {
        return a->year < b->year ? -1 : 1;
    }
    return a->month < b->month ? -1 : (a->month > b->month ? 1 : 0);
}

}  // namespace

bool isDateToday(Date date) {
    return sameStart(startOfDay(date), startOfDay(Date::now()));
}

bool isDateYesterday(Date date) {
    return isDateOnDayFromToday(date, -1);
}

bool isDateTomorrow(Date date) {
    return isDateOnDayFromToday(date, 1);
}

bool isDateXDaysAgo(Date date, int days) {
    return isDateOnDayFromToday(date, -days);
}

bool isDateInXDays(Date date, int days) {
    return isDateOnDayFromToday(date, days);
}

bool isDateBeforeToday(Date date) {
    const std::optional<Date> day = startOfDay(date);
    const std::optional<Date> today = startOfDay(Date::now());
    return day && today && *day < *today;
}

bool isDateAfterToday(Date date) {
    const std::optional<Date> end = dateJustBeforeEndOfDay(date);
    const std::optional<Date> todayEnd = dateJustBeforeEndOfDay(Date::now());
    return end && todayEnd && *end > *todayEnd;
}

bool isDateThisMonth(Date date) {
    return isSameMonth(date, Date::now(), 0);
}

bool isDatePreviousMonths(Date date) {
    return compareWithMonthFromNow(date, 0) < 0;
}

bool isDateNextMonth(Date date) {
    return isSameMonth(date, Date::now(), 1);
}

bool isDateFutureMonths(Date date) {
    return compareWithMonthFromNow(date, 1) > 0;
}

bool isDateNextMonthComparedTo(Date date, Date other) {
    return isSameMonth(date, other, 1);
}

bool isDatePreviousMonthComparedTo(Date date, Date other) {
    return isSameMonth(date, other, -1);
}

bool vl_isToday(Date date) {
    const Date now = Date::now();
    if (std::fabs(date.timeIntervalSinceDate(now)) > kSecondsPerDay) {
        return false;
    }
    const CalendarRef calendar(nullptr);
    const DateComponents a = calendar->components(kMonthGridUnits, date);
    const DateComponents b = calendar->components(kMonthGridUnits, now);
    // The mask has no era, so both eras are absent and agree, as they always did.
    return a.day == b.day && a.month == b.month && a.year == b.year && a.era == b.era;
}

long minutesToDate(Date date, Date other) {
    return platformCurrentCalendar()
        .components(CalendarUnit::Minute, date, other)
        .minute.value_or(0);
}

long daysToDate(Date date, Date other) {
    return midnightsBetween(platformCurrentCalendar(), date, other);
}

}  // namespace velmora

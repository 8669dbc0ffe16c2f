#include "Velmora/dates/NSDateAdditions.h"

#include <algorithm>
#include <string>

#include "Velmora/dates/DateCalendars.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

constexpr long kShortestMonth = 21;  // below this a month length is reported as broken
constexpr long kLongestMonth = 31;

// "%@" of a date that may be missing, as the platform writes it.
std::string describe(const std::optional<Date>& date) {
    return date ? date->description() : std::string("(null)");
}

std::optional<Date> addMonthsAtHourZero(Date date, int months, int days = 0) {
    DateComponents amount;
    amount.month = months;
    amount.day = days;
    amount.hour = 0;
    return defaultCalendar()->dateByAddingComponents(amount, date);
}

// 00:00 of days first...last of the month holding `inMonth`, in this thread's calendar.
std::vector<Date> startsOfDays(const std::optional<Date>& inMonth, long first, long last) {
    std::vector<Date> days;
    if (!inMonth || last < first) {
        return days;
    }
    const std::shared_ptr<Calendar> calendar = defaultCalendar();
    const DateComponents month = calendar->components(kDayUnits, *inMonth);
    days.reserve(static_cast<std::size_t>(last - first + 1));
    for (long day = first; day <= last; ++day) {
        if (std::optional<Date> start =
                vl_dateForStartOfDay(static_cast<int>(day), month.month.value_or(1),
                                     month.year.value_or(1), calendar.get())) {
            days.push_back(*start);
        }
    }
    return days;
}

}  // namespace

Date vl_today() {
    return Date::now();
}

std::optional<Date> vl_dateForDay(int day, int month, int year, const Calendar* gregCal) {
    DateComponents parts;
    parts.day = day;
    parts.month = month;
    parts.year = year;
    parts.hour = 0;
    return CalendarRef(gregCal)->dateFromComponents(parts);
}

std::optional<Date> vl_dateForStartOfDay(int day, int month, int year, const Calendar* gregCal) {
    DateComponents parts;
    parts.day = day;
    parts.month = month;
    parts.year = year;
    parts.hour = 0;
    parts.minute = 0;
    parts.second = 0;
    return CalendarRef(gregCal)->dateFromComponents(parts);
}

DateComponents vl_componentsForMonthDayAndYear(Date date, const Calendar* calendar) {
    return CalendarRef(calendar)->components(kMonthGridUnits, date);
}

DateComponents vl_componentsForHourMinutesAndSeconds(Date date, const Calendar* calendar) {
    return CalendarRef(calendar)->components(kTimeUnits, date);
}

DateComponents vl_componentsMonthDayYearHourMinutes(Date date, const Calendar* calendar) {
    return CalendarRef(calendar)->components(kMonthGridWithTimeUnits, date);
}

int vl_day(Date date) {
    return defaultCalendar()->component(CalendarUnit::Day, date);
}

int vl_weekday(Date date) {
    return defaultCalendar()
        ->ordinalityOfUnit(CalendarUnit::Weekday, CalendarUnit::WeekOfMonth, date)
        .value_or(0);
}

long vl_numberOfDaysInMonth(Date date) {
    const std::optional<Range> days =
        defaultCalendar()->rangeOfUnit(CalendarUnit::Day, CalendarUnit::Month, date);
    const long length = days ? static_cast<long>(days->length) : 0;
    if (length < kShortestMonth || length > kLongestMonth) {
        log::error("   INVALID NUM OF DAYS IN MONTH: {} {}", date.description(), length);
    }
    return length;
}

std::optional<Date> vl_dateByMovingToFirstDayOfTheMonth(Date date, const Calendar* calendar) {
    const CalendarRef cal(calendar);
    DateComponents parts = cal->components(kDayUnits, date);
    if (!parts.year) {
        return std::nullopt;
    }
    parts.day = 1;
    parts.hour = 0;
    parts.minute = 0;
    parts.second = 0;
    return cal->dateFromComponents(parts);
}

std::optional<Date> vl_dateByMovingToLastDayOfTheMonth(Date date, const Calendar* calendar) {
    const CalendarRef cal(calendar);
    DateComponents nextMonth;
    nextMonth.month = 1;
    nextMonth.hour = 0;
    const std::optional<Date> inNextMonth = cal->dateByAddingComponents(nextMonth, date);
    const std::optional<Date> firstOfNext =
        inNextMonth ? vl_dateByMovingToFirstDayOfTheMonth(*inNextMonth, cal.get()) : std::nullopt;
    if (!firstOfNext) {
        return std::nullopt;
    }
    DateComponents dayBefore;
    dayBefore.day = -1;
    dayBefore.month = 0;
    dayBefore.hour = 0;
    return cal->dateByAddingComponents(dayBefore, *firstOfNext);
}

std::optional<Date> vl_dateByMovingToFirstDayOfThePreviousMonth(Date date) {
    const std::optional<Date> moved = addMonthsAtHourZero(date, -1);
    return moved ? vl_dateByMovingToFirstDayOfTheMonth(*moved) : std::nullopt;
}

std::optional<Date> vl_dateByMovingToFirstDayOfTheFollowingMonth(Date date) {
    const std::optional<Date> moved = addMonthsAtHourZero(date, 1);
    return moved ? vl_dateByMovingToFirstDayOfTheMonth(*moved) : std::nullopt;
}

std::optional<Date> vl_dateByMovingToFirstDayOfTheFollowingMonthWithWeekday(Date date,
                                                                            int weekday) {
    const std::optional<Date> first = vl_dateByMovingToFirstDayOfTheFollowingMonth(date);
    if (!first) {
        return std::nullopt;
    }
    const int firstWeekday = defaultCalendar()->component(CalendarUnit::Weekday, *first);
    const int days = ((weekday + 7 - firstWeekday) % 7 + 7) % 7;
    return addMonthsAtHourZero(*first, 0, days);
}

int numberOfDaysInPreviousPartialWeek(Date date) {
    const std::optional<Date> first = vl_dateByMovingToFirstDayOfTheMonth(date);
    return first ? vl_weekday(*first) - 1 : 0;
}

int numberOfDaysInFollowingPartialWeek(Date date) {
    const std::optional<Date> last = vl_dateByMovingToLastDayOfTheMonth(date);
    return last ? 7 - vl_weekday(*last) : 0;
}

std::vector<Date> daysInFinalWeekOfPreviousMonth(Date date) {
    const std::optional<Date> previous = vl_dateByMovingToFirstDayOfThePreviousMonth(date);
    const long length = previous ? vl_numberOfDaysInMonth(*previous) : 0;
    const long shown = numberOfDaysInPreviousPartialWeek(date);
    return startsOfDays(previous, length - shown + 1, length);
}

std::vector<Date> daysInSelectedMonth(Date date) {
    const std::optional<Date> first = vl_dateByMovingToFirstDayOfTheMonth(date);
    const long length = first ? std::min(vl_numberOfDaysInMonth(*first), kLongestMonth) : 0;
    std::vector<Date> days = startsOfDays(first, 1, length);
    if (days.size() < static_cast<std::size_t>(kShortestMonth)) {
        VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
        const DateComponents parts =
            first ? defaultCalendar()->components(kDayUnits, *first) : DateComponents{};
        log::error(
            "ERROR  [daysInSelectedMonth] TODAY [{}, END: {}] First Day Of This Month: {}, total "
            "days: {}, comps: {}d, {}m, {}y",
            describe(dao.getTodayAtStartOfDay()), describe(dao.getTodayBeforeEndOfDay()),
            describe(first), days.size(), parts.day.value_or(0), parts.month.value_or(0),
            parts.year.value_or(0));
    }
    return days;
}

std::vector<Date> daysInFirstWeekOfFollowingMonth(Date date) {
    const long shown = numberOfDaysInFollowingPartialWeek(date);
    return startsOfDays(vl_dateByMovingToFirstDayOfTheFollowingMonth(date), 1, shown);
}

}  // namespace velmora

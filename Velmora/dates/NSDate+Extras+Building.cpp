// Building dates: setting and adding calendar fields, the start, midday and end of a day,
// and the round trips through formatters.
#include "Velmora/dates/DateCalendars.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/services/DayBoundaries.h"

namespace velmora {
namespace {

// Sets field to value unless value is negative ("leave") or already there; tells whether
// it changed anything.
bool replaceIfWanted(std::optional<int>& field, int value) {
    if (value < 0 || field == value) {
        return false;
    }
    field = value;
    return true;
}

// Components read from a date the calendar cannot represent come back empty; building
// a date from them would invent 0001-01-01.
bool isEmpty(const DateComponents& parts) {
    return !parts.year;
}

}  // namespace

std::optional<Date> getDateBySettingDays(Date date, int days, int weeks, int months, int years,
                                         const Calendar* calendar) {
    const CalendarRef cal(calendar);
    DateComponents parts = cal->components(kDateHourAndMinuteUnits, date);
    if (isEmpty(parts)) {
        return std::nullopt;
    }
    if (days >= 1) {
        parts.day = days;
    }
    if (weeks >= 1) {
        parts.weekOfMonth = weeks;
    }
    if (months >= 1) {
        parts.month = months;
    }
    if (years >= 1) {
        parts.year = years;
    }
    return cal->dateFromComponents(parts);
}

std::optional<Date> getDateBySettingHours(Date date, int hours, int minutes, int seconds,
                                          const Calendar* calendar) {
    const CalendarRef cal(calendar);
    DateComponents parts = cal->components(kDateAndTimeUnits, date);
    if (isEmpty(parts)) {
        return std::nullopt;
    }
    bool changed = replaceIfWanted(parts.hour, hours);
    changed = replaceIfWanted(parts.minute, minutes) || changed;
    changed = replaceIfWanted(parts.second, seconds) || changed;
    if (!changed) {
        return date;
    }
    return cal->dateFromComponents(parts);
}

std::optional<Date> getDateByAddingDays(Date date, int days, int weeks, int months, int years,
                                        int hours, const Calendar* calendar) {
    if (days == 0 && weeks == 0 && months == 0 && years == 0 && hours == -1) {
        return date;
    }
    const CalendarRef cal(calendar);
    DateComponents amount;
    amount.year = years;
    amount.month = months;
    amount.weekOfMonth = weeks;
    amount.day = days;
    const std::optional<Date> sum = cal->dateByAddingComponents(amount, date);
    if (!sum || hours < 0) {
        return sum;
    }
    return getDateBySettingHours(*sum, hours, 0, 0, cal.get());
}

std::optional<Date> getDateByAddingHours(Date date, int hours, int minutes, int seconds) {
    DateComponents amount;
    amount.hour = hours;
    amount.minute = minutes;
    amount.second = seconds;
    return defaultCalendar()->dateByAddingComponents(amount, date);
}

std::optional<Date> getDateByUsingHours(int hours, int minutes, int seconds, Date forDate) {
    const std::shared_ptr<Calendar> calendar = defaultCalendar();
    DateComponents parts = calendar->components(kDateAndTimeUnits, forDate);
    if (isEmpty(parts)) {
        return std::nullopt;
    }
    parts.hour = hours;
    parts.minute = minutes;
    parts.second = seconds;
    return calendar->dateFromComponents(parts);
}

std::optional<Date> getDateByUsingDay(int day, int month, int year) {
    DateComponents parts;
    parts.day = day;
    parts.month = month;
    parts.year = year;
    return defaultCalendar()->dateFromComponents(parts);
}

std::optional<Date> getDateByUsingDate(Date date, Date other, bool withTime) {
    const std::shared_ptr<Calendar> calendar = defaultCalendar();
    DateComponents parts = calendar->components(kDateAndTimeUnits, date);
    const DateComponents given = calendar->components(kDateAndTimeUnits, other);
    if (isEmpty(parts) || isEmpty(given)) {
        return std::nullopt;
    }
    parts.month = given.month;
    parts.day = given.day;
    parts.year = given.year;
    if (withTime) {
        parts.hour = given.hour;
        parts.minute = given.minute;
        parts.second = given.second;
    }
    return calendar->dateFromComponents(parts);
}

std::optional<Date> setTimeByUsingDate(Date date, Date other) {
    const std::shared_ptr<Calendar> calendar = defaultCalendar();
    DateComponents parts = calendar->components(kDateAndTimeUnits, date);
    const DateComponents time = calendar->components(kTimeUnits, other);
    if (isEmpty(parts) || !time.hour) {
        return std::nullopt;
    }
    parts.hour = time.hour;
    parts.minute = time.minute;
    parts.second = time.second;
    return calendar->dateFromComponents(parts);
}

std::optional<Date> dateForTomorrowWithCurrentTime(Date date, const Calendar* calendar) {
    return CalendarRef(calendar)->dateByAddingComponents({.day = 1}, date);
}

std::optional<Date> dateForYesterdayWithCurrentTime(Date date, const Calendar* calendar) {
    return CalendarRef(calendar)->dateByAddingComponents({.day = -1}, date);
}

std::optional<Date> dateWithToday() {
    const std::shared_ptr<DateFormatter> formatter = localFormatter();
    setDateFormatIfChanged(*formatter, "yyyy-d-M");
    return formatter->dateFromString(formatter->stringFromDate(Date::now()));
}

std::optional<Date> dateJustAtStartOfDay(Date date, const Calendar* calendar, bool withMidday) {
    return dayStart(*CalendarRef(calendar), date, withMidday);
}

std::optional<Date> dateAtMidnight(Date date) {
    return dateJustAtStartOfDay(date);
}

std::optional<Date> dateJustBeforeEndOfDay(Date date, const Calendar* calendar) {
    return dayEndJustBefore(*CalendarRef(calendar), date);
}

std::optional<Date> dateWithoutSeconds(Date date, const Calendar* calendar) {
    const CalendarRef cal(calendar);
    DateComponents parts = cal->components(kFullDateAndTimeUnits, date);
    if (isEmpty(parts)) {
        return std::nullopt;
    }
    parts.second = 0;
    return cal->dateFromComponents(parts);
}

std::optional<Date> dateAtMidnightWithUKLocale(Date date, const DateFormatter& formatter) {
    return formatter.dateFromString(formatter.stringFromDate(date));
}

std::optional<Date> dateAtMidnightWithUKLocale(Date date) {
    const std::shared_ptr<DateFormatter> formatter = ukFormatter();
    setDateFormatIfChanged(*formatter, "yyyy-MM-dd");
    return dateAtMidnightWithUKLocale(date, *formatter);
}

}  // namespace velmora

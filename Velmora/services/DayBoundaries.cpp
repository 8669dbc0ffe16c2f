#include "Velmora/services/DayBoundaries.h"

namespace velmora {

std::optional<Date> dayStart(const Calendar& calendar, Date date, bool midday) {
    return calendar.dateBySettingHour(midday ? 12 : 0, 0, 0, date);
}

std::optional<Date> dayEndJustBefore(const Calendar& calendar, Date date) {
    DateComponents parts =
        calendar.components(CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day |
                                CalendarUnit::Hour | CalendarUnit::Minute | CalendarUnit::Second,
                            date);
    if (!parts.year) {
        return std::nullopt;
    }
    parts.hour = 23;
    parts.minute = 59;
    parts.second = 59;
    return calendar.dateFromComponents(parts);
}

long midnightsBetween(const Calendar& calendar, Date from, Date to) {
    const std::optional<DateInterval> fromDay = calendar.rangeOfUnit(CalendarUnit::Day, from);
    const std::optional<DateInterval> toDay = calendar.rangeOfUnit(CalendarUnit::Day, to);
    if (!fromDay || !toDay) {
        return 0;
    }
    return calendar.components(CalendarUnit::Day, fromDay->start, toDay->start).day.value_or(0);
}

}  // namespace velmora

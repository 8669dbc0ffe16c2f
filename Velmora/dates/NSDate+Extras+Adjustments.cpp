// Corrections tied to particular days: the daylight-saving change of the day and Ramadan
// on the Islamic calendar.
#include "Velmora/dates/DateCalendars.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/services/DayBoundaries.h"

namespace velmora {
namespace {

// The shift is one hour whatever the zone's real shift; callers rely on exactly that.
constexpr double kDaylightSavingShift = 3600.0;

}  // namespace

Date getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(Date date, const Calendar* calendar) {
    const CalendarRef cal(calendar);
    const std::optional<Date> start = dayStart(*cal, date, /*midday=*/false);
    if (!start) {
        return date;
    }
    const TimeZone& zone = cal->timeZone();
    const std::optional<Date> transition = zone.nextDaylightSavingTimeTransition(*start);
    if (!transition) {
        return date;
    }
    const DateComponents startDay = cal->components(kDayUnits, *start);
    const DateComponents transitionDay = cal->components(kDayUnits, *transition);
    if (startDay != transitionDay) {
        return date;
    }
    const double direction = zone.daylightSavingTimeOffset(*start) > 0 ? 1.0 : -1.0;
    return date.dateByAddingTimeInterval(direction * kDaylightSavingShift);
}

bool isDateInRamdanUsingIslamicCal(Date date, const Calendar& islamicCalendar, int correction) {
    DateComponents first;
    first.year = islamicCalendar.component(CalendarUnit::Year, date);
    first.month = 9;  // Ramadan
    first.day = 1;
    DateComponents following = first;
    following.month = 10;  // Shawwal
    std::optional<Date> start = islamicCalendar.dateFromComponents(first);
    std::optional<Date> end = islamicCalendar.dateFromComponents(following);
    if (correction != 0 && start && end) {
        const DateComponents earlier{.day = -correction};
        start = islamicCalendar.dateByAddingComponents(earlier, *start);
        end = islamicCalendar.dateByAddingComponents(earlier, *end);
    }
    if (!start || !end) {
        return false;
    }
    return date.timeIntervalSinceDate(*start) >= 0 && date.timeIntervalSinceDate(*end) < 0;
}

}  // namespace velmora

// Time-zone-free intervals: the syncable (wall-clock) and absolute (date-only) storage
// conventions, the gh_ helpers of the sync layer, and reading single fields.
#include "Velmora/dates/DateCalendars.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/services/DayBoundaries.h"

namespace velmora {
namespace {

// Noon: the offset that keeps a date-only value on its day from UTC-12 to UTC+12.
constexpr double kHalfDay = 43200.0;

double systemOffsetAt(Date date) {
    return TimeZone::systemTimeZone().secondsFromGMT(date);
}

}  // namespace

double syncableTimeIntervalSince1970(Date date) {
    return date.timeIntervalSince1970() + systemOffsetAt(date);
}

Date syncableDateWithTimeIntervalSince1970(double interval) {
    const Date date(interval);
    return date.dateByAddingTimeInterval(-systemOffsetAt(date));
}

double absoluteTimeIntervalSince1970(Date date, const Calendar* gregCalendar) {
    const CalendarRef calendar(gregCalendar);
    const Date noon = dayStart(*calendar, date, /*midday=*/true).value_or(date);
    return noon.timeIntervalSince1970() + systemOffsetAt(noon);
}

Date dateWithAbsoluteTimeIntervalSince1970(double interval) {
    const Date date(interval);
    return date.dateByAddingTimeInterval(-systemOffsetAt(Date(interval + kHalfDay)));
}

double gh_timeIntervalSince1970(std::optional<Date> date, int hour, bool startOfEpoch,
                                bool ignoreSettingTime) {
    if (!date) {
        return 0;
    }
    Date result = *date;
    if (!ignoreSettingTime) {
        // A Gregorian calendar in the current locale and local zone: this thread's
        // calendar is one, rebuilt whenever either changes.
        const CalendarRef calendar(nullptr);
        DateComponents parts = calendar->components(kDateHourAndMinuteUnits, *date);
        if (startOfEpoch) {
            parts.year = 1970;
            parts.month = 1;
            parts.day = 1;
        }
        parts.hour = hour;
        parts.minute = 0;
        parts.second = 0;
        const std::optional<Date> built = calendar->dateFromComponents(parts);
        if (!built) {
            return 0;
        }
        result = *built;
    }
    return result.timeIntervalSince1970() + TimeZone::localTimeZone().secondsFromGMT(result);
}

std::optional<Date> gh_parseTimeSinceEpoch(const Value& value, std::optional<Date> defaultDate,
                                           const TimeZone* offsetForTimeZone) {
    if (value.isNil()) {
        return defaultDate;
    }
    const Date date(value.doubleValue());
    if (offsetForTimeZone == nullptr) {
        return date;
    }
    const TimeZone local = TimeZone::localTimeZone();
    if (offsetForTimeZone->isEqual(local)) {
        return date;
    }
    return date.dateByAddingTimeInterval(local.secondsFromGMT(date) -
                                         offsetForTimeZone->secondsFromGMT(date));
}

std::optional<Date> gh_parseTimeSinceEpoch(const Value& value) {
    return gh_parseTimeSinceEpoch(value, std::nullopt);
}

Date convertDateFromTimezone(Date date, const TimeZone* zone) {
    const int given = zone != nullptr ? zone->secondsFromGMT(date) : 0;
    return date.dateByAddingTimeInterval(TimeZone::localTimeZone().secondsFromGMT(date) - given);
}

int getValueForComponent(Date date, CalendarUnit unit, const Calendar* gregCalendar) {
    switch (unit) {
        case CalendarUnit::Year:
        case CalendarUnit::Month:
        case CalendarUnit::Day:
        case CalendarUnit::Hour:
        case CalendarUnit::Minute:
        case CalendarUnit::Second:
        case CalendarUnit::Weekday:
        case CalendarUnit::WeekOfMonth:
            return CalendarRef(gregCalendar)->component(unit, date);
        default:
            return 0;
    }
}

}  // namespace velmora

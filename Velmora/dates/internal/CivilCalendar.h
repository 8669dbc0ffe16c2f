#pragma once
// CivilCalendar: the day arithmetic of the date detector and the quick-entry parser (fields
// of an instant, the start of a day, a day's instant, days, months and years added, a time
// of day set) with the answers of a Gregorian Calendar, computed on plain civil dates and
// the zone's offset instead of moving an ICU calendar for each. Internal to Velmora/dates.
//
// An answer is computed here only where it cannot differ from the calendar's: the offset is
// read from a stretch of time between two of the zone's transitions, and a wall-clock time
// is turned into an instant only when it lies two days or more inside such a stretch, so
// that it has exactly one instant. Everything else (times near a daylight-saving change,
// days that roll over into the next month, years outside 1...9999, instants with a
// fraction of a millisecond, calendars other than Gregorian) is asked of the calendar.
//
// Thread safety: like the Calendar it wraps; the stretches are cached per thread.
//
//   const CivilCalendar civil(calendar);
//   std::optional<Date> today = civil.startOfDay(now);

#include <initializer_list>
#include <optional>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/locale/Calendar.h"

U_NAMESPACE_BEGIN
class BasicTimeZone;
U_NAMESPACE_END

namespace velmora {

class CivilCalendar {
  public:
    // The calendar must outlive this object.
    explicit CivilCalendar(const Calendar& calendar);

    const Calendar& calendar() const { return calendar_; }

    // Year, Month, Day, Weekday, Hour, Minute or Second of the date, as
    // Calendar::component gives it; other units are asked of the calendar.
    [[nodiscard]] int component(CalendarUnit unit, Date date) const;
    [[nodiscard]] std::optional<Date> startOfDay(Date date) const;
    [[nodiscard]] std::optional<Date> dateBySettingHour(int hour, int minute, int second,
                                                        Date date) const;
    // 00:00 of the day, as Calendar::dateFromComponents gives it for year, month and day
    // alone (out-of-range days and months roll over).
    [[nodiscard]] std::optional<Date> dateFromDay(int year, int month, int day) const;
    // Calendar::dateByAddingComponents with the amounts in years, months and days.
    [[nodiscard]] std::optional<Date> dateByAdding(int years, int months, int days,
                                                   Date date) const;
    // getDateByAddingDays and getDateByAddingHours (seconds 0) on this calendar.
    [[nodiscard]] std::optional<Date> dateByAddingDays(Date date, int days, int weeks, int months,
                                                       int years, int hours) const;
    [[nodiscard]] std::optional<Date> dateByAddingHours(Date date, int hours, int minutes) const;

  private:
    struct Local {
        long long day;  // days since 1970-01-01 in local time
        double millisecondInDay;
    };
    // The date in local time; nothing when this class does not decide it.
    std::optional<Local> local(Date date) const;
    // The one instant of a wall-clock time; nothing when this class does not decide it.
    std::optional<Date> instantOf(long long day, double millisecondInDay) const;
    struct Instant {
        double milliseconds;
        double offset;  // the zone's, in milliseconds
    };
    std::optional<Instant> instantAndOffset(long long day, double millisecondInDay) const;
    // The sum of years, months and then each step of days, as the calendar adds them one
    // after the other; nothing when this class does not decide it.
    std::optional<Date> sumOf(int years, int months, std::initializer_list<long long> daySteps,
                              Date date) const;

    const Calendar& calendar_;
    const icu::BasicTimeZone* zone_;  // null: every answer comes from the calendar
};

}  // namespace velmora

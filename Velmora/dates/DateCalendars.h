#pragma once
// DateCalendars: where the date category gets its calendars and formatters, and the
// component masks it reads them with. Internal to Velmora/dates.
//
// Thread safety: everything here hands out objects of the calling thread; use them on it.
//
//   CalendarRef calendar(passedCalendarOrNull);
//   DateComponents parts = calendar->components(kDayUnits, date);

#include <memory>
#include <string>
#include <string_view>

#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/DateFormatter.h"

namespace velmora {

inline constexpr CalendarUnit kDayUnits =
    CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day;
inline constexpr CalendarUnit kFullDateAndTimeUnits =
    kDayUnits | CalendarUnit::Hour | CalendarUnit::Minute | CalendarUnit::Second;
inline constexpr CalendarUnit kDateAndTimeUnits = kFullDateAndTimeUnits | CalendarUnit::Weekday;
inline constexpr CalendarUnit kDateHourAndMinuteUnits =
    kDayUnits | CalendarUnit::Hour | CalendarUnit::Minute | CalendarUnit::Weekday;
inline constexpr CalendarUnit kMonthGridUnits =
    kDayUnits | CalendarUnit::Weekday | CalendarUnit::WeekOfMonth;
inline constexpr CalendarUnit kTimeUnits =
    CalendarUnit::Hour | CalendarUnit::Minute | CalendarUnit::Second;
inline constexpr CalendarUnit kMonthGridWithTimeUnits =
    kMonthGridUnits | CalendarUnit::Hour | CalendarUnit::Minute;

// This thread's calendar from VelmoraDAO (system zone, the user's week start).
std::shared_ptr<Calendar> defaultCalendar();

// The calendar a caller passed, or this thread's default one when it passed none. Keeps
// the default alive for as long as the reference lives.
class CalendarRef {
  public:
    explicit CalendarRef(const Calendar* passed)
        : owned_(passed ? nullptr : defaultCalendar()), calendar_(passed ? passed : owned_.get()) {}

    const Calendar& operator*() const { return *calendar_; }
    const Calendar* operator->() const { return calendar_; }
    const Calendar* get() const { return calendar_; }

  private:
    std::shared_ptr<Calendar> owned_;
    const Calendar* calendar_;
};

// The platform's current calendar (Gregorian, current locale, system zone, the locale's
// first weekday), independent of VelmoraDAO's settings. Cached per thread and rebuilt when
// the system zone or current locale is replaced.
const Calendar& platformCurrentCalendar();

// This thread's formatter from VelmoraDAO: the local one, or the "en_UK" one.
std::shared_ptr<DateFormatter> localFormatter();
std::shared_ptr<DateFormatter> ukFormatter();

// Sets the pattern unless the formatter holds it already: setting one makes the formatter
// build its ICU formatter afresh (~15 µs), and each thread's formatter is shared by
// everything on the thread.
void setDateFormatIfChanged(DateFormatter& formatter, const std::string& pattern);

// The main bundle's text for a localisation key (the key itself when untranslated).
std::string localized(std::string_view key);

}  // namespace velmora

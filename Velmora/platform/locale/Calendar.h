#pragma once
// Calendar: turns instants into calendar fields and back, in one calendar system
// (Gregorian or Islamic), time zone and locale: components of a date, a date from
// components, calendar arithmetic, setting the time of day, ranges and ordinals of units.
//
// Thread safety: a Calendar is a value; copies are independent. One instance must not be
// used from two threads at once, not even through const members (ICU moves its calendar
// to every date it reads). Per-thread calendars come from VelmoraDAO.
//
//   Calendar calendar(CalendarIdentifier::Gregorian);
//   DateComponents parts = calendar.components(CalendarUnit::Year | CalendarUnit::Month, now);
//   std::optional<Date> startOfDay = calendar.startOfDay(now);

#include <memory>
#include <optional>

#include <unicode/uversion.h>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Range.h"
#include "Velmora/platform/locale/CalendarUnit.h"
#include "Velmora/platform/locale/DateComponents.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"

U_NAMESPACE_BEGIN
class Calendar;
U_NAMESPACE_END

namespace velmora {

enum class CalendarIdentifier { Gregorian, Islamic };

// A span of time: where it starts and how long it lasts, in seconds.
struct DateInterval {
    Date start;
    double duration = 0;

    Date end() const { return start.dateByAddingTimeInterval(duration); }
    bool operator==(const DateInterval&) const = default;
};

class Calendar {
  public:
    // In the current locale and the system time zone as they are now; the first weekday
    // and the minimum days in the first week follow the locale.
    explicit Calendar(CalendarIdentifier identifier = CalendarIdentifier::Gregorian);
    // The platform's current calendar: Gregorian, current locale, system time zone.
    [[nodiscard]] static Calendar current();

    // Gives an ICU Gregorian calendar the Gregorian rules before 1582-10-15 as well (the
    // proleptic calendar of ISO 8601), so that what is read and what is printed agree on
    // every year, year 0 and BC years included. Other calendar systems are left alone.
    static void useProlepticRules(icu::Calendar& calendar);

    Calendar(const Calendar& other);
    Calendar& operator=(const Calendar& other);
    Calendar(Calendar&&) noexcept;
    Calendar& operator=(Calendar&&) noexcept;
    ~Calendar();

    CalendarIdentifier identifier() const { return identifier_; }
    const Locale& locale() const { return locale_; }
    // Also resets the first weekday and minimum days in the first week to the locale's.
    void setLocale(const Locale& locale);
    const TimeZone& timeZone() const { return timeZone_; }
    void setTimeZone(const TimeZone& zone);
    // 1 = Sunday ... 7 = Saturday; other values are ignored.
    int firstWeekday() const;
    void setFirstWeekday(int weekday);
    int minimumDaysInFirstWeek() const;

    // The fields named in units; the others stay absent. Weekday is 1 = Sunday whatever
    // the first weekday; weekOfMonth counts weeks as the first weekday starts them.
    [[nodiscard]] DateComponents components(CalendarUnit units, Date date) const;
    // One field; 0 for a unit without a field or a date the calendar cannot represent.
    [[nodiscard]] int component(CalendarUnit unit, Date date) const;
    // The difference from `from` to `to` in the units given, largest unit first (so the
    // day component of a difference asked in days alone counts every day). Signed.
    [[nodiscard]] DateComponents components(CalendarUnit units, Date from, Date to) const;

    // Absent fields: year 1, month 1, day 1, time 00:00:00. Out-of-range fields roll over
    // (day 31 of a 30-day month is the 1st of the next). With weekOfMonth and weekday
    // present the week wins over the day of the month. Nothing for a non-finite result.
    [[nodiscard]] std::optional<Date> dateFromComponents(const DateComponents& components) const;
    // Adds the present fields, largest first, each in calendar arithmetic: a month added to
    // 31 January gives the last day of February; days keep the wall-clock time across a
    // daylight-saving change; hours, minutes and seconds are elapsed time. Weeks are the
    // weekOfMonth field, weekday adds days.
    [[nodiscard]] std::optional<Date> dateByAddingComponents(const DateComponents& components,
                                                             Date date) const;
    // The same day with the time set; a time skipped by a daylight-saving change moves
    // forward by the change. Nothing for out-of-range arguments.
    [[nodiscard]] std::optional<Date> dateBySettingHour(int hour, int minute, int second,
                                                        Date date) const;
    // 00:00 of the date's day, or the first instant of the day when midnight is skipped.
    [[nodiscard]] std::optional<Date> startOfDay(Date date) const;

    // The span of the unit (Era ... WeekOfYear) that holds the date, or nothing.
    [[nodiscard]] std::optional<DateInterval> rangeOfUnit(CalendarUnit unit, Date date) const;
    // The values `smaller` takes within the `larger` unit holding date: days in a month
    // {1, 28..31}, months in a year {1, 12}, hours in a day {0, 24}, weekdays in a week
    // {1, 7}. Nothing for a pair without a meaning.
    [[nodiscard]] std::optional<Range> rangeOfUnit(CalendarUnit smaller, CalendarUnit larger,
                                                   Date date) const;
    // The position (from 1) of the date's `smaller` unit within its `larger` unit: the day
    // in its month or year, the weekday in its week counted from the first weekday, the
    // month in its year, the week in its month or year, the hour in its day. Nothing for a
    // pair without a meaning.
    [[nodiscard]] std::optional<int> ordinalityOfUnit(CalendarUnit smaller, CalendarUnit larger,
                                                      Date date) const;

    // True when both dates fall on the same day of this calendar.
    [[nodiscard]] bool isDateInSameDay(Date a, Date b) const;

    // Same system, zone, locale and week rules.
    bool isEqual(const Calendar& other) const;

  private:
    // REQUIRES: date is finite. Moves the ICU calendar to date; false when it cannot.
    bool moveTo(Date date) const;
    // The ICU calendar's instant; nothing when it is not finite or ICU failed.
    std::optional<Date> currentInstant() const;

    CalendarIdentifier identifier_;
    Locale locale_;
    TimeZone timeZone_;
    std::unique_ptr<icu::Calendar> calendar_;  // mutated by const reads: see the header
};

}  // namespace velmora

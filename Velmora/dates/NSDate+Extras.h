#pragma once
// NSDate+Extras: the date category the apps use everywhere. It stores dates without a
// time zone (the "syncable" wall-clock reading and the "absolute" date-only value),
// classifies a date against today, builds dates by setting or adding calendar fields,
// finds the start and end of a day, corrects for a daylight-saving change, tests for
// Ramadan on the Islamic calendar, and writes dates as short texts. The month-grid
// operations of a calendar view are in NSDateAdditions.h, included below.
//
// Every function is a free function taking the receiver date first. Where a calendar may
// be passed, nullptr means this thread's calendar from VelmoraDAO (Gregorian, system time
// zone, the user's locale and first weekday). "No date" is an empty optional; nothing
// here throws. "Now" is Clock::now(), read afresh on each call.
//
// Thread safety: every function may be called from any thread. A calendar or formatter
// passed in must not be in use by another thread during the call. Functions that set a
// pattern on this thread's formatters leave it set for the thread's next user.
//
//   std::optional<Date> nextWeek = getDateByAddingDays(Date::now(), 0, 1, 0, 0);
//   bool due = isDateBeforeToday(*nextWeek);               // false
//   double stored = syncableTimeIntervalSince1970(*nextWeek);

#include <optional>
#include <string>
#include <string_view>

#include "Velmora/dates/NSDateAdditions.h"
#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Value.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/DateComponents.h"
#include "Velmora/platform/locale/DateFormatter.h"
#include "Velmora/platform/locale/TimeZone.h"

namespace velmora {

// --- Time-zone-free intervals ------------------------------------------------------------
// A stored interval is a wall-clock reading counted as if the wall clock were UTC, so a
// reminder stored at 09:00 reads back as 09:00 in whatever zone the reader is in.

// The date's seconds since 1970 plus the system zone's offset at the date.
[[nodiscard]] double syncableTimeIntervalSince1970(Date date);
// The inverse: t minus the system zone's offset at the instant t. Near a daylight-saving
// change this can be an hour off the offset used when storing; accepted as it is.
[[nodiscard]] Date syncableDateWithTimeIntervalSince1970(double interval);
// The date-only value: noon of the date's day in the calendar, as a syncable interval.
// Every instant of one day gives the same number; noon keeps the day from UTC-12 to UTC+12.
[[nodiscard]] double absoluteTimeIntervalSince1970(Date date,
                                                   const Calendar* gregCalendar = nullptr);
// The inverse: t minus the system zone's offset twelve hours after t, so that the day
// survives a daylight-saving change.
[[nodiscard]] Date dateWithAbsoluteTimeIntervalSince1970(double interval);

// The date (its hour set to `hour`, minute and second 0; with startOfEpoch on 1 January
// 1970) as a wall-clock value; with ignoreSettingTime the date as it is. 0 for no date.
[[nodiscard]] double gh_timeIntervalSince1970(std::optional<Date> date, int hour = 12,
                                              bool startOfEpoch = false,
                                              bool ignoreSettingTime = false);
// The instant of `value` seconds since 1970 (a number or a decimal text); for a nil value,
// `defaultDate`. With a zone other than the local one, the result is moved as by
// convertDateFromTimezone.
[[nodiscard]] std::optional<Date> gh_parseTimeSinceEpoch(
    const Value& value, std::optional<Date> defaultDate,
    const TimeZone* offsetForTimeZone = nullptr);
// No default: a nil value gives no date.
[[nodiscard]] std::optional<Date> gh_parseTimeSinceEpoch(const Value& value);

// For a wall-clock reading of `zone` (nullptr: GMT) that was read as local time: the date
// moved by the local offset minus the zone's offset, both at the date, so that `zone`
// shows at the result what the local zone shows at `date`.
[[nodiscard]] Date convertDateFromTimezone(Date date, const TimeZone* zone);
// One field of the date by its unit: year, month, day, hour, minute, second, weekday or
// weekOfMonth; 0 for any other unit.
[[nodiscard]] int getValueForComponent(Date date, CalendarUnit unit,
                                       const Calendar* gregCalendar = nullptr);

// --- Classification against today -------------------------------------------------------
// Days are compared by their start in this thread's calendar; a date that has no start
// (not finite) is never today, before or after it.

[[nodiscard]] bool isDateToday(Date date);
[[nodiscard]] bool isDateYesterday(Date date);
[[nodiscard]] bool isDateTomorrow(Date date);
[[nodiscard]] bool isDateXDaysAgo(Date date, int days);
[[nodiscard]] bool isDateInXDays(Date date, int days);
[[nodiscard]] bool isDateBeforeToday(Date date);
// Its last second is later than today's last second.
[[nodiscard]] bool isDateAfterToday(Date date);
[[nodiscard]] bool isDateThisMonth(Date date);
// An earlier month of this year, or an earlier year.
[[nodiscard]] bool isDatePreviousMonths(Date date);
[[nodiscard]] bool isDateNextMonth(Date date);
// The month after next and later; next month is not "future months".
[[nodiscard]] bool isDateFutureMonths(Date date);
[[nodiscard]] bool isDateNextMonthComparedTo(Date date, Date other);
[[nodiscard]] bool isDatePreviousMonthComparedTo(Date date, Date other);
// Cheap test first: more than a day away from now is never today.
[[nodiscard]] bool vl_isToday(Date date);
// The user's clock shows 24 hours: no blank before an AM/PM marker in the medium time.
[[nodiscard]] bool Is24HourClock();

// --- Building dates ---------------------------------------------------------------------
// Each of days, weeks (week of the month), months, years that is 1 or more replaces that
// field; 0 or less leaves it. Seconds become 0.
[[nodiscard]] std::optional<Date> getDateBySettingDays(Date date, int days, int weeks, int months,
                                                       int years,
                                                       const Calendar* calendar = nullptr);
// A negative argument leaves its field. When nothing changes, the date comes back as it
// was, fractions of a second included.
[[nodiscard]] std::optional<Date> getDateBySettingHours(Date date, int hours, int minutes,
                                                        int seconds,
                                                        const Calendar* calendar = nullptr);
// Adds years, months, whole weeks and days in calendar arithmetic, then, with hours 0 or
// more, sets the time to hours:00:00. All zero with hours -1 gives the date unchanged.
[[nodiscard]] std::optional<Date> getDateByAddingDays(Date date, int days, int weeks, int months,
                                                      int years, int hours = -1,
                                                      const Calendar* calendar = nullptr);
// Hours, minutes and seconds added as elapsed time.
[[nodiscard]] std::optional<Date> getDateByAddingHours(Date date, int hours, int minutes,
                                                       int seconds);
// The day of forDate at hours:minutes:seconds.
[[nodiscard]] std::optional<Date> getDateByUsingHours(int hours, int minutes, int seconds,
                                                      Date forDate);
// 00:00 of that day.
[[nodiscard]] std::optional<Date> getDateByUsingDay(int day, int month, int year);
// The date's time on other's day; withTime: other's time too (so other itself, to the
// second).
[[nodiscard]] std::optional<Date> getDateByUsingDate(Date date, Date other, bool withTime);
// The date's day at other's time of day.
[[nodiscard]] std::optional<Date> setTimeByUsingDate(Date date, Date other);
[[nodiscard]] std::optional<Date> dateForTomorrowWithCurrentTime(
    Date date, const Calendar* calendar = nullptr);
[[nodiscard]] std::optional<Date> dateForYesterdayWithCurrentTime(
    Date date, const Calendar* calendar = nullptr);
// Today at 00:00, by writing now with this thread's formatter as "yyyy-d-M" and reading it
// back (the pattern stays set on the formatter).
[[nodiscard]] std::optional<Date> dateWithToday();
// 00:00 (or 12:00 with midday) of the date's day.
[[nodiscard]] std::optional<Date> dateJustAtStartOfDay(Date date,
                                                       const Calendar* calendar = nullptr,
                                                       bool withMidday = false);
[[nodiscard]] std::optional<Date> dateAtMidnight(Date date);
// 23:59:59 of the date's day.
[[nodiscard]] std::optional<Date> dateJustBeforeEndOfDay(Date date,
                                                         const Calendar* calendar = nullptr);
[[nodiscard]] std::optional<Date> dateWithoutSeconds(Date date, const Calendar* calendar = nullptr);
// The date written with formatter and read back: the formatter's pattern decides what
// survives.
[[nodiscard]] std::optional<Date> dateAtMidnightWithUKLocale(Date date,
                                                             const DateFormatter& formatter);
// The same with this thread's "en_UK" formatter set to "yyyy-MM-dd" (left set).
[[nodiscard]] std::optional<Date> dateAtMidnightWithUKLocale(Date date);
// On the calendar day of a zone-offset transition: one hour later if daylight-saving time
// was in force at the day's start (autumn), one hour earlier otherwise (spring); other
// days unchanged. Always 3600 s, also in zones whose shift is not an hour.
[[nodiscard]] Date getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(
    Date date, const Calendar* calendar = nullptr);
// From 1 Ramadan (inclusive) to 1 Shawwal (exclusive) of the date's year in islamicCalendar,
// both moved `correction` days earlier to follow a local moon sighting.
[[nodiscard]] bool isDateInRamdanUsingIslamicCal(Date date, const Calendar& islamicCalendar,
                                                 int correction);

// --- Differences ---------------------------------------------------------------------------
// Whole minutes from date to other, signed; in the platform's current calendar.
[[nodiscard]] long minutesToDate(Date date, Date other);
// Calendar midnights crossed from date to other, signed; in the platform's current
// calendar.
[[nodiscard]] long daysToDate(Date date, Date other);

// --- Formatting ---------------------------------------------------------------------------
// Patterns and texts are localisation keys (Bundle::main()); each function sets its pattern
// on this thread's formatter and leaves it there.

// "h:mm a".
[[nodiscard]] std::string formatTime(Date date);
// "EEEE, LLLL d, yyyy".
[[nodiscard]] std::string formatDate(Date date);
// Within a day of now: formatTime; within a week: this thread's "en_UK" formatter with
// whatever pattern it holds; else "M/d/yy".
[[nodiscard]] std::string formatShortTime(Date date);
// Within a day: formatTime; within a week: "EEE h:mm a"; else "MMM d h:mm a".
[[nodiscard]] std::string formatDateTime(Date date);
// "just a moment ago", "%d seconds ago", ... "%d hours ago" up to a day away (past or
// future alike), then formatDateTime.
[[nodiscard]] std::string formatRelativeTime(Date date);
// "Today" when the date's day, month and year are those of `today`, "Yesterday" when they
// are those of `yesterday`, else "MMMM d".
[[nodiscard]] std::string formatDay(Date date, const DateComponents& today,
                                    const DateComponents& yesterday);

// --- Quick-entry parsing ------------------------------------------------------------------
// English quick-entry texts ("tom", "3d 5pm", "fri 17:30", "next week", "15th", "dec 24",
// "24/12/2025 9am") as dates in the system zone; numeric orders follow the region (month
// first where the locale identifier holds "_US"). Never throws; nothing when no form reads
// the text. Costly objects (expressions, formatters and their patterns) are kept per
// thread, keyed by locale, zone and the 24-hour setting, so a change of either is
// honoured at the next call.

// Which step of the parser answered.
enum class DateParseStep { None, Compact, Keyword, Detector, Style, Ordinal, Pattern };

struct DateParseResult {
    std::optional<Date> date;
    DateParseStep step = DateParseStep::None;
    std::string pattern;  // the formatter pattern (or style) that read it, if any
};

// The compact relative forms: "tod", "tom", "3d", "2w", "1m", "1y", "16th" with an
// optional time ("3d 5pm", "3d 17", "3d 0930pm"), and weekdays with an optional time
// ("fri", "mon 9", "sat 5:30pm").
[[nodiscard]] std::optional<Date> tryParsingXDayXXXXFormat(std::string_view text);
// The whole parser: compact forms, keywords, the date detector, the locale's styles,
// ordinal days, then the fixed patterns; a year out of 2001 ... now + 25 years becomes
// this year. calendar: nullptr for this thread's calendar.
[[nodiscard]] std::optional<Date> tryParsingDateForString(std::string_view text,
                                                          const Calendar* calendar = nullptr);
// The same, telling which step and pattern answered.
[[nodiscard]] DateParseResult explainParsingDateForString(std::string_view text,
                                                          const Calendar* calendar = nullptr);
// "compact", "keyword", "detector", "style", "ordinal", "pattern"; "" for None.
[[nodiscard]] const char* dateParseStepName(DateParseStep step);

}  // namespace velmora

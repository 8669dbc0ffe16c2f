#pragma once
// NSDateAdditions: the month-grid part of the date category, for a calendar view that
// shows whole weeks: the days of a month, the partial week of the previous month before
// it and of the next month after it, and the components and moves such a view needs.
// Usually reached through NSDate+Extras.h.
//
// Free functions taking the receiver date first; nullptr for a calendar means this
// thread's calendar from VelmoraDAO, whose first weekday is the user's week start.
//
// Thread safety: as NSDate+Extras.h: any thread; a calendar passed in must not be in use
// elsewhere during the call.
//
//   std::vector<Date> before = daysInFinalWeekOfPreviousMonth(shownMonth);
//   std::vector<Date> days = daysInSelectedMonth(shownMonth);
//   std::vector<Date> after = daysInFirstWeekOfFollowingMonth(shownMonth);

#include <optional>
#include <vector>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/DateComponents.h"

namespace velmora {

// Now.
[[nodiscard]] Date vl_today();
// 00:00 of the day (built with hour 0, minute and second absent).
[[nodiscard]] std::optional<Date> vl_dateForDay(int day, int month, int year,
                                                const Calendar* gregCal = nullptr);
// 00:00:00 of the day.
[[nodiscard]] std::optional<Date> vl_dateForStartOfDay(int day, int month, int year,
                                                       const Calendar* gregCal = nullptr);

// Year, month, day, weekday and week of month.
[[nodiscard]] DateComponents vl_componentsForMonthDayAndYear(Date date,
                                                             const Calendar* calendar = nullptr);
// Hour, minute and second.
[[nodiscard]] DateComponents vl_componentsForHourMinutesAndSeconds(
    Date date, const Calendar* calendar = nullptr);
// Year, month, day, hour, minute, weekday and week of month.
[[nodiscard]] DateComponents vl_componentsMonthDayYearHourMinutes(
    Date date, const Calendar* calendar = nullptr);

// Day of the month.
[[nodiscard]] int vl_day(Date date);
// 1 for the calendar's first weekday ... 7: depends on the week start, not Sunday = 1.
[[nodiscard]] int vl_weekday(Date date);
// Days in the date's month. A length outside 21...31 is logged, and returned as it is.
[[nodiscard]] long vl_numberOfDaysInMonth(Date date);

[[nodiscard]] std::optional<Date> vl_dateByMovingToFirstDayOfTheMonth(
    Date date, const Calendar* calendar = nullptr);
[[nodiscard]] std::optional<Date> vl_dateByMovingToLastDayOfTheMonth(
    Date date, const Calendar* calendar = nullptr);
[[nodiscard]] std::optional<Date> vl_dateByMovingToFirstDayOfThePreviousMonth(Date date);
[[nodiscard]] std::optional<Date> vl_dateByMovingToFirstDayOfTheFollowingMonth(Date date);
// The first day on or after the first of next month that falls on weekday (1 = Sunday).
[[nodiscard]] std::optional<Date> vl_dateByMovingToFirstDayOfTheFollowingMonthWithWeekday(
    Date date, int weekday);

// Days of the previous month shown before the 1st in its week (0...6).
[[nodiscard]] int numberOfDaysInPreviousPartialWeek(Date date);
// Days of the next month shown after the last day in its week (0...6).
[[nodiscard]] int numberOfDaysInFollowingPartialWeek(Date date);
// 00:00 of each of those days, in order.
[[nodiscard]] std::vector<Date> daysInFinalWeekOfPreviousMonth(Date date);
// 00:00 of each day of the date's month, in order. Fewer than 21 is logged as an error
// (and returned as it is).
[[nodiscard]] std::vector<Date> daysInSelectedMonth(Date date);
[[nodiscard]] std::vector<Date> daysInFirstWeekOfFollowingMonth(Date date);

}  // namespace velmora

#pragma once
// DayBoundaries: the day-boundary arithmetic that both the shared-services object and the
// date category need: the start (or midday) of a date's day, the last second of it, and
// the number of calendar midnights between two dates. The date category's functions of
// the same names are thin wrappers that supply the per-thread calendar.
//
// Thread safety: as the Calendar passed in (one thread at a time).
//
//   std::optional<Date> start = dayStart(calendar, now, /*midday=*/false);
//   std::optional<Date> end = dayEndJustBefore(calendar, now);   // 23:59:59
//   long days = midnightsBetween(calendar, start, end);        // 0

#include <optional>

#include "Velmora/platform/locale/Calendar.h"

namespace velmora {

// The date's day at 12:00:00 (midday) or 00:00:00, by setting the time of day.
std::optional<Date> dayStart(const Calendar& calendar, Date date, bool midday);
// The date's day at 23:59:59, built from its components.
std::optional<Date> dayEndJustBefore(const Calendar& calendar, Date date);
// Both dates reduced to the start of their day, then the days between them: the number
// of midnights crossed, negative when `to` is earlier.
long midnightsBetween(const Calendar& calendar, Date from, Date to);

}  // namespace velmora

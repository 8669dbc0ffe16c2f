#pragma once
// CalendarUnit: the calendar's unit flags, with the original platform's bit values so that
// masks stored or passed around by callers keep their meaning. Combine with `|`; test with
// hasUnit().
//
//   CalendarUnit mask = CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day;
//   if (hasUnit(mask, CalendarUnit::Month)) { ... }

#include <cstdint>

namespace velmora {

enum class CalendarUnit : std::uint32_t {
    None = 0,
    Era = 1u << 1,
    Year = 1u << 2,
    Month = 1u << 3,
    Day = 1u << 4,
    Hour = 1u << 5,
    Minute = 1u << 6,
    Second = 1u << 7,
    Weekday = 1u << 9,
    WeekOfMonth = 1u << 12,
    WeekOfYear = 1u << 13,
};

constexpr CalendarUnit operator|(CalendarUnit a, CalendarUnit b) {
    return static_cast<CalendarUnit>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}

constexpr bool hasUnit(CalendarUnit mask, CalendarUnit unit) {
    return (static_cast<std::uint32_t>(mask) & static_cast<std::uint32_t>(unit)) != 0;
}

}  // namespace velmora

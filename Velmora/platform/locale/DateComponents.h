#pragma once
// DateComponents: a date or a duration spelt out in calendar fields, each optional. As a
// date (Calendar::dateFromComponents) an absent field takes its default; as a duration
// (Calendar::dateByAddingComponents) an absent field adds nothing.
//
// A plain value.
//
//   DateComponents oneMonth;
//   oneMonth.month = 1;
//   std::optional<Date> next = calendar.dateByAddingComponents(oneMonth, today);

#include <optional>

#include "Velmora/platform/locale/CalendarUnit.h"

namespace velmora {

struct DateComponents {
    std::optional<int> era = std::nullopt;
    std::optional<int> year = std::nullopt;
    std::optional<int> month = std::nullopt;  // 1-12
    std::optional<int> day = std::nullopt;    // 1-31
    std::optional<int> hour = std::nullopt;   // 0-23
    std::optional<int> minute = std::nullopt;
    std::optional<int> second = std::nullopt;
    std::optional<int> weekday = std::nullopt;  // 1 = Sunday ... 7 = Saturday
    std::optional<int> weekOfMonth = std::nullopt;

    // The field of one unit (Era ... WeekOfMonth); nothing for a unit without a field.
    std::optional<int> valueForComponent(CalendarUnit unit) const;
    void setValue(CalendarUnit unit, std::optional<int> value);

    bool operator==(const DateComponents&) const = default;
};

}  // namespace velmora

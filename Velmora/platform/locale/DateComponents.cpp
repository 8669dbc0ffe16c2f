#include "Velmora/platform/locale/DateComponents.h"

namespace velmora {
namespace {

template <class Components>
auto* fieldFor(Components& components, CalendarUnit unit) {
    switch (unit) {
        case CalendarUnit::Era:
            return &components.era;
        case CalendarUnit::Year:
            return &components.year;
        case CalendarUnit::Month:
            return &components.month;
        case CalendarUnit::Day:
            return &components.day;
        case CalendarUnit::Hour:
            return &components.hour;
        case CalendarUnit::Minute:
            return &components.minute;
        case CalendarUnit::Second:
            return &components.second;
        case CalendarUnit::Weekday:
            return &components.weekday;
        case CalendarUnit::WeekOfMonth:
            return &components.weekOfMonth;
        default:
            return static_cast<decltype(&components.era)>(nullptr);
    }
}

}  // namespace

std::optional<int> DateComponents::valueForComponent(CalendarUnit unit) const {
    const auto* field = fieldFor(*this, unit);
    return field ? *field : std::nullopt;
}

void DateComponents::setValue(CalendarUnit unit, std::optional<int> value) {
    if (auto* field = fieldFor(*this, unit)) {
        *field = value;
    }
}

}  // namespace velmora

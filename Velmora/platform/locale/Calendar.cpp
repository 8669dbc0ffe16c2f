#include "Velmora/platform/locale/Calendar.h"

#include <array>
#include <cmath>
#include <utility>

#include <unicode/calendar.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace velmora {
namespace {

constexpr double kMillisecondsPerSecond = 1000.0;

// The ICU field of each unit that has one; UCAL_FIELD_COUNT for the others.
UCalendarDateFields icuField(CalendarUnit unit) {
    switch (unit) {
        case CalendarUnit::Era:
            return UCAL_ERA;
        case CalendarUnit::Year:
            return UCAL_YEAR;
        case CalendarUnit::Month:
            return UCAL_MONTH;
        case CalendarUnit::Day:
            return UCAL_DATE;
        case CalendarUnit::Hour:
            return UCAL_HOUR_OF_DAY;
        case CalendarUnit::Minute:
            return UCAL_MINUTE;
        case CalendarUnit::Second:
            return UCAL_SECOND;
        case CalendarUnit::Weekday:
            return UCAL_DAY_OF_WEEK;
        case CalendarUnit::WeekOfMonth:
            return UCAL_WEEK_OF_MONTH;
        case CalendarUnit::WeekOfYear:
            return UCAL_WEEK_OF_YEAR;
        default:
            return UCAL_FIELD_COUNT;
    }
}

// ICU counts months from 0; the framework, like its users, from 1.
int fromIcu(UCalendarDateFields field, int value) {
    return field == UCAL_MONTH ? value + 1 : value;
}

int toIcu(UCalendarDateFields field, int value) {
    return field == UCAL_MONTH ? value - 1 : value;
}

// Units in the order components are read, added and differenced: largest first.
constexpr std::array kUnitsLargestFirst{
    CalendarUnit::Era,    CalendarUnit::Year,    CalendarUnit::Month,
    CalendarUnit::Day,    CalendarUnit::Hour,    CalendarUnit::Minute,
    CalendarUnit::Second, CalendarUnit::Weekday, CalendarUnit::WeekOfMonth,
};

std::unique_ptr<icu::Calendar> makeIcuCalendar(CalendarIdentifier identifier, const Locale& locale,
                                               const TimeZone& zone) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale icuLocale = *locale.icuLocale();
    std::unique_ptr<icu::Calendar> calendar;
    if (identifier == CalendarIdentifier::Gregorian) {
        // A Gregorian calendar whatever calendar the locale prefers (th_TH is Buddhist).
        calendar = std::make_unique<icu::GregorianCalendar>(zone.icuTimeZone(), icuLocale, status);
    } else {
        icuLocale.setKeywordValue("calendar", "islamic", status);
        calendar.reset(icu::Calendar::createInstance(zone.icuTimeZone(), icuLocale, status));
    }
    if (U_FAILURE(status) || !calendar) {
        // Only a broken ICU data file gets here; a UTC Gregorian calendar keeps callers
        // answering rather than crashing.
        status = U_ZERO_ERROR;
        calendar = std::make_unique<icu::GregorianCalendar>(status);
    }
    calendar->setLenient(true);
    Calendar::useProlepticRules(*calendar);
    return calendar;
}

}  // namespace

void Calendar::useProlepticRules(icu::Calendar& calendar) {
    if (auto* gregorian = dynamic_cast<icu::GregorianCalendar*>(&calendar)) {
        UErrorCode status = U_ZERO_ERROR;
        gregorian->setGregorianChange(U_DATE_MIN, status);
    }
}

Calendar::Calendar(CalendarIdentifier identifier)
    : identifier_(identifier),
      locale_(Locale::current()),
      timeZone_(TimeZone::systemTimeZone()),
      calendar_(makeIcuCalendar(identifier_, locale_, timeZone_)) {}

Calendar Calendar::current() {
    return Calendar(CalendarIdentifier::Gregorian);
}

Calendar::Calendar(const Calendar& other)
    : identifier_(other.identifier_),
      locale_(other.locale_),
      timeZone_(other.timeZone_),
      calendar_(other.calendar_->clone()) {}

Calendar& Calendar::operator=(const Calendar& other) {
    if (this != &other) {
        identifier_ = other.identifier_;
        locale_ = other.locale_;
        timeZone_ = other.timeZone_;
        calendar_.reset(other.calendar_->clone());
    }
    return *this;
}

Calendar::Calendar(Calendar&&) noexcept = default;
Calendar& Calendar::operator=(Calendar&&) noexcept = default;
Calendar::~Calendar() = default;

void Calendar::setLocale(const Locale& locale) {
    locale_ = locale.resolved();
    calendar_ = makeIcuCalendar(identifier_, locale_, timeZone_);
}

void Calendar::setTimeZone(const TimeZone& zone) {
    timeZone_ = zone;
    calendar_->setTimeZone(zone.icuTimeZone());
}

int Calendar::firstWeekday() const {
    UErrorCode status = U_ZERO_ERROR;
    const UCalendarDaysOfWeek first = calendar_->getFirstDayOfWeek(status);
    return U_FAILURE(status) ? 1 : static_cast<int>(first);
}

void Calendar::setFirstWeekday(int weekday) {
    if (weekday >= 1 && weekday <= 7) {
        calendar_->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(weekday));
    }
}

int Calendar::minimumDaysInFirstWeek() const {
    return calendar_->getMinimalDaysInFirstWeek();
}

bool Calendar::moveTo(Date date) const {
    const double seconds = date.timeIntervalSince1970();
    if (!std::isfinite(seconds)) {
        return false;
    }
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(seconds * kMillisecondsPerSecond, status);
    return U_SUCCESS(status);
}

std::optional<Date> Calendar::currentInstant() const {
    UErrorCode status = U_ZERO_ERROR;
    const UDate milliseconds = calendar_->getTime(status);
    if (U_FAILURE(status) || !std::isfinite(milliseconds)) {
        return std::nullopt;
    }
    return Date(milliseconds / kMillisecondsPerSecond);
}

DateComponents Calendar::components(CalendarUnit units, Date date) const {
    DateComponents result;
    if (!moveTo(date)) {
        return result;
    }
    for (CalendarUnit unit : kUnitsLargestFirst) {
        if (!hasUnit(units, unit)) {
            continue;
        }
        const UCalendarDateFields field = icuField(unit);
        UErrorCode status = U_ZERO_ERROR;
        const int value = calendar_->get(field, status);
        if (U_SUCCESS(status)) {
            result.setValue(unit, fromIcu(field, value));
        }
    }
    return result;
}

int Calendar::component(CalendarUnit unit, Date date) const {
    const UCalendarDateFields field = icuField(unit);
    if (field == UCAL_FIELD_COUNT || !moveTo(date)) {
        return 0;
    }
    UErrorCode status = U_ZERO_ERROR;
    const int value = calendar_->get(field, status);
    return U_FAILURE(status) ? 0 : fromIcu(field, value);
}

DateComponents Calendar::components(CalendarUnit units, Date from, Date to) const {
    DateComponents result;
    const double target = to.timeIntervalSince1970() * kMillisecondsPerSecond;
    if (!std::isfinite(target) || !moveTo(from)) {
        return result;
    }
    for (CalendarUnit unit : kUnitsLargestFirst) {
        if (!hasUnit(units, unit) || unit == CalendarUnit::Weekday) {
            continue;
        }
        // fieldDifference moves the calendar by the whole units it counts, so each
        // smaller unit counts only what the larger ones left over.
        UErrorCode status = U_ZERO_ERROR;
        const int difference = calendar_->fieldDifference(target, icuField(unit), status);
        if (U_SUCCESS(status)) {
            result.setValue(unit, difference);
        }
    }
    return result;
}

std::optional<Date> Calendar::dateFromComponents(const DateComponents& parts) const {
    calendar_->clear();
    if (parts.era) {
        calendar_->set(UCAL_ERA, *parts.era);
    }
    // The order matters: ICU resolves competing fields by which was set last, so the week
    // fields, set after the day, win when present.
    calendar_->set(UCAL_YEAR, parts.year.value_or(1));
    calendar_->set(UCAL_MONTH, toIcu(UCAL_MONTH, parts.month.value_or(1)));
    calendar_->set(UCAL_DATE, parts.day.value_or(1));
    if (parts.weekday) {
        calendar_->set(UCAL_DAY_OF_WEEK, *parts.weekday);
    }
    if (parts.weekOfMonth) {
        calendar_->set(UCAL_WEEK_OF_MONTH, *parts.weekOfMonth);
    }
    calendar_->set(UCAL_HOUR_OF_DAY, parts.hour.value_or(0));
    calendar_->set(UCAL_MINUTE, parts.minute.value_or(0));
    calendar_->set(UCAL_SECOND, parts.second.value_or(0));
    calendar_->set(UCAL_MILLISECOND, 0);
    return currentInstant();
}

std::optional<Date> Calendar::dateByAddingComponents(const DateComponents& parts, Date date) const {
    if (!moveTo(date)) {
        return std::nullopt;
    }
    // Fractions of a second survive: ICU adds to the instant it holds, milliseconds and all;
    // below a millisecond the original instant's remainder is put back afterwards.
    const double seconds = date.timeIntervalSince1970();
    const double belowMillisecond =
        seconds * kMillisecondsPerSecond - std::floor(seconds * kMillisecondsPerSecond);
    for (CalendarUnit unit : kUnitsLargestFirst) {
        const std::optional<int> amount = parts.valueForComponent(unit);
        if (!amount || *amount == 0) {
            continue;
        }
        const UCalendarDateFields field =
            unit == CalendarUnit::Weekday ? UCAL_DATE : icuField(unit);
        UErrorCode status = U_ZERO_ERROR;
        calendar_->add(field, *amount, status);
        if (U_FAILURE(status)) {
            return std::nullopt;
        }
    }
    std::optional<Date> sum = currentInstant();
    if (sum && belowMillisecond != 0) {
        sum = sum->dateByAddingTimeInterval(belowMillisecond / kMillisecondsPerSecond);
    }
    return sum;
}

std::optional<Date> Calendar::dateBySettingHour(int hour, int minute, int second, Date date) const {
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 ||
        !moveTo(date)) {
        return std::nullopt;
    }
    calendar_->set(UCAL_HOUR_OF_DAY, hour);
    calendar_->set(UCAL_MINUTE, minute);
    calendar_->set(UCAL_SECOND, second);
    calendar_->set(UCAL_MILLISECOND, 0);
    return currentInstant();
}

std::optional<Date> Calendar::startOfDay(Date date) const {
    return dateBySettingHour(0, 0, 0, date);
}

std::optional<DateInterval> Calendar::rangeOfUnit(CalendarUnit unit, Date date) const {
    if (!moveTo(date)) {
        return std::nullopt;
    }
    UCalendarDateFields step = icuField(unit);
    switch (unit) {
        case CalendarUnit::Year:
            calendar_->set(UCAL_MONTH, 0);
            [[fallthrough]];
        case CalendarUnit::Month:
            calendar_->set(UCAL_DATE, 1);
            [[fallthrough]];
        case CalendarUnit::Day:
            calendar_->set(UCAL_HOUR_OF_DAY, 0);
            [[fallthrough]];
        case CalendarUnit::Hour:
            calendar_->set(UCAL_MINUTE, 0);
            [[fallthrough]];
        case CalendarUnit::Minute:
            calendar_->set(UCAL_SECOND, 0);
            [[fallthrough]];
        case CalendarUnit::Second:
            calendar_->set(UCAL_MILLISECOND, 0);
            break;
        case CalendarUnit::WeekOfMonth:
        case CalendarUnit::WeekOfYear: {
            UErrorCode status = U_ZERO_ERROR;
            const int daysIntoWeek = calendar_->get(UCAL_DOW_LOCAL, status) - 1;
            calendar_->add(UCAL_DATE, -daysIntoWeek, status);
            calendar_->set(UCAL_HOUR_OF_DAY, 0);
            calendar_->set(UCAL_MINUTE, 0);
            calendar_->set(UCAL_SECOND, 0);
            calendar_->set(UCAL_MILLISECOND, 0);
            step = UCAL_WEEK_OF_YEAR;
            break;
        }
        default:
            return std::nullopt;
    }
    const std::optional<Date> start = currentInstant();
    UErrorCode status = U_ZERO_ERROR;
    calendar_->add(step, 1, status);
    const std::optional<Date> end = currentInstant();
    if (U_FAILURE(status) || !start || !end) {
        return std::nullopt;
    }
    return DateInterval{*start, end->timeIntervalSinceDate(*start)};
}

std::optional<Range> Calendar::rangeOfUnit(CalendarUnit smaller, CalendarUnit larger,
                                           Date date) const {
    const auto valuesOf = [this](UCalendarDateFields field) -> std::optional<Range> {
        UErrorCode status = U_ZERO_ERROR;
        const int low = calendar_->getActualMinimum(field, status);
        const int high = calendar_->getActualMaximum(field, status);
        if (U_FAILURE(status) || high < low) {
            return std::nullopt;
        }
        return Range{static_cast<std::size_t>(fromIcu(field, low)),
                     static_cast<std::size_t>(high - low + 1)};
    };
    if (!moveTo(date)) {
        return std::nullopt;
    }
    const bool inWeek = larger == CalendarUnit::WeekOfMonth || larger == CalendarUnit::WeekOfYear;
    if (smaller == CalendarUnit::Day && larger == CalendarUnit::Month) {
        return valuesOf(UCAL_DATE);
    }
    if (smaller == CalendarUnit::Day && larger == CalendarUnit::Year) {
        return valuesOf(UCAL_DAY_OF_YEAR);
    }
    if (smaller == CalendarUnit::Month && larger == CalendarUnit::Year) {
        return valuesOf(UCAL_MONTH);
    }
    if (smaller == CalendarUnit::WeekOfMonth && larger == CalendarUnit::Month) {
        return valuesOf(UCAL_WEEK_OF_MONTH);
    }
    if (smaller == CalendarUnit::WeekOfYear && larger == CalendarUnit::Year) {
        return valuesOf(UCAL_WEEK_OF_YEAR);
    }
    if ((smaller == CalendarUnit::Weekday || smaller == CalendarUnit::Day) && inWeek) {
        return Range{1, 7};
    }
    if (smaller == CalendarUnit::Hour && larger == CalendarUnit::Day) {
        return Range{0, 24};
    }
    if ((smaller == CalendarUnit::Minute && larger == CalendarUnit::Hour) ||
        (smaller == CalendarUnit::Second && larger == CalendarUnit::Minute)) {
        return Range{0, 60};
    }
    return std::nullopt;
}

std::optional<int> Calendar::ordinalityOfUnit(CalendarUnit smaller, CalendarUnit larger,
                                              Date date) const {
    const bool inWeek = larger == CalendarUnit::WeekOfMonth || larger == CalendarUnit::WeekOfYear;
    UCalendarDateFields field = UCAL_FIELD_COUNT;
    int offset = 0;
    if ((smaller == CalendarUnit::Weekday || smaller == CalendarUnit::Day) && inWeek) {
        field = UCAL_DOW_LOCAL;  // 1 for the first weekday
    } else if (smaller == CalendarUnit::Day && larger == CalendarUnit::Month) {
        field = UCAL_DATE;
    } else if (smaller == CalendarUnit::Day && larger == CalendarUnit::Year) {
        field = UCAL_DAY_OF_YEAR;
    } else if (smaller == CalendarUnit::Month && larger == CalendarUnit::Year) {
        field = UCAL_MONTH;
        offset = 1;
    } else if (smaller == CalendarUnit::WeekOfMonth && larger == CalendarUnit::Month) {
        field = UCAL_WEEK_OF_MONTH;
    } else if (smaller == CalendarUnit::WeekOfYear && larger == CalendarUnit::Year) {
        field = UCAL_WEEK_OF_YEAR;
    } else if (smaller == CalendarUnit::Year && larger == CalendarUnit::Era) {
        field = UCAL_YEAR;
    } else if (smaller == CalendarUnit::Hour && larger == CalendarUnit::Day) {
        field = UCAL_HOUR_OF_DAY;
        offset = 1;
    } else if (smaller == CalendarUnit::Minute && larger == CalendarUnit::Hour) {
        field = UCAL_MINUTE;
        offset = 1;
    } else if (smaller == CalendarUnit::Second && larger == CalendarUnit::Minute) {
        field = UCAL_SECOND;
        offset = 1;
    }
    if (field == UCAL_FIELD_COUNT || !moveTo(date)) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    const int value = calendar_->get(field, status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return value + offset;
}

bool Calendar::isDateInSameDay(Date a, Date b) const {
    const CalendarUnit day =
        CalendarUnit::Era | CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day;
    return components(day, a) == components(day, b);
}

bool Calendar::isEqual(const Calendar& other) const {
    return identifier_ == other.identifier_ && timeZone_.isEqual(other.timeZone_) &&
           locale_ == other.locale_ && firstWeekday() == other.firstWeekday() &&
           minimumDaysInFirstWeek() == other.minimumDaysInFirstWeek();
}

}  // namespace velmora

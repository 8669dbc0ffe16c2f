#include "Velmora/dates/internal/CivilCalendar.h"

#include <array>
#include <chrono>
#include <cmath>
#include <limits>

#include <unicode/basictz.h>
#include <unicode/tztrans.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/locale/TimeZone.h"

namespace velmora {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr double kMillisecondsPerDay = 86'400'000.0;
// A wall-clock time this far inside a stretch of one offset has one instant: no zone
// has moved its clocks by more than a day at once.
constexpr double kMargin = 2 * kMillisecondsPerDay;
constexpr int kFirstYear = 1, kLastYear = 9999;
// Longer sums in days are left to the calendar (and to its limits).
constexpr long long kLongestSpan = 4'000'000;
// Instants this large are far from where a double's milliseconds stop being whole.
constexpr double kLargestInstant = 1e15;

// A stretch of time between two transitions of a zone, [from, to), and its offset.
struct Stretch {
    TimeZone owner;  // keeps the zone alive, so that its address names it
    const icu::BasicTimeZone* zone = nullptr;
    double from = 0, to = 0;
    double offset = 0;  // milliseconds

    bool holds(double milliseconds) const { return milliseconds >= from && milliseconds < to; }
    bool holdsWithMargin(double milliseconds) const {
        return milliseconds - kMargin >= from && milliseconds + kMargin < to;
    }
};

// The stretch of the calendar's zone that holds the instant; nothing when ICU cannot say.
const Stretch* stretchAt(const TimeZone& owner, const icu::BasicTimeZone& zone,
                         double milliseconds) {
    // A few stretches per thread: a parse reads around now, and a host may switch zones.
    static constexpr std::size_t kStretches = 8;
    thread_local std::array<Stretch, kStretches> stretches{
        Stretch{TimeZone::utc()}, Stretch{TimeZone::utc()}, Stretch{TimeZone::utc()},
        Stretch{TimeZone::utc()}, Stretch{TimeZone::utc()}, Stretch{TimeZone::utc()},
        Stretch{TimeZone::utc()}, Stretch{TimeZone::utc()}};
    thread_local std::size_t next = 0;
    for (const Stretch& stretch : stretches) {
        if (stretch.zone == &zone && stretch.holds(milliseconds)) {
            return &stretch;
        }
    }
    icu::TimeZoneTransition transition;
    double from = -std::numeric_limits<double>::infinity();
    double to = std::numeric_limits<double>::infinity();
    if (zone.getPreviousTransition(milliseconds, true, transition)) {
        from = transition.getTime();
    }
    if (zone.getNextTransition(milliseconds, false, transition)) {
        to = transition.getTime();
    }
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t raw = 0;
    std::int32_t daylight = 0;
    zone.getOffset(milliseconds, false, raw, daylight, status);
    if (U_FAILURE(status) || !(from <= milliseconds && milliseconds < to)) {
        return nullptr;
    }
    Stretch& slot = stretches[next];
    next = (next + 1) % kStretches;
    slot = Stretch{owner, &zone, from, to, static_cast<double>(raw) + daylight};
    return &slot;
}

long long daysFromCivil(int year, int month, int day) {
    using namespace std::chrono;
    return sys_days(std::chrono::year(year) / std::chrono::month(static_cast<unsigned>(month)) /
                    std::chrono::day(static_cast<unsigned>(day)))
        .time_since_epoch()
        .count();
}

year_month_day civilFromDays(long long days) {
    return year_month_day(sys_days(std::chrono::days(days)));
}

int daysInMonth(int year, int month) {
    using namespace std::chrono;
    return static_cast<int>(static_cast<unsigned>(
        (std::chrono::year(year) / std::chrono::month(static_cast<unsigned>(month)) / last).day()));
}

}  // namespace

CivilCalendar::CivilCalendar(const Calendar& calendar)
    : calendar_(calendar),
      zone_(calendar.identifier() == CalendarIdentifier::Gregorian
                ? dynamic_cast<const icu::BasicTimeZone*>(&calendar.timeZone().icuTimeZone())
                : nullptr) {}

std::optional<CivilCalendar::Local> CivilCalendar::local(Date date) const {
    const double milliseconds = date.timeIntervalSince1970() * 1000.0;
    if (zone_ == nullptr || !std::isfinite(milliseconds)) {
        return std::nullopt;
    }
    const Stretch* stretch = stretchAt(calendar_.timeZone(), *zone_, milliseconds);
    if (stretch == nullptr) {
        return std::nullopt;
    }
    const double wall = milliseconds + stretch->offset;
    const double day = std::floor(wall / kMillisecondsPerDay);
    const int year = static_cast<int>(civilFromDays(static_cast<long long>(day)).year());
    if (year < kFirstYear || year > kLastYear) {
        return std::nullopt;
    }
    return Local{static_cast<long long>(day), wall - day * kMillisecondsPerDay};
}

std::optional<Date> CivilCalendar::instantOf(long long day, double millisecondInDay) const {
    const std::optional<Instant> instant = instantAndOffset(day, millisecondInDay);
    return instant ? std::optional<Date>(Date(instant->milliseconds / 1000.0)) : std::nullopt;
}

std::optional<CivilCalendar::Instant> CivilCalendar::instantAndOffset(
    long long day, double millisecondInDay) const {
    const double wall = static_cast<double>(day) * kMillisecondsPerDay + millisecondInDay;
    const int year = static_cast<int>(civilFromDays(day).year());
    if (zone_ == nullptr || year < kFirstYear || year > kLastYear) {
        return std::nullopt;
    }
    const Stretch* guess = stretchAt(calendar_.timeZone(), *zone_, wall);
    if (guess == nullptr) {
        return std::nullopt;
    }
    const double offset = guess->offset;
    const double milliseconds = wall - offset;
    const Stretch* stretch = stretchAt(calendar_.timeZone(), *zone_, milliseconds);
    if (stretch == nullptr || stretch->offset != offset ||
        !stretch->holdsWithMargin(milliseconds)) {
        return std::nullopt;
    }
    return Instant{milliseconds, offset};
}

int CivilCalendar::component(CalendarUnit unit, Date date) const {
    const std::optional<Local> at = local(date);
    if (!at) {
        return calendar_.component(unit, date);
    }
    const int millisecond = static_cast<int>(at->millisecondInDay);
    switch (unit) {
        case CalendarUnit::Year:
            return static_cast<int>(civilFromDays(at->day).year());
        case CalendarUnit::Month:
            return static_cast<int>(static_cast<unsigned>(civilFromDays(at->day).month()));
        case CalendarUnit::Day:
            return static_cast<int>(static_cast<unsigned>(civilFromDays(at->day).day()));
        case CalendarUnit::Weekday:
            return static_cast<int>(
                       std::chrono::weekday(sys_days(std::chrono::days(at->day))).c_encoding()) +
                   1;
        case CalendarUnit::Hour:
            return millisecond / 3'600'000;
        case CalendarUnit::Minute:
            return millisecond / 60'000 % 60;
        case CalendarUnit::Second:
            return millisecond / 1000 % 60;
        default:
            return calendar_.component(unit, date);
    }
}

std::optional<Date> CivilCalendar::dateBySettingHour(int hour, int minute, int second,
                                                     Date date) const {
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
        return std::nullopt;
    }
    if (const std::optional<Local> at = local(date)) {
        if (const std::optional<Date> set =
                instantOf(at->day, hour * 3'600'000.0 + minute * 60'000.0 + second * 1000.0)) {
            return set;
        }
    }
    return calendar_.dateBySettingHour(hour, minute, second, date);
}

std::optional<Date> CivilCalendar::startOfDay(Date date) const {
    return dateBySettingHour(0, 0, 0, date);
}

std::optional<Date> CivilCalendar::dateFromDay(int year, int month, int day) const {
    if (year >= kFirstYear && year <= kLastYear && month >= 1 && month <= 12 && day >= 1 &&
        day <= daysInMonth(year, month)) {
        if (const std::optional<Date> date = instantOf(daysFromCivil(year, month, day), 0)) {
            return date;
        }
    }
    DateComponents parts;
    parts.year = year;
    parts.month = month;
    parts.day = day;
    return calendar_.dateFromComponents(parts);
}

std::optional<Date> CivilCalendar::dateByAdding(int years, int months, int days, Date date) const {
    if (const std::optional<Date> sum = sumOf(years, months, {days}, date)) {
        return sum;
    }
    DateComponents amount;
    amount.year = years;
    amount.month = months;
    amount.day = days;
    return calendar_.dateByAddingComponents(amount, date);
}

std::optional<Date> CivilCalendar::sumOf(int years, int months,
                                         std::initializer_list<long long> daySteps,
                                         Date date) const {
    const double milliseconds = date.timeIntervalSince1970() * 1000.0;
    const std::optional<Local> at = local(date);
    // Whole milliseconds only: the calendar keeps a fraction its own way.
    if (!at || milliseconds != std::floor(milliseconds)) {
        return std::nullopt;
    }
    // Each step keeps the wall-clock time. Years and months set the calendar's fields, so
    // a step lands on the one instant of its wall-clock time. Days move the instant by
    // whole days and then by the change of offset, which lands on that same instant as long
    // as the change is less than a day.
    const year_month_day civil = civilFromDays(at->day);
    int year = static_cast<int>(civil.year());
    int month = static_cast<int>(static_cast<unsigned>(civil.month()));
    int day = static_cast<int>(static_cast<unsigned>(civil.day()));
    long long dayNumber = at->day;
    double offset =
        static_cast<double>(at->day) * kMillisecondsPerDay + at->millisecondInDay - milliseconds;
    double instant = milliseconds;
    const auto toMonth = [&](long long moved) {
        if (moved < 12LL * kFirstYear || moved >= 12LL * (kLastYear + 1)) {
            return false;
        }
        year = static_cast<int>(moved / 12);
        month = static_cast<int>(moved % 12) + 1;
        day = std::min(day, daysInMonth(year, month));
        dayNumber = daysFromCivil(year, month, day);
        const std::optional<Instant> landed = instantAndOffset(dayNumber, at->millisecondInDay);
        if (!landed) {
            return false;
        }
        instant = landed->milliseconds;
        offset = landed->offset;
        return true;
    };
    const long long monthNumber = static_cast<long long>(year) * 12 + (month - 1);
    if ((years != 0 && !toMonth(monthNumber + 12LL * years)) ||
        (months != 0 && !toMonth(static_cast<long long>(year) * 12 + (month - 1) + months))) {
        return std::nullopt;
    }
    for (const long long step : daySteps) {
        if (step == 0) {
            continue;
        }
        if (step < -kLongestSpan || step > kLongestSpan) {
            return std::nullopt;
        }
        dayNumber += step;
        const std::optional<Instant> landed = instantAndOffset(dayNumber, at->millisecondInDay);
        if (!landed || std::abs(landed->offset - offset) >= kMillisecondsPerDay) {
            return std::nullopt;
        }
        instant = landed->milliseconds;
        offset = landed->offset;
    }
    return Date(instant / 1000.0);
}

std::optional<Date> CivilCalendar::dateByAddingDays(Date date, int days, int weeks, int months,
                                                    int years, int hours) const {
    if (days == 0 && weeks == 0 && months == 0 && years == 0 && hours == -1) {
        return date;
    }
    const std::optional<Date> sum = sumOf(years, months, {days, 7LL * weeks}, date);
    const std::optional<Local> at = sum ? local(*sum) : std::nullopt;
    if (!at) {
        return getDateByAddingDays(date, days, weeks, months, years, hours, &calendar_);
    }
    if (hours < 0) {
        return sum;
    }
    if (hours > 23) {
        return getDateByAddingDays(date, days, weeks, months, years, hours, &calendar_);
    }
    // getDateBySettingHours: the date as it is when its time is hours:00:00 already.
    const int millisecond = static_cast<int>(at->millisecondInDay);
    if (millisecond / 1000 == hours * 3600) {
        return sum;
    }
    if (const std::optional<Date> set = instantOf(at->day, hours * 3'600'000.0)) {
        return set;
    }
    return getDateByAddingDays(date, days, weeks, months, years, hours, &calendar_);
}

std::optional<Date> CivilCalendar::dateByAddingHours(Date date, int hours, int minutes) const {
    const double milliseconds = date.timeIntervalSince1970() * 1000.0;
    // Elapsed time, added as the calendar adds it: hours first, then minutes.
    if ((hours != 0 || minutes != 0) && std::isfinite(milliseconds) &&
        milliseconds == std::floor(milliseconds) && std::abs(milliseconds) < kLargestInstant) {
        return Date((milliseconds + hours * 3'600'000.0 + minutes * 60'000.0) / 1000.0);
    }
    return getDateByAddingHours(date, hours, minutes, 0);
}

}  // namespace velmora

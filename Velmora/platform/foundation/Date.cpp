#include "Velmora/platform/foundation/Date.h"

#include <chrono>
#include <cmath>

#include <fmt/format.h>

#include "Velmora/platform/foundation/Clock.h"

namespace velmora {

Date Date::now() {
    return Clock::now();
}

Date Date::dateWithTimeIntervalSinceNow(double seconds) {
    return Clock::now().dateByAddingTimeInterval(seconds);
}

double Date::timeIntervalSinceNow() const {
    return timeIntervalSinceDate(Clock::now());
}

std::string Date::description() const {
    using namespace std::chrono;
    if (!std::isfinite(seconds_)) {
        return seconds_ > 0 ? "inf" : (seconds_ < 0 ? "-inf" : "nan");
    }
    const double whole = std::floor(seconds_);
    // The calendar's years stop at ±32767; beyond them (only hostile input gets there)
    // the seconds themselves are the description.
    constexpr double kCalendarLimit = 1.0e12;
    if (std::fabs(whole) > kCalendarLimit) {
        return fmt::format("{:.0f} seconds since 1970 +0000", whole);
    }
    const auto secs = sys_seconds(seconds(static_cast<long long>(whole)));
    const auto day = floor<days>(secs);
    const year_month_day ymd(day);
    const hh_mm_ss hms(secs - day);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", static_cast<int>(ymd.year()),
                       static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                       hms.hours().count(), hms.minutes().count(), hms.seconds().count());
}

}  // namespace velmora

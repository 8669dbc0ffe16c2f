// Short human-readable texts for dates. Patterns and phrases are localisation keys, so a
// translation may change word order or the pattern itself.
#include <cmath>
#include <string_view>

#include <fmt/format.h>
#include <fmt/printf.h>

#include "Velmora/dates/DateCalendars.h"
#include "Velmora/dates/NSDate+Extras.h"

namespace velmora {
namespace {

constexpr long kLastSecondOfDay = 86399;
constexpr long kLastSecondOfWeek = 604799;

// Whole seconds between the date and now, either way round.
long secondsFromNow(Date date) {
    const double seconds = std::fabs(date.timeIntervalSinceNow());
    // A date so far off that it does not fit in a long is simply "far".
    return seconds < 9.0e18 ? static_cast<long>(seconds) : kLastSecondOfWeek + 1;
}

std::string formatWithPattern(const std::shared_ptr<DateFormatter>& formatter,
                              std::string_view patternKey, Date date) {
    setDateFormatIfChanged(*formatter, localized(patternKey));
    return formatter->stringFromDate(date);
}

// A phrase key holding one "%d", translated, then filled in. A translation whose
// placeholders do not fit one number falls back to the English phrase.
std::string phraseWithCount(std::string_view key, long count) {
    try {
        return fmt::sprintf(localized(key), count);
    } catch (const fmt::format_error&) {
        return fmt::sprintf(std::string(key), count);
    }
}

}  // namespace

std::string formatTime(Date date) {
    return formatWithPattern(localFormatter(), "h:mm a", date);
}

std::string formatDate(Date date) {
    return formatWithPattern(localFormatter(), "EEEE, LLLL d, yyyy", date);
}

std::string formatShortTime(Date date) {
    const long seconds = secondsFromNow(date);
    if (seconds <= kLastSecondOfDay) {
        return formatTime(date);
    }
    if (seconds <= kLastSecondOfWeek) {
        return ukFormatter()->stringFromDate(date);
    }
    return formatWithPattern(localFormatter(), "M/d/yy", date);
}

std::string formatDateTime(Date date) {
    const long seconds = secondsFromNow(date);
    if (seconds <= kLastSecondOfDay) {
        return formatTime(date);
    }
    if (seconds <= kLastSecondOfWeek) {
        return formatWithPattern(localFormatter(), "EEE h:mm a", date);
    }
    return formatWithPattern(localFormatter(), "MMM d h:mm a", date);
}

std::string formatRelativeTime(Date date) {
    const long seconds = secondsFromNow(date);
    if (seconds <= 1) {
        return localized("just a moment ago");
    }
    if (seconds <= 59) {
        return phraseWithCount("%d seconds ago", seconds);
    }
    if (seconds <= 119) {
        return localized("about a minute ago");
    }
    if (seconds <= 3599) {
        return phraseWithCount("%d minutes ago", seconds / 60);
    }
    if (seconds <= 5399) {
        return localized("about an hour ago");
    }
    if (seconds <= kLastSecondOfDay) {
        return phraseWithCount("%d hours ago", (seconds + 1800) / 3600);
    }
    return formatDateTime(date);
}

std::string formatDay(Date date, const DateComponents& today, const DateComponents& yesterday) {
    const DateComponents parts = defaultCalendar()->components(kDayUnits, date);
    const auto sameDay = [&parts](const DateComponents& other) {
        return parts.day == other.day && parts.month == other.month && parts.year == other.year;
    };
    if (sameDay(today)) {
        return localized("Today");
    }
    if (sameDay(yesterday)) {
        return localized("Yesterday");
    }
    return formatWithPattern(localFormatter(), "MMMM d", date);
}

bool Is24HourClock() {
    DateFormatter formatter;
    formatter.setDateStyle(DateFormatterStyle::None);
    formatter.setTimeStyle(DateFormatterStyle::Medium);
    const std::string text = formatter.stringFromDate(Date::now());
    // Current locale data puts a narrow no-break space (U+202F) before "AM"/"PM" where
    // older data had a plain space; both count as the blank, as does U+00A0.
    for (const std::string_view blank : {" ", "\u00A0", "\u202F"}) {
        if (text.find(blank) != std::string::npos) {
            return false;
        }
    }
    return true;
}

}  // namespace velmora

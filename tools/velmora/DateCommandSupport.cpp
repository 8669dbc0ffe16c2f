#include "tools/velmora/DateCommandSupport.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <unicode/locid.h>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/host/UserDefaults.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/DateFormatter.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"
#include "Velmora/services/VelmoraDAO.h"
#include "Velmora/services/VelmoraLogging.h"

#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

// Reads an ISO 8601 text left to right.
class IsoReader {
  public:
    explicit IsoReader(std::string_view text) : text_(text) {}

    bool atEnd() const { return position_ == text_.size(); }
    bool peek(char c) const { return !atEnd() && text_[position_] == c; }
    bool take(char c) {
        if (!peek(c)) {
            return false;
        }
        ++position_;
        return true;
    }
    // Exactly `count` decimal digits.
    std::optional<int> number(std::size_t count) {
        if (text_.size() - position_ < count) {
            return std::nullopt;
        }
        int value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const char c = text_[position_ + i];
            if (c < '0' || c > '9') {
                return std::nullopt;
            }
            value = value * 10 + (c - '0');
        }
        position_ += count;
        return value;
    }
    // One or more digits after a decimal point, as a fraction of one.
    std::optional<double> fraction() {
        double value = 0;
        double scale = 0.1;
        const std::size_t start = position_;
        while (!atEnd() && text_[position_] >= '0' && text_[position_] <= '9') {
            value += (text_[position_] - '0') * scale;
            scale /= 10;
            ++position_;
        }
        return position_ > start ? std::optional<double>(value) : std::nullopt;
    }

  private:
    std::string_view text_;
    std::size_t position_ = 0;
};

struct IsoFields {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    double fraction = 0;
    std::optional<int> offsetSeconds;  // absent: a reading of the system zone
};

std::optional<IsoFields> readIso(std::string_view text) {
    IsoReader reader(text);
    IsoFields fields;
    const bool bc = reader.take('-');
    auto year = reader.number(4);
    if (!year || !reader.take('-')) {
        return std::nullopt;
    }
    if (bc) {
        *year = -*year;
    }
    const auto month = reader.number(2);
    if (!month || !reader.take('-')) {
        return std::nullopt;
    }
    const auto day = reader.number(2);
    if (!day) {
        return std::nullopt;
    }
    fields.year = *year;
    fields.month = *month;
    fields.day = *day;
    if (reader.take('T') || reader.take(' ')) {
        const auto hour = reader.number(2);
        if (!hour || !reader.take(':')) {
            return std::nullopt;
        }
        const auto minute = reader.number(2);
        if (!minute) {
            return std::nullopt;
        }
        fields.hour = *hour;
        fields.minute = *minute;
        if (reader.take(':')) {
            const auto second = reader.number(2);
            if (!second) {
                return std::nullopt;
            }
            fields.second = *second;
            if (reader.take('.') || reader.take(',')) {
                const auto fraction = reader.fraction();
                if (!fraction) {
                    return std::nullopt;
                }
                fields.fraction = *fraction;
            }
        }
    }
    if (reader.take('Z')) {
        fields.offsetSeconds = 0;
    } else if (reader.peek('+') || reader.peek('-')) {
        const bool negative = reader.take('-');
        if (!negative) {
            reader.take('+');
        }
        const int sign = negative ? -1 : 1;
        const auto hours = reader.number(2);
        if (!hours) {
            return std::nullopt;
        }
        int minutes = 0;
        if (!reader.atEnd()) {
            reader.take(':');
            const auto parsed = reader.number(2);
            if (!parsed || *parsed > 59) {
                return std::nullopt;
            }
            minutes = *parsed;
        }
        if (*hours > 14) {
            return std::nullopt;
        }
        fields.offsetSeconds = sign * (*hours * 3600 + minutes * 60);
    }
    if (!reader.atEnd()) {
        return std::nullopt;
    }
    const std::chrono::year_month_day ymd{std::chrono::year(fields.year),
                                          std::chrono::month(static_cast<unsigned>(fields.month)),
                                          std::chrono::day(static_cast<unsigned>(fields.day))};
    if (!ymd.ok() || fields.hour > 23 || fields.minute > 59 || fields.second > 59) {
        return std::nullopt;
    }
    return fields;
}

// The process's settings go into a home of their own for the run; only the path is
// kept, and the directory is removed when the session ends.
std::optional<std::filesystem::path> makeTemporaryHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmora-date-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        return std::nullopt;
    }
    ::setenv("VELMORA_HOME", pattern.c_str(), /*overwrite=*/1);
    return std::filesystem::path(pattern);
}

// ICU makes a locale of any text; one whose language it cannot name is a typing error.
bool isKnownLocale(const Locale& locale) {
    const std::shared_ptr<const icu::Locale> icu = locale.icuLocale();
    return icu && !icu->isBogus() && icu->getISO3Language()[0] != '\0';
}

}  // namespace

std::optional<Date> parseIsoDate(std::string_view text, std::string& error) {
    const std::optional<IsoFields> fields = readIso(text);
    if (!fields) {
        error = fmt::format(
            "unreadable date '{}' (expected ISO 8601, such as "
            "2024-03-10T12:00:00-05:00 or 2024-03-10)",
            text);
        return std::nullopt;
    }
    if (fields->offsetSeconds) {
        using namespace std::chrono;
        const sys_days day =
            year_month_day{year(fields->year), month(static_cast<unsigned>(fields->month)),
                           std::chrono::day(static_cast<unsigned>(fields->day))};
        const double seconds =
            static_cast<double>(day.time_since_epoch() / std::chrono::seconds(1)) +
            fields->hour * 3600 + fields->minute * 60 + fields->second - *fields->offsetSeconds;
        return Date(seconds + fields->fraction);
    }
    DateComponents parts;
    parts.year = fields->year;
    parts.month = fields->month;
    parts.day = fields->day;
    parts.hour = fields->hour;
    parts.minute = fields->minute;
    parts.second = fields->second;
    const std::optional<Date> date = Calendar::current().dateFromComponents(parts);
    if (!date) {
        error = fmt::format("unreadable date '{}'", text);
        return std::nullopt;
    }
    return date->dateByAddingTimeInterval(fields->fraction);
}

std::string isoText(Date date) {
    using namespace std::chrono;
    const auto secondsAt = [](int year, unsigned monthNumber, unsigned dayNumber) {
        const sys_days day = year_month_day{std::chrono::year(year), month(monthNumber),
                                            std::chrono::day(dayNumber)};
        return static_cast<double>(day.time_since_epoch() / seconds(1));
    };
    static const double kFirst = secondsAt(kFirstYear, 1, 1);
    static const double kEnd = secondsAt(kLastYear + 1, 1, 1);
    const double at = date.timeIntervalSince1970();
    if (!(at >= kFirst && at < kEnd)) {
        fail(fmt::format("the date is out of range (years {} to {})", kFirstYear, kLastYear));
    }
    DateFormatter formatter;
    formatter.setLocale(Locale("en_US_POSIX"));
    formatter.setTimeZone(TimeZone::systemTimeZone());
    // "uuuu" counts years through 0 into the negatives; "yyyy" would drop the sign.
    formatter.setDateFormat("uuuu-MM-dd'T'HH:mm:ssxxx");
    return formatter.stringFromDate(date);
}

std::optional<DateSession> DateSession::start(const DateSettings& settings, std::string& error) {
    const std::optional<std::filesystem::path> home = makeTemporaryHome();
    if (!home) {
        fail(fmt::format("cannot make a temporary settings directory: {}", std::strerror(errno)));
    }
    DateSession session(*home);
    if (!settings.zone.empty()) {
        const std::optional<TimeZone> zone = TimeZone::named(settings.zone);
        if (!zone) {
            error = fmt::format("unknown time zone '{}'", settings.zone);
            return std::nullopt;
        }
        TimeZone::setSystemTimeZone(*zone);
    }
    if (!settings.locale.empty()) {
        const Locale locale(settings.locale);
        if (!isKnownLocale(locale)) {
            error = fmt::format("unknown locale '{}'", settings.locale);
            return std::nullopt;
        }
        Locale::setCurrent(locale);
    }
    if (settings.weekStart < 0 || settings.weekStart > 7) {
        error = fmt::format(
            "week start must be 0 (the locale's) or 1 (Sunday) to 7 (Saturday), "
            "not {}",
            settings.weekStart);
        return std::nullopt;
    }
    std::optional<Date> now;
    if (!settings.now.empty()) {
        now = parseIsoDate(settings.now, error);
        if (!now) {
            return std::nullopt;
        }
    }

    // Made after the zone and locale are in place, so that it starts with them.
    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    // The shared-services object registers the system log; a tool run keeps to stderr.
    LoggingOptions logging;
    logging.consoleLevel = LogLevel::Warning;
    configureLogging(logging);
    if (now) {
        Clock::setNowForTesting(*now);
    }
    if (settings.weekStart != 0) {
        // The object reloads the week start from the defaults whenever it re-arms its
        // day timer, so the value goes there too (in this run's own home).
        UserDefaults defaults = UserDefaults::standard();
        defaults.setInteger(settings.weekStart, "WeekStartsIndex");
        defaults.synchronize();
        dao.setWeekStartsIndex(settings.weekStart);
    }
    return session;
}

DateSession::DateSession(DateSession&& other) noexcept : home_(std::exchange(other.home_, {})) {}

DateSession::~DateSession() {
    if (!home_.empty()) {
        // Pending changes are written now, while the home exists; left to the flush at
        // exit, they would make the directory again after it is removed.
        (void)UserDefaults::standard().synchronize();
        std::error_code ignored;
        std::filesystem::remove_all(home_, ignored);
    }
}

void addDateSettingsOptions(CLI::App& command, DateSettings& settings) {
    command.add_option("--now", settings.now,
                       "Pin the clock to this instant (ISO 8601 with offset, such as "
                       "2024-03-10T12:00:00-05:00)");
    command.add_option("--tz", settings.zone, "Pin the system time zone (IANA name)");
    command.add_option("--locale", settings.locale,
                       "Pin the current locale (such as en_US, de_DE)");
    command
        .add_option("--week-start", settings.weekStart,
                    "First day of the week: 0 the locale's, 1 Sunday ... 7 Saturday")
        ->transform(integerIn(0, 7));
}

}  // namespace velmora::tool

#pragma once
// DateFormatter: writes dates as text and reads them back, with a pattern in ICU's syntax
// ("yyyy/MM/dd HH:mm") or with date and time styles, in a locale (names, digits, calendar)
// and a time zone. Starts with the current locale and the system time zone as they are
// when it is made, and keeps them when those change (give it Locale::autoupdatingCurrent()
// to follow the current locale instead).
//
// Thread safety: every member may be called from any thread. Formatting and parsing take
// an internal lock, because ICU's SimpleDateFormat moves its calendar to the date it
// handles; share one formatter where lines are few, give each busy thread its own.
//
//   DateFormatter formatter;
//   formatter.setDateFormat("yyyy/MM/dd HH:mm:ss:SSS");
//   std::string text = formatter.stringFromDate(Date::now());

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/uversion.h>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"

U_NAMESPACE_BEGIN
class SimpleDateFormat;
U_NAMESPACE_END

namespace velmora {

enum class DateFormatterStyle { None, Short, Medium, Long, Full };

class DateFormatter {
  public:
    DateFormatter();
    ~DateFormatter();
    DateFormatter(const DateFormatter&) = delete;
    DateFormatter& operator=(const DateFormatter&) = delete;

    // A new formatter with the same pattern, styles, locale and zone.
    [[nodiscard]] std::unique_ptr<DateFormatter> copy() const;

    // Setting a pattern replaces the styles' pattern; an empty pattern formats every date
    // as "" and parses nothing.
    void setDateFormat(std::string pattern);
    // The pattern in use: the one set, or the one the styles and locale give.
    [[nodiscard]] std::string dateFormat() const;
    // Setting a style makes the pattern the locale's for the two styles (both None: "").
    void setDateStyle(DateFormatterStyle style);
    void setTimeStyle(DateFormatterStyle style);
    [[nodiscard]] DateFormatterStyle dateStyle() const;
    [[nodiscard]] DateFormatterStyle timeStyle() const;
    void setLocale(const Locale& locale);
    [[nodiscard]] Locale locale() const;
    void setTimeZone(const TimeZone& zone);
    [[nodiscard]] TimeZone timeZone() const;
    // Lenient parsing also accepts fields out of range (month 13) and rolls them over;
    // off by default. Either way white space and punctuation are matched loosely and a
    // numeric field may use fewer or more digits than the pattern shows.
    void setLenient(bool lenient);
    // For a formatter that reads far more than it writes: ICU copies its number reader
    // each time it reads a field of a run of abutting numeric fields ("HHmm"); a reading
    // formatter keeps one such copy per run's fields instead. Results are the same.
    void setReadsAbuttingNumbersWithOneReader(bool on);

    // Fractions of a millisecond are dropped, not rounded. Letters the pattern syntax does
    // not know write nothing. "" for a date that is not finite, or when ICU cannot make a
    // formatter for these settings.
    [[nodiscard]] std::string stringFromDate(Date date) const;
    // The instant the whole text stands for; nothing when any of it does not fit the
    // pattern. Fields the pattern lacks take their defaults (1970-01-01 00:00:00 in the
    // formatter's zone).
    [[nodiscard]] std::optional<Date> dateFromString(std::string_view text) const;

    // The locale's pattern for a template of fields in any order ("yMMMd" gives
    // "MMM d, y" in en_US, "d. MMM y" in de_DE); "" when ICU knows no pattern.
    [[nodiscard]] static std::string dateFormatFromTemplate(std::string_view skeleton,
                                                            const Locale& locale);

  private:
    // The ICU formatter for the current settings, made on first use after a change; null
    // when ICU cannot make one. REQUIRES: mutex_ held.
    icu::SimpleDateFormat* icuFormatLocked() const;
    std::string patternLocked() const;

    mutable std::mutex mutex_;            // guards everything below
    std::optional<std::string> pattern_;  // absent: the styles decide
    DateFormatterStyle dateStyle_ = DateFormatterStyle::None;
    DateFormatterStyle timeStyle_ = DateFormatterStyle::None;
    Locale locale_;
    TimeZone timeZone_;
    bool lenient_ = false;
    bool oneAbuttingReader_ = false;
    mutable std::unique_ptr<icu::SimpleDateFormat> icuFormat_;
    mutable std::string icuFormatLocale_;  // an auto-updating locale's identifier when made
};

}  // namespace velmora

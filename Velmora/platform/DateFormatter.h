#pragma once
// DateFormatter: writes dates as text with a pattern in ICU's syntax ("yyyy/MM/dd HH:mm"),
// in a locale (names, digits, calendar) and a time zone. Starts with the current locale
// and the system time zone as they are when it is made, and keeps them when those change.
//
// Thread safety: every member may be called from any thread. Formatting takes an internal
// lock, because ICU's SimpleDateFormat::format moves its calendar to the date it writes;
// share one formatter where lines are few, give each busy thread its own.
//
//   DateFormatter formatter;
//   formatter.setDateFormat("yyyy/MM/dd HH:mm:ss:SSS");
//   std::string text = formatter.stringFromDate(Date::now());

#include <memory>
#include <mutex>
#include <string>

#include <unicode/uversion.h>

#include "Velmora/platform/Date.h"
#include "Velmora/platform/Locale.h"
#include "Velmora/platform/TimeZone.h"

U_NAMESPACE_BEGIN
class SimpleDateFormat;
U_NAMESPACE_END

namespace velmora {

class DateFormatter {
  public:
    DateFormatter();
    ~DateFormatter();
    DateFormatter(const DateFormatter&) = delete;
    DateFormatter& operator=(const DateFormatter&) = delete;

    // An empty pattern formats every date as "".
    void setDateFormat(std::string pattern);
    [[nodiscard]] std::string dateFormat() const;
    void setLocale(const Locale& locale);
    [[nodiscard]] Locale locale() const;
    void setTimeZone(const TimeZone& zone);
    [[nodiscard]] TimeZone timeZone() const;

    // Fractions of a millisecond are dropped, not rounded. Letters the pattern syntax does
    // not know write nothing. "" for a date that is not finite, or when ICU cannot make a
    // formatter for these settings.
    [[nodiscard]] std::string stringFromDate(Date date) const;

  private:
    // The ICU formatter for the current settings, made on first use after a change; null
    // when ICU cannot make one. REQUIRES: mutex_ held.
    icu::SimpleDateFormat* icuFormatLocked() const;

    mutable std::mutex mutex_;  // guards everything below
    std::string pattern_;
    Locale locale_;
    TimeZone timeZone_;
    mutable std::unique_ptr<icu::SimpleDateFormat> icuFormat_;
};

}  // namespace velmora

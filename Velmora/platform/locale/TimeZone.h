#pragma once
// TimeZone: a geopolitical time zone ("Europe/Paris"), answering its offset from GMT at
// any instant. An immutable value; copies share one ICU zone and may be used from any
// thread. The system time zone starts as the host's (TZ, /etc/localtime) and can be
// replaced at run time, by the host or by a test; a change posts
// NSSystemTimeZoneDidChangeNotification.
//
//   std::optional<TimeZone> tokyo = TimeZone::named("Asia/Tokyo");
//   int offset = tokyo->secondsFromGMT(Date::now());   // 32400
//   TimeZone::setSystemTimeZone(*tokyo);

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/uversion.h>

#include "Velmora/platform/foundation/Date.h"

U_NAMESPACE_BEGIN
class TimeZone;
U_NAMESPACE_END

namespace velmora {

class TimeZone {
  public:
    // Thread-safe.
    [[nodiscard]] static TimeZone systemTimeZone();
    static void setSystemTimeZone(const TimeZone& zone);
    // The process's local zone. The process follows the system zone, so the two are one.
    [[nodiscard]] static TimeZone localTimeZone() { return systemTimeZone(); }
    // Reads the host's zone again, unless a host or test has set one: a change of TZ or
    // /etc/localtime since start-up shows only after this.
    static void resetSystemTimeZone();

    // The zone of an IANA name ("America/New_York"), or of a GMT offset ("GMT+05:30");
    // nothing for a name the zone database does not know.
    [[nodiscard]] static std::optional<TimeZone> named(std::string_view ianaName);
    [[nodiscard]] static TimeZone utc();
    // The zone of a common abbreviation ("UTC", "GMT", "EST", "CET", "JST", ...), or
    // nothing for one outside the table. Abbreviations are ambiguous across the world;
    // the table follows the original platform's choices.
    [[nodiscard]] static std::optional<TimeZone> withAbbreviation(std::string_view abbreviation);

    const std::string& name() const { return name_; }
    // Standard offset plus daylight saving in effect at date.
    int secondsFromGMT(Date date) const;
    // The daylight-saving part of that offset at date (0 in standard time), in seconds.
    double daylightSavingTimeOffset(Date date) const;
    // The first instant after date at which the zone's offset changes; nothing for a
    // zone without further transitions.
    std::optional<Date> nextDaylightSavingTimeTransition(Date after) const;

    // Same name and same rules.
    bool isEqual(const TimeZone& other) const;
    friend bool operator==(const TimeZone& a, const TimeZone& b) { return a.isEqual(b); }

    // For the platform's other ICU wrappers; only const ICU calls are safe on it.
    const icu::TimeZone& icuTimeZone() const { return *zone_; }

  private:
    explicit TimeZone(std::shared_ptr<const icu::TimeZone> zone);

    std::shared_ptr<const icu::TimeZone> zone_;
    std::string name_;
};

}  // namespace velmora

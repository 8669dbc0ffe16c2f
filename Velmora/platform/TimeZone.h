#pragma once
// TimeZone: a geopolitical time zone ("Europe/Paris"), answering its offset from GMT at
// any instant. An immutable value; copies share one ICU zone and may be used from any
// thread. The system time zone starts as the host's (TZ, /etc/localtime) and can be
// replaced at run time, by the host or by a test.
//
//   std::optional<TimeZone> tokyo = TimeZone::named("Asia/Tokyo");
//   int offset = tokyo->secondsFromGMT(Date::now());   // 32400
//   TimeZone::setSystemTimeZone(*tokyo);

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/uversion.h>

#include "Velmora/platform/Date.h"

U_NAMESPACE_BEGIN
class TimeZone;
U_NAMESPACE_END

namespace velmora {

class TimeZone {
  public:
    // Thread-safe.
    [[nodiscard]] static TimeZone systemTimeZone();
    static void setSystemTimeZone(const TimeZone& zone);

    // The zone of an IANA name ("America/New_York"), or of a GMT offset ("GMT+05:30");
    // nothing for a name the zone database does not know.
    [[nodiscard]] static std::optional<TimeZone> named(std::string_view ianaName);
    [[nodiscard]] static TimeZone utc();

    const std::string& name() const { return name_; }
    // Standard offset plus daylight saving in effect at date.
    int secondsFromGMT(Date date) const;

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

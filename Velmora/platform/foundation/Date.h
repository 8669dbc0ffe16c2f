#pragma once
// Date: an instant, as double-precision seconds since 1970-01-01 00:00:00 UTC.
// A plain value type; safe to copy between threads.
//
//   Date start = Date::now();
//   double elapsed = Date::now().timeIntervalSinceDate(start);
//   std::string text = start.description();  // "2024-01-02 03:04:05 +0000"

#include <compare>
#include <string>

namespace velmora {

class Date {
  public:
    constexpr Date() noexcept = default;
    constexpr explicit Date(double secondsSince1970) noexcept : seconds_(secondsSince1970) {}

    // The process clock's current time (pinned in tests; see Clock).
    static Date now();
    static Date dateWithTimeIntervalSinceNow(double seconds);
    // 0001-01-01 and 4001-01-01 (UTC), the bounds other code uses for "no limit".
    static constexpr Date distantPast() { return Date(-62135596800.0); }
    static constexpr Date distantFuture() { return Date(64092211200.0); }

    constexpr double timeIntervalSince1970() const { return seconds_; }
    constexpr double timeIntervalSinceDate(Date other) const { return seconds_ - other.seconds_; }
    double timeIntervalSinceNow() const;
    constexpr Date dateByAddingTimeInterval(double seconds) const {
        return Date(seconds_ + seconds);
    }

    constexpr auto operator<=>(const Date&) const = default;

    // "yyyy-MM-dd HH:mm:ss +0000" in UTC, whole seconds, as the platform prints dates.
    std::string description() const;

  private:
    double seconds_ = 0;
};

}  // namespace velmora

#pragma once
// Helpers every suite uses to pin what its results depend on.

#include <filesystem>
#include <functional>
#include <string_view>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"

namespace velmora::testing {

// The repository's root, for tests that read the data the project ships (data/...).
std::filesystem::path sourceDirectory();

// Pins the process clock for the scope's lifetime.
class ScopedPinnedClock {
  public:
    explicit ScopedPinnedClock(Date now) { Clock::setNowForTesting(now); }
    ~ScopedPinnedClock() { Clock::resetForTesting(); }
    ScopedPinnedClock(const ScopedPinnedClock&) = delete;
    ScopedPinnedClock& operator=(const ScopedPinnedClock&) = delete;
};

// The instant of a wall-clock reading in the calendar's zone; the time defaults to 00:00:00.
// REQUIRES: the reading names a representable date.
Date wallClockDate(const Calendar& calendar, int year, int month, int day, int hour = 0,
                   int minute = 0, int second = 0);

// Runs passes of the main run loop on this thread until done() answers true or the
// real-time limit passes; answers done().
bool runMainLoopUntil(const std::function<bool()>& done, double limitSeconds = 10.0);

// Runs body on a new thread while this thread runs the main loop, until body returns.
// A body still running after limitSeconds aborts the test process with a message: its
// thread can be neither joined nor abandoned safely, and a failed test beats a hung one.
void onBackgroundThreadWithMainLoopRunning(const std::function<void()>& body,
                                           double limitSeconds = 10.0);

// Runs body on a new thread and waits up to limitSeconds for it, aborting as above.
void runBoundedInTime(const std::function<void()>& body, double limitSeconds = 10.0);

// Makes a zone the system time zone for the scope's lifetime, then restores the previous.
class ScopedSystemTimeZone {
  public:
    explicit ScopedSystemTimeZone(const TimeZone& zone) : previous_(TimeZone::systemTimeZone()) {
        TimeZone::setSystemTimeZone(zone);
    }
    // REQUIRES: ianaName names a known zone (an unknown one throws).
    explicit ScopedSystemTimeZone(std::string_view ianaName)
        : ScopedSystemTimeZone(TimeZone::named(ianaName).value()) {}
    ~ScopedSystemTimeZone() { TimeZone::setSystemTimeZone(previous_); }
    ScopedSystemTimeZone(const ScopedSystemTimeZone&) = delete;
    ScopedSystemTimeZone& operator=(const ScopedSystemTimeZone&) = delete;

  private:
    const TimeZone previous_;
};

// Makes a locale the current locale for the scope's lifetime, then restores the previous.
class ScopedCurrentLocale {
  public:
    explicit ScopedCurrentLocale(std::string_view identifier) : previous_(Locale::current()) {
        Locale::setCurrent(Locale(identifier));
    }
    ~ScopedCurrentLocale() { Locale::setCurrent(previous_); }
    ScopedCurrentLocale(const ScopedCurrentLocale&) = delete;
    ScopedCurrentLocale& operator=(const ScopedCurrentLocale&) = delete;

  private:
    const Locale previous_;
};

}  // namespace velmora::testing

#pragma once
// What the date suites share: a fixture that pins clock, zone and locale, and instants
// built with a calendar of their own, so expectations do not lean on the code under test.

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraDAO.h"

#include "tests/support/TestSupport.h"

namespace velmora::dates_test {

// The instant of a wall-clock reading in a zone.
inline Date at(std::string_view zoneName, int year, int month, int day, int hour = 0,
               int minute = 0, int second = 0) {
    Calendar calendar(CalendarIdentifier::Gregorian);
    calendar.setTimeZone(TimeZone::named(zoneName).value());
    return testing::wallClockDate(calendar, year, month, day, hour, minute, second);
}

// Sets the user's week start for the scope (in the defaults the shared-services object
// reloads it from, and in the object), then puts back "follow the system".
class ScopedWeekStart {
  public:
    explicit ScopedWeekStart(std::int64_t weekday) { set(weekday); }
    ~ScopedWeekStart() {
        // Going back to 0 leaves this thread's cached calendar at the first weekday it
        // last had (only a zone or locale change rebuilds it), so pass through the
        // system's own first weekday on the way and let the calendar take it.
        VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
        set(0);
        set(dao.getStartOfWeek());
        dao.getThreadSafeNSCalendar(false);
        set(0);
    }
    ScopedWeekStart(const ScopedWeekStart&) = delete;
    ScopedWeekStart& operator=(const ScopedWeekStart&) = delete;

  private:
    static void set(std::int64_t weekday) {
        UserDefaults::standard().setInteger(weekday, "WeekStartsIndex");
        VelmoraDAO::getSharedInstance().setWeekStartsIndex(weekday);
    }
};

// Pins the zone, the locale and the clock (in that order, so the clock's instant can be
// given as a wall-clock reading in the zone).
class PinnedDates {
  public:
    PinnedDates(std::string_view zoneName, std::string_view locale, Date now)
        : dao_(quietSharedInstance()), zone_(zoneName), locale_(locale), clock_(now) {}

  private:
    // The shared-services object registers the system log when it is made; the suites'
    // zone and clock changes would otherwise fill the machine's log.
    static VelmoraDAO* quietSharedInstance() {
        static VelmoraDAO* const dao = [] {
            VelmoraDAO* made = &VelmoraDAO::getSharedInstance();
            Log::removeAllLoggers();
            return made;
        }();
        return dao;
    }

    VelmoraDAO* dao_;  // made first, so that it sees every change below
    testing::ScopedSystemTimeZone zone_;
    testing::ScopedCurrentLocale locale_;
    testing::ScopedPinnedClock clock_;
};

}  // namespace velmora::dates_test

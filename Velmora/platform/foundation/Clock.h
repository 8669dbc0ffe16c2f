#pragma once
// Clock: the process clock. Every "now" in the framework comes from here, so a test can
// pin time and move it forward deterministically.
//
// Two readings: now() is wall-clock time (a Date); uptime() is monotonic seconds, which
// run-loop timers are measured in. While the clock is pinned, neither moves on its own:
// advanceForTesting() moves both, setNowForTesting() moves only the wall clock (as a
// change of the system clock would), so pending timers are not fired by a jump. Both
// setNowForTesting() and resetForTesting() post NSSystemClockDidChangeNotification, as a
// change of the system clock does, but only when the wall clock's reading changes.
//
// Thread-safe.
//
//   Clock::setNowForTesting(Date(1704164645.006));
//   Clock::advanceForTesting(2.0);   // timers due within 2 s now fire on the next pass
//   Clock::resetForTesting();

#include "Velmora/platform/foundation/Date.h"

namespace velmora {

class Clock {
  public:
    static Date now();
    // now() as of the system clock's last tick (a few milliseconds earlier at most), for a
    // sixth of the cost: for a date taken at a high rate and read rarely. Pinned, the same
    // as now().
    static Date coarseNow();
    static double uptime();

    static void setNowForTesting(Date now);
    // REQUIRES: the clock is pinned.
    static void advanceForTesting(double seconds);
    static void resetForTesting();
    static bool isPinned();
};

}  // namespace velmora

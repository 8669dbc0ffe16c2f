#pragma once
// Helpers every suite uses to pin what its results depend on.

#include <functional>

#include "Velmora/platform/Clock.h"

namespace velmora::testing {

// Pins the process clock for the scope's lifetime.
class ScopedPinnedClock {
  public:
    explicit ScopedPinnedClock(Date now) { Clock::setNowForTesting(now); }
    ~ScopedPinnedClock() { Clock::resetForTesting(); }
    ScopedPinnedClock(const ScopedPinnedClock&) = delete;
    ScopedPinnedClock& operator=(const ScopedPinnedClock&) = delete;
};

// Runs passes of the main run loop on this thread until done() answers true or the
// real-time limit passes; answers done().
bool runMainLoopUntil(const std::function<bool()>& done, double limitSeconds = 10.0);

}  // namespace velmora::testing

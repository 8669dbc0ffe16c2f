#include "Velmora/platform/foundation/Clock.h"

#include <atomic>
#include <cassert>
#include <chrono>
#include <ctime>

#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/SystemNotifications.h"

namespace velmora {
namespace {

std::atomic<bool> gPinned{false};
std::atomic<double> gPinnedWall{0};
std::atomic<double> gPinnedUptime{0};

double realUptime() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

double realWall() {
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

double coarseWall() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

Date Clock::now() {
    return Date(gPinned.load(std::memory_order_acquire) ? gPinnedWall.load() : realWall());
}

Date Clock::coarseNow() {
    return Date(gPinned.load(std::memory_order_acquire) ? gPinnedWall.load() : coarseWall());
}

double Clock::uptime() {
    return gPinned.load(std::memory_order_acquire) ? gPinnedUptime.load() : realUptime();
}

void Clock::setNowForTesting(Date now) {
    const bool wasPinned = gPinned.load();
    if (!wasPinned) {
        gPinnedUptime.store(realUptime());
    }
    const double previous = gPinnedWall.exchange(now.timeIntervalSince1970());
    gPinned.store(true, std::memory_order_release);
    if (!wasPinned || previous != now.timeIntervalSince1970()) {
        NotificationCenter::defaultCenter().post(NSSystemClockDidChangeNotification);
    }
}

void Clock::advanceForTesting(double seconds) {
    assert(gPinned.load() && "advanceForTesting needs a pinned clock");
    gPinnedWall.fetch_add(seconds);
    gPinnedUptime.fetch_add(seconds);
}

void Clock::resetForTesting() {
    if (gPinned.exchange(false, std::memory_order_acq_rel)) {
        NotificationCenter::defaultCenter().post(NSSystemClockDidChangeNotification);
    }
}

bool Clock::isPinned() {
    return gPinned.load(std::memory_order_acquire);
}

}  // namespace velmora

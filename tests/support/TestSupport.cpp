#include "tests/support/TestSupport.h"

#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/RunLoop.h"

namespace velmora::testing {

std::filesystem::path sourceDirectory() {
    return VELMORA_SOURCE_DIR;
}

Date wallClockDate(const Calendar& calendar, int year, int month, int day, int hour, int minute,
                   int second) {
    DateComponents parts;
    parts.year = year;
    parts.month = month;
    parts.day = day;
    parts.hour = hour;
    parts.minute = minute;
    parts.second = second;
    return calendar.dateFromComponents(parts).value();
}

bool runMainLoopUntil(const std::function<bool()>& done, double limitSeconds) {
    const auto limit =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(limitSeconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= limit) {
            return false;
        }
        RunLoop::main().runOnePass(RunLoop::kDefaultMode, 0.01);
    }
    return true;
}

void onBackgroundThreadWithMainLoopRunning(const std::function<void()>& body) {
    std::atomic<bool> finished{false};
    std::thread worker([&] {
        body();
        finished = true;
    });
    EXPECT_TRUE(runMainLoopUntil([&] { return finished.load(); }));
    worker.join();
}

}  // namespace velmora::testing

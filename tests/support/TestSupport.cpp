#include "tests/support/TestSupport.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
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

namespace {

[[noreturn]] void abortHungTest(double limitSeconds) {
    std::fprintf(stderr, "test body still running after %.1f s: aborting instead of hanging\n",
                 limitSeconds);
    std::fflush(stderr);
    std::abort();
}

}  // namespace

void onBackgroundThreadWithMainLoopRunning(const std::function<void()>& body, double limitSeconds) {
    std::atomic<bool> finished{false};
    std::thread worker([&] {
        body();
        finished = true;
    });
    if (!runMainLoopUntil([&] { return finished.load(); }, limitSeconds)) {
        abortHungTest(limitSeconds);
    }
    worker.join();
}

void runBoundedInTime(const std::function<void()>& body, double limitSeconds) {
    std::promise<void> finished;
    auto future = finished.get_future();
    std::thread worker([&] {
        body();
        finished.set_value();
    });
    if (future.wait_for(std::chrono::duration<double>(limitSeconds)) != std::future_status::ready) {
        abortHungTest(limitSeconds);
    }
    worker.join();
}

}  // namespace velmora::testing

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/storage/SystemNotificationCenter.h"

#include "tests/support/ScopedVelmoraHome.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit = 5000ms) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

TEST(SystemNotificationCenterTest, EveryPostReachesEveryObserverOfItsNameOnce) {
    testing::ScopedVelmoraHome home;
    SystemNotificationCenter center;  // a second center stands for another process
    std::atomic<int> a{0}, b{0}, other{0};
    auto first = SystemNotificationCenter::shared().addObserver("a", [&](const std::string& name) {
        EXPECT_EQ(name, "a");
        ++a;
    });
    auto second = center.addObserver("a", [&](const std::string&) { ++b; });
    auto third = center.addObserver("other name/with slash", [&](const std::string&) { ++other; });
    EXPECT_EQ(center.observerCount("a"), 1u);
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(SystemNotificationCenter::shared().post("a"));
    }
    EXPECT_TRUE(center.post("other name/with slash"));
    EXPECT_FALSE(center.post(""));
    EXPECT_TRUE(waitFor([&] { return a == 50 && b == 50 && other == 1; }));
    std::this_thread::sleep_for(50ms);  // and no more than once
    EXPECT_EQ(a.load(), 50);
    EXPECT_EQ(b.load(), 50);
    second.reset();
    EXPECT_EQ(center.observerCount("a"), 0u);
    SystemNotificationCenter::shared().post("a");
    EXPECT_TRUE(waitFor([&] { return a == 51; }));
    EXPECT_EQ(b.load(), 50);
}

TEST(SystemNotificationCenterTest, AThrowingObserverIsLoggedAndLaterPostsArrive) {
    testing::ScopedVelmoraHome home;
    auto logger = std::make_shared<MemoryLogger>();
    Log::addLogger(logger, LogLevel::Error);
    std::atomic<int> calls{0};
    auto token = SystemNotificationCenter::shared().addObserver("t", [&](const std::string&) {
        if (++calls == 1) {
            throw std::runtime_error("observer broke");
        }
    });
    SystemNotificationCenter::shared().post("t");
    SystemNotificationCenter::shared().post("t");
    EXPECT_TRUE(waitFor([&] { return calls == 2; }));
    Log::removeLogger(logger);
    ASSERT_FALSE(logger->lines().empty());
    EXPECT_NE(logger->lines()[0].find("observer broke"), std::string::npos);
}

TEST(SystemNotificationCenterTest, RemovingAnObserverWaitsForItsCallInProgress) {
    testing::ScopedVelmoraHome home;
    std::promise<void> entered;
    std::atomic<bool> finished{false};
    auto token = SystemNotificationCenter::shared().addObserver("slow", [&](const std::string&) {
        entered.set_value();
        std::this_thread::sleep_for(100ms);
        finished = true;
    });
    SystemNotificationCenter::shared().post("slow");
    ASSERT_EQ(entered.get_future().wait_for(5s), std::future_status::ready);
    token.reset();
    EXPECT_TRUE(finished.load());
}

}  // namespace
}  // namespace velmora

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/services/internal/Lifeline.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

struct Counter {
    int calls = 0;
};

TEST(LifelineTest, CallsRunUntilClosedAndNeverAfter) {
    Counter counter;
    auto line = std::make_shared<Lifeline<Counter>>(counter);
    std::weak_ptr<Lifeline<Counter>> weak = line;
    EXPECT_TRUE(Lifeline<Counter>::ifAlive(weak, [](Counter& c) { ++c.calls; }));
    line->close();
    EXPECT_FALSE(Lifeline<Counter>::ifAlive(weak, [](Counter& c) { ++c.calls; }));
    line.reset();
    EXPECT_FALSE(Lifeline<Counter>::ifAlive(weak, [](Counter& c) { ++c.calls; }));
    EXPECT_EQ(counter.calls, 1);
}

// Fault: the old token pinned a pointer, not the object: a callback that had taken it
// went on running while the destructor finished.
TEST(LifelineTest, CloseWaitsForACallInProgressOnAnotherThread) {
    Counter counter;
    auto line = std::make_shared<Lifeline<Counter>>(counter);
    std::weak_ptr<Lifeline<Counter>> weak = line;
    std::promise<void> entered;
    std::atomic<bool> finished{false};
    std::thread caller([&] {
        Lifeline<Counter>::ifAlive(weak, [&](Counter&) {
            entered.set_value();
            std::this_thread::sleep_for(50ms);
            finished = true;
        });
    });
    ASSERT_EQ(entered.get_future().wait_for(5s), std::future_status::ready);
    testing::runBoundedInTime([&] { line->close(); }, 5.0);
    EXPECT_TRUE(finished);
    caller.join();
}

TEST(LifelineTest, CloseFromInsideACallDoesNotWaitForItself) {
    Counter counter;
    auto line = std::make_shared<Lifeline<Counter>>(counter);
    std::weak_ptr<Lifeline<Counter>> weak = line;
    testing::runBoundedInTime(
        [&] { EXPECT_TRUE(Lifeline<Counter>::ifAlive(weak, [&](Counter&) { line->close(); })); });
    EXPECT_FALSE(Lifeline<Counter>::ifAlive(weak, [](Counter&) {}));
}

}  // namespace
}  // namespace velmora

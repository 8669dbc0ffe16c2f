// A block that throws never wedges the machinery that runs it: later blocks still run,
// sync callers receive the exception, and what nobody waits for is logged.
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/dispatch/OperationQueue.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/dispatch/internal/WorkerPool.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/logging/BlockExceptions.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::runBoundedInTime;
using testing::runMainLoopUntil;

// Collects error lines for the scope's life.
class ScopedErrorLog {
  public:
    ScopedErrorLog() { Log::addLogger(memory_, LogLevel::Error); }
    ~ScopedErrorLog() { Log::removeLogger(memory_); }
    ScopedErrorLog(const ScopedErrorLog&) = delete;
    ScopedErrorLog& operator=(const ScopedErrorLog&) = delete;

    // Blocks on other threads may log a little after the work that follows them ran.
    bool mentionsWithin(const std::string& text, std::chrono::milliseconds limit = 5s) const {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!mentions(text)) {
            if (std::chrono::steady_clock::now() >= end) {
                return false;
            }
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }

    bool mentions(const std::string& text) const {
        for (const auto& line : memory_->lines()) {
            if (line.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

  private:
    std::shared_ptr<MemoryLogger> memory_ = std::make_shared<MemoryLogger>(100);
};

TEST(BlockExceptionsTest, ReportingNamesThePlaceAndTheMessage) {
    ScopedErrorLog errors;
    runReportingExceptions("the test bench", [] { throw std::runtime_error("gear slipped"); });
    runReportingExceptions("the test bench", [] { throw 42; });
    EXPECT_TRUE(errors.mentions("the test bench: gear slipped"));
    EXPECT_TRUE(errors.mentions("the test bench: (not a std::exception)"));
}

// Fault: the rest of a swapped-out batch of posted blocks was dropped after a throw.
TEST(BlockExceptionsTest, APostedBlockThatThrowsDoesNotCostTheOthersTheirTurn) {
    ScopedErrorLog errors;
    RunLoop loop;
    std::vector<int> ran;
    loop.post([&] { ran.push_back(1); });
    loop.post([] { throw std::runtime_error("posted block failed"); });
    loop.post([&] { ran.push_back(3); });
    EXPECT_NO_THROW(loop.runOnePass());
    EXPECT_EQ(ran, (std::vector<int>{1, 3}));
    EXPECT_TRUE(errors.mentions("posted block failed"));
}

// Fault: due timers were erased before running, so a throw left the later ones unrun
// while their handles still answered isValid().
TEST(BlockExceptionsTest, ATimerThatThrowsLetsTheOtherDueTimersFire) {
    testing::ScopedPinnedClock clock(Date(1'000'000));
    ScopedErrorLog errors;
    RunLoop loop;
    bool secondFired = false;
    RunLoop::Timer first =
        loop.scheduleTimer(1, 0, [] { throw std::runtime_error("timer failed"); });
    RunLoop::Timer second = loop.scheduleTimer(2, 0, [&] { secondFired = true; });
    Clock::advanceForTesting(3);
    EXPECT_NO_THROW(loop.runOnePass());
    EXPECT_TRUE(secondFired);
    EXPECT_FALSE(first.isValid());
    EXPECT_FALSE(second.isValid());
    EXPECT_TRUE(errors.mentions("timer failed"));
}

// Fault: a throwing perform left performsInFlight set and the rest of its batch unrun.
TEST(BlockExceptionsTest, APerformThatThrowsLetsTheRestOfItsBatchRun) {
    ScopedErrorLog errors;
    RunLoop loop;
    int target = 0;
    std::vector<int> ran;
    loop.performAtEndOfPass(&target, 1, [] { throw std::runtime_error("perform failed"); });
    loop.performAtEndOfPass(&target, 2, [&] { ran.push_back(2); });
    EXPECT_NO_THROW(loop.runOnePass());
    EXPECT_EQ(ran, (std::vector<int>{2}));
    // A perform registered after the pass is not touched by a cancel aimed at the old batch.
    loop.performAtEndOfPass(&ran, 1, [&] { ran.push_back(3); });
    loop.cancelEndOfPassPerforms(&target);
    loop.runOnePass();
    EXPECT_EQ(ran, (std::vector<int>{2, 3}));
    EXPECT_TRUE(errors.mentions("perform failed"));
}

TEST(BlockExceptionsTest, AnIoHandlerThatThrowsLetsTheOthersRun) {
    ScopedErrorLog errors;
    RunLoop loop;
    bool later = false;
    asio::io_context& io = loop.ioContext();
    asio::post(io, [] { throw std::runtime_error("handler failed"); });
    asio::post(io, [&] { later = true; });
    EXPECT_TRUE(loop.runOnePass());
    EXPECT_TRUE(later);
    EXPECT_TRUE(errors.mentions("handler failed"));
}

// Fault: a block that threw on the main loop left its sync caller blocked forever.
TEST(BlockExceptionsTest, MainQueueSyncRethrowsToItsCaller) {
    testing::onBackgroundThreadWithMainLoopRunning([] {
        EXPECT_THROW(DispatchQueue::main().sync([] { throw std::runtime_error("on main"); }),
                     std::runtime_error);
        bool ran = false;
        DispatchQueue::main().sync([&] { ran = true; });
        EXPECT_TRUE(ran);
    });
}

// Fault: a throw skipped resume(), so no later block of the queue ever ran.
TEST(BlockExceptionsTest, SerialQueueSyncRethrowsAndHandsTheQueueBack) {
    auto queue = DispatchQueue::createSerial("velmora.test.sync-throw");
    runBoundedInTime([&] {
        EXPECT_THROW(queue->sync([] { throw std::logic_error("in sync"); }), std::logic_error);
        std::promise<void> asyncRan;
        queue->async([&] { asyncRan.set_value(); });
        EXPECT_EQ(asyncRan.get_future().wait_for(5s), std::future_status::ready);
        bool syncRan = false;
        queue->sync([&] { syncRan = true; });
        EXPECT_TRUE(syncRan);
    });
}

TEST(BlockExceptionsTest, QueuedBlocksThatThrowAreLoggedAndTheQueuesGoOn) {
    ScopedErrorLog errors;
    auto serial = DispatchQueue::createSerial("velmora.test.async-throw");
    runBoundedInTime([&] {
        std::promise<void> serialNext;
        serial->async([] { throw std::runtime_error("serial async failed"); });
        serial->async([&] { serialNext.set_value(); });
        EXPECT_EQ(serialNext.get_future().wait_for(5s), std::future_status::ready);

        std::promise<void> delayedNext;
        serial->asyncAfter(1ms, [] { throw std::runtime_error("delayed failed"); });
        serial->asyncAfter(2ms, [&] { delayedNext.set_value(); });
        EXPECT_EQ(delayedNext.get_future().wait_for(5s), std::future_status::ready);

        // More throwing blocks than the pool has threads: none may cost it a thread.
        WorkerPool& pool = WorkerPool::shared(DispatchQueue::Priority::Background);
        for (unsigned i = 0; i < pool.threadCount() + 1; ++i) {
            pool.post([] { throw std::runtime_error("pool block failed"); });
            DispatchQueue::global(DispatchQueue::Priority::Background).async([] {
                throw std::runtime_error("global async failed");
            });
        }
        std::promise<void> poolNext;
        pool.post([&] { poolNext.set_value(); });
        EXPECT_EQ(poolNext.get_future().wait_for(5s), std::future_status::ready);
    });
    EXPECT_TRUE(errors.mentions("velmora.test.async-throw: serial async failed"));
    EXPECT_TRUE(errors.mentionsWithin("delayed failed"));
    EXPECT_TRUE(errors.mentionsWithin("pool block failed"));
    EXPECT_TRUE(errors.mentionsWithin("velmora.global.background: global async failed"));
}

TEST(BlockExceptionsTest, MainQueueAsyncBlocksThatThrowAreLogged) {
    ScopedErrorLog errors;
    bool later = false;
    DispatchQueue::main().async([] { throw std::runtime_error("main async failed"); });
    DispatchQueue::main().async([&] { later = true; });
    EXPECT_TRUE(runMainLoopUntil([&] { return later; }));
    EXPECT_TRUE(errors.mentions("velmora.main-thread: main async failed"));
}

// Fault: a throwing operation was never counted finished, so waiting for the queue hung.
TEST(BlockExceptionsTest, AnOperationThatThrowsStillFinishes) {
    ScopedErrorLog errors;
    runBoundedInTime([] {
        OperationQueue queue("velmora.test.ops", 1, QualityOfService::Default);
        std::atomic<bool> next{false};
        queue.addOperation([] { throw std::runtime_error("operation failed"); });
        queue.addOperation([&] { next = true; });
        queue.waitUntilAllOperationsAreFinished();
        EXPECT_TRUE(next);
        EXPECT_EQ(queue.operationCount(), 0u);
    });
    EXPECT_TRUE(errors.mentionsWithin("operation failed"));
}

}  // namespace
}  // namespace velmora

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/services/DispatchHelpers.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

using testing::onBackgroundThreadWithMainLoopRunning;
using testing::runMainLoopUntil;

class ScopedApplicationState {
  public:
    explicit ScopedApplicationState(ApplicationState state) {
        auto app = std::make_shared<HeadlessApplication>();
        app->setApplicationState(state);
        Application::install(app);
    }
    ~ScopedApplicationState() { Application::install(nullptr); }
};

TEST(DispatchHelpersTest, MainQueueMarkerTellsWhereCodeRuns) {
    EXPECT_TRUE(isMainQueue());
    std::promise<bool> inBackground;
    runAsyncInBackgroundQueue([&] { inBackground.set_value(isMainQueue()); });
    EXPECT_FALSE(inBackground.get_future().get());

    auto serial = DispatchQueue::createSerial("velmora.test.marker");
    bool inSerialFromMain = true;
    serial->sync([&] { inSerialFromMain = isMainQueue(); });
    EXPECT_FALSE(inSerialFromMain);  // on the main thread, but running another queue

    bool inMainBlock = false;
    runAsyncOnMainQueue([&] { inMainBlock = isMainQueue(); });
    EXPECT_TRUE(runMainLoopUntil([&] { return inMainBlock; }));
}

TEST(DispatchHelpersTest, RunOnMainQueueWithoutDeadlockingOnTheMainThreadRunsAtOnce) {
    bool ran = false;
    runOnMainQueueWithoutDeadlocking([&] { ran = true; });
    EXPECT_TRUE(ran);
    // Also from inside a main-queue block, where a plain sync would deadlock.
    bool nestedRan = false;
    runAsyncOnMainQueue([&] { runOnMainQueueWithoutDeadlocking([&] { nestedRan = true; }); });
    EXPECT_TRUE(runMainLoopUntil([&] { return nestedRan; }));
}

TEST(DispatchHelpersTest, RunOnMainQueueWithoutDeadlockingFromTheBackgroundWaits) {
    onBackgroundThreadWithMainLoopRunning([] {
        bool ranOnMain = false;
        runOnMainQueueWithoutDeadlocking([&] { ranOnMain = RunLoop::isMainThread(); });
        EXPECT_TRUE(ranOnMain);  // done before the call returned
    });
}

TEST(DispatchHelpersTest, AsyncVariantsQueueUnlessAlreadyOnTheMainQueue) {
    bool immediate = false;
    runAsyncOnMainQueueWithoutDeadlocking([&] { immediate = true; });
    EXPECT_TRUE(immediate);

    bool queued = false;
    runAsyncOnMainQueue([&] { queued = true; });
    EXPECT_FALSE(queued);
    EXPECT_TRUE(runMainLoopUntil([&] { return queued; }));

    std::atomic<bool> fromBackground{false};
    onBackgroundThreadWithMainLoopRunning([&] {
        runAsyncOnMainQueueWithoutDeadlocking([&] { fromBackground = RunLoop::isMainThread(); });
    });
    EXPECT_TRUE(runMainLoopUntil([&] { return fromBackground.load(); }));
}

TEST(DispatchHelpersTest, ThrowingBlocksReachOnlyCallersThatWait) {
    EXPECT_NO_THROW(runAsyncOnMainQueueWithoutDeadlocking([] { throw std::runtime_error("a"); }));
    EXPECT_THROW(runOnMainQueueWithoutDeadlocking([] { throw std::runtime_error("s"); }),
                 std::runtime_error);
    onBackgroundThreadWithMainLoopRunning([] {
        EXPECT_THROW(runOnMainQueueWithoutDeadlocking([] { throw std::runtime_error("s"); }),
                     std::runtime_error);
    });
}

TEST(DispatchHelpersTest, MainQueueDelayFollowsTheProcessClock) {
    testing::ScopedPinnedClock clock(Date(1700000000));
    bool ran = false;
    runAsyncOnMainQueueWithDelay(0.25f, [&] { ran = true; });
    RunLoop::main().runOnePass();
    Clock::advanceForTesting(0.2);
    RunLoop::main().runOnePass();
    EXPECT_FALSE(ran);
    Clock::advanceForTesting(0.05);
    RunLoop::main().runOnePass();
    EXPECT_TRUE(ran);
}

TEST(DispatchHelpersTest, BackgroundHelpersRunOffTheMainThread) {
    std::promise<bool> plain;
    runAsyncInBackgroundQueue([&] { plain.set_value(RunLoop::isMainThread()); });
    EXPECT_FALSE(plain.get_future().get());

    std::promise<std::chrono::steady_clock::time_point> delayed;
    const auto start = std::chrono::steady_clock::now();
    runAsyncInBackgroundQueueWithDelay(
        0.02f, [&] { delayed.set_value(std::chrono::steady_clock::now()); });
    EXPECT_GE(delayed.get_future().get() - start, std::chrono::milliseconds(20));
}

TEST(DispatchHelpersTest, BackgroundApplicationStateMakesTheMainQueueCallSynchronous) {
    {
        ScopedApplicationState state(ApplicationState::Background);
        onBackgroundThreadWithMainLoopRunning([] {
            bool ran = false;
            runAsyncOnMainOnlyIfNotInBackgroundWithoutDeadlocking([&] { ran = true; });
            EXPECT_TRUE(ran);  // waited for the main queue
        });
    }
    {
        ScopedApplicationState state(ApplicationState::Active);
        std::atomic<bool> ran{false};
        std::atomic<bool> ranBeforeReturn{true};
        std::thread worker([&] {
            runAsyncOnMainOnlyIfNotInBackgroundWithoutDeadlocking([&] { ran = true; });
            ranBeforeReturn = ran.load();  // nobody runs the main loop yet
        });
        worker.join();
        EXPECT_FALSE(ranBeforeReturn);
        EXPECT_TRUE(runMainLoopUntil([&] { return ran.load(); }));
    }
}

TEST(DispatchHelpersTest, EmptyBlocksAreIgnored) {
    runOnMainQueueWithoutDeadlocking({});
    runAsyncOnMainQueueWithoutDeadlocking({});
    runAsyncOnMainQueue({});
    runAsyncOnMainQueueWithDelay(0.0f, {});
    runAsyncInBackgroundQueue({});
    runAsyncInBackgroundQueueWithDelay(0.0f, {});
    runAsyncOnMainOnlyIfNotInBackgroundWithoutDeadlocking({});
    EXPECT_FALSE(RunLoop::main().runOnePass());
}

}  // namespace
}  // namespace velmora

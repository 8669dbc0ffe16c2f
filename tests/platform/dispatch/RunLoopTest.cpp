#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/Clock.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

using testing::ScopedPinnedClock;

constexpr std::string_view kTracking = "UITrackingRunLoopMode";

TEST(RunLoopTest, BlocksPostedDuringAPassWaitForTheNextPass) {
    RunLoop loop;
    std::vector<std::string> log;
    loop.post([&] {
        log.push_back("first");
        loop.post([&] { log.push_back("posted by first"); });
    });
    loop.post([&] { log.push_back("second"); });
    EXPECT_TRUE(loop.runOnePass());
    EXPECT_EQ(log, (std::vector<std::string>{"first", "second"}));
    EXPECT_TRUE(loop.runOnePass());
    EXPECT_EQ(log.back(), "posted by first");
    EXPECT_FALSE(loop.runOnePass());
}

TEST(RunLoopTest, EndOfPassPerformsRunLastInOrderAndOnce) {
    RunLoop loop;
    std::vector<std::string> log;
    int target = 0;
    loop.post([&] {
        log.push_back("block");
        // Registered during the pass: runs at the end of this same pass.
        loop.performAtEndOfPass(&target, 350000, [&] { log.push_back("order 350000"); });
        loop.performAtEndOfPass(&target, 10, [&] {
            log.push_back("order 10");
            loop.performAtEndOfPass(&target, 0, [&] { log.push_back("from a perform"); });
        });
        loop.performAtEndOfPass(&target, 10, [&] { log.push_back("order 10, later"); });
    });
    loop.runOnePass();
    EXPECT_EQ(log,
              (std::vector<std::string>{"block", "order 10", "order 10, later", "order 350000"}));
    loop.runOnePass();
    EXPECT_EQ(log.back(), "from a perform");
    EXPECT_FALSE(loop.runOnePass());
}

TEST(RunLoopTest, CancellingPerformsByTargetIncludesTheRunningBatch) {
    RunLoop loop;
    int mine = 0;
    int other = 0;
    std::vector<std::string> log;
    loop.performAtEndOfPass(&mine, 1, [&] {
        log.push_back("mine 1");
        loop.cancelEndOfPassPerforms(&mine);  // cancels its later sibling in this batch
    });
    loop.performAtEndOfPass(&other, 2, [&] { log.push_back("other"); });
    loop.performAtEndOfPass(&mine, 3, [&] { log.push_back("mine 3"); });
    loop.runOnePass();
    EXPECT_EQ(log, (std::vector<std::string>{"mine 1", "other"}));

    loop.performAtEndOfPass(&mine, 1, [&] { log.push_back("never"); });
    loop.cancelEndOfPassPerforms(&mine);
    EXPECT_FALSE(loop.runOnePass());
}

TEST(RunLoopTest, ModesHoldBackWorkRegisteredForOtherModes) {
    RunLoop loop;
    int target = 0;
    std::vector<std::string> log;
    loop.performAtEndOfPass(&target, 0, [&] { log.push_back("default only"); });
    loop.performAtEndOfPass(&target, 0, [&] { log.push_back("common"); },
                            {std::string(RunLoop::kCommonModes)});
    loop.post([&] { log.push_back("posted"); });

    loop.runOnePass(kTracking);  // not a common mode yet: nothing runs
    EXPECT_TRUE(log.empty());
    loop.addCommonMode(std::string(kTracking));
    loop.runOnePass(kTracking);
    EXPECT_EQ(log, (std::vector<std::string>{"posted", "common"}));
    loop.runOnePass();
    EXPECT_EQ(log.back(), "default only");
}

TEST(RunLoopTest, TimersFollowThePinnedClock) {
    ScopedPinnedClock clock(Date(1700000000));
    RunLoop loop;
    int fired = 0;
    RunLoop::Timer timer = loop.scheduleTimer(12.0, 1.0, [&] { ++fired; });
    EXPECT_TRUE(timer.isValid());
    EXPECT_DOUBLE_EQ(timer.tolerance(), 1.0);

    // A jump of the wall clock is a clock change, not the passing of time.
    Clock::setNowForTesting(Date(1800000000));
    loop.runOnePass();
    Clock::advanceForTesting(11.999);
    loop.runOnePass();
    EXPECT_EQ(fired, 0);
    Clock::advanceForTesting(0.001);
    // A waiting pass does not wait on a pinned timer: it fires at once.
    EXPECT_TRUE(loop.runOnePass(RunLoop::kDefaultMode, 60.0));
    EXPECT_EQ(fired, 1);
    EXPECT_FALSE(timer.isValid());
    Clock::advanceForTesting(100);
    loop.runOnePass();
    EXPECT_EQ(fired, 1);  // one-shot
}

TEST(RunLoopTest, InvalidatedOrDroppedTimersNeverFire) {
    ScopedPinnedClock clock(Date(0));
    RunLoop loop;
    int fired = 0;
    RunLoop::Timer kept = loop.scheduleTimer(1, 0, [&] { fired += 1; });
    kept.invalidate();
    EXPECT_FALSE(kept.isValid());
    {
        RunLoop::Timer dropped = loop.scheduleTimer(1, 0, [&] { fired += 10; });
    }
    RunLoop::Timer replaced = loop.scheduleTimer(1, 0, [&] { fired += 100; });
    replaced = loop.scheduleTimer(1, 0, [&] { fired += 1000; });
    RunLoop::Timer moved = std::move(replaced);
    Clock::advanceForTesting(1);
    loop.runOnePass();
    EXPECT_EQ(fired, 1000);
}

TEST(RunLoopTest, TimerInAnotherModeWaitsForThatMode) {
    ScopedPinnedClock clock(Date(0));
    RunLoop loop;
    bool fired = false;
    RunLoop::Timer timer =
        loop.scheduleTimer(0, 0, [&] { fired = true; }, {std::string(kTracking)});
    loop.runOnePass();
    EXPECT_FALSE(fired);
    loop.runOnePass(kTracking);
    EXPECT_TRUE(fired);
}

TEST(RunLoopTest, RealTimeTimerStopsRun) {
    RunLoop loop;
    RunLoop::Timer timer = loop.scheduleTimer(0.02, 0.01, [&] { loop.stop(); });
    loop.run();  // returns only through the timer's stop()
    EXPECT_FALSE(timer.isValid());
}

TEST(RunLoopTest, RunUntilReturnsAtItsLimit) {
    RunLoop loop;
    bool ran = false;
    loop.postAfter(0.01, [&] { ran = true; });
    loop.runUntil(Date::dateWithTimeIntervalSinceNow(0.2));
    EXPECT_TRUE(ran);
}

TEST(RunLoopTest, PostFromAnotherThreadWakesAWaitingPass) {
    RunLoop& loop = RunLoop::main();
    std::atomic<bool> ran{false};
    std::thread poster([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        loop.post([&] { ran = true; });
    });
    // Waits for up to a minute, but the post ends the wait.
    while (!ran) {
        loop.runOnePass(RunLoop::kDefaultMode, 60.0);
    }
    poster.join();
    EXPECT_TRUE(ran);
}

TEST(RunLoopTest, AsioHandlersRunInAPass) {
    RunLoop loop;
    bool handled = false;
    asio::post(loop.ioContext(), [&] { handled = true; });
    EXPECT_TRUE(loop.runOnePass());
    EXPECT_TRUE(handled);
}

TEST(RunLoopTest, CurrentModeAndThreadIdentity) {
    RunLoop loop;
    std::string seen;
    loop.post([&] { seen = loop.currentMode(); });
    loop.runOnePass(RunLoop::kDefaultMode);
    EXPECT_EQ(seen, RunLoop::kDefaultMode);
    EXPECT_EQ(loop.currentMode(), "");

    EXPECT_TRUE(RunLoop::isMainThread());
    EXPECT_EQ(&RunLoop::current(), &RunLoop::main());
    bool otherIsMain = true;
    const RunLoop* otherLoop = nullptr;
    std::thread([&] {
        otherIsMain = RunLoop::isMainThread();
        otherLoop = &RunLoop::current();
    }).join();
    EXPECT_FALSE(otherIsMain);
    EXPECT_NE(otherLoop, &RunLoop::main());
}

// Regression: the thread identity is cached per thread, and a forked child's one thread
// must not answer with the parent's (the main loop ran here, so the parent's thread is
// the main one; the child's thread is another).
TEST(RunLoopTest, AForkedChildDoesNotInheritTheMainThreadIdentity) {
    RunLoop::main().runOnePass();
    ASSERT_TRUE(RunLoop::isMainThread());
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        alarm(10);  // bounded, should the check ever block
        _exit(RunLoop::isMainThread() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace velmora

#include <atomic>
#include <future>
#include <latch>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/dispatch/RunLoop.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::runMainLoopUntil;

// Waits for every block queued on a serial queue so far.
void flush(DispatchQueue& queue) {
    queue.sync([] {});
}

TEST(DispatchQueueTest, SerialQueueRunsBlocksOneAtATimeInOrder) {
    auto queue = DispatchQueue::createSerial("velmora.test.order");
    std::vector<int> order;  // touched only by the queue's blocks: no lock needed
    std::atomic<int> running{0};
    std::atomic<int> overlap{0};
    for (int i = 0; i < 2000; ++i) {
        queue->async([&, i] {
            if (running.fetch_add(1) != 0) {
                ++overlap;
            }
            order.push_back(i);
            running.fetch_sub(1);
        });
        if (i % 500 == 0) {
            // A sync in the middle sees everything queued before it, and nothing after.
            queue->sync([&] { EXPECT_EQ(order.size(), static_cast<std::size_t>(i + 1)); });
        }
    }
    flush(*queue);
    ASSERT_EQ(order.size(), 2000u);
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(order[i], i);
    }
    EXPECT_EQ(overlap.load(), 0);
}

TEST(DispatchQueueTest, SyncFromManyThreadsStaysExclusive) {
    auto queue = DispatchQueue::createSerial("velmora.test.sync");
    int counter = 0;  // guarded by the queue alone
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                if (i % 2 == 0) {
                    queue->sync([&] { ++counter; });
                } else {
                    queue->async([&] { ++counter; });
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    flush(*queue);
    EXPECT_EQ(counter, 6 * 300);
}

TEST(DispatchQueueTest, SyncRunsOnTheCallingThread) {
    auto queue = DispatchQueue::createSerial("velmora.test.caller");
    std::thread::id ranOn;
    queue->sync([&] { ranOn = std::this_thread::get_id(); });
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    DispatchQueue::global().sync([&] { ranOn = std::this_thread::get_id(); });
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(DispatchQueueTest, CurrentQueueAndSpecificsFollowNestedSync) {
    static const int kKey = 0;
    static const char* const kValueA = "A";
    auto a = DispatchQueue::createSerial("velmora.test.a");
    auto b = DispatchQueue::createSerial("velmora.test.b");
    a->setSpecific(&kKey, kValueA);
    EXPECT_EQ(a->getSpecific(&kKey), kValueA);

    EXPECT_EQ(DispatchQueue::current(), &DispatchQueue::main());
    EXPECT_EQ(DispatchQueue::currentSpecific(&kKey), nullptr);
    a->sync([&] {
        EXPECT_TRUE(a->isCurrent());
        EXPECT_EQ(DispatchQueue::currentSpecific(&kKey), kValueA);
        b->sync([&] {
            EXPECT_TRUE(b->isCurrent());
            EXPECT_EQ(DispatchQueue::currentSpecific(&kKey), nullptr);
        });
        EXPECT_TRUE(a->isCurrent());
    });
    std::promise<DispatchQueue*> seen;
    a->async([&] { seen.set_value(DispatchQueue::current()); });
    EXPECT_EQ(seen.get_future().get(), a.get());
    std::thread([] { EXPECT_EQ(DispatchQueue::current(), nullptr); }).join();

    a->setSpecific(&kKey, nullptr);
    EXPECT_EQ(a->getSpecific(&kKey), nullptr);
}

TEST(DispatchQueueTest, GlobalQueueRunsBlocksConcurrently) {
    // Each block waits for the other: only concurrent execution lets both finish.
    std::latch both(2);
    std::promise<void> first;
    std::promise<void> second;
    DispatchQueue::global().async([&] {
        both.arrive_and_wait();
        first.set_value();
    });
    DispatchQueue::global().async([&] {
        both.arrive_and_wait();
        second.set_value();
    });
    EXPECT_EQ(first.get_future().wait_for(10s), std::future_status::ready);
    EXPECT_EQ(second.get_future().wait_for(10s), std::future_status::ready);
    EXPECT_FALSE(DispatchQueue::global().isSerial());
}

TEST(DispatchQueueTest, BackgroundBlocksRunAtLowerPriorityOffTheMainThread) {
    std::promise<std::pair<bool, int>> seen;
    DispatchQueue::global(DispatchQueue::Priority::Background).async([&] {
        seen.set_value(
            {RunLoop::isMainThread(), getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()))});
    });
    const auto [onMain, niceness] = seen.get_future().get();
    EXPECT_FALSE(onMain);
    EXPECT_GT(niceness, 0);
}

TEST(DispatchQueueTest, MainQueueBlocksRunOnlyInTheMainLoop) {
    bool ran = false;
    DispatchQueue::main().async([&] {
        EXPECT_TRUE(RunLoop::isMainThread());
        EXPECT_TRUE(DispatchQueue::main().isCurrent());
        ran = true;
    });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(runMainLoopUntil([&] { return ran; }));
}

TEST(DispatchQueueTest, MainQueueSyncFromABackgroundThreadWaitsForTheLoop) {
    testing::onBackgroundThreadWithMainLoopRunning([] {
        bool ran = false;
        DispatchQueue::main().sync([&] {
            EXPECT_TRUE(RunLoop::isMainThread());
            ran = true;
        });
        EXPECT_TRUE(ran);  // the block finished before sync returned
    });
}

TEST(DispatchQueueTest, DelayedBlocksRunAfterTheirDelay) {
    auto queue = DispatchQueue::createSerial("velmora.test.after");
    std::promise<void> done;
    const auto start = std::chrono::steady_clock::now();
    queue->asyncAfter(30ms, [&] { done.set_value(); });
    done.get_future().wait();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);

    // On the main queue a delay follows the process clock, so a pinned test controls it.
    testing::ScopedPinnedClock clock(Date(0));
    bool ran = false;
    DispatchQueue::main().asyncAfter(500ms, [&] { ran = true; });
    RunLoop::main().runOnePass();
    EXPECT_FALSE(ran);
    Clock::advanceForTesting(0.5);
    RunLoop::main().runOnePass();
    EXPECT_TRUE(ran);
}

TEST(DispatchQueueTest, ASerialQueueOutlivesItsLastHandleUntilItsBlocksHaveRun) {
    std::promise<void> done;
    std::weak_ptr<DispatchQueue> weak;
    {
        auto queue = DispatchQueue::createSerial("velmora.test.lifetime");
        weak = queue;
        queue->async([] { std::this_thread::sleep_for(10ms); });
        queue->async([&] { done.set_value(); });
    }
    done.get_future().wait();
    for (int i = 0; i < 1000 && !weak.expired(); ++i) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(weak.expired());
}

// A sync onto the queue the caller runs on is a broken contract: debug builds stop at once;
// release builds run the block as a nested call without disturbing the queue.
TEST(DispatchQueueDeathTest, SyncOntoTheQueueYouAreOnIsCaught) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto queue = DispatchQueue::createSerial("velmora.test.self");
    int ran = 0;
    EXPECT_DEBUG_DEATH(queue->sync([&] { queue->sync([&] { ++ran; }); }), "deadlocks");
    EXPECT_DEBUG_DEATH(DispatchQueue::main().sync([&] { ++ran; }), "deadlocks");
#ifdef NDEBUG
    EXPECT_EQ(ran, 2);
    std::atomic<int> running{0};
    std::atomic<int> overlap{0};
    for (int i = 0; i < 100; ++i) {
        queue->async([&] {
            overlap += running.fetch_add(1) != 0;
            queue->sync([] {});
            running.fetch_sub(1);
        });
    }
    flush(*queue);
    EXPECT_EQ(overlap.load(), 0);  // still one block at a time afterwards
#endif
}

TEST(DispatchQueueTest, EmptyBlocksAreIgnored) {
    auto queue = DispatchQueue::createSerial("velmora.test.empty");
    queue->async({});
    queue->sync({});
    queue->asyncAfter(1ms, {});
    DispatchQueue::main().sync({});  // would otherwise deadlock on the main thread
    flush(*queue);
    EXPECT_EQ(queue->label(), "velmora.test.empty");
}

}  // namespace
}  // namespace velmora

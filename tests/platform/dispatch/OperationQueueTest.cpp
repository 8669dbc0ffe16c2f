#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/OperationQueue.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(OperationQueueTest, RunsAtMostTheConcurrencyLimitAtOnce) {
    OperationQueue queue("velmora.BgOpQueue", 2, QualityOfService::Background);
    EXPECT_EQ(queue.name(), "velmora.BgOpQueue");
    EXPECT_EQ(queue.maxConcurrentOperationCount(), 2);
    EXPECT_EQ(queue.qualityOfService(), QualityOfService::Background);
    std::atomic<int> running{0};
    std::atomic<int> peak{0};
    std::atomic<int> done{0};
    for (int i = 0; i < 8; ++i) {
        queue.addOperation([&] {
            const int now = ++running;
            int seen = peak.load();
            while (now > seen && !peak.compare_exchange_weak(seen, now)) {
            }
            std::this_thread::sleep_for(10ms);
            --running;
            ++done;
        });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(done.load(), 8);
    EXPECT_EQ(peak.load(), 2);
    EXPECT_EQ(queue.operationCount(), 0u);
}

TEST(OperationQueueTest, ALimitOfOneRunsInOrder) {
    OperationQueue queue("serial", 1);
    std::mutex mutex;
    std::vector<int> order;
    for (int i = 0; i < 20; ++i) {
        queue.addOperation([&, i] {
            std::lock_guard lock(mutex);
            order.push_back(i);
        });
    }
    queue.waitUntilAllOperationsAreFinished();
    std::vector<int> expected(20);
    for (int i = 0; i < 20; ++i) {
        expected[i] = i;
    }
    EXPECT_EQ(order, expected);
}

TEST(OperationQueueTest, SuspendCancelAndDestroy) {
    std::atomic<int> ran{0};
    {
        OperationQueue queue("q", 1);
        queue.setSuspended(true);
        for (int i = 0; i < 5; ++i) {
            queue.addOperation([&] { ++ran; });
        }
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(ran.load(), 0);
        EXPECT_EQ(queue.operationCount(), 5u);
        queue.cancelAllOperations();
        EXPECT_EQ(queue.operationCount(), 0u);
        queue.setSuspended(false);
        queue.addOperation([&] {
            std::this_thread::sleep_for(20ms);
            ++ran;
        });
        queue.addOperation([&] { ran += 100; });
        // Destruction drops what has not started and waits for what runs.
    }
    EXPECT_TRUE(ran.load() == 1 || ran.load() == 101) << ran.load();
}

TEST(OperationQueueTest, OperationsMayAddOperations) {
    OperationQueue queue("nested", 2, QualityOfService::Utility);
    std::atomic<int> ran{0};
    queue.addOperation([&] {
        ++ran;
        queue.addOperation([&] { ++ran; });
    });
    for (int i = 0; i < 100 && ran.load() < 2; ++i) {
        std::this_thread::sleep_for(5ms);
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran.load(), 2);
}

}  // namespace
}  // namespace velmora

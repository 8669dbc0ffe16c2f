// Regression: a listening `velmora wormhole` called into Asio's destroyed error categories
// at exit (UBSan), because its session thread was never joined (the default session lives
// for the process) or was detached (released from its own delegate call). The registry
// now ends every thread one of three ways; each is pinned here.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/messaging/internal/SessionThreads.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

// A thread body that runs until interrupted, as a session's io.run() does.
class Blocker {
  public:
    void run() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return stopped_; });
        returned_ = true;
    }
    void interrupt() {
        {
            std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        changed_.notify_all();
    }
    bool returned() {
        std::lock_guard lock(mutex_);
        return returned_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopped_ = false;
    bool returned_ = false;
};

TEST(SessionThreadsTest, ThreadsEndByTheirOwnerOnTheirOwnThreadAndAtExit) {
    testing::runBoundedInTime([] {
        SessionThreads threads;
        // Joined by its owner from another thread.
        Blocker owned;
        const auto ownedId = threads.start([&] { owned.run(); }, [&] { owned.interrupt(); });
        ASSERT_NE(ownedId, 0u);
        owned.interrupt();
        threads.join(ownedId);
        EXPECT_TRUE(owned.returned());
        EXPECT_EQ(threads.count(), 0u);

        // Released on its own thread, which cannot join itself; joined once it has ended,
        // and not before (joinEnded() leaves a released thread that still runs alone).
        std::atomic<bool> released{false}, finish{false};
        threads.start(
            [&] {
                threads.releaseCurrent();
                released = true;
                while (!finish.load()) {
                    std::this_thread::yield();
                }
            },
            {});
        while (!released.load()) {
            std::this_thread::yield();
        }
        threads.joinEnded();
        EXPECT_EQ(threads.count(), 1u);
        finish = true;
        while (threads.count() != 0) {
            threads.joinEnded();
            std::this_thread::yield();
        }

        // Still running at exit: interrupted and joined; nothing starts afterwards.
        Blocker first, second;
        threads.start([&] { first.run(); }, [&] { first.interrupt(); });
        threads.start([&] { second.run(); }, [&] { second.interrupt(); });
        EXPECT_EQ(threads.count(), 2u);
        threads.closeForExit();
        EXPECT_TRUE(first.returned());
        EXPECT_TRUE(second.returned());
        EXPECT_EQ(threads.count(), 0u);
        EXPECT_EQ(threads.start([] {}, {}), 0u);
    });
}

}  // namespace
}  // namespace velmora

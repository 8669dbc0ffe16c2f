// Pixel buffers and their mirrors: nested locks and when the copies run.
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/imaging/gl/PixelBuffer.h"

namespace velmora {
namespace {

// A mirror whose copy into the buffer waits until the test lets it go.
class HeldMirror : public PixelBuffer::Mirror {
  public:
    bool copyToBuffer(std::uint8_t* bytes, std::size_t) override {
        std::unique_lock lock(mutex_);
        copying_ = true;
        changed_.notify_all();
        changed_.wait_for(lock, std::chrono::seconds(20), [this] { return released_; });
        bytes[0] = 42;
        ++copiesIn;
        return true;
    }
    bool copyFromBuffer(const std::uint8_t*, std::size_t) override {
        ++copiesOut;
        return true;
    }
    bool waitUntilCopying() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [this] { return copying_; });
    }
    void release() {
        std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }
    int copiesIn = 0;
    int copiesOut = 0;

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool copying_ = false;
    bool released_ = false;
};

// Regression: the mirror's read-back ran under the buffer's mutex, so lockCount() on
// another thread waited for a whole glReadPixels.
TEST(PixelBuffer, CopiesRunOutsideTheMutexAndLocksWaitForThem) {
    auto buffer = PixelBuffer::create(4, 4);
    ASSERT_TRUE(buffer);
    HeldMirror mirror;
    buffer->setMirror(&mirror);
    auto locking = std::async(
        std::launch::async, [&] { return buffer->lockBaseAddress(PixelBuffer::Lock::ReadWrite); });
    ASSERT_TRUE(mirror.waitUntilCopying());
    auto counted = std::async(std::launch::async, [&] { return buffer->lockCount(); });
    EXPECT_EQ(counted.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    // A second lock must not see the bytes before the copy has finished.
    auto nested = std::async(std::launch::async, [&] {
        buffer->lockBaseAddress(PixelBuffer::Lock::ReadOnly);
        return static_cast<const std::uint8_t*>(buffer->baseAddress())[0];
    });
    EXPECT_EQ(nested.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    mirror.release();
    ASSERT_EQ(locking.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    ASSERT_EQ(nested.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_TRUE(locking.get());
    EXPECT_EQ(nested.get(), 42);
    EXPECT_EQ(buffer->lockCount(), 2);
    EXPECT_TRUE(buffer->unlockBaseAddress(PixelBuffer::Lock::ReadOnly));
    EXPECT_EQ(mirror.copiesOut, 0);
    EXPECT_TRUE(buffer->unlockBaseAddress(PixelBuffer::Lock::ReadWrite));
    EXPECT_EQ(mirror.copiesIn, 1);   // only the outermost lock copies in
    EXPECT_EQ(mirror.copiesOut, 1);  // the run of locks held a ReadWrite one
    EXPECT_FALSE(buffer->unlockBaseAddress(PixelBuffer::Lock::ReadOnly));
    buffer->setMirror(nullptr);
}

}  // namespace
}  // namespace velmora

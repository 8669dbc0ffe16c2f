#pragma once
// SerialDispatchQueue: the queue made by DispatchQueue::createSerial. Blocks run one at a
// time in submission order on a WorkerPool's threads. Internal to the platform layer.
//
// The queue is "active" from the moment a block is submitted to an idle queue until its
// list is empty again; while active exactly one party drains it: a drain job on the
// pool, or a sync caller. A sync caller queues a marker and waits; when the drain
// reaches the marker it hands the queue to the caller and leaves the pool thread, the
// caller runs its block on its own thread and then resumes draining on the pool. So
// order holds across async and sync, and no pool thread waits for a sync caller.

#include <deque>
#include <future>
#include <memory>
#include <mutex>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/dispatch/internal/WorkerPool.h"

namespace velmora {

class SerialDispatchQueue final : public DispatchQueue,
                                  public std::enable_shared_from_this<SerialDispatchQueue> {
  public:
    SerialDispatchQueue(std::string label, WorkerPool& pool);
    bool isSerial() const override { return true; }

  private:
    // A queued block, or (with no block) the place of a waiting sync caller.
    struct Item {
        Block block;
        std::shared_ptr<std::promise<void>> handOff;
    };

    void enqueue(Block block) override;
    void runSync(const Block& block) override;
    void enqueueAfter(std::chrono::nanoseconds delay, Block block) override;

    void scheduleDrain();
    void drain();
    // After a sync caller's block: give the queue back to the pool, or go idle.
    void resume();

    struct ResumeOnExit {
        SerialDispatchQueue& queue;
        ~ResumeOnExit() { queue.resume(); }
    };

    WorkerPool& pool_;
    std::mutex mutex_;  // guards items_ and active_
    std::deque<Item> items_;
    bool active_ = false;
};

}  // namespace velmora

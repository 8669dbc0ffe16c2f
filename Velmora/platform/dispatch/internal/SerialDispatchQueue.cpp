#include "Velmora/platform/dispatch/internal/SerialDispatchQueue.h"

#include <cassert>

namespace velmora {
namespace {

// Blocks one drain job runs before it yields its pool thread to other queues.
constexpr int kDrainBatch = 16;

}  // namespace

SerialDispatchQueue::SerialDispatchQueue(std::string label, WorkerPool& pool)
    : DispatchQueue(std::move(label)), pool_(pool) {}

void SerialDispatchQueue::enqueue(Block block) {
    bool wasIdle = false;
    {
        std::lock_guard lock(mutex_);
        items_.push_back({std::move(block), nullptr});
        wasIdle = !active_;
        active_ = true;
    }
    if (wasIdle) {
        scheduleDrain();
    }
}

void SerialDispatchQueue::runSync(const Block& block) {
    if (isRunningOnThisThread()) {
        // A broken contract (it deadlocks on the platform). Release builds run the block as
        // a nested call, leaving the queue to the drain already running it.
        assert(false && "sync onto the serial queue you are running on deadlocks");
        RunningScope scope(this);
        block();
        return;
    }
    std::shared_ptr<std::promise<void>> handOff;
    {
        std::lock_guard lock(mutex_);
        if (!active_) {
            active_ = true;
        } else {
            handOff = std::make_shared<std::promise<void>>();
            items_.push_back({nullptr, handOff});
        }
    }
    if (handOff) {
        handOff->get_future().wait();
    }
    // The queue is ours until resume(): give it back even when the block throws.
    const ResumeOnExit handBack{*this};
    RunningScope scope(this);
    block();
}

void SerialDispatchQueue::enqueueAfter(std::chrono::nanoseconds delay, Block block) {
    pool_.postAfter(delay, [self = shared_from_this(), block = std::move(block)]() mutable {
        self->enqueue(std::move(block));
    });
}

void SerialDispatchQueue::scheduleDrain() {
    pool_.post([self = shared_from_this()] { self->drain(); });
}

void SerialDispatchQueue::drain() {
    for (int i = 0; i < kDrainBatch; ++i) {
        Item item;
        {
            std::lock_guard lock(mutex_);
            if (items_.empty()) {
                active_ = false;
                return;
            }
            item = std::move(items_.front());
            items_.pop_front();
        }
        if (item.handOff) {
            item.handOff->set_value();  // the sync caller now owns the queue
            return;
        }
        runAsync(item.block);
    }
    scheduleDrain();
}

void SerialDispatchQueue::resume() {
    bool more = false;
    {
        std::lock_guard lock(mutex_);
        more = !items_.empty();
        active_ = more;
    }
    if (more) {
        scheduleDrain();
    }
}

}  // namespace velmora

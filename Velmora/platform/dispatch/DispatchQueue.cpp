#include "Velmora/platform/dispatch/DispatchQueue.h"

#include <algorithm>
#include <cassert>
#include <future>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/dispatch/internal/SerialDispatchQueue.h"
#include "Velmora/platform/dispatch/internal/WorkerPool.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/BlockExceptions.h"

namespace velmora {
namespace {

// The queues whose blocks are running on this thread, innermost last: a block may sync
// onto another queue, which then runs on the same thread.
thread_local std::vector<const DispatchQueue*> tRunningQueues;

double toSeconds(std::chrono::nanoseconds delay) {
    return std::chrono::duration<double>(delay).count();
}

}  // namespace

// The main queue: blocks go to the main run loop, so they run on the main thread only.
class MainDispatchQueue final : public DispatchQueue {
  public:
    MainDispatchQueue() : DispatchQueue("velmora.main-thread") {}
    bool isSerial() const override { return true; }

  private:
    void enqueue(Block block) override {
        RunLoop::main().post([this, block = std::move(block)] { runAsync(block); });
    }

    void runSync(const Block& block) override {
        if (RunLoop::isMainThread()) {
            assert(false && "sync onto the main queue from the main thread deadlocks");
            RunningScope scope(this);
            block();
            return;
        }
        // The exception of a throwing block travels to the waiting caller through the
        // promise, so the caller returns either way and the main loop carries on.
        std::promise<void> done;
        RunLoop::main().post([this, &block, &done] {
            try {
                RunningScope scope(this);
                block();
            } catch (...) {
                done.set_exception(std::current_exception());
                return;
            }
            done.set_value();
        });
        done.get_future().get();
    }

    void enqueueAfter(std::chrono::nanoseconds delay, Block block) override {
        RunLoop::main().postAfter(toSeconds(delay),
                                  [this, block = std::move(block)] { runAsync(block); });
    }
};

// A global queue: blocks run concurrently on a worker pool; sync runs on the caller.
class ConcurrentDispatchQueue final : public DispatchQueue {
  public:
    ConcurrentDispatchQueue(std::string label, WorkerPool& pool)
        : DispatchQueue(std::move(label)), pool_(pool) {}
    bool isSerial() const override { return false; }

  private:
    void enqueue(Block block) override {
        pool_.post([this, block = std::move(block)] { runAsync(block); });
    }

    void runSync(const Block& block) override {
        RunningScope scope(this);
        block();
    }

    void enqueueAfter(std::chrono::nanoseconds delay, Block block) override {
        pool_.postAfter(delay, [this, block = std::move(block)] { runAsync(block); });
    }

    WorkerPool& pool_;
};

DispatchQueue::DispatchQueue(std::string label) : label_(std::move(label)) {}

DispatchQueue::~DispatchQueue() = default;

DispatchQueue& DispatchQueue::main() {
    static NoDestructor<MainDispatchQueue> queue;
    return *queue;
}

DispatchQueue& DispatchQueue::global(Priority priority) {
    switch (priority) {
        case Priority::Background: {
            static NoDestructor<ConcurrentDispatchQueue> queue(
                "velmora.global.background", WorkerPool::shared(Priority::Background));
            return *queue;
        }
        case Priority::High: {
            static NoDestructor<ConcurrentDispatchQueue> queue("velmora.global.high",
                                                               WorkerPool::shared(Priority::High));
            return *queue;
        }
        case Priority::Default:
            break;
    }
    static NoDestructor<ConcurrentDispatchQueue> queue("velmora.global.default",
                                                       WorkerPool::shared(Priority::Default));
    return *queue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::createSerial(std::string label, Priority priority) {
    return std::make_shared<SerialDispatchQueue>(std::move(label), WorkerPool::shared(priority));
}

DispatchQueue* DispatchQueue::current() {
    if (!tRunningQueues.empty()) {
        return const_cast<DispatchQueue*>(tRunningQueues.back());
    }
    return RunLoop::isMainThread() ? &main() : nullptr;
}

const void* DispatchQueue::currentSpecific(const void* key) {
    const DispatchQueue* queue = current();
    return queue ? queue->getSpecific(key) : nullptr;
}

void DispatchQueue::async(Block block) {
    if (block) {
        enqueue(std::move(block));
    }
}

void DispatchQueue::sync(const Block& block) {
    if (block) {
        runSync(block);
    }
}

void DispatchQueue::asyncAfter(std::chrono::nanoseconds delay, Block block) {
    if (!block) {
        return;
    }
    if (delay.count() <= 0) {
        enqueue(std::move(block));
    } else {
        enqueueAfter(delay, std::move(block));
    }
}

void DispatchQueue::setSpecific(const void* key, const void* value) {
    std::lock_guard lock(specificsMutex_);
    auto it = std::find_if(specifics_.begin(), specifics_.end(),
                           [key](const auto& entry) { return entry.first == key; });
    if (value == nullptr) {
        if (it != specifics_.end()) {
            specifics_.erase(it);
        }
    } else if (it != specifics_.end()) {
        it->second = value;
    } else {
        specifics_.emplace_back(key, value);
    }
}

const void* DispatchQueue::getSpecific(const void* key) const {
    std::lock_guard lock(specificsMutex_);
    for (const auto& [k, v] : specifics_) {
        if (k == key) {
            return v;
        }
    }
    return nullptr;
}

DispatchQueue::RunningScope::RunningScope(DispatchQueue* queue) {
    tRunningQueues.push_back(queue);
}

DispatchQueue::RunningScope::~RunningScope() {
    tRunningQueues.pop_back();
}

void DispatchQueue::runAsync(const Block& block) {
    RunningScope scope(this);
    try {
        block();
    } catch (...) {
        reportBlockException(label_);
    }
}

bool DispatchQueue::isRunningOnThisThread() const {
    return std::find(tRunningQueues.begin(), tRunningQueues.end(), this) != tRunningQueues.end();
}

}  // namespace velmora

#include "Velmora/platform/dispatch/OperationQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/logging/BlockExceptions.h"

namespace velmora {
namespace {

DispatchQueue::Priority priorityFor(QualityOfService quality) {
    switch (quality) {
        case QualityOfService::UserInteractive:
        case QualityOfService::UserInitiated:
            return DispatchQueue::Priority::High;
        case QualityOfService::Default:
            return DispatchQueue::Priority::Default;
        case QualityOfService::Utility:
        case QualityOfService::Background:
            return DispatchQueue::Priority::Background;
    }
    return DispatchQueue::Priority::Default;
}

}  // namespace

// Shared by the queue and its running operations; a finished operation starts the next.
struct OperationQueue::State : std::enable_shared_from_this<State> {
    mutable std::mutex mutex;  // guards every field below
    std::condition_variable idle;
    std::string name;
    int maxConcurrent = kDefaultMaxConcurrentOperationCount;
    QualityOfService quality = QualityOfService::Default;
    std::deque<Block> pending;
    std::size_t running = 0;
    bool suspended = false;

    // REQUIRES: mutex held by lock. Starts as many pending operations as allowed.
    void startOperations(std::unique_lock<std::mutex>& lock) {
        std::vector<Block> starting;
        while (!suspended && !pending.empty() &&
               (maxConcurrent < 0 || running < static_cast<std::size_t>(maxConcurrent))) {
            starting.push_back(std::move(pending.front()));
            pending.pop_front();
            ++running;
        }
        const auto priority = priorityFor(quality);
        lock.unlock();
        for (auto& block : starting) {
            DispatchQueue::global(priority).async(
                [self = shared_from_this(), block = std::move(block)]() mutable {
                    // Nobody waits for an operation's result, so its exception is
                    // reported, and the operation still counts as finished.
                    runReportingExceptions("an operation queue", block);
                    block = nullptr;  // release what it holds before counting it finished
                    self->finished();
                });
        }
        lock.lock();
    }

    void finished() {
        std::unique_lock lock(mutex);
        --running;
        startOperations(lock);
        if (running == 0) {
            idle.notify_all();
        }
    }
};

OperationQueue::OperationQueue(std::string name, int maxConcurrentOperationCount,
                               QualityOfService qualityOfService)
    : state_(std::make_shared<State>()) {
    state_->name = std::move(name);
    state_->maxConcurrent = maxConcurrentOperationCount == 0 ? 1 : maxConcurrentOperationCount;
    state_->quality = qualityOfService;
}

OperationQueue::~OperationQueue() {
    cancelAllOperations();
    waitUntilAllOperationsAreFinished();
}

std::string OperationQueue::name() const {
    std::lock_guard lock(state_->mutex);
    return state_->name;
}

void OperationQueue::setName(std::string name) {
    std::lock_guard lock(state_->mutex);
    state_->name = std::move(name);
}

int OperationQueue::maxConcurrentOperationCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->maxConcurrent;
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
    std::unique_lock lock(state_->mutex);
    state_->maxConcurrent = count == 0 ? 1 : count;
    state_->startOperations(lock);
}

QualityOfService OperationQueue::qualityOfService() const {
    std::lock_guard lock(state_->mutex);
    return state_->quality;
}

void OperationQueue::setQualityOfService(QualityOfService qualityOfService) {
    std::lock_guard lock(state_->mutex);
    state_->quality = qualityOfService;
}

void OperationQueue::addOperation(Block block) {
    if (!block) {
        return;
    }
    std::unique_lock lock(state_->mutex);
    state_->pending.push_back(std::move(block));
    state_->startOperations(lock);
}

std::size_t OperationQueue::operationCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->pending.size() + state_->running;
}

void OperationQueue::setSuspended(bool suspended) {
    std::unique_lock lock(state_->mutex);
    state_->suspended = suspended;
    state_->startOperations(lock);
    state_->idle.notify_all();
}

bool OperationQueue::isSuspended() const {
    std::lock_guard lock(state_->mutex);
    return state_->suspended;
}

void OperationQueue::cancelAllOperations() {
    std::deque<Block> dropped;  // destroyed outside the lock
    std::lock_guard lock(state_->mutex);
    dropped.swap(state_->pending);
    if (state_->running == 0) {
        state_->idle.notify_all();
    }
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    std::unique_lock lock(state_->mutex);
    state_->idle.wait(lock, [this] {
        return state_->running == 0 && (state_->pending.empty() || state_->suspended);
    });
}

}  // namespace velmora

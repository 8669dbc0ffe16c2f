#pragma once
// OperationQueue: runs blocks (operations) in the background, at most
// maxConcurrentOperationCount at a time, in the order they were added, on the dispatch
// worker pool that matches its quality of service. With a limit of 1 it is serial.
//
// The queue's operations hold its state, not the queue object: destroying the queue
// drops operations that have not started and waits for the running ones, so nothing the
// queue's owner destroyed next is touched by them.
//
// An operation that throws is logged at error level with its what() and counts as
// finished; the queue starts the next one.
//
// Thread safety: every operation may be used from any thread, also from inside an
// operation (except waitUntilAllOperationsAreFinished and the destructor, which would
// wait for themselves).
//
//   OperationQueue queue("velmora.BgOpQueue", 2, QualityOfService::Background);
//   queue.addOperation([] { compactStore(); });
//   queue.waitUntilAllOperationsAreFinished();

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace velmora {

enum class QualityOfService { UserInteractive, UserInitiated, Default, Utility, Background };

class OperationQueue {
  public:
    using Block = std::function<void()>;
    // No limit beyond the worker pool's threads.
    static constexpr int kDefaultMaxConcurrentOperationCount = -1;

    explicit OperationQueue(std::string name = {},
                            int maxConcurrentOperationCount = kDefaultMaxConcurrentOperationCount,
                            QualityOfService qualityOfService = QualityOfService::Default);
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    std::string name() const;
    void setName(std::string name);
    int maxConcurrentOperationCount() const;
    // 0 is taken as 1; a negative count means no limit.
    void setMaxConcurrentOperationCount(int count);
    QualityOfService qualityOfService() const;
    // Applies to operations started afterwards.
    void setQualityOfService(QualityOfService qualityOfService);

    void addOperation(Block block);
    // Operations added and not yet finished (running or waiting).
    std::size_t operationCount() const;
    // A suspended queue starts no new operations; running ones finish.
    void setSuspended(bool suspended);
    bool isSuspended() const;
    // Drops the operations that have not started.
    void cancelAllOperations();
    // REQUIRES: not called from one of this queue's operations.
    void waitUntilAllOperationsAreFinished();

    struct State;

  private:
    std::shared_ptr<State> state_;
};

}  // namespace velmora

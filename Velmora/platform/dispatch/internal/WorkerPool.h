#pragma once
// WorkerPool: a fixed set of named worker threads running one Asio context; the engine
// under the global and serial dispatch queues. Its threads live for the process.
//
// A block that throws is reported through the logging and its thread carries on.
//
// Thread-safe.
//
//   WorkerPool& pool = WorkerPool::shared(DispatchQueue::Priority::Background);
//   pool.post([] { compact(); });

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Velmora/platform/dispatch/DispatchQueue.h"

namespace asio {
class io_context;
}

namespace velmora {

class WorkerPool {
  public:
    using Block = std::function<void()>;

    // Threads named "<name>-<n>"; a positive niceness lowers their scheduling priority.
    WorkerPool(std::string name, unsigned threadCount, int niceness);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // The process-wide pool serving queues of a priority. High and Default share one.
    static WorkerPool& shared(DispatchQueue::Priority priority);

    void post(Block block);
    void postAfter(std::chrono::nanoseconds delay, Block block);
    unsigned threadCount() const { return static_cast<unsigned>(threads_.size()); }

  private:
    struct Context;
    std::unique_ptr<Context> context_;
    std::vector<std::thread> threads_;
};

}  // namespace velmora

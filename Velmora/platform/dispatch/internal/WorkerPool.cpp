#include "Velmora/platform/dispatch/internal/WorkerPool.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <fmt/format.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/BlockExceptions.h"

namespace velmora {

struct WorkerPool::Context {
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> keepAlive{io.get_executor()};
};

WorkerPool::WorkerPool(std::string name, unsigned threadCount, int niceness)
    : context_(std::make_unique<Context>()) {
    threads_.reserve(threadCount);
    for (unsigned i = 0; i < threadCount; ++i) {
        threads_.emplace_back([this, threadName = fmt::format("{}-{}", name, i + 1), niceness] {
            // Linux names are limited to 15 characters.
            pthread_setname_np(pthread_self(), threadName.substr(0, 15).c_str());
            if (niceness > 0) {
                // Per-thread on Linux; failure only leaves the thread at normal priority.
                (void)setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), niceness);
            }
            // run() returns early when a handler throws; the thread reports it and goes
            // back to work, so a throwing block never costs the pool a thread.
            for (;;) {
                try {
                    context_->io.run();
                    return;
                } catch (...) {
                    reportBlockException("a worker pool thread");
                }
            }
        });
    }
}

WorkerPool::~WorkerPool() {
    context_->keepAlive.reset();
    context_->io.stop();
    for (auto& thread : threads_) {
        thread.join();
    }
}

WorkerPool& WorkerPool::shared(DispatchQueue::Priority priority) {
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    // Blocks may wait (a sync onto the main queue, a file read), so the pools hold more
    // threads than a machine with two cores has, to keep such waits from starving them.
    if (priority == DispatchQueue::Priority::Background) {
        static NoDestructor<WorkerPool> background("velmora-bg", std::max(2u, cores / 2), 10);
        return *background;
    }
    static NoDestructor<WorkerPool> normal("velmora-work", std::max(4u, cores), 0);
    return *normal;
}

void WorkerPool::post(Block block) {
    asio::post(context_->io, std::move(block));
}

void WorkerPool::postAfter(std::chrono::nanoseconds delay, Block block) {
    auto timer = std::make_shared<asio::steady_timer>(
        context_->io, std::chrono::duration_cast<asio::steady_timer::duration>(delay));
    timer->async_wait([timer, block = std::move(block)](const std::error_code& error) {
        if (!error) {
            block();
        }
    });
}

}  // namespace velmora

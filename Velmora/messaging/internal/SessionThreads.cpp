#include "Velmora/messaging/internal/SessionThreads.h"

#include <asio/error.hpp>
#include <atomic>
#include <vector>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/BlockExceptions.h"

namespace velmora {
namespace {

// Joins every session thread when the process exits. Built on the first start(), after
// the Asio statics a session thread uses, so that exit() runs it before destroying them
// (static objects are destroyed in the reverse order of their construction).
struct ExitHook {
    ExitHook() {
        static_cast<void>(asio::error::get_misc_category());
        static_cast<void>(asio::error::get_netdb_category());
        static_cast<void>(asio::error::get_addrinfo_category());
        static_cast<void>(asio::system_category());
    }
    ~ExitHook() { SessionThreads::shared().closeForExit(); }
    ExitHook(const ExitHook&) = delete;
    ExitHook& operator=(const ExitHook&) = delete;
};

}  // namespace

struct SessionThreads::Entry {
    Id id = 0;
    std::thread thread;
    std::thread::id threadId;
    Block interrupt;
    std::atomic<bool> ended{false};
    bool released = false;  // guarded by the registry's mutex
    std::once_flag joined;  // the exit hook and an owner may join at once

    void join() {
        std::call_once(joined, [this] {
            if (thread.joinable()) {
                thread.join();
            }
        });
    }
};

SessionThreads& SessionThreads::shared() {
    static NoDestructor<SessionThreads> threads;
    return *threads;
}

SessionThreads::Id SessionThreads::start(Block body, Block interrupt) {
    static ExitHook hook;
    Id id = 0;
    {
        std::lock_guard lock(mutex_);
        if (!closed_) {
            auto entry = std::make_shared<Entry>();
            entry->id = id = nextId_++;
            entry->interrupt = std::move(interrupt);
            // The entry stays in the table until its thread is joined, so the flag
            // outlives the thread's body.
            entry->thread = std::thread([body = std::move(body), ended = &entry->ended] {
                runReportingExceptions("a companion session thread", body);
                ended->store(true);
            });
            entry->threadId = entry->thread.get_id();
            entries_.push_back(std::move(entry));
        }
    }
    joinEnded();
    return id;
}

void SessionThreads::join(Id id) {
    std::shared_ptr<Entry> target;
    {
        std::lock_guard lock(mutex_);
        for (auto it = entries_.begin(); it != entries_.end(); ++it) {
            if ((*it)->id == id) {
                target = *it;
                entries_.erase(it);
                break;
            }
        }
    }
    if (target) {
        target->join();
    }
    joinEnded();
}

void SessionThreads::releaseCurrent() {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
        if (entry->threadId == std::this_thread::get_id()) {
            entry->released = true;
        }
    }
}

void SessionThreads::closeForExit() {
    std::list<std::shared_ptr<Entry>> all;
    std::vector<Block> interrupts;
    {
        std::lock_guard lock(mutex_);
        closed_ = true;
        // Copied, not taken: an owner joining one of these meanwhile still finds it and
        // waits for the same join.
        all = entries_;
        for (const auto& entry : entries_) {
            if (!entry->released && entry->interrupt) {
                interrupts.push_back(entry->interrupt);
            }
        }
    }
    for (const auto& interrupt : interrupts) {
        runReportingExceptions("a companion session's interruption", interrupt);
    }
    for (const auto& entry : all) {
        if (entry->threadId == std::this_thread::get_id()) {
            // exit() was called on this session's own thread, which cannot join itself;
            // that thread is busy exiting, so it runs nothing of the session's any more.
            std::call_once(entry->joined, [&] { entry->thread.detach(); });
        } else {
            entry->join();
        }
    }
    std::lock_guard lock(mutex_);
    entries_.clear();
}

void SessionThreads::joinEnded() {
    std::list<std::shared_ptr<Entry>> ended;
    {
        std::lock_guard lock(mutex_);
        for (auto it = entries_.begin(); it != entries_.end();) {
            const auto next = std::next(it);
            if ((*it)->released && (*it)->ended.load()) {
                ended.splice(ended.end(), entries_, it);
            }
            it = next;
        }
    }
    for (const auto& entry : ended) {
        entry->join();
    }
}

std::size_t SessionThreads::count() const {
    std::lock_guard lock(mutex_);
    return entries_.size();
}

}  // namespace velmora

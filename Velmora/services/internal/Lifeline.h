#pragma once
// Lifeline: how work queued on other threads reaches an object only while it lives. The
// object owns a shared_ptr<Lifeline>; queued blocks hold a weak_ptr and call in through
// ifAlive. close(), called first thing in the object's destructor, stops new calls and
// waits for calls in progress on other threads, so no callback runs during or after the
// destruction. A call in progress on the closing thread itself (the destructor reached
// from inside a callback) is not waited for.
//
// A callback must not wait for the thread that may be closing the lifeline (a sync onto
// the main queue while the object can be destroyed on the main thread): close() would
// wait for it in turn. Hop with an async dispatch instead.
//
// Thread-safe.
//
//   std::weak_ptr<Lifeline<Cache>> weak = lifeline_;
//   queue->async([weak] { Lifeline<Cache>::ifAlive(weak, [](Cache& c) { c.refresh(); }); });
//   ~Cache() { lifeline_->close(); }

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora {

template <class T>
class Lifeline {
  public:
    explicit Lifeline(T& target) : target_(&target) {}
    Lifeline(const Lifeline&) = delete;
    Lifeline& operator=(const Lifeline&) = delete;

    // Runs call(target) unless the lifeline is closed or gone; answers whether it ran.
    template <class F>
    static bool ifAlive(const std::weak_ptr<Lifeline>& weak, F&& call) {
        const std::shared_ptr<Lifeline> line = weak.lock();
        if (!line) {
            return false;
        }
        T* target = line->enter();
        if (target == nullptr) {
            return false;
        }
        const Leave leave{*line};
        std::forward<F>(call)(*target);
        return true;
    }

    // After close() returns no call runs on another thread and none starts.
    void close() {
        std::unique_lock lock(mutex_);
        target_ = nullptr;
        const auto self = std::this_thread::get_id();
        idle_.wait(lock, [&] {
            return std::all_of(callers_.begin(), callers_.end(),
                               [&](std::thread::id caller) { return caller == self; });
        });
    }

  private:
    T* enter() {
        std::lock_guard lock(mutex_);
        if (target_ != nullptr) {
            callers_.push_back(std::this_thread::get_id());
        }
        return target_;
    }

    struct Leave {
        Lifeline& line;
        ~Leave() {
            {
                std::lock_guard lock(line.mutex_);
                auto& callers = line.callers_;
                callers.erase(
                    std::find(callers.begin(), callers.end(), std::this_thread::get_id()));
            }
            line.idle_.notify_all();
        }
    };

    std::mutex mutex_;  // guards target_ and callers_
    std::condition_variable idle_;
    T* target_;
    std::vector<std::thread::id> callers_;  // one entry per call in progress
};

}  // namespace velmora

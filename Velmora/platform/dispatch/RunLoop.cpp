#include "Velmora/platform/dispatch/RunLoop.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <cassert>
#include <chrono>
#include <cmath>
#include <deque>
#include <limits>
#include <map>
#include <mutex>

#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/BlockExceptions.h"

namespace velmora {

struct RunLoop::Timer::State {
    double deadline = 0;  // on Clock::uptime()
    double tolerance = 0;
    std::vector<std::string> modes;
    Block block;  // released once run, so captures do not outlive the timer's purpose
    std::atomic<bool> cancelled{false};
    std::atomic<bool> fired{false};
};

namespace {

constexpr double kForever = std::numeric_limits<double>::infinity();

// The calling thread's ids, asked of the kernel once per thread: isMainThread is on the
// path of every main-queue check, and gettid and getpid are system calls. A forked child's
// one thread has new ids (the process's is its thread's), so the child forgets the copies;
// no other thread of the parent exists in the child to hold stale ones.
struct CachedIds {
    pid_t thread = 0;
    pid_t process = 0;
};
thread_local CachedIds tIds;

const CachedIds& currentIds() {
    [[maybe_unused]] static const int kForgetInChild =
        pthread_atfork(nullptr, nullptr, [] { tIds = CachedIds{}; });
    if (tIds.thread == 0) {
        tIds = CachedIds{gettid(), getpid()};
    }
    return tIds;
}

pid_t currentThreadId() {
    return currentIds().thread;
}

struct Perform {
    const void* target = nullptr;
    std::int64_t order = 0;
    std::uint64_t sequence = 0;
    std::vector<std::string> modes;
    RunLoop::Block block;
    bool cancelled = false;  // guarded by the loop's mutex
};

}  // namespace

struct RunLoop::Impl {
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> keepAlive{io.get_executor()};

    mutable std::mutex mutex;  // guards everything below
    std::deque<Block> posted;
    std::multimap<double, std::shared_ptr<Timer::State>> timers;  // by deadline
    std::vector<std::shared_ptr<Perform>> performs;
    std::vector<std::shared_ptr<Perform>> performsInFlight;  // the batch of the running pass
    std::uint64_t performSequence = 0;
    std::vector<std::string> commonModes{std::string(kDefaultMode)};
    std::vector<std::string> modeStack;  // modes of the nested passes in progress

    std::atomic<bool> wakePending{false};
    std::atomic<std::size_t> wakeHandlersRun{0};
    std::atomic<bool> stopRequested{false};
    std::atomic<pid_t> ownerThread{0};

    // Whether an item registered for itemModes runs in a pass of mode.
    bool runsIn(const std::vector<std::string>& itemModes, std::string_view mode) const {
        for (const auto& m : itemModes) {
            if (m == mode) {
                return true;
            }
            if (m == kCommonModes &&
                std::find(commonModes.begin(), commonModes.end(), mode) != commonModes.end()) {
                return true;
            }
        }
        return false;
    }

    bool isCommon(std::string_view mode) const {
        return std::find(commonModes.begin(), commonModes.end(), mode) != commonModes.end();
    }

    void wake() {
        if (!wakePending.exchange(true)) {
            asio::post(io, [this] {
                wakePending.store(false);
                wakeHandlersRun.fetch_add(1);
            });
        }
    }

    // Seconds until the loop must wake for a timer of this mode: its deadline plus its
    // tolerance, the latest moment it may still fire.
    double secondsUntilNextTimer(std::string_view mode) const {
        if (Clock::isPinned()) {
            return kForever;  // pinned time does not pass while we wait
        }
        const double now = Clock::uptime();
        double earliest = kForever;
        for (const auto& [deadline, timer] : timers) {
            if (deadline >= earliest) {
                break;
            }
            if (!timer->cancelled.load() && runsIn(timer->modes, mode)) {
                earliest = std::min(earliest, deadline + timer->tolerance);
            }
        }
        return std::max(0.0, earliest - now);
    }

    bool hasReadyWork(std::string_view mode) const {
        if (!posted.empty() && isCommon(mode)) {
            return true;
        }
        const double now = Clock::uptime();
        for (const auto& [deadline, timer] : timers) {
            if (deadline > now) {
                break;
            }
            if (!timer->cancelled.load() && runsIn(timer->modes, mode)) {
                return true;
            }
        }
        return std::any_of(performs.begin(), performs.end(),
                           [&](const auto& p) { return runsIn(p->modes, mode); });
    }

    // Records the mode of a pass for currentMode() and binds the loop to its thread.
    class PassScope {
      public:
        PassScope(Impl& impl, std::string_view mode) : impl_(impl) {
            impl_.ownerThread.store(currentThreadId());
            std::lock_guard lock(impl_.mutex);
            impl_.modeStack.emplace_back(mode);
        }
        ~PassScope() {
            std::lock_guard lock(impl_.mutex);
            impl_.modeStack.pop_back();
        }
        PassScope(const PassScope&) = delete;
        PassScope& operator=(const PassScope&) = delete;

      private:
        Impl& impl_;
    };

    // Runs ready handlers of io, first waiting up to wait seconds for one; answers
    // whether a handler other than the loop's own wake-up ran.
    bool runIoHandlers(double wait) {
        std::size_t handled = 0;
        // A throwing handler leaves the context usable: it is reported and counted, and
        // the context is polled again for the handlers behind it.
        const auto guarded = [&](const auto& run) {
            try {
                handled += run();
                return true;
            } catch (...) {
                ++handled;
                reportBlockException("a run loop I/O handler");
                return false;
            }
        };
        if (wait > 0) {
            using namespace std::chrono;
            // Cap a forever-wait at a day: a pass of run() then starts over, harmlessly.
            const auto span =
                duration_cast<steady_clock::duration>(duration<double>(std::min(wait, 86400.0)));
            guarded([&] { return io.run_one_for(span); });
        }
        while (!guarded([&] { return io.poll(); })) {
        }
        return handled > wakeHandlersRun.exchange(0);
    }

    bool fireDueTimers(std::string_view mode) {
        std::vector<std::shared_ptr<Timer::State>> due;
        {
            std::lock_guard lock(mutex);
            const double now = Clock::uptime();
            for (auto it = timers.begin(); it != timers.end() && it->first <= now;) {
                if (it->second->cancelled.load()) {
                    it = timers.erase(it);
                } else if (runsIn(it->second->modes, mode)) {
                    due.push_back(std::move(it->second));
                    it = timers.erase(it);
                } else {
                    ++it;
                }
            }
        }
        bool ran = false;
        for (const auto& timer : due) {
            if (timer->cancelled.load()) {
                continue;
            }
            timer->fired.store(true);
            Block block = std::move(timer->block);
            runReportingExceptions("a run loop timer", block);
            ran = true;
        }
        return ran;
    }

    bool runPostedBlocks(std::string_view mode) {
        std::deque<Block> batch;
        {
            std::lock_guard lock(mutex);
            if (!isCommon(mode)) {
                return false;
            }
            batch.swap(posted);
        }
        for (auto& block : batch) {
            runReportingExceptions("a block posted to a run loop", block);
        }
        return !batch.empty();
    }

    bool runEndOfPassPerforms(std::string_view mode) {
        std::vector<std::shared_ptr<Perform>> batch;
        {
            std::lock_guard lock(mutex);
            auto split =
                std::stable_partition(performs.begin(), performs.end(),
                                      [&](const auto& p) { return !runsIn(p->modes, mode); });
            batch.assign(std::make_move_iterator(split), std::make_move_iterator(performs.end()));
            performs.erase(split, performs.end());
            std::sort(batch.begin(), batch.end(), [](const auto& a, const auto& b) {
                return a->order != b->order ? a->order < b->order : a->sequence < b->sequence;
            });
            performsInFlight = batch;
        }
        const InFlightClear clear{*this};
        bool ran = false;
        for (const auto& perform : batch) {
            Block block;
            {
                // A perform may cancel a later one of the same batch (an undo manager
                // that resets itself cancels its own deferred close).
                std::lock_guard lock(mutex);
                if (perform->cancelled) {
                    continue;
                }
                block = std::move(perform->block);
            }
            runReportingExceptions("a run loop end-of-pass perform", block);
            ran = true;
        }
        return ran;
    }

    // Forgets the batch of performs in flight when the pass's perform stage ends, however
    // it ends, so that a later cancel does not mark performs that already ran.
    struct InFlightClear {
        Impl& impl;
        ~InFlightClear() {
            std::lock_guard lock(impl.mutex);
            impl.performsInFlight.clear();
        }
    };
};

RunLoop::Timer::Timer(std::shared_ptr<State> state) : state_(std::move(state)) {}

RunLoop::Timer::Timer(Timer&& other) noexcept : state_(std::move(other.state_)) {}

RunLoop::Timer& RunLoop::Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        invalidate();
        state_ = std::move(other.state_);
    }
    return *this;
}

RunLoop::Timer::~Timer() {
    invalidate();
}

void RunLoop::Timer::invalidate() {
    if (state_) {
        state_->cancelled.store(true);
        state_.reset();
    }
}

bool RunLoop::Timer::isValid() const {
    return state_ && !state_->cancelled.load() && !state_->fired.load();
}

double RunLoop::Timer::tolerance() const {
    return state_ ? state_->tolerance : 0.0;
}

RunLoop& RunLoop::main() {
    static NoDestructor<RunLoop> loop;
    return *loop;
}

RunLoop& RunLoop::current() {
    if (isMainThread()) {
        return main();
    }
    thread_local RunLoop loop;
    return loop;
}

bool RunLoop::isMainThread() {
    const pid_t owner = main().impl_->ownerThread.load();
    // Until the main loop first runs, the main thread is the process's first thread,
    // whose thread id is the process id.
    const CachedIds& ids = currentIds();
    return ids.thread == (owner != 0 ? owner : ids.process);
}

RunLoop::RunLoop() : impl_(std::make_unique<Impl>()) {}

RunLoop::~RunLoop() = default;

void RunLoop::run() {
    impl_->stopRequested.store(false);
    while (!impl_->stopRequested.load()) {
        runOnePass(kDefaultMode, kForever);
    }
    impl_->stopRequested.store(false);
}

void RunLoop::runUntil(Date limit, std::string_view mode) {
    using namespace std::chrono;
    const double budget = limit.timeIntervalSinceDate(Clock::now());
    const auto end = steady_clock::now() +
                     duration_cast<steady_clock::duration>(duration<double>(std::max(0.0, budget)));
    impl_->stopRequested.store(false);
    while (!impl_->stopRequested.load()) {
        const double left = duration<double>(end - steady_clock::now()).count();
        if (left <= 0) {
            break;
        }
        runOnePass(mode, left);
    }
    impl_->stopRequested.store(false);
}

bool RunLoop::runOnePass(std::string_view mode, double waitSeconds) {
    Impl& impl = *impl_;
    Impl::PassScope scope(impl, mode);
    double wait = 0;
    if (waitSeconds > 0) {
        std::lock_guard lock(impl.mutex);
        if (!impl.hasReadyWork(mode)) {
            wait = std::min(waitSeconds, impl.secondsUntilNextTimer(mode));
        }
    }
    bool ran = impl.runIoHandlers(wait);
    ran |= impl.fireDueTimers(mode);
    ran |= impl.runPostedBlocks(mode);
    ran |= impl.runEndOfPassPerforms(mode);
    return ran;
}

void RunLoop::stop() {
    impl_->stopRequested.store(true);
    impl_->wake();
}

std::string RunLoop::currentMode() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->modeStack.empty() ? std::string() : impl_->modeStack.back();
}

void RunLoop::post(Block block) {
    if (!block) {
        return;
    }
    {
        std::lock_guard lock(impl_->mutex);
        impl_->posted.push_back(std::move(block));
    }
    impl_->wake();
}

RunLoop::Timer RunLoop::scheduleTimer(double seconds, double tolerance, Block block,
                                      std::vector<std::string> modes) {
    auto state = std::make_shared<Timer::State>();
    state->deadline = Clock::uptime() + std::max(0.0, seconds);
    state->tolerance = std::max(0.0, tolerance);
    state->modes = std::move(modes);
    state->block = std::move(block);
    if (!state->block) {
        return {};
    }
    {
        std::lock_guard lock(impl_->mutex);
        impl_->timers.emplace(state->deadline, state);
    }
    impl_->wake();
    return Timer(std::move(state));
}

void RunLoop::postAfter(double seconds, Block block) {
    Timer timer = scheduleTimer(seconds, 0, std::move(block), {std::string(kCommonModes)});
    // Detach: the loop keeps the timer's state alive until it fires.
    timer.state_.reset();
}

void RunLoop::performAtEndOfPass(const void* target, std::int64_t order, Block block,
                                 std::vector<std::string> modes) {
    if (!block) {
        return;
    }
    auto perform = std::make_shared<Perform>();
    perform->target = target;
    perform->order = order;
    perform->modes = std::move(modes);
    perform->block = std::move(block);
    {
        std::lock_guard lock(impl_->mutex);
        perform->sequence = impl_->performSequence++;
        impl_->performs.push_back(std::move(perform));
    }
    impl_->wake();
}

void RunLoop::cancelEndOfPassPerforms(const void* target) {
    std::lock_guard lock(impl_->mutex);
    auto& pending = impl_->performs;
    pending.erase(std::remove_if(pending.begin(), pending.end(),
                                 [&](const auto& p) { return p->target == target; }),
                  pending.end());
    for (const auto& perform : impl_->performsInFlight) {
        if (perform->target == target) {
            perform->cancelled = true;
        }
    }
}

void RunLoop::addCommonMode(std::string mode) {
    std::lock_guard lock(impl_->mutex);
    if (!impl_->isCommon(mode)) {
        impl_->commonModes.push_back(std::move(mode));
    }
}

asio::io_context& RunLoop::ioContext() {
    return impl_->io;
}

}  // namespace velmora

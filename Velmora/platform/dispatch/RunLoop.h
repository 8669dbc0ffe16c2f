#pragma once
// RunLoop: an event loop driven by its host. Velmora has no loop of its own: the host
// (an application, a tool, a test) runs RunLoop::main() on the thread it calls main,
// and the framework's main-queue blocks, timers and end-of-pass work run there.
//
// A pass of the loop does, in order: ready I/O handlers of ioContext(); timers that are
// due; the blocks posted before the pass began; then the end-of-pass performs, lowest
// order first. Work posted during a pass waits for the next one, so a block that keeps
// re-posting itself cannot starve the end-of-pass performs.
//
// Modes restrict what runs: a pass runs in one mode, and timers, blocks and performs
// registered for other modes wait. kCommonModes stands for every mode marked common
// (the default mode, plus those added with addCommonMode). Posted blocks run in the
// common modes.
//
// Time: timers are measured on Clock::uptime(). While the clock is pinned, timers fire
// only as tests advance it (Clock::advanceForTesting), and a waiting pass does not wait
// for a timer, only for posted work or the pass's own time limit.
//
// Exceptions: a posted block, timer, end-of-pass perform or I/O handler that throws is
// logged at error level with its what() (logging/BlockExceptions.h) and dropped; the pass
// goes on with the rest of its batch, so one throwing block never costs another its turn.
//
// Thread safety: post, stop, timers and performs may be used from any thread; the run
// operations must be called on the loop's own thread. The main loop belongs to the
// thread that last ran it (the process's first thread until then); other threads get
// their own loop from current(), which lives as long as its thread.
//
//   RunLoop::main().post([] { refreshBadge(); });
//   RunLoop::Timer timer = RunLoop::main().scheduleTimer(2.0, 1.0, [] { dayChanged(); });
//   RunLoop::main().run();   // until stop()

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Date.h"

namespace asio {
class io_context;
}

namespace velmora {

class RunLoop {
  public:
    using Block = std::function<void()>;
    static constexpr std::string_view kDefaultMode = "kCFRunLoopDefaultMode";
    static constexpr std::string_view kCommonModes = "kCFRunLoopCommonModes";

    // A one-shot timer scheduled on a loop. Move-only; destroying or reassigning the
    // handle invalidates the timer, so an object that owns its timer can never be called
    // back after it is gone.
    class Timer {
      public:
        Timer() = default;
        Timer(Timer&& other) noexcept;
        Timer& operator=(Timer&& other) noexcept;
        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;
        ~Timer();

        // After invalidate() returns on the loop's thread, the block never runs.
        void invalidate();
        // Scheduled and neither fired nor invalidated.
        bool isValid() const;
        double tolerance() const;

      private:
        friend class RunLoop;
        struct State;
        explicit Timer(std::shared_ptr<State> state);
        std::shared_ptr<State> state_;
    };

    static RunLoop& main();
    // The calling thread's loop: main() on the main thread.
    static RunLoop& current();
    // Whether the calling thread is the main loop's thread.
    static bool isMainThread();

    RunLoop();
    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    // Runs passes in the default mode until stop().
    void run();
    // Runs passes in mode until stop() or until the clock reaches limit; the time left
    // is taken at the call, so with a pinned clock this runs for (limit - now) seconds.
    void runUntil(Date limit, std::string_view mode = kDefaultMode);
    // One pass. If nothing is ready it first waits up to waitSeconds for something to
    // arrive. Answers whether any block, timer, perform or handler ran.
    bool runOnePass(std::string_view mode = kDefaultMode, double waitSeconds = 0);
    // Makes the innermost run()/runUntil() on this loop return after its current pass.
    void stop();
    // The mode of the pass in progress, or empty when the loop is not running.
    std::string currentMode() const;

    void post(Block block);
    // A timer that runs block once, seconds from now; it may run up to tolerance seconds
    // late, which lets the loop wake once for timers that are due close together.
    [[nodiscard]] Timer scheduleTimer(double seconds, double tolerance, Block block,
                                      std::vector<std::string> modes = {std::string(kDefaultMode)});
    // A timer without a handle, in the common modes: it cannot be cancelled.
    void postAfter(double seconds, Block block);
    // Runs block at the end of the current pass (or of the next pass, if called from a
    // perform), ordered by order (lower first) and then by registration.
    void performAtEndOfPass(const void* target, std::int64_t order, Block block,
                            std::vector<std::string> modes = {std::string(kDefaultMode)});
    // Cancels every pending end-of-pass perform registered with target.
    void cancelEndOfPassPerforms(const void* target);
    void addCommonMode(std::string mode);

    // The loop's Asio context, for hosts that watch descriptors on this loop; its
    // handlers run at the start of each pass.
    asio::io_context& ioContext();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace velmora

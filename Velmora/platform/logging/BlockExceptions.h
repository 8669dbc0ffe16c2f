#pragma once
// BlockExceptions: how the machinery treats an exception escaping a caller's block (queue
// work, posted blocks, timers, observers, callbacks) that nobody waits for. Such an
// exception is logged at error level with its what() and dropped, and the machinery goes
// on with its next block; where a caller waits for the block (a sync dispatch, a
// future-like wait) the machinery rethrows it to that caller instead and does not log it.
//
// Thread safety: both functions may be called from any thread.
//
//   runReportingExceptions("main run loop timer", [&] { timer.block(); });
//   try { block(); } catch (...) { reportBlockException("worker pool"); }
//   // log line: "velmora: exception escaped a block on worker pool: <what()>"

#include <string_view>
#include <utility>

namespace velmora {

// REQUIRES: called inside a catch handler. Logs the exception being handled, naming
// where the block ran; never throws.
void reportBlockException(std::string_view where) noexcept;

// Runs block; an exception escaping it is reported as above and does not propagate.
template <class F>
void runReportingExceptions(std::string_view where, F&& block) noexcept {
    try {
        std::forward<F>(block)();
    } catch (...) {
        reportBlockException(where);
    }
}

}  // namespace velmora

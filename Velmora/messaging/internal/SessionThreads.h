#pragma once
// SessionThreads: owns the threads that run the companion sessions' Asio contexts, so
// that each is joined before the process's static objects are destroyed.
//
// Why: Asio's error categories (end of file, for one) are function-local statics, which
// exit() destroys. A session thread still running then calls into a destroyed category
// the next time a socket completes with an error, typically when the peer closes its
// end as both processes exit. So a session thread never outlives static destruction:
//   - the last owner of a session, on any other thread, joins its thread (join());
//   - when the last owner lets go on the session's own thread (from a delegate call),
//     that thread cannot join itself: releaseCurrent() hands it over, and it is joined once it
//     has ended, by the next start() or join() on another thread, or at exit;
//   - sessions kept for the whole process (the default session lives in a NoDestructor)
//     are interrupted and joined by an exit hook, which is registered after Asio's
//     categories are built and therefore runs before they are destroyed.
// Once the exit hook has run, start() starts nothing.
//
// REQUIRES: a thread's body does not wait for the thread that joins it (a session
// delegate must not sync onto the main queue while the main thread destroys the
// session or exits).
//
// Thread-safe.
//
//   const auto id = SessionThreads::shared().start([impl] { impl->run(); },
//                                                  [weak] { stopIfAlive(weak); });
//   SessionThreads::shared().join(id);

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace velmora {

class SessionThreads {
  public:
    using Id = std::uint64_t;
    using Block = std::function<void()>;

    static SessionThreads& shared();

    SessionThreads() = default;
    // Interrupts and joins what is left (the shared registry is never destroyed).
    ~SessionThreads() { closeForExit(); }
    SessionThreads(const SessionThreads&) = delete;
    SessionThreads& operator=(const SessionThreads&) = delete;

    // Runs body on a new thread; interrupt, called from another thread at exit, must
    // make body return soon. 0 (nothing started) once the exit hook has run.
    Id start(Block body, Block interrupt);
    // Waits for the thread of id to end. REQUIRES: not called on that thread.
    void join(Id id);
    // Leaves the calling thread, which is winding down, to be joined once it has ended.
    // REQUIRES: called on a thread start() started.
    void releaseCurrent();
    // Interrupts and joins every thread; start() starts nothing afterwards.
    void closeForExit();
    // Joins the released threads that have ended (start() and join() do it too).
    void joinEnded();

    // Threads started and not yet joined.
    std::size_t count() const;

  private:
    struct Entry;

    mutable std::mutex mutex_;  // guards the members below, never held while joining
    std::list<std::shared_ptr<Entry>> entries_;
    Id nextId_ = 1;
    bool closed_ = false;
};

}  // namespace velmora

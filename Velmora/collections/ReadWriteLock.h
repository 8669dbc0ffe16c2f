#pragma once
// ReadWriteLock: a process-private pthread read/write lock that prefers writers.
//
// Readers share it, a writer excludes everyone. Writer preference
// (PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP) means that once a writer waits, new
// readers wait behind it, so a steady stream of readers cannot starve a writer. The
// price is that the lock is not recursive in any way: a thread holding it in either
// mode must not lock it again (a second read lock can deadlock behind a waiting writer).
//
// Thread-safe by definition. Prefer the RAII guards of the owning class to bare calls.
//
//   ReadWriteLock lock;
//   lock.writeLock();
//   lock.unlock();

#include <pthread.h>

namespace velmora {

class ReadWriteLock {
  public:
    // Throws std::system_error when the system cannot make a lock (resources exhausted),
    // as std::shared_mutex does.
    ReadWriteLock();
    ~ReadWriteLock();
    ReadWriteLock(const ReadWriteLock&) = delete;
    ReadWriteLock& operator=(const ReadWriteLock&) = delete;

    // REQUIRES (all four): see the class comment; unlock only what this thread holds.
    void readLock();
    // Answers whether the read lock was obtained (false while a writer holds or awaits it).
    [[nodiscard]] bool tryReadLock();
    void writeLock();
    void unlock();

  private:
    pthread_rwlock_t lock_;
};

}  // namespace velmora

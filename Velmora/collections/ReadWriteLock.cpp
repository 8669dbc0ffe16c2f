#include "Velmora/collections/ReadWriteLock.h"

#include <cassert>
#include <system_error>

namespace velmora {
namespace {

void throwIfFailed(int result, const char* what) {
    if (result != 0) {
        throw std::system_error(result, std::generic_category(), what);
    }
}

// Owns an attribute object for the length of the lock's construction.
class RwLockAttributes {
  public:
    RwLockAttributes() { throwIfFailed(pthread_rwlockattr_init(&attributes_), "rwlockattr_init"); }
    ~RwLockAttributes() { pthread_rwlockattr_destroy(&attributes_); }
    RwLockAttributes(const RwLockAttributes&) = delete;
    RwLockAttributes& operator=(const RwLockAttributes&) = delete;
    pthread_rwlockattr_t* get() { return &attributes_; }

  private:
    pthread_rwlockattr_t attributes_;
};

}  // namespace

ReadWriteLock::ReadWriteLock() {
    RwLockAttributes attributes;
    throwIfFailed(pthread_rwlockattr_setpshared(attributes.get(), PTHREAD_PROCESS_PRIVATE),
                  "rwlockattr_setpshared");
    // Writers first: a stream of readers must not starve a writer.
    throwIfFailed(pthread_rwlockattr_setkind_np(attributes.get(),
                                                PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP),
                  "rwlockattr_setkind_np");
    throwIfFailed(pthread_rwlock_init(&lock_, attributes.get()), "rwlock_init");
}

ReadWriteLock::~ReadWriteLock() {
    [[maybe_unused]] const int result = pthread_rwlock_destroy(&lock_);
    assert(result == 0 && "ReadWriteLock destroyed while held");
}

void ReadWriteLock::readLock() {
    [[maybe_unused]] const int result = pthread_rwlock_rdlock(&lock_);
    assert(result == 0 && "read lock failed (held for writing by this thread?)");
}

bool ReadWriteLock::tryReadLock() {
    return pthread_rwlock_tryrdlock(&lock_) == 0;
}

void ReadWriteLock::writeLock() {
    [[maybe_unused]] const int result = pthread_rwlock_wrlock(&lock_);
    assert(result == 0 && "write lock failed (already held by this thread?)");
}

void ReadWriteLock::unlock() {
    [[maybe_unused]] const int result = pthread_rwlock_unlock(&lock_);
    assert(result == 0 && "unlock of a lock this thread does not hold");
}

}  // namespace velmora

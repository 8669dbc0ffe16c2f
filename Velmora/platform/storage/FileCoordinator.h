#pragma once
// FileCoordinator: coordinated reading and writing of a file between processes, with
// advisory locks. A coordinated write holds an exclusive lock for its whole duration and
// a coordinated read holds a shared one, so a coordinated reader never sees a file that a
// coordinated writer has only half written, even when the writer rewrites it in place.
// Uncoordinated access is not stopped (the locks are advisory).
//
// The lock is taken with flock(2) on a lock file of its own in
// UserDirectories::privateRuntimeDirectory("coordination"), named after a hash of the
// file's absolute path, not on the file itself: a file replaced by an atomic rename is a
// new inode, and a lock on the old one would no longer exclude anybody. Two paths whose
// hashes collide merely share a lock. The kernel drops the lock when its holder dies, so
// a writer killed mid-write never leaves the file locked.
//
// Thread safety: every operation may be used from any thread; locks exclude threads of
// one process as they exclude processes (each operation opens its own descriptor).
//
//   FileCoordinator::coordinateWriting(path, [&] { return AtomicFile::write(path, bytes); });
//   std::optional<Bytes> back;
//   FileCoordinator::coordinateReading(path, [&] { back = AtomicFile::read(path); });

#include <filesystem>
#include <functional>

namespace velmora {

class FileCoordinator {
  public:
    FileCoordinator() = delete;

    // Runs accessor while holding the file's shared (read) or exclusive (write) lock.
    // Answers false, without running accessor, when the lock cannot be taken. An
    // exception from accessor releases the lock and reaches the caller.
    static bool coordinateReading(const std::filesystem::path& file,
                                  const std::function<void()>& accessor);
    static bool coordinateWriting(const std::filesystem::path& file,
                                  const std::function<void()>& accessor);

    // The lock file that stands for file (exposed for tests and tools).
    static std::filesystem::path lockPath(const std::filesystem::path& file);
};

}  // namespace velmora

#include "Velmora/platform/storage/FileCoordinator.h"

#include <cerrno>
#include <cstdint>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {
namespace {

// FNV-1a: stable across processes and builds, unlike std::hash.
std::uint64_t pathHash(const std::string& text) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
    }
    return hash;
}

class HeldLock {
  public:
    HeldLock(const std::filesystem::path& lockFile, int operation)
        : fd_(::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
        if (fd_ < 0) {
            return;
        }
        int result = 0;
        while ((result = ::flock(fd_, operation)) != 0 && errno == EINTR) {
        }
        if (result != 0) {
            ::close(fd_);
            fd_ = -1;
        }
    }
    ~HeldLock() {
        if (fd_ >= 0) {
            ::close(fd_);  // closing the last descriptor releases the lock
        }
    }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    bool held() const { return fd_ >= 0; }

  private:
    int fd_;
};

bool coordinate(const std::filesystem::path& file, int operation,
                const std::function<void()>& accessor) {
    const std::filesystem::path lockFile = FileCoordinator::lockPath(file);
    if (lockFile.empty()) {
        return false;
    }
    const HeldLock lock(lockFile, operation);
    if (!lock.held()) {
        return false;
    }
    accessor();
    return true;
}

}  // namespace

std::filesystem::path FileCoordinator::lockPath(const std::filesystem::path& file) {
    const auto directory = UserDirectories::privateRuntimeDirectory("coordination");
    if (!directory) {
        return {};
    }
    std::error_code ignored;
    const std::filesystem::path absolute = std::filesystem::absolute(file, ignored);
    return *directory / fmt::format("{:016x}.lock", pathHash(absolute.lexically_normal().string()));
}

bool FileCoordinator::coordinateReading(const std::filesystem::path& file,
                                        const std::function<void()>& accessor) {
    return coordinate(file, LOCK_SH, accessor);
}

bool FileCoordinator::coordinateWriting(const std::filesystem::path& file,
                                        const std::function<void()>& accessor) {
    return coordinate(file, LOCK_EX, accessor);
}

}  // namespace velmora

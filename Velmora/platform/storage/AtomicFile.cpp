#include "Velmora/platform/storage/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>
#include <random>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Velmora/platform/storage/internal/InterruptCleanup.h"

namespace velmora {
namespace {

std::atomic<AtomicFile::FaultInjector> gFaultInjector{nullptr};

// Whether the step may go ahead; a refusal by the test hook reads as EIO.
bool allowed(const char* step) {
    const auto injector = gFaultInjector.load();
    if (injector != nullptr && !injector(step)) {
        errno = EIO;
        return false;
    }
    return true;
}

bool fail(std::string* error, std::string_view what, const std::filesystem::path& path, int code) {
    if (error != nullptr) {
        *error = fmt::format("{} {}: {}", what, path.string(), std::strerror(code));
    }
    return false;
}

// Closes its descriptor; unlinks its temporary file unless released.
class TemporaryFile {
  public:
    TemporaryFile(int fd, std::filesystem::path path) : fd_(fd), path_(std::move(path)) {}
    ~TemporaryFile() {
        closeNow();
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    int fd() const { return fd_; }
    bool closeNow() {
        const int fd = fd_;
        fd_ = -1;
        return fd < 0 || ::close(fd) == 0;
    }
    void release() { path_.clear(); }

  private:
    int fd_;
    std::filesystem::path path_;
};

std::filesystem::path temporaryPathFor(const std::filesystem::path& path) {
    thread_local std::mt19937_64 random{std::random_device{}()};
    return path.parent_path() / fmt::format(".{}.{:016x}.tmp", path.filename().string(), random());
}

const char* kindOf(mode_t mode) {
    if (S_ISDIR(mode)) {
        return "a directory";
    }
    if (S_ISCHR(mode)) {
        return "a character device";
    }
    if (S_ISBLK(mode)) {
        return "a block device";
    }
    if (S_ISFIFO(mode)) {
        return "a FIFO";
    }
    if (S_ISSOCK(mode)) {
        return "a socket";
    }
    return "not a regular file";
}

// What stands at the target now: nothing (a new file), a regular file (whose permission
// bits the new file takes over), or anything else, which is refused.
struct Target {
    bool usable = false;
    std::optional<mode_t> permissions;
};

Target inspectTarget(const std::filesystem::path& path, std::string* error) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        if (errno == ENOENT) {
            return {.usable = true, .permissions = std::nullopt};
        }
        fail(error, "cannot write", path, errno);
        return {};
    }
    if (S_ISLNK(info.st_mode)) {
        if (error != nullptr) {
            *error = fmt::format(
                "cannot write {}: it is a symbolic link (name the file it points to instead)",
                path.string());
        }
        return {};
    }
    if (!S_ISREG(info.st_mode)) {
        if (error != nullptr) {
            *error = fmt::format("cannot write {}: it is {}, not a regular file", path.string(),
                                 kindOf(info.st_mode));
        }
        return {};
    }
    return {.usable = true, .permissions = info.st_mode & 07777};
}

void syncDirectory(const std::filesystem::path& directory) {
    const int fd =
        ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);  // best effort: some file systems refuse fsync on directories
        ::close(fd);
    }
}

}  // namespace

bool AtomicFile::write(const std::filesystem::path& path, std::span<const std::uint8_t> contents,
                       std::string* error) {
    const Target target = inspectTarget(path, error);
    if (!target.usable) {
        return false;
    }
    const auto temporary = temporaryPathFor(path);
    // Covered before it exists, so that no signal finds it uncovered.
    const internal::InterruptCleanup::Registration covered =
        internal::InterruptCleanup::protect(temporary);
    if (!allowed("open")) {
        return fail(error, "cannot create", temporary, errno);
    }
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
        return fail(error, "cannot create", temporary, errno);
    }
    TemporaryFile file(fd, temporary);
    if (target.permissions && ::fchmod(fd, *target.permissions) != 0) {
        return fail(error, "cannot set the permissions of", temporary, errno);
    }
    std::size_t written = 0;
    while (written < contents.size()) {
        if (!allowed("write")) {
            return fail(error, "cannot write", temporary, errno);
        }
        const ssize_t n = ::write(fd, contents.data() + written, contents.size() - written);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return fail(error, "cannot write", temporary, errno);
        }
        written += static_cast<std::size_t>(n);
    }
    if (!allowed("fsync") || ::fsync(fd) != 0) {
        return fail(error, "cannot flush", temporary, errno);
    }
    if (!file.closeNow()) {
        return fail(error, "cannot close", temporary, errno);
    }
    if (!allowed("rename") || ::rename(temporary.c_str(), path.c_str()) != 0) {
        return fail(error, "cannot replace", path, errno);
    }
    file.release();
    syncDirectory(path.parent_path());
    return true;
}

std::optional<std::vector<std::uint8_t>> AtomicFile::read(const std::filesystem::path& path,
                                                          std::string* error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail(error, "cannot open", path, errno);
        return std::nullopt;
    }
    TemporaryFile file(fd, {});
    std::vector<std::uint8_t> bytes;
    struct stat info {};
    if (::fstat(fd, &info) == 0 && info.st_size > 0) {
        bytes.reserve(static_cast<std::size_t>(info.st_size));
    }
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(error, "cannot read", path, errno);
            return std::nullopt;
        }
        if (n == 0) {
            break;
        }
        bytes.insert(bytes.end(), buffer, buffer + n);
    }
    return bytes;
}

void AtomicFile::setFaultInjectorForTesting(FaultInjector injector) {
    gFaultInjector.store(injector);
}

}  // namespace velmora

#pragma once
// UniqueFd: move-only owner of a POSIX file descriptor; closes it when destroyed.
//
// Thread safety: as a plain value; the descriptor itself is shared by the kernel.
//
//   UniqueFd fd(::open(path, O_RDONLY | O_CLOEXEC));
//   if (!fd) { return error(); }
//   ::read(fd.get(), buffer, size);

#include <utility>

#include <unistd.h>

namespace velmora {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.fd_, -1));
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

    // Closes the current descriptor (answering whether close succeeded) and takes fd.
    bool reset(int fd = -1) {
        bool closed = true;
        if (fd_ >= 0) {
            closed = ::close(fd_) == 0;
        }
        fd_ = fd;
        return closed;
    }

  private:
    int fd_ = -1;
};

}  // namespace velmora

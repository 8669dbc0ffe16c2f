#include "Velmora/messaging/internal/OutgoingFrames.h"

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>

namespace velmora {

OutgoingFrames::Result OutgoingFrames::open(int fd, std::vector<Frame> opening) {
    Result result;
    result.accepted = true;
    std::lock_guard lock(mutex_);
    fd_ = fd;
    queue_.clear();
    sentFiles_.clear();
    handedOver_ = false;
    for (auto& frame : opening) {
        queue_.push_back({std::move(frame)});
    }
    sendLocked(result);
    return result;
}

void OutgoingFrames::close() {
    std::lock_guard lock(mutex_);
    fd_ = -1;
    queue_.clear();
    sentFiles_.clear();
    handedOver_ = false;
}

OutgoingFrames::Result OutgoingFrames::push(Frame frame) {
    Result result;
    std::lock_guard lock(mutex_);
    if (fd_ < 0) {
        return result;
    }
    result.accepted = true;
    if (const auto& file = frame.outboxFile; !file.empty()) {
        const bool known = sentFiles_.contains(file) ||
                           std::any_of(queue_.begin(), queue_.end(),
                                       [&](const Queued& q) { return q.frame.outboxFile == file; });
        if (known) {
            return result;
        }
    }
    queue_.push_back({std::move(frame)});
    if (!handedOver_) {
        sendLocked(result);
    }
    return result;
}

std::span<const std::uint8_t> OutgoingFrames::front() const {
    std::lock_guard lock(mutex_);
    if (!handedOver_ || queue_.empty()) {
        return {};
    }
    const Queued& first = queue_.front();
    return std::span(first.frame.bytes).subspan(first.written);
}

OutgoingFrames::Result OutgoingFrames::wrote(std::size_t n) {
    Result result;
    result.accepted = true;
    std::lock_guard lock(mutex_);
    if (!handedOver_ || queue_.empty()) {
        return result;
    }
    Queued& first = queue_.front();
    first.written = std::min(first.frame.bytes.size(), first.written + n);
    handedOver_ = false;
    sendLocked(result);
    return result;
}

void OutgoingFrames::writeFailed() {
    std::lock_guard lock(mutex_);
    handedOver_ = false;
}

bool OutgoingFrames::empty() const {
    std::lock_guard lock(mutex_);
    return queue_.empty();
}

void OutgoingFrames::sendLocked(Result& result) {
    while (fd_ >= 0 && !queue_.empty()) {
        Queued& first = queue_.front();
        const std::size_t left = first.frame.bytes.size() - first.written;
        if (left > 0) {
            const ssize_t n = ::send(fd_, first.frame.bytes.data() + first.written, left,
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                handedOver_ = result.handOver = true;
                return;
            }
            if (n <= 0) {
                return;  // a broken connection, which its reading side reports
            }
            first.written += static_cast<std::size_t>(n);
            if (first.written < first.frame.bytes.size()) {
                continue;
            }
        }
        if (!first.frame.outboxFile.empty()) {
            sentFiles_.insert(first.frame.outboxFile);
            result.sent.push_back(first.frame.outboxFile);
        }
        queue_.pop_front();
    }
}

}  // namespace velmora

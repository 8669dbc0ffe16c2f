#include "Velmora/imaging/gl/PixelBuffer.h"

#include <cstdlib>
#include <cstring>

namespace velmora {

namespace {
constexpr int kMaximumSide = 32768;
}

void PixelBuffer::AlignedFree::operator()(std::uint8_t* bytes) const {
    std::free(bytes);
}

std::shared_ptr<PixelBuffer> PixelBuffer::create(int width, int height) {
    if (width < 1 || height < 1 || width > kMaximumSide || height > kMaximumSide) {
        return nullptr;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 4;
    const std::size_t bytesPerRow = (rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    const std::size_t size = bytesPerRow * static_cast<std::size_t>(height);
    auto* raw = static_cast<std::uint8_t*>(std::aligned_alloc(kRowAlignment, size));
    if (raw == nullptr) {
        return nullptr;
    }
    std::memset(raw, 0, size);
    std::unique_ptr<std::uint8_t, AlignedFree> bytes(raw);
    return std::shared_ptr<PixelBuffer>(
        new PixelBuffer(width, height, bytesPerRow, std::move(bytes)));
}

PixelBuffer::PixelBuffer(int width, int height, std::size_t bytesPerRow,
                         std::unique_ptr<std::uint8_t, AlignedFree> bytes)
    : width_(width), height_(height), bytesPerRow_(bytesPerRow), bytes_(std::move(bytes)) {}

PixelBuffer::~PixelBuffer() = default;

// The mirror's copies (GL read-back and upload) run outside mutex_: a copy can take
// milliseconds, and lockCount() or another thread's nested lock must not stall behind it.
// copying_ keeps everything that would race with a copy (another copy, a detach, a lock
// that would read half-copied bytes) waiting until it ends.
bool PixelBuffer::lockBaseAddress(Lock mode) {
    Mirror* copyIn = nullptr;
    {
        std::unique_lock lock(mutex_);
        copyEnded_.wait(lock, [this] { return !copying_; });
        if (lockCount_ == 0) {
            writtenSinceLock_ = false;
            copyIn = mirror_;
            copying_ = copyIn != nullptr;
        }
        ++lockCount_;
        if (mode == Lock::ReadWrite) {
            writtenSinceLock_ = true;
        }
    }
    if (copyIn != nullptr) {
        const CopyEnd end(*this);
        copyIn->copyToBuffer(bytes_.get(), bytesPerRow_);
    }
    return true;
}

bool PixelBuffer::unlockBaseAddress(Lock) {
    Mirror* copyOut = nullptr;
    {
        std::unique_lock lock(mutex_);
        copyEnded_.wait(lock, [this] { return !copying_; });
        if (lockCount_ == 0) {
            return false;
        }
        if (--lockCount_ == 0 && writtenSinceLock_) {
            writtenSinceLock_ = false;
            copyOut = mirror_;
            copying_ = copyOut != nullptr;
        }
    }
    if (copyOut != nullptr) {
        const CopyEnd end(*this);
        copyOut->copyFromBuffer(bytes_.get(), bytesPerRow_);
    }
    return true;
}

PixelBuffer::CopyEnd::~CopyEnd() {
    {
        std::lock_guard lock(buffer_.mutex_);
        buffer_.copying_ = false;
    }
    buffer_.copyEnded_.notify_all();
}

int PixelBuffer::lockCount() const {
    std::lock_guard lock(mutex_);
    return lockCount_;
}

void PixelBuffer::setMirror(Mirror* mirror) {
    std::unique_lock lock(mutex_);
    copyEnded_.wait(lock, [this] { return !copying_; });
    mirror_ = mirror;
}

}  // namespace velmora

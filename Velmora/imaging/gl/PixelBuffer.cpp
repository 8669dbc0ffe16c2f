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

bool PixelBuffer::lockBaseAddress(Lock mode) {
    std::lock_guard lock(mutex_);
    if (lockCount_ == 0) {
        writtenSinceLock_ = false;
        if (mirror_ != nullptr) {
            mirror_->copyToBuffer(bytes_.get(), bytesPerRow_);
        }
    }
    ++lockCount_;
    if (mode == Lock::ReadWrite) {
        writtenSinceLock_ = true;
    }
    return true;
}

bool PixelBuffer::unlockBaseAddress(Lock) {
    std::lock_guard lock(mutex_);
    if (lockCount_ == 0) {
        return false;
    }
    if (--lockCount_ == 0 && writtenSinceLock_) {
        writtenSinceLock_ = false;
        if (mirror_ != nullptr) {
            mirror_->copyFromBuffer(bytes_.get(), bytesPerRow_);
        }
    }
    return true;
}

int PixelBuffer::lockCount() const {
    std::lock_guard lock(mutex_);
    return lockCount_;
}

void PixelBuffer::setMirror(Mirror* mirror) {
    std::lock_guard lock(mutex_);
    mirror_ = mirror;
}

}  // namespace velmora

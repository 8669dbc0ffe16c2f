#pragma once
// PixelBuffer: a block of 32-bit BGRA pixels in CPU memory with padded rows (bytesPerRow
// is a multiple of 64), shared by reference (std::shared_ptr; retainCount() is the number
// of owners). A TextureCache can mirror it into a GL texture; locking the base address
// then brings the CPU bytes in step with what was rendered (see lockBaseAddress).
//
// Thread safety: lock/unlock and retainCount may be called from any thread; the pixel
// bytes themselves are the caller's to synchronise (read them only between a lock and its
// unlock).
//
//   auto buffer = PixelBuffer::create(640, 480);
//   buffer->lockBaseAddress(PixelBuffer::Lock::ReadOnly);
//   auto* bytes = static_cast<const std::uint8_t*>(buffer->baseAddress());
//   buffer->unlockBaseAddress(PixelBuffer::Lock::ReadOnly);

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

namespace velmora {

class PixelBuffer : public std::enable_shared_from_this<PixelBuffer> {
  public:
    enum class Lock { ReadWrite, ReadOnly };

    // The other side of a mirrored buffer (a texture). Calls come outside the buffer's
    // mutex, one at a time, never while the mirror is being detached; each answers false when it
    // cannot act on this thread (context not current).
    class Mirror {
      public:
        virtual ~Mirror() = default;
        virtual bool copyToBuffer(std::uint8_t* bytes, std::size_t bytesPerRow) = 0;
        virtual bool copyFromBuffer(const std::uint8_t* bytes, std::size_t bytesPerRow) = 0;
    };

    static constexpr std::uint32_t kPixelFormat32BGRA = 0x42475241;  // 'BGRA'
    static constexpr std::size_t kRowAlignment = 64;

    // nullptr for a width or height below 1 or beyond 32768, or when memory runs out.
    [[nodiscard]] static std::shared_ptr<PixelBuffer> create(int width, int height);

    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;
    ~PixelBuffer();

    int width() const { return width_; }
    int height() const { return height_; }
    std::size_t bytesPerRow() const { return bytesPerRow_; }
    std::size_t dataSize() const { return bytesPerRow_ * static_cast<std::size_t>(height_); }
    std::uint32_t pixelFormat() const { return kPixelFormat32BGRA; }

    // Nested locks are counted. The outermost lock copies the mirror's pixels in (when the
    // mirror can act on this thread); the unlock that ends a run of locks that included a
    // ReadWrite one copies the bytes back out. Answers false for an unlock without a lock.
    bool lockBaseAddress(Lock mode);
    bool unlockBaseAddress(Lock mode);
    int lockCount() const;
    // The bytes; valid for the buffer's life, current only while locked.
    void* baseAddress() const { return bytes_.get(); }

    // How many std::shared_ptr own this buffer.
    long retainCount() const { return weak_from_this().use_count(); }

    // Attaches or detaches (nullptr) the mirror; the mirror detaches itself before dying.
    void setMirror(Mirror* mirror);

  private:
    struct AlignedFree {
        void operator()(std::uint8_t* bytes) const;
    };
    PixelBuffer(int width, int height, std::size_t bytesPerRow,
                std::unique_ptr<std::uint8_t, AlignedFree> bytes);

    const int width_;
    const int height_;
    const std::size_t bytesPerRow_;
    const std::unique_ptr<std::uint8_t, AlignedFree> bytes_;

    // Ends a copy through the mirror, also when the copy throws.
    class CopyEnd {
      public:
        explicit CopyEnd(PixelBuffer& buffer) : buffer_(buffer) {}
        ~CopyEnd();
        CopyEnd(const CopyEnd&) = delete;
        CopyEnd& operator=(const CopyEnd&) = delete;

      private:
        PixelBuffer& buffer_;
    };

    mutable std::mutex mutex_;  // guards the four below
    std::condition_variable copyEnded_;
    bool copying_ = false;  // a copy through the mirror runs outside mutex_
    int lockCount_ = 0;
    bool writtenSinceLock_ = false;
    Mirror* mirror_ = nullptr;
};

}  // namespace velmora

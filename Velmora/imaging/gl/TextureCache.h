#pragma once
// TextureCache: makes GL textures whose contents mirror a PixelBuffer, for one context.
// The texture is the GPU side of the buffer: render into it (attach it to a framebuffer
// object), then lock the buffer's base address on a thread where the context is current
// and the bytes are the rendered pixels; unlock after writing (a ReadWrite lock) there
// and the texture gets the bytes. Without a GPU that shares memory with the CPU this is
// a copy each way, done only at those two moments.
//
// A TextureCacheTexture keeps its PixelBuffer alive. Dropping one may happen on any
// thread: its GL objects are only queued, and deleted by the next flush() or
// createTexture() on the context's thread.
//
// Thread safety: createTexture and flush REQUIRE the cache's context to be current on the
// calling thread; TextureCacheTexture may be destroyed anywhere.
//
//   auto cache = TextureCache::create(context);
//   auto texture = cache->createTexture(buffer, GL_TEXTURE_2D, GL_RGBA, 64, 64, GL_BGRA_EXT,
//                                       GL_UNSIGNED_BYTE, 0);
//   cache->flush();

#include <memory>
#include <string>

#include <GLES2/gl2.h>

#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/GLObjects.h"
#include "Velmora/imaging/gl/PixelBuffer.h"

namespace velmora {

class TextureCacheTexture;

class TextureCache {
  public:
    struct Shared;  // what textures keep of the cache (internal)

    [[nodiscard]] static std::unique_ptr<TextureCache> create(std::shared_ptr<EglContext> context);
    ~TextureCache();
    TextureCache(const TextureCache&) = delete;
    TextureCache& operator=(const TextureCache&) = delete;

    // A texture mirroring buffer (nullptr with the reason in *whyNot on failure): the
    // size must match the buffer's, and format/type must describe 32-bit BGRA or RGBA
    // bytes. Plane must be 0 (the buffers have one plane).
    [[nodiscard]] std::unique_ptr<TextureCacheTexture> createTexture(
        std::shared_ptr<PixelBuffer> buffer, GLenum target, GLint internalFormat, GLsizei width,
        GLsizei height, GLenum format, GLenum type, std::size_t plane,
        std::string* whyNot = nullptr);

    // Deletes the GL objects of textures dropped since the last flush.
    void flush();
    // How many dropped textures wait for flush().
    [[nodiscard]] std::size_t pendingDeletions() const;

  private:
    TextureCache(std::shared_ptr<EglContext> context, std::shared_ptr<Shared> shared);

    std::shared_ptr<EglContext> context_;
    std::shared_ptr<Shared> shared_;
};

class TextureCacheTexture final : public PixelBuffer::Mirror {
  public:
    ~TextureCacheTexture() override;
    TextureCacheTexture(const TextureCacheTexture&) = delete;
    TextureCacheTexture& operator=(const TextureCacheTexture&) = delete;

    GLenum target() const { return target_; }
    GLuint name() const { return texture_.name(); }
    const std::shared_ptr<PixelBuffer>& pixelBuffer() const { return buffer_; }

    bool copyToBuffer(std::uint8_t* bytes, std::size_t bytesPerRow) override;
    bool copyFromBuffer(const std::uint8_t* bytes, std::size_t bytesPerRow) override;

  private:
    friend class TextureCache;
    TextureCacheTexture(std::shared_ptr<TextureCache::Shared> cache,
                        std::shared_ptr<PixelBuffer> buffer, GLenum target, GLTexture texture);

    std::shared_ptr<TextureCache::Shared> cache_;
    std::shared_ptr<PixelBuffer> buffer_;
    GLenum target_;
    GLTexture texture_;
    GLFramebufferObject readFramebuffer_;  // made on the first read-back
};

// The internal format GL ES accepts for 32-bit BGRA data: where the data is GL_BGRA_EXT,
// ES drivers want the internal format to say so too (GL_RGBA is refused by most).
GLint textureInternalFormatFor(GLint internalFormat, GLenum format);

}  // namespace velmora

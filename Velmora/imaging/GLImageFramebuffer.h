#pragma once
// GLImageFramebuffer: a texture the pipeline renders into, normally with a framebuffer
// object around it and a PixelBuffer behind it (so the CPU can read the rendered pixels
// and an Image can share them). Its life in the pipeline is a manual lock count: fetched
// from GLImageFramebufferCache locked once, locked by each consumer, unlocked after each
// draw; when the count falls from 1 to 0 it goes back to the cache.
//
// Thread safety: GL work runs on the processing queue (the operations dispatch there
// themselves). lock/unlock may be called from any thread; the pipeline calls them on the
// processing queue, and an Image's release may call unlock from the thread dropping it.
//
//   auto framebuffer = GLImageContext::sharedFramebufferCache().fetchFramebufferForSize(
//       {640, 480}, GPUTextureOptions{}, false);   // locked once
//   framebuffer->activateFramebuffer();  /* draw */  framebuffer->unlock();

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include <GLES2/gl2.h>

#include "Velmora/imaging/GPUTextureOptions.h"
#include "Velmora/imaging/gl/GLGeometry.h"
#include "Velmora/imaging/gl/GLObjects.h"
#include "Velmora/imaging/gl/Image.h"
#include "Velmora/imaging/gl/PixelBuffer.h"
#include "Velmora/imaging/gl/TextureCache.h"

namespace velmora {

class GLImageFramebuffer : public std::enable_shared_from_this<GLImageFramebuffer> {
  public:
    // A texture of size with options; with onlyTexture, no framebuffer object and no
    // storage yet (the caller uploads into it).
    [[nodiscard]] static std::shared_ptr<GLImageFramebuffer> create(
        GLSize size, const GPUTextureOptions& options, bool onlyTexture);
    [[nodiscard]] static std::shared_ptr<GLImageFramebuffer> create(GLSize size);
    // Wraps a texture the caller owns and keeps: nothing is created or deleted, and lock
    // counting is off, so it never goes to the cache.
    [[nodiscard]] static std::shared_ptr<GLImageFramebuffer> createWithOverriddenTexture(
        GLSize size, GLuint texture);

    ~GLImageFramebuffer();
    GLImageFramebuffer(const GLImageFramebuffer&) = delete;
    GLImageFramebuffer& operator=(const GLImageFramebuffer&) = delete;

    // Binds the framebuffer object and sets the viewport to its whole size.
    // REQUIRES: the processing queue.
    void activateFramebuffer();

    void lock();
    // From 1 to 0 hands the framebuffer to the shared cache. Unlocking at 0 wraps the
    // count and does nothing else (an over-release is not detected).
    void unlock();
    void clearAllLocks();
    void disableReferenceCounting();
    void enableReferenceCounting();

    // A new Image of the rendered pixels. With a pixel buffer the Image shares its memory
    // (BGRA, premultiplied, the buffer's row padding) and keeps this framebuffer locked
    // until the Image's bytes are released; otherwise the pixels are copied (RGBA) and
    // the framebuffer is unlocked at once. Either way it uses up one lock of the caller's.
    [[nodiscard]] std::optional<Image> newCGImageFromFramebufferContents();
    // Undoes the base-address lock an Image took (see above).
    void restoreRenderTarget();

    std::size_t bytesPerRow() const;
    // The pixel buffer's bytes, brought up to date with the texture. The pointer is taken
    // under a lock that is released before returning: use it at once, on the processing
    // queue. Null without a pixel buffer.
    std::uint8_t* byteBuffer();

    GLuint texture() const { return texture_; }
    GLuint framebuffer() const { return framebuffer_.name(); }
    GLSize size() const { return size_; }
    const GPUTextureOptions& textureOptions() const { return textureOptions_; }
    bool missingFramebuffer() const { return missingFramebuffer_; }
    const std::shared_ptr<PixelBuffer>& renderTarget() const { return renderTarget_; }
    std::size_t framebufferReferenceCount() const { return framebufferReferenceCount_.load(); }
    bool referenceCountingDisabled() const { return referenceCountingDisabled_.load(); }

  private:
    GLImageFramebuffer(GLSize size, const GPUTextureOptions& options, bool onlyTexture);

    void generateTexture();
    void generateFramebuffer();
    void destroyFramebuffer();

    static void dataProviderUnlockCallback(GLImageFramebuffer& framebuffer);

    const GLSize size_;
    const GPUTextureOptions textureOptions_;
    const bool missingFramebuffer_;
    GLFramebufferObject framebuffer_;
    GLTexture ownedTexture_;  // texture-only and copying framebuffers
    std::shared_ptr<PixelBuffer> renderTarget_;
    std::unique_ptr<TextureCacheTexture> renderTexture_;
    GLuint texture_ = 0;
    std::atomic<std::size_t> framebufferReferenceCount_{0};
    std::atomic<bool> referenceCountingDisabled_{false};
};

}  // namespace velmora

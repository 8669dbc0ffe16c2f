#include "Velmora/imaging/GLImageFramebuffer.h"

#include <vector>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

std::shared_ptr<GLImageFramebuffer> GLImageFramebuffer::create(GLSize size,
                                                               const GPUTextureOptions& options,
                                                               bool onlyTexture) {
    std::shared_ptr<GLImageFramebuffer> framebuffer(
        new GLImageFramebuffer(size, options, onlyTexture));
    runSynchronouslyOnVideoProcessingQueue([&framebuffer, onlyTexture] {
        GLImageContext::useImageProcessingContext();
        if (onlyTexture) {
            framebuffer->generateTexture();
        } else {
            framebuffer->generateFramebuffer();
        }
    });
    return framebuffer;
}

std::shared_ptr<GLImageFramebuffer> GLImageFramebuffer::create(GLSize size) {
    return create(size, GPUTextureOptions{}, false);
}

std::shared_ptr<GLImageFramebuffer> GLImageFramebuffer::createWithOverriddenTexture(
    GLSize size, GLuint texture) {
    std::shared_ptr<GLImageFramebuffer> framebuffer(
        new GLImageFramebuffer(size, GPUTextureOptions{}, false));
    framebuffer->referenceCountingDisabled_ = true;
    framebuffer->texture_ = texture;
    return framebuffer;
}

GLImageFramebuffer::GLImageFramebuffer(GLSize size, const GPUTextureOptions& options,
                                       bool onlyTexture)
    : size_(size), textureOptions_(options), missingFramebuffer_(onlyTexture) {}

GLImageFramebuffer::~GLImageFramebuffer() {
    destroyFramebuffer();
}

void GLImageFramebuffer::generateTexture() {
    glActiveTexture(GL_TEXTURE1);
    ownedTexture_ = velmora::generateTexture();
    texture_ = ownedTexture_.name();
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER,
                    static_cast<GLint>(textureOptions_.minFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER,
                    static_cast<GLint>(textureOptions_.magFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, static_cast<GLint>(textureOptions_.wrapS));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, static_cast<GLint>(textureOptions_.wrapT));
}

void GLImageFramebuffer::generateFramebuffer() {
    const auto width = static_cast<GLsizei>(size_.width);
    const auto height = static_cast<GLsizei>(size_.height);
    GLImageContext::useImageProcessingContext();
    framebuffer_ = generateFramebufferObject();
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_.name());
    TextureCache* textureCache =
        GLImageContext::sharedImageProcessingContext().coreVideoTextureCache();
    if (GLImageContext::supportsFastTextureUpload() && textureCache != nullptr) {
        renderTarget_ = PixelBuffer::create(width, height);
        if (!renderTarget_) {
            log::error("FBO size: {:f}, {:f}", size_.width, size_.height);
        }
        std::string why;
        renderTexture_ = textureCache->createTexture(
            renderTarget_, GL_TEXTURE_2D, static_cast<GLint>(textureOptions_.internalFormat), width,
            height, textureOptions_.format, textureOptions_.type, 0, &why);
        // Texture-cache failures go unreported, as on the platform; the texture is 0.
        texture_ = renderTexture_ ? renderTexture_->name() : 0;
        glBindTexture(renderTexture_ ? renderTexture_->target() : GL_TEXTURE_2D, texture_);
        glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S,
                        static_cast<GLfloat>(textureOptions_.wrapS));
        glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T,
                        static_cast<GLfloat>(textureOptions_.wrapT));
    } else {
        generateTexture();
        glBindTexture(GL_TEXTURE_2D, texture_);
        glTexImage2D(GL_TEXTURE_2D, 0,
                     textureInternalFormatFor(static_cast<GLint>(textureOptions_.internalFormat),
                                              textureOptions_.format),
                     width, height, 0, textureOptions_.format, textureOptions_.type, nullptr);
    }
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);
    (void)glCheckFramebufferStatus(GL_FRAMEBUFFER);  // not acted on
    glBindTexture(GL_TEXTURE_2D, 0);
}

void GLImageFramebuffer::destroyFramebuffer() {
    if (!framebuffer_ && !ownedTexture_ && !renderTexture_ && !renderTarget_) {
        return;  // a wrapper of someone else's texture: nothing of ours on the GPU
    }
    runSynchronouslyOnVideoProcessingQueue([this] {
        GLImageContext::useImageProcessingContext();
        framebuffer_.reset();
        // The texture-cache texture only queues its GL texture; the cache's next flush or
        // creation deletes it.
        renderTexture_.reset();
        renderTarget_.reset();
        ownedTexture_.reset();
    });
}

void GLImageFramebuffer::activateFramebuffer() {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_.name());
    glViewport(0, 0, static_cast<GLint>(size_.width), static_cast<GLint>(size_.height));
}

void GLImageFramebuffer::lock() {
    if (referenceCountingDisabled_) {
        return;
    }
    framebufferReferenceCount_.fetch_add(1);
}

void GLImageFramebuffer::unlock() {
    if (referenceCountingDisabled_) {
        return;
    }
    if (framebufferReferenceCount_.fetch_sub(1) == 1) {
        GLImageContext::sharedFramebufferCache().returnFramebufferToCache(shared_from_this());
    }
}

void GLImageFramebuffer::clearAllLocks() {
    framebufferReferenceCount_ = 0;
}

void GLImageFramebuffer::disableReferenceCounting() {
    referenceCountingDisabled_ = true;
}

void GLImageFramebuffer::enableReferenceCounting() {
    referenceCountingDisabled_ = false;
}

std::size_t GLImageFramebuffer::bytesPerRow() const {
    if (renderTarget_) {
        return renderTarget_->bytesPerRow();
    }
    return static_cast<std::size_t>(size_.width) * 4;
}

std::uint8_t* GLImageFramebuffer::byteBuffer() {
    if (!renderTarget_) {
        return nullptr;
    }
    renderTarget_->lockBaseAddress(PixelBuffer::Lock::ReadOnly);
    auto* bytes = static_cast<std::uint8_t*>(renderTarget_->baseAddress());
    renderTarget_->unlockBaseAddress(PixelBuffer::Lock::ReadOnly);
    return bytes;
}

void GLImageFramebuffer::restoreRenderTarget() {
    // The retain that goes with this lock is held by the Image's release callback and
    // dropped right after this call (see newCGImageFromFramebufferContents).
    renderTarget_->unlockBaseAddress(PixelBuffer::Lock::ReadOnly);
}

void GLImageFramebuffer::dataProviderUnlockCallback(GLImageFramebuffer& framebuffer) {
    framebuffer.restoreRenderTarget();
    framebuffer.unlock();
    GLImageContext::sharedFramebufferCache().removeFramebufferFromActiveImageCaptureList(
        framebuffer.shared_from_this());
}

std::optional<Image> GLImageFramebuffer::newCGImageFromFramebufferContents() {
    std::optional<Image> image;
    runSynchronouslyOnVideoProcessingQueue([this, &image] {
        GLImageContext::useImageProcessingContext();
        const int width = static_cast<int>(size_.width);
        const int height = static_cast<int>(size_.height);
        if (width < 1 || height < 1) {
            unlock();
            return;
        }
        if (renderTarget_ && renderTexture_) {
            const std::size_t rowBytes = renderTarget_->bytesPerRow();
            const std::size_t totalBytes = (rowBytes / 4) * static_cast<std::size_t>(height) * 4;
            glFinish();
            std::shared_ptr<PixelBuffer> retained = renderTarget_;
            renderTarget_->lockBaseAddress(PixelBuffer::Lock::ReadOnly);
            std::shared_ptr<GLImageFramebuffer> self = shared_from_this();
            auto provider =
                std::make_shared<DataProvider>(renderTarget_->baseAddress(), totalBytes,
                                               [self, retained](const void*, std::size_t) mutable {
                                                   dataProviderUnlockCallback(*self);
                                                   retained.reset();
                                                   self.reset();
                                               });
            GLImageContext::sharedFramebufferCache().addFramebufferToActiveImageCaptureList(self);
            image.emplace(width, height, 8, 32, rowBytes,
                          kImageByteOrder32Little | kImageAlphaPremultipliedFirst,
                          std::move(provider));
            return;
        }
        std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * height * 4);
        activateFramebuffer();
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        auto provider = DataProvider::owning(std::move(pixels));
        unlock();
        image.emplace(width, height, 8, 32, static_cast<std::size_t>(width) * 4, kImageAlphaLast,
                      std::move(provider));
    });
    return image;
}

}  // namespace velmora

#include "Velmora/imaging/GLImageFramebufferCache.h"

#include <algorithm>

#include <fmt/format.h>

#include "Velmora/imaging/GLImageContext.h"

namespace velmora {

namespace {
std::string slotKey(const std::string& lookupKey, long slot) {
    return fmt::format("{}-{}", lookupKey, slot);
}
}  // namespace

GLImageFramebufferCache::GLImageFramebufferCache()
    : memoryWarningObserver_(NotificationCenter::defaultCenter().addObserver(
          kMemoryWarningNotification,
          [this](const Notification&) { purgeAllUnassignedFramebuffers(); })) {}

GLImageFramebufferCache::~GLImageFramebufferCache() = default;

std::string GLImageFramebufferCache::hashForSize(GLSize size, const GPUTextureOptions& options,
                                                 bool onlyTexture) {
    std::string key =
        fmt::format("{:.1f}x{:.1f}-{}:{}:{}:{}:{}:{}:{}", size.width, size.height,
                    static_cast<int>(options.minFilter), static_cast<int>(options.magFilter),
                    static_cast<int>(options.wrapS), static_cast<int>(options.wrapT),
                    static_cast<int>(options.internalFormat), static_cast<int>(options.format),
                    static_cast<int>(options.type));
    if (onlyTexture) {
        key += "-NOFB";
    }
    return key;
}

std::shared_ptr<GLImageFramebuffer> GLImageFramebufferCache::fetchFramebufferForSize(
    GLSize size, const GPUTextureOptions& options, bool onlyTexture) {
    std::shared_ptr<GLImageFramebuffer> framebuffer;
    runSynchronouslyOnVideoProcessingQueue([&] {
        const std::string lookupKey = hashForSize(size, options, onlyTexture);
        const auto count = framebufferTypeCounts_.find(lookupKey);
        const long numberOfMatchingTextures =
            count == framebufferTypeCounts_.end() ? 0 : count->second;
        if (numberOfMatchingTextures >= 1) {
            long slot = numberOfMatchingTextures - 1;
            for (; slot >= 0; --slot) {
                const auto found = framebufferCache_.find(slotKey(lookupKey, slot));
                if (found != framebufferCache_.end()) {
                    framebuffer = std::move(found->second);
                    framebufferCache_.erase(found);
                    break;
                }
            }
            framebufferTypeCounts_[lookupKey] = framebuffer ? slot : 0;
        }
        if (!framebuffer) {
            framebuffer = GLImageFramebuffer::create(size, options, onlyTexture);
        }
    });
    framebuffer->lock();
    return framebuffer;
}

std::shared_ptr<GLImageFramebuffer> GLImageFramebufferCache::fetchFramebufferForSize(
    GLSize size, bool onlyTexture) {
    return fetchFramebufferForSize(size, GPUTextureOptions{}, onlyTexture);
}

void GLImageFramebufferCache::returnFramebufferToCache(
    std::shared_ptr<GLImageFramebuffer> framebuffer) {
    framebuffer->clearAllLocks();
    runAsynchronouslyOnVideoProcessingQueue([this, framebuffer = std::move(framebuffer)] {
        const std::string lookupKey = hashForSize(
            framebuffer->size(), framebuffer->textureOptions(), framebuffer->missingFramebuffer());
        long& count = framebufferTypeCounts_[lookupKey];
        framebufferCache_[slotKey(lookupKey, count)] = framebuffer;
        ++count;
    });
}

void GLImageFramebufferCache::purgeAllUnassignedFramebuffers() {
    runAsynchronouslyOnVideoProcessingQueue([this] {
        GLImageContext::useImageProcessingContext();
        framebufferCache_.clear();
        framebufferTypeCounts_.clear();
        if (TextureCache* textures =
                GLImageContext::sharedImageProcessingContext().coreVideoTextureCache()) {
            textures->flush();
        }
    });
}

void GLImageFramebufferCache::addFramebufferToActiveImageCaptureList(
    std::shared_ptr<GLImageFramebuffer> framebuffer) {
    runAsynchronouslyOnVideoProcessingQueue([this, framebuffer = std::move(framebuffer)] {
        activeImageCaptureList_.push_back(framebuffer);
    });
}

void GLImageFramebufferCache::removeFramebufferFromActiveImageCaptureList(
    std::shared_ptr<GLImageFramebuffer> framebuffer) {
    runAsynchronouslyOnVideoProcessingQueue([this, framebuffer = std::move(framebuffer)] {
        const auto found =
            std::find(activeImageCaptureList_.begin(), activeImageCaptureList_.end(), framebuffer);
        if (found != activeImageCaptureList_.end()) {
            activeImageCaptureList_.erase(found);
        }
    });
}

std::size_t GLImageFramebufferCache::idleFramebufferCount() const {
    std::size_t count = 0;
    runSynchronouslyOnVideoProcessingQueue([&] { count = framebufferCache_.size(); });
    return count;
}

long GLImageFramebufferCache::framebufferTypeCount(const std::string& lookupKey) const {
    long count = 0;
    runSynchronouslyOnVideoProcessingQueue([&] {
        const auto found = framebufferTypeCounts_.find(lookupKey);
        count = found == framebufferTypeCounts_.end() ? 0 : found->second;
    });
    return count;
}

std::size_t GLImageFramebufferCache::activeImageCaptureCount() const {
    std::size_t count = 0;
    runSynchronouslyOnVideoProcessingQueue([&] { count = activeImageCaptureList_.size(); });
    return count;
}

}  // namespace velmora

#pragma once
// GLImageFramebufferCache: idle framebuffers kept for reuse, per exact size and texture
// options, so that a running pipeline allocates nothing per frame.
//
// Idle and in-use sets:
//   idle     framebufferCache_: slot key -> framebuffer. A slot key is the lookup key
//            (hashForSize) plus "-<slot>"; slots of one lookup key are numbered from 0 and
//            framebufferTypeCounts_ holds how many are in use, so returned framebuffers
//            stack up per key and the most recently returned is handed out first.
//   in use   not held here at all: a fetched framebuffer belongs to whoever locked it,
//            and comes back through returnFramebufferToCache when its count reaches 0.
//   captured activeImageCaptureList_: framebuffers whose pixels an Image shares; the
//            list keeps them alive until the Image lets go.
// A memory warning ("UIApplicationDidReceiveMemoryWarningNotification") empties the idle
// set; in-use and captured framebuffers are untouched and return later under fresh counts.
//
// Thread safety: every operation may be called from any thread. The dictionaries are
// only touched on the processing queue: fetch runs there synchronously; return, purge and
// capture-list changes are queued there.
//
//   auto& cache = GLImageContext::sharedFramebufferCache();
//   auto framebuffer = cache.fetchFramebufferForSize({640, 480}, false);  // locked once
//   framebuffer->unlock();  // back to the cache

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GPUTextureOptions.h"
#include "Velmora/imaging/gl/GLGeometry.h"
#include "Velmora/platform/foundation/NotificationCenter.h"

namespace velmora {

inline constexpr const char* kMemoryWarningNotification =
    "UIApplicationDidReceiveMemoryWarningNotification";

class GLImageFramebufferCache {
  public:
    GLImageFramebufferCache();
    ~GLImageFramebufferCache();
    GLImageFramebufferCache(const GLImageFramebufferCache&) = delete;
    GLImageFramebufferCache& operator=(const GLImageFramebufferCache&) = delete;

    // "640.0x480.0-9729:9729:33071:33071:6408:32993:5121", with "-NOFB" for texture-only.
    static std::string hashForSize(GLSize size, const GPUTextureOptions& options, bool onlyTexture);

    // An idle framebuffer of this kind, or a new one; locked once for the caller.
    [[nodiscard]] std::shared_ptr<GLImageFramebuffer> fetchFramebufferForSize(
        GLSize size, const GPUTextureOptions& options, bool onlyTexture);
    [[nodiscard]] std::shared_ptr<GLImageFramebuffer> fetchFramebufferForSize(GLSize size,
                                                                              bool onlyTexture);
    // Clears the framebuffer's locks now, and files it as idle on the processing queue.
    void returnFramebufferToCache(std::shared_ptr<GLImageFramebuffer> framebuffer);
    // Drops every idle framebuffer and flushes the texture cache (queued).
    void purgeAllUnassignedFramebuffers();
    void addFramebufferToActiveImageCaptureList(std::shared_ptr<GLImageFramebuffer> framebuffer);
    void removeFramebufferFromActiveImageCaptureList(
        std::shared_ptr<GLImageFramebuffer> framebuffer);

    // For diagnostics and tests; each waits for the processing queue.
    [[nodiscard]] std::size_t idleFramebufferCount() const;
    [[nodiscard]] long framebufferTypeCount(const std::string& lookupKey) const;
    [[nodiscard]] std::size_t activeImageCaptureCount() const;

  private:
    std::unordered_map<std::string, std::shared_ptr<GLImageFramebuffer>> framebufferCache_;
    std::unordered_map<std::string, long> framebufferTypeCounts_;
    std::vector<std::shared_ptr<GLImageFramebuffer>> activeImageCaptureList_;
    NotificationCenter::Observation memoryWarningObserver_;
};

}  // namespace velmora

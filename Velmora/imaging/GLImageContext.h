#pragma once
// GLImageContext: the image pipeline's one OpenGL ES 2.0 context, the serial processing
// queue every GL call runs on, the cache of linked shader programs, the framebuffer cache
// and the texture cache for pixel-buffer textures. One shared instance per process.
//
// Reach the queue through runSynchronouslyOnVideoProcessingQueue and
// runAsynchronouslyOnVideoProcessingQueue: besides running nested calls inline, they take
// the context off the thread when an outermost block ends. EGL lets a context be current
// on one thread at a time, and the queue's blocks run on whichever thread is free (a sync
// runs on its caller's thread), so every block must leave the context free for the next.
//
// Thread safety: the static functions may be called from any thread; everything that
// touches GL (the device queries included) runs on the processing queue. Instance
// operations other than the accessors of the queue and caches REQUIRE the processing
// queue.
//
//   runSynchronouslyOnVideoProcessingQueue([] {
//       GLImageContext::useImageProcessingContext();
//       glClear(GL_COLOR_BUFFER_BIT);
//   });

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <GLES2/gl2.h>

#include "Velmora/imaging/gl/EglContext.h"
#include "Velmora/imaging/gl/GLGeometry.h"
#include "Velmora/imaging/gl/TextureCache.h"
#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {

class GLProgram;
class GLImageFramebufferCache;

// On the processing queue already: runs block now. Elsewhere: runs it there and waits.
void runSynchronouslyOnVideoProcessingQueue(const std::function<void()>& block);
// On the processing queue already: runs block now, before returning. Elsewhere: queues it.
void runAsynchronouslyOnVideoProcessingQueue(std::function<void()> block);
// On the main thread: runs block now. Elsewhere: runs it on the main queue and waits.
void runOnMainQueueWithoutDeadlockingGLImage(const std::function<void()>& block);
// Logs "<tag> - Memory used: <resident bytes>" (an empty tag is "Default").
void reportAvailableMemoryForGLImage(std::string_view tag = {});

class GLImageContext {
  public:
    // The queue-specific key that marks the processing queue.
    static const void* contextKey();
    static GLImageContext& sharedImageProcessingContext();
    static const std::shared_ptr<DispatchQueue>& sharedContextQueue();
    static GLImageFramebufferCache& sharedFramebufferCache();

    // Makes the shared context current on this thread unless it already is.
    // REQUIRES: the processing queue.
    static void useImageProcessingContext();
    // REQUIRES: the processing queue.
    static void setActiveShaderProgram(const std::shared_ptr<GLProgram>& program);

    // Queried once per process (on the processing queue), then remembered. Safe to call
    // for the first time from several threads and from queue blocks at once.
    static GLint maximumTextureSizeForThisDevice();
    static GLint maximumTextureUnitsForThisDevice();
    static GLint maximumVaryingVectorsForThisDevice();
    static bool deviceSupportsOpenGLESExtension(std::string_view extension);
    static bool deviceSupportsRedTextures();
    static bool deviceSupportsFramebufferReads();
    // Framebuffers are backed by pixel buffers (true) or plain textures read with
    // glReadPixels (false). True unless a test turns it off; a framebuffer keeps the way
    // it was made with.
    // The next device query asks GL again.
    static void forgetDeviceFactsForTesting();
    static bool supportsFastTextureUpload();
    static void setFastTextureUploadEnabledForTesting(bool enabled);

    // The size scaled down, keeping its proportions, so that neither side reaches the
    // maximum texture size (a side equal to it counts as too large). No rounding.
    static GLSize sizeThatFitsWithinATextureForSize(GLSize size);
    static GLSize sizeThatFitsWithinATextureForSize(GLSize size, double maximumTextureSize);

    GLImageContext(const GLImageContext&) = delete;
    GLImageContext& operator=(const GLImageContext&) = delete;

    // The GL context, made (and made current, with depth testing off) on first use; null
    // when no context can be had (logged once). REQUIRES: the processing queue.
    const std::shared_ptr<EglContext>& context();
    // A new GLES 2 context in the share group set by useSharegroup.
    std::shared_ptr<EglContext> createContext();
    // The share group, as any context of it; ignored once the context exists.
    void useSharegroup(std::shared_ptr<EglContext> sharegroup);
    // Presents the bound renderbuffer; headless contexts have none and answer false.
    bool presentBufferForDisplay();

    // The cached program for this pair of sources, created (not linked) on first request.
    // REQUIRES: the processing queue, with the context current.
    std::shared_ptr<GLProgram> programForVertexShaderString(const std::string& vertexShader,
                                                            const std::string& fragmentShader);
    // REQUIRES: the processing queue.
    TextureCache* coreVideoTextureCache();
    GLImageFramebufferCache& framebufferCache();

    const std::shared_ptr<DispatchQueue>& contextQueue() const { return contextQueue_; }
    const std::shared_ptr<GLProgram>& currentShaderProgram() const { return currentShaderProgram_; }
    void setCurrentShaderProgram(std::shared_ptr<GLProgram> program) {
        currentShaderProgram_ = std::move(program);
    }

    // What the queue functions do around an outermost block: make the context (once it
    // exists) current on this thread, and take it off again (see above).
    void takeContextOnThisThread();
    void releaseContextFromThisThread();

  private:
    template <class>
    friend class NoDestructor;
    GLImageContext();
    ~GLImageContext();

    struct DeviceFacts {
        GLint maximumTextureSize = 0;
        GLint maximumTextureUnits = 0;
        GLint maximumVaryingVectors = 0;
        std::vector<std::string> extensions;
    };
    static DeviceFacts queryDeviceFacts();
    template <class Read>
    static auto readDeviceFacts(Read read);

    std::unordered_map<std::string, std::shared_ptr<GLProgram>> shaderProgramCache_;
    std::vector<std::shared_ptr<GLProgram>> shaderProgramUsageHistory_;  // kept, unused
    std::shared_ptr<EglContext> sharegroup_;
    std::shared_ptr<EglContext> context_;
    bool contextFailed_ = false;
    std::shared_ptr<GLProgram> currentShaderProgram_;
    std::shared_ptr<DispatchQueue> contextQueue_;
    std::unique_ptr<TextureCache> coreVideoTextureCache_;
    std::once_flag framebufferCacheOnce_;
    std::unique_ptr<GLImageFramebufferCache> framebufferCache_;
    std::optional<DeviceFacts> deviceFacts_;  // touched on the processing queue only
};

}  // namespace velmora

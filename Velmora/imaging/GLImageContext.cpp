#include "Velmora/imaging/GLImageContext.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fmt/format.h>
#include <unistd.h>

#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/GLProgram.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

namespace {

// Its own address is the key (see contextKey()).
const void* gContextKey = nullptr;
std::atomic<bool> gFastTextureUpload{true};

struct DeviceLimits {
    GLint maximumTextureSize = 0;
    GLint maximumTextureUnits = 0;
    GLint maximumVaryingVectors = 0;
};

const DeviceLimits& deviceLimits() {
    static const DeviceLimits limits = [] {
        DeviceLimits queried;
        runSynchronouslyOnVideoProcessingQueue([&queried] {
            GLImageContext::useImageProcessingContext();
            glGetIntegerv(GL_MAX_TEXTURE_SIZE, &queried.maximumTextureSize);
            glGetIntegerv(GL_MAX_TEXTURE_IMAGE_UNITS, &queried.maximumTextureUnits);
            glGetIntegerv(GL_MAX_VARYING_VECTORS, &queried.maximumVaryingVectors);
        });
        return queried;
    }();
    return limits;
}

const std::vector<std::string>& supportedExtensions() {
    static const std::vector<std::string> extensions = [] {
        std::vector<std::string> names;
        runSynchronouslyOnVideoProcessingQueue([&names] {
            GLImageContext::useImageProcessingContext();
            const auto* text = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
            std::string_view rest = text != nullptr ? text : "";
            // Split on single spaces, as the list is documented to be written.
            while (!rest.empty()) {
                const auto space = rest.find(' ');
                names.emplace_back(rest.substr(0, space));
                if (space == std::string_view::npos) {
                    break;
                }
                rest.remove_prefix(space + 1);
            }
        });
        return names;
    }();
    return extensions;
}

// Runs block as the outermost block of the processing queue on this thread, then frees
// the context for whichever thread runs the next block.
void runAsOutermostBlock(const std::function<void()>& block) {
    GLImageContext& shared = GLImageContext::sharedImageProcessingContext();
    shared.takeContextOnThisThread();
    block();
    shared.releaseContextFromThisThread();
}

bool isOnProcessingQueue() {
    return DispatchQueue::currentSpecific(GLImageContext::contextKey()) != nullptr;
}

}  // namespace

void runSynchronouslyOnVideoProcessingQueue(const std::function<void()>& block) {
    if (isOnProcessingQueue()) {
        block();
        return;
    }
    GLImageContext::sharedContextQueue()->sync([&block] { runAsOutermostBlock(block); });
}

void runAsynchronouslyOnVideoProcessingQueue(std::function<void()> block) {
    if (isOnProcessingQueue()) {
        block();
        return;
    }
    GLImageContext::sharedContextQueue()->async(
        [block = std::move(block)] { runAsOutermostBlock(block); });
}

void runOnMainQueueWithoutDeadlockingGLImage(const std::function<void()>& block) {
    if (RunLoop::isMainThread()) {
        block();
        return;
    }
    DispatchQueue::main().sync(block);
}

void reportAvailableMemoryForGLImage(std::string_view tag) {
    const std::string_view name = tag.empty() ? std::string_view("Default") : tag;
    // The kernel's view of the process: /proc/self/statm gives the resident set in pages.
    std::FILE* statm = std::fopen("/proc/self/statm", "re");
    unsigned long long totalPages = 0;
    unsigned long long residentPages = 0;
    const bool read =
        statm != nullptr && std::fscanf(statm, "%llu %llu", &totalPages, &residentPages) == 2;
    const int error = statm == nullptr ? errno : (read ? 0 : EIO);
    if (statm != nullptr) {
        std::fclose(statm);
    }
    if (!read) {
        log::error("{} - Error: {}", name, std::strerror(error));
        return;
    }
    const auto bytes = residentPages * static_cast<unsigned long long>(::sysconf(_SC_PAGESIZE));
    log::info("{} - Memory used: {}", name, static_cast<std::uint32_t>(bytes));
}

const void* GLImageContext::contextKey() {
    return &gContextKey;
}

GLImageContext& GLImageContext::sharedImageProcessingContext() {
    static NoDestructor<GLImageContext> shared;
    return *shared;
}

const std::shared_ptr<DispatchQueue>& GLImageContext::sharedContextQueue() {
    return sharedImageProcessingContext().contextQueue();
}

GLImageFramebufferCache& GLImageContext::sharedFramebufferCache() {
    return sharedImageProcessingContext().framebufferCache();
}

GLImageContext::GLImageContext()
    : contextQueue_(DispatchQueue::createSerial("org.velmora.GLImage.openGLESContextQueue")) {
    gContextKey = &gContextKey;
    contextQueue_->setSpecific(contextKey(), this);
}

GLImageContext::~GLImageContext() = default;

void GLImageContext::useImageProcessingContext() {
    const auto& context = sharedImageProcessingContext().context();
    if (context && !context->isCurrent() && !context->makeCurrent()) {
        log::error("Could not make the image processing context current on this thread");
    }
}

void GLImageContext::setActiveShaderProgram(const std::shared_ptr<GLProgram>& program) {
    GLImageContext& shared = sharedImageProcessingContext();
    useImageProcessingContext();
    if (shared.currentShaderProgram_ != program) {
        shared.currentShaderProgram_ = program;
        if (program) {
            program->use();
        }
    }
}

GLint GLImageContext::maximumTextureSizeForThisDevice() {
    return deviceLimits().maximumTextureSize;
}

GLint GLImageContext::maximumTextureUnitsForThisDevice() {
    return deviceLimits().maximumTextureUnits;
}

GLint GLImageContext::maximumVaryingVectorsForThisDevice() {
    return deviceLimits().maximumVaryingVectors;
}

bool GLImageContext::deviceSupportsOpenGLESExtension(std::string_view extension) {
    for (const std::string& name : supportedExtensions()) {
        if (name == extension) {
            return true;
        }
    }
    return false;
}

bool GLImageContext::deviceSupportsRedTextures() {
    static const bool supported = deviceSupportsOpenGLESExtension("GL_EXT_texture_rg");
    return supported;
}

bool GLImageContext::deviceSupportsFramebufferReads() {
    static const bool supported =
        deviceSupportsOpenGLESExtension("GL_EXT_shader_framebuffer_fetch");
    return supported;
}

bool GLImageContext::supportsFastTextureUpload() {
    return gFastTextureUpload.load();
}

void GLImageContext::setFastTextureUploadEnabledForTesting(bool enabled) {
    gFastTextureUpload.store(enabled);
}

GLSize GLImageContext::sizeThatFitsWithinATextureForSize(GLSize size) {
    return sizeThatFitsWithinATextureForSize(size, maximumTextureSizeForThisDevice());
}

GLSize GLImageContext::sizeThatFitsWithinATextureForSize(GLSize size, double maximumTextureSize) {
    const double m = maximumTextureSize;
    if (size.width < m && size.height < m) {
        return size;
    }
    if (size.width > size.height) {
        return {m, size.height * m / size.width};
    }
    return {size.width * m / size.height, m};
}

const std::shared_ptr<EglContext>& GLImageContext::context() {
    if (!context_ && !contextFailed_) {
        context_ = createContext();
        if (context_ && context_->makeCurrent()) {
            glDisable(GL_DEPTH_TEST);
        }
    }
    return context_;
}

std::shared_ptr<EglContext> GLImageContext::createContext() {
    std::string why;
    auto created = EglContext::create(sharegroup_.get(), &why);
    if (!created) {
        contextFailed_ = true;
        log::error("Could not create the OpenGL ES 2 context: {}", why);
    }
    return created;
}

void GLImageContext::useSharegroup(std::shared_ptr<EglContext> sharegroup) {
    sharegroup_ = std::move(sharegroup);
}

bool GLImageContext::presentBufferForDisplay() {
    const auto& current = context();
    return current && current->presentRenderbuffer();
}

std::shared_ptr<GLProgram> GLImageContext::programForVertexShaderString(
    const std::string& vertexShader, const std::string& fragmentShader) {
    std::string key = fmt::format("V: {} - F: {}", vertexShader, fragmentShader);
    auto found = shaderProgramCache_.find(key);
    if (found != shaderProgramCache_.end()) {
        return found->second;
    }
    auto program = std::make_shared<GLProgram>(vertexShader, fragmentShader);
    shaderProgramCache_.emplace(std::move(key), program);
    return program;
}

TextureCache* GLImageContext::coreVideoTextureCache() {
    if (!coreVideoTextureCache_) {
        if (const auto& current = context(); current && current->makeCurrent()) {
            coreVideoTextureCache_ = TextureCache::create(current);
        }
    }
    return coreVideoTextureCache_.get();
}

GLImageFramebufferCache& GLImageContext::framebufferCache() {
    std::call_once(framebufferCacheOnce_,
                   [this] { framebufferCache_ = std::make_unique<GLImageFramebufferCache>(); });
    return *framebufferCache_;
}

void GLImageContext::takeContextOnThisThread() {
    if (context_) {
        context_->makeCurrent();
    }
}

void GLImageContext::releaseContextFromThisThread() {
    if (context_) {
        context_->releaseCurrent();
    }
}

}  // namespace velmora

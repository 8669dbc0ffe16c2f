#include "Velmora/imaging/GLImageContext.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include <fmt/format.h>
#include <unistd.h>

#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/GLProgram.h"
#include "Velmora/imaging/gl/ExtensionList.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

namespace {

// Its own address is the key (see contextKey()).
const void* gContextKey = nullptr;
std::atomic<bool> gFastTextureUpload{true};

// Runs block as the outermost block of the processing queue on this thread, then frees
// the context for whichever thread runs the next block, even when block throws.
void runAsOutermostBlock(const std::function<void()>& block) {
    class ContextTenure {
      public:
        explicit ContextTenure(GLImageContext& context) : context_(context) {
            context_.takeContextOnThisThread();
        }
        ~ContextTenure() { context_.releaseContextFromThisThread(); }
        ContextTenure(const ContextTenure&) = delete;
        ContextTenure& operator=(const ContextTenure&) = delete;

      private:
        GLImageContext& context_;
    };
    ContextTenure tenure(GLImageContext::sharedImageProcessingContext());
    block();
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
    // The exception crosses the queue as a value, so that the caller gets it whatever the
    // queue itself does with a throwing block.
    std::exception_ptr thrown;
    GLImageContext::sharedContextQueue()->sync([&block, &thrown] {
        try {
            runAsOutermostBlock(block);
        } catch (...) {
            thrown = std::current_exception();
        }
    });
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

void runAsynchronouslyOnVideoProcessingQueue(std::function<void()> block) {
    if (isOnProcessingQueue()) {
        block();
        return;
    }
    // The block's captures (often the last reference to a filter) are destroyed inside the
    // outermost block, on the queue with the context current: a destructor that syncs
    // onto the queue would otherwise wait for the very block that is ending.
    GLImageContext::sharedContextQueue()->async([block = std::move(block)]() mutable {
        try {
            runAsOutermostBlock([&block] {
                const std::function<void()> running = std::move(block);
                running();
            });
        } catch (const std::exception& error) {
            log::error("A block on the image processing queue threw: {}", error.what());
        } catch (...) {
            log::error("A block on the image processing queue threw a non-standard exception");
        }
    });
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

// The first call queries GL inside the processing queue, whose serial order is the only
// guard: a function-local static here would hold its initialisation guard across the
// hand-off and deadlock against a queue block making the same first call.
template <class Read>
auto GLImageContext::readDeviceFacts(Read read) {
    decltype(read(std::declval<const DeviceFacts&>())) result{};
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext& shared = sharedImageProcessingContext();
        if (!shared.deviceFacts_) {
            shared.deviceFacts_ = queryDeviceFacts();
        }
        result = read(*shared.deviceFacts_);
    });
    return result;
}

GLImageContext::DeviceFacts GLImageContext::queryDeviceFacts() {
    DeviceFacts facts;
    useImageProcessingContext();
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &facts.maximumTextureSize);
    glGetIntegerv(GL_MAX_TEXTURE_IMAGE_UNITS, &facts.maximumTextureUnits);
    glGetIntegerv(GL_MAX_VARYING_VECTORS, &facts.maximumVaryingVectors);
    const auto* text = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    facts.extensions = splitExtensionList(text != nullptr ? text : "");
    return facts;
}

void GLImageContext::forgetDeviceFactsForTesting() {
    runSynchronouslyOnVideoProcessingQueue(
        [] { sharedImageProcessingContext().deviceFacts_.reset(); });
}

GLint GLImageContext::maximumTextureSizeForThisDevice() {
    return readDeviceFacts([](const DeviceFacts& facts) { return facts.maximumTextureSize; });
}

GLint GLImageContext::maximumTextureUnitsForThisDevice() {
    return readDeviceFacts([](const DeviceFacts& facts) { return facts.maximumTextureUnits; });
}

GLint GLImageContext::maximumVaryingVectorsForThisDevice() {
    return readDeviceFacts([](const DeviceFacts& facts) { return facts.maximumVaryingVectors; });
}

bool GLImageContext::deviceSupportsOpenGLESExtension(std::string_view extension) {
    return readDeviceFacts([extension](const DeviceFacts& facts) {
        return std::find(facts.extensions.begin(), facts.extensions.end(), extension) !=
               facts.extensions.end();
    });
}

bool GLImageContext::deviceSupportsRedTextures() {
    return deviceSupportsOpenGLESExtension("GL_EXT_texture_rg");
}

bool GLImageContext::deviceSupportsFramebufferReads() {
    return deviceSupportsOpenGLESExtension("GL_EXT_shader_framebuffer_fetch");
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

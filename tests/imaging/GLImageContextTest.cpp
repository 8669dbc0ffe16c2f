// The processing context: the EGL context, the queue functions, device queries, programs.
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/GLProgram.h"
#include "Velmora/imaging/gl/ExtensionList.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

using testing::ScopedLogCatcher;

TEST(EglContext, SurfacelessOrPbufferContextRendersOnAnyThreadInTurn) {
    VELMORA_REQUIRE_EGL();
    std::string why;
    auto context = EglContext::create(nullptr, &why);
    ASSERT_TRUE(context) << why;
    auto shared = EglContext::create(context.get(), &why);
    ASSERT_TRUE(shared) << why;
    ASSERT_TRUE(context->makeCurrent());
    GLTexture texture = generateTexture();
    EXPECT_NE(texture.name(), 0u);
    glBindTexture(GL_TEXTURE_2D, texture.name());  // a name becomes a texture when bound
    glBindTexture(GL_TEXTURE_2D, 0);
    context->releaseCurrent();
    EXPECT_FALSE(context->isCurrent());
    // Once released here, another thread may take it; while it holds it, this one cannot.
    std::promise<void> taken;
    std::promise<void> checked;
    bool tookIt = false;
    bool sharesObjects = false;
    std::thread other([&] {
        tookIt = context->makeCurrent();
        taken.set_value();
        checked.get_future().wait();
        context->releaseCurrent();
        // The share group sees the texture made in the first context.
        if (shared->makeCurrent()) {
            sharesObjects = glIsTexture(texture.name()) == GL_TRUE;
            shared->releaseCurrent();
        }
    });
    taken.get_future().wait();
    EXPECT_FALSE(context->makeCurrent());
    checked.set_value();
    other.join();
    EXPECT_TRUE(tookIt);
    EXPECT_TRUE(sharesObjects);
    ASSERT_TRUE(context->makeCurrent());
    texture.reset();
    context->releaseCurrent();
}

TEST(ProcessingQueue, NestedCallsRunInlineAndTheContextMovesBetweenThreads) {
    VELMORA_REQUIRE_EGL();
    bool innerRan = false;
    bool asyncRanBeforeReturn = false;
    runSynchronouslyOnVideoProcessingQueue([&] {
        EXPECT_NE(DispatchQueue::currentSpecific(GLImageContext::contextKey()), nullptr);
        runSynchronouslyOnVideoProcessingQueue([&] { innerRan = true; });  // would deadlock
        bool asyncRan = false;
        runAsynchronouslyOnVideoProcessingQueue([&] { asyncRan = true; });
        asyncRanBeforeReturn = asyncRan;
    });
    EXPECT_TRUE(innerRan);
    EXPECT_TRUE(asyncRanBeforeReturn);
    EXPECT_EQ(DispatchQueue::currentSpecific(GLImageContext::contextKey()), nullptr);

    // Blocks run on whichever thread asks; each must be able to make the context current.
    auto clearsOnThisThread = [] {
        bool current = false;
        runSynchronouslyOnVideoProcessingQueue([&] {
            GLImageContext::useImageProcessingContext();
            current = GLImageContext::sharedImageProcessingContext().context()->isCurrent();
        });
        return current;
    };
    EXPECT_TRUE(clearsOnThisThread());
    bool onOtherThread = false;
    std::thread([&] { onOtherThread = clearsOnThisThread(); }).join();
    EXPECT_TRUE(onOtherThread);
    EXPECT_TRUE(clearsOnThisThread());
    // Outside the queue the context is not left current on the caller's thread.
    EXPECT_FALSE(GLImageContext::sharedImageProcessingContext().context() &&
                 GLImageContext::sharedImageProcessingContext().context()->isCurrent());

    bool mainInline = false;
    runOnMainQueueWithoutDeadlockingGLImage([&] { mainInline = true; });  // tests own main
    EXPECT_TRUE(mainInline);
}

TEST(GLImageContext, DeviceLimitsAndExtensionsAreQueriedFromGL) {
    VELMORA_REQUIRE_EGL();
    EXPECT_GE(GLImageContext::maximumTextureSizeForThisDevice(), 2048);
    EXPECT_GE(GLImageContext::maximumTextureUnitsForThisDevice(), 8);
    EXPECT_GE(GLImageContext::maximumVaryingVectorsForThisDevice(), 8);
    // The pipeline's default format needs BGRA textures.
    EXPECT_TRUE(GLImageContext::deviceSupportsOpenGLESExtension("GL_EXT_texture_format_BGRA8888"));
    EXPECT_FALSE(GLImageContext::deviceSupportsOpenGLESExtension("GL_EXT_texture_format"));
    EXPECT_FALSE(GLImageContext::deviceSupportsOpenGLESExtension(""));
    EXPECT_EQ(GLImageContext::deviceSupportsRedTextures(),
              GLImageContext::deviceSupportsOpenGLESExtension("GL_EXT_texture_rg"));
    EXPECT_TRUE(GLImageContext::supportsFastTextureUpload());
    const double m = GLImageContext::maximumTextureSizeForThisDevice();
    EXPECT_EQ(GLImageContext::sizeThatFitsWithinATextureForSize({2 * m, m}), (GLSize{m, m / 2}));
}

// Regression: a first device query from a queue block while another thread made its own
// first query deadlocked on the function-local static's guard held across the hand-off.
TEST(GLImageContext, FirstDeviceQueryFromTheQueueAndAnotherThreadAtOnce) {
    VELMORA_REQUIRE_EGL();
    for (int round = 0; round < 3; ++round) {
        GLImageContext::forgetDeviceFactsForTesting();
        std::promise<void> otherAsking;
        auto inQueue = std::async(std::launch::async, [&] {
            GLint size = 0;
            runSynchronouslyOnVideoProcessingQueue([&] {
                otherAsking.get_future().wait();
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                size = GLImageContext::maximumTextureSizeForThisDevice();
            });
            return size;
        });
        auto outside = std::async(std::launch::async, [&] {
            otherAsking.set_value();
            return GLImageContext::maximumVaryingVectorsForThisDevice();
        });
        ASSERT_EQ(inQueue.wait_for(std::chrono::seconds(20)), std::future_status::ready);
        ASSERT_EQ(outside.wait_for(std::chrono::seconds(20)), std::future_status::ready);
        EXPECT_GE(inQueue.get(), 2048);
        EXPECT_GE(outside.get(), 8);
    }
}

// Regression: a throwing block skipped the context's release and left it current on the
// thread that ran it, so the next block on another thread could not make it current.
TEST(ProcessingQueue, ThrowingBlocksReleaseTheContextAndReachSyncCallers) {
    VELMORA_REQUIRE_EGL();
    ScopedLogCatcher log;
    runSynchronouslyOnVideoProcessingQueue([] { GLImageContext::useImageProcessingContext(); });
    EXPECT_THROW(runSynchronouslyOnVideoProcessingQueue([] {
                     GLImageContext::useImageProcessingContext();
                     throw std::runtime_error("sync block failed");
                 }),
                 std::runtime_error);
    const auto& context = GLImageContext::sharedImageProcessingContext().context();
    EXPECT_FALSE(context && context->isCurrent());
    runAsynchronouslyOnVideoProcessingQueue([] {
        GLImageContext::useImageProcessingContext();
        throw std::runtime_error("async block failed");
    });
    // Later work still runs, on another thread, with the context to itself.
    auto later = std::async(std::launch::async, [] {
        bool current = false;
        runSynchronouslyOnVideoProcessingQueue([&] {
            GLImageContext::useImageProcessingContext();
            current = GLImageContext::sharedImageProcessingContext().context()->isCurrent();
        });
        return current;
    });
    ASSERT_EQ(later.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_TRUE(later.get());
    EXPECT_GE(log.find("async block failed"), 0);
}

// Regression: a queued block holding the last reference to a filter destroyed it after the
// block had ended, and the destructor's sync onto the queue waited for that same block.
TEST(ProcessingQueue, FilterWhoseLastReferenceAQueuedBlockDrops) {
    VELMORA_REQUIRE_EGL();
    for (int round = 0; round < 3; ++round) {
        auto filter = GLImageFilter::create();
        filter->setFloat(0.5f, "unused");  // queues blocks that keep the filter alive
        filter.reset();
        auto drained = std::make_shared<std::promise<void>>();
        auto done = drained->get_future();
        // Detached, so that a regression fails here instead of hanging the suite.
        std::thread([drained] {
            runSynchronouslyOnVideoProcessingQueue([] {});
            drained->set_value();
        }).detach();
        ASSERT_EQ(done.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    }
}

TEST(ExtensionList, SplitsOnSpacesAndMatchesWholeNames) {
    EXPECT_EQ(splitExtensionList("GL_a  GL_b "), (std::vector<std::string>{"GL_a", "GL_b"}));
    EXPECT_TRUE(splitExtensionList("").empty());
    struct Case {
        const char* list;
        const char* name;
        bool contained;
    } const cases[] = {
        {"EGL_KHR_a EGL_KHR_ab", "EGL_KHR_ab", true},
        {"EGL_KHR_ab", "EGL_KHR_a", false},
        {"EGL_KHR_a", "EGL_KHR_a", true},
        {"", "", false},
        {"x  y", "", false},
        {"x y", "y", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(extensionListContains(c.list, c.name), c.contained) << c.list << " / " << c.name;
    }
}

// Counts how often the program of its sources gets its attributes, i.e. is linked.
class CountingFilter : public GLImageFilter {
  public:
    static inline std::atomic<int> initializations{0};
    CountingFilter(ConstructionKey key, std::string fragment)
        : GLImageFilter(key, std::move(fragment)) {}
    void initializeAttributes() override {
        GLImageFilter::initializeAttributes();
        ++initializations;
    }
};

TEST(GLProgram, FiltersWithTheSameSourcesShareOneProgramLinkedOnce) {
    VELMORA_REQUIRE_EGL();
    const std::string fragment =
        "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; "
        "void main() { gl_FragColor = texture2D(inputImageTexture, textureCoordinate).bgra; }";
    auto first = GLImageFilter::create<CountingFilter>(fragment);
    auto second = GLImageFilter::create<CountingFilter>(fragment);
    ASSERT_TRUE(first->filterProgram());
    EXPECT_EQ(first->filterProgram(), second->filterProgram());
    EXPECT_EQ(CountingFilter::initializations, 1);
    EXPECT_TRUE(first->filterProgram()->initialized());
    // Linking deleted the shaders.
    EXPECT_EQ(first->filterProgram()->vertShader(), 0u);
    EXPECT_EQ(first->filterProgram()->fragShader(), 0u);
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        auto& context = GLImageContext::sharedImageProcessingContext();
        EXPECT_EQ(context.programForVertexShaderString(kGLImageVertexShaderString, fragment),
                  first->filterProgram());
        EXPECT_NE(context.programForVertexShaderString(kGLImageVertexShaderString, fragment + " "),
                  first->filterProgram());
    });
}

TEST(GLProgram, AttributesBindOnceAndFailuresAreLogged) {
    VELMORA_REQUIRE_EGL();
    ScopedLogCatcher logs;
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        GLProgram program{std::string(kGLImageVertexShaderString),
                          std::string(kGLImagePassthroughFragmentShaderString)};
        program.addAttribute("position");
        program.addAttribute("inputTextureCoordinate");
        program.addAttribute("position");
        EXPECT_EQ(program.attributes().size(), 2u);
        EXPECT_EQ(program.attributeIndex("position"), 0);
        EXPECT_EQ(program.attributeIndex("inputTextureCoordinate"), 1);
        EXPECT_EQ(program.attributeIndex("color"), -1);
        ASSERT_TRUE(program.link());
        GLint location = -1;
        runSynchronouslyOnVideoProcessingQueue(
            [&] { location = glGetAttribLocation(program.program(), "inputTextureCoordinate"); });
        EXPECT_EQ(location, 1);
        EXPECT_GE(program.uniformIndex("inputImageTexture"), 0);
        EXPECT_EQ(program.uniformIndex("missing"), -1);

        // A missing fragment source: the load message (worded for the vertex shader, as
        // always), then the compile failure; the link fails and leaves it unlinked.
        GLProgram broken{std::string(kGLImageVertexShaderString), std::nullopt};
        EXPECT_FALSE(broken.link());
        EXPECT_FALSE(broken.initialized());
        EXPECT_NE(broken.vertShader(), 0u);  // kept after a failed link
        EXPECT_TRUE(broken.programLog().has_value());
        // Read through the program queries, a shader's log is never there.
        EXPECT_FALSE(broken.vertexShaderLog().has_value());
    });
    const int load = logs.find("Failed to load vertex shader");
    ASSERT_GE(load, 0);
    EXPECT_GT(logs.find("Failed to compile fragment shader", load), load);
    EXPECT_EQ(logs.find("Failed to compile vertex shader"), -1);
}

TEST(GLImageFilter, LinkFailureLogsTheThreeLogsInOrder) {
    VELMORA_REQUIRE_EGL();
    ScopedLogCatcher logs;
    auto filter = GLImageFilter::create(std::string("void main() { gl_FragColor = nonsense; }"));
    EXPECT_FALSE(filter->filterProgram());
    const int program = logs.find("Program link log: ");
    ASSERT_GE(program, 0);
    const int fragment = logs.find("Fragment shader compile log: ", program);
    EXPECT_GT(fragment, program);
    EXPECT_GT(logs.find("Vertex shader compile log: ", fragment), fragment);
    EXPECT_GE(logs.find("Shader compile log:"), 0);
}

TEST(MemoryReport, LogsResidentSizeWithTheTag) {
    ScopedLogCatcher logs;
    reportAvailableMemoryForGLImage("after load");
    reportAvailableMemoryForGLImage();
    const auto lines = logs.lines();
    const int tagged = logs.find("after load - Memory used: ");
    ASSERT_GE(tagged, 0);
    const std::string& line = lines[static_cast<std::size_t>(tagged)];
    const auto value = std::stoull(line.substr(line.find("Memory used: ") + 13));
    EXPECT_GT(value, 1024u * 1024u);  // a test program is resident in more than a megabyte
    EXPECT_GE(logs.find("Default - Memory used: "), 0);
}

}  // namespace
}  // namespace velmora

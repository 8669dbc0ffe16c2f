// The single-pass filter end to end on the GL: rotations, sizes, locks, targets, capture.
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/GLProgram.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

using testing::makeDistinctImage;
using testing::makeImage;

void drainProcessingQueue() {
    runSynchronouslyOnVideoProcessingQueue([] {});
}

TEST(GLImageFilter, EveryRotationPixelByPixel) {
    VELMORA_REQUIRE_EGL();
    constexpr int kW = 3;
    constexpr int kH = 2;
    const Image input = makeDistinctImage(kW, kH);
    // Which input pixel lands at output (x, y); rows counted from the top.
    struct Case {
        GLImageRotationMode mode;
        bool swaps;
        std::function<std::pair<int, int>(int, int)> source;
    };
    const Case cases[] = {
        {GLImageRotationMode::NoRotation, false, [](int x, int y) { return std::pair(x, y); }},
        {GLImageRotationMode::RotateLeft, true,
         [](int x, int y) { return std::pair(kW - 1 - y, x); }},
        {GLImageRotationMode::RotateRight, true,
         [](int x, int y) { return std::pair(y, kH - 1 - x); }},
        {GLImageRotationMode::FlipVertical, false,
         [](int x, int y) { return std::pair(x, kH - 1 - y); }},
        {GLImageRotationMode::FlipHorizontal, false,
         [](int x, int y) { return std::pair(kW - 1 - x, y); }},
        {GLImageRotationMode::RotateRightFlipVertical, true,
         [](int x, int y) { return std::pair(y, x); }},
        {GLImageRotationMode::RotateRightFlipHorizontal, true,
         [](int x, int y) { return std::pair(kW - 1 - y, kH - 1 - x); }},
        {GLImageRotationMode::Rotate180, false,
         [](int x, int y) { return std::pair(kW - 1 - x, kH - 1 - y); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.mode));
        auto filter = GLImageFilter::create();
        filter->setInputRotation(c.mode, 0);
        const std::optional<Image> output = filter->newCGImageByFilteringCGImage(input);
        ASSERT_TRUE(output);
        ASSERT_EQ(output->width(), c.swaps ? kH : kW);
        ASSERT_EQ(output->height(), c.swaps ? kW : kH);
        for (int y = 0; y < output->height(); ++y) {
            for (int x = 0; x < output->width(); ++x) {
                const auto [sx, sy] = c.source(x, y);
                EXPECT_EQ(output->pixelAt(x, y), input.pixelAt(sx, sy)) << x << "," << y;
            }
        }
    }
}

TEST(GLImageFilter, ForcedSizes) {
    VELMORA_REQUIRE_EGL();
    const Image wide = makeImage(400, 200, [](int, int) { return Rgba8{10, 20, 30, 255}; });
    auto filter = GLImageFilter::create();
    filter->forceProcessingAtSizeRespectingAspectRatio({100, 100});
    auto fitted = filter->newCGImageByFilteringCGImage(wide);
    ASSERT_TRUE(fitted);
    EXPECT_EQ(fitted->width(), 100);
    EXPECT_EQ(fitted->height(), 50);
    EXPECT_EQ(fitted->pixelAt(99, 49), (Rgba8{10, 20, 30, 255}));

    auto exact = GLImageFilter::create();
    exact->forceProcessingAtSize({64, 16});
    auto stretched = exact->newCGImageByFilteringCGImage(wide);
    ASSERT_TRUE(stretched);
    EXPECT_EQ(stretched->width(), 64);
    EXPECT_EQ(stretched->height(), 16);
    // A zero size lifts the override: the next input sets the size again.
    exact->forceProcessingAtSize({});
    auto natural = exact->newCGImageByFilteringCGImage(wide);
    ASSERT_TRUE(natural);
    EXPECT_EQ(natural->width(), 400);

    const Image photo = makeImage(64, 48, [](int, int) { return Rgba8{1, 2, 3, 255}; });
    auto turned = GLImageFilter::create();
    turned->setInputRotation(GLImageRotationMode::RotateLeft, 0);
    auto portrait = turned->newCGImageByFilteringCGImage(photo);
    ASSERT_TRUE(portrait);
    EXPECT_EQ(portrait->width(), 48);
    EXPECT_EQ(portrait->height(), 64);
}

TEST(GLImageFilter, PreventRenderingStillUnlocksItsInput) {
    VELMORA_REQUIRE_EGL();
    const GLSize forced{37, 23};
    const std::string key =
        GLImageFramebufferCache::hashForSize(forced, GPUTextureOptions{}, false);
    auto picture = GLImagePicture::create(makeDistinctImage(8, 8));
    auto first = GLImageFilter::create();
    first->forceProcessingAtSize(forced);
    auto stopped = GLImageFilter::create();
    stopped->setPreventRendering(true);
    picture->addTarget(first);
    first->addTarget(stopped);
    drainProcessingQueue();
    const long idleBefore = GLImageContext::sharedFramebufferCache().framebufferTypeCount(key);
    picture->processImageSynchronously();
    drainProcessingQueue();
    // first's output: fetched (1), locked by stopped (2), unlocked by first after
    // announcing (1), unlocked by stopped instead of drawing (0): back in the cache.
    EXPECT_EQ(GLImageContext::sharedFramebufferCache().framebufferTypeCount(key), idleBefore + 1);
    ASSERT_TRUE(stopped->firstInputFramebuffer());
    EXPECT_EQ(stopped->firstInputFramebuffer()->framebufferReferenceCount(), 0u);
    EXPECT_FALSE(stopped->framebufferForOutput());
}

// Records what its source tells it.
class RecordingTarget : public GLImageInput {
  public:
    std::vector<std::string> calls;
    void newFrameReadyAtTime(const FrameTime& time, int index) override {
        calls.push_back("newFrameReady " + std::to_string(index) +
                        (time.isIndefinite() ? " indefinite" : ""));
    }
    void setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer, int index) override {
        calls.push_back("setInputFramebuffer " + std::to_string(index) +
                        (framebuffer ? " framebuffer" : " none"));
    }
    int nextAvailableTextureIndex() const override { return 3; }
    void setInputSize(GLSize size, int index) override {
        calls.push_back("setInputSize " + std::to_string(static_cast<int>(size.width)) + "x" +
                        std::to_string(static_cast<int>(size.height)) + " " +
                        std::to_string(index));
    }
    void setInputRotation(GLImageRotationMode rotation, int index) override {
        calls.push_back("setInputRotation " + std::to_string(static_cast<int>(rotation)) + " " +
                        std::to_string(index));
    }
    GLSize maximumOutputSize() const override { return {}; }
    void endProcessing() override { calls.push_back("endProcessing"); }
    bool shouldIgnoreUpdatesToThisTarget() const override { return false; }
    bool enabled() const override { return true; }
    bool wantsMonochromeInput() const override { return false; }
    void setCurrentlyReceivingMonochromeInput(bool) override {}
};

TEST(GLImageOutput, TargetListChanges) {
    VELMORA_REQUIRE_EGL();
    auto picture = GLImagePicture::create(makeDistinctImage(6, 4));
    auto target = std::make_shared<RecordingTarget>();
    picture->addTarget(target);
    picture->addTarget(target);  // no effect the second time
    ASSERT_EQ(picture->targets().size(), 1u);
    picture->processImageSynchronously();
    EXPECT_EQ(target->calls,
              (std::vector<std::string>{"setInputFramebuffer 3 framebuffer",
                                        "setInputFramebuffer 3 framebuffer", "setInputSize 6x4 3",
                                        "newFrameReady 3 indefinite"}));
    target->calls.clear();
    picture->removeTarget(target);
    EXPECT_EQ(target->calls, (std::vector<std::string>{"setInputSize 0x0 3", "setInputRotation 0 3",
                                                       "endProcessing"}));
    EXPECT_TRUE(picture->targets().empty());
    picture->removeTarget(target);  // absent: nothing sent
    EXPECT_EQ(target->calls.size(), 3u);

    // removeAllTargets resets size and rotation but does not end processing.
    auto other = std::make_shared<RecordingTarget>();
    picture->addTarget(target);
    picture->addTarget(other, 1);
    target->calls.clear();
    other->calls.clear();
    picture->removeAllTargets();
    EXPECT_EQ(other->calls,
              (std::vector<std::string>{"setInputSize 0x0 1", "setInputRotation 0 1"}));
    EXPECT_TRUE(picture->targets().empty());
}

TEST(GLImageFilter, EndProcessingPropagatesOnce) {
    VELMORA_REQUIRE_EGL();
    auto filter = GLImageFilter::create();
    auto target = std::make_shared<RecordingTarget>();
    filter->addTarget(target);
    filter->endProcessing();
    filter->endProcessing();
    EXPECT_EQ(std::count(target->calls.begin(), target->calls.end(), "endProcessing"), 1);
}

TEST(GLImageFilter, CaptureWithoutAFrameTimesOut) {
    VELMORA_REQUIRE_EGL();
    auto filter = GLImageFilter::create();
    // Never armed, never rendered: nothing to capture, and no waiting for it.
    EXPECT_FALSE(filter->newCGImageFromCurrentlyProcessedOutput());
    // Armed, but no frame comes: the capture gives up after three seconds.
    filter->useNextFrameForImageCapture();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(filter->newCGImageFromCurrentlyProcessedOutput());
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(2900));
    EXPECT_LT(waited, std::chrono::seconds(10));
}

TEST(GLImageFilter, UniformsAreReplayedPerFilterOverASharedProgram) {
    VELMORA_REQUIRE_EGL();
    const std::string fragment =
        "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; "
        "uniform lowp vec4 tint; uniform lowp float gain; "
        "void main() { gl_FragColor = tint * gain + 0.0 * texture2D(inputImageTexture, "
        "textureCoordinate); }";
    auto red = GLImageFilter::create(fragment);
    auto green = GLImageFilter::create(fragment);
    ASSERT_EQ(red->filterProgram(), green->filterProgram());
    red->setFloatVec4({1, 0, 0, 1}, "tint");
    red->setFloat(1.0f, "gain");
    green->setFloatVec4({0, 1, 0, 1}, "tint");
    green->setFloat(1.0f, "gain");
    const Image input = makeDistinctImage(2, 2);
    // green set the shared program's uniform last; red's draw must replay its own value.
    auto redOut = red->newCGImageByFilteringCGImage(input);
    auto greenOut = green->newCGImageByFilteringCGImage(input);
    ASSERT_TRUE(redOut && greenOut);
    EXPECT_EQ(redOut->pixelAt(1, 1), (Rgba8{255, 0, 0, 255}));
    EXPECT_EQ(greenOut->pixelAt(0, 0), (Rgba8{0, 255, 0, 255}));

    // One block per location, whatever program it was set for: the later one stays.
    GLint tint = -1;
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        tint = red->filterProgram()->uniformIndex("tint");
    });
    const std::size_t blocks = red->uniformStateBlockCount();
    std::shared_ptr<GLProgram> otherProgram;
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        otherProgram = GLImageContext::sharedImageProcessingContext().programForVertexShaderString(
            kGLImageVertexShaderString, kGLImagePassthroughFragmentShaderString);
    });
    red->setVec4({0, 0, 1, 1}, tint, otherProgram);
    red->setVec4({1, 1, 0, 1}, tint, red->filterProgram());
    drainProcessingQueue();
    EXPECT_EQ(red->uniformStateBlockCount(), blocks);
    auto yellow = red->newCGImageByFilteringCGImage(input);
    ASSERT_TRUE(yellow);
    EXPECT_EQ(yellow->pixelAt(0, 1), (Rgba8{255, 255, 0, 255}));
}

TEST(GLImageFilter, ChainPassesFramesInOrderAndReportsThem) {
    VELMORA_REQUIRE_EGL();
    const Image input = makeDistinctImage(4, 3);
    auto picture = GLImagePicture::create(input);
    auto first = GLImageFilter::create();
    first->setInputRotation(GLImageRotationMode::Rotate180, 0);
    auto second = GLImageFilter::create();
    second->setInputRotation(GLImageRotationMode::Rotate180, 0);
    std::vector<FrameTime> seen;
    first->setFrameProcessingCompletionBlock(
        [&seen](GLImageOutput&, const FrameTime& time) { seen.push_back(time); });
    picture->addTarget(first);
    first->addTarget(second);
    second->useNextFrameForImageCapture();
    picture->processImage();
    auto output = second->newCGImageFromCurrentlyProcessedOutput();
    ASSERT_TRUE(output);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(output->pixelAt(x, y), input.pixelAt(x, y));  // turned twice
        }
    }
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_TRUE(seen[0].isIndefinite());
}

}  // namespace
}  // namespace velmora

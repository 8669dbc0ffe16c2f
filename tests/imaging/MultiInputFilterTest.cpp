// Multi-input filters (frame pairing, slots), two-pass filters (offsets, uniforms per
// program), the 3x3 sampling filter's texel sizes and filter groups.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImage3x3TextureSamplingFilter.h"
#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilterGroup.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/GLImageThreeInputFilter.h"
#include "Velmora/imaging/GLImageTwoPassTextureSamplingFilter.h"
#include "Velmora/imaging/GLProgram.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

using testing::makeImage;

const std::string kTwoInputMix =
    "varying highp vec2 textureCoordinate; varying highp vec2 textureCoordinate2; uniform "
    "sampler2D inputImageTexture; uniform sampler2D inputImageTexture2; void main() { "
    "gl_FragColor = vec4(texture2D(inputImageTexture, textureCoordinate).r, "
    "texture2D(inputImageTexture2, textureCoordinate2).g, 0.0, 1.0); }";

// Records the times a filter renders at; rendering itself is prevented (no inputs).
struct RenderLog {
    std::vector<FrameTime> times;
    void attach(GLImageFilter& filter) {
        filter.setPreventRendering(true);
        filter.setFrameProcessingCompletionBlock(
            [this](GLImageOutput&, const FrameTime& time) { times.push_back(time); });
    }
};

void deliver(GLImageInput& filter, FrameTime time, int index) {
    runSynchronouslyOnVideoProcessingQueue([&] { filter.newFrameReadyAtTime(time, index); });
}

TEST(TwoInputFilter, FramePairing) {
    VELMORA_REQUIRE_EGL();
    const FrameTime still = FrameTime::indefinite();
    const FrameTime second = FrameTime::make(1, 1);
    const FrameTime later = FrameTime::make(2, 1);
    {
        // A video frame against a still image renders at once, with the video's time.
        auto filter = GLImageFilter::create<GLImageTwoInputFilter>(kTwoInputMix);
        RenderLog log;
        log.attach(*filter);
        deliver(*filter, still, 1);
        EXPECT_TRUE(log.times.empty());
        deliver(*filter, second, 0);
        deliver(*filter, later, 0);
        ASSERT_EQ(log.times.size(), 2u);
        EXPECT_EQ(log.times[0], second);
        EXPECT_EQ(log.times[1], later);
    }
    {
        // Two live inputs render once per pair; a repeat on input 0 only replaces its time.
        auto filter = GLImageFilter::create<GLImageTwoInputFilter>(kTwoInputMix);
        RenderLog log;
        log.attach(*filter);
        deliver(*filter, second, 0);
        deliver(*filter, later, 0);
        EXPECT_TRUE(log.times.empty());
        EXPECT_EQ(filter->firstFrameTime(), later);
        deliver(*filter, FrameTime::make(3, 1), 1);
        ASSERT_EQ(log.times.size(), 1u);
        EXPECT_EQ(log.times[0], later);
    }
    {
        // With the second check disabled every frame on input 0 renders.
        auto filter = GLImageFilter::create<GLImageTwoInputFilter>(kTwoInputMix);
        RenderLog log;
        log.attach(*filter);
        filter->disableSecondFrameCheck();
        deliver(*filter, second, 0);
        deliver(*filter, later, 0);
        EXPECT_EQ(log.times.size(), 2u);
    }
}

TEST(TwoInputFilter, SlotsSizesAndRotations) {
    VELMORA_REQUIRE_EGL();
    auto filter = GLImageFilter::create<GLImageTwoInputFilter>(kTwoInputMix);
    EXPECT_EQ(filter->nextAvailableTextureIndex(), 0);
    runSynchronouslyOnVideoProcessingQueue([&] {
        filter->setInputFramebuffer(nullptr, 0);
        EXPECT_EQ(filter->nextAvailableTextureIndex(), 1);
        filter->setInputSize({40, 30}, 0);
        filter->setInputSize({10, 10}, 1);  // the second input's size is ignored
        EXPECT_EQ(filter->sizeOfFBO(), (GLSize{40, 30}));
        filter->setInputRotation(GLImageRotationMode::RotateLeft, 1);
        EXPECT_EQ(filter->inputRotation(), GLImageRotationMode::NoRotation);
        EXPECT_EQ(filter->rotatedSize({40, 30}, 1), (GLSize{30, 40}));
        EXPECT_EQ(filter->rotatedSize({40, 30}, 0), (GLSize{40, 30}));
        filter->setInputSize({}, 0);  // a zero size frees slot 0
        EXPECT_EQ(filter->nextAvailableTextureIndex(), 0);
    });
}

TEST(TwoInputFilter, DrawsBothInputsWithTheSecondRotated) {
    VELMORA_REQUIRE_EGL();
    const Image red = makeImage(3, 2, [](int x, int) {
        return Rgba8{static_cast<std::uint8_t>(50 * (x + 1)), 0, 0, 255};
    });
    const Image green = makeImage(3, 2, [](int x, int y) {
        return Rgba8{0, static_cast<std::uint8_t>(40 * x + 120 * y), 0, 255};
    });
    auto filter = GLImageFilter::create<GLImageTwoInputFilter>(kTwoInputMix);
    filter->setInputRotation(GLImageRotationMode::FlipHorizontal, 1);
    auto a = GLImagePicture::create(red);
    auto b = GLImagePicture::create(green);
    a->addTarget(filter);
    b->addTarget(filter);  // the next free slot: 1
    filter->useNextFrameForImageCapture();
    b->processImage();
    a->processImage();
    const auto output = filter->newCGImageFromCurrentlyProcessedOutput();
    ASSERT_TRUE(output);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) {
            EXPECT_EQ(output->pixelAt(x, y).r, red.pixelAt(x, y).r);
            EXPECT_EQ(output->pixelAt(x, y).g, green.pixelAt(2 - x, y).g);
        }
    }
}

TEST(ThreeInputFilter, AutomaticSlotsNeverReachTheThird) {
    VELMORA_REQUIRE_EGL();
    const std::string shader =
        "varying highp vec2 textureCoordinate; varying highp vec2 textureCoordinate2; varying "
        "highp vec2 textureCoordinate3; uniform sampler2D inputImageTexture; uniform sampler2D "
        "inputImageTexture2; uniform sampler2D inputImageTexture3; void main() { gl_FragColor = "
        "vec4(texture2D(inputImageTexture, textureCoordinate).r, texture2D(inputImageTexture2, "
        "textureCoordinate2).g, texture2D(inputImageTexture3, textureCoordinate3).b, 1.0); }";
    auto filter = GLImageFilter::create<GLImageThreeInputFilter>(shader);
    ASSERT_TRUE(filter->filterProgram());
    const Image image = makeImage(2, 2, [](int, int) { return Rgba8{10, 20, 30, 255}; });
    auto first = GLImagePicture::create(image);
    auto second = GLImagePicture::create(image);
    auto third = GLImagePicture::create(image);
    first->addTarget(filter);
    second->addTarget(filter);
    EXPECT_EQ(filter->nextAvailableTextureIndex(), 1);  // slot 1 taken never counts
    third->addTarget(filter, 2);
    filter->useNextFrameForImageCapture();
    third->processImage();
    second->processImage();
    first->processImage();
    const auto output = filter->newCGImageFromCurrentlyProcessedOutput();
    ASSERT_TRUE(output);
    EXPECT_EQ(output->pixelAt(1, 1), (Rgba8{10, 20, 30, 255}));
    // Frames: all three, or a moving one against a still first input.
    RenderLog log;
    auto timed = GLImageFilter::create<GLImageThreeInputFilter>(shader);
    log.attach(*timed);
    deliver(*timed, FrameTime::make(1, 1), 0);
    deliver(*timed, FrameTime::make(2, 1), 1);
    EXPECT_TRUE(log.times.empty());
    deliver(*timed, FrameTime::make(3, 1), 2);
    ASSERT_EQ(log.times.size(), 1u);
    EXPECT_EQ(log.times[0], FrameTime::make(3, 1));  // the time of the call that completed it
}

TEST(TwoPassTextureSamplingFilter, TexelOffsetsFollowSizeRotationAndSpacing) {
    VELMORA_REQUIRE_EGL();
    using Offsets = GLImageTwoPassTextureSamplingFilter::Offsets;
    auto filter = GLImageFilter::create<GLImageTwoPassTextureSamplingFilter>(
        kGLImagePassthroughFragmentShaderString, kGLImagePassthroughFragmentShaderString);
    EXPECT_EQ(filter->verticalTexelSpacing(), 1.0);
    EXPECT_EQ(filter->horizontalTexelSpacing(), 1.0);
    runSynchronouslyOnVideoProcessingQueue([&] { filter->setInputSize({640, 480}, 0); });
    EXPECT_EQ(filter->verticalPassOffsets(), (Offsets{0, 1.0f / 480}));
    EXPECT_EQ(filter->horizontalPassOffsets(), (Offsets{1.0f / 640, 0}));
    runSynchronouslyOnVideoProcessingQueue([&] {
        filter->setInputRotation(GLImageRotationMode::RotateLeft, 0);
        filter->setInputSize({480, 640}, 0);  // turned: the framebuffer is 640 x 480 again
    });
    EXPECT_EQ(filter->sizeOfFBO(), (GLSize{640, 480}));
    EXPECT_EQ(filter->verticalPassOffsets(), (Offsets{1.0f / 480, 0}));  // H, deliberately
    EXPECT_EQ(filter->horizontalPassOffsets(), (Offsets{1.0f / 640, 0}));
    filter->setVerticalTexelSpacing(2.0);
    EXPECT_EQ(filter->verticalPassOffsets(), (Offsets{2.0f / 480, 0}));
}

TEST(TwoPassFilter, UniformsAreKeptPerProgramAndTheSecondPassIsCaptured) {
    VELMORA_REQUIRE_EGL();
    const std::string scale =
        "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; uniform "
        "lowp float factor; void main() { gl_FragColor = vec4(texture2D(inputImageTexture, "
        "textureCoordinate).rgb * factor, 1.0); }";
    const std::string invert =
        "varying highp vec2 textureCoordinate; uniform sampler2D inputImageTexture; void main() "
        "{ lowp vec4 c = texture2D(inputImageTexture, textureCoordinate); gl_FragColor = "
        "vec4(1.0 - c.rgb, 1.0); }";
    auto filter = GLImageFilter::create<GLImageTwoPassFilter>(scale, invert);
    ASSERT_TRUE(filter->secondFilterProgram());
    filter->setFloat(0.5f, "factor");
    runSynchronouslyOnVideoProcessingQueue([] {});
    EXPECT_EQ(filter->uniformStateBlockCount(), 1u);
    EXPECT_EQ(filter->secondUniformStateBlockCount(), 0u);
    const Image image = makeImage(2, 1, [](int x, int) {
        return Rgba8{static_cast<std::uint8_t>(200 - 100 * x), 100, 0, 255};
    });
    const auto output = filter->newCGImageByFilteringCGImage(image);
    ASSERT_TRUE(output);
    EXPECT_NEAR(output->pixelAt(0, 0).r, 255 - 100, 1);
    EXPECT_NEAR(output->pixelAt(1, 0).r, 255 - 50, 1);
    EXPECT_NEAR(output->pixelAt(0, 0).g, 255 - 50, 1);
}

TEST(Nearby3x3Filter, TexelSizesExchangeUnderRotationAndStayOnceSet) {
    VELMORA_REQUIRE_EGL();
    auto filter = GLImageFilter::create<GLImage3x3TextureSamplingFilter>(
        std::string("precision highp float; varying vec2 bottomTextureCoordinate; varying vec2 "
                    "rightTextureCoordinate; uniform sampler2D inputImageTexture; void main() { "
                    "gl_FragColor = texture2D(inputImageTexture, rightTextureCoordinate) + "
                    "texture2D(inputImageTexture, bottomTextureCoordinate); }"));
    ASSERT_TRUE(filter->filterProgram());
    runSynchronouslyOnVideoProcessingQueue([&] { filter->setInputSize({640, 480}, 0); });
    EXPECT_DOUBLE_EQ(filter->texelWidth(), 1.0 / 640);
    EXPECT_DOUBLE_EQ(filter->texelHeight(), 1.0 / 480);
    GLfloat uniforms[2] = {};
    auto readUniforms = [&] {
        runSynchronouslyOnVideoProcessingQueue([&] {
            const GLuint program = filter->filterProgram()->program();
            glGetUniformfv(program, filter->filterProgram()->uniformIndex("texelWidth"),
                           &uniforms[0]);
            glGetUniformfv(program, filter->filterProgram()->uniformIndex("texelHeight"),
                           &uniforms[1]);
        });
    };
    readUniforms();
    EXPECT_FLOAT_EQ(uniforms[0], 1.0f / 640);
    runSynchronouslyOnVideoProcessingQueue([&] {
        filter->setInputRotation(GLImageRotationMode::RotateRight, 0);
        filter->setInputSize({480, 640}, 0);
    });
    readUniforms();
    EXPECT_FLOAT_EQ(uniforms[0], 1.0f / 480);  // exchanged
    EXPECT_FLOAT_EQ(uniforms[1], 1.0f / 640);
    filter->setTexelWidth(0.25);
    runSynchronouslyOnVideoProcessingQueue([&] { filter->setInputSize({100, 100}, 0); });
    EXPECT_DOUBLE_EQ(filter->texelWidth(), 0.25);
    // Sampling the right neighbour shifts the image one pixel left (the edge repeats).
    auto shifter = GLImageFilter::create<GLImage3x3TextureSamplingFilter>(
        std::string("precision highp float; varying vec2 rightTextureCoordinate; uniform "
                    "sampler2D inputImageTexture; void main() { gl_FragColor = "
                    "texture2D(inputImageTexture, rightTextureCoordinate); }"));
    const Image row = makeImage(4, 1, [](int x, int) {
        return Rgba8{static_cast<std::uint8_t>(60 * x), 0, 0, 255};
    });
    const auto shifted = shifter->newCGImageByFilteringCGImage(row);
    ASSERT_TRUE(shifted);
    EXPECT_EQ(shifted->pixelAt(0, 0).r, 60);
    EXPECT_EQ(shifted->pixelAt(3, 0).r, 180);
}

TEST(FilterGroup, ForwardsToItsMembers) {
    VELMORA_REQUIRE_EGL();
    auto first = GLImageFilterRegistry::shared().find("GLImageColorInvertFilter")->create();
    auto second = GLImageFilterRegistry::shared().find("GLImageBrightnessFilter")->create();
    auto invert = std::static_pointer_cast<GLImageFilter>(first);
    auto brighten = std::static_pointer_cast<GLImageFilter>(second);
    brighten->setFloat(0.1f, "brightness");
    invert->addTarget(brighten);
    auto group = GLImageFilterGroup::create();
    group->addFilter(invert);
    group->addFilter(brighten);
    group->setInitialFilters({invert});
    group->setTerminalFilter(brighten);
    EXPECT_EQ(group->filterCount(), 2u);
    EXPECT_EQ(group->filterAtIndex(2), nullptr);
    EXPECT_EQ(group->nextAvailableTextureIndex(), 0);
    EXPECT_TRUE(group->maximumOutputSize().isZero());
    EXPECT_FALSE(group->wantsMonochromeInput());
    const Image image = makeImage(2, 2, [](int, int) { return Rgba8{200, 100, 0, 255}; });
    const auto output = group->newCGImageByFilteringCGImage(image);
    ASSERT_TRUE(output);
    EXPECT_NEAR(output->pixelAt(0, 0).r, 55 + 26, 1);
    EXPECT_NEAR(output->pixelAt(0, 0).g, 155 + 26, 1);
    group->forceProcessingAtSize({1, 1});
    const auto small = group->newCGImageByFilteringCGImage(image);
    ASSERT_TRUE(small);
    EXPECT_EQ(small->width(), 1);
}

}  // namespace
}  // namespace velmora

#include "Velmora/imaging/GLImageGaussianBlurFilter.h"

#include <cmath>
#include <numbers>

#include <fmt/format.h>
#include <fmt/printf.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"

namespace velmora {

namespace {

constexpr unsigned kMaximumVaryingPairs = 7;

// Pairs of neighbouring taps merged into one read at the weighted position between them.
struct MergedTaps {
    unsigned trueCount = 0;     // all pairs
    unsigned varyingCount = 0;  // pairs carried as varyings (at most 7)
    std::vector<double> offsets;
    std::vector<float> weights;
};

MergedTaps mergedTaps(const std::vector<float>& w, unsigned radius) {
    MergedTaps taps;
    taps.trueCount = radius / 2 + radius % 2;
    taps.varyingCount = std::min(taps.trueCount, kMaximumVaryingPairs);
    for (unsigned i = 0; i < taps.trueCount; ++i) {
        const float a = w[2 * i + 1];
        const float b = w[2 * i + 2];
        taps.offsets.push_back(
            (static_cast<double>(a) * (2 * i + 1) + static_cast<double>(b) * (2 * i + 2)) /
            (static_cast<double>(a) + b));
        taps.weights.push_back(a + b);
    }
    return taps;
}

struct OptimizedTexts {
    const char* vertexHeader;
    const char* fragmentHeader;
    const char* channel;  // "" or ".r"
    const char* fragmentEnd;
};

constexpr OptimizedTexts kColorTexts{
    "     attribute vec4 position;\n     attribute vec4 inputTextureCoordinate;\n     \n     "
    "uniform float texelWidthOffset;\n     uniform float texelHeightOffset;\n     \n     "
    "varying vec2 blurCoordinates[%lu];\n     \n     void main()\n     {\n        gl_Position "
    "= position;\n        \n        vec2 singleStepOffset = vec2(texelWidthOffset, "
    "texelHeightOffset);\n",
    "     uniform sampler2D inputImageTexture;\n     uniform highp float texelWidthOffset;\n     "
    "uniform highp float texelHeightOffset;\n     \n     varying highp vec2 "
    "blurCoordinates[%lu];\n     \n     void main()\n     {\n        lowp vec4 sum = "
    "vec4(0.0);\n",
    "", "        gl_FragColor = sum;\n     }\n"};

constexpr OptimizedTexts kSingleComponentTexts{
    "     attribute vec4 position;\n     attribute vec4 inputTextureCoordinate;\n     \n     "
    "uniform float texelWidthOffset;\n     uniform float texelHeightOffset;\n     \n     "
    "varying vec2 blurCoordinates[%lu];\n     \n     void main()\n     {\n     gl_Position = "
    "position;\n     \n     vec2 singleStepOffset = vec2(texelWidthOffset, "
    "texelHeightOffset);\n",
    "     uniform sampler2D inputImageTexture;\n     uniform highp float texelWidthOffset;\n     "
    "uniform highp float texelHeightOffset;\n     \n     varying highp vec2 "
    "blurCoordinates[%lu];\n     \n     void main()\n     {\n     lowp float sum = 0.0;\n",
    ".r", "     gl_FragColor = vec4(sum, sum, sum, 1.0);\n     }\n"};

std::string optimizedVertex(const OptimizedTexts& texts, unsigned radius, double sigma) {
    if (radius < 1) {
        return kGLImageVertexShaderString;
    }
    const MergedTaps taps =
        mergedTaps(GLImageGaussianBlurFilter::gaussianWeights(radius, sigma), radius);
    std::string text = fmt::sprintf(texts.vertexHeader, 1UL + 2UL * taps.varyingCount);
    text += "blurCoordinates[0] = inputTextureCoordinate.xy;\n";
    for (unsigned i = 0; i < taps.varyingCount; ++i) {
        text += fmt::sprintf(
            "         blurCoordinates[%lu] = inputTextureCoordinate.xy + singleStepOffset * "
            "%f;\n         blurCoordinates[%lu] = inputTextureCoordinate.xy - singleStepOffset * "
            "%f;\n",
            2UL * i + 1, taps.offsets[i], 2UL * i + 2, taps.offsets[i]);
    }
    text += "}\n";
    return text;
}

std::string optimizedFragment(const OptimizedTexts& texts, unsigned radius, double sigma) {
    if (radius < 1) {
        return kGLImagePassthroughFragmentShaderString;
    }
    const std::vector<float> w = GLImageGaussianBlurFilter::gaussianWeights(radius, sigma);
    const MergedTaps taps = mergedTaps(w, radius);
    std::string text = fmt::sprintf(texts.fragmentHeader, 1UL + 2UL * taps.varyingCount);
    text += fmt::sprintf("sum += texture2D(inputImageTexture, blurCoordinates[0])%s * %f;\n",
                         texts.channel, static_cast<double>(w[0]));
    for (unsigned i = 0; i < taps.varyingCount; ++i) {
        const auto weight = static_cast<double>(taps.weights[i]);
        text += fmt::sprintf("sum += texture2D(inputImageTexture, blurCoordinates[%lu])%s * %f;\n",
                             2UL * i + 1, texts.channel, weight);
        text += fmt::sprintf("sum += texture2D(inputImageTexture, blurCoordinates[%lu])%s * %f;\n",
                             2UL * i + 2, texts.channel, weight);
    }
    if (taps.trueCount > kMaximumVaryingPairs) {
        text += "highp vec2 singleStepOffset = vec2(texelWidthOffset, texelHeightOffset);\n";
        for (unsigned i = kMaximumVaryingPairs; i < taps.trueCount; ++i) {
            const auto weight = static_cast<double>(taps.weights[i]);
            text += fmt::sprintf(
                "sum += texture2D(inputImageTexture, blurCoordinates[0] + singleStepOffset * "
                "%f)%s * %f;\n",
                taps.offsets[i], texts.channel, weight);
            text += fmt::sprintf(
                "sum += texture2D(inputImageTexture, blurCoordinates[0] - singleStepOffset * "
                "%f)%s * %f;\n",
                taps.offsets[i], texts.channel, weight);
        }
    }
    text += texts.fragmentEnd;
    return text;
}

}  // namespace

std::vector<float> GLImageGaussianBlurFilter::gaussianWeights(unsigned radius, double sigma) {
    std::vector<float> weights(radius + 1);
    float sum = 0;
    for (unsigned i = 0; i <= radius; ++i) {
        weights[i] = static_cast<float>((1.0 / std::sqrt(2.0 * std::numbers::pi * sigma * sigma)) *
                                        std::exp(-(double(i) * i) / (2.0 * sigma * sigma)));
        sum += i == 0 ? weights[i] : 2.0f * weights[i];
    }
    for (float& weight : weights) {
        weight /= sum;
    }
    return weights;
}

unsigned GLImageGaussianBlurFilter::sampleRadiusForSigma(double sigma) {
    const double distance =
        std::sqrt(-2.0 * sigma * sigma *
                  std::log(0.00390625 * std::sqrt(2.0 * std::numbers::pi * sigma * sigma)));
    // A sigma below about 0.16 has no distance (the log turns positive): radius 0.
    auto radius = std::isnan(distance) ? 0u : static_cast<unsigned>(std::floor(distance));
    return radius + radius % 2;
}

std::string GLImageGaussianBlurFilter::optimizedVertexText(Channels channels, unsigned radius,
                                                           double sigma) {
    return optimizedVertex(channels == Channels::Color ? kColorTexts : kSingleComponentTexts,
                           radius, sigma);
}

std::string GLImageGaussianBlurFilter::optimizedFragmentText(Channels channels, unsigned radius,
                                                             double sigma) {
    return optimizedFragment(channels == Channels::Color ? kColorTexts : kSingleComponentTexts,
                             radius, sigma);
}

std::string GLImageGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(unsigned radius,
                                                                            double sigma) {
    return optimizedVertexText(Channels::Color, radius, sigma);
}

std::string GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(unsigned radius,
                                                                              double sigma) {
    return optimizedFragmentText(Channels::Color, radius, sigma);
}

std::string GLImageGaussianBlurFilter::vertexShaderForStandardBlurOfRadius(unsigned radius,
                                                                           double) {
    if (radius < 1) {
        return kGLImageVertexShaderString;
    }
    std::string text = fmt::sprintf(
        "      attribute vec4 position;\n      attribute vec4 inputTextureCoordinate;\n      \n "
        "     uniform float texelWidthOffset;\n      uniform float texelHeightOffset;\n      \n   "
        "   varying vec2 blurCoordinates[%lu];\n      \n      void main()\n      {\n          "
        "gl_Position = position;\n          \n          vec2 singleStepOffset = "
        "vec2(texelWidthOffset, texelHeightOffset);\n",
        2UL * radius + 1);
    const long r = radius;
    for (long k = 0; k <= 2 * r; ++k) {
        const long offset = k - r;
        if (offset < 0) {
            text += fmt::sprintf(
                "blurCoordinates[%ld] = inputTextureCoordinate.xy - singleStepOffset * %f;\n", k,
                static_cast<double>(-offset));
        } else if (offset == 0) {
            text += fmt::sprintf("blurCoordinates[%ld] = inputTextureCoordinate.xy;\n", k);
        } else {
            text += fmt::sprintf(
                "blurCoordinates[%ld] = inputTextureCoordinate.xy + singleStepOffset * %f;\n", k,
                static_cast<double>(offset));
        }
    }
    text += "}\n";
    return text;
}

std::string GLImageGaussianBlurFilter::fragmentShaderForStandardBlurOfRadius(unsigned radius,
                                                                             double sigma) {
    if (radius < 1) {
        return kGLImagePassthroughFragmentShaderString;
    }
    const std::vector<float> w = gaussianWeights(radius, sigma);
    std::string text = fmt::sprintf(
        "     uniform sampler2D inputImageTexture;\n     \n     varying highp vec2 "
        "blurCoordinates[%lu];\n     \n     void main()\n     {\n        lowp vec4 sum = "
        "vec4(0.0);\n",
        2UL * radius + 1);
    for (unsigned long k = 0; k <= 2UL * radius; ++k) {
        const auto distance = k > radius ? k - radius : radius - k;
        text += fmt::sprintf("sum += texture2D(inputImageTexture, blurCoordinates[%lu]) * %f;\n", k,
                             static_cast<double>(w[distance]));
    }
    text += "     gl_FragColor = sum;\n     }\n";
    return text;
}

GLImageGaussianBlurFilter::GLImageGaussianBlurFilter(ConstructionKey key)
    : GLImageGaussianBlurFilter(key, vertexShaderForOptimizedBlurOfRadius(4, 2.0),
                                fragmentShaderForOptimizedBlurOfRadius(4, 2.0),
                                vertexShaderForOptimizedBlurOfRadius(4, 2.0),
                                fragmentShaderForOptimizedBlurOfRadius(4, 2.0)) {}

GLImageGaussianBlurFilter::GLImageGaussianBlurFilter(ConstructionKey key,
                                                     std::string firstStageVertexShader,
                                                     std::string firstStageFragmentShader,
                                                     std::string secondStageVertexShader,
                                                     std::string secondStageFragmentShader)
    : GLImageTwoPassTextureSamplingFilter(
          key, std::move(firstStageVertexShader), std::move(firstStageFragmentShader),
          std::move(secondStageVertexShader), std::move(secondStageFragmentShader)) {}

void GLImageGaussianBlurFilter::initializeProgram() {
    GLImageTwoPassTextureSamplingFilter::initializeProgram();
    setTexelSpacingMultiplier(1.0);
    blurRadiusInPixels_ = 2.0;
    shouldResizeBlurRadiusWithImageSize_ = false;
}

std::string GLImageGaussianBlurFilter::optimizedVertexShader(unsigned radius, double sigma) const {
    return vertexShaderForOptimizedBlurOfRadius(radius, sigma);
}

std::string GLImageGaussianBlurFilter::optimizedFragmentShader(unsigned radius,
                                                               double sigma) const {
    return fragmentShaderForOptimizedBlurOfRadius(radius, sigma);
}

void GLImageGaussianBlurFilter::setBlurRadiusInPixels(double value) {
    const double sigma = std::round(value);
    if (sigma != blurRadiusInPixels_) {
        blurRadiusInPixels_ = sigma;
        const unsigned radius = sampleRadiusForSigma(sigma);
        switchToVertexShader(optimizedVertexShader(radius, sigma),
                             optimizedFragmentShader(radius, sigma));
    }
    shouldResizeBlurRadiusWithImageSize_ = false;
}

void GLImageGaussianBlurFilter::setTexelSpacingMultiplier(double value) {
    texelSpacingMultiplier_ = value;
    verticalTexelSpacing_ = value;
    horizontalTexelSpacing_ = value;
    setupFilterForSize(sizeOfFBO());
}

void GLImageGaussianBlurFilter::switchToVertexShader(const std::string& vertexShader,
                                                     const std::string& fragmentShader) {
    runSynchronouslyOnVideoProcessingQueue([&] {
        GLImageContext::useImageProcessingContext();
        switchPrograms(vertexShader, fragmentShader, vertexShader, fragmentShader);
        setupFilterForSize(sizeOfFBO());
    });
}

void GLImageGaussianBlurFilter::renderToTextureWithVertices(const GLfloat* vertices,
                                                            const GLfloat* textureCoordinates) {
    // Every further pass reads the previous pass's result. Only the last one may answer a
    // capture, so that the capture semaphore is signalled once per frame.
    const unsigned passes = blurPasses_ > 1 && !preventRendering_ ? blurPasses_ : 1;
    const bool capturing = usingNextFrameForImageCapture_;
    usingNextFrameForImageCapture_ = capturing && passes == 1;
    for (unsigned pass = 0; pass < passes; ++pass) {
        if (pass + 1 == passes) {
            usingNextFrameForImageCapture_ = capturing;
        }
        if (pass == 0) {
            GLImageTwoPassTextureSamplingFilter::renderToTextureWithVertices(vertices,
                                                                             textureCoordinates);
        } else {
            // The previous result's fetch lock now counts as this pass's input lock.
            firstInputFramebuffer_ = std::move(outputFramebuffer_);
            GLImageTwoPassTextureSamplingFilter::renderToTextureWithVertices(
                vertices, textureCoordinatesForRotation(GLImageRotationMode::NoRotation));
        }
    }
}

}  // namespace velmora

namespace velmora {
namespace {

const GLImageFilterRegistration kGaussianBlurRegistration{{
    "GLImageGaussianBlurFilter",
    "Gaussian blur in two passes; the sigma in pixels",
    1,
    [] { return GLImageFilter::create<GLImageGaussianBlurFilter>(); },
    {
        GLImageFilterRegistry::floatSetter<GLImageGaussianBlurFilter>(
            "setBlurRadiusInPixels:", "sigma in pixels, rounded to a whole number (2)",
            [](GLImageGaussianBlurFilter& f, float v) { f.setBlurRadiusInPixels(v); }),
        GLImageFilterRegistry::floatSetter<GLImageGaussianBlurFilter>(
            "setTexelSpacingMultiplier:", "distance between taps in pixels (1)",
            [](GLImageGaussianBlurFilter& f, float v) { f.setTexelSpacingMultiplier(v); }),
        GLImageFilterRegistry::floatSetter<GLImageGaussianBlurFilter>(
            "setBlurPasses:", "times the blur runs per frame (1)",
            [](GLImageGaussianBlurFilter& f, float v) {
                f.setBlurPasses(v < 1 ? 1u : static_cast<unsigned>(v));
            }),
        GLImageFilterRegistry::floatSetter<GLImageGaussianBlurFilter>(
            "setBlurRadiusAsFractionOfImageWidth:", "kept for old configurations; no effect",
            [](GLImageGaussianBlurFilter& f, float v) {
                f.setBlurRadiusAsFractionOfImageWidth(v);
            }),
        GLImageFilterRegistry::floatSetter<GLImageGaussianBlurFilter>(
            "setBlurRadiusAsFractionOfImageHeight:", "kept for old configurations; no effect",
            [](GLImageGaussianBlurFilter& f, float v) {
                f.setBlurRadiusAsFractionOfImageHeight(v);
            }),
    },
}};

}  // namespace
}  // namespace velmora

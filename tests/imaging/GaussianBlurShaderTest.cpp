// The blur shader generators (weights, merged pairs, texts, the radius rule) and how the
// filter regenerates its programs.
#include <string>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/GLImageSingleComponentGaussianBlurFilter.h"
#include "Velmora/imaging/GLProgram.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(GaussianBlurShaders, WeightsForRadiusFourSigmaTwo) {
    const std::vector<float> w = GLImageGaussianBlurFilter::gaussianWeights(4, 2.0);
    const float expected[] = {0.204164f, 0.180174f, 0.123832f, 0.066282f, 0.027631f};
    ASSERT_EQ(w.size(), 5u);
    float sum = w[0];
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(w[i], expected[i], 5e-7f) << i;
        sum += i > 0 ? 2 * w[i] : 0;
    }
    EXPECT_NEAR(sum, 1.0f, 1e-6f);
}

TEST(GaussianBlurShaders, OptimizedTextsForRadiusFourComparedWhole) {
    const std::string vertexHeader =
        "     attribute vec4 position;\n     attribute vec4 inputTextureCoordinate;\n     \n"
        "     uniform float texelWidthOffset;\n     uniform float texelHeightOffset;\n     \n"
        "     varying vec2 blurCoordinates[5];\n     \n     void main()\n     {\n"
        "        gl_Position = position;\n        \n"
        "        vec2 singleStepOffset = vec2(texelWidthOffset, texelHeightOffset);\n";
    EXPECT_EQ(GLImageGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(4, 2.0),
              vertexHeader +
                  "blurCoordinates[0] = inputTextureCoordinate.xy;\n"
                  "         blurCoordinates[1] = inputTextureCoordinate.xy + singleStepOffset * "
                  "1.407333;\n"
                  "         blurCoordinates[2] = inputTextureCoordinate.xy - singleStepOffset * "
                  "1.407333;\n"
                  "         blurCoordinates[3] = inputTextureCoordinate.xy + singleStepOffset * "
                  "3.294215;\n"
                  "         blurCoordinates[4] = inputTextureCoordinate.xy - singleStepOffset * "
                  "3.294215;\n"
                  "}\n");
    EXPECT_EQ(GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(4, 2.0),
              "     uniform sampler2D inputImageTexture;\n     uniform highp float "
              "texelWidthOffset;\n     uniform highp float texelHeightOffset;\n     \n"
              "     varying highp vec2 blurCoordinates[5];\n     \n     void main()\n     {\n"
              "        lowp vec4 sum = vec4(0.0);\n"
              "sum += texture2D(inputImageTexture, blurCoordinates[0]) * 0.204164;\n"
              "sum += texture2D(inputImageTexture, blurCoordinates[1]) * 0.304005;\n"
              "sum += texture2D(inputImageTexture, blurCoordinates[2]) * 0.304005;\n"
              "sum += texture2D(inputImageTexture, blurCoordinates[3]) * 0.093913;\n"
              "sum += texture2D(inputImageTexture, blurCoordinates[4]) * 0.093913;\n"
              "        gl_FragColor = sum;\n     }\n");
    // The single-component texts differ in indentation, the red reads and the ending.
    const std::string single =
        GLImageSingleComponentGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(4, 2.0);
    EXPECT_NE(single.find("     {\n     lowp float sum = 0.0;\n"), std::string::npos);
    EXPECT_NE(single.find("blurCoordinates[0]).r * 0.204164;\n"), std::string::npos);
    EXPECT_EQ(occurrences(single, ").r * "), 5u);
    EXPECT_TRUE(single.ends_with("     gl_FragColor = vec4(sum, sum, sum, 1.0);\n     }\n"));
    EXPECT_NE(
        GLImageSingleComponentGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(4, 2.0).find(
            "     {\n     gl_Position = position;\n     \n     vec2 singleStepOffset"),
        std::string::npos);
}

TEST(GaussianBlurShaders, RadiusZeroIsThePassThroughPair) {
    EXPECT_EQ(GLImageGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(0, 0.0),
              kGLImageVertexShaderString);
    EXPECT_EQ(GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(0, 0.0),
              kGLImagePassthroughFragmentShaderString);
    EXPECT_EQ(GLImageGaussianBlurFilter::fragmentShaderForStandardBlurOfRadius(0, 1.0),
              kGLImagePassthroughFragmentShaderString);
}

TEST(GaussianBlurShaders, SevenPairsInVaryingsAndTheRestInTheFragmentShader) {
    // Sigma 24: radius 40, 20 pairs, 7 of them as varyings.
    const std::string vertex =
        GLImageGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(40, 24);
    const std::string fragment =
        GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(40, 24);
    EXPECT_NE(vertex.find("varying vec2 blurCoordinates[15];"), std::string::npos);
    EXPECT_EQ(occurrences(vertex, "singleStepOffset * "), 14u);
    EXPECT_NE(fragment.find("varying highp vec2 blurCoordinates[15];"), std::string::npos);
    EXPECT_EQ(
        occurrences(fragment,
                    "highp vec2 singleStepOffset = vec2(texelWidthOffset, texelHeightOffset);\n"),
        1u);
    EXPECT_EQ(occurrences(fragment, "blurCoordinates[0] + singleStepOffset * "), 13u);
    EXPECT_EQ(occurrences(fragment, "blurCoordinates[0] - singleStepOffset * "), 13u);
    // Up to 7 pairs, no extra reads.
    EXPECT_EQ(occurrences(GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(14, 8),
                          "singleStepOffset"),
              0u);
}

TEST(GaussianBlurShaders, StandardTextsReadEveryTap) {
    const std::string vertex = GLImageGaussianBlurFilter::vertexShaderForStandardBlurOfRadius(2, 1);
    EXPECT_NE(vertex.find("varying vec2 blurCoordinates[5];"), std::string::npos);
    EXPECT_NE(vertex.find("blurCoordinates[0] = inputTextureCoordinate.xy - singleStepOffset * "
                          "2.000000;\nblurCoordinates[1] = inputTextureCoordinate.xy - "
                          "singleStepOffset * 1.000000;\nblurCoordinates[2] = "
                          "inputTextureCoordinate.xy;\nblurCoordinates[3] = "
                          "inputTextureCoordinate.xy + singleStepOffset * 1.000000;\n"),
              std::string::npos);
    const std::string fragment =
        GLImageGaussianBlurFilter::fragmentShaderForStandardBlurOfRadius(2, 1);
    const auto w = GLImageGaussianBlurFilter::gaussianWeights(2, 1);
    // Symmetric: the first and last taps carry the outermost weight.
    EXPECT_NE(fragment.find("blurCoordinates[0]) * " + std::to_string(w[2]).substr(0, 8)),
              std::string::npos);
    EXPECT_NE(fragment.find("blurCoordinates[4]) * " + std::to_string(w[2]).substr(0, 8)),
              std::string::npos);
    EXPECT_TRUE(fragment.ends_with("     gl_FragColor = sum;\n     }\n"));
}

TEST(GaussianBlurShaders, SampleRadiusTable) {
    const std::pair<double, unsigned> table[] = {{1, 4},   {2, 6},   {3, 8},   {4, 10},  {8, 18},
                                                 {10, 22}, {12, 24}, {16, 30}, {24, 40}, {0, 0}};
    for (const auto& [sigma, radius] : table) {
        EXPECT_EQ(GLImageGaussianBlurFilter::sampleRadiusForSigma(sigma), radius) << sigma;
    }
}

TEST(GaussianBlurFilter, RegeneratesOnlyWhenTheRoundedSigmaChanges) {
    VELMORA_REQUIRE_EGL();
    auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
    ASSERT_TRUE(blur->filterProgram());
    const auto initial = blur->filterProgram();
    EXPECT_EQ(blur->blurRadiusInPixels(), 2.0);
    EXPECT_EQ(blur->texelSpacingMultiplier(), 1.0);
    blur->setBlurRadiusInPixels(2.4);
    EXPECT_EQ(blur->filterProgram(), initial);
    blur->setBlurRadiusInPixels(2.5);
    EXPECT_EQ(blur->blurRadiusInPixels(), 3.0);
    ASSERT_NE(blur->filterProgram(), initial);
    // Sigma 3 gives radius 8: both stages run the same new pair.
    EXPECT_EQ(blur->filterProgram(), blur->secondFilterProgram());
    std::shared_ptr<GLProgram> cached;
    runSynchronouslyOnVideoProcessingQueue([&] {
        cached = GLImageContext::sharedImageProcessingContext().programForVertexShaderString(
            GLImageGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(8, 3),
            GLImageGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(8, 3));
    });
    EXPECT_EQ(blur->filterProgram(), cached);
    EXPECT_TRUE(cached->initialized());
}

TEST(GaussianBlurFilter, FurtherPassesReadThePreviousAndFractionsChangeNothing) {
    VELMORA_REQUIRE_EGL();
    const Image line = testing::makeImage(21, 3, [](int x, int) {
        const std::uint8_t v = x == 10 ? 255 : 0;
        return Rgba8{v, v, v, 255};
    });
    auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
    blur->setBlurRadiusInPixels(1);
    const auto once = blur->newCGImageByFilteringCGImage(line);
    blur->setBlurPasses(2);
    const auto twice = blur->newCGImageByFilteringCGImage(line);
    ASSERT_TRUE(once);
    ASSERT_TRUE(twice);
    // Two passes of sigma 1 spread as one of sigma sqrt(2): lower peak, wider tails.
    EXPECT_LT(twice->pixelAt(10, 1).r, once->pixelAt(10, 1).r);
    EXPECT_GT(twice->pixelAt(13, 1).r, once->pixelAt(13, 1).r);
    blur->setBlurRadiusAsFractionOfImageWidth(0.5);
    blur->setBlurRadiusAsFractionOfImageHeight(0.5);
    const auto fractions = blur->newCGImageByFilteringCGImage(line);
    ASSERT_TRUE(fractions);
    for (int x = 0; x < 21; ++x) {
        EXPECT_EQ(fractions->pixelAt(x, 1), twice->pixelAt(x, 1)) << x;
    }
}

}  // namespace
}  // namespace velmora

#include "Velmora/imaging/GLImageBoxBlurFilter.h"

#include <cmath>

#include <fmt/format.h>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"

namespace velmora {

namespace {
// Beyond this the shader would be hundreds of reads per pixel; the Gaussian suits better.
constexpr unsigned kLargestRadius = 32;
}  // namespace

std::string GLImageBoxBlurFilter::fragmentShaderForRadius(unsigned radius) {
    std::string text =
        "precision highp float; varying highp vec2 textureCoordinate; uniform sampler2D "
        "inputImageTexture; uniform float texelWidthOffset; uniform float texelHeightOffset; "
        "void main() { vec2 step = vec2(texelWidthOffset, texelHeightOffset); vec4 sum = "
        "texture2D(inputImageTexture, textureCoordinate);";
    for (unsigned k = 1; k <= radius; ++k) {
        text += fmt::format(
            " sum += texture2D(inputImageTexture, textureCoordinate + step * {0}.0);"
            " sum += texture2D(inputImageTexture, textureCoordinate - step * {0}.0);",
            k);
    }
    text += fmt::format(" gl_FragColor = sum / {}.0; }}", 2 * radius + 1);
    return text;
}

GLImageBoxBlurFilter::GLImageBoxBlurFilter(ConstructionKey key)
    : GLImageTwoPassTextureSamplingFilter(key, fragmentShaderForRadius(2),
                                          fragmentShaderForRadius(2)) {}

void GLImageBoxBlurFilter::setBlurRadiusInPixels(double value) {
    const double rounded = std::round(value);
    const unsigned radius =
        !(rounded > 0) ? 0u : static_cast<unsigned>(std::min<double>(rounded, kLargestRadius));
    if (radius == radius_) {
        return;
    }
    radius_ = radius;
    runSynchronouslyOnVideoProcessingQueue([this] {
        const std::string shader = fragmentShaderForRadius(radius_);
        switchPrograms(kGLImageVertexShaderString, shader, kGLImageVertexShaderString, shader);
        setupFilterForSize(sizeOfFBO());
    });
}

namespace {

const GLImageFilterRegistration kBoxBlurRegistration{{
    "GLImageBoxBlurFilter",
    "mean of the pixels within a radius, in two passes",
    1,
    [] { return GLImageFilter::create<GLImageBoxBlurFilter>(); },
    {
        GLImageFilterRegistry::floatSetter<GLImageBoxBlurFilter>(
            "setBlurRadiusInPixels:", "pixels each side, 0...32 (2)",
            [](GLImageBoxBlurFilter& f, float v) { f.setBlurRadiusInPixels(v); }),
        GLImageFilterRegistry::floatSetter<GLImageBoxBlurFilter>(
            "setTexelSpacingMultiplier:", "distance between taps in pixels (1)",
            [](GLImageBoxBlurFilter& f, float v) {
                f.setVerticalTexelSpacing(v);
                f.setHorizontalTexelSpacing(v);
            }),
    },
}};

}  // namespace

}  // namespace velmora

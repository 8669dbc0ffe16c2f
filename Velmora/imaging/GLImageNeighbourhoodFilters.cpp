// The neighbourhood filters of the catalogue: sharpen and Sobel edges on the 3x3 sampling
// filter, and the unsharp mask as a group (a Gaussian blur and a two-input mix of the
// image with its blur). Each is registered under its class name.
#include <memory>
#include <string>

#include "Velmora/imaging/GLImage3x3TextureSamplingFilter.h"
#include "Velmora/imaging/GLImageFilterGroup.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/GLImageTwoInputFilter.h"

namespace velmora {

namespace {

#define VELMORA_NEIGHBOURS                                                             \
    "precision highp float; uniform sampler2D inputImageTexture; varying vec2 "        \
    "textureCoordinate; varying vec2 leftTextureCoordinate; varying vec2 "             \
    "rightTextureCoordinate; varying vec2 topTextureCoordinate; varying vec2 "         \
    "topLeftTextureCoordinate; varying vec2 topRightTextureCoordinate; varying vec2 "  \
    "bottomTextureCoordinate; varying vec2 bottomLeftTextureCoordinate; varying vec2 " \
    "bottomRightTextureCoordinate; "

// The pixel weighted 1 + 4s against its four direct neighbours at -s each.
const char* const kSharpen = VELMORA_NEIGHBOURS
    "uniform float sharpness; void main() { vec4 c = texture2D(inputImageTexture, "
    "textureCoordinate); vec3 around = texture2D(inputImageTexture, leftTextureCoordinate).rgb "
    "+ texture2D(inputImageTexture, rightTextureCoordinate).rgb + "
    "texture2D(inputImageTexture, topTextureCoordinate).rgb + texture2D(inputImageTexture, "
    "bottomTextureCoordinate).rgb; gl_FragColor = vec4(c.rgb * (1.0 + 4.0 * sharpness) - "
    "around * sharpness, c.a); }";

// The length of the Sobel gradient of Rec. 709 luminance, as opaque grey.
const char* const kSobel = VELMORA_NEIGHBOURS
    "uniform float edgeStrength; const vec3 W = vec3(0.2125, 0.7154, 0.0721); float l(vec2 p) "
    "{ return dot(texture2D(inputImageTexture, p).rgb, W); } void main() { float tl = "
    "l(topLeftTextureCoordinate); float t = l(topTextureCoordinate); float tr = "
    "l(topRightTextureCoordinate); float le = l(leftTextureCoordinate); float r = "
    "l(rightTextureCoordinate); float bl = l(bottomLeftTextureCoordinate); float b = "
    "l(bottomTextureCoordinate); float br = l(bottomRightTextureCoordinate); float h = -tl - "
    "2.0 * le - bl + tr + 2.0 * r + br; float v = -tl - 2.0 * t - tr + bl + 2.0 * b + br; float "
    "m = length(vec2(h, v)) * edgeStrength; gl_FragColor = vec4(vec3(m), 1.0); }";

#undef VELMORA_NEIGHBOURS

const char* const kUnsharpMix =
    "precision highp float; varying highp vec2 textureCoordinate; varying highp vec2 "
    "textureCoordinate2; uniform sampler2D inputImageTexture; uniform sampler2D "
    "inputImageTexture2; uniform float intensity; void main() { vec4 sharp = "
    "texture2D(inputImageTexture, textureCoordinate); vec3 blurred = "
    "texture2D(inputImageTexture2, textureCoordinate2).rgb; gl_FragColor = vec4(sharp.rgb * "
    "intensity + blurred * (1.0 - intensity), sharp.a); }";

std::function<std::shared_ptr<GLImageFilter>()> nearby(const char* fragmentShader) {
    return [fragmentShader]() -> std::shared_ptr<GLImageFilter> {
        return GLImageFilter::create<GLImage3x3TextureSamplingFilter>(std::string(fragmentShader));
    };
}

// The group's members: 0 the blur, 1 the mix of the image (index 0) with its blur (1).
std::shared_ptr<GLImageOutput> makeUnsharpMask() {
    auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
    blur->setBlurRadiusInPixels(4.0);
    auto mix = GLImageFilter::create<GLImageTwoInputFilter>(std::string(kUnsharpMix));
    mix->setFloat(4.0f, "intensity");
    blur->addTarget(mix, 1);
    auto group = GLImageFilterGroup::create();
    group->addFilter(blur);
    group->addFilter(mix);
    group->setInitialFilters({blur, mix});
    group->setTerminalFilter(mix);
    return group;
}

GLImageFilterRegistry::FilterClass unsharpMaskClass() {
    using Group = GLImageFilterGroup;
    GLImageFilterRegistry::FilterClass filterClass;
    filterClass.name = "GLImageUnsharpMaskFilter";
    filterClass.help = "image + (image - blurred) * (intensity - 1)";
    filterClass.create = makeUnsharpMask;
    filterClass.setters = {
        GLImageFilterRegistry::floatSetter<Group>(
            "setBlurRadiusInPixels:", "sigma of the blur in pixels (4)",
            [](Group& group, float v) {
                std::static_pointer_cast<GLImageGaussianBlurFilter>(group.filterAtIndex(0))
                    ->setBlurRadiusInPixels(v);
            }),
        GLImageFilterRegistry::floatSetter<Group>(
            "setIntensity:", "1 leaves the image as it is (4)",
            [](Group& group, float v) { group.filterAtIndex(1)->setFloat(v, "intensity"); }),
    };
    return filterClass;
}

const bool kRegistered = [] {
    GLImageFilterRegistry& registry = GLImageFilterRegistry::shared();
    registry.add(GLImageFilterRegistry::uniformFilterClass(
        "GLImageSharpenFilter", "the pixel against its four neighbours", 1, nearby(kSharpen),
        {{"setSharpness:", "sharpness", 0.0f, "-1...4, 0 leaves the image (0)"}}));
    registry.add(GLImageFilterRegistry::uniformFilterClass(
        "GLImageSobelEdgeDetectionFilter", "luminance gradient length as grey", 1, nearby(kSobel),
        {{"setEdgeStrength:", "edgeStrength", 1.0f, "gradient scale (1)"}}));
    registry.add(unsharpMaskClass());
    return true;
}();

}  // namespace

}  // namespace velmora

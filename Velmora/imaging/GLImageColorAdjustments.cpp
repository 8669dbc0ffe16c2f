// The colour adjustments of the filter catalogue: single-pass shader filters whose
// settings are float uniforms, each registered under its class name. The formulas work on
// straight (not premultiplied) colour in 0...1 and leave alpha alone; GL clamps results.
#include <algorithm>
#include <array>
#include <vector>

#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"

namespace velmora {

namespace {

// Rec. 709 luma weights, the ones the grey and saturation filters agree on.
#define VELMORA_LUMA "const highp vec3 W = vec3(0.2125, 0.7154, 0.0721); "
#define VELMORA_HEAD                                                                  \
    "precision highp float; varying highp vec2 textureCoordinate; uniform sampler2D " \
    "inputImageTexture; "

const char* const kBrightness = VELMORA_HEAD
    "uniform float brightness; void main() { vec4 c = texture2D(inputImageTexture, "
    "textureCoordinate); gl_FragColor = vec4(c.rgb + vec3(brightness), c.a); }";

const char* const kContrast = VELMORA_HEAD
    "uniform float contrast; void main() { vec4 c = texture2D(inputImageTexture, "
    "textureCoordinate); gl_FragColor = vec4((c.rgb - vec3(0.5)) * contrast + vec3(0.5), c.a); }";

const char* const kSaturation = VELMORA_HEAD VELMORA_LUMA
    "uniform float saturation; void main() { vec4 c = texture2D(inputImageTexture, "
    "textureCoordinate); float luminance = dot(c.rgb, W); gl_FragColor = "
    "vec4(mix(vec3(luminance), c.rgb, saturation), c.a); }";

const char* const kExposure = VELMORA_HEAD
    "uniform float exposure; void main() { vec4 c = texture2D(inputImageTexture, "
    "textureCoordinate); gl_FragColor = vec4(c.rgb * pow(2.0, exposure), c.a); }";

const char* const kGamma = VELMORA_HEAD
    "uniform float gamma; void main() { vec4 c = texture2D(inputImageTexture, "
    "textureCoordinate); gl_FragColor = vec4(pow(c.rgb, vec3(gamma)), c.a); }";

const char* const kGrayscale = VELMORA_HEAD VELMORA_LUMA
    "void main() { vec4 c = texture2D(inputImageTexture, textureCoordinate); gl_FragColor = "
    "vec4(vec3(dot(c.rgb, W)), c.a); }";

const char* const kInvert = VELMORA_HEAD
    "void main() { vec4 c = texture2D(inputImageTexture, textureCoordinate); gl_FragColor = "
    "vec4(vec3(1.0) - c.rgb, c.a); }";

const char* const kLevels = VELMORA_HEAD
    "uniform float levelMinimum; uniform float levelMiddle; uniform float levelMaximum; uniform "
    "float minOutput; uniform float maxOutput; void main() { vec4 c = "
    "texture2D(inputImageTexture, textureCoordinate); vec3 v = clamp((c.rgb - "
    "vec3(levelMinimum)) / (levelMaximum - levelMinimum), 0.0, 1.0); v = pow(v, vec3(1.0 / "
    "levelMiddle)); gl_FragColor = vec4(mix(vec3(minOutput), vec3(maxOutput), v), c.a); }";

// Temperature moves red against blue, 0.1 per 1000 K from 5000 K; tint takes green down
// (positive, towards magenta) or up, 0.005 per unit.
const char* const kWhiteBalance = VELMORA_HEAD
    "uniform float temperature; uniform float tint; void main() { vec4 c = "
    "texture2D(inputImageTexture, textureCoordinate); float t = (temperature - 5000.0) * "
    "0.0001; gl_FragColor = vec4(c.rgb * vec3(1.0 + t, 1.0 - tint * 0.005, 1.0 - t), c.a); }";

const char* const kColorMatrix = VELMORA_HEAD
    "uniform mat4 colorMatrix; uniform float intensity; void main() { vec4 c = "
    "texture2D(inputImageTexture, textureCoordinate); vec4 o = c * colorMatrix; gl_FragColor "
    "= intensity * o + (1.0 - intensity) * c; }";

#undef VELMORA_HEAD
#undef VELMORA_LUMA

using Parameter = GLImageFilterRegistry::UniformParameter;

std::function<std::shared_ptr<GLImageFilter>()> shader(const char* fragmentShader) {
    return [fragmentShader] { return GLImageFilter::create(std::string(fragmentShader)); };
}

void registerUniformFilter(std::string name, std::string help, const char* fragmentShader,
                           std::vector<Parameter> parameters) {
    GLImageFilterRegistry::shared().add(GLImageFilterRegistry::uniformFilterClass(
        std::move(name), std::move(help), 1, shader(fragmentShader), std::move(parameters)));
}

// The matrix multiplies the colour as a row vector (colour * matrix), rows given in order.
using ColorMatrix = std::array<float, 16>;
constexpr ColorMatrix kIdentityMatrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr ColorMatrix kSepiaMatrix{0.3588f, 0.7044f, 0.1368f, 0, 0.2990f, 0.5870f, 0.1140f, 0,
                                   0.2392f, 0.4696f, 0.0912f, 0, 0,       0,       0,       1};

GLImageFilterRegistry::FilterClass colorMatrixClass(std::string name, std::string help,
                                                    const ColorMatrix& initial) {
    auto setMatrix = [](GLImageFilter& filter, const ColorMatrix& rows) {
        // GL takes the numbers column by column, and colour * M gives output j as
        // dot(colour, column j): passed as they are, the rows become the output channels.
        GPUMatrix4x4 numbers{};
        std::copy(rows.begin(), rows.end(), numbers.begin());
        filter.setMatrix4f(numbers, "colorMatrix");
    };
    GLImageFilterRegistry::FilterClass filterClass = GLImageFilterRegistry::uniformFilterClass(
        std::move(name), std::move(help), 1, shader(kColorMatrix),
        {{"setIntensity:", "intensity", 1.0f, "0 keeps the colour, 1 applies the matrix (1)"}});
    auto create = filterClass.create;
    filterClass.create = [create, setMatrix, initial] {
        auto made = create();
        setMatrix(*std::static_pointer_cast<GLImageFilter>(made), initial);
        return made;
    };
    filterClass.setters.push_back(GLImageFilterRegistry::floatArraySetter<GLImageFilter>(
        "setColorMatrix:", "16 numbers, row by row: output channel i = row i . (r, g, b, a)",
        [setMatrix](GLImageFilter& filter, std::vector<float> numbers) {
            ColorMatrix rows = kIdentityMatrix;
            std::copy_n(numbers.begin(), std::min<std::size_t>(numbers.size(), 16), rows.begin());
            setMatrix(filter, rows);
        }));
    return filterClass;
}

const bool kRegistered = [] {
    registerUniformFilter("GLImageBrightnessFilter", "adds to every colour channel", kBrightness,
                          {{"setBrightness:", "brightness", 0.0f, "-1...1 (0)"}});
    registerUniformFilter("GLImageContrastFilter", "scales colour around mid-grey", kContrast,
                          {{"setContrast:", "contrast", 1.0f, "0...4 (1)"}});
    registerUniformFilter("GLImageSaturationFilter", "moves colour away from or towards grey",
                          kSaturation, {{"setSaturation:", "saturation", 1.0f, "0...2 (1)"}});
    registerUniformFilter("GLImageExposureFilter", "multiplies colour by 2^exposure", kExposure,
                          {{"setExposure:", "exposure", 0.0f, "stops, -10...10 (0)"}});
    registerUniformFilter("GLImageGammaFilter", "raises colour to a power", kGamma,
                          {{"setGamma:", "gamma", 1.0f, "0...3 (1)"}});
    registerUniformFilter("GLImageGrayscaleFilter", "Rec. 709 luminance as grey", kGrayscale, {});
    registerUniformFilter("GLImageColorInvertFilter", "1 - colour", kInvert, {});
    registerUniformFilter("GLImageLevelsFilter",
                          "input levels to output levels with a midtone power", kLevels,
                          {{"setMin:", "levelMinimum", 0.0f, "input black point (0)"},
                           {"setMid:", "levelMiddle", 1.0f, "midtone power, 1 linear (1)"},
                           {"setMax:", "levelMaximum", 1.0f, "input white point (1)"},
                           {"setMinOutput:", "minOutput", 0.0f, "output black (0)"},
                           {"setMaxOutput:", "maxOutput", 1.0f, "output white (1)"}});
    registerUniformFilter("GLImageWhiteBalanceFilter", "warms or cools, and shifts green",
                          kWhiteBalance,
                          {{"setTemperature:", "temperature", 5000.0f, "kelvin, 5000 neutral"},
                           {"setTint:", "tint", 0.0f, "-200...200, 0 neutral"}});
    GLImageFilterRegistry::shared().add(colorMatrixClass(
        "GLImageColorMatrixFilter", "a 4x4 matrix on (r, g, b, a)", kIdentityMatrix));
    GLImageFilterRegistry::shared().add(
        colorMatrixClass("GLImageSepiaFilter", "the colour matrix with sepia tones", kSepiaMatrix));
    return true;
}();

}  // namespace

}  // namespace velmora

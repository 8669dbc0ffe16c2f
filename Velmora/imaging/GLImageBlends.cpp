// The two-input blends of the filter catalogue. The first input is the base, the second
// the layer blended onto it; "mix" fades the result back towards the base (0 base only,
// 1 the full blend). The base keeps its alpha. Each is registered under its class name.
#include <string>

#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImageTwoInputFilter.h"

namespace velmora {

namespace {

// The shader of a blend whose colour is the expression `blended`, of base and layer.
std::string blendShader(const std::string& blended) {
    return "precision highp float; varying highp vec2 textureCoordinate; varying highp vec2 "
           "textureCoordinate2; uniform sampler2D inputImageTexture; uniform sampler2D "
           "inputImageTexture2; uniform float mixturePercent; void main() { vec4 base = "
           "texture2D(inputImageTexture, textureCoordinate); vec4 layer = "
           "texture2D(inputImageTexture2, textureCoordinate2); vec3 blended = " +
           blended + "; gl_FragColor = vec4(mix(base.rgb, blended, mixturePercent), base.a); }";
}

struct Blend {
    const char* name;
    const char* help;
    const char* expression;
    float initialMix;
};

constexpr Blend kBlends[] = {
    {"GLImageAlphaBlendFilter", "the layer over the base by the layer's alpha",
     "mix(base.rgb, layer.rgb, layer.a)", 0.5f},
    {"GLImageMultiplyBlendFilter", "base * layer", "base.rgb * layer.rgb", 1.0f},
    {"GLImageScreenBlendFilter", "1 - (1 - base)(1 - layer)",
     "vec3(1.0) - (vec3(1.0) - base.rgb) * (vec3(1.0) - layer.rgb)", 1.0f},
    {"GLImageOverlayBlendFilter", "multiply where the base is dark, screen where it is light",
     "mix(2.0 * base.rgb * layer.rgb, vec3(1.0) - 2.0 * (vec3(1.0) - base.rgb) * (vec3(1.0) - "
     "layer.rgb), step(vec3(0.5), base.rgb))",
     1.0f},
    {"GLImageAddBlendFilter", "base + layer", "min(base.rgb + layer.rgb, vec3(1.0))", 1.0f},
    {"GLImageDifferenceBlendFilter", "|base - layer|", "abs(base.rgb - layer.rgb)", 1.0f},
    {"GLImageDarkenBlendFilter", "the darker of base and layer, per channel",
     "min(base.rgb, layer.rgb)", 1.0f},
    {"GLImageLightenBlendFilter", "the lighter of base and layer, per channel",
     "max(base.rgb, layer.rgb)", 1.0f},
};

const bool kRegistered = [] {
    for (const Blend& blend : kBlends) {
        const std::string shader = blendShader(blend.expression);
        GLImageFilterRegistry::shared().add(GLImageFilterRegistry::uniformFilterClass(
            blend.name, blend.help, 2,
            [shader]() -> std::shared_ptr<GLImageFilter> {
                return GLImageFilter::create<GLImageTwoInputFilter>(shader);
            },
            {{"setMix:", "mixturePercent", blend.initialMix,
              "0 the base only ... 1 the full blend (" +
                  std::string(blend.initialMix == 1.0f ? "1" : "0.5") + ")"}}));
    }
    return true;
}();

}  // namespace

}  // namespace velmora

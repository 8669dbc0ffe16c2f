// Every filter of the catalogue against a CPU reference computed here, on small opaque
// images, with the tolerance each states (GL rounds to 8 bits at every pass).
#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "Velmora/imaging/GLImageFilterGroup.h"
#include "Velmora/imaging/GLImageFilterRegistry.h"
#include "Velmora/imaging/GLImageGaussianBlurFilter.h"
#include "Velmora/imaging/GLImagePicture.h"
#include "Velmora/imaging/GLImageTwoInputFilter.h"

#include "tests/imaging/GLTestSupport.h"

namespace velmora {
namespace {

using testing::makeImage;

struct Color {
    double r, g, b;
};

Color colorAt(const Image& image, int x, int y) {
    x = std::clamp(x, 0, image.width() - 1);  // edges clamp, as the textures do
    y = std::clamp(y, 0, image.height() - 1);
    const Rgba8 p = image.pixelAt(x, y);
    return {p.r / 255.0, p.g / 255.0, p.b / 255.0};
}

constexpr double kR = 0.2125, kG = 0.7154, kB = 0.0721;

double luma(Color c) {
    return kR * c.r + kG * c.g + kB * c.b;
}

Color perChannel(Color c, const std::function<double(double)>& f) {
    return {f(c.r), f(c.g), f(c.b)};
}

Image gradient(int width, int height, int seed) {
    return makeImage(width, height, [seed](int x, int y) {
        return Rgba8{static_cast<std::uint8_t>((37 * x + 11 * y + seed) % 256),
                     static_cast<std::uint8_t>((23 * x + 57 * y + 3 * seed) % 256),
                     static_cast<std::uint8_t>((91 * x + 7 * y + 5 * seed) % 256), 255};
    });
}

// Runs the catalogue filter on first (and second, for blends), after the setters.
std::optional<Image> runFilter(const std::string& name,
                               const std::vector<std::pair<std::string, std::string>>& settings,
                               const Image& first, const Image* second = nullptr) {
    const auto filterClass = GLImageFilterRegistry::shared().find(name);
    EXPECT_TRUE(filterClass) << name;
    if (!filterClass) {
        return std::nullopt;
    }
    auto filter = filterClass->create();
    for (const auto& [selector, text] : settings) {
        const auto* setter = filterClass->setter(selector);
        EXPECT_TRUE(setter) << selector;
        GLImageFilterRegistry::Arguments arguments;
        if (setter->takesArray) {
            std::string rest = text;  // "a|b|c"
            for (std::size_t bar; (bar = rest.find('|')) != std::string::npos;
                 rest = rest.substr(bar + 1)) {
                arguments.push_back(*GLImageTypedValue::parse(rest.substr(0, bar)));
            }
            arguments.push_back(*GLImageTypedValue::parse(rest));
        } else {
            arguments.push_back(*GLImageTypedValue::parse(text));
        }
        setter->apply(*filter, arguments);
    }
    if (second == nullptr) {
        return filter->newCGImageByFilteringCGImage(first);
    }
    auto target = std::dynamic_pointer_cast<GLImageInput>(filter);
    auto base = GLImagePicture::create(first);
    auto layer = GLImagePicture::create(*second);
    base->addTarget(target, 0);
    layer->addTarget(target, 1);
    filter->useNextFrameForImageCapture();
    layer->processImage();
    base->processImage();
    return filter->newCGImageFromCurrentlyProcessedOutput();
}

struct Case {
    std::string name;
    std::vector<std::pair<std::string, std::string>> settings;
    int inputs;
    double tolerance;  // in levels of 255
    // The expected colour at (x, y) of the first input (and the second).
    std::function<Color(const Image&, const Image&, int, int)> expected;
};

std::vector<Case> cases() {
    auto pointwise = [](std::function<Color(Color)> f) {
        return [f](const Image& a, const Image&, int x, int y) { return f(colorAt(a, x, y)); };
    };
    auto blend = [](std::function<double(double, double)> f, double mix) {
        return [f, mix](const Image& a, const Image& b, int x, int y) {
            const Color p = colorAt(a, x, y);
            const Color q = colorAt(b, x, y);
            auto one = [&](double u, double v) {
                return u + (std::clamp(f(u, v), 0.0, 1.0) - u) * mix;
            };
            return Color{one(p.r, q.r), one(p.g, q.g), one(p.b, q.b)};
        };
    };
    const double sepia[3][3] = {
        {0.3588, 0.7044, 0.1368}, {0.2990, 0.5870, 0.1140}, {0.2392, 0.4696, 0.0912}};
    return {
        {"GLImageBrightnessFilter",
         {{"setBrightness:", "float(0.2)"}},
         1,
         1.5,
         pointwise([](Color c) { return perChannel(c, [](double v) { return v + 0.2; }); })},
        {"GLImageContrastFilter", {{"setContrast:", "float(1.5)"}}, 1, 1.5, pointwise([](Color c) {
             return perChannel(c, [](double v) { return (v - 0.5) * 1.5 + 0.5; });
         })},
        {"GLImageSaturationFilter",
         {{"setSaturation:", "float(0.3)"}},
         1,
         1.5,
         pointwise([](Color c) {
             const double l = luma(c);
             return perChannel(c, [l](double v) { return l + (v - l) * 0.3; });
         })},
        {"GLImageExposureFilter", {{"setExposure:", "float(0.5)"}}, 1, 1.5, pointwise([](Color c) {
             return perChannel(c, [](double v) { return v * std::pow(2.0, 0.5); });
         })},
        {"GLImageGammaFilter", {{"setGamma:", "float(2.2)"}}, 1, 1.5, pointwise([](Color c) {
             return perChannel(c, [](double v) { return std::pow(v, 2.2); });
         })},
        {"GLImageGrayscaleFilter", {}, 1, 1.5, pointwise([](Color c) {
             const double l = luma(c);
             return Color{l, l, l};
         })},
        {"GLImageColorInvertFilter", {}, 1, 1.0, pointwise([](Color c) {
             return perChannel(c, [](double v) { return 1 - v; });
         })},
        {"GLImageSepiaFilter",
         {{"setIntensity:", "float(0.75)"}},
         1,
         1.5,
         pointwise([sepia](Color c) {
             const double in[3] = {c.r, c.g, c.b};
             double out[3];
             for (int i = 0; i < 3; ++i) {
                 const double s = sepia[i][0] * c.r + sepia[i][1] * c.g + sepia[i][2] * c.b;
                 out[i] = 0.75 * s + 0.25 * in[i];
             }
             return Color{out[0], out[1], out[2]};
         })},
        {"GLImageColorMatrixFilter",
         {{"setColorMatrix:",
           "float(0)|float(0)|float(1)|float(0)|float(0)|float(1)|float(0)|"
           "float(0)|float(1)|float(0)|float(0)|float(0)|float(0)|float(0)|"
           "float(0)|float(1)"}},
         1,
         1.0,
         pointwise([](Color c) {
             return Color{c.b, c.g, c.r};
         })},
        {"GLImageLevelsFilter",
         {{"setMin:", "float(0.1)"},
          {"setMid:", "float(1.5)"},
          {"setMax:", "float(0.9)"},
          {"setMinOutput:", "float(0.05)"},
          {"setMaxOutput:", "float(0.95)"}},
         1,
         1.5,
         pointwise([](Color c) {
             return perChannel(c, [](double v) {
                 const double t = std::pow(std::clamp((v - 0.1) / 0.8, 0.0, 1.0), 1 / 1.5);
                 return 0.05 + t * 0.9;
             });
         })},
        {"GLImageWhiteBalanceFilter",
         {{"setTemperature:", "float(6000)"}, {"setTint:", "float(20)"}},
         1,
         1.5,
         pointwise([](Color c) {
             return Color{c.r * 1.1, c.g * 0.9, c.b * 0.9};
         })},
        {"GLImageSharpenFilter",
         {{"setSharpness:", "float(0.5)"}},
         1,
         2.0,
         [](const Image& a, const Image&, int x, int y) {
             const Color c = colorAt(a, x, y);
             const Color l = colorAt(a, x - 1, y), r = colorAt(a, x + 1, y);
             const Color t = colorAt(a, x, y - 1), b = colorAt(a, x, y + 1);
             return Color{c.r * 3 - 0.5 * (l.r + r.r + t.r + b.r),
                          c.g * 3 - 0.5 * (l.g + r.g + t.g + b.g),
                          c.b * 3 - 0.5 * (l.b + r.b + t.b + b.b)};
         }},
        {"GLImageSobelEdgeDetectionFilter",
         {},
         1,
         2.0,
         [](const Image& a, const Image&, int x, int y) {
             auto l = [&](int dx, int dy) { return luma(colorAt(a, x + dx, y + dy)); };
             const double h =
                 -l(-1, -1) - 2 * l(-1, 0) - l(-1, 1) + l(1, -1) + 2 * l(1, 0) + l(1, 1);
             const double v =
                 -l(-1, -1) - 2 * l(0, -1) - l(1, -1) + l(-1, 1) + 2 * l(0, 1) + l(1, 1);
             const double m = std::hypot(h, v);
             return Color{m, m, m};
         }},
        {"GLImageBoxBlurFilter",
         {{"setBlurRadiusInPixels:", "float(1)"}},
         1,
         2.0,
         [](const Image& a, const Image&, int x, int y) {
             Color sum{0, 0, 0};
             for (int dy = -1; dy <= 1; ++dy) {
                 for (int dx = -1; dx <= 1; ++dx) {
                     const Color c = colorAt(a, x + dx, y + dy);
                     sum = {sum.r + c.r / 9, sum.g + c.g / 9, sum.b + c.b / 9};
                 }
             }
             return sum;
         }},
        {"GLImageGaussianBlurFilter",
         {{"setBlurRadiusInPixels:", "float(1)"}},
         1,
         2.5,
         [](const Image& a, const Image&, int x, int y) {
             // Separable, sampled at whole pixels over the radius the filter uses (4).
             const auto w = GLImageGaussianBlurFilter::gaussianWeights(4, 1.0);
             Color sum{0, 0, 0};
             for (int dy = -4; dy <= 4; ++dy) {
                 for (int dx = -4; dx <= 4; ++dx) {
                     const double k = double(w[std::abs(dx)]) * w[std::abs(dy)];
                     const Color c = colorAt(a, x + dx, y + dy);
                     sum = {sum.r + k * c.r, sum.g + k * c.g, sum.b + k * c.b};
                 }
             }
             return sum;
         }},
        {"GLImageAlphaBlendFilter",
         {{"setMix:", "float(0.25)"}},
         2,
         1.5,
         blend([](double, double v) { return v; }, 0.25)},
        {"GLImageMultiplyBlendFilter",
         {},
         2,
         1.5,
         blend([](double u, double v) { return u * v; }, 1)},
        {"GLImageScreenBlendFilter",
         {},
         2,
         1.5,
         blend([](double u, double v) { return 1 - (1 - u) * (1 - v); }, 1)},
        {"GLImageOverlayBlendFilter",
         {},
         2,
         1.5,
         blend([](double u, double v) { return u < 0.5 ? 2 * u * v : 1 - 2 * (1 - u) * (1 - v); },
               1)},
        {"GLImageAddBlendFilter",
         {{"setMix:", "float(0.5)"}},
         2,
         1.5,
         blend([](double u, double v) { return u + v; }, 0.5)},
        {"GLImageDifferenceBlendFilter",
         {},
         2,
         1.5,
         blend([](double u, double v) { return std::abs(u - v); }, 1)},
        {"GLImageDarkenBlendFilter",
         {},
         2,
         1.0,
         blend([](double u, double v) { return std::min(u, v); }, 1)},
        {"GLImageLightenBlendFilter",
         {},
         2,
         1.0,
         blend([](double u, double v) { return std::max(u, v); }, 1)},
    };
}

TEST(FilterCatalogue, EveryFilterMatchesItsCpuReference) {
    VELMORA_REQUIRE_EGL();
    const Image first = gradient(9, 7, 0);
    const Image second = gradient(9, 7, 77);
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        const std::optional<Image> output =
            runFilter(c.name, c.settings, first, c.inputs == 2 ? &second : nullptr);
        ASSERT_TRUE(output);
        ASSERT_EQ(output->width(), first.width());
        ASSERT_EQ(output->height(), first.height());
        double worst = 0;
        for (int y = 0; y < first.height(); ++y) {
            for (int x = 0; x < first.width(); ++x) {
                const Color e = c.expected(first, second, x, y);
                const Rgba8 got = output->pixelAt(x, y);
                const double want[3] = {e.r, e.g, e.b};
                const std::uint8_t have[3] = {got.r, got.g, got.b};
                for (int k = 0; k < 3; ++k) {
                    const double level = std::clamp(want[k], 0.0, 1.0) * 255;
                    worst = std::max(worst, std::abs(level - have[k]));
                }
                EXPECT_EQ(got.a, 255);
            }
        }
        EXPECT_LE(worst, c.tolerance);
    }
}

TEST(FilterCatalogue, CropKeepsTheRegionAndUnsharpMaskSharpens) {
    VELMORA_REQUIRE_EGL();
    const Image image = gradient(8, 6, 5);
    auto cropped =
        runFilter("GLImageCropFilter",
                  {{"setCropRegion:", "float(0.25)|float(0.5)|float(0.5)|float(0.5)"}}, image);
    ASSERT_TRUE(cropped);
    ASSERT_EQ(cropped->width(), 4);
    ASSERT_EQ(cropped->height(), 3);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(cropped->pixelAt(x, y), image.pixelAt(x + 2, y + 3)) << x << "," << y;
        }
    }
    // Intensity 1 is the image itself; above 1 a step gets steeper.
    const Image step = makeImage(12, 4, [](int x, int) {
        const std::uint8_t v = x < 6 ? 80 : 170;
        return Rgba8{v, v, v, 255};
    });
    auto same = runFilter("GLImageUnsharpMaskFilter", {{"setIntensity:", "float(1)"}}, step);
    ASSERT_TRUE(same);
    EXPECT_EQ(same->pixelAt(5, 1), step.pixelAt(5, 1));
    auto sharper =
        runFilter("GLImageUnsharpMaskFilter",
                  {{"setIntensity:", "float(2)"}, {"setBlurRadiusInPixels:", "float(1)"}}, step);
    ASSERT_TRUE(sharper);
    EXPECT_LT(sharper->pixelAt(5, 1).r, 80);
    EXPECT_GT(sharper->pixelAt(6, 1).r, 170);
    EXPECT_EQ(sharper->pixelAt(0, 1).r, 80);
}

TEST(FilterCatalogue, EveryClassMakesAFilterAndListsTypedSetters) {
    VELMORA_REQUIRE_EGL();
    const auto all = GLImageFilterRegistry::shared().all();
    EXPECT_GE(all.size(), 25u);
    for (const auto& filterClass : all) {
        SCOPED_TRACE(filterClass->name);
        auto filter = filterClass->create();
        ASSERT_TRUE(filter);
        EXPECT_TRUE(std::dynamic_pointer_cast<GLImageInput>(filter));
        for (const auto& setter : filterClass->setters) {
            EXPECT_TRUE(setter.selector.ends_with(":")) << setter.selector;
            EXPECT_TRUE(setter.apply);
        }
    }
}

}  // namespace
}  // namespace velmora

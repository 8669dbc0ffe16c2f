#include "Velmora/imaging/GLImageSingleComponentGaussianBlurFilter.h"

#include "Velmora/imaging/GLImageFilterRegistry.h"

namespace velmora {

GLImageSingleComponentGaussianBlurFilter::GLImageSingleComponentGaussianBlurFilter(
    ConstructionKey key)
    : GLImageGaussianBlurFilter(key, vertexShaderForOptimizedBlurOfRadius(4, 2.0),
                                fragmentShaderForOptimizedBlurOfRadius(4, 2.0),
                                vertexShaderForOptimizedBlurOfRadius(4, 2.0),
                                fragmentShaderForOptimizedBlurOfRadius(4, 2.0)) {}

std::string GLImageSingleComponentGaussianBlurFilter::vertexShaderForOptimizedBlurOfRadius(
    unsigned radius, double sigma) {
    return optimizedVertexText(Channels::SingleComponent, radius, sigma);
}

std::string GLImageSingleComponentGaussianBlurFilter::fragmentShaderForOptimizedBlurOfRadius(
    unsigned radius, double sigma) {
    return optimizedFragmentText(Channels::SingleComponent, radius, sigma);
}

std::string GLImageSingleComponentGaussianBlurFilter::optimizedVertexShader(unsigned radius,
                                                                            double sigma) const {
    return vertexShaderForOptimizedBlurOfRadius(radius, sigma);
}

std::string GLImageSingleComponentGaussianBlurFilter::optimizedFragmentShader(unsigned radius,
                                                                              double sigma) const {
    return fragmentShaderForOptimizedBlurOfRadius(radius, sigma);
}

namespace {

const GLImageFilterRegistration kSingleComponentGaussianBlurRegistration{{
    "GLImageSingleComponentGaussianBlurFilter",
    "Gaussian blur of the red channel, written as opaque grey",
    1,
    [] { return GLImageFilter::create<GLImageSingleComponentGaussianBlurFilter>(); },
    {
        GLImageFilterRegistry::floatSetter<GLImageSingleComponentGaussianBlurFilter>(
            "setBlurRadiusInPixels:", "sigma in pixels, rounded to a whole number (2)",
            [](GLImageSingleComponentGaussianBlurFilter& f, float v) {
                f.setBlurRadiusInPixels(v);
            }),
    },
}};

}  // namespace

}  // namespace velmora

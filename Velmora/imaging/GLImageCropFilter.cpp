#include "Velmora/imaging/GLImageCropFilter.h"

#include <algorithm>
#include <cmath>

#include "Velmora/imaging/GLImageFilterRegistry.h"

namespace velmora {

GLImageCropFilter::GLImageCropFilter(ConstructionKey key) : GLImageFilter(key) {}

void GLImageCropFilter::setCropRegion(GLRect region) {
    const auto unit = [](double v) { return std::isnan(v) ? 0.0 : std::clamp(v, 0.0, 1.0); };
    const double x = unit(region.x);
    const double y = unit(region.y);
    cropRegion_ = {x, y, std::min(unit(region.width), 1 - x), std::min(unit(region.height), 1 - y)};
    const auto left = static_cast<GLfloat>(cropRegion_.x);
    const auto top = static_cast<GLfloat>(cropRegion_.y);
    const auto right = static_cast<GLfloat>(cropRegion_.x + cropRegion_.width);
    const auto bottom = static_cast<GLfloat>(cropRegion_.y + cropRegion_.height);
    // Texture row 0 is the image's top row, so y grows downwards here as in the region.
    cropTextureCoordinates_ = {left, top, right, top, left, bottom, right, bottom};
}

void GLImageCropFilter::setInputSize(GLSize newSize, int textureIndex) {
    if (preventRendering_) {
        return;
    }
    if (newSize.isZero() || overrideInputSize_) {
        GLImageFilter::setInputSize(newSize, textureIndex);
        return;
    }
    // At least one pixel each way, so that a thin region still gives an image.
    inputTextureSize_ = {std::max(1.0, std::round(newSize.width * cropRegion_.width)),
                         std::max(1.0, std::round(newSize.height * cropRegion_.height))};
    setupFilterForSize(sizeOfFBO());
}

void GLImageCropFilter::newFrameReadyAtTime(const FrameTime& frameTime, int) {
    renderToTextureWithVertices(imageVertices(), cropTextureCoordinates_.data());
    informTargetsAboutNewFrameAtTime(frameTime);
}

namespace {

const GLImageFilterRegistration kCropRegistration{{
    "GLImageCropFilter",
    "keeps a rectangle of the image",
    1,
    [] { return GLImageFilter::create<GLImageCropFilter>(); },
    {
        GLImageFilterRegistry::floatArraySetter<GLImageCropFilter>(
            "setCropRegion:", "x, y, width, height as fractions from the top left (0, 0, 1, 1)",
            [](GLImageCropFilter& f, std::vector<float> v) {
                v.resize(4, 0.0f);
                f.setCropRegion({v[0], v[1], v[2], v[3]});
            }),
    },
}};

}  // namespace

}  // namespace velmora

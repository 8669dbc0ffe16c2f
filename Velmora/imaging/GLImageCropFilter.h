#pragma once
// GLImageCropFilter: keeps a rectangle of its input, given as fractions of the input
// (x, y from the top left, width, height; the whole image after construction). The
// output has the rectangle's size in pixels. The region is taken from the input as it
// arrives, before any input rotation, which this filter does not apply.
//
// Thread safety: as GLImageFilter; set the region while no frame is in flight.
//
//   auto crop = GLImageFilter::create<GLImageCropFilter>();
//   crop->setCropRegion({0.25, 0.25, 0.5, 0.5});   // the middle quarter
//   auto middle = crop->newCGImageByFilteringCGImage(image);

#include <array>

#include "Velmora/imaging/GLImageFilter.h"

namespace velmora {

class GLImageCropFilter : public GLImageFilter {
  public:
    explicit GLImageCropFilter(ConstructionKey key);

    const GLRect& cropRegion() const { return cropRegion_; }
    // Clamped to the image.
    void setCropRegion(GLRect region);

    void setInputSize(GLSize newSize, int textureIndex) override;
    void newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) override;

  private:
    GLRect cropRegion_{0, 0, 1, 1};
    std::array<GLfloat, 8> cropTextureCoordinates_{0, 0, 1, 0, 0, 1, 1, 1};
};

}  // namespace velmora

#pragma once
// GLImageBoxBlurFilter: the mean of the (2r + 1) pixels around each pixel, vertically
// then horizontally; r is blurRadiusInPixels rounded (2 after construction). One texture
// read per tap: meant for small radii, where its flat response is wanted over the
// Gaussian's.
//
// Thread safety: as GLImageFilter; set the radius while no frame is in flight.
//
//   auto box = GLImageFilter::create<GLImageBoxBlurFilter>();
//   box->setBlurRadiusInPixels(3);
//   auto blurred = box->newCGImageByFilteringCGImage(image);

#include <string>

#include "Velmora/imaging/GLImageTwoPassTextureSamplingFilter.h"

namespace velmora {

class GLImageBoxBlurFilter : public GLImageTwoPassTextureSamplingFilter {
  public:
    explicit GLImageBoxBlurFilter(ConstructionKey key);

    // The fragment shader of one pass over radius taps each side.
    static std::string fragmentShaderForRadius(unsigned radius);

    unsigned blurRadiusInPixels() const { return radius_; }
    // Rebuilds the programs when the rounded radius changes (negative counts as 0).
    void setBlurRadiusInPixels(double value);

  private:
    unsigned radius_ = 2;
};

}  // namespace velmora

#pragma once
// GLImageSingleComponentGaussianBlurFilter: the Gaussian blur for single-channel images
// (masks, luminance): it reads the red channel only and writes opaque grey. Same weights,
// pairs and radius rule as GLImageGaussianBlurFilter, at a quarter of the colour reads.
//
// Thread safety: as GLImageFilter.
//
//   auto blur = GLImageFilter::create<GLImageSingleComponentGaussianBlurFilter>();
//   blur->setBlurRadiusInPixels(4.0);
//   luminance->addTarget(blur);

#include <string>

#include "Velmora/imaging/GLImageGaussianBlurFilter.h"

namespace velmora {

class GLImageSingleComponentGaussianBlurFilter : public GLImageGaussianBlurFilter {
  public:
    // Radius 4, sigma 2.
    explicit GLImageSingleComponentGaussianBlurFilter(ConstructionKey key);

    static std::string vertexShaderForOptimizedBlurOfRadius(unsigned radius, double sigma);
    static std::string fragmentShaderForOptimizedBlurOfRadius(unsigned radius, double sigma);

  protected:
    std::string optimizedVertexShader(unsigned radius, double sigma) const override;
    std::string optimizedFragmentShader(unsigned radius, double sigma) const override;
};

}  // namespace velmora

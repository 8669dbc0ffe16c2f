#pragma once
// GLImage3x3TextureSamplingFilter: a single-pass filter whose vertex shader hands the
// fragment shader the coordinates of the pixel and its eight neighbours (textureCoordinate,
// leftTextureCoordinate, ..., bottomRightTextureCoordinate), one texel apart. The texel
// size follows the input size until texelWidth or texelHeight is set explicitly; under a
// quarter turn the two uniforms receive each other's value.
//
// Thread safety: as GLImageFilter.
//
//   auto edges = GLImageFilter::create<GLImage3x3TextureSamplingFilter>(kSobelFragmentShader);
//   edges->setTexelWidth(2.0 / 640);   // sample two pixels apart from now on

#include <string>

#include "Velmora/imaging/GLImageFilter.h"

namespace velmora {

extern const char* const kGLImageNearbyTexelSamplingVertexShaderString;

class GLImage3x3TextureSamplingFilter : public GLImageFilter {
  public:
    GLImage3x3TextureSamplingFilter(ConstructionKey key, std::string fragmentShader);

    void setupFilterForSize(GLSize filterFrameSize) override;

    double texelWidth() const { return texelWidth_; }
    double texelHeight() const { return texelHeight_; }
    void setTexelWidth(double value);
    void setTexelHeight(double value);

  protected:
    void initializeProgram() override;

    GLint texelWidthUniform_ = -1;
    GLint texelHeightUniform_ = -1;
    bool hasOverriddenImageSizeFactor_ = false;
    double texelWidth_ = 0;
    double texelHeight_ = 0;
};

}  // namespace velmora

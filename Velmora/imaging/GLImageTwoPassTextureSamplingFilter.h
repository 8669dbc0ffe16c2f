#pragma once
// GLImageTwoPassTextureSamplingFilter: a two-pass filter whose first (vertical) pass and
// second (horizontal) pass each sample neighbours along one axis, one texel step apart
// times the pass's spacing. The steps go to the uniforms "texelWidthOffset" and
// "texelHeightOffset" of each program. The vertical step divides by the height also when
// the input is turned a quarter (the step then lies along x); that is deliberate and kept.
//
// Thread safety: as GLImageFilter; the spacing setters may be called from any thread.
//
//   auto blur = GLImageFilter::create<GLImageTwoPassTextureSamplingFilter>(
//       kVerticalVertex, kVerticalFragment, kHorizontalVertex, kHorizontalFragment);
//   blur->setVerticalTexelSpacing(2.0);

#include <string>

#include "Velmora/imaging/GLImageTwoPassFilter.h"

namespace velmora {

class GLImageTwoPassTextureSamplingFilter : public GLImageTwoPassFilter {
  public:
    using GLImageTwoPassFilter::GLImageTwoPassFilter;

    void setupFilterForSize(GLSize filterFrameSize) override;
    void setUniformsForProgramAtIndex(unsigned programIndex) override;

    double verticalTexelSpacing() const { return verticalTexelSpacing_; }
    double horizontalTexelSpacing() const { return horizontalTexelSpacing_; }
    void setVerticalTexelSpacing(double spacing);
    void setHorizontalTexelSpacing(double spacing);

    struct Offsets {
        GLfloat width = 0;
        GLfloat height = 0;
        friend bool operator==(const Offsets&, const Offsets&) = default;
    };
    Offsets verticalPassOffsets() const {
        return {verticalPassTexelWidthOffset_, verticalPassTexelHeightOffset_};
    }
    Offsets horizontalPassOffsets() const {
        return {horizontalPassTexelWidthOffset_, horizontalPassTexelHeightOffset_};
    }

  protected:
    void initializeProgram() override;
    void didLinkPrograms() override;

    GLint verticalPassTexelWidthOffsetUniform_ = -1;
    GLint verticalPassTexelHeightOffsetUniform_ = -1;
    GLint horizontalPassTexelWidthOffsetUniform_ = -1;
    GLint horizontalPassTexelHeightOffsetUniform_ = -1;
    GLfloat verticalPassTexelWidthOffset_ = 0;
    GLfloat verticalPassTexelHeightOffset_ = 0;
    GLfloat horizontalPassTexelWidthOffset_ = 0;
    GLfloat horizontalPassTexelHeightOffset_ = 0;
    double verticalTexelSpacing_ = 1.0;
    double horizontalTexelSpacing_ = 1.0;
};

}  // namespace velmora

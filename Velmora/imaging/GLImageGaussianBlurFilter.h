#pragma once
// GLImageGaussianBlurFilter: a separable Gaussian blur, a vertical then a horizontal pass.
// Its shaders are generated for the sigma: the weights and offsets are written into the
// source as numbers, and neighbouring taps are merged pairwise into one linearly filtered
// read. At most 7 pairs travel as varyings (15 in all, within every device's limit); reads
// beyond that are computed in the fragment shader.
//
// blurRadiusInPixels is the sigma, rounded to a whole number; the sample radius follows
// from it (where the Gaussian falls to 1/256 of its peak, made even). Programs are rebuilt
// only when the rounded sigma changes. blurRadiusAsFractionOfImageWidth/Height are kept
// for callers that set them and have no effect, deliberately.
//
// Thread safety: as GLImageFilter; set properties while no frame is in flight.
//
//   auto blur = GLImageFilter::create<GLImageGaussianBlurFilter>();
//   blur->setBlurRadiusInPixels(8.0);
//   auto blurred = blur->newCGImageByFilteringCGImage(image);

#include <string>
#include <vector>

#include "Velmora/imaging/GLImageTwoPassTextureSamplingFilter.h"

namespace velmora {

class GLImageGaussianBlurFilter : public GLImageTwoPassTextureSamplingFilter {
  public:
    // Radius 4, sigma 2.
    explicit GLImageGaussianBlurFilter(ConstructionKey key);
    GLImageGaussianBlurFilter(ConstructionKey key, std::string firstStageVertexShader,
                              std::string firstStageFragmentShader,
                              std::string secondStageVertexShader,
                              std::string secondStageFragmentShader);

    // The normalised weights w[0..radius] in 32-bit floats (the centre counts once, every
    // other weight twice).
    static std::vector<float> gaussianWeights(unsigned radius, double sigma);
    // The even sample radius for a sigma that is already a whole number.
    static unsigned sampleRadiusForSigma(double sigma);
    // Radius must be even (an odd one would read one weight past the end). Radius 0 gives
    // the standard vertex shader and the pass-through fragment shader.
    static std::string vertexShaderForOptimizedBlurOfRadius(unsigned radius, double sigma);
    static std::string fragmentShaderForOptimizedBlurOfRadius(unsigned radius, double sigma);
    // One read per tap; not used by the filter.
    static std::string vertexShaderForStandardBlurOfRadius(unsigned radius, double sigma);
    static std::string fragmentShaderForStandardBlurOfRadius(unsigned radius, double sigma);

    double blurRadiusInPixels() const { return blurRadiusInPixels_; }
    void setBlurRadiusInPixels(double value);
    double texelSpacingMultiplier() const { return texelSpacingMultiplier_; }
    void setTexelSpacingMultiplier(double value);
    unsigned blurPasses() const { return blurPasses_; }
    void setBlurPasses(unsigned passes) { blurPasses_ = passes; }
    double blurRadiusAsFractionOfImageWidth() const { return blurRadiusAsFractionOfImageWidth_; }
    void setBlurRadiusAsFractionOfImageWidth(double value) {
        blurRadiusAsFractionOfImageWidth_ = value;
    }
    double blurRadiusAsFractionOfImageHeight() const { return blurRadiusAsFractionOfImageHeight_; }
    void setBlurRadiusAsFractionOfImageHeight(double value) {
        blurRadiusAsFractionOfImageHeight_ = value;
    }

    // Both stages get the pair. Synchronous on the processing queue.
    void switchToVertexShader(const std::string& vertexShader, const std::string& fragmentShader);
    void renderToTextureWithVertices(const GLfloat* vertices,
                                     const GLfloat* textureCoordinates) override;

  protected:
    enum class Channels { Color, SingleComponent };
    static std::string optimizedVertexText(Channels channels, unsigned radius, double sigma);
    static std::string optimizedFragmentText(Channels channels, unsigned radius, double sigma);

    void initializeProgram() override;
    // The generators the filter uses; the single-component blur overrides them.
    virtual std::string optimizedVertexShader(unsigned radius, double sigma) const;
    virtual std::string optimizedFragmentShader(unsigned radius, double sigma) const;

  private:
    bool shouldResizeBlurRadiusWithImageSize_ = false;
    double blurRadiusInPixels_ = 2.0;
    double texelSpacingMultiplier_ = 1.0;
    double blurRadiusAsFractionOfImageWidth_ = 0;
    double blurRadiusAsFractionOfImageHeight_ = 0;
    unsigned blurPasses_ = 1;
};

}  // namespace velmora

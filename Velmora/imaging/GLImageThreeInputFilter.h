#pragma once
// GLImageThreeInputFilter: a two-input filter with a third source, sampled through
// "inputImageTexture3" at "textureCoordinate3". Automatic slot assignment hands out 0 and
// 1 only (setting slot 1 never marks it taken, which is deliberate and kept): attach the
// third source with addTarget(filter, 2).
//
// Thread safety: as GLImageFilter.
//
//   auto filter = GLImageFilter::create<GLImageThreeInputFilter>(kFragmentShader);
//   a->addTarget(filter); b->addTarget(filter, 1); c->addTarget(filter, 2);
//   filter->disableThirdFrameCheck();

#include <memory>
#include <string>

#include "Velmora/imaging/GLImageTwoInputFilter.h"

namespace velmora {

extern const char* const kGLImageThreeInputTextureVertexShaderString;

class GLImageThreeInputFilter : public GLImageTwoInputFilter {
  public:
    GLImageThreeInputFilter(ConstructionKey key, std::string fragmentShader);
    GLImageThreeInputFilter(ConstructionKey key, std::string vertexShader,
                            std::string fragmentShader);

    void initializeAttributes() override;
    void disableThirdFrameCheck() { thirdFrameCheckDisabled_ = true; }

    void newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) override;
    void setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                             int textureIndex) override;
    int nextAvailableTextureIndex() const override;
    void setInputSize(GLSize newSize, int textureIndex) override;
    void setInputRotation(GLImageRotationMode rotation, int textureIndex) override;

    GLImageRotationMode inputRotation3() const { return inputRotation3_; }

  protected:
    void initializeProgram() override;
    void bindAdditionalInputs() override;
    void unlockInputFramebuffers() override;
    GLImageRotationMode rotationAtIndex(int textureIndex) const override;

    std::shared_ptr<GLImageFramebuffer> thirdInputFramebuffer_;
    GLint filterThirdTextureCoordinateAttribute_ = -1;
    GLint filterInputTextureUniform3_ = -1;
    GLImageRotationMode inputRotation3_ = GLImageRotationMode::NoRotation;
    FrameTime thirdFrameTime_ = FrameTime::invalid();
    bool hasSetSecondTexture_ = false;
    bool hasReceivedThirdFrame_ = false;
    bool thirdFrameCheckDisabled_ = false;
};

}  // namespace velmora

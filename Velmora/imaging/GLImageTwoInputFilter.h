#pragma once
// GLImageTwoInputFilter: a filter drawing two sources at once (blends and masks). The
// second input arrives at texture index 1 and is sampled through "inputImageTexture2" at
// "textureCoordinate2". It renders when both inputs have delivered a frame, or at once on
// every frame of a moving input once a still image (indefinite time) sits on the other;
// disableFirstFrameCheck/disableSecondFrameCheck stop waiting for an input for good.
//
// Thread safety: as GLImageFilter; frames arrive on the processing queue.
//
//   auto blend = GLImageFilter::create<GLImageTwoInputFilter>(kMultiplyFragmentShader);
//   photo->addTarget(blend);        // index 0
//   texture->addTarget(blend);      // index 1
//   blend->disableSecondFrameCheck();

#include <memory>
#include <string>

#include "Velmora/imaging/GLImageFilter.h"

namespace velmora {

extern const char* const kGLImageTwoInputTextureVertexShaderString;

class GLImageTwoInputFilter : public GLImageFilter {
  public:
    GLImageTwoInputFilter(ConstructionKey key, std::string fragmentShader);
    GLImageTwoInputFilter(ConstructionKey key, std::string vertexShader,
                          std::string fragmentShader);

    void initializeAttributes() override;

    void disableFirstFrameCheck() { firstFrameCheckDisabled_ = true; }
    void disableSecondFrameCheck() { secondFrameCheckDisabled_ = true; }

    void newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) override;
    void setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                             int textureIndex) override;
    int nextAvailableTextureIndex() const override { return hasSetFirstTexture_ ? 1 : 0; }
    void setInputSize(GLSize newSize, int textureIndex) override;
    void setInputRotation(GLImageRotationMode rotation, int textureIndex) override;
    GLSize rotatedSize(GLSize sizeToRotate, int textureIndex) const override;

    GLImageRotationMode inputRotation2() const { return inputRotation2_; }
    const FrameTime& firstFrameTime() const { return firstFrameTime_; }
    const FrameTime& secondFrameTime() const { return secondFrameTime_; }

  protected:
    void initializeProgram() override;
    void bindAdditionalInputs() override;
    void unlockInputFramebuffers() override;
    // The rotation of the input at textureIndex (0 the first).
    virtual GLImageRotationMode rotationAtIndex(int textureIndex) const;

    std::shared_ptr<GLImageFramebuffer> secondInputFramebuffer_;
    GLint filterSecondTextureCoordinateAttribute_ = -1;
    GLint filterInputTextureUniform2_ = -1;
    GLImageRotationMode inputRotation2_ = GLImageRotationMode::NoRotation;
    FrameTime firstFrameTime_ = FrameTime::invalid();
    FrameTime secondFrameTime_ = FrameTime::invalid();
    bool hasSetFirstTexture_ = false;
    bool hasReceivedFirstFrame_ = false;
    bool hasReceivedSecondFrame_ = false;
    bool firstFrameCheckDisabled_ = false;
    bool secondFrameCheckDisabled_ = false;
};

}  // namespace velmora

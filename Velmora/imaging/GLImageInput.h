#pragma once
// GLImageInput: what a target offers the output that feeds it. A source hands each
// target its framebuffer and size for one input slot (the texture index), then tells it
// a frame is ready; the target locks the framebuffer it receives and unlocks it after
// drawing from it (see GLImageFramebuffer).
//
// Thread safety: every call comes on the processing queue.
//
//   source->addTarget(filter);          // filter is a GLImageInput
//   // per frame, from the source:
//   filter->setInputFramebuffer(fb, 0); filter->setInputSize(size, 0);
//   filter->newFrameReadyAtTime(t, 0);

#include <memory>

#include "Velmora/imaging/FrameTime.h"
#include "Velmora/imaging/GLImageRotation.h"
#include "Velmora/imaging/gl/GLGeometry.h"

namespace velmora {

class GLImageFramebuffer;

class GLImageInput {
  public:
    virtual ~GLImageInput() = default;

    virtual void newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) = 0;
    // The receiver locks a non-null framebuffer.
    virtual void setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                                     int textureIndex) = 0;
    virtual int nextAvailableTextureIndex() const = 0;
    virtual void setInputSize(GLSize size, int textureIndex) = 0;
    virtual void setInputRotation(GLImageRotationMode rotation, int textureIndex) = 0;
    virtual GLSize maximumOutputSize() const = 0;
    virtual void endProcessing() = 0;
    virtual bool shouldIgnoreUpdatesToThisTarget() const = 0;
    virtual bool enabled() const = 0;
    virtual bool wantsMonochromeInput() const = 0;
    virtual void setCurrentlyReceivingMonochromeInput(bool receiving) = 0;

  protected:
    GLImageInput() = default;
    GLImageInput(const GLImageInput&) = default;
    GLImageInput& operator=(const GLImageInput&) = default;
};

}  // namespace velmora

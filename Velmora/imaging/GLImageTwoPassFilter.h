#pragma once
// GLImageTwoPassFilter: a filter of two programs; the second draws the first one's result
// into the framebuffer that goes on to the targets. Uniforms are kept per program: a block
// set for the second program replays before the second pass only.
//
// Thread safety: as GLImageFilter.
//
//   auto filter = GLImageFilter::create<GLImageTwoPassFilter>(kFirstFragment, kSecondFragment);
//   picture->addTarget(filter);
//   picture->processImage();

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "Velmora/imaging/GLImageFilter.h"

namespace velmora {

class GLImageTwoPassFilter : public GLImageFilter {
  public:
    GLImageTwoPassFilter(ConstructionKey key, std::string firstStageVertexShader,
                         std::string firstStageFragmentShader, std::string secondStageVertexShader,
                         std::string secondStageFragmentShader);
    // Both stages with the standard vertex shader.
    GLImageTwoPassFilter(ConstructionKey key, std::string firstStageFragmentShader,
                         std::string secondStageFragmentShader);

    // Adds "position" and "inputTextureCoordinate" to the second program.
    virtual void initializeSecondaryAttributes();

    void renderToTextureWithVertices(const GLfloat* vertices,
                                     const GLfloat* textureCoordinates) override;
    void setAndExecuteUniformStateCallbackAtIndex(GLint uniform, const GLProgram* program,
                                                  std::function<void()> block) override;
    void setUniformsForProgramAtIndex(unsigned programIndex) override;

    const std::shared_ptr<GLProgram>& secondFilterProgram() const { return secondFilterProgram_; }
    std::size_t secondUniformStateBlockCount() const {
        return secondProgramUniformStateRestorationBlocks_.size();
    }

  protected:
    void initializeProgram() override;
    // Replaces both programs (the cache keeps the earlier ones) and looks everything up
    // again. REQUIRES: the processing queue.
    void switchPrograms(std::string firstStageVertexShader, std::string firstStageFragmentShader,
                        std::string secondStageVertexShader, std::string secondStageFragmentShader);
    // After the programs were (re)built, on the processing queue: subclasses look up their
    // uniforms here.
    virtual void didLinkPrograms() {}

    std::shared_ptr<GLImageFramebuffer> secondOutputFramebuffer_;
    std::shared_ptr<GLProgram> secondFilterProgram_;
    GLint secondFilterPositionAttribute_ = 0;
    GLint secondFilterTextureCoordinateAttribute_ = 1;
    GLint secondFilterInputTextureUniform_ = -1;
    GLint secondFilterInputTextureUniform2_ = -1;
    std::map<GLint, std::function<void()>> secondProgramUniformStateRestorationBlocks_;

  private:
    void linkSecondProgram();

    std::string secondStageVertexShader_;
    std::string secondStageFragmentShader_;
};

}  // namespace velmora

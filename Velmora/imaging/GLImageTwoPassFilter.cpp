#include "Velmora/imaging/GLImageTwoPassFilter.h"

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImageFramebufferCache.h"
#include "Velmora/imaging/GLProgram.h"

namespace velmora {

GLImageTwoPassFilter::GLImageTwoPassFilter(ConstructionKey key, std::string firstStageVertexShader,
                                           std::string firstStageFragmentShader,
                                           std::string secondStageVertexShader,
                                           std::string secondStageFragmentShader)
    : GLImageFilter(key, std::move(firstStageVertexShader), std::move(firstStageFragmentShader)),
      secondStageVertexShader_(std::move(secondStageVertexShader)),
      secondStageFragmentShader_(std::move(secondStageFragmentShader)) {}

GLImageTwoPassFilter::GLImageTwoPassFilter(ConstructionKey key,
                                           std::string firstStageFragmentShader,
                                           std::string secondStageFragmentShader)
    : GLImageTwoPassFilter(key, kGLImageVertexShaderString, std::move(firstStageFragmentShader),
                           kGLImageVertexShaderString, std::move(secondStageFragmentShader)) {}

void GLImageTwoPassFilter::initializeProgram() {
    GLImageFilter::initializeProgram();
    runSynchronouslyOnVideoProcessingQueue([this] {
        linkSecondProgram();
        didLinkPrograms();
    });
}

void GLImageTwoPassFilter::linkSecondProgram() {
    secondFilterProgram_ = linkedProgram(secondStageVertexShader_, secondStageFragmentShader_,
                                         [this](const std::shared_ptr<GLProgram>& program) {
                                             secondFilterProgram_ = program;
                                             initializeSecondaryAttributes();
                                         });
    if (!secondFilterProgram_) {
        return;
    }
    secondFilterPositionAttribute_ = secondFilterProgram_->attributeIndex("position");
    secondFilterTextureCoordinateAttribute_ =
        secondFilterProgram_->attributeIndex("inputTextureCoordinate");
    secondFilterInputTextureUniform_ = secondFilterProgram_->uniformIndex("inputImageTexture");
    secondFilterInputTextureUniform2_ = secondFilterProgram_->uniformIndex("inputImageTexture2");
    GLImageContext::setActiveShaderProgram(secondFilterProgram_);
    glEnableVertexAttribArray(static_cast<GLuint>(secondFilterPositionAttribute_));
    glEnableVertexAttribArray(static_cast<GLuint>(secondFilterTextureCoordinateAttribute_));
}

void GLImageTwoPassFilter::switchPrograms(std::string firstStageVertexShader,
                                          std::string firstStageFragmentShader,
                                          std::string secondStageVertexShader,
                                          std::string secondStageFragmentShader) {
    replaceShaderSources(std::move(firstStageVertexShader), std::move(firstStageFragmentShader));
    secondStageVertexShader_ = std::move(secondStageVertexShader);
    secondStageFragmentShader_ = std::move(secondStageFragmentShader);
    GLImageFilter::initializeProgram();
    linkSecondProgram();
    didLinkPrograms();
}

void GLImageTwoPassFilter::initializeSecondaryAttributes() {
    secondFilterProgram_->addAttribute("position");
    secondFilterProgram_->addAttribute("inputTextureCoordinate");
}

void GLImageTwoPassFilter::setAndExecuteUniformStateCallbackAtIndex(GLint uniform,
                                                                    const GLProgram* program,
                                                                    std::function<void()> block) {
    if (program == filterProgram_.get()) {
        GLImageFilter::setAndExecuteUniformStateCallbackAtIndex(uniform, program, std::move(block));
        return;
    }
    auto& stored = secondProgramUniformStateRestorationBlocks_[uniform];
    stored = std::move(block);
    stored();
}

void GLImageTwoPassFilter::setUniformsForProgramAtIndex(unsigned programIndex) {
    if (programIndex == 0) {
        GLImageFilter::setUniformsForProgramAtIndex(programIndex);
        return;
    }
    for (const auto& [uniform, block] : secondProgramUniformStateRestorationBlocks_) {
        block();
    }
}

void GLImageTwoPassFilter::renderToTextureWithVertices(const GLfloat* vertices,
                                                       const GLfloat* textureCoordinates) {
    if (preventRendering_) {
        unlockInputFramebuffers();
        return;
    }
    // First pass: the single-pass render, without the capture lock and signal, which
    // belong to the second.
    const bool capturing = usingNextFrameForImageCapture_;
    usingNextFrameForImageCapture_ = false;
    GLImageFilter::renderToTextureWithVertices(vertices, textureCoordinates);
    usingNextFrameForImageCapture_ = capturing;
    std::shared_ptr<GLImageFramebuffer> firstPass = std::move(outputFramebuffer_);
    firstInputFramebuffer_.reset();

    // Second pass, reading the first.
    secondOutputFramebuffer_ = GLImageContext::sharedFramebufferCache().fetchFramebufferForSize(
        sizeOfFBO(), outputTextureOptions_, false);
    secondOutputFramebuffer_->activateFramebuffer();
    GLImageContext::setActiveShaderProgram(secondFilterProgram_);
    if (capturing) {
        secondOutputFramebuffer_->lock();
    }
    setUniformsForProgramAtIndex(1);
    glActiveTexture(GL_TEXTURE3);
    glBindTexture(GL_TEXTURE_2D, firstPass->texture());
    glVertexAttribPointer(static_cast<GLuint>(secondFilterTextureCoordinateAttribute_), 2, GL_FLOAT,
                          GL_FALSE, 0,
                          textureCoordinatesForRotation(GLImageRotationMode::NoRotation));
    glUniform1i(secondFilterInputTextureUniform_, 3);
    glVertexAttribPointer(static_cast<GLuint>(secondFilterPositionAttribute_), 2, GL_FLOAT,
                          GL_FALSE, 0, vertices);
    glClearColor(backgroundColorRed_, backgroundColorGreen_, backgroundColorBlue_,
                 backgroundColorAlpha_);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    firstPass->unlock();
    firstPass.reset();
    // The second pass's framebuffer is what goes on: the base class hands on, unlocks and
    // drops outputFramebuffer_.
    outputFramebuffer_ = std::move(secondOutputFramebuffer_);
    if (capturing) {
        imageCaptureSemaphore_.release();
    }
}

}  // namespace velmora

#include "Velmora/imaging/GLImageThreeInputFilter.h"

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLProgram.h"

namespace velmora {

const char* const kGLImageThreeInputTextureVertexShaderString =
    "attribute vec4 position; attribute vec4 inputTextureCoordinate; attribute vec4 "
    "inputTextureCoordinate2; attribute vec4 inputTextureCoordinate3; varying vec2 "
    "textureCoordinate; varying vec2 textureCoordinate2; varying vec2 textureCoordinate3; void "
    "main() { gl_Position = position; textureCoordinate = inputTextureCoordinate.xy; "
    "textureCoordinate2 = inputTextureCoordinate2.xy; textureCoordinate3 = "
    "inputTextureCoordinate3.xy; }";

GLImageThreeInputFilter::GLImageThreeInputFilter(ConstructionKey key, std::string fragmentShader)
    : GLImageThreeInputFilter(key, kGLImageThreeInputTextureVertexShaderString,
                              std::move(fragmentShader)) {}

GLImageThreeInputFilter::GLImageThreeInputFilter(ConstructionKey key, std::string vertexShader,
                                                 std::string fragmentShader)
    : GLImageTwoInputFilter(key, std::move(vertexShader), std::move(fragmentShader)) {}

void GLImageThreeInputFilter::initializeProgram() {
    GLImageTwoInputFilter::initializeProgram();
    runSynchronouslyOnVideoProcessingQueue([this] {
        if (!filterProgram_) {
            return;
        }
        GLImageContext::useImageProcessingContext();
        filterThirdTextureCoordinateAttribute_ =
            filterProgram_->attributeIndex("inputTextureCoordinate3");
        filterInputTextureUniform3_ = filterProgram_->uniformIndex("inputImageTexture3");
        glEnableVertexAttribArray(static_cast<GLuint>(filterThirdTextureCoordinateAttribute_));
    });
}

void GLImageThreeInputFilter::initializeAttributes() {
    GLImageTwoInputFilter::initializeAttributes();
    filterProgram_->addAttribute("inputTextureCoordinate3");
}

int GLImageThreeInputFilter::nextAvailableTextureIndex() const {
    if (hasSetSecondTexture_) {
        return 2;
    }
    return hasSetFirstTexture_ ? 1 : 0;
}

void GLImageThreeInputFilter::setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                                                  int textureIndex) {
    if (textureIndex == 0 || textureIndex == 1) {
        GLImageTwoInputFilter::setInputFramebuffer(std::move(framebuffer), textureIndex);
        return;
    }
    thirdInputFramebuffer_ = std::move(framebuffer);
    if (thirdInputFramebuffer_) {
        thirdInputFramebuffer_->lock();
    }
}

void GLImageThreeInputFilter::setInputSize(GLSize newSize, int textureIndex) {
    if (textureIndex == 0) {
        GLImageTwoInputFilter::setInputSize(newSize, textureIndex);
    } else if (textureIndex == 1 && newSize.isZero()) {
        hasSetSecondTexture_ = false;
    }
}

void GLImageThreeInputFilter::setInputRotation(GLImageRotationMode rotation, int textureIndex) {
    if (textureIndex == 0 || textureIndex == 1) {
        GLImageTwoInputFilter::setInputRotation(rotation, textureIndex);
    } else {
        inputRotation3_ = rotation;
    }
}

GLImageRotationMode GLImageThreeInputFilter::rotationAtIndex(int textureIndex) const {
    return textureIndex == 0 || textureIndex == 1
               ? GLImageTwoInputFilter::rotationAtIndex(textureIndex)
               : inputRotation3_;
}

void GLImageThreeInputFilter::newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) {
    if (hasReceivedFirstFrame_ && hasReceivedSecondFrame_ && hasReceivedThirdFrame_) {
        return;
    }
    bool movingFrameMetStill = false;
    if (textureIndex == 0) {
        hasReceivedFirstFrame_ = true;
        firstFrameTime_ = frameTime;
        hasReceivedSecondFrame_ = hasReceivedSecondFrame_ || secondFrameCheckDisabled_;
        hasReceivedThirdFrame_ = hasReceivedThirdFrame_ || thirdFrameCheckDisabled_;
        movingFrameMetStill = !frameTime.isIndefinite() && secondFrameTime_.isIndefinite();
    } else if (textureIndex == 1) {
        hasReceivedSecondFrame_ = true;
        secondFrameTime_ = frameTime;
        hasReceivedFirstFrame_ = hasReceivedFirstFrame_ || firstFrameCheckDisabled_;
        hasReceivedThirdFrame_ = hasReceivedThirdFrame_ || thirdFrameCheckDisabled_;
        movingFrameMetStill = !frameTime.isIndefinite() && firstFrameTime_.isIndefinite();
    } else {
        hasReceivedThirdFrame_ = true;
        thirdFrameTime_ = frameTime;
        hasReceivedFirstFrame_ = hasReceivedFirstFrame_ || firstFrameCheckDisabled_;
        hasReceivedSecondFrame_ = hasReceivedSecondFrame_ || secondFrameCheckDisabled_;
        movingFrameMetStill = !frameTime.isIndefinite() && firstFrameTime_.isIndefinite();
    }
    if ((hasReceivedFirstFrame_ && hasReceivedSecondFrame_ && hasReceivedThirdFrame_) ||
        movingFrameMetStill) {
        renderToTextureWithVertices(imageVertices(), textureCoordinatesForRotation(inputRotation_));
        informTargetsAboutNewFrameAtTime(frameTime);
        hasReceivedFirstFrame_ = false;
        hasReceivedSecondFrame_ = false;
        hasReceivedThirdFrame_ = false;
    }
}

void GLImageThreeInputFilter::bindAdditionalInputs() {
    GLImageTwoInputFilter::bindAdditionalInputs();
    glActiveTexture(GL_TEXTURE4);
    glBindTexture(GL_TEXTURE_2D, thirdInputFramebuffer_ ? thirdInputFramebuffer_->texture() : 0);
    glUniform1i(filterInputTextureUniform3_, 4);
    glVertexAttribPointer(static_cast<GLuint>(filterThirdTextureCoordinateAttribute_), 2, GL_FLOAT,
                          GL_FALSE, 0, textureCoordinatesForRotation(inputRotation3_));
}

void GLImageThreeInputFilter::unlockInputFramebuffers() {
    GLImageTwoInputFilter::unlockInputFramebuffers();
    if (thirdInputFramebuffer_) {
        thirdInputFramebuffer_->unlock();
    }
}

}  // namespace velmora

#include "Velmora/imaging/GLImageTwoInputFilter.h"

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLProgram.h"

namespace velmora {

const char* const kGLImageTwoInputTextureVertexShaderString =
    "attribute vec4 position; attribute vec4 inputTextureCoordinate; attribute vec4 "
    "inputTextureCoordinate2; varying vec2 textureCoordinate; varying vec2 textureCoordinate2; "
    "void main() { gl_Position = position; textureCoordinate = inputTextureCoordinate.xy; "
    "textureCoordinate2 = inputTextureCoordinate2.xy; }";

GLImageTwoInputFilter::GLImageTwoInputFilter(ConstructionKey key, std::string fragmentShader)
    : GLImageTwoInputFilter(key, kGLImageTwoInputTextureVertexShaderString,
                            std::move(fragmentShader)) {}

GLImageTwoInputFilter::GLImageTwoInputFilter(ConstructionKey key, std::string vertexShader,
                                             std::string fragmentShader)
    : GLImageFilter(key, std::move(vertexShader), std::move(fragmentShader)) {}

void GLImageTwoInputFilter::initializeProgram() {
    GLImageFilter::initializeProgram();
    runSynchronouslyOnVideoProcessingQueue([this] {
        if (!filterProgram_) {
            return;
        }
        GLImageContext::useImageProcessingContext();
        filterSecondTextureCoordinateAttribute_ =
            filterProgram_->attributeIndex("inputTextureCoordinate2");
        filterInputTextureUniform2_ = filterProgram_->uniformIndex("inputImageTexture2");
        glEnableVertexAttribArray(static_cast<GLuint>(filterSecondTextureCoordinateAttribute_));
    });
}

void GLImageTwoInputFilter::initializeAttributes() {
    GLImageFilter::initializeAttributes();
    filterProgram_->addAttribute("inputTextureCoordinate2");
}

void GLImageTwoInputFilter::newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) {
    // Both already in: a frame announced from downstream came back round; ignoring it
    // breaks the loop.
    if (hasReceivedFirstFrame_ && hasReceivedSecondFrame_) {
        return;
    }
    bool movingFrameMetStill = false;
    if (textureIndex == 0) {
        hasReceivedFirstFrame_ = true;
        firstFrameTime_ = frameTime;
        if (secondFrameCheckDisabled_) {
            hasReceivedSecondFrame_ = true;
        }
        movingFrameMetStill = !frameTime.isIndefinite() && secondFrameTime_.isIndefinite();
    } else {
        hasReceivedSecondFrame_ = true;
        secondFrameTime_ = frameTime;
        if (firstFrameCheckDisabled_) {
            hasReceivedFirstFrame_ = true;
        }
        movingFrameMetStill = !frameTime.isIndefinite() && firstFrameTime_.isIndefinite();
    }
    if ((hasReceivedFirstFrame_ && hasReceivedSecondFrame_) || movingFrameMetStill) {
        const FrameTime passOn =
            firstFrameTime_.isIndefinite() ? secondFrameTime_ : firstFrameTime_;
        GLImageFilter::newFrameReadyAtTime(passOn, 0);
        hasReceivedFirstFrame_ = false;
        hasReceivedSecondFrame_ = false;
    }
}

void GLImageTwoInputFilter::setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                                                int textureIndex) {
    if (textureIndex == 0) {
        firstInputFramebuffer_ = std::move(framebuffer);
        hasSetFirstTexture_ = true;
        if (firstInputFramebuffer_) {
            firstInputFramebuffer_->lock();
        }
    } else {
        secondInputFramebuffer_ = std::move(framebuffer);
        if (secondInputFramebuffer_) {
            secondInputFramebuffer_->lock();
        }
    }
}

void GLImageTwoInputFilter::setInputSize(GLSize newSize, int textureIndex) {
    if (textureIndex != 0) {
        return;  // the output takes the first input's size
    }
    GLImageFilter::setInputSize(newSize, textureIndex);
    if (newSize.isZero()) {
        hasSetFirstTexture_ = false;
    }
}

void GLImageTwoInputFilter::setInputRotation(GLImageRotationMode rotation, int textureIndex) {
    if (textureIndex == 0) {
        inputRotation_ = rotation;
    } else {
        inputRotation2_ = rotation;
    }
}

GLImageRotationMode GLImageTwoInputFilter::rotationAtIndex(int textureIndex) const {
    return textureIndex == 0 ? inputRotation_ : inputRotation2_;
}

GLSize GLImageTwoInputFilter::rotatedSize(GLSize sizeToRotate, int textureIndex) const {
    return velmora::rotatedSize(sizeToRotate, rotationAtIndex(textureIndex));
}

void GLImageTwoInputFilter::bindAdditionalInputs() {
    glActiveTexture(GL_TEXTURE3);
    glBindTexture(GL_TEXTURE_2D, secondInputFramebuffer_ ? secondInputFramebuffer_->texture() : 0);
    glUniform1i(filterInputTextureUniform2_, 3);
    glVertexAttribPointer(static_cast<GLuint>(filterSecondTextureCoordinateAttribute_), 2, GL_FLOAT,
                          GL_FALSE, 0, textureCoordinatesForRotation(inputRotation2_));
}

void GLImageTwoInputFilter::unlockInputFramebuffers() {
    GLImageFilter::unlockInputFramebuffers();
    if (secondInputFramebuffer_) {
        secondInputFramebuffer_->unlock();
    }
}

}  // namespace velmora

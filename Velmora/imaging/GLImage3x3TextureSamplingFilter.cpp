#include "Velmora/imaging/GLImage3x3TextureSamplingFilter.h"

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLProgram.h"

namespace velmora {

const char* const kGLImageNearbyTexelSamplingVertexShaderString =
    "attribute vec4 position; attribute vec4 inputTextureCoordinate; uniform float texelWidth; "
    "uniform float texelHeight; varying vec2 textureCoordinate; varying vec2 "
    "leftTextureCoordinate; varying vec2 rightTextureCoordinate; varying vec2 "
    "topTextureCoordinate; varying vec2 topLeftTextureCoordinate; varying vec2 "
    "topRightTextureCoordinate; varying vec2 bottomTextureCoordinate; varying vec2 "
    "bottomLeftTextureCoordinate; varying vec2 bottomRightTextureCoordinate; void main() { "
    "gl_Position = position; vec2 widthStep = vec2(texelWidth, 0.0); vec2 heightStep = "
    "vec2(0.0, texelHeight); vec2 widthHeightStep = vec2(texelWidth, texelHeight); vec2 "
    "widthNegativeHeightStep = vec2(texelWidth, -texelHeight); textureCoordinate = "
    "inputTextureCoordinate.xy; leftTextureCoordinate = inputTextureCoordinate.xy - widthStep; "
    "rightTextureCoordinate = inputTextureCoordinate.xy + widthStep; topTextureCoordinate = "
    "inputTextureCoordinate.xy - heightStep; topLeftTextureCoordinate = "
    "inputTextureCoordinate.xy - widthHeightStep; topRightTextureCoordinate = "
    "inputTextureCoordinate.xy + widthNegativeHeightStep; bottomTextureCoordinate = "
    "inputTextureCoordinate.xy + heightStep; bottomLeftTextureCoordinate = "
    "inputTextureCoordinate.xy - widthNegativeHeightStep; bottomRightTextureCoordinate = "
    "inputTextureCoordinate.xy + widthHeightStep; }";

GLImage3x3TextureSamplingFilter::GLImage3x3TextureSamplingFilter(ConstructionKey key,
                                                                 std::string fragmentShader)
    : GLImageFilter(key, kGLImageNearbyTexelSamplingVertexShaderString, std::move(fragmentShader)) {
}

void GLImage3x3TextureSamplingFilter::initializeProgram() {
    GLImageFilter::initializeProgram();
    runSynchronouslyOnVideoProcessingQueue([this] {
        if (filterProgram_) {
            GLImageContext::useImageProcessingContext();
            texelWidthUniform_ = filterProgram_->uniformIndex("texelWidth");
            texelHeightUniform_ = filterProgram_->uniformIndex("texelHeight");
        }
    });
}

void GLImage3x3TextureSamplingFilter::setupFilterForSize(GLSize filterFrameSize) {
    if (!hasOverriddenImageSizeFactor_) {
        texelWidth_ = 1.0 / filterFrameSize.width;
        texelHeight_ = 1.0 / filterFrameSize.height;
        runSynchronouslyOnVideoProcessingQueue([this] {
            GLImageContext::setActiveShaderProgram(filterProgram_);
            const bool swapped = rotationSwapsWidthAndHeight(inputRotation_);
            glUniform1f(texelWidthUniform_,
                        static_cast<GLfloat>(swapped ? texelHeight_ : texelWidth_));
            glUniform1f(texelHeightUniform_,
                        static_cast<GLfloat>(swapped ? texelWidth_ : texelHeight_));
        });
    }
}

void GLImage3x3TextureSamplingFilter::setTexelWidth(double value) {
    hasOverriddenImageSizeFactor_ = true;
    texelWidth_ = value;
    setFloat(static_cast<GLfloat>(value), texelWidthUniform_, filterProgram_);
}

void GLImage3x3TextureSamplingFilter::setTexelHeight(double value) {
    hasOverriddenImageSizeFactor_ = true;
    texelHeight_ = value;
    setFloat(static_cast<GLfloat>(value), texelHeightUniform_, filterProgram_);
}

}  // namespace velmora

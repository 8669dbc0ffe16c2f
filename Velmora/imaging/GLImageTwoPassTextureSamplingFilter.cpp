#include "Velmora/imaging/GLImageTwoPassTextureSamplingFilter.h"

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLProgram.h"

namespace velmora {

void GLImageTwoPassTextureSamplingFilter::initializeProgram() {
    GLImageTwoPassFilter::initializeProgram();
    setVerticalTexelSpacing(1.0);
    setHorizontalTexelSpacing(1.0);
}

void GLImageTwoPassTextureSamplingFilter::didLinkPrograms() {
    if (filterProgram_) {
        verticalPassTexelWidthOffsetUniform_ = filterProgram_->uniformIndex("texelWidthOffset");
        verticalPassTexelHeightOffsetUniform_ = filterProgram_->uniformIndex("texelHeightOffset");
    }
    if (secondFilterProgram_) {
        horizontalPassTexelWidthOffsetUniform_ =
            secondFilterProgram_->uniformIndex("texelWidthOffset");
        horizontalPassTexelHeightOffsetUniform_ =
            secondFilterProgram_->uniformIndex("texelHeightOffset");
    }
}

void GLImageTwoPassTextureSamplingFilter::setVerticalTexelSpacing(double spacing) {
    verticalTexelSpacing_ = spacing;
    setupFilterForSize(sizeOfFBO());
}

void GLImageTwoPassTextureSamplingFilter::setHorizontalTexelSpacing(double spacing) {
    horizontalTexelSpacing_ = spacing;
    setupFilterForSize(sizeOfFBO());
}

void GLImageTwoPassTextureSamplingFilter::setupFilterForSize(GLSize filterFrameSize) {
    runSynchronouslyOnVideoProcessingQueue([this, filterFrameSize] {
        const auto vertical = static_cast<GLfloat>(verticalTexelSpacing_ / filterFrameSize.height);
        if (rotationSwapsWidthAndHeight(inputRotation_)) {
            verticalPassTexelWidthOffset_ = vertical;
            verticalPassTexelHeightOffset_ = 0;
        } else {
            verticalPassTexelWidthOffset_ = 0;
            verticalPassTexelHeightOffset_ = vertical;
        }
        horizontalPassTexelWidthOffset_ =
            static_cast<GLfloat>(horizontalTexelSpacing_ / filterFrameSize.width);
        horizontalPassTexelHeightOffset_ = 0;
    });
}

void GLImageTwoPassTextureSamplingFilter::setUniformsForProgramAtIndex(unsigned programIndex) {
    GLImageTwoPassFilter::setUniformsForProgramAtIndex(programIndex);
    if (programIndex == 0) {
        glUniform1f(verticalPassTexelWidthOffsetUniform_, verticalPassTexelWidthOffset_);
        glUniform1f(verticalPassTexelHeightOffsetUniform_, verticalPassTexelHeightOffset_);
    } else {
        glUniform1f(horizontalPassTexelWidthOffsetUniform_, horizontalPassTexelWidthOffset_);
        glUniform1f(horizontalPassTexelHeightOffsetUniform_, horizontalPassTexelHeightOffset_);
    }
}

}  // namespace velmora

#include "Velmora/imaging/GLImageFilterGroup.h"

namespace velmora {

std::shared_ptr<GLImageFilterGroup> GLImageFilterGroup::create() {
    return std::make_shared<GLImageFilterGroup>(ConstructionKey{});
}

void GLImageFilterGroup::addFilter(std::shared_ptr<GLImageFilter> filter) {
    filters_.push_back(std::move(filter));
}

std::shared_ptr<GLImageFilter> GLImageFilterGroup::filterAtIndex(std::size_t index) const {
    return index < filters_.size() ? filters_[index] : nullptr;
}

void GLImageFilterGroup::addTarget(const std::shared_ptr<GLImageInput>& target,
                                   int textureLocation) {
    terminalFilter_->addTarget(target, textureLocation);
}

void GLImageFilterGroup::removeTarget(const std::shared_ptr<GLImageInput>& target) {
    terminalFilter_->removeTarget(target);
}

void GLImageFilterGroup::removeAllTargets() {
    // The base destructor calls this too, after the members may be gone.
    if (terminalFilter_) {
        terminalFilter_->removeAllTargets();
    }
}

void GLImageFilterGroup::setTargetToIgnoreForUpdates(const GLImageInput* target) {
    terminalFilter_->setTargetToIgnoreForUpdates(target);
}

void GLImageFilterGroup::setFrameProcessingCompletionBlock(FrameProcessingCompletionBlock block) {
    terminalFilter_->setFrameProcessingCompletionBlock(std::move(block));
}

void GLImageFilterGroup::useNextFrameForImageCapture() {
    terminalFilter_->useNextFrameForImageCapture();
}

std::optional<Image> GLImageFilterGroup::newCGImageFromCurrentlyProcessedOutput() {
    return terminalFilter_->newCGImageFromCurrentlyProcessedOutput();
}

void GLImageFilterGroup::forceProcessingAtSize(GLSize frameSize) {
    for (const auto& filter : filters_) {
        filter->forceProcessingAtSize(frameSize);
    }
}

void GLImageFilterGroup::forceProcessingAtSizeRespectingAspectRatio(GLSize frameSize) {
    for (const auto& filter : filters_) {
        filter->forceProcessingAtSizeRespectingAspectRatio(frameSize);
    }
}

void GLImageFilterGroup::newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) {
    for (const auto& filter : initialFilters_) {
        if (filter != inputFilterToIgnoreForUpdates_) {
            filter->newFrameReadyAtTime(frameTime, textureIndex);
        }
    }
}

void GLImageFilterGroup::setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                                             int textureIndex) {
    for (const auto& filter : initialFilters_) {
        filter->setInputFramebuffer(framebuffer, textureIndex);
    }
}

void GLImageFilterGroup::setInputSize(GLSize size, int textureIndex) {
    for (const auto& filter : initialFilters_) {
        filter->setInputSize(size, textureIndex);
    }
}

void GLImageFilterGroup::setInputRotation(GLImageRotationMode rotation, int textureIndex) {
    for (const auto& filter : initialFilters_) {
        filter->setInputRotation(rotation, textureIndex);
    }
}

void GLImageFilterGroup::setCurrentlyReceivingMonochromeInput(bool receiving) {
    for (const auto& filter : initialFilters_) {
        filter->setCurrentlyReceivingMonochromeInput(receiving);
    }
}

void GLImageFilterGroup::endProcessing() {
    if (isEndProcessing_) {
        return;
    }
    isEndProcessing_ = true;
    for (const auto& filter : initialFilters_) {
        filter->endProcessing();
    }
}

bool GLImageFilterGroup::wantsMonochromeInput() const {
    bool allWant = true;
    for (const auto& filter : initialFilters_) {
        allWant = allWant && filter->wantsMonochromeInput();
    }
    return allWant;
}

}  // namespace velmora

#include "Velmora/imaging/GLImageOutput.h"

#include <algorithm>
#include <atomic>

#include "Velmora/imaging/GLImageContext.h"
#include "Velmora/imaging/GLImageFramebuffer.h"
#include "Velmora/imaging/GLImagePicture.h"

namespace velmora {

namespace {
std::atomic<DeviceOrientation> gDeviceOrientation{DeviceOrientation::Unknown};
}

ImageOrientation imageOrientationForDeviceOrientation(DeviceOrientation orientation) {
    switch (orientation) {
        case DeviceOrientation::PortraitUpsideDown:
            return ImageOrientation::Down;
        case DeviceOrientation::LandscapeLeft:
            return ImageOrientation::Left;
        case DeviceOrientation::LandscapeRight:
            return ImageOrientation::Right;
        default:
            return ImageOrientation::Up;
    }
}

GLImageOutput::GLImageOutput() = default;

GLImageOutput::~GLImageOutput() {
    removeAllTargets();
}

void GLImageOutput::addTarget(const std::shared_ptr<GLImageInput>& target) {
    const int nextAvailableTextureIndex = target->nextAvailableTextureIndex();
    addTarget(target, nextAvailableTextureIndex);
    if (target->shouldIgnoreUpdatesToThisTarget()) {
        targetToIgnoreForUpdates_ = target.get();
    }
}

void GLImageOutput::addTarget(const std::shared_ptr<GLImageInput>& target, int textureLocation) {
    runSynchronouslyOnVideoProcessingQueue([&] {
        if (std::find(targets_.begin(), targets_.end(), target) != targets_.end()) {
            return;
        }
        cachedMaximumOutputSize_ = GLSize{};
        setInputFramebufferForTarget(*target, textureLocation);
        targets_.push_back(target);
        targetTextureIndices_.push_back(textureLocation);
        allTargetsWantMonochromeData_ =
            allTargetsWantMonochromeData_ && target->wantsMonochromeInput();
    });
}

void GLImageOutput::removeTarget(const std::shared_ptr<GLImageInput>& target) {
    runSynchronouslyOnVideoProcessingQueue([&] {
        const auto found = std::find(targets_.begin(), targets_.end(), target);
        if (found == targets_.end()) {
            return;
        }
        if (targetToIgnoreForUpdates_ == target.get()) {
            targetToIgnoreForUpdates_ = nullptr;
        }
        cachedMaximumOutputSize_ = GLSize{};
        const auto position = static_cast<std::size_t>(found - targets_.begin());
        const int textureIndex = targetTextureIndices_[position];
        // Keep the target alive through endProcessing, after it left the list.
        const std::shared_ptr<GLImageInput> removed = target;
        removed->setInputSize(GLSize{}, textureIndex);
        removed->setInputRotation(GLImageRotationMode::NoRotation, textureIndex);
        targetTextureIndices_.erase(targetTextureIndices_.begin() +
                                    static_cast<std::ptrdiff_t>(position));
        targets_.erase(targets_.begin() + static_cast<std::ptrdiff_t>(position));
        removed->endProcessing();
    });
}

void GLImageOutput::removeAllTargets() {
    cachedMaximumOutputSize_ = GLSize{};
    runSynchronouslyOnVideoProcessingQueue([this] {
        for (std::size_t i = 0; i < targets_.size(); ++i) {
            targets_[i]->setInputSize(GLSize{}, targetTextureIndices_[i]);
            targets_[i]->setInputRotation(GLImageRotationMode::NoRotation,
                                          targetTextureIndices_[i]);
        }
        targets_.clear();
        targetTextureIndices_.clear();
        allTargetsWantMonochromeData_ = true;
    });
}

std::vector<std::shared_ptr<GLImageInput>> GLImageOutput::targets() const {
    std::vector<std::shared_ptr<GLImageInput>> copy;
    runSynchronouslyOnVideoProcessingQueue([&] { copy = targets_; });
    return copy;
}

void GLImageOutput::setInputFramebufferForTarget(GLImageInput& target, int textureIndex) {
    target.setInputFramebuffer(framebufferForOutput(), textureIndex);
}

std::shared_ptr<GLImageFramebuffer> GLImageOutput::framebufferForOutput() const {
    return outputFramebuffer_;
}

void GLImageOutput::removeOutputFramebuffer() {
    outputFramebuffer_.reset();
}

void GLImageOutput::notifyTargetsAboutNewOutputTexture() {
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        setInputFramebufferForTarget(*targets_[i], targetTextureIndices_[i]);
    }
}

void GLImageOutput::forceProcessingAtSize(GLSize) {}

void GLImageOutput::forceProcessingAtSizeRespectingAspectRatio(GLSize) {}

void GLImageOutput::useNextFrameForImageCapture() {}

std::optional<Image> GLImageOutput::newCGImageFromCurrentlyProcessedOutput() {
    return std::nullopt;
}

std::optional<Image> GLImageOutput::newCGImageByFilteringCGImage(const Image& image) {
    auto self = std::dynamic_pointer_cast<GLImageInput>(shared_from_this());
    if (!self) {
        return std::nullopt;  // only an output that is also a target can filter
    }
    auto picture = GLImagePicture::create(image);
    useNextFrameForImageCapture();
    picture->addTarget(self);
    picture->processImage();
    std::optional<Image> result = newCGImageFromCurrentlyProcessedOutput();
    picture->removeTarget(self);
    return result;
}

std::optional<Image> GLImageOutput::newCGImageByFilteringImage(const OrientedImage& image) {
    return newCGImageByFilteringCGImage(image.image);
}

std::optional<OrientedImage> GLImageOutput::imageFromCurrentFramebuffer() {
    return imageFromCurrentFramebufferWithOrientation(
        imageOrientationForDeviceOrientation(currentDeviceOrientation()));
}

std::optional<OrientedImage> GLImageOutput::imageFromCurrentFramebufferWithOrientation(
    ImageOrientation orientation) {
    std::optional<Image> image = newCGImageFromCurrentlyProcessedOutput();
    if (!image) {
        return std::nullopt;
    }
    return OrientedImage{std::move(*image), 1.0, orientation};
}

std::optional<OrientedImage> GLImageOutput::imageByFilteringImage(const OrientedImage& image) {
    std::optional<Image> filtered = newCGImageByFilteringCGImage(image.image);
    if (!filtered) {
        return std::nullopt;
    }
    return OrientedImage{std::move(*filtered), image.scale, image.orientation};
}

void GLImageOutput::setCurrentDeviceOrientation(DeviceOrientation orientation) {
    gDeviceOrientation.store(orientation);
}

DeviceOrientation GLImageOutput::currentDeviceOrientation() {
    return gDeviceOrientation.load();
}

void GLImageOutput::setAudioEncodingTarget(std::shared_ptr<AudioEncodingTarget> target) {
    audioEncodingTarget_ = std::move(target);
    if (audioEncodingTarget_ && !audioEncodingTarget_->hasAudioTrack()) {
        audioEncodingTarget_->setHasAudioTrack(true);
    }
}

}  // namespace velmora

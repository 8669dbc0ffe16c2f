#pragma once
// GLImageOutput: a node that produces images — a source or a filter. It keeps an ordered
// list of targets, each bound to one input slot of the target, and hands them the
// framebuffer it last rendered. Changes to the target list run synchronously on the
// processing queue. Outputs are shared objects: make them through their create functions
// (they hand themselves out as targets and keep themselves alive across queued work).
//
// Thread safety: addTarget/removeTarget/removeAllTargets/targets may be called from any
// thread. The capture calls (useNextFrameForImageCapture,
// newCGImageFromCurrentlyProcessedOutput) are made from the client's thread, never from
// the processing queue (the capture waits for it). The plain property setters are meant
// to be called while no frame is in flight.
//
//   auto picture = GLImagePicture::create(image);
//   auto filter = GLImageFilter::create();
//   picture->addTarget(filter);

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Velmora/imaging/FrameTime.h"
#include "Velmora/imaging/GLImageInput.h"
#include "Velmora/imaging/GPUTextureOptions.h"
#include "Velmora/imaging/gl/GLGeometry.h"
#include "Velmora/imaging/gl/Image.h"

namespace velmora {

class GLImageFramebuffer;

// How the device is held; a headless host has none (Unknown).
enum class DeviceOrientation {
    Unknown,
    Portrait,
    PortraitUpsideDown,
    LandscapeLeft,
    LandscapeRight,
    FaceUp,
    FaceDown
};
ImageOrientation imageOrientationForDeviceOrientation(DeviceOrientation orientation);

// A movie writer that also takes the source's audio.
class AudioEncodingTarget {
  public:
    virtual ~AudioEncodingTarget() = default;
    virtual bool hasAudioTrack() const = 0;
    virtual void setHasAudioTrack(bool hasAudioTrack) = 0;
};

class GLImageOutput : public std::enable_shared_from_this<GLImageOutput> {
  public:
    using FrameProcessingCompletionBlock = std::function<void(GLImageOutput&, const FrameTime&)>;

    virtual ~GLImageOutput();
    GLImageOutput(const GLImageOutput&) = delete;
    GLImageOutput& operator=(const GLImageOutput&) = delete;

    // At the target's next available slot; a target that wants to be ignored for updates
    // becomes targetToIgnoreForUpdates.
    void addTarget(const std::shared_ptr<GLImageInput>& target);
    // Ignored when the target is already there.
    virtual void addTarget(const std::shared_ptr<GLImageInput>& target, int textureLocation);
    // Sends the target a zero size, rotation 0 and endProcessing, in that order.
    virtual void removeTarget(const std::shared_ptr<GLImageInput>& target);
    // Sends every target a zero size and rotation 0 (not endProcessing).
    virtual void removeAllTargets();
    std::vector<std::shared_ptr<GLImageInput>> targets() const;

    void setInputFramebufferForTarget(GLImageInput& target, int textureIndex);
    std::shared_ptr<GLImageFramebuffer> framebufferForOutput() const;
    void removeOutputFramebuffer();
    void notifyTargetsAboutNewOutputTexture();

    // Nothing here; the filter overrides them.
    virtual void forceProcessingAtSize(GLSize frameSize);
    virtual void forceProcessingAtSizeRespectingAspectRatio(GLSize frameSize);
    virtual void useNextFrameForImageCapture();
    [[nodiscard]] virtual std::optional<Image> newCGImageFromCurrentlyProcessedOutput();
    virtual bool providesMonochromeOutput() const { return false; }

    // Runs image through this output once (it must also be a target, as a filter is) and
    // captures the result; nothing when the capture fails.
    [[nodiscard]] std::optional<Image> newCGImageByFilteringCGImage(const Image& image);
    [[nodiscard]] std::optional<Image> newCGImageByFilteringImage(const OrientedImage& image);
    // The current output as an oriented image at scale 1.
    [[nodiscard]] std::optional<OrientedImage> imageFromCurrentFramebuffer();
    [[nodiscard]] std::optional<OrientedImage> imageFromCurrentFramebufferWithOrientation(
        ImageOrientation orientation);
    // Filters image, keeping its scale and orientation.
    [[nodiscard]] std::optional<OrientedImage> imageByFilteringImage(const OrientedImage& image);

    // The orientation imageFromCurrentFramebuffer reads; hosts with a device set it.
    static void setCurrentDeviceOrientation(DeviceOrientation orientation);
    static DeviceOrientation currentDeviceOrientation();

    void setAudioEncodingTarget(std::shared_ptr<AudioEncodingTarget> target);
    const std::shared_ptr<AudioEncodingTarget>& audioEncodingTarget() const {
        return audioEncodingTarget_;
    }

    bool shouldSmoothlyScaleOutput() const { return shouldSmoothlyScaleOutput_; }
    void setShouldSmoothlyScaleOutput(bool value) { shouldSmoothlyScaleOutput_ = value; }
    bool shouldIgnoreUpdatesToThisTarget() const { return shouldIgnoreUpdatesToThisTarget_; }
    void setShouldIgnoreUpdatesToThisTarget(bool value) {
        shouldIgnoreUpdatesToThisTarget_ = value;
    }
    bool enabled() const { return enabled_; }
    void setEnabled(bool value) { enabled_ = value; }
    const GLImageInput* targetToIgnoreForUpdates() const { return targetToIgnoreForUpdates_; }
    void setTargetToIgnoreForUpdates(const GLImageInput* target) {
        targetToIgnoreForUpdates_ = target;
    }
    void setFrameProcessingCompletionBlock(FrameProcessingCompletionBlock block) {
        frameProcessingCompletionBlock_ = std::move(block);
    }
    const GPUTextureOptions& outputTextureOptions() const { return outputTextureOptions_; }
    void setOutputTextureOptions(const GPUTextureOptions& options) {
        outputTextureOptions_ = options;
    }

  protected:
    GLImageOutput();

    std::shared_ptr<GLImageFramebuffer> outputFramebuffer_;
    std::vector<std::shared_ptr<GLImageInput>> targets_;
    std::vector<int> targetTextureIndices_;
    GLSize inputTextureSize_;
    GLSize cachedMaximumOutputSize_;
    GLSize forcedMaximumSize_;
    bool overrideInputSize_ = false;
    bool allTargetsWantMonochromeData_ = true;
    std::atomic<bool> usingNextFrameForImageCapture_{false};
    bool shouldSmoothlyScaleOutput_ = false;
    bool shouldIgnoreUpdatesToThisTarget_ = false;
    bool enabled_ = true;
    std::shared_ptr<AudioEncodingTarget> audioEncodingTarget_;
    const GLImageInput* targetToIgnoreForUpdates_ = nullptr;  // identity only, not owned
    FrameProcessingCompletionBlock frameProcessingCompletionBlock_;
    GPUTextureOptions outputTextureOptions_;
};

}  // namespace velmora

#pragma once
// GLImageFilterGroup: a sub-graph of filters that stands in the graph as one filter. Its
// input goes to the initial filters, its output is the terminal filter's, and target
// management, capture and completion blocks are the terminal filter's. A subclass (or the
// code that builds it) adds the members, wires them and names the initial and terminal
// ones; the group owns its members.
//
// Thread safety: as GLImageOutput; frames arrive on the processing queue.
//
//   auto group = GLImageFilterGroup::create();
//   group->addFilter(blur); group->addFilter(blend); blur->addTarget(blend, 1);
//   group->setInitialFilters({blur, blend}); group->setTerminalFilter(blend);

#include <memory>
#include <vector>

#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/imaging/GLImageInput.h"
#include "Velmora/imaging/GLImageOutput.h"

namespace velmora {

class GLImageFilterGroup : public GLImageOutput, public GLImageInput {
  public:
    class ConstructionKey {
        friend class GLImageFilterGroup;
        ConstructionKey() = default;
    };
    explicit GLImageFilterGroup(ConstructionKey) {}
    static std::shared_ptr<GLImageFilterGroup> create();

    void addFilter(std::shared_ptr<GLImageFilter> filter);
    std::shared_ptr<GLImageFilter> filterAtIndex(std::size_t index) const;
    std::size_t filterCount() const { return filters_.size(); }

    const std::shared_ptr<GLImageFilter>& terminalFilter() const { return terminalFilter_; }
    void setTerminalFilter(std::shared_ptr<GLImageFilter> filter) {
        terminalFilter_ = std::move(filter);
    }
    const std::vector<std::shared_ptr<GLImageFilter>>& initialFilters() const {
        return initialFilters_;
    }
    void setInitialFilters(std::vector<std::shared_ptr<GLImageFilter>> filters) {
        initialFilters_ = std::move(filters);
    }
    void setInputFilterToIgnoreForUpdates(std::shared_ptr<GLImageFilter> filter) {
        inputFilterToIgnoreForUpdates_ = std::move(filter);
    }

    // To the terminal filter.
    using GLImageOutput::addTarget;
    void addTarget(const std::shared_ptr<GLImageInput>& target, int textureLocation) override;
    void removeTarget(const std::shared_ptr<GLImageInput>& target) override;
    void removeAllTargets() override;
    void setTargetToIgnoreForUpdates(const GLImageInput* target);
    void setFrameProcessingCompletionBlock(FrameProcessingCompletionBlock block);
    void useNextFrameForImageCapture() override;
    [[nodiscard]] std::optional<Image> newCGImageFromCurrentlyProcessedOutput() override;
    // To every member.
    void forceProcessingAtSize(GLSize frameSize) override;
    void forceProcessingAtSizeRespectingAspectRatio(GLSize frameSize) override;

    // The target side, to the initial filters.
    void newFrameReadyAtTime(const FrameTime& frameTime, int textureIndex) override;
    void setInputFramebuffer(std::shared_ptr<GLImageFramebuffer> framebuffer,
                             int textureIndex) override;
    int nextAvailableTextureIndex() const override { return 0; }
    void setInputSize(GLSize size, int textureIndex) override;
    void setInputRotation(GLImageRotationMode rotation, int textureIndex) override;
    GLSize maximumOutputSize() const override { return GLSize{}; }
    void endProcessing() override;
    bool shouldIgnoreUpdatesToThisTarget() const override {
        return GLImageOutput::shouldIgnoreUpdatesToThisTarget();
    }
    bool enabled() const override { return GLImageOutput::enabled(); }
    bool wantsMonochromeInput() const override;
    void setCurrentlyReceivingMonochromeInput(bool receiving) override;

  private:
    std::vector<std::shared_ptr<GLImageFilter>> filters_;
    std::vector<std::shared_ptr<GLImageFilter>> initialFilters_;
    std::shared_ptr<GLImageFilter> terminalFilter_;
    std::shared_ptr<GLImageFilter> inputFilterToIgnoreForUpdates_;
    bool isEndProcessing_ = false;
};

}  // namespace velmora

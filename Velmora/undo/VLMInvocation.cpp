#include "Velmora/undo/VLMInvocation.h"

#include "Velmora/platform/logging/Log.h"

namespace velmora {

const Selector& VLMInvocation::nullSelector() {
    static const Selector kNull{std::string_view{}};
    return kNull;
}

void VLMInvocation::invokeWithTarget(Object& target) const {
    if (body_) {
        body_(target, arguments_);
        return;
    }
    auto* receiver = dynamic_cast<SelectorTarget*>(&target);
    if (receiver != nullptr && receiver->respondsToSelector(selector_)) {
        receiver->performSelector(selector_, arguments_);
        return;
    }
    log::error("{} does not answer {}; the recorded call is dropped", target.description(),
               selector_.name());
}

void VLMInvocation::invoke() const {
    if (target_) {
        invokeWithTarget(*target_);
    }
}

}  // namespace velmora

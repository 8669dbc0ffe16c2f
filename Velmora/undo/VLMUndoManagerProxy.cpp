#include "Velmora/undo/VLMUndoManagerProxy.h"

#include <utility>

#include "Velmora/platform/foundation/InternalInconsistencyException.h"
#include "Velmora/services/DispatchHelpers.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace velmora {

void VLMUndoManagerProxy::vlum_setTarget(const ObjectRef& target) {
    if (target.get() == static_cast<const Object*>(this)) {
        throw InternalInconsistencyException(
            "bizarre internal inconsistency - attempt to set proxy as its own target");
    }
    const std::lock_guard lock(mutex_);
    target_ = target;
}

ObjectRef VLMUndoManagerProxy::target() const {
    const std::lock_guard lock(mutex_);
    return target_;
}

void VLMUndoManagerProxy::forwardInvocation(VLMInvocation invocation) {
    ObjectRef target;
    {
        // Taken at once: the proxy is aimed anew for every call, even if this one fails.
        const std::lock_guard lock(mutex_);
        target = std::exchange(target_, nullptr);
    }
    if (!target) {
        throw InternalInconsistencyException("invalid forwardInvocation (proxy) without target");
    }
    invocation.setTarget(target);
    // One reference captured, so that the block fits in std::function's own storage.
    struct Recording {
        VLMUndoManager& manager;
        const ObjectRef& target;
        VLMInvocation& invocation;
    } recording{manager_, target, invocation};
    runOnMainQueueWithoutDeadlocking([&recording] {
        recording.manager.setNextTarget(recording.target);
        recording.manager.record(std::move(recording.invocation));
    });
}

bool VLMUndoManagerProxy::respondsToSelector(Selector selector) const {
    const auto* receiver = dynamic_cast<const SelectorTarget*>(target().get());
    return receiver != nullptr && receiver->respondsToSelector(selector);
}

Value VLMUndoManagerProxy::performSelector(Selector selector, std::span<const Value> arguments) {
    forwardInvocation(VLMInvocation(nullptr, selector, Array(arguments.begin(), arguments.end())));
    return {};
}

}  // namespace velmora

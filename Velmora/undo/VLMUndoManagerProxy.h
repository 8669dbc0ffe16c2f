#pragma once
// VLMUndoManagerProxy: what VLMUndoManager::prepareWithInvocationTarget returns. The next
// call made on it (invoke, or performSelector as a SelectorTarget) is not run but
// recorded by the manager as the undo of that call on the target; the proxy then forgets
// the target. It answers respondsToSelector for its target.
//
// Thread safety: calls may come from any thread; the recording happens on the main
// queue (runOnMainQueueWithoutDeadlocking), and the caller waits for it.
//
//   undo.prepareWithInvocationTarget(document).invoke("setTitle:", Value("Old title"));
//   undo.prepareWithInvocationTarget(list).invoke("moveFrom:to:", 3, 1);

#include <memory>
#include <mutex>
#include <span>
#include <string_view>

#include "Velmora/platform/foundation/Object.h"
#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/Value.h"
#include "Velmora/undo/VLMInvocation.h"

namespace velmora {

class VLMUndoManager;

class VLMUndoManagerProxy : public Object,
                            public SelectorTarget,
                            public std::enable_shared_from_this<VLMUndoManagerProxy> {
  public:
    explicit VLMUndoManagerProxy(VLMUndoManager& manager) : manager_(manager) {}

    // Throws when target is this proxy.
    void vlum_setTarget(const ObjectRef& target);
    ObjectRef target() const;

    // Records the call for the current target; throws when there is none.
    void forwardInvocation(VLMInvocation invocation);
    template <class... A>
    void invoke(std::string_view selector, A&&... arguments) {
        invoke(Selector(selector), std::forward<A>(arguments)...);
    }
    // The same with a ready Selector, which saves interning the name on every call.
    template <class... A>
    void invoke(Selector selector, A&&... arguments) {
        forwardInvocation(
            VLMInvocation(nullptr, selector, Array{Value(std::forward<A>(arguments))...}));
    }

    bool respondsToSelector(Selector selector) const override;
    // Records the call; answers nil.
    Value performSelector(Selector selector, std::span<const Value> arguments) override;

  private:
    VLMUndoManager& manager_;
    mutable std::mutex mutex_;  // guards target_: callers may be on any thread
    ObjectRef target_;
};

}  // namespace velmora

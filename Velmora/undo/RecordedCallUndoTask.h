#pragma once
// RecordedCallUndoTask: the VLMConcreteUndoTask of a VLMInvocation: a selector sent with
// its argument Values, or an invocation's body. What VLMConcreteUndoTask::make and calls
// recorded through the manager's proxy build.
//
// Thread safety: none; see VLMUndoManager.
//
//   auto task = std::make_shared<RecordedCallUndoTask>(
//       VLMInvocation(nullptr, Selector("setTitle:"), {Value("Old")}), document, false);

#include <span>
#include <string>

#include "Velmora/undo/VLMConcreteUndoTask.h"

namespace velmora {

class RecordedCallUndoTask final : public VLMConcreteUndoTask {
  public:
    // The invocation's own target is not used (and not kept).
    RecordedCallUndoTask(VLMInvocation invocation, const ObjectRef& target, bool retained)
        : VLMConcreteUndoTask(invocation.selector(), UndoTargetReference(target, retained)),
          invocation_(std::move(invocation)) {
        invocation_.setTarget(nullptr);
    }

    std::span<const Value> arguments() const override { return invocation_.arguments(); }
    std::string className() const override { return "VLMConcreteUndoTask"; }

  protected:
    void call(Object& target) override { invocation_.invokeWithTarget(target); }

  private:
    VLMInvocation invocation_;
};

}  // namespace velmora

#pragma once
// VLMConcreteUndoTask: an undo task that replays one recorded call on its target: a call
// by selector with argument Values (make), or a C++ lambda (VLMUndoManager::registerUndo).
// The target is held weakly unless the task retains it: a task whose unretained target is
// gone does nothing when performed, never a call on a dead object.
//
// Thread safety: none; see VLMUndoManager.
//
//   auto task = VLMConcreteUndoTask::make(document, Selector("setTitle:"), Value("Old"));
//   task->setTarget(document, /*retained=*/true);
//   task->perform();

#include <memory>
#include <span>
#include <string>

#include "Velmora/undo/UndoTargetReference.h"
#include "Velmora/undo/VLMInvocation.h"
#include "Velmora/undo/VLMUndoTask.h"

namespace velmora {

class VLMConcreteUndoTask : public VLMUndoTask {
  public:
    // The task takes the invocation's target (unretained) and clears the invocation's own.
    static std::shared_ptr<VLMConcreteUndoTask> make(VLMInvocation invocation);
    // A call of selector on target with object as its one argument, set only when the
    // selector takes an argument.
    static std::shared_ptr<VLMConcreteUndoTask> make(const ObjectRef& target, Selector selector,
                                                     Value object);

    // retained: the task keeps target alive (and lets go of a target it kept before).
    void setTarget(const ObjectRef& target, bool retained) {
        target_ = UndoTargetReference(target, retained);
    }
    // nullptr once an unretained target is gone.
    ObjectRef target() const { return target_.lock(); }
    bool isTarget(const ObjectRef& object) const { return target_.refersTo(object); }
    bool retainsTarget() const { return target_.retainsObject(); }
    // For a lambda, the name it was registered under.
    Selector selector() const { return selector_; }
    // The recorded call's arguments; none for a lambda.
    virtual std::span<const Value> arguments() const { return {}; }

    void perform() override;
    const VLMConcreteUndoTask* asConcreteTask() const override { return this; }
    // "<VLMConcreteUndoTask: 0x...> target = <Document 0x...>, selector: setTitle:"
    std::string description() const override;

  protected:
    VLMConcreteUndoTask(Selector selector, UndoTargetReference target)
        : selector_(selector), target_(std::move(target)) {}
    // Runs the recorded call on the live target; what it throws propagates.
    virtual void call(Object& target) = 0;

  private:
    Selector selector_;
    UndoTargetReference target_;
};

}  // namespace velmora

#pragma once
// VLMConcreteUndoTask: an undo task that replays one recorded call (VLMInvocation) on
// its target. The target is held weakly unless the task retains it: a task whose
// unretained target is gone does nothing when performed, never a call on a dead object.
//
// Thread safety: none; see VLMUndoManager.
//
//   auto task = VLMConcreteUndoTask::make(document, Selector("setTitle:"), Value("Old"));
//   task->setTarget(document, /*retained=*/true);
//   task->perform();

#include <memory>
#include <string>

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
    void setTarget(const ObjectRef& target, bool retained);
    // nullptr once an unretained target is gone.
    ObjectRef target() const;
    bool isTarget(const ObjectRef& object) const;
    bool retainsTarget() const { return static_cast<bool>(retainedTarget_); }
    Selector selector() const { return invocation_.selector(); }
    const VLMInvocation& invocation() const { return invocation_; }

    void perform() override;
    const VLMConcreteUndoTask* asConcreteTask() const override { return this; }
    // "<VLMConcreteUndoTask: 0x...> target = <Document 0x...>, selector: setTitle:"
    std::string description() const override;

    explicit VLMConcreteUndoTask(VLMInvocation invocation);
    // A call of body on target, named selector: what make(invocation) and setTarget
    // build, without passing the invocation along or the target through an ObjectRef.
    template <class T>
    VLMConcreteUndoTask(const std::shared_ptr<T>& target, bool retained, Selector selector,
                        VLMInvocation::Body body)
        : invocation_(nullptr, selector, {}, std::move(body)),
          target_(target),
          retainedTarget_(retained ? ObjectRef(target) : nullptr) {}

  private:
    VLMInvocation invocation_;  // its own target stays empty
    std::weak_ptr<Object> target_;
    ObjectRef retainedTarget_;
};

}  // namespace velmora

#include "Velmora/undo/VLMConcreteUndoTask.h"

#include <fmt/format.h>

namespace velmora {

VLMConcreteUndoTask::VLMConcreteUndoTask(VLMInvocation invocation)
    : invocation_(std::move(invocation)) {
    target_ = invocation_.target();
    invocation_.setTarget(nullptr);
}

std::shared_ptr<VLMConcreteUndoTask> VLMConcreteUndoTask::make(VLMInvocation invocation) {
    return std::make_shared<VLMConcreteUndoTask>(std::move(invocation));
}

std::shared_ptr<VLMConcreteUndoTask> VLMConcreteUndoTask::make(const ObjectRef& target,
                                                               Selector selector, Value object) {
    Array arguments;
    if (selector.argumentCount() > 0) {
        arguments.push_back(std::move(object));
    }
    return make(VLMInvocation(target, selector, std::move(arguments)));
}

void VLMConcreteUndoTask::setTarget(const ObjectRef& target, bool retained) {
    target_ = target;
    retainedTarget_ = retained ? target : nullptr;
}

ObjectRef VLMConcreteUndoTask::target() const {
    return target_.lock();
}

bool VLMConcreteUndoTask::isTarget(const ObjectRef& object) const {
    // By ownership, not address: a new object at a gone target's address is another one.
    return !target_.owner_before(object) && !object.owner_before(target_);
}

void VLMConcreteUndoTask::perform() {
    if (ObjectRef target = target_.lock()) {
        invocation_.invokeWithTarget(*target);
    }
}

std::string VLMConcreteUndoTask::description() const {
    const ObjectRef target = target_.lock();
    return fmt::format("{} target = <{} {}>, selector: {}", Object::description(),
                       target ? target->className() : std::string("(null)"),
                       static_cast<const void*>(target.get()), invocation_.selector().name());
}

}  // namespace velmora

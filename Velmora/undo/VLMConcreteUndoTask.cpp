#include "Velmora/undo/VLMConcreteUndoTask.h"

#include <fmt/format.h>

#include "Velmora/undo/RecordedCallUndoTask.h"

namespace velmora {

std::shared_ptr<VLMConcreteUndoTask> VLMConcreteUndoTask::make(VLMInvocation invocation) {
    const ObjectRef target = invocation.target();
    return std::make_shared<RecordedCallUndoTask>(std::move(invocation), target, false);
}

std::shared_ptr<VLMConcreteUndoTask> VLMConcreteUndoTask::make(const ObjectRef& target,
                                                               Selector selector, Value object) {
    Array arguments;
    if (selector.argumentCount() > 0) {
        arguments.push_back(std::move(object));
    }
    return make(VLMInvocation(target, selector, std::move(arguments)));
}

void VLMConcreteUndoTask::perform() {
    if (const ObjectRef target = target_.lock()) {
        call(*target);
    }
}

std::string VLMConcreteUndoTask::description() const {
    const ObjectRef target = target_.lock();
    return fmt::format("{} target = <{} {}>, selector: {}", Object::description(),
                       target ? target->className() : std::string("(null)"),
                       static_cast<const void*>(target.get()), selector_.name());
}

}  // namespace velmora

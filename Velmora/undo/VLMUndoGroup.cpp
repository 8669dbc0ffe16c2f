#include "Velmora/undo/VLMUndoGroup.h"

#include <exception>

#include <fmt/format.h>

#include "Velmora/undo/VLMUndoManager.h"

namespace velmora {

void VLMUndoGroup::addTask(VLMUndoTaskRef task) {
    task->setParentGroup(this);
    tasks_.push_back(std::move(task));
}

std::shared_ptr<VLMConcreteUndoTask> VLMUndoGroup::lastTaskIfConcrete() const {
    return tasks_.empty() ? nullptr : std::dynamic_pointer_cast<VLMConcreteUndoTask>(tasks_.back());
}

std::vector<VLMUndoTaskRef> VLMUndoGroup::tasksWithTarget(
    const std::optional<ObjectRef>& target, const std::optional<Selector>& selector) const {
    if (!target && !selector) {
        return tasks_;
    }
    std::vector<VLMUndoTaskRef> found;
    for (const VLMUndoTaskRef& task : tasks_) {
        const auto* call = dynamic_cast<const VLMConcreteUndoTask*>(task.get());
        if (call != nullptr && (!target || call->isTarget(*target)) &&
            (!selector || call->selector() == *selector)) {
            found.push_back(task);
        }
    }
    return found;
}

bool VLMUndoGroup::hasTask() const {
    for (const VLMUndoTaskRef& task : tasks_) {
        const auto* group = dynamic_cast<const VLMUndoGroup*>(task.get());
        if (group == nullptr || group->hasTask()) {
            return true;
        }
    }
    return false;
}

void VLMUndoGroup::removeTasksWithTarget(const ObjectRef& target, const VLMUndoManager& manager) {
    std::erase_if(tasks_, [&](const VLMUndoTaskRef& task) {
        if (auto* group = dynamic_cast<VLMUndoGroup*>(task.get())) {
            group->removeTasksWithTarget(target, manager);
            return group->tasks().empty() && group != manager.currentGroup().get();
        }
        const auto* call = dynamic_cast<const VLMConcreteUndoTask*>(task.get());
        return call != nullptr && call->isTarget(target);
    });
}

void VLMUndoGroup::perform() {
    const std::vector<VLMUndoTaskRef> tasks = tasks_;
    std::exception_ptr first;
    for (auto task = tasks.rbegin(); task != tasks.rend(); ++task) {
        try {
            (*task)->perform();
        } catch (...) {
            if (!first) {
                first = std::current_exception();
            }
        }
    }
    if (first) {
        std::rethrow_exception(first);
    }
}

std::string VLMUndoGroup::description() const {
    return fmt::format("{} '{}' {} tasks: {}", Object::description(), actionName_, tasks_.size(),
                       describeUndoTasks(tasks_));
}

}  // namespace velmora

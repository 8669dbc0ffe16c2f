#include "Velmora/undo/VLMUndoGroup.h"

#include <exception>

#include <fmt/format.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace velmora {

// A perform in progress. It reads the group's own list, and copies it only when the list is
// about to change (or the group to go) while it runs: the copy a task-free perform would
// otherwise make of every list costs an allocation and two reference counts per task.
struct VLMUndoGroup::PerformFrame {
    VLMUndoGroup* group;  // nullptr once the group is destroyed during the perform
    PerformFrame* outer;
    bool copied = false;
    UndoTaskList list;  // the group's list as it was, once copied

    explicit PerformFrame(VLMUndoGroup& performed)
        : group(&performed), outer(performed.performs_.innermost) {
        performed.performs_.innermost = this;
    }
    ~PerformFrame() {
        if (group != nullptr) {
            group->performs_.innermost = outer;
        }
    }
    PerformFrame(const PerformFrame&) = delete;
    PerformFrame& operator=(const PerformFrame&) = delete;

    std::span<const VLMUndoTaskRef> tasks() const {
        return copied ? list.view() : group->tasks_.view();
    }
};

namespace {

// What a group without labels answers; never destroyed, as a group may be asked during exit.
const std::string& noActionName() {
    static NoDestructor<const std::string> kNone;
    return *kNone;
}

const Value& noExtraData() {
    static NoDestructor<const Value> kNone;
    return *kNone;
}

}  // namespace

VLMUndoGroup::VLMUndoGroup(Value extraData) {
    if (!extraData.isNil()) {
        labels_.getOrMake().extraData = std::move(extraData);
    }
}

VLMUndoGroup::~VLMUndoGroup() {
    keepListForPerforms();
    for (PerformFrame* frame = performs_.innermost; frame != nullptr; frame = frame->outer) {
        frame->group = nullptr;
    }
}

void VLMUndoGroup::copyListForPerforms() {
    // A frame that has not copied yet began after the last change, so the list now is the
    // one it began with.
    for (PerformFrame* frame = performs_.innermost; frame != nullptr; frame = frame->outer) {
        if (!frame->copied) {
            frame->list = tasks_;
            frame->copied = true;
        }
    }
}

std::shared_ptr<VLMConcreteUndoTask> VLMUndoGroup::lastTaskIfConcrete() const {
    const std::span<const VLMUndoTaskRef> tasks = tasks_.view();
    const VLMConcreteUndoTask* call = tasks.empty() ? nullptr : tasks.back()->asConcreteTask();
    if (call == nullptr) {
        return nullptr;
    }
    return {tasks.back(), const_cast<VLMConcreteUndoTask*>(call)};
}

std::vector<VLMUndoTaskRef> VLMUndoGroup::tasksWithTarget(
    const std::optional<ObjectRef>& target, const std::optional<Selector>& selector) const {
    const std::span<const VLMUndoTaskRef> tasks = tasks_.view();
    if (!target && !selector) {
        return {tasks.begin(), tasks.end()};
    }
    std::vector<VLMUndoTaskRef> found;
    for (const VLMUndoTaskRef& task : tasks) {
        const VLMConcreteUndoTask* call = task->asConcreteTask();
        if (call != nullptr && (!target || call->isTarget(*target)) &&
            (!selector || call->selector() == *selector)) {
            found.push_back(task);
        }
    }
    return found;
}

bool VLMUndoGroup::hasTaskInGroups() const {
    for (const VLMUndoTaskRef& task : tasks_.view()) {
        const VLMUndoGroup* group = task->asGroup();
        if (group == nullptr || group->hasTask()) {
            return true;
        }
    }
    return false;
}

void VLMUndoGroup::removeTasksWithTarget(const ObjectRef& target, const VLMUndoManager& manager) {
    keepListForPerforms();
    tasks_.erase_if([&](const VLMUndoTaskRef& task) {
        if (auto* group = dynamic_cast<VLMUndoGroup*>(task.get())) {
            group->removeTasksWithTarget(target, manager);
            return group->tasks().empty() && group != manager.currentGroup().get();
        }
        const auto* call = dynamic_cast<const VLMConcreteUndoTask*>(task.get());
        return call != nullptr && call->isTarget(target);
    });
}

void VLMUndoGroup::perform() {
    PerformFrame frame(*this);
    std::exception_ptr first;
    for (std::size_t index = tasks_.size(); index-- > 0;) {
        // Only assigning a whole group over this one while it performs can shorten the
        // list read here; its tasks beyond the new end are then skipped, never read past it.
        const std::span<const VLMUndoTaskRef> tasks = frame.tasks();
        if (index >= tasks.size()) {
            continue;
        }
        try {
            tasks[index]->perform();
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

const std::string& VLMUndoGroup::actionName() const {
    const Labels* labels = labels_.get();
    return labels != nullptr ? labels->actionName : noActionName();
}

void VLMUndoGroup::setActionName(std::string name) {
    // Undo and redo pass the undone group's name on to the new group, mostly an empty one.
    if (!name.empty() || labels_.get() != nullptr) {
        labels_.getOrMake().actionName = std::move(name);
    }
}

bool VLMUndoGroup::actionIsDiscardable() const {
    const Labels* labels = labels_.get();
    return labels != nullptr && labels->actionIsDiscardable;
}

void VLMUndoGroup::setActionIsDiscardable(bool discardable) {
    if (discardable || labels_.get() != nullptr) {
        labels_.getOrMake().actionIsDiscardable = discardable;
    }
}

const Value& VLMUndoGroup::extraData() const {
    const Labels* labels = labels_.get();
    return labels != nullptr ? labels->extraData : noExtraData();
}

void VLMUndoGroup::setExtraData(Value data) {
    if (!data.isNil() || labels_.get() != nullptr) {
        labels_.getOrMake().extraData = std::move(data);
    }
}

std::string VLMUndoGroup::description() const {
    return fmt::format("{} '{}' {} tasks: {}", Object::description(), actionName(), tasks_.size(),
                       describeUndoTasks(tasks_.view()));
}

}  // namespace velmora

#pragma once
// VLMUndoGroup: an ordered group of undo tasks (recorded calls and nested groups) that
// undo as one step, with the action name shown in menu titles. Performing a group runs
// its tasks from the last added to the first.
//
// Thread safety: none; see VLMUndoManager.
//
//   auto group = std::make_shared<VLMUndoGroup>();
//   group->addTask(VLMConcreteUndoTask::make(doc, Selector("setTitle:"), Value("Old")));
//   group->setActionName("Rename");

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Velmora/platform/foundation/Value.h"
#include "Velmora/undo/VLMConcreteUndoTask.h"
#include "Velmora/undo/VLMUndoTask.h"

namespace velmora {

class VLMUndoManager;

class VLMUndoGroup : public VLMUndoTask, public std::enable_shared_from_this<VLMUndoGroup> {
  public:
    // Groups are always held by shared_ptr (a nested group's parent is found from it).
    explicit VLMUndoGroup(Value extraData = {}) : extraData_(std::move(extraData)) {}
    ~VLMUndoGroup() override;

    // Takes the task and makes this group its parent.
    void addTask(VLMUndoTaskRef task);
    const std::vector<VLMUndoTaskRef>& tasks() const { return tasks_; }
    std::shared_ptr<VLMConcreteUndoTask> lastTaskIfConcrete() const;
    // Without target and selector: every task. Otherwise the recorded calls among the
    // direct tasks that match both given criteria (a missing one matches everything).
    std::vector<VLMUndoTaskRef> tasksWithTarget(const std::optional<ObjectRef>& target,
                                                const std::optional<Selector>& selector) const;
    // A recorded call here or in a nested group.
    bool hasTask() const;
    // Removes the recorded calls for target, here and in nested groups; a nested group
    // left empty goes too, unless it is the manager's open group.
    void removeTasksWithTarget(const ObjectRef& target, const VLMUndoManager& manager);

    const std::string& actionName() const { return actionName_; }
    void setActionName(std::string name) { actionName_ = std::move(name); }
    bool actionIsDiscardable() const { return actionIsDiscardable_; }
    void setActionIsDiscardable(bool discardable) { actionIsDiscardable_ = discardable; }
    const Value& extraData() const { return extraData_; }
    void setExtraData(Value data) { extraData_ = std::move(data); }

    // Runs every task, last first, over the list as it was when perform began (a task may
    // change the group). When tasks throw, the others still run and the first exception is
    // rethrown at the end.
    void perform() override;
    const VLMUndoGroup* asGroup() const override { return this; }
    // "<VLMUndoGroup: 0x...> 'Rename' 2 tasks: (...)"
    std::string description() const override;

  private:
    struct PerformFrame;
    // The performs in progress on this group, innermost first. Not copied with the group:
    // they belong to this object's own calls.
    class PerformChain {
      public:
        PerformChain() = default;
        PerformChain(const PerformChain&) {}
        PerformChain& operator=(const PerformChain&) { return *this; }
        ~PerformChain() = default;
        PerformFrame* innermost = nullptr;
    };

    // Called before tasks_ changes: gives each perform in progress its own copy first.
    void keepListForPerforms() {
        if (performs_.innermost != nullptr) {
            copyListForPerforms();
        }
    }
    void copyListForPerforms();

    Value extraData_;
    std::vector<VLMUndoTaskRef> tasks_;
    std::string actionName_;
    bool actionIsDiscardable_ = false;
    PerformChain performs_;
};

using VLMUndoGroupRef = std::shared_ptr<VLMUndoGroup>;

}  // namespace velmora

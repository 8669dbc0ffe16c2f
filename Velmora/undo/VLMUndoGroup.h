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
#include <span>
#include <string>
#include <vector>

#include "Velmora/platform/foundation/Value.h"
#include "Velmora/undo/UndoTaskList.h"
#include "Velmora/undo/VLMConcreteUndoTask.h"
#include "Velmora/undo/VLMUndoTask.h"

namespace velmora {

class VLMUndoManager;

class VLMUndoGroup : public VLMUndoTask, public std::enable_shared_from_this<VLMUndoGroup> {
  public:
    // Groups are always held by shared_ptr (a nested group's parent is found from it).
    VLMUndoGroup() = default;
    explicit VLMUndoGroup(Value extraData);
    ~VLMUndoGroup() override;

    // Takes the task and makes this group its parent.
    void addTask(VLMUndoTaskRef task) {
        keepListForPerforms();
        task->setParentGroup(this);
        tasks_.push_back(std::move(task));
    }
    // Valid until the group's tasks change.
    std::span<const VLMUndoTaskRef> tasks() const { return tasks_.view(); }
    std::shared_ptr<VLMConcreteUndoTask> lastTaskIfConcrete() const;
    // Without target and selector: every task. Otherwise the recorded calls among the
    // direct tasks that match both given criteria (a missing one matches everything).
    std::vector<VLMUndoTaskRef> tasksWithTarget(const std::optional<ObjectRef>& target,
                                                const std::optional<Selector>& selector) const;
    // A recorded call here or in a nested group.
    bool hasTask() const {
        const std::span<const VLMUndoTaskRef> tasks = tasks_.view();
        return !tasks.empty() && (tasks.front()->asGroup() == nullptr || hasTaskInGroups());
    }
    // Removes the recorded calls for target, here and in nested groups; a nested group
    // left empty goes too, unless it is the manager's open group.
    void removeTasksWithTarget(const ObjectRef& target, const VLMUndoManager& manager);

    const std::string& actionName() const;
    void setActionName(std::string name);
    bool actionIsDiscardable() const;
    void setActionIsDiscardable(bool discardable);
    const Value& extraData() const;
    void setExtraData(Value data);

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
    // What few groups have: kept apart so that a group of one change stays small. Copied
    // with the group.
    struct Labels {
        std::string actionName;
        Value extraData;
        bool actionIsDiscardable = false;
    };
    class LabelsHolder {
      public:
        LabelsHolder() = default;
        LabelsHolder(const LabelsHolder& other)
            : labels_(other.labels_ ? std::make_unique<Labels>(*other.labels_) : nullptr) {}
        LabelsHolder& operator=(const LabelsHolder& other) {
            LabelsHolder copy(other);
            labels_ = std::move(copy.labels_);
            return *this;
        }
        ~LabelsHolder() = default;
        const Labels* get() const { return labels_.get(); }
        Labels& getOrMake() {
            if (!labels_) {
                labels_ = std::make_unique<Labels>();
            }
            return *labels_;
        }

      private:
        std::unique_ptr<Labels> labels_;
    };

    // Called before tasks_ changes: gives each perform in progress its own copy first.
    void keepListForPerforms() {
        if (performs_.innermost != nullptr) {
            copyListForPerforms();
        }
    }
    void copyListForPerforms();
    // hasTask when the first task is a group.
    bool hasTaskInGroups() const;

    UndoTaskList tasks_;
    LabelsHolder labels_;
    PerformChain performs_;
};

using VLMUndoGroupRef = std::shared_ptr<VLMUndoGroup>;

}  // namespace velmora

#pragma once
// VLMUndoTask: one undoable step kept by VLMUndoManager: either a recorded call
// (VLMConcreteUndoTask) or a group of steps (VLMUndoGroup). Tasks are Objects, so a
// group can travel in a notification's user info.
//
// Thread safety: none; tasks belong to their manager, which is used on the main thread.
//
//   std::shared_ptr<VLMUndoGroup> group = manager.peekUndo();
//   for (const auto& task : group->tasks()) { log::info("{}", task->description()); }
//   group->perform();

#include <memory>
#include <span>
#include <string>

#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class VLMConcreteUndoTask;
class VLMUndoGroup;

class VLMUndoTask : public Object {
  public:
    // The enclosing group; nullptr for a top-level group. Non-owning: the group owns
    // its tasks, so a task never outlives the group it points to.
    VLMUndoGroup* parentGroup() const { return parentGroup_; }
    void setParentGroup(VLMUndoGroup* group) { parentGroup_ = group; }

    virtual void perform() = 0;

    // The task as a group or as a recorded call, nullptr when it is not one: what a
    // dynamic_cast would answer, at the price of a virtual call (asked for every task that
    // is registered and every group that closes).
    virtual const VLMUndoGroup* asGroup() const { return nullptr; }
    virtual const VLMConcreteUndoTask* asConcreteTask() const { return nullptr; }

  protected:
    VLMUndoTask() = default;

  private:
    VLMUndoGroup* parentGroup_ = nullptr;
};

using VLMUndoTaskRef = std::shared_ptr<VLMUndoTask>;

// The platform's list text, "(\n    first,\n    second\n)", of the tasks' descriptions.
std::string describeUndoTasks(std::span<const VLMUndoTaskRef> tasks);

}  // namespace velmora

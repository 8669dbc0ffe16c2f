// The stacks: limits, dropping, removal, splitting the top group, reset and checkpoints.
#include <fmt/format.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace velmora {
namespace {

class GuardScope {
  public:
    explicit GuardScope(bool& flag) : flag_(flag) { flag_ = true; }
    ~GuardScope() { flag_ = false; }
    GuardScope(const GuardScope&) = delete;
    GuardScope& operator=(const GuardScope&) = delete;

  private:
    bool& flag_;
};

VLMUndoGroupRef popBack(VLMUndoManager::Stack& stack) {
    if (stack.empty()) {
        return nullptr;
    }
    VLMUndoGroupRef group = std::move(stack.back());
    stack.pop_back();
    return group;
}

}  // namespace

void VLMUndoManager::setLevelsOfUndo(std::uint64_t levels) {
    levelsOfUndo_ = levels;
    if (levels != 0 && !isRemovingTargets_) {
        trimUndoStack();
        trimRedoStack();
    }
}

void VLMUndoManager::trimUndoStack() {
    const GuardScope scope(isRemovingTargets_);
    while (undoStack_.size() > levelsOfUndo_) {
        dropOldestUndoAction();
    }
}

void VLMUndoManager::trimRedoStack() {
    const GuardScope scope(isRemovingTargets_);
    while (redoStack_.size() > levelsOfUndo_) {
        dropOldestRedoAction();
    }
}

VLMUndoGroupRef VLMUndoManager::popUndo() {
    return popBack(undoStack_);
}

VLMUndoGroupRef VLMUndoManager::popRedo() {
    return popBack(redoStack_);
}

void VLMUndoManager::dropOldestUndoAction() {
    dropOldest(undoStack_, VLMUndoManagerWillDropUndoActionNotification);
}

void VLMUndoManager::dropOldestRedoAction() {
    dropOldest(redoStack_, VLMUndoManagerWillDropRedoActionNotification);
}

void VLMUndoManager::dropOldest(Stack& stack, const char* notification) {
    if (stack.empty()) {
        return;
    }
    post(notification, Dictionary{{VLMUndoManagerActionKey, Value(stack.front())}});
    if (!stack.empty()) {
        stack.pop_front();
    }
}

void VLMUndoManager::clearRedoStack() {
    if (redoStack_.empty() || isRemovingTargets_) {
        return;
    }
    const GuardScope scope(isRemovingTargets_);
    redoStack_.clear();
}

void VLMUndoManager::removeAllActions() {
    {
        const GuardScope scope(isRemovingTargets_);
        undoStack_.clear();
        redoStack_.clear();
    }
    reset();
}

void VLMUndoManager::removeAllActionsWithTarget(const ObjectRef& target) {
    if (!isRemovingTargets_) {
        const GuardScope scope(isRemovingTargets_);
        for (Stack* stack : {&undoStack_, &redoStack_}) {
            const Stack groups = *stack;
            for (const VLMUndoGroupRef& group : groups) {
                group->removeTasksWithTarget(target, *this);
                if (group->tasks().empty() && group != openGroup_) {
                    std::erase(*stack, group);
                }
            }
        }
    }
    nextTarget_.reset();
}

void VLMUndoManager::explodeTopUndoAction() {
    if (!canUndo()) {
        return;
    }
    const VLMUndoGroupRef top = popUndo();
    std::size_t number = 0;
    for (const VLMUndoTaskRef& task : top->tasks()) {
        const VLMConcreteUndoTask* call = task->asConcreteTask();
        auto group = makePooled<VLMUndoGroup>();
        group->setActionName(fmt::format("{} ({}: {})", top->actionName(), ++number,
                                         call ? call->selector().name() : "<subgroup>"));
        group->addTask(task);
        undoStack_.push_back(std::move(group));
    }
}

void VLMUndoManager::reset() {
    RunLoop::main().cancelEndOfPassPerforms(this);
    groupLevel_ = 0;
    coalescingKind_ = VLMCoalesceLastTask;  // deliberately back to comparing the last task only
    nextTarget_.reset();
    openGroup_.reset();
    groupsByEvent_ = true;
    enableLevel_ = 0;
    state_ = VLMUndoManagerState::Collecting;
}

void VLMUndoManager::checkpoint() {
    if (isInCheckpoint_) {
        return;
    }
    const GuardScope scope(isInCheckpoint_);
    post(Plain::Checkpoint);
}

std::string VLMUndoManager::description() const {
    const auto list = [](const Stack& stack) {
        return describeUndoTasks(std::vector<VLMUndoTaskRef>(stack.begin(), stack.end()));
    };
    return fmt::format("<VLMUndoManager: {}> g-level = {}, state = {}, u-stack: {}, r-stack: {}",
                       static_cast<const void*>(this), groupLevel_, static_cast<int>(state_),
                       list(undoStack_), list(redoStack_));
}

}  // namespace velmora

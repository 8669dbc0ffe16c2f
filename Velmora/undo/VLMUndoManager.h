#pragma once
// VLMUndoManager: an undo/redo engine with the platform's vocabulary (groups, levels of
// undo, action names, menu titles, calls recorded through a proxy) and more: coalescing
// of repeated calls, a single-group mode for nested begins, grouping by run-loop pass,
// discardable actions, retained or unretained targets, a change count, splitting the top
// group into one group per task, and removal of every task for one target.
//
// Actions form a tree: each stack holds top-level VLMUndoGroups whose tasks are recorded
// calls (VLMConcreteUndoTask) or nested groups. With groupsByEvent (the default) the
// first task registered in a pass of the main run loop opens a group that the end of the
// pass closes (an end-of-pass perform of order 350000), so one pass is one undo step.
//
// Misuse (unbalanced groups, undo inside undo, a nil task...) throws
// InternalInconsistencyException with the manager's own message text.
//
// When recorded calls throw during undo or redo, every other task of the group still
// runs, and the stacks end as after a complete undo: the undone group is gone from the
// undo stack, the redo group holds what the tasks registered before and after the
// failure, the state is back to collecting and the did-undo (did-redo) notification is
// posted. Then the first exception is rethrown to the caller of undo() (redo()).
//
// Memory: groups and tasks come from the manager's own pool (UndoBlockPool), which keeps
// what a large stack once took until the manager and every group it handed out are gone.
//
// Thread safety: use a manager on the main thread only, from its construction on (the
// deferred close runs on the main run loop). The proxy may be called from any thread: it
// forwards the recorded call to the main queue and waits. A group handed out (peekUndo, a
// notification) may outlive the manager and be let go on any thread.
//
//   VLMUndoManager undo;
//   undo.prepareWithInvocationTarget(document).invoke("setTitle:", oldTitle);
//   undo.registerUndo(document, [old](Document& d) { d.setTitle(old); }, "setTitle:");

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Notification.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/undo/LambdaUndoTask.h"
#include "Velmora/undo/UndoBlockPool.h"
#include "Velmora/undo/VLMUndoGroup.h"
#include "Velmora/undo/VLMUndoManagerProxy.h"

namespace velmora {

// The platform's notification names, posted with the manager as sender.
inline constexpr const char* NSUndoManagerDidOpenUndoGroupNotification =
    "NSUndoManagerDidOpenUndoGroupNotification";
inline constexpr const char* NSUndoManagerWillCloseUndoGroupNotification =
    "NSUndoManagerWillCloseUndoGroupNotification";
inline constexpr const char* NSUndoManagerDidCloseUndoGroupNotification =
    "NSUndoManagerDidCloseUndoGroupNotification";
inline constexpr const char* NSUndoManagerCheckpointNotification =
    "NSUndoManagerCheckpointNotification";
inline constexpr const char* NSUndoManagerWillUndoChangeNotification =
    "NSUndoManagerWillUndoChangeNotification";
inline constexpr const char* NSUndoManagerDidUndoChangeNotification =
    "NSUndoManagerDidUndoChangeNotification";
inline constexpr const char* NSUndoManagerWillRedoChangeNotification =
    "NSUndoManagerWillRedoChangeNotification";
inline constexpr const char* NSUndoManagerDidRedoChangeNotification =
    "NSUndoManagerDidRedoChangeNotification";
// User-info key of the did-close notification (YES when the top undo group is discardable).
inline constexpr const char* NSUndoManagerGroupIsDiscardableKey =
    "NSUndoManagerGroupIsDiscardableKey";
// The manager's own names, posted only with setPostVLMNotifications(true).
inline constexpr const char* VLMUndoManagerDidOpenUndoGroupNotification =
    "VLMUndoManagerDidOpenUndoGroupNotification";
inline constexpr const char* VLMUndoManagerDidCloseUndoGroupNotification =
    "VLMUndoManagerDidCloseUndoGroupNotification";
// Posted before the oldest group of a stack is dropped; the group is under
// VLMUndoManagerActionKey in the user info.
inline constexpr const char* VLMUndoManagerWillDropUndoActionNotification =
    "VLMUndoManagerWillDropUndoActionNotification";
inline constexpr const char* VLMUndoManagerWillDropRedoActionNotification =
    "VLMUndoManagerWillDropRedoActionNotification";
inline constexpr const char* VLMUndoManagerActionKey = "VLMUndoManagerActionKey";

enum class VLMUndoManagerState : std::int32_t { Collecting = 0, Undoing = 1, Redoing = 2 };

// Coalescing compares a new call with the open group's last task only, or (any other
// value) with every direct task of the open group.
inline constexpr std::int32_t VLMCoalesceLastTask = 0;
inline constexpr std::int32_t VLMCoalesceAllMatchingTasks = 1;

class VLMUndoManager : public SelectorTarget {
  public:
    using Stack = std::deque<VLMUndoGroupRef>;

    VLMUndoManager();
    // Cancels the pending end of the event group.
    ~VLMUndoManager() override;
    VLMUndoManager(const VLMUndoManager&) = delete;
    VLMUndoManager& operator=(const VLMUndoManager&) = delete;

    // Grouping. Begin with registration disabled is ignored; so is an end with nothing open.
    void beginUndoGrouping() { openGroup(nullptr, false); }
    void beginUndoGroupingUsingSingleGroup() { openGroup(nullptr, true); }
    // useASingleGroup inside an open group opens nothing, and the next end in single-group
    // mode closes nothing.
    void beginUndoGrouping(Value extraData, bool useASingleGroup);
    void endUndoGrouping() { endUndoGroupingUsingSingleGroup(false); }
    void endUndoGroupingUsingSingleGroup(bool useASingleGroup);
    std::int64_t groupingLevel() const { return groupLevel_; }
    bool groupsByEvent() const { return groupsByEvent_; }
    void setGroupsByEvent(bool value) { groupsByEvent_ = value; }
    const std::vector<std::string>& runLoopModes() const { return runLoopModes_; }
    void setRunLoopModes(std::vector<std::string> modes) { runLoopModes_ = std::move(modes); }

    // Registration. A selector with the empty name counts as no selector.
    void registerUndoWithTarget(const ObjectRef& target, Selector selector, Value object);
    // The proxy, aimed at target: the next call made on it is recorded for target.
    VLMUndoManagerProxy& prepareWithInvocationTarget(const ObjectRef& target);
    // Records invocation for the next target (setNextTarget); nullptr throws.
    void forwardInvocation(std::unique_ptr<VLMInvocation> invocation);
    void setNextTarget(const ObjectRef& target) { nextTarget_ = target; }
    // Records a C++ callable as the undo of target: action(T&) runs when the task is
    // performed (and not at all once an unretained target is gone). name stands for the
    // selector in coalescing, descriptions and exploded names.
    template <class T, class F>
    bool registerUndo(const std::shared_ptr<T>& target, F action, std::string_view name = "block") {
        return registerUndo(target, std::move(action), Selector(name));
    }
    // The same with the name already a Selector (which saves interning it on every call).
    template <class T, class F>
    bool registerUndo(const std::shared_ptr<T>& target, F action, Selector name);
    void enableUndoRegistration();
    void disableUndoRegistration() { --enableLevel_; }
    bool isUndoRegistrationEnabled() const { return enableLevel_ >= 0; }
    // False when coalescing dropped the task.
    bool submitUndoTask(const VLMUndoTaskRef& task);

    // Undo and redo.
    bool canUndo() const;
    bool canRedo();
    void undo();
    void redo();
    void undoNestedGroup();
    bool isUndoing() const { return state_ == VLMUndoManagerState::Undoing; }
    bool isRedoing() const { return state_ == VLMUndoManagerState::Redoing; }
    bool isUndoingOrRedoing() const { return isUndoing() || isRedoing(); }
    VLMUndoManagerState undoManagerState() const { return state_; }
    void setUndoManagerState(VLMUndoManagerState state) { state_ = state; }
    // To the system clock's tick (Clock::coarseNow): it is taken at every undo and redo.
    std::optional<Date> lastUndoRedoDate() const { return lastUndoRedoDate_; }

    // Names and menu titles (localised through Bundle::main()).
    void setActionName(std::string name);
    void setActionIsDiscardable(bool discardable);
    std::string undoActionName() const;
    std::string redoActionName() const;
    std::string undoMenuItemTitle();
    std::string redoMenuItemTitle();
    std::string undoMenuTitleForUndoActionName(std::string_view name);
    std::string redoMenuTitleForUndoActionName(std::string_view name);

    // Stacks: the top is the back.
    std::uint64_t levelsOfUndo() const { return levelsOfUndo_; }
    void setLevelsOfUndo(std::uint64_t levels);
    std::size_t numberOfUndoActions() const { return undoStack_.size(); }
    std::size_t numberOfRedoActions() const { return redoStack_.size(); }
    VLMUndoGroupRef peekUndo() const { return undoStack_.empty() ? nullptr : undoStack_.back(); }
    VLMUndoGroupRef peekRedo() const { return redoStack_.empty() ? nullptr : redoStack_.back(); }
    const Stack& undoStack() const { return undoStack_; }
    const Stack& redoStack() const { return redoStack_; }
    const VLMUndoGroupRef& currentGroup() const { return openGroup_; }
    void pushGroupOntoUndoStack(VLMUndoGroupRef group) { undoStack_.push_back(std::move(group)); }
    void pushGroupOntoRedoStack(VLMUndoGroupRef group) { redoStack_.push_back(std::move(group)); }
    VLMUndoGroupRef popUndo();
    VLMUndoGroupRef popRedo();
    void dropOldestUndoAction();
    void dropOldestRedoAction();
    void clearRedoStack();
    void removeAllActions();
    void removeAllActionsWithTarget(const ObjectRef& target);
    void explodeTopUndoAction();
    // Back to a fresh manager's grouping state (stacks and change count stay).
    void reset();
    void checkpoint();

    // Options.
    bool automaticallyDiscardsEmptyGroups() const { return autoDeleteEmptyGroups_; }
    void setAutomaticallyDiscardsEmptyGroups(bool value) { autoDeleteEmptyGroups_ = value; }
    void enableUndoTaskCoalescing() { coalescing_ = true; }
    void disableUndoTaskCoalescing() { coalescing_ = false; }
    bool isUndoTaskCoalescingEnabled() const { return coalescing_; }
    std::int32_t coalescingKind() const { return coalescingKind_; }
    void setCoalescingKind(std::int32_t kind) { coalescingKind_ = kind; }
    bool retainsTargets() const { return retainsTargets_; }
    void setRetainsTargets(bool value) { retainsTargets_ = value; }
    std::uint64_t changeCount() const { return changeCount_; }
    void resetChangeCount() { changeCount_ = 0; }
    void setPostVLMNotifications(bool value) { postVLMNotifications_ = value; }

    // "<VLMUndoManager: 0x...> g-level = 0, state = 0, u-stack: (...), r-stack: (...)"
    std::string description() const;

    // Answers the platform's end-of-event message, and does nothing with it.
    bool respondsToSelector(Selector selector) const override;
    Value performSelector(Selector selector, std::span<const Value> arguments) override;

  private:
    // The notifications posted without user info, in the order of kPlainNames.
    enum class Plain : std::uint8_t {
        DidOpen,
        VLMDidOpen,
        WillClose,
        DidClose,
        VLMDidClose,
        Checkpoint,
        WillUndo,
        DidUndo,
        WillRedo,
        DidRedo,
        Count,
    };

    // Groups and tasks come from the manager's pool: see UndoBlockPool.
    template <class T, class... A>
    std::shared_ptr<T> makePooled(A&&... arguments) {
        return std::allocate_shared<T>(UndoBlockAllocator<T>(pool_), std::forward<A>(arguments)...);
    }
    // beginUndoGrouping; extraData nullptr for none.
    void openGroup(Value* extraData, bool useASingleGroup);
    void conditionallyBeginUndoGrouping();
    // Records a task that is not nullptr.
    bool submit(VLMUndoTaskRef&& task);
    // forwardInvocation for a call the proxy recorded: no nil invocation to check.
    friend class VLMUndoManagerProxy;
    void record(VLMInvocation&& invocation);
    void popAndPerform(bool undoing);
    // Most of these posts have no observer: they cost a load and a test then.
    void post(Plain name) {
        if (center_.mayHaveObserver(plainNameKeys_[static_cast<std::size_t>(name)])) {
            postObserved(name);
        }
    }
    void postObserved(Plain name);
    void post(const char* name, Value userInfo);
    void trimUndoStack();
    void trimRedoStack();
    void dropOldest(Stack& stack, const char* notification);
    std::string menuTitle(bool available, std::string_view verb, std::string_view empty,
                          std::string_view name) const;

    // First, so that it is let go of last: the stacks give their blocks back to it.
    UndoBlockPool::Owner pool_;
    NotificationCenter& center_;  // the default centre, looked up once
    const std::array<NotificationCenter::NameKey, static_cast<std::size_t>(Plain::Count)>
        plainNameKeys_;
    std::shared_ptr<VLMUndoManagerProxy> proxy_;
    Stack undoStack_;
    Stack redoStack_;
    std::vector<std::string> runLoopModes_;
    std::weak_ptr<Object> nextTarget_;
    VLMUndoGroupRef openGroup_;
    std::int64_t groupLevel_ = 0;
    std::uint64_t levelsOfUndo_ = 0;
    std::int64_t enableLevel_ = 0;
    std::uint64_t changeCount_ = 0;
    VLMUndoManagerState state_ = VLMUndoManagerState::Collecting;
    std::int32_t coalescingKind_ = VLMCoalesceLastTask;
    bool groupsByEvent_ = true;
    bool coalescing_ = false;
    bool autoDeleteEmptyGroups_ = true;
    bool retainsTargets_ = false;
    bool isRemovingTargets_ = false;  // re-entrancy guard of trimming, clearing, removal
    bool isInCheckpoint_ = false;
    bool ignoreNextEndGrouping_ = false;
    bool postVLMNotifications_ = false;
    std::optional<Date> lastUndoRedoDate_;
    // Notifications without user info, each built on its first post: every group posts
    // four to six of them.
    std::array<std::optional<Notification>, static_cast<std::size_t>(Plain::Count)>
        plainNotifications_;
};

template <class T, class F>
bool VLMUndoManager::registerUndo(const std::shared_ptr<T>& target, F action, Selector name) {
    if (!isUndoRegistrationEnabled()) {
        return false;
    }
    return submit(
        makePooled<LambdaUndoTask<T, F>>(target, retainsTargets_, name, std::move(action)));
}

}  // namespace velmora

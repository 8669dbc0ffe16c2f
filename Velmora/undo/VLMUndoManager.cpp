#include "Velmora/undo/VLMUndoManager.h"

#include <exception>
#include <utility>

#include <fmt/format.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/InternalInconsistencyException.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/undo/RecordedCallUndoTask.h"

namespace velmora {
namespace {

// After everything else of a run-loop pass, so that the pass's own work is in the group.
constexpr std::int64_t kEndOfEventOrder = 350000;

// The names of VLMUndoManager::Plain, in its order.
constexpr std::array<const char*, 10> kPlainNames{
    NSUndoManagerDidOpenUndoGroupNotification,   VLMUndoManagerDidOpenUndoGroupNotification,
    NSUndoManagerWillCloseUndoGroupNotification, NSUndoManagerDidCloseUndoGroupNotification,
    VLMUndoManagerDidCloseUndoGroupNotification, NSUndoManagerCheckpointNotification,
    NSUndoManagerWillUndoChangeNotification,     NSUndoManagerDidUndoChangeNotification,
    NSUndoManagerWillRedoChangeNotification,     NSUndoManagerDidRedoChangeNotification,
};

template <std::size_t... Index>
std::array<NotificationCenter::NameKey, sizeof...(Index)> plainNameKeys(
    std::index_sequence<Index...> /*indices*/) {
    return {NotificationCenter::NameKey(kPlainNames[Index])...};
}

[[noreturn]] void inconsistency(const char* message) {
    throw InternalInconsistencyException(message);
}

// The platform's end-of-event message, named at run time: only its sender knows it.
const Selector& endOfEventSelector() {
    static const Selector kSelector(std::string("_process") + "EndOfEvent" + "Notification:");
    return kSelector;
}

}  // namespace

VLMUndoManager::VLMUndoManager()
    : center_(NotificationCenter::defaultCenter()),
      plainNameKeys_(plainNameKeys(std::make_index_sequence<kPlainNames.size()>())),
      proxy_(std::make_shared<VLMUndoManagerProxy>(*this)),
      runLoopModes_{std::string(RunLoop::kDefaultMode)} {}

VLMUndoManager::~VLMUndoManager() {
    RunLoop::main().cancelEndOfPassPerforms(this);
}

void VLMUndoManager::postObserved(Plain name) {
    static_assert(kPlainNames.size() == static_cast<std::size_t>(Plain::Count));
    const auto index = static_cast<std::size_t>(name);
    std::optional<Notification>& notification = plainNotifications_[index];
    if (!notification) {
        notification.emplace(Notification{kPlainNames[index], this, {}});
    }
    center_.post(*notification);
}

void VLMUndoManager::post(const char* name, Value userInfo) {
    center_.post(Notification{name, this, std::move(userInfo)});
}

void VLMUndoManager::beginUndoGrouping(Value extraData, bool useASingleGroup) {
    openGroup(&extraData, useASingleGroup);
}

void VLMUndoManager::openGroup(Value* extraData, bool useASingleGroup) {
    if (!isUndoRegistrationEnabled()) {
        return;
    }
    if (groupLevel_ > 0 && openGroup_ && useASingleGroup) {
        ignoreNextEndGrouping_ = true;
        return;
    }
    auto group = extraData != nullptr ? makePooled<VLMUndoGroup>(std::move(*extraData))
                                      : makePooled<VLMUndoGroup>();
    if (groupLevel_ > 0) {
        if (!openGroup_) {
            inconsistency(
                "internal inconsistency - group level was > 0 but no open group was found");
        }
        openGroup_->addTask(group);
    } else if (isUndoing()) {
        redoStack_.push_back(group);
    } else {
        undoStack_.push_back(group);
    }
    openGroup_ = std::move(group);
    if (!isUndoing() && groupLevel_ >= 1) {
        checkpoint();
    }
    ++groupLevel_;
    post(Plain::DidOpen);
    if (postVLMNotifications_) {
        post(Plain::VLMDidOpen);
    }
}

void VLMUndoManager::endUndoGroupingUsingSingleGroup(bool useASingleGroup) {
    if (ignoreNextEndGrouping_ && useASingleGroup) {
        ignoreNextEndGrouping_ = false;
        return;
    }
    if (groupLevel_ < 1) {
        return;
    }
    checkpoint();
    if (groupLevel_-- <= 0) {
        inconsistency("group level is negative - internal inconsistency");
    }
    if (!openGroup_) {
        inconsistency("bad group state - attempt to close a nested group with no group open");
    }
    const bool hasTask = openGroup_->hasTask();
    if (groupLevel_ > 0) {
        VLMUndoGroup* parent = openGroup_->parentGroup();
        if (parent == nullptr) {
            inconsistency("nested group could not be restored - bad parent group ref");
        }
        openGroup_ = parent->shared_from_this();
    } else {
        if (hasTask || !autoDeleteEmptyGroups_) {
            if (state_ == VLMUndoManagerState::Collecting) {
                post(Plain::WillClose);
            }
        } else if (isUndoing()) {
            popRedo();
        } else {
            popUndo();
        }
        openGroup_.reset();
        if (levelsOfUndo_ != 0 && !isRemovingTargets_) {
            trimUndoStack();
        }
    }
    if (!undoStack_.empty() && undoStack_.back()->actionIsDiscardable()) {
        post(NSUndoManagerDidCloseUndoGroupNotification,
             Dictionary{{NSUndoManagerGroupIsDiscardableKey, true}});
    } else {
        post(Plain::DidClose);
    }
    if (postVLMNotifications_) {
        post(Plain::VLMDidClose);
    }
}

void VLMUndoManager::conditionallyBeginUndoGrouping() {
    if (!groupsByEvent_ || groupLevel_ > 0) {
        return;
    }
    beginUndoGrouping();
    if (groupLevel_ != 1) {
        inconsistency("internal inconsistency - group level should be 1 here");
    }
    RunLoop::main().performAtEndOfPass(
        this, kEndOfEventOrder, [this] { endUndoGrouping(); }, runLoopModes_);
}

void VLMUndoManager::registerUndoWithTarget(const ObjectRef& target, Selector selector,
                                            Value object) {
    if (isUndoRegistrationEnabled()) {
        if (selector == VLMInvocation::nullSelector()) {
            nextTarget_.reset();
            inconsistency(
                "invalid (NULL) selector passed to registerUndoWithTarget:selector:object:");
        }
        Array arguments;
        if (selector.argumentCount() > 0) {
            arguments.push_back(std::move(object));
        }
        auto task = makePooled<RecordedCallUndoTask>(
            VLMInvocation(nullptr, selector, std::move(arguments)), target, retainsTargets_);
        nextTarget_.reset();
        submit(std::move(task));
    }
    nextTarget_.reset();
}

VLMUndoManagerProxy& VLMUndoManager::prepareWithInvocationTarget(const ObjectRef& target) {
    proxy_->vlum_setTarget(target);
    return *proxy_;
}

void VLMUndoManager::forwardInvocation(std::unique_ptr<VLMInvocation> invocation) {
    if (invocation) {
        record(std::move(*invocation));
        return;
    }
    nextTarget_.reset();
    if (isUndoRegistrationEnabled()) {
        inconsistency("-forwardInvocation: was passed an invalid nil invocation");
    }
}

void VLMUndoManager::record(VLMInvocation&& invocation) {
    const ObjectRef target = nextTarget_.lock();
    nextTarget_.reset();
    if (!isUndoRegistrationEnabled()) {
        return;
    }
    submit(makePooled<RecordedCallUndoTask>(std::move(invocation), target, retainsTargets_));
}

void VLMUndoManager::enableUndoRegistration() {
    if (enableLevel_ >= 0) {
        inconsistency("inconsistent state - undo enabled when not previously disabled");
    }
    ++enableLevel_;
}

bool VLMUndoManager::submitUndoTask(const VLMUndoTaskRef& task) {
    if (!task) {
        inconsistency("invalid task was nil in -submitUndoTask:");
    }
    return submit(VLMUndoTaskRef(task));
}

bool VLMUndoManager::submit(VLMUndoTaskRef&& task) {
    const VLMConcreteUndoTask* call = task->asConcreteTask();
    if (coalescing_ && call != nullptr && state_ == VLMUndoManagerState::Collecting && openGroup_) {
        const ObjectRef target = call->target();
        if (coalescingKind_ == VLMCoalesceLastTask) {
            const auto last = openGroup_->lastTaskIfConcrete();
            if (last && last->isTarget(target) && last->selector() == call->selector()) {
                return false;
            }
        } else if (!openGroup_->tasksWithTarget(target, call->selector()).empty()) {
            return false;
        }
    }
    conditionallyBeginUndoGrouping();
    if (!openGroup_) {
        inconsistency("invalid attempt to add undo task with no open group");
    }
    ++changeCount_;
    openGroup_->addTask(std::move(task));
    if (state_ == VLMUndoManagerState::Collecting) {
        clearRedoStack();
    }
    return true;
}

bool VLMUndoManager::respondsToSelector(Selector selector) const {
    return selector == endOfEventSelector();
}

Value VLMUndoManager::performSelector(Selector /*selector*/, std::span<const Value> /*arguments*/) {
    return {};
}

}  // namespace velmora

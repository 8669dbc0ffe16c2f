// Undo and redo, names and menu titles.
#include <exception>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/InternalInconsistencyException.h"
#include "Velmora/platform/host/Bundle.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace velmora {

bool VLMUndoManager::canUndo() const {
    return !undoStack_.empty() && state_ == VLMUndoManagerState::Collecting;
}

bool VLMUndoManager::canRedo() {
    checkpoint();
    return !redoStack_.empty() && state_ == VLMUndoManagerState::Collecting;
}

void VLMUndoManager::undo() {
    if (groupLevel_ > 1) {
        throw InternalInconsistencyException("can't undo with a nested group open");
    }
    endUndoGrouping();
    undoNestedGroup();
    lastUndoRedoDate_ = Clock::coarseNow();
}

void VLMUndoManager::undoNestedGroup() {
    popAndPerform(true);
}

void VLMUndoManager::redo() {
    popAndPerform(false);
    lastUndoRedoDate_ = Clock::coarseNow();
}

void VLMUndoManager::popAndPerform(bool undoing) {
    if (state_ != VLMUndoManagerState::Collecting) {
        throw InternalInconsistencyException(undoing ? "can't undo - already undoing or redoing"
                                                     : "can't redo - already undoing or redoing");
    }
    if (groupLevel_ > 0) {
        throw InternalInconsistencyException(undoing ? "can't undo - a group is still open"
                                                     : "can't redo - a group is still open");
    }
    checkpoint();
    Stack& source = undoing ? undoStack_ : redoStack_;
    if (source.empty()) {
        return;
    }
    const VLMUndoGroupRef group = source.back();
    if (!group->hasTask()) {
        return;
    }
    post(undoing ? Plain::WillUndo : Plain::WillRedo);
    state_ = undoing ? VLMUndoManagerState::Undoing : VLMUndoManagerState::Redoing;
    // From here the manager must get back to collecting whatever the tasks do: a failed
    // task is rethrown only after the stacks are settled.
    std::exception_ptr failure;
    try {
        beginUndoGrouping();
        try {
            group->perform();
        } catch (...) {
            failure = std::current_exception();
        }
        if (isUndoRegistrationEnabled()) {
            const Stack& opposite = undoing ? redoStack_ : undoStack_;
            // Mostly both names are empty: then there is nothing to copy.
            if (!opposite.empty() &&
                (!group->actionName().empty() || !opposite.back()->actionName().empty())) {
                opposite.back()->setActionName(group->actionName());
            }
        }
        if (!source.empty() && source.back() == group) {
            source.pop_back();
        }
        endUndoGrouping();
    } catch (...) {
        // The manager's own bookkeeping failed (an observer threw, or a task left groups
        // open): nothing more can be trusted about the open groups, so they are given up.
        state_ = VLMUndoManagerState::Collecting;
        groupLevel_ = 0;
        openGroup_.reset();
        throw;
    }
    state_ = VLMUndoManagerState::Collecting;
    post(undoing ? Plain::DidUndo : Plain::DidRedo);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void VLMUndoManager::setActionName(std::string name) {
    if (const VLMUndoGroupRef group = isUndoing() ? peekRedo() : peekUndo()) {
        group->setActionName(std::move(name));
    }
}

void VLMUndoManager::setActionIsDiscardable(bool discardable) {
    if (const VLMUndoGroupRef group = isUndoing() ? peekRedo() : peekUndo()) {
        group->setActionIsDiscardable(discardable);
    }
}

std::string VLMUndoManager::undoActionName() const {
    const VLMUndoGroupRef group = peekUndo();
    return group ? group->actionName() : std::string();
}

std::string VLMUndoManager::redoActionName() const {
    const VLMUndoGroupRef group = peekRedo();
    return group ? group->actionName() : std::string();
}

std::string VLMUndoManager::undoMenuItemTitle() {
    return undoMenuTitleForUndoActionName(undoActionName());
}

std::string VLMUndoManager::redoMenuItemTitle() {
    return redoMenuTitleForUndoActionName(redoActionName());
}

std::string VLMUndoManager::undoMenuTitleForUndoActionName(std::string_view name) {
    return menuTitle(canUndo(), "Undo", "Nothing To Undo", name);
}

std::string VLMUndoManager::redoMenuTitleForUndoActionName(std::string_view name) {
    return menuTitle(canRedo(), "Redo", "Nothing To Redo", name);
}

std::string VLMUndoManager::menuTitle(bool available, std::string_view verb, std::string_view empty,
                                      std::string_view name) const {
    const Bundle& bundle = Bundle::main();
    if (!available) {
        return bundle.localizedString(empty, "");
    }
    std::string title = bundle.localizedString(verb, "");
    if (!name.empty()) {
        title.append(" ").append(name);
    }
    return title;
}

}  // namespace velmora

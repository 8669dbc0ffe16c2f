#pragma once
// UndoTaskList: the tasks of a VLMUndoGroup, in order. Most groups hold a single task
// (one change per step), kept in the list itself; only a second task moves the list to
// the heap.
//
// Thread safety: none, as std::vector.
//
//   UndoTaskList tasks;
//   tasks.push_back(task);
//   for (const VLMUndoTaskRef& each : tasks.view()) { each->perform(); }

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "Velmora/undo/VLMUndoTask.h"

namespace velmora {

class UndoTaskList {
  public:
    std::span<const VLMUndoTaskRef> view() const {
        if (many_.empty()) {
            return {&single_, single_ ? 1u : 0u};
        }
        return many_;
    }
    std::size_t size() const { return view().size(); }
    bool empty() const { return !single_ && many_.empty(); }

    // REQUIRES: task is not nullptr.
    void push_back(VLMUndoTaskRef task) {
        if (empty()) {
            single_ = std::move(task);
            return;
        }
        if (single_) {
            many_.reserve(2);
            many_.push_back(std::move(single_));
        }
        many_.push_back(std::move(task));
    }

    template <class Predicate>
    void erase_if(Predicate remove) {
        if (single_) {
            if (remove(std::as_const(single_))) {
                single_.reset();
            }
        } else {
            std::erase_if(many_, remove);
        }
    }

  private:
    // The one task, while there is at most one; then every task is in many_.
    VLMUndoTaskRef single_;
    std::vector<VLMUndoTaskRef> many_;
};

}  // namespace velmora

#pragma once
// UndoTaskList: the tasks of a VLMUndoGroup, in order. Most groups hold a single task
// (one change per step), kept in the list itself; only a second task moves the list to
// the heap.
//
// Thread safety: none, as std::vector.
//
//   UndoTaskList tasks;
//   tasks.push_back(std::move(task));
//   for (const VLMUndoTaskRef& each : tasks.view()) { each->perform(); }

#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "Velmora/undo/VLMUndoTask.h"

namespace velmora {

class UndoTaskList {
  public:
    UndoTaskList() = default;
    UndoTaskList(const UndoTaskList& other)
        : single_(other.single_),
          many_(other.many_ ? std::make_unique<std::vector<VLMUndoTaskRef>>(*other.many_)
                            : nullptr) {}
    UndoTaskList& operator=(const UndoTaskList& other) {
        UndoTaskList copy(other);
        single_ = std::move(copy.single_);
        many_ = std::move(copy.many_);
        return *this;
    }
    UndoTaskList(UndoTaskList&&) noexcept = default;
    UndoTaskList& operator=(UndoTaskList&&) noexcept = default;
    ~UndoTaskList() = default;

    // Valid until the list changes.
    std::span<const VLMUndoTaskRef> view() const {
        if (many_) {
            return *many_;
        }
        return {&single_, single_ ? 1u : 0u};
    }
    std::size_t size() const { return view().size(); }
    bool empty() const { return many_ ? many_->empty() : !single_; }

    // REQUIRES: task is not nullptr.
    void push_back(VLMUndoTaskRef&& task) {
        if (!many_ && !single_) {
            single_ = std::move(task);
            return;
        }
        if (!many_) {
            many_ = std::make_unique<std::vector<VLMUndoTaskRef>>();
            many_->reserve(2);
            many_->push_back(std::move(single_));
        }
        many_->push_back(std::move(task));
    }

    template <class Predicate>
    void erase_if(Predicate remove) {
        if (many_) {
            std::erase_if(*many_, remove);
        } else if (single_ && remove(std::as_const(single_))) {
            single_.reset();
        }
    }

  private:
    // The one task, until a second comes; from then on every task is in many_.
    VLMUndoTaskRef single_;
    std::unique_ptr<std::vector<VLMUndoTaskRef>> many_;
};

}  // namespace velmora

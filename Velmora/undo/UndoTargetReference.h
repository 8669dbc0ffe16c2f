#pragma once
// UndoTargetReference: an undo task's target, held weakly, or strongly when the task
// retains it, in the storage of one reference (a task holds one or the other, never both).
//
// Thread safety: a value type, as std::weak_ptr.
//
//   UndoTargetReference target(document, /*retained=*/false);
//   if (ObjectRef live = target.lock()) { ... }   // nullptr once document is gone

#include <memory>
#include <new>
#include <utility>

#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class UndoTargetReference {
  public:
    UndoTargetReference() noexcept { ::new (&weak_) std::weak_ptr<Object>(); }
    template <class T>
    UndoTargetReference(const std::shared_ptr<T>& target, bool retained) : retained_(retained) {
        if (retained) {
            ::new (&strong_) ObjectRef(target);
        } else {
            ::new (&weak_) std::weak_ptr<Object>(target);
        }
    }
    UndoTargetReference(const UndoTargetReference& other) : retained_(other.retained_) {
        if (retained_) {
            ::new (&strong_) ObjectRef(other.strong_);
        } else {
            ::new (&weak_) std::weak_ptr<Object>(other.weak_);
        }
    }
    UndoTargetReference(UndoTargetReference&& other) noexcept { adopt(std::move(other)); }
    UndoTargetReference& operator=(const UndoTargetReference& other) {
        if (this != &other) {
            *this = UndoTargetReference(other);
        }
        return *this;
    }
    UndoTargetReference& operator=(UndoTargetReference&& other) noexcept {
        if (this != &other) {
            destroy();
            adopt(std::move(other));
        }
        return *this;
    }
    ~UndoTargetReference() { destroy(); }

    bool retained() const { return retained_; }
    bool retainsObject() const { return retained_ && strong_ != nullptr; }
    // nullptr once an unretained target is gone.
    ObjectRef lock() const { return retained_ ? strong_ : weak_.lock(); }
    // By ownership, not address: a new object at a gone target's address is another one.
    bool refersTo(const ObjectRef& object) const {
        return retained_ ? !strong_.owner_before(object) && !object.owner_before(strong_)
                         : !weak_.owner_before(object) && !object.owner_before(weak_);
    }

  private:
    // REQUIRES: no member of the union is alive.
    void adopt(UndoTargetReference&& other) noexcept {
        retained_ = other.retained_;
        if (retained_) {
            ::new (&strong_) ObjectRef(std::move(other.strong_));
        } else {
            ::new (&weak_) std::weak_ptr<Object>(std::move(other.weak_));
        }
    }
    void destroy() noexcept {
        if (retained_) {
            strong_.~ObjectRef();
        } else {
            weak_.~weak_ptr();
        }
    }

    union {
        std::weak_ptr<Object> weak_;
        ObjectRef strong_;
    };
    bool retained_ = false;
};

}  // namespace velmora

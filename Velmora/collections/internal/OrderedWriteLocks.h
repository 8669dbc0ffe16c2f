#pragma once
// OrderedWriteLocks: holds the write locks of up to three NSMutableLockArrays, taken in
// the order given and released in that same order (not the reverse, as nested guards
// would), on every path out of its scope. Null arrays are skipped. An array named twice is locked
// once, since the locks are not recursive.
//
// Used by one thread; the arrays must outlive it.
//
//   OrderedWriteLocks locks(items.get(), sections.get(), storage.get());
//   items->removeObjectsAtIndexes(rows);  // plain forms while held

#include <array>
#include <cstddef>
#include <initializer_list>

#include "Velmora/collections/NSMutableLockArray.h"

namespace velmora {

class OrderedWriteLocks {
  public:
    OrderedWriteLocks(const NSMutableLockArray* first, const NSMutableLockArray* second,
                      const NSMutableLockArray* third) {
        for (const NSMutableLockArray* array : {first, second, third}) {
            if (array == nullptr || isHeld(array) || held_ == locked_.size()) {
                continue;
            }
            array->wrlock();
            locked_[held_++] = array;
        }
    }
    ~OrderedWriteLocks() {
        for (std::size_t i = 0; i < held_; ++i) {
            locked_[i]->unlock();
        }
    }
    OrderedWriteLocks(const OrderedWriteLocks&) = delete;
    OrderedWriteLocks& operator=(const OrderedWriteLocks&) = delete;

  private:
    bool isHeld(const NSMutableLockArray* array) const {
        for (std::size_t i = 0; i < held_; ++i) {
            if (locked_[i] == array) {
                return true;
            }
        }
        return false;
    }

    std::array<const NSMutableLockArray*, 3> locked_{};
    std::size_t held_ = 0;
};

}  // namespace velmora

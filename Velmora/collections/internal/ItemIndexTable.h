#pragma once
// ItemIndexTable: answers "the index of the first element equal to this one" for an
// array of Values, after one pass over it, so that a diff never searches linearly.
//
// Open addressing with linear probing over 32-bit slots (index + 1, 0 for empty), at most
// half full, with every element's hash kept beside the table: a probe compares hashes
// first and calls Value::isEqual only on a hash match. The table is rebuilt in place for
// each array, so one instance reused across the sections of a diff allocates only when a
// section is larger than any before it.
//
// Not synchronised; the array must not change while the table refers to it.
//
//   ItemIndexTable table;
//   table.build(items);
//   std::size_t row = table.find(item);  // NotFound when absent

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Velmora/platform/foundation/Range.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class ItemIndexTable {
  public:
    // Indexes every element of items (kept by reference). REQUIRES: fewer than 2^32 - 1
    // elements.
    void build(const Array& items);

    // Refers to copy from now on. REQUIRES: copy holds the same elements, in the same
    // order, as the array the table was built over.
    void rebind(const Array& copy) { items_ = &copy; }

    std::size_t size() const { return items_ == nullptr ? 0 : items_->size(); }
    // The hash of element i, computed once by build.
    std::size_t hashAt(std::size_t i) const { return hashes_[i]; }
    // Whether element i is the first of the elements equal to it.
    bool isFirstOccurrence(std::size_t i) const { return first_[i] == i; }
    // The index of the first element equal to value (whose hash is hash), or NotFound.
    std::size_t find(const Value& value, std::size_t hash) const;
    std::size_t find(const Value& value) const { return find(value, value.hash()); }

  private:
    std::size_t slotOf(std::size_t hash) const;

    const Array* items_ = nullptr;
    std::vector<std::size_t> hashes_;
    std::vector<std::uint32_t> first_;  // index of the first equal element, per element
    std::vector<std::uint32_t> slots_;  // index + 1 of a distinct element, 0 when empty
    std::size_t mask_ = 0;
};

}  // namespace velmora

#pragma once
// IndexSet: an ordered set of indexes, the value type behind "the rows at these
// positions" (NSIndexSet and NSMutableIndexSet in one).
//
// Representation: a sorted vector of disjoint, non-adjacent, non-empty Ranges plus a
// cached count. Runs of consecutive indexes (the usual shape of list changes) cost one
// entry, lookups are a binary search, and two sets holding the same indexes have the
// same representation, so equality is a plain comparison. Indexes are below NotFound:
// adding NotFound is ignored and ranges are clipped before it.
//
// A value type: copies are independent. Not synchronised (like any std container).
//
//   IndexSet rows(Range{2, 3});       // 2, 3, 4
//   rows.add(7);
//   for (std::size_t row : rows) { ... }  // 2, 3, 4, 7

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <span>
#include <vector>

#include "Velmora/platform/foundation/Range.h"

namespace velmora {

class IndexSet {
  public:
    // Yields the indexes in ascending order.
    class const_iterator {
      public:
        using iterator_concept = std::forward_iterator_tag;
        using iterator_category = std::input_iterator_tag;
        using value_type = std::size_t;
        using difference_type = std::ptrdiff_t;
        using reference = std::size_t;

        const_iterator() = default;

        std::size_t operator*() const { return index_; }
        const_iterator& operator++();
        const_iterator operator++(int) {
            const_iterator previous = *this;
            ++*this;
            return previous;
        }
        bool operator==(const const_iterator& other) const {
            return range_ == other.range_ && index_ == other.index_;
        }

      private:
        friend class IndexSet;
        const_iterator(const Range* range, const Range* last, std::size_t index)
            : range_(range), last_(last), index_(index) {}

        const Range* range_ = nullptr;  // the range holding index_; last_ at the end
        const Range* last_ = nullptr;
        std::size_t index_ = 0;
    };
    using iterator = const_iterator;

    IndexSet() = default;
    explicit IndexSet(std::size_t index);
    explicit IndexSet(Range range);
    IndexSet(std::initializer_list<std::size_t> indexes);

    void add(std::size_t index) { add(Range{index, 1}); }
    void add(Range range);
    void remove(std::size_t index) { remove(Range{index, 1}); }
    void remove(Range range);
    void clear();

    bool contains(std::size_t index) const;
    std::size_t count() const { return count_; }
    bool empty() const { return count_ == 0; }
    // NotFound when empty.
    std::size_t firstIndex() const;
    std::size_t lastIndex() const;

    // The maximal runs of consecutive indexes, ascending.
    std::span<const Range> ranges() const { return ranges_; }

    const_iterator begin() const;
    const_iterator end() const;

    bool operator==(const IndexSet& other) const { return ranges_ == other.ranges_; }

  private:
    std::vector<Range> ranges_;  // sorted, disjoint, separated by at least one index
    std::size_t count_ = 0;
};

}  // namespace velmora

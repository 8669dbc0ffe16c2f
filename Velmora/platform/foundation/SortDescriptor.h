#pragma once
// SortDescriptor: one level of a sort order, "by this key path, ascending or not"
// (NSSortDescriptor without custom selectors). A list of them orders by the first, ties
// broken by the next, and so on.
//
// The values compared are read with valueForKeyPath; an empty key compares the objects
// themselves (as a descriptor with a nil key does). Values compare with Value::compare,
// so every pair of values has an order and sorting with descriptors is always defined.
//
// A plain value type; the functions only read their arguments.
//
//   const SortDescriptor order[] = {{"due", true}, {"title", false}};
//   std::ranges::stable_sort(tasks, [&](const Value& a, const Value& b) {
//       return compareWithSortDescriptors(a, b, order) == ComparisonResult::Ascending; });

#include <span>
#include <string>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

struct SortDescriptor {
    std::string key;  // a key path; empty: the object itself
    bool ascending = true;
};

// The order of a and b under the descriptors, each consulted until one tells them apart.
ComparisonResult compareWithSortDescriptors(const Value& a, const Value& b,
                                            std::span<const SortDescriptor> descriptors);

// The two steps of compareWithSortDescriptors for one descriptor, for callers that read
// each object's values once and compare them many times (sorting):
// the value descriptor compares for object,
Value sortValue(const Value& object, const SortDescriptor& descriptor);
// and the order of two such values (reversed for a descending descriptor).
ComparisonResult compareSortValues(const Value& a, const Value& b,
                                   const SortDescriptor& descriptor);

}  // namespace velmora

#pragma once
// Stable sorts of Value arrays in the orders the platform's arrays offer: by a
// comparison selector, by sort descriptors, or by a comparator function. Elements that
// compare as equal keep their relative order.
//
// Thread safety: the functions change only the array they are given.
//
//   sortValuesUsingSelector(titles, Selector("caseInsensitiveCompare:"));
//   const SortDescriptor byDue[] = {{"due", true}};
//   sortValuesUsingDescriptors(tasks, byDue);

#include <functional>
#include <span>

#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/SortDescriptor.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

using ValueComparator = std::function<ComparisonResult(const Value&, const Value&)>;

// "compare:" orders by Value::compare; "caseInsensitiveCompare:" compares strings by
// their full case folding (and other values by Value::compare); any other selector is
// sent to the first of the two elements that is a SelectorTarget responding to it, its
// result's integerValue being the order (negated when the second element answered);
// two elements where neither responds compare as equal.
void sortValuesUsingSelector(Array& values, Selector comparator);
// By each descriptor in turn; each element's key-path values are read once.
void sortValuesUsingDescriptors(Array& values, std::span<const SortDescriptor> descriptors);
// REQUIRES: comparator is a strict weak order.
void sortValuesUsingComparator(Array& values, const ValueComparator& comparator);

}  // namespace velmora

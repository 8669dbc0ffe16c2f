#pragma once
// Row edits on a section's plain item array, each in one pass, for the modifying diff;
// and the index-set text its log lines show.
//
// Free functions over caller-owned data; not synchronised.
//
//   eraseRows(items, {1, 4});                    // rows ascending, each below the count
//   insertRows(items, {{0, "new"}, {3, "x"}});   // final rows ascending
//   describeIndexSet(IndexSet{1, 2, 5});         // "[number of indexes: 3 (in 2 ranges), ...]"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Velmora/platform/foundation/IndexSet.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

// Removes the elements at rows (ascending, unique); rows at or past the end are ignored.
void eraseRows(Array& items, const std::vector<std::size_t>& rows);

// Inserts each value so that it ends up at its row (rows ascending, unique, in the final
// array's coordinates). A row the array cannot reach (only possible with inconsistent
// input) puts that value and the ones after it at the end instead.
void insertRows(Array& items, const std::vector<std::pair<std::size_t, Value>>& rowsAndValues);

// "[number of indexes: 3 (in 2 ranges), indexes: (1-2 5)]", the platform's form without
// the object address.
std::string describeIndexSet(const IndexSet& indexes);

}  // namespace velmora

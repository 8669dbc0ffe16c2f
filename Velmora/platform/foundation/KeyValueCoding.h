#pragma once
// Key-value reading over Values: the value of a named property of a dictionary, an
// Object or every element of an array, and dotted key paths through them.
//
//   receiver     valueForKey(receiver, key)
//   dictionary   the entry for the key (a string key); nil when absent
//   Object       Object::valueForKey(key)
//   array        a new array of each element's valueForKey(element, key), a nil result
//                stored as Value::null(); keys starting with "@" are the collection
//                operators below instead
//   other kinds  nil
//
// Collection operators (arrays only; "<path>" is a key path read from every element,
// and an operator without one uses the elements themselves):
//   "@count"         the number of elements (an unsigned integer); a path is ignored
//   "@sum.<path>"    the sum of the numbers found (non-numbers add nothing): an integer
//                    when all are integers and the sum fits, otherwise a double
//   "@avg.<path>"    the sum as a double divided by the element count (so non-numbers
//                    count as 0); nil for an empty array
//   "@max.<path>"    the greatest value by Value::compare, nil and null skipped; nil
//   "@min.<path>"    when there is none
// An unknown operator and an empty key give nil.
//
// Thread safety: as for Value (reads only; the receiver must not change meanwhile).
//
//   Value tasks = Array{Dictionary{{"title", "A"}, {"minutes", 10}},
//                       Dictionary{{"title", "B"}, {"minutes", 5}}};
//   valueForKeyPath(tasks, "@sum.minutes");   // 15
//   valueForKey(tasks, "title");              // ("A", "B")

#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

Value valueForKey(const Value& receiver, std::string_view key);
// The same for an array that is not (yet) in a Value; saves copying it into one.
Value valueForKey(const Array& receiver, std::string_view key);

// Follows a dotted key path ("project.owner.name"), each segment through valueForKey; a
// segment starting with "@" is an operator and takes the rest of the path with it
// ("items.@sum.minutes"). Nil for an empty path.
Value valueForKeyPath(const Value& receiver, std::string_view keyPath);

}  // namespace velmora

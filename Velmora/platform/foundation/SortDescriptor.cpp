#include "Velmora/platform/foundation/SortDescriptor.h"

#include "Velmora/platform/foundation/KeyValueCoding.h"

namespace velmora {

Value sortValue(const Value& object, const SortDescriptor& descriptor) {
    return descriptor.key.empty() ? object : valueForKeyPath(object, descriptor.key);
}

ComparisonResult compareSortValues(const Value& a, const Value& b,
                                   const SortDescriptor& descriptor) {
    return descriptor.ascending ? a.compare(b) : b.compare(a);
}

ComparisonResult compareWithSortDescriptors(const Value& a, const Value& b,
                                            std::span<const SortDescriptor> descriptors) {
    for (const SortDescriptor& descriptor : descriptors) {
        const ComparisonResult result =
            compareSortValues(sortValue(a, descriptor), sortValue(b, descriptor), descriptor);
        if (result != ComparisonResult::Same) {
            return result;
        }
    }
    return ComparisonResult::Same;
}

}  // namespace velmora

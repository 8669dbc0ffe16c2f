#include <algorithm>

#include "Velmora/collections/NSMutableLockArray.h"
#include "Velmora/platform/foundation/ValueSorting.h"

namespace velmora {

void NSMutableLockArray::sortUsingSelector(Selector comparator) {
    if (array_.empty()) {
        return;
    }
    sortValuesUsingSelector(array_, comparator);
    informDelegate();
}

void NSMutableLockArray::lockSortUsingSelector(Selector comparator) {
    WriteLock lock(*this);
    sortUsingSelector(comparator);
}

void NSMutableLockArray::sortUsingDescriptors(std::span<const SortDescriptor> descriptors) {
    if (!descriptors.empty()) {
        sortValuesUsingDescriptors(array_, descriptors);
    }
}

void NSMutableLockArray::lockSortUsingDescriptors(std::span<const SortDescriptor> descriptors) {
    if (descriptors.empty()) {
        return;
    }
    ReadLock lock(*this);  // deliberately only the read lock; see the header
    sortUsingDescriptors(descriptors);
}

void NSMutableLockArray::sortUsingComparator(const Comparator& comparator) {
    if (!comparator || array_.empty()) {
        return;
    }
    sortValuesUsingComparator(array_, comparator);
    informDelegate();
}

void NSMutableLockArray::lockSortUsingComparator(const Comparator& comparator) {
    if (!comparator) {
        return;
    }
    WriteLock lock(*this);
    sortUsingComparator(comparator);
}

}  // namespace velmora

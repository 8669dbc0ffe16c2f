// The result-list diff on random list pairs where sections and items repeat (also within
// one section). Duplicates are treated as one, at their first position, so no order
// property is claimed here: only that nothing crashes, whatever the flags, and that the
// old list's three locks are free again afterwards, also when the diff broke off.
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "Velmora/collections/FetchedResultListDiff.h"

#include "fuzz/collections/FetchedListGenerator.h"

namespace {

using namespace velmora;

void requireUnlocked(const NSMutableLockArray& array) {
    // A write lock still held would refuse the read lock; waiting for it would hang.
    const NSMutableLockArray::ReadLock lock(array, std::try_to_lock);
    if (!lock.owns_lock()) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteReader in(data, size);
    const std::uint8_t flags = in.next();
    const fuzz::ListPair pair = fuzz::generatePair(in, true);
    const auto diff = FetchedResultListDiff::getFetchedResultDiffWithOldResult(
        pair.old, pair.fresh, (flags & 1) != 0, (flags & 2) != 0);
    if (diff) {
        (void)diff->description();
    }
    requireUnlocked(*pair.old->allFetchedSectionItems());
    requireUnlocked(*pair.old->allFetchedSections());
    requireUnlocked(*pair.old->extraFetchedStorage());
    (void)pair.old->allFetchedItems();
    return 0;
}

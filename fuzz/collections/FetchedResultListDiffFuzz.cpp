// The result-list diff's properties on random list pairs without duplicates. Whenever the
// diff is not nil:
//   - every reported section and row is a valid index of the list it refers to (checked
//     on a diff that only reports, so old indexes are those of the old list as given);
//   - modifying gives the same answer, and leaves the old list with the new list's
//     sections in the new order, the new list's time of fetch, and in every section the
//     new list's items in the new order, with one deliberate exception: a section whose
//     surviving items (those in both versions) changed their relative order keeps them
//     in the old order when findUpdatedRows is off, or when the section also gained or
//     lost rows. Such a section still holds exactly the new list's items.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <unordered_set>
#include <vector>

#include "Velmora/collections/FetchedResultListDiff.h"

#include "fuzz/collections/FetchedListGenerator.h"

namespace {

using namespace velmora;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

const Array& itemsAt(FetchedResultList& list, std::size_t section) {
    static const Array kNone;
    const Array* items = FetchedResultList::itemsOfSection(*list.allFetchedSectionItems(), section);
    return items != nullptr ? *items : kNone;
}

bool sameInOrder(const Array& a, const Array& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!a[i].isEqual(b[i])) {
            return false;
        }
    }
    return true;
}

// The items of from that are also in other, in from's order.
Array survivors(const Array& from, const Array& other) {
    const std::unordered_set<Value, ValueHash> in(other.begin(), other.end());
    Array kept;
    for (const Value& item : from) {
        if (in.contains(item)) {
            kept.push_back(item);
        }
    }
    return kept;
}

void checkRows(const FetchedResultListDiff& diff, FetchedResultList& old,
               FetchedResultList& fresh) {
    const std::size_t oldCount = old.allFetchedSections()->count();
    const std::size_t newCount = fresh.allFetchedSections()->count();
    for (const std::size_t s : diff.deletedSections())
        require(s < oldCount);
    for (const std::size_t s : diff.updateAndDeleteSection())
        require(s < oldCount);
    for (const std::size_t s : diff.insertedSections())
        require(s < newCount);
    for (const std::size_t s : diff.updateAndInsertSection())
        require(s < newCount);
    for (const IndexPath& path : diff.deletedRows()) {
        require(path.section < oldCount && path.row < itemsAt(old, path.section).size());
    }
    for (const IndexPath& path : diff.insertedRows()) {
        require(path.section < newCount && path.row < itemsAt(fresh, path.section).size());
    }
}

void checkApplied(FetchedResultList& before, FetchedResultList& after, FetchedResultList& fresh,
                  bool findUpdatedRows) {
    require(sameInOrder(after.allFetchedSections()->arrayReadonly(),
                        fresh.allFetchedSections()->arrayReadonly()));
    require(after.allFetchedSectionItems()->count() == fresh.allFetchedSections()->count());
    require(after.timeOfFetch() == fresh.timeOfFetch());
    for (std::size_t s = 0; s < fresh.allFetchedSections()->count(); ++s) {
        const Array& got = itemsAt(after, s);
        const Array& want = itemsAt(fresh, s);
        if (sameInOrder(got, want)) {
            continue;
        }
        // Only the deliberate exception may differ, and only in order.
        const std::size_t was = before.allFetchedSections()->indexOfObject(
            fresh.allFetchedSections()->objectAtIndex(s));
        require(was != NotFound);
        const Array& old = itemsAt(before, was);
        const Array kept = survivors(old, want);
        const bool reordered = !sameInOrder(kept, survivors(want, old));
        const bool gainedOrLost = kept.size() != old.size() || kept.size() != want.size();
        require(reordered && (!findUpdatedRows || gainedOrLost));
        require(got.size() == want.size());
        require(survivors(got, want).size() == want.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteReader in(data, size);
    const bool findUpdatedRows = (in.next() & 1) != 0;
    const fuzz::ListPair pair = fuzz::generatePair(in, false);
    const auto reported = FetchedResultListDiff::getFetchedResultDiffWithOldResult(
        pair.old, pair.fresh, findUpdatedRows, false);
    const auto before = pair.old->copy();
    const auto modified = FetchedResultListDiff::getFetchedResultDiffWithOldResult(
        pair.old, pair.fresh, findUpdatedRows, true);
    require((reported == nullptr) == (modified == nullptr));
    if (!reported) {
        return 0;
    }
    checkRows(*reported, *before, *pair.fresh);
    require(reported->deletedRows().size() == modified->deletedRows().size());
    require(reported->insertedRows() == modified->insertedRows());
    require(reported->deletedSections() == modified->deletedSections());
    require(reported->insertedSections() == modified->insertedSections());
    checkApplied(*before, *pair.old, *pair.fresh, findUpdatedRows);
    return 0;
}

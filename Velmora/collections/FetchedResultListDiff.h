#pragma once
// FetchedResultListDiff: what changed between an old and a new FetchedResultList, in table
// view terms: the sections removed, added and moved, and the rows removed, added and
// updated. Sections and items are matched by Value equality (hash and isEqual), never by
// position; an object that occurs twice in a section (or a section that occurs twice) is
// treated as one, at its first position.
//
// getFetchedResultDiffWithOldResult fills insertedSections (new indexes),
// deletedSections (old indexes), updateAndDeleteSection / updateAndInsertSection (old and
// new indexes of sections that stayed but moved), deletedRows (old coordinates) and
// insertedRows (new coordinates). An updated row is listed in both row lists. With
// modifyOldResult it also edits the old list, under its three write locks, until it
// matches the new one: sections and their items, extra storage, time of fetch, metadata.
//
// The change limit is deliberate: past 100 removed or added items (counting the items of
// removed and added sections) the diff breaks off and answers nullptr, meaning the change
// is too large to be described row by row; a modified old list is then left as far as it
// was changed. Rows whose only change is their order within a section are reported (and
// applied) only with findUpdatedRows, and only when that section neither gained nor lost
// rows.
//
// The reserved per-section dictionaries and modifiedSections are never filled by the diff;
// other code may fill them.
//
// Logging: the progress lines go out at debug level ("[getListDiffFrom] ..."), the lines
// per removed or added section at verbose, the break-offs at warning and a failure at
// error: an exception thrown while diffing (by an item's equality, its state copying or
// its date, or a missing modification date) is caught, logged as
// "[getListDiffFrom] error creating diff: WHAT", and the answer is nullptr.
//
// Thread safety: a diff object is a plain value, unsynchronised. The operation reads the
// new list without locks (nobody may change it meanwhile) and, when modifying, holds the
// write locks of the old list's items, sections and storage arrays (taken and released in
// that order, on every path) for its whole run: it waits for other threads holding them.
// The old list's flattened cache is dropped by section changes only (see
// FetchedResultList); after a modifying diff call clearAllFetchedItemsCache() before
// relying on allFetchedItems().
//
//   auto diff = FetchedResultListDiff::getFetchedResultDiffWithOldResult(old, fresh, true, true);
//   if (!diff) { table.reloadData(); }  // too large to animate
//   else if (diff->didAnythingChange()) { animate(diff->deletedRows(), diff->insertedRows()); }

#include <memory>
#include <string>
#include <vector>

#include "Velmora/collections/FetchedResultList.h"
#include "Velmora/collections/IndexPath.h"
#include "Velmora/platform/foundation/Dictionary.h"
#include "Velmora/platform/foundation/IndexSet.h"
#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class FetchedResultListDiff : public Object {
  public:
    // The most removed plus added items a diff describes.
    static constexpr std::size_t kMaxChanges = 100;

    FetchedResultListDiff() = default;

    // The diff of oldResult against newResult, or nullptr: for a null list, a break-off
    // past kMaxChanges, or a caught exception. REQUIRES (when modifying): the calling
    // thread holds none of the old list's array locks.
    static std::shared_ptr<FetchedResultListDiff> getFetchedResultDiffWithOldResult(
        const std::shared_ptr<FetchedResultList>& oldResult,
        const std::shared_ptr<FetchedResultList>& newResult, bool findUpdatedRows,
        bool modifyOldResult);

    // Whether any of insertedSections, deletedSections, insertedRowsPerSection,
    // deletedRowsPerSection, updateAndRemoveRowsPerSection, updateAndInsertSection and
    // updateAndDeleteSection is non-empty. It deliberately ignores the row lists,
    // modifiedSections and updateAndAddRowsPerSection (kept for compatibility).
    bool didAnythingChange() const;
    // No sections or per-section rows inserted or removed, and some section moved.
    bool didOnlySectionsRearrange() const;
    // "FETCHED DIFF: [Sections To Reload: 0], [Added Sections: 1], ..." with every count.
    std::string description() const override;

    IndexSet& modifiedSections() { return modifiedSections_; }
    IndexSet& insertedSections() { return insertedSections_; }
    IndexSet& deletedSections() { return deletedSections_; }
    IndexSet& updateAndDeleteSection() { return updateAndDeleteSection_; }
    IndexSet& updateAndInsertSection() { return updateAndInsertSection_; }
    Dictionary& deletedRowsPerSection() { return deletedRowsPerSection_; }
    Dictionary& insertedRowsPerSection() { return insertedRowsPerSection_; }
    Dictionary& updateAndRemoveRowsPerSection() { return updateAndRemoveRowsPerSection_; }
    Dictionary& updateAndAddRowsPerSection() { return updateAndAddRowsPerSection_; }
    std::vector<IndexPath>& insertedRows() { return insertedRows_; }
    std::vector<IndexPath>& deletedRows() { return deletedRows_; }

    const IndexSet& modifiedSections() const { return modifiedSections_; }
    const IndexSet& insertedSections() const { return insertedSections_; }
    const IndexSet& deletedSections() const { return deletedSections_; }
    const IndexSet& updateAndDeleteSection() const { return updateAndDeleteSection_; }
    const IndexSet& updateAndInsertSection() const { return updateAndInsertSection_; }
    const Dictionary& deletedRowsPerSection() const { return deletedRowsPerSection_; }
    const Dictionary& insertedRowsPerSection() const { return insertedRowsPerSection_; }
    const Dictionary& updateAndRemoveRowsPerSection() const {
        return updateAndRemoveRowsPerSection_;
    }
    const Dictionary& updateAndAddRowsPerSection() const { return updateAndAddRowsPerSection_; }
    const std::vector<IndexPath>& insertedRows() const { return insertedRows_; }
    const std::vector<IndexPath>& deletedRows() const { return deletedRows_; }

  private:
    IndexSet modifiedSections_;
    IndexSet insertedSections_;
    IndexSet deletedSections_;
    IndexSet updateAndDeleteSection_;
    IndexSet updateAndInsertSection_;
    Dictionary deletedRowsPerSection_;
    Dictionary insertedRowsPerSection_;
    Dictionary updateAndRemoveRowsPerSection_;
    Dictionary updateAndAddRowsPerSection_;
    std::vector<IndexPath> insertedRows_;
    std::vector<IndexPath> deletedRows_;
};

}  // namespace velmora

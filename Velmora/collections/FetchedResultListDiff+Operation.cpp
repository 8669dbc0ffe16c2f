// The diff operation, step by step (the comments below refer to these numbers):
//   1 take the old list's write locks when modifying, and log the start;
//   2 index the old and the new sections;
//   3 sections only the old list has (removed); 4 sections only the new one has (added);
//   5 for each common section: 5.1 its old and new index, 5.2 the section's state copy,
//     5.3 removed rows, 5.4 added rows, 5.5 updated rows, 5.6 whether it moved;
//   6 moved sections put in their new places; 7 the summary line; 8 the new list's
//     storage, time of fetch and metadata taken over; 9 an exception logged, ending it.
// Every "index of the first equal object" is answered by a hash table built once.
#include <algorithm>
#include <exception>
#include <optional>
#include <stdexcept>
#include <unordered_set>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Velmora/collections/FetchedItemExtraState.h"
#include "Velmora/collections/FetchedItemModificationDate.h"
#include "Velmora/collections/FetchedResultListDiff.h"
#include "Velmora/collections/internal/AbilityLookup.h"
#include "Velmora/collections/internal/ItemIndexTable.h"
#include "Velmora/collections/internal/OrderedWriteLocks.h"
#include "Velmora/collections/internal/RowEditing.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {
namespace {

// A list without a time of fetch is compared as the platform compares with a nil date:
// as its reference date, 2001-01-01 00:00:00 UTC. Deliberate, kept for compatibility.
constexpr double kReferenceDate1970 = 978307200.0;

const Array kNoItems;

class DiffOperation {
  public:
    DiffOperation(FetchedResultList& oldList, FetchedResultList& newList, bool findUpdatedRows,
                  bool modify, FetchedResultListDiff& diff)
        : oldList_(oldList),
          newList_(newList),
          findUpdatedRows_(findUpdatedRows),
          modify_(modify),
          diff_(diff) {}

    // False when the diff broke off past the change limit.
    bool run();

  private:
    bool removedSections();
    bool addedSections();
    bool commonSections();
    bool changedRows(std::size_t oldIndex, std::size_t newIndex);
    void updatedRowsOfEqualSection(Array* oldItems, const Array& newItems, std::size_t oldIndex,
                                   std::size_t newIndex);
    void moveSections();
    void takeOverNewState();

    // Adds count to the running change count; false (after the log line) past the limit.
    bool countChanges(std::size_t count, const char* breakOffLine);
    // The same for the items of a removed or added section, which also breaks off when
    // the section alone holds more than the limit.
    bool countSectionChanges(std::size_t count, const char* breakOffLine);
    // Whether item (whose Object is object, or nullptr) was modified after the old fetch;
    // throws when it has no modification date.
    bool isLaterThanFetch(const Value& item, Object* object);
    bool isLaterThanFetch(const Value& item) {
        return isLaterThanFetch(item, item.asObject().get());
    }
    void copyExtraState(const Value& fresh, const Value& old);
    const Array& newItemsAt(std::size_t section) const {
        const Array* items = FetchedResultList::itemsOfSection(*newItems_, section);
        return items != nullptr ? *items : kNoItems;
    }
    // New copies of the new list's item arrays and its sections at indexes.
    std::pair<Array, Array> newSectionsAt(const IndexSet& indexes) const;

    FetchedResultList& oldList_;
    FetchedResultList& newList_;
    const bool findUpdatedRows_;
    const bool modify_;
    FetchedResultListDiff& diff_;

    std::shared_ptr<NSMutableLockArray> oldSections_;
    std::shared_ptr<NSMutableLockArray> oldItems_;
    std::shared_ptr<NSMutableLockArray> newSections_;
    std::shared_ptr<NSMutableLockArray> newItems_;
    Array oldSectionsBefore_;  // when modifying, the old sections as they were
    ItemIndexTable oldSectionTable_;
    ItemIndexTable currentSectionTable_;  // the old list's sections as they now stand
    ItemIndexTable newSectionTable_;
    ItemIndexTable oldRowTable_;
    ItemIndexTable newRowTable_;
    AbilityLookup<FetchedItemExtraState> copiers_;
    AbilityLookup<FetchedItemModificationDate> dated_;
    double fetchTime_ = kReferenceDate1970;
    std::size_t changes_ = 0;
    // The size of the running all-items collection that the final log line reports: the
    // old count, less removed sections and rows, plus added sections and rows. A removed
    // row whose item also came in with an added section is not taken off (deliberate, so
    // the figure reads as it always has).
    std::ptrdiff_t runningItemCount_ = 0;
    std::unordered_set<Value, ValueHash> addedSectionItems_;
};

bool DiffOperation::countChanges(std::size_t count, const char* breakOffLine) {
    changes_ += count;
    if (changes_ > FetchedResultListDiff::kMaxChanges) {
        log::warning("{}", breakOffLine);
        return false;
    }
    return true;
}

bool DiffOperation::countSectionChanges(std::size_t count, const char* breakOffLine) {
    if (count > FetchedResultListDiff::kMaxChanges) {
        log::warning("{}", breakOffLine);
        return false;
    }
    return countChanges(count, breakOffLine);
}

bool DiffOperation::isLaterThanFetch(const Value& item, Object* object) {
    FetchedItemModificationDate* dated = object != nullptr ? dated_.of(*object) : nullptr;
    if (dated == nullptr) {
        throw std::invalid_argument(
            fmt::format("{} has no modificationDateStamp", item.description()));
    }
    const std::optional<Date> modified = dated->modificationDateStamp();
    return modified && modified->timeIntervalSince1970() - fetchTime_ > 0;
}

void DiffOperation::copyExtraState(const Value& fresh, const Value& old) {
    if (FetchedItemExtraState* copier = copiers_.of(fresh)) {
        copier->copyExtraStateInformationFromFetchedItem(old);
    }
}

std::pair<Array, Array> DiffOperation::newSectionsAt(const IndexSet& indexes) const {
    std::pair<Array, Array> itemsAndSections;
    for (const std::size_t index : indexes) {
        itemsAndSections.first.push_back(Value(newItemsAt(index)));
        itemsAndSections.second.push_back(newSections_->objectAtIndex(index));
    }
    return itemsAndSections;
}

bool DiffOperation::run() {
    oldItems_ = oldList_.allFetchedSectionItems();
    oldSections_ = oldList_.allFetchedSections();
    const auto oldStorage = oldList_.extraFetchedStorage();
    newItems_ = newList_.allFetchedSectionItems();
    newSections_ = newList_.allFetchedSections();
    std::optional<OrderedWriteLocks> locks;
    if (modify_) {
        locks.emplace(oldItems_.get(), oldSections_.get(), oldStorage.get());
    }
    if (const std::optional<Date> fetched = oldList_.timeOfFetch()) {
        fetchTime_ = fetched->timeIntervalSince1970();
    }
    runningItemCount_ = static_cast<std::ptrdiff_t>(oldList_.allFetchedItemsCount());
    log::debug("\n\n\n[getFetchedResultListDiff] Will findUpdatedRows? {}",
               static_cast<int>(findUpdatedRows_));
    log::debug("\n[getListDiffFrom] Performing diff. All Fetched Items Count: {}",
               runningItemCount_);

    // Steps 3 and 4 edit the old sections in place; they are matched as they were.
    if (modify_) {
        oldSectionsBefore_ = oldSections_->createArrayCopy();
    }
    oldSectionTable_.build(modify_ ? oldSectionsBefore_ : oldSections_->arrayReadonly());
    newSectionTable_.build(newSections_->arrayReadonly());
    if (!removedSections() || !addedSections() || !commonSections()) {
        return false;
    }
    if (modify_ && !diff_.updateAndInsertSection().empty()) {
        moveSections();
    }
    log::debug(
        "[LIST DIFF]\n\nAdded Sections: {}\n\nRemoved Sections:{}\n\nAdded Rows:{}\n\nRemoved "
        "Rows:{}\n\n",
        diff_.insertedSections().count(), diff_.deletedSections().count(),
        diff_.insertedRows().size(), diff_.deletedRows().size());
    if (modify_) {
        takeOverNewState();
    }
    return true;
}

// Step 3: sections of the old list that the new one lacks.
bool DiffOperation::removedSections() {
    log::debug("[getListDiffFrom] [1] Get List of Removed Sections...");
    const Array& sections = oldSections_->arrayReadonly();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        if (!oldSectionTable_.isFirstOccurrence(i) ||
            newSectionTable_.find(sections[i], oldSectionTable_.hashAt(i)) != NotFound) {
            continue;
        }
        const Array* items = FetchedResultList::itemsOfSection(*oldItems_, i);
        const std::size_t count = items != nullptr ? items->size() : 0;
        if (!countSectionChanges(count, "BREAKING OFF, max deletions reached")) {
            return false;
        }
        diff_.deletedSections().add(i);
        log::verbose("[getListDiffFrom] Removed section: {}, index: {}", sections[i].description(),
                     i);
        runningItemCount_ -= static_cast<std::ptrdiff_t>(count);
    }
    if (modify_ && !diff_.deletedSections().empty()) {
        log::debug("[getListDiffFrom MOD] Finally removing sections in one go: {}",
                   describeIndexSet(diff_.deletedSections()));
        oldItems_->removeObjectsAtIndexes(diff_.deletedSections());
        oldSections_->removeObjectsAtIndexes(diff_.deletedSections());
    }
    return true;
}

// Step 4: sections of the new list that the old one lacked.
bool DiffOperation::addedSections() {
    log::debug("[getListDiffFrom] [2] Get List of Added Sections...");
    const Array& sections = newSections_->arrayReadonly();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        if (!newSectionTable_.isFirstOccurrence(i) ||
            oldSectionTable_.find(sections[i], newSectionTable_.hashAt(i)) != NotFound) {
            continue;
        }
        const Array& items = newItemsAt(i);
        if (!countSectionChanges(items.size(), "BREAKING OFF, max insertions reached")) {
            return false;
        }
        diff_.insertedSections().add(i);
        log::verbose("[getListDiffFrom] Added new section: {}, index: {}",
                     sections[i].description(), i);
        runningItemCount_ += static_cast<std::ptrdiff_t>(items.size());
        if (modify_) {
            addedSectionItems_.insert(items.begin(), items.end());
        }
    }
    if (modify_ && !diff_.insertedSections().empty()) {
        auto [items, sectionObjects] = newSectionsAt(diff_.insertedSections());
        oldItems_->insertObjects(items, diff_.insertedSections());
        oldSections_->insertObjects(sectionObjects, diff_.insertedSections());
    }
    return true;
}

// Step 5: the sections both lists hold, in the new list's order.
bool DiffOperation::commonSections() {
    const Array& sections = newSections_->arrayReadonly();
    std::vector<std::size_t> common;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        if (newSectionTable_.isFirstOccurrence(i) &&
            oldSectionTable_.find(sections[i], newSectionTable_.hashAt(i)) != NotFound) {
            common.push_back(i);
        }
    }
    log::debug(
        "[getListDiffFrom] [3] Found {} sections that still exist in new result, will look for "
        "changed rows now...",
        common.size());
    // The old indexes are those of the old list as it now stands.
    const bool edited =
        modify_ && (!diff_.deletedSections().empty() || !diff_.insertedSections().empty());
    if (edited) {
        currentSectionTable_.build(oldSections_->arrayReadonly());
    }
    const ItemIndexTable& oldSections = edited ? currentSectionTable_ : oldSectionTable_;
    for (const std::size_t newIndex : common) {
        const std::size_t oldIndex =
            oldSections.find(sections[newIndex], newSectionTable_.hashAt(newIndex));
        if (oldIndex == NotFound) {
            continue;
        }
        copyExtraState(sections[newIndex], oldSections_->arrayReadonly()[oldIndex]);
        if (!changedRows(oldIndex, newIndex)) {
            return false;
        }
        if (oldIndex != newIndex) {
            diff_.updateAndDeleteSection().add(oldIndex);
            diff_.updateAndInsertSection().add(newIndex);
        }
    }
    return true;
}

// Steps 5.3 to 5.5 for one common section.
bool DiffOperation::changedRows(std::size_t oldIndex, std::size_t newIndex) {
    Array* oldItems = FetchedResultList::itemsOfSection(*oldItems_, oldIndex);
    const Array& before = oldItems != nullptr ? *oldItems : kNoItems;
    const Array& after = newItemsAt(newIndex);
    if (before.size() == after.size() &&
        std::equal(before.begin(), before.end(), after.begin(),
                   [](const Value& a, const Value& b) { return a.isEqual(b); })) {
        if (findUpdatedRows_) {
            updatedRowsOfEqualSection(oldItems, after, oldIndex, newIndex);
        }
        return true;
    }

    oldRowTable_.build(before);
    newRowTable_.build(after);
    std::vector<std::size_t> removed;
    for (std::size_t row = 0; row < before.size(); ++row) {
        if (oldRowTable_.isFirstOccurrence(row) &&
            newRowTable_.find(before[row], oldRowTable_.hashAt(row)) == NotFound) {
            removed.push_back(row);
        }
    }
    std::vector<std::pair<std::size_t, Value>> added;
    for (std::size_t row = 0; row < after.size(); ++row) {
        if (newRowTable_.isFirstOccurrence(row) &&
            oldRowTable_.find(after[row], newRowTable_.hashAt(row)) == NotFound) {
            added.emplace_back(row, after[row]);
        }
    }
    // The old rows as they were, for step 5.5, once steps 5.3 and 5.4 have edited them.
    Array original;
    const bool editsRows = modify_ && oldItems != nullptr && (!removed.empty() || !added.empty());
    if (editsRows && findUpdatedRows_) {
        original = before;
        oldRowTable_.rebind(original);
    }
    const Array& oldRows = editsRows && findUpdatedRows_ ? original : before;

    if (!removed.empty()) {
        if (!countChanges(removed.size(), "BREAKING OFF, max row deletions reached")) {
            return false;
        }
        for (const std::size_t row : removed) {
            diff_.deletedRows().push_back({row, oldIndex});
            if (modify_ && !addedSectionItems_.contains(oldRows[row])) {
                --runningItemCount_;
            }
        }
        if (editsRows) {
            eraseRows(*oldItems, removed);
        }
    }
    if (!added.empty()) {
        if (!countChanges(added.size(), "BREAKING OFF, max row insertions reached")) {
            return false;
        }
        for (const auto& [row, item] : added) {
            diff_.insertedRows().push_back({row, newIndex});
        }
        runningItemCount_ += static_cast<std::ptrdiff_t>(added.size());
        if (editsRows) {
            insertRows(*oldItems, added);
        }
    }
    if (!findUpdatedRows_) {
        return true;
    }

    // Step 5.5. A changed position alone counts only in a pure reorder.
    const bool pureReorder = removed.empty() && added.empty();
    std::vector<std::pair<std::size_t, std::size_t>> updated;  // (old row, new row)
    for (std::size_t row = 0; row < after.size(); ++row) {
        if (!newRowTable_.isFirstOccurrence(row)) {
            continue;
        }
        const std::size_t oldRow = oldRowTable_.find(after[row], newRowTable_.hashAt(row));
        if (oldRow == NotFound) {
            continue;
        }
        copyExtraState(after[row], oldRows[oldRow]);
        if ((pureReorder && oldRow != row) || isLaterThanFetch(after[row])) {
            diff_.deletedRows().push_back({oldRow, oldIndex});
            diff_.insertedRows().push_back({row, newIndex});
            updated.emplace_back(oldRow, row);
        }
    }
    if (!modify_ || oldItems == nullptr || updated.empty()) {
        return true;
    }
    // Where each updated row stands after steps 5.3 and 5.4: minus the removed rows
    // before it, then pushed on by every inserted row at or before it.
    std::vector<std::size_t> current;
    std::vector<std::pair<std::size_t, Value>> versions;
    for (const auto& [oldRow, newRow] : updated) {
        std::size_t position =
            oldRow -
            static_cast<std::size_t>(std::lower_bound(removed.begin(), removed.end(), oldRow) -
                                     removed.begin());
        for (const auto& insertion : added) {
            if (insertion.first > position) {
                break;
            }
            ++position;
        }
        current.push_back(position);
        versions.emplace_back(newRow, after[newRow]);
    }
    std::sort(current.begin(), current.end());
    current.erase(std::unique(current.begin(), current.end()), current.end());
    eraseRows(*oldItems, current);
    insertRows(*oldItems, versions);
    return true;
}

// Step 5.5 for a section whose items are equal, row for row: no row moved, so only the
// dates count. The first-occurrence table is built only when some row needs it.
void DiffOperation::updatedRowsOfEqualSection(Array* oldItems, const Array& newItems,
                                              std::size_t oldIndex, std::size_t newIndex) {
    // Without state copying the dates can be read at once, one look at each object; a
    // copier could change what its date says, so then each is read after its copy.
    bool anyCopier = false;
    std::vector<std::size_t> candidates;
    for (std::size_t row = 0; row < newItems.size() && !anyCopier; ++row) {
        const ObjectRef object = newItems[row].asObject();
        anyCopier = object && copiers_.of(*object) != nullptr;
        if (!anyCopier && isLaterThanFetch(newItems[row], object.get())) {
            candidates.push_back(row);
        }
    }
    if (anyCopier) {
        candidates.resize(newItems.size());
        for (std::size_t row = 0; row < candidates.size(); ++row) {
            candidates[row] = row;
        }
    }
    if (candidates.empty()) {
        return;
    }
    newRowTable_.build(newItems);
    const Array& oldRows = oldItems != nullptr ? *oldItems : kNoItems;
    for (const std::size_t row : candidates) {
        if (!newRowTable_.isFirstOccurrence(row)) {
            continue;
        }
        if (anyCopier) {
            copyExtraState(newItems[row], oldRows[row]);
            if (!isLaterThanFetch(newItems[row])) {
                continue;
            }
        }
        diff_.deletedRows().push_back({row, oldIndex});
        diff_.insertedRows().push_back({row, newIndex});
        if (modify_ && oldItems != nullptr) {
            (*oldItems)[row] = newItems[row];
        }
    }
}

// Step 6: moved sections leave their old places and take the new list's versions at
// their new places.
void DiffOperation::moveSections() {
    oldItems_->removeObjectsAtIndexes(diff_.updateAndDeleteSection());
    oldSections_->removeObjectsAtIndexes(diff_.updateAndDeleteSection());
    auto [items, sectionObjects] = newSectionsAt(diff_.updateAndInsertSection());
    oldItems_->insertObjects(items, diff_.updateAndInsertSection());
    oldSections_->insertObjects(sectionObjects, diff_.updateAndInsertSection());
}

// Step 8: the old list takes over the new one's storage, time of fetch and metadata.
void DiffOperation::takeOverNewState() {
    const Array storage = newList_.extraFetchedStorage()->createArrayCopy();
    const auto oldStorage = oldList_.extraFetchedStorage();
    oldStorage->removeAllObjects();
    oldStorage->addObjectsFromArray(storage);
    oldList_.setTimeOfFetch(newList_.timeOfFetch());
    oldList_.setExtraFetchedMetaData(newList_.extraFetchedMetaData().copy());
    log::debug("[getListDiffFrom] All Items Final Count: {}", runningItemCount_);
}

}  // namespace

std::shared_ptr<FetchedResultListDiff> FetchedResultListDiff::getFetchedResultDiffWithOldResult(
    const std::shared_ptr<FetchedResultList>& oldResult,
    const std::shared_ptr<FetchedResultList>& newResult, bool findUpdatedRows,
    bool modifyOldResult) {
    if (!oldResult || !newResult) {
        return nullptr;
    }
    auto diff = std::make_shared<FetchedResultListDiff>();
    try {
        DiffOperation operation(*oldResult, *newResult, findUpdatedRows, modifyOldResult, *diff);
        if (!operation.run()) {
            return nullptr;
        }
    } catch (const std::exception& error) {
        log::error("[getListDiffFrom] error creating diff: {}", error.what());
        return nullptr;
    } catch (...) {
        log::error("[getListDiffFrom] error creating diff: {}", "unknown exception");
        return nullptr;
    }
    return diff;
}

}  // namespace velmora

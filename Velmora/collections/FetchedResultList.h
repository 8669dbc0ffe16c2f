#pragma once
// FetchedResultList: a sectioned result set. An ordered list of section objects and,
// index for index, the items of each section; a flattened, cached view of all items; the
// time the result was fetched; and two free slots for the app (a metadata dictionary and
// an extra storage array). Lists are archived as keyed archives, copied when a result must
// be kept while a new one is fetched, and compared by FetchedResultListDiff.
//
// Shape: allFetchedSections() holds the sections; element i of allFetchedSectionItems()
// is an array Value holding the items of section i (callers keep the two the same length;
// readers here tolerate a mismatch). Sections and items are compared by Value equality.
// Every array is made empty on first access.
//
// The flattened cache: the list is the modification delegate of its sections array, so
// any change made there through NSMutableLockArray drops the cache. That link is made
// when the items array is first created, on whatever sections array exists then (so a set
// or decoded sections array has none). Changes to the items array, or to a section's item
// array in place, do NOT drop it: callers that change items call
// clearAllFetchedItemsCache(). This asymmetry is deliberate and kept.
//
// Thread safety: one class-wide mutex guards building and dropping the cache and the
// creation and replacement of the arrays, so those may happen on any thread. Everything
// else reads the arrays without their locks: a list that is being changed on one thread
// must not be read on another. Lists must be owned by shared_ptr (use create()): the
// delegate link is a weak reference to the list.
//
//   auto list = FetchedResultList::initWithSectionedItems(
//       {Array{"Today", Array{Array{"milk", "eggs"}}}, Array{"Later", Array{Array{"tax"}}}});
//   Value all = list->allFetchedItems();  // ("milk", "eggs", "tax")

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Velmora/collections/NSMutableLockArray.h"
#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Object.h"
#include "Velmora/platform/foundation/Value.h"
#include "Velmora/platform/storage/Coding.h"

namespace velmora {

class KeyedArchiver;
class KeyedUnarchiver;

class FetchedResultList : public Object,
                          public Coding,
                          public NSMutableLockArrayModified,
                          public std::enable_shared_from_this<FetchedResultList> {
    struct Passkey {};

  public:
    // The archive's class name and the five keys of an archived list.
    static constexpr const char* kClassName = "FetchedResultList";
    static constexpr const char* kSectionsKey = "allFetchedSections";
    static constexpr const char* kSectionItemsKey = "allFetchedSectionItems";
    static constexpr const char* kStorageKey = "extraFetchedStorage";
    static constexpr const char* kMetaDataKey = "extraFetchedMetaData";
    static constexpr const char* kTimeOfFetchKey = "timeOfFetch";

    // An empty list. Also registers the class for decoding (see registerCoding).
    static std::shared_ptr<FetchedResultList> create();
    // For each element p of sectionedItems (an array Value): p[0] is appended to the
    // sections and the elements of p[1] (not p[1] itself) to the items, so p[1] is an
    // array whose elements are item arrays. Elements of another shape are skipped.
    static std::shared_ptr<FetchedResultList> initWithSectionedItems(const Array& sectionedItems);

    explicit FetchedResultList(Passkey) {}
    ~FetchedResultList() override;
    FetchedResultList(const FetchedResultList&) = delete;
    FetchedResultList& operator=(const FetchedResultList&) = delete;

    // --- The arrays, each made empty on first access ---------------------------------
    std::shared_ptr<NSMutableLockArray> allFetchedSections();
    // Creating it links the list, as delegate, to the sections array that exists then.
    std::shared_ptr<NSMutableLockArray> allFetchedSectionItems();
    std::shared_ptr<NSMutableLockArray> extraFetchedStorage();
    // A dictionary Value, shared with the list: entries set through it land in the list.
    Value extraFetchedMetaData();

    // Plain setters: no delegate link is made. A nullptr (a nil dictionary) makes the next
    // access create an empty one.
    void setAllFetchedSections(std::shared_ptr<NSMutableLockArray> sections);
    void setAllFetchedSectionItems(std::shared_ptr<NSMutableLockArray> sectionItems);
    void setExtraFetchedStorage(std::shared_ptr<NSMutableLockArray> storage);
    void setExtraFetchedMetaData(Value metaData);
    std::optional<Date> timeOfFetch() const;
    void setTimeOfFetch(std::optional<Date> date);

    // --- Items across sections --------------------------------------------------------
    // The items of every section, section by section, as an array Value that is the
    // cache itself (built under the class lock when absent).
    Value allFetchedItems();
    // The same flattening into a new array; the cache is left alone.
    Array allFetchedItemsUncached();
    std::size_t allFetchedItemsCount();
    void clearAllFetchedItemsCache();
    // The section of the first section (in order) whose items hold an object equal to
    // item; nil for nil or when none does.
    Value getSectionForItem(const Value& item);

    // The items of section i: the array inside element i of sectionItems, or nullptr when
    // there is none (out of range, or not an array).
    static Array* itemsOfSection(const NSMutableLockArray& sectionItems, std::size_t section);

    // --- Copying and archiving --------------------------------------------------------
    // Sections shared (shallow); per-section item arrays new, holding the same items;
    // storage holding the same objects; the same time of fetch; a mutable copy of the
    // metadata. The copy's sections array is made before its items array, so the copy has
    // the delegate link.
    std::shared_ptr<FetchedResultList> copy();

    // Writes the five keys, reading the arrays without their locks. The metadata is
    // written but never read back.
    void encodeWithCoder(KeyedArchiver& coder) const override;
    // The decoder registered for kClassName: arrays appended into new lists, installed
    // without the delegate link; the metadata starts empty.
    static ObjectRef initWithCoder(KeyedUnarchiver& coder);
    static constexpr bool supportsSecureCoding() { return true; }
    // Registers initWithCoder under kClassName (idempotent, any thread). create() calls it;
    // a program that only decodes through KeyedUnarchiver calls it first.
    static void registerCoding();

    // The list as a keyed archive; nothing (and error) when a section or item cannot be
    // archived.
    [[nodiscard]] std::optional<Bytes> archivedData(std::string* error = nullptr);
    // The list in bytes, accepting kClassName, arrays, dictionaries and dates plus the
    // classes of the sections and items the caller names ("NSString", "Task", ...).
    [[nodiscard]] static std::shared_ptr<FetchedResultList> unarchivedList(
        std::span<const std::uint8_t> bytes, const std::vector<std::string>& itemClasses,
        std::string* error = nullptr);

    std::string className() const override { return kClassName; }
    std::string description() const override;

    // NSMutableLockArrayModified: drops the flattened cache.
    void lockedArrayModified() override;

  private:
    // The field, made empty (and, for the items, linked) when absent. REQUIRES: the class
    // lock is held.
    std::shared_ptr<NSMutableLockArray>& sectionsLocked();
    std::shared_ptr<NSMutableLockArray>& sectionItemsLocked();
    std::shared_ptr<NSMutableLockArray>& storageLocked();

    Value allItemsCache_;         // an array, or nil when dropped
    Value extraFetchedMetaData_;  // a dictionary, or nil until first access
    std::optional<Date> timeOfFetch_;
    std::shared_ptr<NSMutableLockArray> allFetchedSections_;
    std::shared_ptr<NSMutableLockArray> allFetchedSectionItems_;
    std::shared_ptr<NSMutableLockArray> extraFetchedStorage_;
};

}  // namespace velmora

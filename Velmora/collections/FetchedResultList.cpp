#include "Velmora/collections/FetchedResultList.h"

#include <mutex>
#include <utility>

#include <fmt/format.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/KeyedUnarchiver.h"

namespace velmora {
namespace {

// The one lock of the class: building and dropping the cache, creating and replacing the
// arrays. It is a leaf: nothing else is locked while it is held (lockedArrayModified may
// arrive with a sections array's write lock held, never the other way round).
std::mutex& classLock() {
    static NoDestructor<std::mutex> lock;
    return *lock;
}

std::shared_ptr<NSMutableLockArray> makeArray() {
    return std::make_shared<NSMutableLockArray>();
}

void appendItems(const NSMutableLockArray& sectionItems, Array& into) {
    for (std::size_t i = 0; i < sectionItems.count(); ++i) {
        if (const Array* items = FetchedResultList::itemsOfSection(sectionItems, i)) {
            into.insert(into.end(), items->begin(), items->end());
        }
    }
}

// A decoded array key: nil stays empty, an array is appended, anything else fails.
std::shared_ptr<NSMutableLockArray> decodeArray(KeyedUnarchiver& coder, const char* key) {
    auto array = makeArray();
    const Value value = coder.decodeObject(key, {"NSArray"});
    if (value.isArray()) {
        array->addObjectsFromArray(*value.asArray());
    } else if (!value.isNil()) {
        coder.failWithError(
            fmt::format("{} of a {} is not an array", key, FetchedResultList::kClassName));
    }
    return array;
}

}  // namespace

FetchedResultList::~FetchedResultList() = default;

std::shared_ptr<FetchedResultList> FetchedResultList::create() {
    registerCoding();
    return std::make_shared<FetchedResultList>(Passkey{});
}

std::shared_ptr<FetchedResultList> FetchedResultList::initWithSectionedItems(
    const Array& sectionedItems) {
    auto list = create();
    const auto sections = list->allFetchedSections();
    const auto sectionItems = list->allFetchedSectionItems();
    for (const Value& pair : sectionedItems) {
        const Array* members = pair.asArray();
        if (members == nullptr || members->size() < 2 || !(*members)[1].isArray()) {
            continue;
        }
        sections->addObject((*members)[0]);
        sectionItems->addObjectsFromArray(*(*members)[1].asArray());
    }
    return list;
}

// --- The arrays ------------------------------------------------------------------------

std::shared_ptr<NSMutableLockArray>& FetchedResultList::sectionsLocked() {
    if (!allFetchedSections_) {
        allFetchedSections_ = makeArray();
    }
    return allFetchedSections_;
}

std::shared_ptr<NSMutableLockArray>& FetchedResultList::sectionItemsLocked() {
    if (!allFetchedSectionItems_) {
        allFetchedSectionItems_ = makeArray();
        sectionsLocked()->setModificationDelegate(weak_from_this());
    }
    return allFetchedSectionItems_;
}

std::shared_ptr<NSMutableLockArray>& FetchedResultList::storageLocked() {
    if (!extraFetchedStorage_) {
        extraFetchedStorage_ = makeArray();
    }
    return extraFetchedStorage_;
}

std::shared_ptr<NSMutableLockArray> FetchedResultList::allFetchedSections() {
    std::lock_guard lock(classLock());
    return sectionsLocked();
}

std::shared_ptr<NSMutableLockArray> FetchedResultList::allFetchedSectionItems() {
    std::lock_guard lock(classLock());
    return sectionItemsLocked();
}

std::shared_ptr<NSMutableLockArray> FetchedResultList::extraFetchedStorage() {
    std::lock_guard lock(classLock());
    return storageLocked();
}

Value FetchedResultList::extraFetchedMetaData() {
    std::lock_guard lock(classLock());
    if (!extraFetchedMetaData_.isDictionary()) {
        extraFetchedMetaData_ = Value::makeDictionary();
    }
    return extraFetchedMetaData_;
}

void FetchedResultList::setAllFetchedSections(std::shared_ptr<NSMutableLockArray> sections) {
    std::lock_guard lock(classLock());
    allFetchedSections_ = std::move(sections);
}

void FetchedResultList::setAllFetchedSectionItems(
    std::shared_ptr<NSMutableLockArray> sectionItems) {
    std::lock_guard lock(classLock());
    allFetchedSectionItems_ = std::move(sectionItems);
}

void FetchedResultList::setExtraFetchedStorage(std::shared_ptr<NSMutableLockArray> storage) {
    std::lock_guard lock(classLock());
    extraFetchedStorage_ = std::move(storage);
}

void FetchedResultList::setExtraFetchedMetaData(Value metaData) {
    std::lock_guard lock(classLock());
    extraFetchedMetaData_ = metaData.isDictionary() ? std::move(metaData) : Value();
}

std::optional<Date> FetchedResultList::timeOfFetch() const {
    std::lock_guard lock(classLock());
    return timeOfFetch_;
}

void FetchedResultList::setTimeOfFetch(std::optional<Date> date) {
    std::lock_guard lock(classLock());
    timeOfFetch_ = date;
}

Array* FetchedResultList::itemsOfSection(const NSMutableLockArray& sectionItems,
                                         std::size_t section) {
    if (section >= sectionItems.count()) {
        return nullptr;
    }
    return sectionItems.arrayReadonly()[section].asArray();
}

// --- Items across sections -------------------------------------------------------------

Value FetchedResultList::allFetchedItems() {
    std::lock_guard lock(classLock());
    if (allItemsCache_.isArray()) {
        return allItemsCache_;
    }
    Value cache = Value::makeArray();
    appendItems(*sectionItemsLocked(), *cache.asArray());
    allItemsCache_ = cache;
    return cache;
}

Array FetchedResultList::allFetchedItemsUncached() {
    Array items;
    appendItems(*allFetchedSectionItems(), items);
    return items;
}

std::size_t FetchedResultList::allFetchedItemsCount() {
    const auto sectionItems = allFetchedSectionItems();
    std::size_t count = 0;
    for (std::size_t i = 0; i < sectionItems->count(); ++i) {
        if (const Array* items = itemsOfSection(*sectionItems, i)) {
            count += items->size();
        }
    }
    return count;
}

void FetchedResultList::clearAllFetchedItemsCache() {
    std::lock_guard lock(classLock());
    allItemsCache_ = Value();
}

void FetchedResultList::lockedArrayModified() {
    clearAllFetchedItemsCache();
}

Value FetchedResultList::getSectionForItem(const Value& item) {
    if (item.isNil()) {
        return Value();
    }
    const auto sectionItems = allFetchedSectionItems();
    for (std::size_t i = 0; i < sectionItems->count(); ++i) {
        const Array* items = itemsOfSection(*sectionItems, i);
        if (items == nullptr) {
            continue;
        }
        for (const Value& candidate : *items) {
            if (candidate.isEqual(item)) {
                return allFetchedSections()->objectAtIndex(i);
            }
        }
    }
    return Value();
}

// --- Copying and archiving -------------------------------------------------------------

std::shared_ptr<FetchedResultList> FetchedResultList::copy() {
    auto copy = create();
    copy->allFetchedSections()->addObjectsFromArray(*allFetchedSections());
    const auto sourceItems = allFetchedSectionItems();
    const auto copyItems = copy->allFetchedSectionItems();
    for (const Value& items : sourceItems->arrayReadonly()) {
        copyItems->addObject(items.copy());
    }
    copy->extraFetchedStorage()->addObjectsFromArray(*extraFetchedStorage());
    copy->setTimeOfFetch(timeOfFetch());
    copy->setExtraFetchedMetaData(extraFetchedMetaData().copy());
    return copy;
}

void FetchedResultList::encodeWithCoder(KeyedArchiver& coder) const {
    std::shared_ptr<NSMutableLockArray> sections;
    std::shared_ptr<NSMutableLockArray> sectionItems;
    std::shared_ptr<NSMutableLockArray> storage;
    Value metaData;
    std::optional<Date> fetched;
    {
        std::lock_guard lock(classLock());
        sections = allFetchedSections_;
        sectionItems = allFetchedSectionItems_;
        storage = extraFetchedStorage_;
        metaData = extraFetchedMetaData_;
        fetched = timeOfFetch_;
    }
    const auto inner = [](const std::shared_ptr<NSMutableLockArray>& array) {
        return array ? Value(array->arrayReadonly()) : Value::makeArray();
    };
    // The archiver knows shared values by their address: the values written here are kept
    // alive together, so that none of them takes the freed address of another.
    const Value values[] = {inner(sections), inner(sectionItems), inner(storage),
                            metaData.isDictionary() ? metaData : Value::makeDictionary(),
                            fetched ? Value(*fetched) : Value()};
    const char* const keys[] = {kSectionsKey, kSectionItemsKey, kStorageKey, kMetaDataKey,
                                kTimeOfFetchKey};
    for (std::size_t i = 0; i < std::size(values); ++i) {
        coder.encodeObject(values[i], keys[i]);
    }
}

ObjectRef FetchedResultList::initWithCoder(KeyedUnarchiver& coder) {
    auto list = std::make_shared<FetchedResultList>(Passkey{});
    list->allFetchedSections_ = decodeArray(coder, kSectionsKey);
    list->allFetchedSectionItems_ = decodeArray(coder, kSectionItemsKey);
    list->extraFetchedStorage_ = decodeArray(coder, kStorageKey);
    for (const Value& items : list->allFetchedSectionItems_->arrayReadonly()) {
        if (!items.isArray()) {
            coder.failWithError(
                fmt::format("{} of a {} holds a non-array", kSectionItemsKey, kClassName));
            break;
        }
    }
    const Value fetched = coder.decodeObject(kTimeOfFetchKey, {"NSDate"});
    if (fetched.isDate()) {
        list->timeOfFetch_ = fetched.asDate();
    } else if (!fetched.isNil()) {
        coder.failWithError(fmt::format("{} of a {} is not a date", kTimeOfFetchKey, kClassName));
    }
    return coder.hasFailed() ? nullptr : list;
}

void FetchedResultList::registerCoding() {
    static std::once_flag once;
    std::call_once(once, [] { CodingRegistry::registerClass(kClassName, initWithCoder); });
}

std::optional<Bytes> FetchedResultList::archivedData(std::string* error) {
    return KeyedArchiver::archivedData(Value(shared_from_this()), error);
}

std::shared_ptr<FetchedResultList> FetchedResultList::unarchivedList(
    std::span<const std::uint8_t> bytes, const std::vector<std::string>& itemClasses,
    std::string* error) {
    registerCoding();
    KeyedUnarchiver::ClassNames classes = {kClassName, "NSArray", "NSDictionary", "NSDate"};
    classes.insert(classes.end(), itemClasses.begin(), itemClasses.end());
    const std::optional<Value> root = KeyedUnarchiver::unarchivedObject(classes, bytes, error);
    if (!root) {
        return nullptr;
    }
    auto list = root->asObject<FetchedResultList>();
    if (!list && error != nullptr) {
        *error = fmt::format("the archive's root is not a {}", kClassName);
    }
    return list;
}

std::string FetchedResultList::description() const {
    std::lock_guard lock(classLock());
    return fmt::format("<{}: {} sections>", kClassName,
                       allFetchedSections_ ? allFetchedSections_->count() : 0);
}

}  // namespace velmora

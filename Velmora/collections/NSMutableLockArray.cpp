#include "Velmora/collections/NSMutableLockArray.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Velmora/platform/foundation/KeyValueCoding.h"
#include "Velmora/platform/foundation/ValueSorting.h"

namespace velmora {
namespace {

// Capacities above this are not reserved up front; the array grows as usual.
constexpr std::size_t kMaxReservedCapacity = std::size_t{1} << 16;

void performOnEach(const Array& array, Selector selector, std::span<const Value> arguments) {
    // By index, on a copy of each element: a misbehaving target that changes the array
    // cannot invalidate the loop.
    for (std::size_t i = 0; i < array.size(); ++i) {
        const ObjectRef object = array[i].asObject();
        if (auto* target = dynamic_cast<SelectorTarget*>(object.get());
            target != nullptr && target->respondsToSelector(selector)) {
            target->performSelector(selector, arguments);
        }
    }
}

}  // namespace

// --- Construction ----------------------------------------------------------------------

NSMutableLockArray::NSMutableLockArray(std::size_t capacity) {
    array_.reserve(std::min(capacity, kMaxReservedCapacity));
}

NSMutableLockArray::NSMutableLockArray(const Array& array) : NSMutableLockArray() {
    addObjectsFromArray(array);
}

std::shared_ptr<NSMutableLockArray> NSMutableLockArray::arrayWithCapacity(std::size_t capacity) {
    try {
        return std::make_shared<NSMutableLockArray>(capacity);
    } catch (const std::exception&) {
        return nullptr;  // no lock could be made
    }
}

NSMutableLockArray::~NSMutableLockArray() = default;

std::string NSMutableLockArray::description() const {
    return fmt::format("<NSMutableLockArray: {}>", Value(array_).description());
}

void NSMutableLockArray::informDelegate() const {
    if (const auto delegate = delegate_.lock()) {
        delegate->lockedArrayModified();
    }
}

const Array* NSMutableLockArray::sourceArray(const Value& objects) {
    if (const Array* array = objects.asArray()) {
        return array;
    }
    if (const auto other = objects.asObject<NSMutableLockArray>()) {
        return &other->array_;  // kept alive by objects
    }
    return nullptr;
}

// --- Reading ---------------------------------------------------------------------------

std::size_t NSMutableLockArray::lockCount() const {
    ReadLock lock(*this);
    return count();
}

Array NSMutableLockArray::lockCreateArrayCopy() const {
    ReadLock lock(*this);
    return createArrayCopy();
}

Value NSMutableLockArray::firstObject() const {
    return array_.empty() ? Value() : array_.front();
}

Value NSMutableLockArray::lockFirstObject() const {
    ReadLock lock(*this);
    return firstObject();
}

Value NSMutableLockArray::lastObject() const {
    return array_.empty() ? Value() : array_.back();
}

Value NSMutableLockArray::lockLastObject() const {
    WriteLock lock(*this);
    return lastObject();
}

Value NSMutableLockArray::objectAtIndex(std::size_t index) const {
    return index < array_.size() ? array_[index] : Value();
}

Value NSMutableLockArray::lockObjectAtIndex(std::size_t index) const {
    ReadLock lock(*this);
    return objectAtIndex(index);
}

std::optional<Array> NSMutableLockArray::objectsAtIndexes(const IndexSet& indexes) const {
    if (indexes.empty() || indexes.lastIndex() >= array_.size()) {
        return std::nullopt;
    }
    Array objects;
    objects.reserve(indexes.count());
    for (const std::size_t index : indexes) {
        objects.push_back(array_[index]);
    }
    return objects;
}

std::optional<Array> NSMutableLockArray::lockObjectsAtIndexes(const IndexSet& indexes) const {
    if (indexes.empty()) {
        return std::nullopt;
    }
    ReadLock lock(*this);
    return objectsAtIndexes(indexes);
}

std::optional<Array> NSMutableLockArray::filteredArrayUsingPredicate(
    const Predicate& predicate) const {
    if (array_.empty() || !predicate) {
        return std::nullopt;
    }
    Array accepted;
    std::copy_if(array_.begin(), array_.end(), std::back_inserter(accepted), predicate);
    return accepted;
}

std::optional<Array> NSMutableLockArray::lockFilteredArrayUsingPredicate(
    const Predicate& predicate) const {
    if (!predicate) {
        return std::nullopt;
    }
    ReadLock lock(*this);
    return filteredArrayUsingPredicate(predicate);
}

bool NSMutableLockArray::containsObject(const Value& object) const {
    return !object.isNil() && getIndexOfObject(object) != NotFound;
}

bool NSMutableLockArray::lockContainsObject(const Value& object) const {
    if (object.isNil()) {
        return false;
    }
    ReadLock lock(*this);
    return containsObject(object);
}

std::size_t NSMutableLockArray::indexOfObject(const Value& object) const {
    return object.isNil() ? NotFound : getIndexOfObject(object);
}

std::size_t NSMutableLockArray::lockIndexOfObject(const Value& object) const {
    if (object.isNil()) {
        return NotFound;
    }
    ReadLock lock(*this);
    return indexOfObject(object);
}

std::size_t NSMutableLockArray::getIndexOfObject(const Value& object) const {
    const auto found = std::find_if(array_.begin(), array_.end(),
                                    [&](const Value& element) { return element.isEqual(object); });
    return found == array_.end() ? NotFound : static_cast<std::size_t>(found - array_.begin());
}

bool NSMutableLockArray::containsIdenticalPtr(const Value& object) const {
    return indexOfIdenticalPtr(object) != NotFound;
}

bool NSMutableLockArray::lockContainsIdenticalPtr(const Value& object) const {
    if (object.isNil()) {
        return false;
    }
    ReadLock lock(*this);
    return containsIdenticalPtr(object);
}

std::size_t NSMutableLockArray::indexOfIdenticalPtr(const Value& object) const {
    if (object.isNil()) {
        return NotFound;
    }
    const auto found = std::find_if(array_.begin(), array_.end(), [&](const Value& element) {
        return element.isIdenticalTo(object);
    });
    return found == array_.end() ? NotFound : static_cast<std::size_t>(found - array_.begin());
}

std::size_t NSMutableLockArray::lockIndexOfIdenticalPtr(const Value& object) const {
    if (object.isNil()) {
        return NotFound;
    }
    ReadLock lock(*this);
    return indexOfIdenticalPtr(object);
}

Value NSMutableLockArray::valueForKey(std::string_view key) const {
    return key.empty() ? Value() : velmora::valueForKey(array_, key);
}

Value NSMutableLockArray::lockValueForKey(std::string_view key) const {
    if (key.empty()) {
        return {};
    }
    WriteLock lock(*this);
    return valueForKey(key);
}

void NSMutableLockArray::makeObjectsPerformSelector(Selector selector) const {
    performOnEach(array_, selector, {});
}

void NSMutableLockArray::makeObjectsPerformSelector(Selector selector, const Value& object) const {
    const Value arguments[] = {object};
    performOnEach(array_, selector, arguments);
}

void NSMutableLockArray::lockMakeObjectsPerformSelector(Selector selector) const {
    ReadLock lock(*this);
    makeObjectsPerformSelector(selector);
}

void NSMutableLockArray::lockMakeObjectsPerformSelector(Selector selector,
                                                        const Value& object) const {
    ReadLock lock(*this);
    makeObjectsPerformSelector(selector, object);
}

}  // namespace velmora

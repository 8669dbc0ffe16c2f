#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Velmora/collections/NSMutableLockArray.h"

namespace velmora {
namespace {

// Argument arrays up to this size are searched linearly; larger ones through a hash.
constexpr std::size_t kLinearSearchLimit = 8;

// The one place where this class reports an error.
void reportError(std::string_view operation, const std::exception& error) {
    fmt::print(stderr, "\t\tERR: {} - {}\n", operation, error.what());
}

// objects itself, or a copy of it when it is the array about to be changed.
class Source {
  public:
    Source(const Array& objects, const Array& target) {
        if (&objects == &target) {
            copy_ = objects;
            objects_ = &copy_;
        } else {
            objects_ = &objects;
        }
    }
    const Array& operator*() const { return *objects_; }
    const Array* operator->() const { return objects_; }

  private:
    Array copy_;
    const Array* objects_;
};

bool isIn(const Value& element, const Array& objects) {
    return std::any_of(objects.begin(), objects.end(),
                       [&](const Value& object) { return element.isEqual(object); });
}

}  // namespace

// --- Adding ----------------------------------------------------------------------------

void NSMutableLockArray::addObject(const Value& object) {
    if (object.isNil()) {
        return;
    }
    array_.push_back(object);
    informDelegate();
}

void NSMutableLockArray::lockAddObject(const Value& object) {
    if (object.isNil()) {
        return;
    }
    WriteLock lock(*this);
    addObject(object);
}

void NSMutableLockArray::addObjectsFromArray(const Array& objects) {
    const Source source(objects, array_);
    array_.insert(array_.end(), source->begin(), source->end());
    informDelegate();
}

void NSMutableLockArray::addObjectsFromArray(const NSMutableLockArray& objects) {
    addObjectsFromArray(objects.array_);
}

void NSMutableLockArray::addObjectsFromArray(const Value& objects) {
    if (const Array* source = sourceArray(objects)) {
        addObjectsFromArray(*source);
    }
}

void NSMutableLockArray::lockAddObjectsFromArray(const Array& objects) {
    WriteLock lock(*this);
    addObjectsFromArray(objects);
}

void NSMutableLockArray::lockAddObjectsFromArray(const NSMutableLockArray& objects) {
    WriteLock lock(*this);
    addObjectsFromArray(objects);
}

void NSMutableLockArray::lockAddObjectsFromArray(const Value& objects) {
    if (const Array* source = sourceArray(objects)) {
        WriteLock lock(*this);
        addObjectsFromArray(*source);
    }
}

void NSMutableLockArray::replaceWithObjectsFromArray(const Array& objects) {
    try {
        // Built aside and swapped in: objects may be array_ itself, and a failure leaves
        // the old content whole.
        Array replacement(objects.begin(), objects.end());
        array_.swap(replacement);
    } catch (const std::exception& error) {
        reportError("replaceWithObjectsFromArray:", error);
    }
    informDelegate();
}

void NSMutableLockArray::replaceWithObjectsFromArray(const NSMutableLockArray& objects) {
    replaceWithObjectsFromArray(objects.array_);
}

void NSMutableLockArray::replaceWithObjectsFromArray(const Value& objects) {
    if (const Array* source = sourceArray(objects)) {
        replaceWithObjectsFromArray(*source);
    }
}

void NSMutableLockArray::lockReplaceWithObjectsFromArray(const Array& objects) {
    WriteLock lock(*this);
    replaceWithObjectsFromArray(objects);
}

void NSMutableLockArray::lockReplaceWithObjectsFromArray(const NSMutableLockArray& objects) {
    WriteLock lock(*this);
    replaceWithObjectsFromArray(objects);
}

void NSMutableLockArray::lockReplaceWithObjectsFromArray(const Value& objects) {
    if (const Array* source = sourceArray(objects)) {
        WriteLock lock(*this);
        replaceWithObjectsFromArray(*source);
    }
}

void NSMutableLockArray::insertObject(const Value& object, std::size_t index) {
    if (object.isNil() || index > array_.size()) {
        return;
    }
    array_.insert(array_.begin() + static_cast<std::ptrdiff_t>(index), object);
    informDelegate();
}

void NSMutableLockArray::lockInsertObject(const Value& object, std::size_t index) {
    if (object.isNil()) {
        return;
    }
    WriteLock lock(*this);
    insertObject(object, index);
}

void NSMutableLockArray::insertObjects(const Array& objects, const IndexSet& indexes) {
    if (objects.empty() || indexes.empty() || objects.size() != indexes.count()) {
        return;
    }
    // With ascending indexes, each within reach after the earlier insertions exactly when
    // the last one is: it must lie inside the final array.
    const std::size_t finalCount = array_.size() + objects.size();
    if (indexes.lastIndex() >= finalCount) {
        return;
    }
    const Source source(objects, array_);
    Array merged;
    merged.reserve(finalCount);
    auto nextOld = array_.begin();
    auto nextNew = source->begin();
    for (const Range run : indexes.ranges()) {
        const auto oldBefore = static_cast<std::ptrdiff_t>(run.location - merged.size());
        merged.insert(merged.end(), nextOld, nextOld + oldBefore);
        nextOld += oldBefore;
        const auto newCount = static_cast<std::ptrdiff_t>(run.length);
        merged.insert(merged.end(), nextNew, nextNew + newCount);
        nextNew += newCount;
    }
    merged.insert(merged.end(), nextOld, array_.end());
    array_.swap(merged);
    informDelegate();
}

void NSMutableLockArray::lockInsertObjects(const Array& objects, const IndexSet& indexes) {
    if (objects.empty() || indexes.empty()) {
        return;
    }
    WriteLock lock(*this);
    insertObjects(objects, indexes);
}

// --- Replacing and moving --------------------------------------------------------------

void NSMutableLockArray::replaceObjectsAtIndexes(const IndexSet& indexes, const Array& objects) {
    if (indexes.empty() || objects.empty() || indexes.count() != objects.size() ||
        indexes.lastIndex() >= array_.size()) {
        return;
    }
    const Source source(objects, array_);
    auto next = source->begin();
    for (const std::size_t index : indexes) {
        array_[index] = *next++;
    }
    informDelegate();
}

void NSMutableLockArray::lockReplaceObjectsAtIndexes(const IndexSet& indexes,
                                                     const Array& objects) {
    if (indexes.empty() || objects.empty()) {
        return;
    }
    WriteLock lock(*this);
    replaceObjectsAtIndexes(indexes, objects);
}

void NSMutableLockArray::setObject(const Value& object, std::size_t index) {
    if (index >= array_.size()) {
        addObject(object);
    } else if (object.isNil()) {
        removeObjectAtIndex(index);
    } else {
        replaceObjectsAtIndexes(IndexSet(index), Array{object});
    }
}

void NSMutableLockArray::moveObjectFromIndex(std::size_t from, std::size_t to) {
    if (from == to || from >= array_.size() || to > array_.size()) {
        return;
    }
    const Value object = array_[from];
    removeObjectAtIndex(from);
    insertObject(object, from < to ? to - 1 : to);
}

void NSMutableLockArray::lockMoveObjectFromIndex(std::size_t from, std::size_t to) {
    WriteLock lock(*this);
    if (from >= array_.size()) {
        return;
    }
    Value object = std::move(array_[from]);
    array_.erase(array_.begin() + static_cast<std::ptrdiff_t>(from));
    const std::size_t destination = std::min(from < to ? to - 1 : to, array_.size());
    array_.insert(array_.begin() + static_cast<std::ptrdiff_t>(destination), std::move(object));
}

// --- Removing --------------------------------------------------------------------------

void NSMutableLockArray::removeAllObjects() {
    if (array_.empty()) {
        return;
    }
    array_.clear();
    informDelegate();
}

void NSMutableLockArray::lockRemoveAllObjects() {
    WriteLock lock(*this);
    removeAllObjects();
}

void NSMutableLockArray::removeFirstObject() {
    removeObjectAtIndex(0);
}

void NSMutableLockArray::lockRemoveFirstObject() {
    WriteLock lock(*this);
    removeFirstObject();
}

void NSMutableLockArray::removeLastObject() {
    if (array_.empty()) {
        return;
    }
    array_.pop_back();
    informDelegate();
}

void NSMutableLockArray::lockRemoveLastObject() {
    WriteLock lock(*this);
    removeLastObject();
}

void NSMutableLockArray::removeObject(const Value& object) {
    std::erase_if(array_, [&](const Value& element) { return element.isEqual(object); });
    informDelegate();
}

void NSMutableLockArray::lockRemoveObject(const Value& object) {
    WriteLock lock(*this);
    removeObject(object);
}

void NSMutableLockArray::removeObjectAtIndex(std::size_t index) {
    if (index >= array_.size()) {
        return;
    }
    array_.erase(array_.begin() + static_cast<std::ptrdiff_t>(index));
    informDelegate();
}

void NSMutableLockArray::lockRemoveObjectAtIndex(std::size_t index) {
    WriteLock lock(*this);
    removeObjectAtIndex(index);
}

void NSMutableLockArray::eraseIndexes(const IndexSet& indexes) {
    // One pass, run by run: the elements between runs slide down over the removed ones.
    auto write = array_.begin();
    auto read = array_.begin();
    for (const Range run : indexes.ranges()) {
        const auto runStart = array_.begin() + static_cast<std::ptrdiff_t>(run.location);
        // Nothing has been removed before the first run: those elements stay where they are.
        write = write == read ? runStart : std::move(read, runStart, write);
        read = runStart + static_cast<std::ptrdiff_t>(run.length);
    }
    if (write != read) {
        array_.erase(std::move(read, array_.end(), write), array_.end());
    }
}

void NSMutableLockArray::removeObjectsAtIndexes(const IndexSet& indexes) {
    if (!indexes.empty() && indexes.lastIndex() >= array_.size()) {
        return;
    }
    eraseIndexes(indexes);
    informDelegate();
}

void NSMutableLockArray::lockRemoveObjectsAtIndexes(const IndexSet& indexes) {
    WriteLock lock(*this);
    removeObjectsAtIndexes(indexes);
}

void NSMutableLockArray::removeObjectsInArray(const Array& objects) {
    const Source source(objects, array_);
    if (source->size() <= kLinearSearchLimit) {
        std::erase_if(array_, [&](const Value& element) { return isIn(element, *source); });
    } else {
        const std::unordered_set<Value, ValueHash> unwanted(source->begin(), source->end());
        std::erase_if(array_, [&](const Value& element) { return unwanted.contains(element); });
    }
    informDelegate();
}

void NSMutableLockArray::lockRemoveObjectsInArray(const Array& objects) {
    WriteLock lock(*this);
    removeObjectsInArray(objects);
}

void NSMutableLockArray::removeObjectsInRange(Range range) {
    if (range.location > array_.size() || range.length > array_.size() - range.location) {
        return;
    }
    const auto first = array_.begin() + static_cast<std::ptrdiff_t>(range.location);
    array_.erase(first, first + static_cast<std::ptrdiff_t>(range.length));
    informDelegate();
}

void NSMutableLockArray::lockRemoveObjectsInRange(Range range) {
    WriteLock lock(*this);
    removeObjectsInRange(range);
}

void NSMutableLockArray::removeIdenticalPtrsInArray(const Array& objects) {
    if (objects.empty()) {
        return;
    }
    IndexSet found;
    if (objects.size() <= kLinearSearchLimit) {
        for (const Value& object : objects) {
            if (const std::size_t index = indexOfIdenticalPtr(object); index != NotFound) {
                found.add(index);
            }
        }
    } else {
        // Identical values are equal, so they hash alike: the first identical element is
        // the lowest identical index among the elements sharing the object's hash.
        std::unordered_multimap<std::size_t, std::size_t> byHash;
        byHash.reserve(array_.size());
        for (std::size_t i = 0; i < array_.size(); ++i) {
            byHash.emplace(array_[i].hash(), i);
        }
        for (const Value& object : objects) {
            if (object.isNil()) {
                continue;
            }
            std::size_t first = NotFound;
            const auto [begin, end] = byHash.equal_range(object.hash());
            for (auto entry = begin; entry != end; ++entry) {
                if (entry->second < first && array_[entry->second].isIdenticalTo(object)) {
                    first = entry->second;
                }
            }
            if (first != NotFound) {
                found.add(first);
            }
        }
    }
    eraseIndexes(found);
    informDelegate();
}

void NSMutableLockArray::lockRemoveIdenticalPtrsInArray(const Array& objects) {
    if (objects.empty()) {
        return;
    }
    WriteLock lock(*this);
    removeIdenticalPtrsInArray(objects);
}

void NSMutableLockArray::removeIdenticalPtr(const Value& object) {
    if (const std::size_t index = indexOfIdenticalPtr(object); index != NotFound) {
        array_.erase(array_.begin() + static_cast<std::ptrdiff_t>(index));
        informDelegate();
    }
}

void NSMutableLockArray::lockRemoveIdenticalPtr(const Value& object) {
    if (object.isNil()) {
        return;
    }
    WriteLock lock(*this);
    removeIdenticalPtr(object);
}

}  // namespace velmora

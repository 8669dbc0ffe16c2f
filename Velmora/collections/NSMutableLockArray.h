#pragma once
// NSMutableLockArray: a mutable array of Values guarded by a read/write lock, which tells
// an optional delegate after each modification. The result list keeps its sections,
// items and extra storage in these.
//
// Every operation exists twice: the plain form (addObject) works on the array without
// locking, for a caller that already holds the lock; the lock... form (lockAddObject)
// checks its arguments (nil, empty), takes the lock named below, and runs the plain form
// under it. Checks of the array's own state (is it empty?) happen under the lock: read
// without it they would race with writers.
//
// Thread-safety contract:
//   - The lock is a process-private pthread read/write lock preferring writers (see
//     ReadWriteLock), so a stream of readers cannot starve a writer. Readers share it;
//     a writer excludes everyone.
//   - It is not recursive. A plain operation must be called by a caller holding the lock
//     (read lock for reading operations, write lock for modifying ones) or on an array no
//     other thread can see; a lock... operation must not be called while holding it.
//   - The delegate is called on the modifying thread, with the lock held when the change
//     came through a lock... form; it must not call lock... forms of the same array.
//   - The lock kinds are deliberate, including two surprises kept for compatibility:
//     lockLastObject and lockValueForKey take the write lock, and lockSortUsingDescriptors
//     sorts under only the read lock, so it must not run concurrently with any other
//     reader of the same array.
//   - Plain operations taking another NSMutableLockArray read its elements without
//     locking it; the caller keeps that array unchanged meanwhile.
//
// Input rules: nil means a nil Value; for index-set and array arguments each operation's
// comment says where an empty one counts as nil. Bad input never throws and is
// all-or-nothing: out-of-range indexes or ranges, index sets reaching past the end, and
// an index set whose count differs from its objects' change nothing and do not inform.
// "Informs" means the delegate's lockedArrayModified() is called after the change.
//
//   auto items = NSMutableLockArray::arrayWithCapacity(16);
//   items->lockAddObject(Value("Groceries"));
//   { NSMutableLockArray::ReadLock lock(*items); for (const Value& v : *items) use(v); }

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Velmora/collections/ReadWriteLock.h"
#include "Velmora/platform/foundation/IndexSet.h"
#include "Velmora/platform/foundation/Object.h"
#include "Velmora/platform/foundation/Range.h"
#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/SortDescriptor.h"
#include "Velmora/platform/foundation/Value.h"
#include "Velmora/platform/foundation/ValueSorting.h"

namespace velmora {

// The delegate's ability: told after a modifying operation completed.
class NSMutableLockArrayModified {
  public:
    virtual ~NSMutableLockArrayModified() = default;
    virtual void lockedArrayModified() = 0;
};

class NSMutableLockArray : public Object {
  public:
    using Predicate = std::function<bool(const Value&)>;
    using Comparator = ValueComparator;

    // Holds the read lock for its scope. The try form may not obtain it: see owns_lock().
    class [[nodiscard]] ReadLock {
      public:
        explicit ReadLock(const NSMutableLockArray& array) : array_(array), owns_(true) {
            array_.rdlock();
        }
        ReadLock(const NSMutableLockArray& array, std::try_to_lock_t)
            : array_(array), owns_(array.tryRdLock()) {}
        ~ReadLock() {
            if (owns_) {
                array_.unlock();
            }
        }
        ReadLock(const ReadLock&) = delete;
        ReadLock& operator=(const ReadLock&) = delete;
        bool owns_lock() const { return owns_; }

      private:
        const NSMutableLockArray& array_;
        const bool owns_;
    };

    // Holds the write lock for its scope.
    class [[nodiscard]] WriteLock {
      public:
        explicit WriteLock(const NSMutableLockArray& array) : array_(array) { array_.wrlock(); }
        ~WriteLock() { array_.unlock(); }
        WriteLock(const WriteLock&) = delete;
        WriteLock& operator=(const WriteLock&) = delete;

      private:
        const NSMutableLockArray& array_;
    };

    // Construction throws std::system_error only when the system cannot make a lock.
    // The capacity is a hint: large ones are not reserved up front.
    NSMutableLockArray() : NSMutableLockArray(std::size_t{0}) {}
    explicit NSMutableLockArray(std::size_t capacity);
    // Default construction, then addObjectsFromArray(array).
    explicit NSMutableLockArray(const Array& array);
    // nullptr where the lock cannot be made.
    static std::shared_ptr<NSMutableLockArray> arrayWithCapacity(std::size_t capacity);

    NSMutableLockArray(const NSMutableLockArray&) = delete;
    NSMutableLockArray& operator=(const NSMutableLockArray&) = delete;
    ~NSMutableLockArray() override;

    // "<NSMutableLockArray: (...)>" with the elements' description. Reads unlocked.
    std::string description() const override;

    // --- Delegate -----------------------------------------------------------------------
    // Held weakly: a delegate that has gone away is simply not called. REQUIRES: set
    // before the array is shared, or while holding the write lock (no lock of its own).
    void setModificationDelegate(std::weak_ptr<NSMutableLockArrayModified> delegate) {
        delegate_ = std::move(delegate);
    }
    std::shared_ptr<NSMutableLockArrayModified> modificationDelegate() const {
        return delegate_.lock();
    }

    // --- Lock primitives (for callers of the plain forms; prefer ReadLock/WriteLock) ----
    void rdlock() const { lock_.readLock(); }
    // Answers whether the read lock was obtained.
    [[nodiscard]] bool tryRdLock() const { return lock_.tryReadLock(); }
    void wrlock() const { lock_.writeLock(); }
    void unlock() const { lock_.unlock(); }

    // --- The inner array, without locking ---------------------------------------------
    Array& array() { return array_; }
    const Array& arrayReadonly() const { return array_; }
    // Ranges over the inner array for range-for, forwards and backwards.
    template <class Iterator>
    struct Enumerator {
        Iterator first;
        Iterator last;
        Iterator begin() const { return first; }
        Iterator end() const { return last; }
    };
    Enumerator<Array::const_iterator> objectEnumerator() const {
        return {array_.begin(), array_.end()};
    }
    Enumerator<Array::const_reverse_iterator> reverseObjectEnumerator() const {
        return {array_.rbegin(), array_.rend()};
    }
    Array::const_iterator begin() const { return array_.begin(); }
    Array::const_iterator end() const { return array_.end(); }

    // --- Reading (lock... forms take the read lock unless noted) ------------------------
    std::size_t count() const { return array_.size(); }
    std::size_t lockCount() const;

    // A separate copy of the elements.
    Array createArrayCopy() const { return array_; }
    Array lockCreateArrayCopy() const;

    // Nil when empty.
    Value firstObject() const;
    Value lockFirstObject() const;
    // Nil when empty. lockLastObject takes the write lock (deliberate, kept as it was).
    Value lastObject() const;
    Value lockLastObject() const;

    // Nil when index is not below the count. No lock form for the subscript spelling.
    Value objectAtIndex(std::size_t index) const;
    Value lockObjectAtIndex(std::size_t index) const;
    Value objectAtIndexedSubscript(std::size_t index) const { return objectAtIndex(index); }

    // Nothing for an empty index set or one reaching past the end.
    std::optional<Array> objectsAtIndexes(const IndexSet& indexes) const;
    std::optional<Array> lockObjectsAtIndexes(const IndexSet& indexes) const;

    // The elements predicate accepts; nothing when the array is empty or predicate is empty.
    std::optional<Array> filteredArrayUsingPredicate(const Predicate& predicate) const;
    std::optional<Array> lockFilteredArrayUsingPredicate(const Predicate& predicate) const;

    // Equality (Value::isEqual). containsObject: false for nil. indexOfObject: the first
    // element equal to object, NotFound for nil or no match; getIndexOfObject is the same
    // without the nil check (and has no lock form).
    bool containsObject(const Value& object) const;
    bool lockContainsObject(const Value& object) const;
    std::size_t indexOfObject(const Value& object) const;
    std::size_t lockIndexOfObject(const Value& object) const;
    std::size_t getIndexOfObject(const Value& object) const;

    // Identity (Value::isIdenticalTo), never equality; stop at the first hit. False /
    // NotFound for nil or an empty array.
    bool containsIdenticalPtr(const Value& object) const;
    bool lockContainsIdenticalPtr(const Value& object) const;
    std::size_t indexOfIdenticalPtr(const Value& object) const;
    std::size_t lockIndexOfIdenticalPtr(const Value& object) const;

    // Key-value reading over the elements (see KeyValueCoding.h); nil for an empty key.
    // lockValueForKey takes the write lock (deliberate, kept as it was).
    Value valueForKey(std::string_view key) const override;
    Value lockValueForKey(std::string_view key) const;

    // Sends selector (with object as its one argument) to every element that is an
    // Object implementing SelectorTarget and responding to it; skips the others.
    void makeObjectsPerformSelector(Selector selector) const;
    void makeObjectsPerformSelector(Selector selector, const Value& object) const;
    void lockMakeObjectsPerformSelector(Selector selector) const;
    void lockMakeObjectsPerformSelector(Selector selector, const Value& object) const;

    // --- Adding (lock... forms take the write lock) -------------------------------------
    // Appends; nil is ignored. Informs.
    void addObject(const Value& object);
    void lockAddObject(const Value& object);

    // Appends the elements of a plain array or of another NSMutableLockArray (read
    // unlocked). The Value form accepts an array Value or a Value holding an
    // NSMutableLockArray and ignores nil or anything else. Informs (also when nothing was
    // appended), except where ignored.
    void addObjectsFromArray(const Array& objects);
    void addObjectsFromArray(const NSMutableLockArray& objects);
    void addObjectsFromArray(const Value& objects);
    void lockAddObjectsFromArray(const Array& objects);
    void lockAddObjectsFromArray(const NSMutableLockArray& objects);
    void lockAddObjectsFromArray(const Value& objects);

    // Makes the elements those of objects (same sources as addObjectsFromArray; nil is
    // ignored). Informs, also when the new content is empty. Should replacing throw, the
    // error is printed to stderr, the old content stays, and the delegate is still told.
    void replaceWithObjectsFromArray(const Array& objects);
    void replaceWithObjectsFromArray(const NSMutableLockArray& objects);
    void replaceWithObjectsFromArray(const Value& objects);
    void lockReplaceWithObjectsFromArray(const Array& objects);
    void lockReplaceWithObjectsFromArray(const NSMutableLockArray& objects);
    void lockReplaceWithObjectsFromArray(const Value& objects);

    // Inserts before index; nothing for nil or an index greater than the count. Informs.
    void insertObject(const Value& object, std::size_t index);
    void lockInsertObject(const Value& object, std::size_t index);

    // Inserts objects so that they end up at indexes (ascending, each counted after the
    // earlier insertions). Nothing when either is empty, the counts differ or an index
    // would lie past the end. Informs.
    void insertObjects(const Array& objects, const IndexSet& indexes);
    void lockInsertObjects(const Array& objects, const IndexSet& indexes);

    // --- Replacing and moving (lock... forms take the write lock) -----------------------
    // Replaces the elements at indexes, in order, by objects. Nothing when either is
    // empty, the counts differ, or an index is not below the count. Informs.
    void replaceObjectsAtIndexes(const IndexSet& indexes, const Array& objects);
    void lockReplaceObjectsAtIndexes(const IndexSet& indexes, const Array& objects);

    // Index below the count: a nil object removes the element there, another replaces it
    // (through replaceObjectsAtIndexes). Any other index appends (nil is then ignored).
    // Informs when something changed. No lock form.
    void setObject(const Value& object, std::size_t index);

    // Takes the element at from out and puts it back at to, or at to - 1 when from is
    // less than to: [A,B,C,D] 0->3 gives [B,C,A,D], 3->0 gives [D,A,B,C]. Nothing when
    // from == to, from is not below the count or to is greater than the count. The
    // removal and the insertion each inform (two calls).
    void moveObjectFromIndex(std::size_t from, std::size_t to);
    // The same move done directly on the inner array, except that a destination past the
    // end appends; nothing when from is out of range. Does NOT inform (kept as it was).
    void lockMoveObjectFromIndex(std::size_t from, std::size_t to);

    // Sorts stably. sortUsingSelector: "compare:" orders by Value::compare;
    // "caseInsensitiveCompare:" compares strings case-insensitively (ICU case folding)
    // and other values by Value::compare; any other selector is sent to the first of the
    // two elements that responds to it (a SelectorTarget), its result's integerValue
    // being the order (negated when the second answered); two elements where neither
    // responds compare as equal. Nothing when empty; informs.
    void sortUsingSelector(Selector comparator);
    void lockSortUsingSelector(Selector comparator);
    // An empty list counts as nil and is ignored. Does NOT inform. lockSortUsingDescriptors
    // takes only the read lock (deliberate, kept as it was): it must not run concurrently
    // with other readers of this array.
    void sortUsingDescriptors(std::span<const SortDescriptor> descriptors);
    void lockSortUsingDescriptors(std::span<const SortDescriptor> descriptors);
    // Ignored for an empty comparator; nothing when empty; informs. REQUIRES: comparator
    // is a strict weak order.
    void sortUsingComparator(const Comparator& comparator);
    void lockSortUsingComparator(const Comparator& comparator);

    // --- Removing (lock... forms take the write lock) -----------------------------------
    // Nothing when already empty; informs.
    void removeAllObjects();
    void lockRemoveAllObjects();
    void removeFirstObject();
    void lockRemoveFirstObject();
    void removeLastObject();
    void lockRemoveLastObject();

    // Removes every element equal to object. Informs (also when none was equal).
    void removeObject(const Value& object);
    void lockRemoveObject(const Value& object);

    // Nothing when index is not below the count; informs.
    void removeObjectAtIndex(std::size_t index);
    void lockRemoveObjectAtIndex(std::size_t index);

    // Nothing when an index is not below the count; informs (also for an empty set).
    void removeObjectsAtIndexes(const IndexSet& indexes);
    void lockRemoveObjectsAtIndexes(const IndexSet& indexes);

    // Removes every element equal to one of objects; informs.
    void removeObjectsInArray(const Array& objects);
    void lockRemoveObjectsInArray(const Array& objects);

    // Nothing when the range reaches past the end; informs.
    void removeObjectsInRange(Range range);
    void lockRemoveObjectsInRange(Range range);

    // For each of objects, the first element that is that very object (identity, never
    // equality); all of them are removed in one step. Nothing for an empty array;
    // otherwise informs, also when no element was identical.
    void removeIdenticalPtrsInArray(const Array& objects);
    void lockRemoveIdenticalPtrsInArray(const Array& objects);

    // Removes the first element that is object itself; informs only when one was removed.
    void removeIdenticalPtr(const Value& object);
    void lockRemoveIdenticalPtr(const Value& object);

  private:
    // The array a Value names for the *FromArray operations, or nullptr (nil, other kinds).
    static const Array* sourceArray(const Value& objects);
    void informDelegate() const;
    void eraseIndexes(const IndexSet& indexes);

    Array array_;
    mutable ReadWriteLock lock_;  // guards array_ in the lock... forms; not part of the value
    std::weak_ptr<NSMutableLockArrayModified> delegate_;
};

}  // namespace velmora

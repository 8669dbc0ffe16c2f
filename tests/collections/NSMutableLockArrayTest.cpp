#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/foundation/KeyValueCoding.h"

#include "tests/collections/LockArrayTestSupport.h"

namespace velmora {
namespace {

using namespace test;
using namespace std::chrono_literals;

// --- Construction, description, accessors -----------------------------------------------

TEST(NSMutableLockArrayTest, Construction) {
    NSMutableLockArray empty;
    EXPECT_EQ(empty.count(), 0u);
    EXPECT_EQ(empty.lockCount(), 0u);

    NSMutableLockArray withCapacity(100);
    EXPECT_EQ(withCapacity.count(), 0u);
    EXPECT_GE(withCapacity.arrayReadonly().capacity(), 100u);

    NSMutableLockArray huge(std::size_t{1} << 60);  // a hint only: nothing reserved
    EXPECT_EQ(huge.count(), 0u);

    NSMutableLockArray fromArray(strings("A,B"));
    EXPECT_EQ(joined(fromArray), "A,B");

    const auto made = NSMutableLockArray::arrayWithCapacity(8);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->count(), 0u);
    EXPECT_EQ(made->modificationDelegate(), nullptr);
}

TEST(NSMutableLockArrayTest, DescriptionAndClassName) {
    NSMutableLockArray array(strings("A,B"));
    EXPECT_EQ(array.description(),
              "<NSMutableLockArray: " + Value(strings("A,B")).description() + ">");
    EXPECT_EQ(array.description(), "<NSMutableLockArray: (\n    A,\n    B\n)>");
    EXPECT_EQ(NSMutableLockArray().description(), "<NSMutableLockArray: (\n)>");
    EXPECT_EQ(array.className(), "NSMutableLockArray");
}

TEST(NSMutableLockArrayTest, InnerArrayAndEnumerators) {
    NSMutableLockArray array(strings("A,B,C"));
    EXPECT_EQ(&array.array(), &array.arrayReadonly());
    array.array().push_back(Value("D"));  // the inner array itself, no copy
    EXPECT_EQ(array.count(), 4u);

    std::string forward;
    for (const Value& v : array.objectEnumerator()) {
        forward += v.stringValue();
    }
    EXPECT_EQ(forward, "ABCD");
    std::string backward;
    for (const Value& v : array.reverseObjectEnumerator()) {
        backward += v.stringValue();
    }
    EXPECT_EQ(backward, "DCBA");
    std::string ranged;
    for (const Value& v : array) {
        ranged += v.stringValue();
    }
    EXPECT_EQ(ranged, "ABCD");
}

// --- Reading operations ------------------------------------------------------------------

TEST(NSMutableLockArrayTest, ReadingOperations) {
    NSMutableLockArray array(strings("A,B,C,B"));
    const Value b = array.objectAtIndex(1);
    for (const bool locked : {false, true}) {
        SCOPED_TRACE(locked ? "lock forms" : "plain forms");
        const auto& a = array;
        EXPECT_EQ(locked ? a.lockCount() : a.count(), 4u);
        EXPECT_EQ(joined(locked ? a.lockCreateArrayCopy() : a.createArrayCopy()), "A,B,C,B");
        EXPECT_EQ(locked ? a.lockFirstObject() : a.firstObject(), Value("A"));
        EXPECT_EQ(locked ? a.lockLastObject() : a.lastObject(), Value("B"));
        EXPECT_EQ(locked ? a.lockObjectAtIndex(2) : a.objectAtIndex(2), Value("C"));
        EXPECT_TRUE((locked ? a.lockObjectAtIndex(4) : a.objectAtIndex(4)).isNil());
        EXPECT_TRUE((locked ? a.lockObjectAtIndex(NotFound) : a.objectAtIndex(NotFound)).isNil());

        EXPECT_TRUE(locked ? a.lockContainsObject(Value("C")) : a.containsObject(Value("C")));
        EXPECT_FALSE(locked ? a.lockContainsObject(Value("Z")) : a.containsObject(Value("Z")));
        EXPECT_FALSE(locked ? a.lockContainsObject(Value()) : a.containsObject(Value()));
        EXPECT_EQ(locked ? a.lockIndexOfObject(Value("B")) : a.indexOfObject(Value("B")), 1u);
        EXPECT_EQ(locked ? a.lockIndexOfObject(Value("Z")) : a.indexOfObject(Value("Z")), NotFound);
        EXPECT_EQ(locked ? a.lockIndexOfObject(Value()) : a.indexOfObject(Value()), NotFound);

        // Identity: the very element, not an equal one.
        EXPECT_TRUE(locked ? a.lockContainsIdenticalPtr(b) : a.containsIdenticalPtr(b));
        EXPECT_FALSE(locked ? a.lockContainsIdenticalPtr(Value("B"))
                            : a.containsIdenticalPtr(Value("B")));
        EXPECT_FALSE(locked ? a.lockContainsIdenticalPtr(Value())
                            : a.containsIdenticalPtr(Value()));
        EXPECT_EQ(locked ? a.lockIndexOfIdenticalPtr(b) : a.indexOfIdenticalPtr(b), 1u);
        EXPECT_EQ(locked ? a.lockIndexOfIdenticalPtr(a.objectAtIndex(3))
                         : a.indexOfIdenticalPtr(a.objectAtIndex(3)),
                  3u);
        EXPECT_EQ(
            locked ? a.lockIndexOfIdenticalPtr(Value("B")) : a.indexOfIdenticalPtr(Value("B")),
            NotFound);

        const auto some =
            locked ? a.lockObjectsAtIndexes(IndexSet{0, 2}) : a.objectsAtIndexes(IndexSet{0, 2});
        ASSERT_TRUE(some.has_value());
        EXPECT_EQ(joined(*some), "A,C");
        EXPECT_FALSE(
            (locked ? a.lockObjectsAtIndexes(IndexSet()) : a.objectsAtIndexes(IndexSet())));
        EXPECT_FALSE(
            (locked ? a.lockObjectsAtIndexes(IndexSet{1, 4}) : a.objectsAtIndexes(IndexSet{1, 4})));

        const NSMutableLockArray::Predicate isB = [](const Value& v) { return v == Value("B"); };
        const auto filtered =
            locked ? a.lockFilteredArrayUsingPredicate(isB) : a.filteredArrayUsingPredicate(isB);
        ASSERT_TRUE(filtered.has_value());
        EXPECT_EQ(joined(*filtered), "B,B");
        const NSMutableLockArray::Predicate none = [](const Value&) { return false; };
        const auto nothing =
            locked ? a.lockFilteredArrayUsingPredicate(none) : a.filteredArrayUsingPredicate(none);
        ASSERT_TRUE(nothing.has_value());
        EXPECT_TRUE(nothing->empty());
        EXPECT_FALSE(locked ? a.lockFilteredArrayUsingPredicate(nullptr)
                            : a.filteredArrayUsingPredicate(nullptr));
    }
    EXPECT_EQ(array.objectAtIndexedSubscript(0), Value("A"));
    EXPECT_TRUE(array.objectAtIndexedSubscript(9).isNil());
    EXPECT_EQ(array.getIndexOfObject(Value("C")), 2u);
    EXPECT_EQ(array.getIndexOfObject(Value()), NotFound);
}

TEST(NSMutableLockArrayTest, ReadingAnEmptyArray) {
    const NSMutableLockArray empty;
    EXPECT_TRUE(empty.firstObject().isNil());
    EXPECT_TRUE(empty.lockFirstObject().isNil());
    EXPECT_TRUE(empty.lastObject().isNil());
    EXPECT_TRUE(empty.lockLastObject().isNil());
    EXPECT_TRUE(empty.objectAtIndex(0).isNil());
    EXPECT_FALSE(empty.filteredArrayUsingPredicate([](const Value&) { return true; }));
    EXPECT_FALSE(empty.lockFilteredArrayUsingPredicate([](const Value&) { return true; }));
    EXPECT_FALSE(empty.objectsAtIndexes(IndexSet(0)));
    EXPECT_EQ(empty.indexOfIdenticalPtr(Value("A")), NotFound);
    EXPECT_FALSE(empty.containsIdenticalPtr(Value("A")));
    EXPECT_EQ(empty.createArrayCopy().size(), 0u);
}

TEST(NSMutableLockArrayTest, CreateArrayCopyIsSeparate) {
    NSMutableLockArray array(strings("A"));
    Array copy = array.lockCreateArrayCopy();
    copy.push_back(Value("B"));
    EXPECT_EQ(array.count(), 1u);
}

TEST(NSMutableLockArrayTest, ValueForKey) {
    NSMutableLockArray array(Array{Dictionary{{"title", "A"}, {"minutes", 10}},
                                   Dictionary{{"title", "B"}, {"minutes", 5}}, Dictionary{}});
    EXPECT_EQ(array.valueForKey("title"), Value(Array{"A", "B", Value::null()}));
    EXPECT_EQ(array.lockValueForKey("title"), Value(Array{"A", "B", Value::null()}));
    EXPECT_EQ(array.valueForKey("@count"), Value(3));
    EXPECT_EQ(array.lockValueForKey("@sum.minutes"), Value(15));
    EXPECT_TRUE(array.valueForKey("").isNil());
    EXPECT_TRUE(array.lockValueForKey("").isNil());

    // Carried in a Value, the array answers key-value reading as an Object.
    const Value carried(std::make_shared<NSMutableLockArray>(array.createArrayCopy()));
    EXPECT_EQ(velmora::valueForKey(carried, "title"), Value(Array{"A", "B", Value::null()}));
    EXPECT_EQ(valueForKeyPath(carried, "@max.minutes"), Value(10));
}

TEST(NSMutableLockArrayTest, MakeObjectsPerformSelector) {
    const auto first = std::make_shared<Ranked>(1, "first");
    const auto second = std::make_shared<Ranked>(2, "second");
    NSMutableLockArray array(Array{Value(first), Value("not an object"), Value(second),
                                   Value(Array{}), Value(std::make_shared<NSMutableLockArray>())});
    array.makeObjectsPerformSelector(Ranked::bump());
    array.lockMakeObjectsPerformSelector(Ranked::bump());
    array.makeObjectsPerformSelector(Ranked::bumpBy(), Value(10));
    array.lockMakeObjectsPerformSelector(Ranked::bumpBy(), Value(100));
    array.makeObjectsPerformSelector(Selector("unknownSelector"));  // nobody responds
    EXPECT_EQ(first->bumps(), 112);
    EXPECT_EQ(second->bumps(), 112);
}

// --- Delegate ----------------------------------------------------------------------------

TEST(NSMutableLockArrayTest, DeadDelegateIsNotCalled) {
    NSMutableLockArray array;
    auto delegate = std::make_shared<CountingDelegate>();
    array.setModificationDelegate(delegate);
    EXPECT_EQ(array.modificationDelegate(), delegate);
    array.addObject(Value("A"));
    EXPECT_EQ(delegate->calls, 1);

    std::weak_ptr<CountingDelegate> watcher = delegate;
    delegate.reset();
    ASSERT_TRUE(watcher.expired());
    EXPECT_EQ(array.modificationDelegate(), nullptr);
    array.addObject(Value("B"));  // nothing to call, nothing breaks
    array.lockRemoveAllObjects();
    EXPECT_EQ(array.count(), 0u);
}

TEST(NSMutableLockArrayTest, DelegateIsCalledWithTheWriteLockHeld) {
    Tracked t = tracked("A");
    NSMutableLockArray& array = *t.array;
    std::vector<std::size_t> countsSeen;
    bool readLockWasFree = true;
    t.delegate->onCall = [&] {
        // The plain forms may be used here: the caller's lock covers them.
        countsSeen.push_back(array.count());
        const NSMutableLockArray::ReadLock probe(array, std::try_to_lock);
        readLockWasFree = probe.owns_lock();
    };
    array.lockAddObject(Value("B"));
    EXPECT_FALSE(readLockWasFree);
    array.lockRemoveFirstObject();
    EXPECT_FALSE(readLockWasFree);
    EXPECT_EQ(countsSeen, (std::vector<std::size_t>{2, 1}));
}

TEST(NSMutableLockArrayTest, DelegateReplacedAndCleared) {
    NSMutableLockArray array;
    auto first = std::make_shared<CountingDelegate>();
    auto second = std::make_shared<CountingDelegate>();
    array.setModificationDelegate(first);
    array.addObject(Value("A"));
    array.setModificationDelegate(second);
    array.addObject(Value("B"));
    array.setModificationDelegate({});
    array.addObject(Value("C"));
    EXPECT_EQ(first->calls, 1);
    EXPECT_EQ(second->calls, 1);
}

// --- Locking -----------------------------------------------------------------------------

TEST(NSMutableLockArrayTest, TryRdLock) {
    NSMutableLockArray array;
    ASSERT_TRUE(array.tryRdLock());
    array.unlock();

    std::atomic<bool> held{false};
    std::atomic<bool> release{false};
    std::thread writer([&] {
        const NSMutableLockArray::WriteLock lock(array);
        held = true;
        while (!release) {
            std::this_thread::sleep_for(1ms);
        }
    });
    while (!held) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_FALSE(array.tryRdLock());
    {
        const NSMutableLockArray::ReadLock attempt(array, std::try_to_lock);
        EXPECT_FALSE(attempt.owns_lock());
    }
    release = true;
    writer.join();
    const NSMutableLockArray::ReadLock attempt(array, std::try_to_lock);
    EXPECT_TRUE(attempt.owns_lock());
}

enum class Kind { Read, Write };

// Which lock an operation takes, observed from outside: while this thread holds the read
// lock, a reading operation on another thread completes and a writing one waits.
Kind observedLockKind(NSMutableLockArray& array, const std::function<void()>& op, Kind expected) {
    std::atomic<bool> done{false};
    array.rdlock();
    std::thread worker([&] {
        op();
        done = true;
    });
    // A correct reader finishes promptly; a correct writer can never finish meanwhile.
    const auto deadline = std::chrono::steady_clock::now() + (expected == Kind::Read ? 10s : 100ms);
    while (!done && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    const Kind observed = done ? Kind::Read : Kind::Write;
    array.unlock();
    worker.join();
    return observed;
}

TEST(NSMutableLockArrayTest, LockKindOfEveryLockForm) {
    using A = NSMutableLockArray;
    struct Case {
        const char* name;
        Kind kind;
        std::function<void(A&)> op;
    };
    const SortDescriptor self[] = {{"", true}};
    const Case cases[] = {
        {"lockCount", Kind::Read, [](A& a) { (void)a.lockCount(); }},
        {"lockCreateArrayCopy", Kind::Read, [](A& a) { (void)a.lockCreateArrayCopy(); }},
        {"lockFirstObject", Kind::Read, [](A& a) { (void)a.lockFirstObject(); }},
        {"lockObjectAtIndex", Kind::Read, [](A& a) { (void)a.lockObjectAtIndex(0); }},
        {"lockObjectsAtIndexes", Kind::Read,
         [](A& a) { (void)a.lockObjectsAtIndexes(IndexSet(0)); }},
        {"lockFilteredArrayUsingPredicate", Kind::Read,
         [](A& a) { (void)a.lockFilteredArrayUsingPredicate([](const Value&) { return true; }); }},
        {"lockContainsObject", Kind::Read, [](A& a) { (void)a.lockContainsObject(Value("A")); }},
        {"lockIndexOfObject", Kind::Read, [](A& a) { (void)a.lockIndexOfObject(Value("A")); }},
        {"lockContainsIdenticalPtr", Kind::Read,
         [](A& a) { (void)a.lockContainsIdenticalPtr(Value("A")); }},
        {"lockIndexOfIdenticalPtr", Kind::Read,
         [](A& a) { (void)a.lockIndexOfIdenticalPtr(Value("A")); }},
        {"lockMakeObjectsPerformSelector", Kind::Read,
         [](A& a) { a.lockMakeObjectsPerformSelector(Selector("bump")); }},
        {"lockMakeObjectsPerformSelector:withObject:", Kind::Read,
         [](A& a) { a.lockMakeObjectsPerformSelector(Selector("bumpBy:"), Value(1)); }},
        // Deliberately only the read lock, although it sorts.
        {"lockSortUsingDescriptors", Kind::Read,
         [&self](A& a) { a.lockSortUsingDescriptors(self); }},
        // Deliberately the write lock, although they only read.
        {"lockLastObject", Kind::Write, [](A& a) { (void)a.lockLastObject(); }},
        {"lockValueForKey", Kind::Write, [](A& a) { (void)a.lockValueForKey("title"); }},
        {"lockAddObject", Kind::Write, [](A& a) { a.lockAddObject(Value("X")); }},
        {"lockAddObjectsFromArray", Kind::Write, [](A& a) { a.lockAddObjectsFromArray(Array{}); }},
        {"lockReplaceWithObjectsFromArray", Kind::Write,
         [](A& a) { a.lockReplaceWithObjectsFromArray(strings("A,B,C")); }},
        {"lockReplaceObjectsAtIndexes", Kind::Write,
         [](A& a) { a.lockReplaceObjectsAtIndexes(IndexSet(0), strings("A")); }},
        {"lockInsertObject", Kind::Write, [](A& a) { a.lockInsertObject(Value("X"), 0); }},
        {"lockInsertObjects", Kind::Write,
         [](A& a) { a.lockInsertObjects(strings("X"), IndexSet(0)); }},
        {"lockMoveObjectFromIndex", Kind::Write, [](A& a) { a.lockMoveObjectFromIndex(0, 1); }},
        {"lockRemoveAllObjects", Kind::Write, [](A& a) { a.lockRemoveAllObjects(); }},
        {"lockRemoveFirstObject", Kind::Write, [](A& a) { a.lockRemoveFirstObject(); }},
        {"lockRemoveLastObject", Kind::Write, [](A& a) { a.lockRemoveLastObject(); }},
        {"lockRemoveObject", Kind::Write, [](A& a) { a.lockRemoveObject(Value("Z")); }},
        {"lockRemoveObjectAtIndex", Kind::Write, [](A& a) { a.lockRemoveObjectAtIndex(99); }},
        {"lockRemoveObjectsAtIndexes", Kind::Write,
         [](A& a) { a.lockRemoveObjectsAtIndexes(IndexSet()); }},
        {"lockRemoveObjectsInArray", Kind::Write,
         [](A& a) { a.lockRemoveObjectsInArray(Array{}); }},
        {"lockRemoveObjectsInRange", Kind::Write,
         [](A& a) {
             a.lockRemoveObjectsInRange(Range{0, 0});
         }},
        {"lockRemoveIdenticalPtrsInArray", Kind::Write,
         [](A& a) { a.lockRemoveIdenticalPtrsInArray(strings("Z")); }},
        {"lockRemoveIdenticalPtr", Kind::Write, [](A& a) { a.lockRemoveIdenticalPtr(Value("Z")); }},
        {"lockSortUsingSelector", Kind::Write,
         [](A& a) { a.lockSortUsingSelector(Selector("compare:")); }},
        {"lockSortUsingComparator", Kind::Write,
         [](A& a) {
             a.lockSortUsingComparator(
                 [](const Value&, const Value&) { return ComparisonResult::Same; });
         }},
    };
    for (const Case& c : cases) {
        NSMutableLockArray array(strings("A,B,C"));
        EXPECT_EQ(observedLockKind(
                      array, [&] { c.op(array); }, c.kind),
                  c.kind)
            << c.name;
    }
}

// Cheap argument checks come before the lock: with nil or empty arguments the lock forms
// return even while another thread holds the write lock.
TEST(NSMutableLockArrayTest, ArgumentChecksComeBeforeTheLock) {
    using A = NSMutableLockArray;
    const std::function<void(A&)> ops[] = {
        [](A& a) { a.lockAddObject(Value()); },
        [](A& a) { a.lockAddObjectsFromArray(Value()); },
        [](A& a) { a.lockReplaceWithObjectsFromArray(Value()); },
        [](A& a) { a.lockReplaceObjectsAtIndexes(IndexSet(), strings("X")); },
        [](A& a) { a.lockInsertObject(Value(), 0); },
        [](A& a) { a.lockInsertObjects(Array{}, IndexSet(0)); },
        [](A& a) { a.lockRemoveIdenticalPtrsInArray(Array{}); },
        [](A& a) { a.lockRemoveIdenticalPtr(Value()); },
        [](A& a) { EXPECT_FALSE(a.lockContainsObject(Value())); },
        [](A& a) { EXPECT_EQ(a.lockIndexOfObject(Value()), NotFound); },
        [](A& a) { EXPECT_FALSE(a.lockContainsIdenticalPtr(Value())); },
        [](A& a) { EXPECT_EQ(a.lockIndexOfIdenticalPtr(Value()), NotFound); },
        [](A& a) { EXPECT_FALSE(a.lockObjectsAtIndexes(IndexSet())); },
        [](A& a) { EXPECT_FALSE(a.lockFilteredArrayUsingPredicate(nullptr)); },
        [](A& a) { EXPECT_TRUE(a.lockValueForKey("").isNil()); },
        [](A& a) { a.lockSortUsingDescriptors({}); },
        [](A& a) { a.lockSortUsingComparator(nullptr); },
    };
    NSMutableLockArray array(strings("A"));
    array.wrlock();
    for (std::size_t i = 0; i < std::size(ops); ++i) {
        std::atomic<bool> done{false};
        std::thread worker([&] {
            ops[i](array);
            done = true;
        });
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!done && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        if (!done) {
            ADD_FAILURE() << "operation " << i << " waited for the lock";
            array.unlock();
            worker.join();
            return;
        }
        worker.join();
    }
    array.unlock();
    EXPECT_EQ(joined(array), "A");
}

}  // namespace
}  // namespace velmora

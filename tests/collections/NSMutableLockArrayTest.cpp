#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/collections/NSMutableLockArray.h"
#include "Velmora/platform/KeyValueCoding.h"

namespace velmora {

// Readable failure messages for Values (found by argument-dependent lookup).
static void PrintTo(const Value& value, std::ostream* out) {
    *out << value.description();
}

namespace {

using namespace std::chrono_literals;

class CountingDelegate : public NSMutableLockArrayModified {
  public:
    void lockedArrayModified() override {
        ++calls;
        if (onCall) {
            onCall();
        }
    }
    int calls = 0;
    std::function<void()> onCall;
};

// "A,B,C" -> three separate string Values.
Array strings(std::string_view list) {
    Array result;
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        result.emplace_back(list.substr(0, comma));
        list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    }
    return result;
}

std::string joined(const Array& array) {
    std::string text;
    for (const Value& v : array) {
        if (!text.empty()) {
            text += ',';
        }
        text += v.stringValue();
    }
    return text;
}

std::string joined(const NSMutableLockArray& array) {
    return joined(array.arrayReadonly());
}

struct Tracked {
    std::shared_ptr<NSMutableLockArray> array;
    std::shared_ptr<CountingDelegate> delegate;
};

Tracked tracked(std::string_view initial) {
    Tracked t{std::make_shared<NSMutableLockArray>(strings(initial)),
              std::make_shared<CountingDelegate>()};
    t.array->setModificationDelegate(t.delegate);
    return t;
}

// An Object that answers a few selectors, for sorting and perform tests.
class Ranked : public Object, public SelectorTarget {
  public:
    Ranked(int rank, std::string name) : rank_(rank), name_(std::move(name)) {}

    bool respondsToSelector(Selector selector) const override {
        return selector == compareByRank() || selector == bump() || selector == bumpBy();
    }
    Value performSelector(Selector selector, std::span<const Value> arguments) override {
        if (selector == compareByRank()) {
            const auto other = arguments[0].asObject<Ranked>();
            const int otherRank = other ? other->rank_ : 0;
            return Value(rank_ < otherRank ? -1 : (rank_ > otherRank ? 1 : 0));
        }
        bumps_ += selector == bumpBy() ? static_cast<int>(arguments[0].integerValue()) : 1;
        return {};
    }
    std::string description() const override { return name_; }
    Value valueForKey(std::string_view key) const override {
        return key == "rank" ? Value(rank_) : Value();
    }

    static Selector compareByRank() { return Selector("compareByRank:"); }
    static Selector bump() { return Selector("bump"); }
    static Selector bumpBy() { return Selector("bumpBy:"); }
    int bumps() const { return bumps_; }

  private:
    int rank_;
    std::string name_;
    int bumps_ = 0;
};

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

// --- Modifying operations: results and delegate calls, both forms -------------------------

struct ModifyCase {
    const char* name;
    const char* initial;
    // Runs the operation in its plain form (locked == false) or its lock... form.
    std::function<void(NSMutableLockArray&, bool locked)> op;
    const char* expected;
    int informs;
};

// Calls plain or lock form with the same arguments.
#define BOTH(plainForm, lockForm, ...) (locked ? a.lockForm(__VA_ARGS__) : a.plainForm(__VA_ARGS__))
// A case's operation that is just such a call.
#define OP(plainForm, lockForm, ...) \
    [](NSMutableLockArray& a, bool locked) { BOTH(plainForm, lockForm, __VA_ARGS__); }

std::vector<ModifyCase> modifyCases() {
    using A = NSMutableLockArray;
    return {
        // addObject
        {"add appends", "A,B", OP(addObject, lockAddObject, Value("C")), "A,B,C", 1},
        {"add ignores nil", "A", OP(addObject, lockAddObject, Value()), "A", 0},
        // addObjectsFromArray
        {"addObjects array", "A", OP(addObjectsFromArray, lockAddObjectsFromArray, strings("B,C")),
         "A,B,C", 1},
        {"addObjects empty array informs", "A",
         OP(addObjectsFromArray, lockAddObjectsFromArray, Array{}), "A", 1},
        {"addObjects lock array", "A",
         [](A& a, bool locked) {
             const NSMutableLockArray other(strings("X,Y"));
             BOTH(addObjectsFromArray, lockAddObjectsFromArray, other);
         },
         "A,X,Y", 1},
        {"addObjects array value", "A",
         OP(addObjectsFromArray, lockAddObjectsFromArray, Value(strings("X"))), "A,X", 1},
        {"addObjects lock array value", "A",
         [](A& a, bool locked) {
             const Value other(std::make_shared<NSMutableLockArray>(strings("X,Y")));
             BOTH(addObjectsFromArray, lockAddObjectsFromArray, other);
         },
         "A,X,Y", 1},
        {"addObjects nil ignored", "A", OP(addObjectsFromArray, lockAddObjectsFromArray, Value()),
         "A", 0},
        {"addObjects non-array ignored", "A",
         OP(addObjectsFromArray, lockAddObjectsFromArray, Value("X")), "A", 0},
        {"addObjects from itself", "A,B", OP(addObjectsFromArray, lockAddObjectsFromArray, a),
         "A,B,A,B", 1},
        {"addObjects own inner array", "A,B",
         OP(addObjectsFromArray, lockAddObjectsFromArray, a.arrayReadonly()), "A,B,A,B", 1},
        // replaceWithObjectsFromArray
        {"replaceWith array", "A,B",
         OP(replaceWithObjectsFromArray, lockReplaceWithObjectsFromArray, strings("X")), "X", 1},
        {"replaceWith empty array empties, informs once", "A,B",
         OP(replaceWithObjectsFromArray, lockReplaceWithObjectsFromArray, Array{}), "", 1},
        {"replaceWith lock array", "A",
         [](A& a, bool locked) {
             const NSMutableLockArray other(strings("X,Y"));
             BOTH(replaceWithObjectsFromArray, lockReplaceWithObjectsFromArray, other);
         },
         "X,Y", 1},
        {"replaceWith lock array value", "A",
         OP(replaceWithObjectsFromArray, lockReplaceWithObjectsFromArray,
            Value(std::make_shared<NSMutableLockArray>(strings("Z")))),
         "Z", 1},
        {"replaceWith nil ignored", "A,B",
         OP(replaceWithObjectsFromArray, lockReplaceWithObjectsFromArray, Value()), "A,B", 0},
        {"replaceWith itself", "A,B",
         OP(replaceWithObjectsFromArray, lockReplaceWithObjectsFromArray, a), "A,B", 1},
        // replaceObjectsAtIndexes
        {"replaceAt", "A,B,C,D",
         OP(replaceObjectsAtIndexes, lockReplaceObjectsAtIndexes, IndexSet{1, 3}, strings("X,Y")),
         "A,X,C,Y", 1},
        {"replaceAt empty indexes", "A,B",
         OP(replaceObjectsAtIndexes, lockReplaceObjectsAtIndexes, IndexSet(), strings("X")), "A,B",
         0},
        {"replaceAt empty objects", "A,B",
         OP(replaceObjectsAtIndexes, lockReplaceObjectsAtIndexes, IndexSet(0), Array{}), "A,B", 0},
        {"replaceAt count mismatch", "A,B",
         OP(replaceObjectsAtIndexes, lockReplaceObjectsAtIndexes, IndexSet{0, 1}, strings("X")),
         "A,B", 0},
        {"replaceAt past the end", "A,B",
         OP(replaceObjectsAtIndexes, lockReplaceObjectsAtIndexes, IndexSet{0, 2}, strings("X,Y")),
         "A,B", 0},
        // insertObject
        {"insert at front", "A,B", OP(insertObject, lockInsertObject, Value("X"), 0), "X,A,B", 1},
        {"insert in middle", "A,B", OP(insertObject, lockInsertObject, Value("X"), 1), "A,X,B", 1},
        {"insert at count", "A,B", OP(insertObject, lockInsertObject, Value("X"), 2), "A,B,X", 1},
        {"insert past count", "A,B", OP(insertObject, lockInsertObject, Value("X"), 3), "A,B", 0},
        {"insert nil", "A,B", OP(insertObject, lockInsertObject, Value(), 0), "A,B", 0},
        // insertObjects
        {"insertObjects spread", "A,B,C",
         OP(insertObjects, lockInsertObjects, strings("X,Y"), IndexSet{1, 3}), "A,X,B,Y,C", 1},
        {"insertObjects front", "A,B,C",
         OP(insertObjects, lockInsertObjects, strings("X,Y"), IndexSet{0, 1}), "X,Y,A,B,C", 1},
        {"insertObjects end", "A,B,C",
         OP(insertObjects, lockInsertObjects, strings("X,Y"), IndexSet{3, 4}), "A,B,C,X,Y", 1},
        {"insertObjects first and last", "A,B,C",
         OP(insertObjects, lockInsertObjects, strings("X,Y"), IndexSet{0, 4}), "X,A,B,C,Y", 1},
        {"insertObjects into empty", "",
         OP(insertObjects, lockInsertObjects, strings("X,Y"), IndexSet(Range{0, 2})), "X,Y", 1},
        {"insertObjects past the end", "A,B,C",
         OP(insertObjects, lockInsertObjects, strings("X,Y"), IndexSet{1, 5}), "A,B,C", 0},
        {"insertObjects count mismatch", "A,B,C",
         OP(insertObjects, lockInsertObjects, strings("X"), IndexSet{1, 2}), "A,B,C", 0},
        {"insertObjects empty objects", "A",
         OP(insertObjects, lockInsertObjects, Array{}, IndexSet{0}), "A", 0},
        {"insertObjects empty indexes", "A",
         OP(insertObjects, lockInsertObjects, strings("X"), IndexSet()), "A", 0},
        {"insertObjects own elements", "A,B",
         OP(insertObjects, lockInsertObjects, a.arrayReadonly(), IndexSet{0, 1}), "A,B,A,B", 1},
        // removeAllObjects, removeFirstObject, removeLastObject
        {"removeAll", "A,B", OP(removeAllObjects, lockRemoveAllObjects), "", 1},
        {"removeAll when empty", "", OP(removeAllObjects, lockRemoveAllObjects), "", 0},
        {"removeFirst", "A,B", OP(removeFirstObject, lockRemoveFirstObject), "B", 1},
        {"removeFirst when empty", "", OP(removeFirstObject, lockRemoveFirstObject), "", 0},
        {"removeLast", "A,B", OP(removeLastObject, lockRemoveLastObject), "A", 1},
        {"removeLast when empty", "", OP(removeLastObject, lockRemoveLastObject), "", 0},
        // removeObject (equality)
        {"removeObject every equal", "A,B,A", OP(removeObject, lockRemoveObject, Value("A")), "B",
         1},
        {"removeObject none equal still informs", "A,B",
         OP(removeObject, lockRemoveObject, Value("Z")), "A,B", 1},
        // removeObjectAtIndex
        {"removeAt", "A,B,C", OP(removeObjectAtIndex, lockRemoveObjectAtIndex, 1), "A,C", 1},
        {"removeAt count", "A,B,C", OP(removeObjectAtIndex, lockRemoveObjectAtIndex, 3), "A,B,C",
         0},
        {"removeAt NotFound", "A", OP(removeObjectAtIndex, lockRemoveObjectAtIndex, NotFound), "A",
         0},
        // removeObjectsAtIndexes
        {"removeAtIndexes", "A,B,C,D,E",
         OP(removeObjectsAtIndexes, lockRemoveObjectsAtIndexes, IndexSet{0, 2, 3}), "B,E", 1},
        {"removeAtIndexes empty set informs", "A,B",
         OP(removeObjectsAtIndexes, lockRemoveObjectsAtIndexes, IndexSet()), "A,B", 1},
        {"removeAtIndexes past the end", "A,B",
         OP(removeObjectsAtIndexes, lockRemoveObjectsAtIndexes, IndexSet{0, 2}), "A,B", 0},
        {"removeAtIndexes all", "A,B",
         OP(removeObjectsAtIndexes, lockRemoveObjectsAtIndexes, IndexSet(Range{0, 2})), "", 1},
        // removeObjectsInArray
        {"removeInArray", "A,B,C,A",
         OP(removeObjectsInArray, lockRemoveObjectsInArray, strings("A,C")), "B", 1},
        {"removeInArray empty informs", "A",
         OP(removeObjectsInArray, lockRemoveObjectsInArray, Array{}), "A", 1},
        {"removeInArray many (hashed)", "A,B,C,D",
         OP(removeObjectsInArray, lockRemoveObjectsInArray, strings("q,w,e,r,t,y,u,i,o,p,B,D")),
         "A,C", 1},
        {"removeInArray itself", "A,B",
         OP(removeObjectsInArray, lockRemoveObjectsInArray, a.arrayReadonly()), "", 1},
        // removeObjectsInRange
        {"removeInRange", "A,B,C,D",
         OP(removeObjectsInRange, lockRemoveObjectsInRange, Range{1, 2}), "A,D", 1},
        {"removeInRange empty at end", "A,B",
         OP(removeObjectsInRange, lockRemoveObjectsInRange, Range{2, 0}), "A,B", 1},
        {"removeInRange past the end", "A,B",
         OP(removeObjectsInRange, lockRemoveObjectsInRange, Range{1, 2}), "A,B", 0},
        {"removeInRange start past the end", "A,B",
         OP(removeObjectsInRange, lockRemoveObjectsInRange, Range{3, 0}), "A,B", 0},
        {"removeInRange overflowing", "A,B",
         OP(removeObjectsInRange, lockRemoveObjectsInRange, Range{1, NotFound}), "A,B", 0},
        // removeIdenticalPtrsInArray
        {"removeIdenticals", "A,B,C,D",
         OP(removeIdenticalPtrsInArray, lockRemoveIdenticalPtrsInArray,
            Array{a.objectAtIndex(0), a.objectAtIndex(2)}),
         "B,D", 1},
        {"removeIdenticals equal but not identical removes nothing", "A,B",
         OP(removeIdenticalPtrsInArray, lockRemoveIdenticalPtrsInArray, strings("A,B")), "A,B", 1},
        {"removeIdenticals empty input", "A,B",
         OP(removeIdenticalPtrsInArray, lockRemoveIdenticalPtrsInArray, Array{}), "A,B", 0},
        {"removeIdenticals many (hashed)", "A,B,C,D",
         [](A& a, bool locked) {
             Array objects = strings("A,B,C,D,e,f,g,h,i,j");
             objects.push_back(a.objectAtIndex(3));
             objects.push_back(a.objectAtIndex(1));
             BOTH(removeIdenticalPtrsInArray, lockRemoveIdenticalPtrsInArray, objects);
         },
         "A,C", 1},
        // removeIdenticalPtr
        {"removeIdentical", "A,B",
         OP(removeIdenticalPtr, lockRemoveIdenticalPtr, a.objectAtIndex(1)), "A", 1},
        {"removeIdentical equal only", "A,B",
         OP(removeIdenticalPtr, lockRemoveIdenticalPtr, Value("B")), "A,B", 0},
        {"removeIdentical nil", "A,B", OP(removeIdenticalPtr, lockRemoveIdenticalPtr, Value()),
         "A,B", 0},
        // sorting
        {"sortUsingSelector compare:", "C,A,B",
         OP(sortUsingSelector, lockSortUsingSelector, Selector("compare:")), "A,B,C", 1},
        {"sortUsingSelector empty", "",
         OP(sortUsingSelector, lockSortUsingSelector, Selector("compare:")), "", 0},
        {"sortUsingDescriptors does not inform", "C,A,B",
         [](A& a, bool locked) {
             const SortDescriptor self[] = {{"", true}};
             BOTH(sortUsingDescriptors, lockSortUsingDescriptors, self);
         },
         "A,B,C", 0},
        {"sortUsingDescriptors empty list ignored", "C,A,B",
         OP(sortUsingDescriptors, lockSortUsingDescriptors, {}), "C,A,B", 0},
        {"sortUsingComparator", "C,A,B",
         OP(sortUsingComparator, lockSortUsingComparator,
            [](const Value& x, const Value& y) { return y.compare(x); }),
         "C,B,A", 1},
        {"sortUsingComparator empty function", "C,A",
         OP(sortUsingComparator, lockSortUsingComparator, nullptr), "C,A", 0},
    };
}

#undef BOTH

TEST(NSMutableLockArrayTest, ModifyingOperationsPlainForms) {
    for (const ModifyCase& c : modifyCases()) {
        Tracked t = tracked(c.initial);
        c.op(*t.array, false);
        EXPECT_EQ(joined(*t.array), c.expected) << c.name;
        EXPECT_EQ(t.delegate->calls, c.informs) << c.name;
    }
}

TEST(NSMutableLockArrayTest, ModifyingOperationsLockForms) {
    for (const ModifyCase& c : modifyCases()) {
        Tracked t = tracked(c.initial);
        c.op(*t.array, true);
        EXPECT_EQ(joined(*t.array), c.expected) << c.name;
        EXPECT_EQ(t.delegate->calls, c.informs) << c.name;
    }
}

TEST(NSMutableLockArrayTest, MoveTable) {
    struct Case {
        std::size_t from;
        std::size_t to;
        const char* expected;
        int informs;  // plain form: the removal and the insertion each inform
        const char* lockExpected;
    };
    const Case cases[] = {
        {0, 3, "B,C,A,D", 2, "B,C,A,D"},
        {3, 0, "D,A,B,C", 2, "D,A,B,C"},
        {0, 4, "B,C,D,A", 2, "B,C,D,A"},
        {2, 1, "A,C,B,D", 2, "A,C,B,D"},
        {1, 2, "A,B,C,D", 2, "A,B,C,D"},  // to - 1 == from: back where it was
        {1, 1, "A,B,C,D", 0, "A,B,C,D"},
        {0, 5, "A,B,C,D", 0, "B,C,D,A"},  // plain: to past the end; lock: appends
        {1, 99, "A,B,C,D", 0, "A,C,D,B"},
        {4, 0, "A,B,C,D", 0, "A,B,C,D"},  // from out of range: nothing in both
        {NotFound, 0, "A,B,C,D", 0, "A,B,C,D"},
    };
    for (const Case& c : cases) {
        Tracked plain = tracked("A,B,C,D");
        plain.array->moveObjectFromIndex(c.from, c.to);
        EXPECT_EQ(joined(*plain.array), c.expected) << c.from << "->" << c.to;
        EXPECT_EQ(plain.delegate->calls, c.informs) << c.from << "->" << c.to;

        Tracked locked = tracked("A,B,C,D");
        locked.array->lockMoveObjectFromIndex(c.from, c.to);
        EXPECT_EQ(joined(*locked.array), c.lockExpected) << "lock " << c.from << "->" << c.to;
        EXPECT_EQ(locked.delegate->calls, 0) << "the lock form never informs";
    }
}

TEST(NSMutableLockArrayTest, MoveKeepsTheSameObject) {
    NSMutableLockArray array(strings("A,B,C"));
    const Value a = array.objectAtIndex(0);
    array.moveObjectFromIndex(0, 3);
    EXPECT_TRUE(array.objectAtIndex(2).isIdenticalTo(a));
    array.lockMoveObjectFromIndex(2, 0);
    EXPECT_TRUE(array.objectAtIndex(0).isIdenticalTo(a));
}

TEST(NSMutableLockArrayTest, SetObjectAtIndexedSubscript) {
    struct Case {
        const char* name;
        Value object;
        std::size_t index;
        const char* expected;
        int informs;
    };
    const Case cases[] = {
        {"replaces below the count", Value("X"), 1, "A,X,C", 1},
        {"nil removes below the count", Value(), 1, "A,C", 1},
        {"index == count appends", Value("X"), 3, "A,B,C,X", 1},
        {"index past count appends", Value("X"), 10, "A,B,C,X", 1},
        {"nil at count ignored", Value(), 3, "A,B,C", 0},
    };
    for (const Case& c : cases) {
        Tracked t = tracked("A,B,C");
        t.array->setObject(c.object, c.index);
        EXPECT_EQ(joined(*t.array), c.expected) << c.name;
        EXPECT_EQ(t.delegate->calls, c.informs) << c.name;
    }
}

TEST(NSMutableLockArrayTest, RemoveIdenticalPtrsTakesTheFirstIdenticalOnly) {
    Tracked t = tracked("");
    const Value shared("X");
    t.array->addObject(shared);
    t.array->addObject(Value("Y"));
    t.array->addObject(shared);
    t.delegate->calls = 0;
    // Listed twice, but both find the same first element: one removal.
    t.array->removeIdenticalPtrsInArray(Array{shared, shared});
    EXPECT_EQ(joined(*t.array), "Y,X");
    EXPECT_TRUE(t.array->objectAtIndex(1).isIdenticalTo(shared));
    EXPECT_EQ(t.delegate->calls, 1);
}

TEST(NSMutableLockArrayTest, RemoveIdenticalPtrRemovesFirstOnly) {
    Tracked t = tracked("");
    const Value shared("X");
    t.array->addObjectsFromArray(Array{Value("X"), shared, shared});
    t.delegate->calls = 0;
    t.array->removeIdenticalPtr(shared);
    ASSERT_EQ(t.array->count(), 2u);
    EXPECT_FALSE(t.array->objectAtIndex(0).isIdenticalTo(shared));
    EXPECT_TRUE(t.array->objectAtIndex(1).isIdenticalTo(shared));
    EXPECT_EQ(t.delegate->calls, 1);
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

// --- Sorting -----------------------------------------------------------------------------

TEST(NSMutableLockArrayTest, SortUsingCompareIsStable) {
    const Value a1("a");
    const Value a2("a");
    NSMutableLockArray array(Array{Value("b"), a1, Value(3), a2, Value(1.5), Value()});
    array.sortUsingSelector(Selector("compare:"));
    // nil first, then numbers, then strings (Value::compare's kind order).
    ASSERT_EQ(array.count(), 6u);
    EXPECT_TRUE(array.objectAtIndex(0).isNil());
    EXPECT_EQ(array.objectAtIndex(1), Value(1.5));
    EXPECT_EQ(array.objectAtIndex(2), Value(3));
    EXPECT_TRUE(array.objectAtIndex(3).isIdenticalTo(a1));
    EXPECT_TRUE(array.objectAtIndex(4).isIdenticalTo(a2));
    EXPECT_EQ(array.objectAtIndex(5), Value("b"));
}

TEST(NSMutableLockArrayTest, SortUsingCaseInsensitiveCompare) {
    Tracked t = tracked("b,A,a,B,c,ä,Ä,ß,SS,Z");
    t.array->lockSortUsingSelector(Selector("caseInsensitiveCompare:"));
    // Equal under case folding keep their order (ß folds to ss); code unit order after
    // folding puts ä after z.
    EXPECT_EQ(joined(*t.array), "A,a,b,B,c,ß,SS,Z,ä,Ä");
    EXPECT_EQ(t.delegate->calls, 1);

    NSMutableLockArray mixed(Array{Value("b"), Value(2), Value("A")});
    mixed.sortUsingSelector(Selector("caseInsensitiveCompare:"));
    EXPECT_EQ(joined(mixed), "2,A,b");
}

TEST(NSMutableLockArrayTest, SortUsingOtherSelectorAsksTheElements) {
    const Value r3(std::make_shared<Ranked>(3, "r3"));
    const Value r1(std::make_shared<Ranked>(1, "r1"));
    const Value r2(std::make_shared<Ranked>(2, "r2"));
    const Value r1b(std::make_shared<Ranked>(1, "r1b"));
    Tracked t = tracked("");
    t.array->addObjectsFromArray(Array{r3, r1, r2, r1b});
    t.delegate->calls = 0;
    t.array->sortUsingSelector(Ranked::compareByRank());
    EXPECT_EQ(joined(*t.array), "r1,r1b,r2,r3");
    EXPECT_EQ(t.delegate->calls, 1);

    // Elements that do not respond: the other one is asked; two such keep their order.
    NSMutableLockArray mixed(Array{Value("x"), r2, Value("y"), r1});
    mixed.sortUsingSelector(Ranked::compareByRank());
    EXPECT_EQ(joined(mixed), "x,y,r1,r2");
}

TEST(NSMutableLockArrayTest, SortUsingDescriptors) {
    auto item = [](int due, const char* title) {
        return Value(Dictionary{{"due", due}, {"title", title}});
    };
    NSMutableLockArray array(
        Array{item(2, "b"), item(1, "a"), item(2, "c"), item(1, "z"), item(0, "q")});
    const SortDescriptor order[] = {{"due", true}, {"title", false}};
    array.sortUsingDescriptors(order);
    EXPECT_EQ(array.valueForKey("title"), Value(Array{"q", "z", "a", "c", "b"}));

    // Stability: equal keys keep their relative order.
    const Value x1 = item(1, "same");
    const Value x2 = item(1, "same");
    NSMutableLockArray ties(Array{x1, item(0, "first"), x2});
    const SortDescriptor byDue[] = {{"due", true}};
    ties.lockSortUsingDescriptors(byDue);
    EXPECT_TRUE(ties.objectAtIndex(1).isIdenticalTo(x1));
    EXPECT_TRUE(ties.objectAtIndex(2).isIdenticalTo(x2));

    // Objects through their own valueForKey.
    NSMutableLockArray ranked(Array{Value(std::make_shared<Ranked>(2, "two")),
                                    Value(std::make_shared<Ranked>(1, "one"))});
    const SortDescriptor byRank[] = {{"rank", true}};
    ranked.sortUsingDescriptors(byRank);
    EXPECT_EQ(joined(ranked), "one,two");
}

TEST(NSMutableLockArrayTest, SortUsingComparatorIsStable) {
    Tracked t = tracked("ccc,a,bb,d,ee,f");
    t.array->lockSortUsingComparator([](const Value& x, const Value& y) {
        const auto lx = x.asString()->size();
        const auto ly = y.asString()->size();
        return lx < ly ? ComparisonResult::Ascending
                       : (lx > ly ? ComparisonResult::Descending : ComparisonResult::Same);
    });
    EXPECT_EQ(joined(*t.array), "a,d,f,bb,ee,ccc");
    EXPECT_EQ(t.delegate->calls, 1);
}

// Large enough that no sort gets away with an insertion sort: equal elements must keep
// their order in every kind of sort.
TEST(NSMutableLockArrayTest, EverySortIsStableOnLargeInput) {
    using A = NSMutableLockArray;
    const SortDescriptor byKey[] = {{"k", true}};
    const std::pair<const char*, std::function<void(A&)>> sorts[] = {
        {"compare:", [](A& a) { a.sortUsingSelector(Selector("compare:")); }},
        {"caseInsensitiveCompare:",
         [](A& a) { a.sortUsingSelector(Selector("caseInsensitiveCompare:")); }},
        {"descriptors", [&byKey](A& a) { a.sortUsingDescriptors(byKey); }},
        {"comparator",
         [](A& a) {
             a.sortUsingComparator([](const Value& x, const Value& y) { return x.compare(y); });
         }},
    };
    for (const auto& [name, sort] : sorts) {
        const bool dictionaries = std::string_view(name) == "descriptors";
        Array elements;
        for (int i = 0; i < 500; ++i) {
            // Separate Values with equal content: only identity tells them apart.
            const std::string key = std::string(i % 2 ? "K" : "k") + std::to_string((i * 7) % 5);
            const bool caseBlind = std::string_view(name) == "caseInsensitiveCompare:";
            const Value text(caseBlind ? key : std::string("k").append(key, 1));
            elements.push_back(dictionaries ? Value(Dictionary{{"k", text}}) : text);
        }
        NSMutableLockArray array(elements);
        sort(array);
        ASSERT_EQ(array.count(), elements.size()) << name;
        std::vector<std::size_t> originalIndexes;
        for (const Value& v : array) {
            std::size_t original = 0;
            while (!elements[original].isIdenticalTo(v)) {
                ++original;
            }
            originalIndexes.push_back(original);
        }
        for (std::size_t i = 1; i < array.count(); ++i) {
            const Value& previous = array.arrayReadonly()[i - 1];
            const Value& current = array.arrayReadonly()[i];
            const Value pk = dictionaries ? previous[Value("k")] : previous;
            const Value ck = dictionaries ? current[Value("k")] : current;
            // Case-blind: "k3" and "K3" are equal; compare what follows the letter.
            const bool caseBlind = std::string_view(name) == "caseInsensitiveCompare:";
            const Value pc = caseBlind ? Value(pk.asString()->substr(1)) : pk;
            const Value cc = caseBlind ? Value(ck.asString()->substr(1)) : ck;
            if (pc.isEqual(cc)) {
                EXPECT_LT(originalIndexes[i - 1], originalIndexes[i]) << name << " at " << i;
            } else {
                EXPECT_EQ(pc.compare(cc), ComparisonResult::Ascending) << name << " at " << i;
            }
        }
    }
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

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/collections/LockArrayTestSupport.h"

namespace velmora {
namespace {

using namespace test;
using namespace std::chrono_literals;

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

}  // namespace
}  // namespace velmora

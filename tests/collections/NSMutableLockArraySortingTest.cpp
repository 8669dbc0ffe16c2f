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

}  // namespace
}  // namespace velmora

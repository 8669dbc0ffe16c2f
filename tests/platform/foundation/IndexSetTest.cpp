#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/foundation/IndexSet.h"

namespace velmora {
namespace {

std::vector<std::size_t> indexesOf(const IndexSet& set) {
    return {set.begin(), set.end()};
}

std::size_t totalLength(const std::vector<Range>& ranges) {
    std::size_t total = 0;
    for (const Range r : ranges) {
        total += r.length;
    }
    return total;
}

std::vector<Range> rangesOf(const IndexSet& set) {
    return {set.ranges().begin(), set.ranges().end()};
}

TEST(IndexSetTest, EmptySet) {
    const IndexSet set;
    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set.count(), 0u);
    EXPECT_EQ(set.firstIndex(), NotFound);
    EXPECT_EQ(set.lastIndex(), NotFound);
    EXPECT_FALSE(set.contains(0));
    EXPECT_EQ(set.begin(), set.end());
    EXPECT_EQ(set, IndexSet());
}

TEST(IndexSetTest, Constructors) {
    const IndexSet one(5);
    EXPECT_EQ(indexesOf(one), (std::vector<std::size_t>{5}));
    EXPECT_EQ(one.firstIndex(), 5u);
    EXPECT_EQ(one.lastIndex(), 5u);

    const IndexSet range(Range{2, 3});
    EXPECT_EQ(indexesOf(range), (std::vector<std::size_t>{2, 3, 4}));
    EXPECT_EQ(range.count(), 3u);

    EXPECT_TRUE(IndexSet(Range{4, 0}).empty());

    const IndexSet listed{7, 1, 3, 2};
    EXPECT_EQ(indexesOf(listed), (std::vector<std::size_t>{1, 2, 3, 7}));
    EXPECT_EQ(rangesOf(listed), (std::vector<Range>{{1, 3}, {7, 1}}));
}

TEST(IndexSetTest, AddMergesTouchingAndOverlappingRuns) {
    struct Case {
        const char* name;
        std::vector<Range> added;
        std::vector<Range> expected;
    };
    const Case cases[] = {
        {"disjoint stay apart", {{0, 2}, {5, 2}}, {{0, 2}, {5, 2}}},
        {"adjacent after", {{0, 2}, {2, 2}}, {{0, 4}}},
        {"adjacent before", {{2, 2}, {0, 2}}, {{0, 4}}},
        {"overlap", {{0, 3}, {2, 3}}, {{0, 5}}},
        {"contained", {{0, 10}, {3, 2}}, {{0, 10}}},
        {"bridges several", {{0, 1}, {3, 1}, {6, 1}, {9, 1}, {1, 8}}, {{0, 10}}},
        {"fills a gap of one", {{0, 2}, {3, 2}, {2, 1}}, {{0, 5}}},
        {"inserted between", {{0, 1}, {10, 1}, {5, 1}}, {{0, 1}, {5, 1}, {10, 1}}},
        {"duplicate index", {{4, 1}, {4, 1}}, {{4, 1}}},
        {"empty range ignored", {{4, 0}}, {}},
    };
    for (const Case& c : cases) {
        IndexSet set;
        for (const Range r : c.added) {
            set.add(r);
        }
        EXPECT_EQ(rangesOf(set), c.expected) << c.name;
        EXPECT_EQ(set.count(), totalLength(c.expected)) << c.name;
    }
}

TEST(IndexSetTest, RemoveSplitsAndTrimsRuns) {
    struct Case {
        const char* name;
        Range removed;
        std::vector<Range> expected;
    };
    // Starting from {0..4, 10..14}.
    const Case cases[] = {
        {"middle splits", {2, 1}, {{0, 2}, {3, 2}, {10, 5}}},
        {"front trims", {0, 2}, {{2, 3}, {10, 5}}},
        {"back trims", {3, 2}, {{0, 3}, {10, 5}}},
        {"across the gap", {3, 9}, {{0, 3}, {12, 3}}},
        {"whole run", {10, 5}, {{0, 5}}},
        {"everything", {0, 100}, {}},
        {"inside the gap", {6, 3}, {{0, 5}, {10, 5}}},
        {"past the end", {20, 3}, {{0, 5}, {10, 5}}},
        {"empty", {2, 0}, {{0, 5}, {10, 5}}},
    };
    for (const Case& c : cases) {
        IndexSet set(Range{0, 5});
        set.add(Range{10, 5});
        set.remove(c.removed);
        EXPECT_EQ(rangesOf(set), c.expected) << c.name;
        EXPECT_EQ(set.count(), totalLength(c.expected)) << c.name;
    }
}

TEST(IndexSetTest, RemoveSingleIndex) {
    IndexSet set{1, 2, 3};
    set.remove(2);
    EXPECT_EQ(indexesOf(set), (std::vector<std::size_t>{1, 3}));
    set.remove(9);
    EXPECT_EQ(set.count(), 2u);
    set.remove(1);
    set.remove(3);
    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set, IndexSet());
}

TEST(IndexSetTest, ContainsFirstLast) {
    IndexSet set(Range{3, 4});
    set.add(20);
    for (std::size_t i = 0; i < 25; ++i) {
        EXPECT_EQ(set.contains(i), (i >= 3 && i < 7) || i == 20) << i;
    }
    EXPECT_EQ(set.firstIndex(), 3u);
    EXPECT_EQ(set.lastIndex(), 20u);
}

TEST(IndexSetTest, NotFoundIsNeverAnIndex) {
    IndexSet set;
    set.add(NotFound);
    EXPECT_TRUE(set.empty());
    set.add(Range{NotFound - 2, 10});
    EXPECT_EQ(set.count(), 2u);
    EXPECT_EQ(set.lastIndex(), NotFound - 1);
    EXPECT_FALSE(set.contains(NotFound));
}

TEST(IndexSetTest, EqualityIsByContent) {
    IndexSet a{1, 2, 3};
    IndexSet b(Range{1, 3});
    EXPECT_EQ(a, b);
    b.add(5);
    EXPECT_NE(a, b);
    b.remove(5);
    EXPECT_EQ(a, b);
    IndexSet copy = a;
    copy.add(0);
    EXPECT_EQ(a.count(), 3u);  // a value type: the copy is separate
}

TEST(IndexSetTest, ClearEmpties) {
    IndexSet set{1, 5, 9};
    set.clear();
    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set.begin(), set.end());
}

TEST(IndexSetTest, IteratorWorksWithAlgorithms) {
    const IndexSet set{0, 1, 2, 8, 9};
    static_assert(std::forward_iterator<IndexSet::const_iterator>);
    EXPECT_EQ(std::distance(set.begin(), set.end()), 5);
    EXPECT_EQ(*std::find(set.begin(), set.end(), 8u), 8u);
    auto it = set.begin();
    EXPECT_EQ(*it++, 0u);
    EXPECT_EQ(*it, 1u);
}

// Random adds and removes against std::set as the model.
TEST(IndexSetTest, MatchesASetModel) {
    std::mt19937 random(12345);
    IndexSet set;
    std::set<std::size_t> model;
    for (int step = 0; step < 4000; ++step) {
        const std::size_t location = random() % 200;
        const std::size_t length = random() % 6;
        const bool adding = random() % 3 != 0;
        for (std::size_t i = location; i < location + length; ++i) {
            if (adding) {
                model.insert(i);
            } else {
                model.erase(i);
            }
        }
        if (adding) {
            set.add(Range{location, length});
        } else {
            set.remove(Range{location, length});
        }
        ASSERT_EQ(set.count(), model.size()) << step;
        ASSERT_TRUE(std::equal(set.begin(), set.end(), model.begin(), model.end())) << step;
        const auto ranges = set.ranges();
        for (std::size_t i = 1; i < ranges.size(); ++i) {
            ASSERT_GT(ranges[i].location, ranges[i - 1].end()) << "runs must not touch";
        }
        const std::size_t probe = random() % 210;
        ASSERT_EQ(set.contains(probe), model.count(probe) == 1) << probe;
    }
}

}  // namespace
}  // namespace velmora

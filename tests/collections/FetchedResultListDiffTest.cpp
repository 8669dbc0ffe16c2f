#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/collections/FetchedResultListDiff.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

#include "tests/collections/FetchedListTestSupport.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using test::listOf;
using test::shapeOf;
using Rows = std::vector<IndexPath>;

std::shared_ptr<FetchedResultListDiff> diffOf(const std::shared_ptr<FetchedResultList>& old,
                                              const std::shared_ptr<FetchedResultList>& fresh,
                                              bool findUpdatedRows, bool modify) {
    return FetchedResultListDiff::getFetchedResultDiffWithOldResult(old, fresh, findUpdatedRows,
                                                                    modify);
}

// "x0,x1,...": count items named by prefix, modified at Date(1).
std::string items(const std::string& prefix, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += (i > 0 ? "," : "") + prefix + std::to_string(i) + "@1";
    }
    return text;
}

// Lines as "LEVEL text", the level as one letter (E, W, I, D, V).
class LevelFormatter : public LogFormatter {
  public:
    std::string formatLogMessage(const LogMessage& message) override {
        const char* level = message.flag == 1   ? "E"
                            : message.flag == 2 ? "W"
                            : message.flag == 4 ? "I"
                            : message.flag == 8 ? "D"
                                                : "V";
        return std::string(level) + " " + message.text;
    }
};

// Captures every log line for the scope.
class CapturedLog {
  public:
    CapturedLog() : memory_(std::make_shared<MemoryLogger>(1000)) {
        memory_->setLogFormatter(std::make_shared<LevelFormatter>());
        Log::addLogger(memory_, LogLevel::Verbose);
    }
    ~CapturedLog() { Log::removeLogger(memory_); }
    std::vector<std::string> lines() const { return memory_->lines(); }

  private:
    std::shared_ptr<MemoryLogger> memory_;
};

TEST(FetchedResultListDiffTest, NullAndEmptyLists) {
    EXPECT_FALSE(diffOf(nullptr, listOf("A:a"), false, false));
    EXPECT_FALSE(diffOf(listOf("A:a"), nullptr, true, true));

    auto diff = diffOf(FetchedResultList::create(), FetchedResultList::create(), true, true);
    ASSERT_TRUE(diff);
    EXPECT_FALSE(diff->didAnythingChange());

    auto old = FetchedResultList::create();
    diff = diffOf(old, listOf("A:a|B:"), true, true);
    ASSERT_TRUE(diff);
    EXPECT_EQ(diff->insertedSections(), (IndexSet{0, 1}));
    EXPECT_TRUE(diff->insertedRows().empty());
    EXPECT_EQ(shapeOf(*old), "A:a|B:");

    diff = diffOf(old, FetchedResultList::create(), false, true);
    ASSERT_TRUE(diff);
    EXPECT_EQ(diff->deletedSections(), (IndexSet{0, 1}));
    EXPECT_EQ(shapeOf(*old), "");
}

TEST(FetchedResultListDiffTest, IdenticalListsChangeNothing) {
    for (const bool findUpdatedRows : {false, true}) {
        auto old = listOf("A:a@1,b@2|B:|C:c@3", Date(10));
        auto diff = diffOf(old, listOf("A:a@1,b@2|B:|C:c@3", Date(20)), findUpdatedRows, true);
        ASSERT_TRUE(diff);
        EXPECT_FALSE(diff->didAnythingChange());
        EXPECT_FALSE(diff->didOnlySectionsRearrange());
        EXPECT_TRUE(diff->insertedRows().empty() && diff->deletedRows().empty());
        EXPECT_EQ(diff->description(),
                  "FETCHED DIFF: [Sections To Reload: 0], [Added Sections: 0], [Removed "
                  "Sections: 0], [Updated and Removed Sections: 0], [Updated and Added "
                  "Sections: 0], [Added Rows: 0], [Removed Rows: 0], [Removed Rows Per "
                  "Section: 0], [Added Rows Per Section: 0], [Updated and Removed Rows Per "
                  "Section: 0], [Updated and Added Rows per Section: 0]");
        EXPECT_EQ(old->timeOfFetch(), Date(20));
    }
}

TEST(FetchedResultListDiffTest, SwappedSectionsOnlyRearrange) {
    auto old = listOf("A:a|B:b,c");
    auto diff = diffOf(old, listOf("B:b,c|A:a"), false, true);
    ASSERT_TRUE(diff);
    EXPECT_TRUE(diff->insertedSections().empty() && diff->deletedSections().empty());
    EXPECT_EQ(diff->updateAndDeleteSection(), (IndexSet{0, 1}));
    EXPECT_EQ(diff->updateAndInsertSection(), (IndexSet{0, 1}));
    EXPECT_TRUE(diff->didOnlySectionsRearrange());
    EXPECT_TRUE(diff->didAnythingChange());
    EXPECT_EQ(shapeOf(*old), "B:b,c|A:a");
}

TEST(FetchedResultListDiffTest, RowModifiedAfterTheFetchIsUpdatedOnlyWhenAskedFor) {
    auto old = listOf("A:a@5,b@5", Date(10));
    auto fresh = listOf("A:a@5,b@20", Date(30));
    auto diff = diffOf(old, fresh, false, false);
    ASSERT_TRUE(diff);
    EXPECT_TRUE(diff->deletedRows().empty() && diff->insertedRows().empty());

    diff = diffOf(old, fresh, true, true);
    ASSERT_TRUE(diff);
    EXPECT_EQ(diff->deletedRows(), (Rows{{1, 0}}));
    EXPECT_EQ(diff->insertedRows(), (Rows{{1, 0}}));
    // The narrow test is deliberate: updated rows alone do not count as a change.
    EXPECT_FALSE(diff->didAnythingChange());
    const Value after = old->allFetchedSectionItems()->objectAtIndex(0);
    EXPECT_TRUE((*after.asArray())[1].isIdenticalTo(
        (*fresh->allFetchedSectionItems()->objectAtIndex(0).asArray())[1]));
}

TEST(FetchedResultListDiffTest, ChangeLimitBreaksOffWithNoDiff) {
    struct Case {
        const char* name;
        std::string old;
        std::string fresh;
        const char* breakOff;  // the warning, or nullptr when the diff stays
    };
    const std::vector<Case> cases = {
        {"100 rows added", "A:a@1", "A:a@1," + items("n", 100), nullptr},
        {"101 rows added", "A:a@1", "A:a@1," + items("n", 101),
         "BREAKING OFF, max row insertions reached"},
        {"101 rows removed", "A:a@1," + items("o", 101), "A:a@1",
         "BREAKING OFF, max row deletions reached"},
        {"60 removed, then 41 added", "A:" + items("o", 60), "A:" + items("n", 41),
         "BREAKING OFF, max row insertions reached"},
        {"removed section of 101", "A:a@1|B:" + items("o", 101), "A:a@1",
         "BREAKING OFF, max deletions reached"},
        {"added section of 101", "A:a@1", "A:a@1|B:" + items("n", 101),
         "BREAKING OFF, max insertions reached"},
        {"added sections past 100 together", "A:a@1",
         "A:a@1|B:" + items("n", 60) + "|C:" + items("m", 41),
         "BREAKING OFF, max insertions reached"},
        {"removed sections past 100 together", "A:a@1|B:" + items("o", 60) + "|C:" + items("p", 41),
         "A:a@1", "BREAKING OFF, max deletions reached"},
        {"removed section, then removed rows", "A:" + items("o", 50) + "|B:" + items("p", 60),
         "A:", "BREAKING OFF, max row deletions reached"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CapturedLog log;
        auto diff = diffOf(listOf(c.old, Date(10)), listOf(c.fresh), true, true);
        EXPECT_EQ(diff == nullptr, c.breakOff != nullptr);
        if (c.breakOff != nullptr) {
            EXPECT_EQ(log.lines().back(), std::string("W ") + c.breakOff);
        }
    }
}

TEST(FetchedResultListDiffTest, LogsEachStepInOrderAtItsLevel) {
    CapturedLog log;
    auto old = listOf("A:a|B:b|C:c");
    ASSERT_TRUE(diffOf(old, listOf("B:b,x|D:d|A:a"), false, true));
    EXPECT_EQ(shapeOf(*old), "B:b,x|D:d|A:a");
    const std::vector<std::string> expected = {
        "D \n\n\n[getFetchedResultListDiff] Will findUpdatedRows? 0",
        "D \n[getListDiffFrom] Performing diff. All Fetched Items Count: 3",
        "D [getListDiffFrom] [1] Get List of Removed Sections...",
        "V [getListDiffFrom] Removed section: C, index: 2",
        "D [getListDiffFrom MOD] Finally removing sections in one go: [number of indexes: 1 (in 1 "
        "ranges), indexes: (2)]",
        "D [getListDiffFrom] [2] Get List of Added Sections...",
        "V [getListDiffFrom] Added new section: D, index: 1",
        "D [getListDiffFrom] [3] Found 2 sections that still exist in new result, will look for "
        "changed rows now...",
        "D [LIST DIFF]\n\nAdded Sections: 1\n\nRemoved Sections:1\n\nAdded Rows:1\n\nRemoved "
        "Rows:0\n\n",
        "D [getListDiffFrom] All Items Final Count: 4",
    };
    EXPECT_EQ(log.lines(), expected);
}

TEST(FetchedResultListDiffTest, ListIsModifiedIntoItsSuccessor) {
    const char* oldShape = "Work:d@1,e@1|Inbox:a@1,b@1,c@1|Home:f@1";
    const char* newShape = "Work:e@1,d@1|Inbox:a@1,c@20,h@1|Errands:g@1";
    // Records show as their ids.
    const char* oldIds = "Work:d,e|Inbox:a,b,c|Home:f";
    const char* newIds = "Work:e,d|Inbox:a,c,h|Errands:g";
    for (const bool modify : {false, true}) {
        SCOPED_TRACE(modify ? "modifying" : "reporting");
        auto old = listOf(oldShape, Date(10));
        auto fresh = listOf(newShape, Date(30));
        fresh->extraFetchedStorage()->addObject(Value("kept"));
        fresh->extraFetchedMetaData().asDictionary()->set("query", "all");
        auto diff = diffOf(old, fresh, true, modify);
        ASSERT_TRUE(diff);
        EXPECT_EQ(diff->deletedSections(), IndexSet{2});
        EXPECT_EQ(diff->insertedSections(), IndexSet{2});
        EXPECT_TRUE(diff->updateAndDeleteSection().empty());
        EXPECT_EQ(diff->deletedRows(), (Rows{{1, 0}, {0, 0}, {1, 1}, {2, 1}}));
        EXPECT_EQ(diff->insertedRows(), (Rows{{0, 0}, {1, 0}, {2, 1}, {1, 1}}));
        EXPECT_EQ(shapeOf(*old), modify ? newIds : oldIds);
        EXPECT_EQ(old->timeOfFetch(), modify ? Date(30) : Date(10));
        EXPECT_EQ(old->extraFetchedStorage()->count(), modify ? 1u : 0u);
        EXPECT_EQ(old->extraFetchedMetaData().count(), modify ? 1u : 0u);
        if (modify) {
            // The updated row is the new version of the item.
            const Value c = (*old->allFetchedSectionItems()->objectAtIndex(1).asArray())[1];
            EXPECT_TRUE(
                c.isIdenticalTo((*fresh->allFetchedSectionItems()->objectAtIndex(1).asArray())[1]));
            // The metadata is a copy, not the new list's dictionary.
            EXPECT_FALSE(old->extraFetchedMetaData().isIdenticalTo(fresh->extraFetchedMetaData()));
        }
    }
}

TEST(FetchedResultListDiffTest, ReorderedRowsCountOnlyAsAPureReorder) {
    struct Case {
        const char* name;
        const char* fresh;
        bool findUpdatedRows;
        Rows deleted;
        Rows inserted;
        const char* oldAfterwards;
    };
    const std::vector<Case> cases = {
        {"pure reorder",
         "A:c@1,a@1,b@1",
         true,
         {{2, 0}, {0, 0}, {1, 0}},
         {{0, 0}, {1, 0}, {2, 0}},
         "A:c,a,b"},
        {"reorder without findUpdatedRows", "A:c@1,a@1,b@1", false, {}, {}, "A:a,b,c"},
        // Deliberate: with a row added, the survivors keep their old order.
        {"reorder and an added row", "A:c@1,a@1,b@1,x@1", true, {}, {{3, 0}}, "A:a,b,c,x"},
        {"reorder and a removed row", "A:c@1,a@1", true, {{1, 0}}, {}, "A:a,c"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto old = listOf("A:a@1,b@1,c@1", Date(10));
        auto diff = diffOf(old, listOf(c.fresh), c.findUpdatedRows, true);
        ASSERT_TRUE(diff);
        EXPECT_EQ(diff->deletedRows(), c.deleted);
        EXPECT_EQ(diff->insertedRows(), c.inserted);
        EXPECT_EQ(shapeOf(*old), c.oldAfterwards);
    }
}

TEST(FetchedResultListDiffTest, DuplicatesCountOnceAtTheirFirstPosition) {
    auto diff = diffOf(listOf("A:a,b,a,d|A:z"), listOf("A:b,a,c"), false, false);
    ASSERT_TRUE(diff);
    EXPECT_EQ(diff->deletedRows(), (Rows{{3, 0}}));
    EXPECT_EQ(diff->insertedRows(), (Rows{{2, 0}}));
    EXPECT_TRUE(diff->deletedSections().empty());
}

TEST(FetchedResultListDiffTest, MatchedObjectsTakeOverTheirOldState) {
    auto record = [](const char* id, std::string state) {
        return Value(std::make_shared<test::StatefulRecord>(Value(id), Date(1), std::move(state)));
    };
    auto old = FetchedResultList::create();
    old->allFetchedSections()->addObject(record("S", "expanded"));
    old->allFetchedSectionItems()->addObject(Array{record("a", "selected"), record("b", "")});
    auto fresh = FetchedResultList::create();
    const Value section = record("S", "");
    const Value item = record("a", "");
    fresh->allFetchedSections()->addObject(section);
    fresh->allFetchedSectionItems()->addObject(Array{item, record("c", "")});
    ASSERT_TRUE(diffOf(old, fresh, true, false));
    EXPECT_EQ(section.asObject<test::StatefulRecord>()->state(), "expanded");
    EXPECT_EQ(item.asObject<test::StatefulRecord>()->state(), "selected");
}

TEST(FetchedResultListDiffTest, ExceptionsAreLoggedAndReleaseTheLocks) {
    struct Case {
        const char* name;
        bool throwingItem;  // else: items without a modification date
        const char* error;
    };
    const std::vector<Case> cases = {
        {"state copy throws", true, "E [getListDiffFrom] error creating diff: state copy failed"},
        {"no modification date", false,
         "E [getListDiffFrom] error creating diff: a has no modificationDateStamp"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto old = listOf(c.throwingItem ? "A:a@1,b@1" : "A:a,b");
        auto fresh = listOf(c.throwingItem ? "A:a@1,c@1" : "A:a,c");
        if (c.throwingItem) {
            auto throwing = std::make_shared<test::StatefulRecord>(Value("a"), Date(1));
            throwing->throws = true;
            (*fresh->allFetchedSectionItems()->objectAtIndex(0).asArray())[0] = Value(throwing);
        }
        CapturedLog log;
        EXPECT_FALSE(diffOf(old, fresh, true, true));
        EXPECT_EQ(log.lines().back(), c.error);
        // Every write lock was given back: a writer on another thread gets through.
        auto writer = std::async(std::launch::async, [&] {
            old->allFetchedSectionItems()->lockAddObject(Array{});
            old->allFetchedSections()->lockAddObject(Value("B"));
            old->extraFetchedStorage()->lockAddObject(Value(1));
        });
        EXPECT_EQ(writer.wait_for(10s), std::future_status::ready);
    }
}

TEST(FetchedResultListDiffTest, WaitsForAnotherThreadHoldingALockOfTheOldList) {
    auto old = listOf("A:a");
    auto sections = old->allFetchedSections();
    std::promise<void> holding;
    std::promise<void> release;
    std::thread holder([&, released = release.get_future()] {
        NSMutableLockArray::ReadLock lock(*sections);
        holding.set_value();
        released.wait_for(10s);
    });
    holding.get_future().wait();
    auto diff = std::async(std::launch::async,
                           [&] { return diffOf(old, listOf("A:a,b|B:c"), false, true); });
    // It cannot finish while the lock is held; looking for a moment proves it waits.
    EXPECT_EQ(diff.wait_for(50ms), std::future_status::timeout);
    release.set_value();
    holder.join();
    ASSERT_EQ(diff.wait_for(10s), std::future_status::ready);
    EXPECT_TRUE(diff.get());
    EXPECT_EQ(shapeOf(*old), "A:a,b|B:c");
}

TEST(FetchedResultListDiffTest, IndexPathsOrderBySectionThenRow) {
    EXPECT_LT((IndexPath{5, 0}), (IndexPath{0, 1}));
    EXPECT_LT((IndexPath{1, 2}), (IndexPath{2, 2}));
    EXPECT_EQ((IndexPath{3, 1}).description(), "[3, 1]");
    EXPECT_EQ(std::hash<IndexPath>{}({3, 1}), std::hash<IndexPath>{}({3, 1}));
}

}  // namespace
}  // namespace velmora

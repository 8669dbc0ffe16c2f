#include <gtest/gtest.h>

#include "Velmora/collections/FetchedResultList.h"
#include "Velmora/platform/storage/Coding.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/KeyedUnarchiver.h"

#include "tests/collections/FetchedListTestSupport.h"

namespace velmora {
namespace {

using test::listOf;
using test::shapeOf;

TEST(FetchedResultListTest, EmptyListHasNoItemsAndNoSectionForAnything) {
    auto list = FetchedResultList::create();
    EXPECT_EQ(list->allFetchedItems().count(), 0u);
    EXPECT_TRUE(list->allFetchedItems().isArray());
    EXPECT_EQ(list->allFetchedItemsCount(), 0u);
    EXPECT_TRUE(list->getSectionForItem(Value("a")).isNil());
    EXPECT_TRUE(list->extraFetchedMetaData().isDictionary());
    EXPECT_EQ(list->extraFetchedStorage()->count(), 0u);
    EXPECT_FALSE(list->timeOfFetch());
}

TEST(FetchedResultListTest, SectionedItemsFlattenInOrderAndFindTheEarlierSection) {
    auto list = FetchedResultList::initWithSectionedItems(
        {Array{"Today", Array{Array{"milk", "eggs"}}}, Array{"Later", Array{Array{"tax", "milk"}}},
         Value("not a pair")});
    EXPECT_EQ(shapeOf(*list), "Today:milk,eggs|Later:tax,milk");
    EXPECT_EQ(list->allFetchedItems().description(),
              Value(Array{"milk", "eggs", "tax", "milk"}).description());
    EXPECT_TRUE(list->allFetchedItems().isIdenticalTo(list->allFetchedItems()));
    EXPECT_EQ(list->allFetchedItemsUncached().size(), 4u);
    EXPECT_EQ(list->allFetchedItemsCount(), 4u);
    EXPECT_EQ(list->getSectionForItem(Value("milk")), Value("Today"));
    EXPECT_EQ(list->getSectionForItem(Value("tax")), Value("Later"));
    EXPECT_TRUE(list->getSectionForItem(Value("bread")).isNil());
    EXPECT_TRUE(list->getSectionForItem(Value()).isNil());
}

TEST(FetchedResultListTest, OnlySectionChangesDropTheCache) {
    auto list = listOf("A:a,b|B:c");
    const Value first = list->allFetchedItems();
    // Items appended in place: the stale cache stays until it is cleared.
    list->allFetchedSectionItems()->objectAtIndex(0).asArray()->push_back(Value("x"));
    EXPECT_TRUE(list->allFetchedItems().isIdenticalTo(first));
    EXPECT_EQ(list->allFetchedItems().count(), 3u);
    list->clearAllFetchedItemsCache();
    EXPECT_EQ(list->allFetchedItems().count(), 4u);
    // A section appended through the sections array drops it at once.
    list->allFetchedSectionItems()->addObject(Array{"d"});
    EXPECT_EQ(list->allFetchedItems().count(), 4u);
    list->allFetchedSections()->lockAddObject(Value("C"));
    EXPECT_EQ(list->allFetchedItems().count(), 5u);
    // A sections array set later has no link to the list.
    list->setAllFetchedSections(std::make_shared<NSMutableLockArray>(Array{"A", "B", "C"}));
    const Value cached = list->allFetchedItems();
    list->allFetchedSectionItems()->addObject(Array{"e"});
    list->allFetchedSections()->addObject(Value("D"));
    EXPECT_TRUE(list->allFetchedItems().isIdenticalTo(cached));
}

TEST(FetchedResultListTest, CopyIsShallowForSectionsAndNewPerSectionArrays) {
    auto section = std::make_shared<FetchedRecord>(Value(1), std::nullopt);
    auto item = std::make_shared<FetchedRecord>(Value(2), std::nullopt);
    auto list = FetchedResultList::create();
    list->allFetchedSections()->addObject(Value(section));
    list->allFetchedSectionItems()->addObject(Array{Value(item)});
    list->extraFetchedStorage()->addObject(Value(item));
    list->extraFetchedMetaData().asDictionary()->set("k", "v");
    list->setTimeOfFetch(Date(1000));

    auto copy = list->copy();
    EXPECT_TRUE(copy->allFetchedSections()->objectAtIndex(0).isIdenticalTo(Value(section)));
    const Value copiedItems = copy->allFetchedSectionItems()->objectAtIndex(0);
    EXPECT_FALSE(copiedItems.isIdenticalTo(list->allFetchedSectionItems()->objectAtIndex(0)));
    EXPECT_TRUE((*copiedItems.asArray())[0].isIdenticalTo(Value(item)));
    EXPECT_TRUE(copy->extraFetchedStorage()->objectAtIndex(0).isIdenticalTo(Value(item)));
    EXPECT_EQ(copy->timeOfFetch(), Date(1000));
    copy->extraFetchedMetaData().asDictionary()->set("k", "changed");
    EXPECT_EQ(list->extraFetchedMetaData()[Value("k")], Value("v"));
    // The copy has the delegate link: a section change drops its cache.
    EXPECT_EQ(copy->allFetchedItems().count(), 1u);
    copy->allFetchedSectionItems()->addObject(Array{"z"});
    copy->allFetchedSections()->addObject(Value("S"));
    EXPECT_EQ(copy->allFetchedItems().count(), 2u);
}

TEST(FetchedResultListTest, ArchiveRoundTripKeepsAllButTheMetadata) {
    auto list = listOf("A:a,b|B:|C:c", Date(1700000000.5));
    list->extraFetchedStorage()->addObject(Value(7));
    list->extraFetchedMetaData().asDictionary()->set("query", "open tasks");
    std::string error;
    const std::optional<Bytes> bytes = list->archivedData(&error);
    ASSERT_TRUE(bytes) << error;

    auto decoded = FetchedResultList::unarchivedList(*bytes, {"NSString", "NSNumber"}, &error);
    ASSERT_TRUE(decoded) << error;
    EXPECT_EQ(shapeOf(*decoded), "A:a,b|B:|C:c");
    EXPECT_EQ(decoded->extraFetchedStorage()->objectAtIndex(0), Value(7));
    EXPECT_EQ(decoded->timeOfFetch(), Date(1700000000.5));
    EXPECT_EQ(decoded->extraFetchedMetaData().count(), 0u);
    // The metadata was written all the same, under its key, beside the other four.
    Value metaData;
    std::vector<std::string> keys;
    CodingRegistry::registerClass(FetchedResultList::kClassName, [&](KeyedUnarchiver& coder) {
        for (const char* key :
             {FetchedResultList::kSectionsKey, FetchedResultList::kSectionItemsKey,
              FetchedResultList::kStorageKey, FetchedResultList::kMetaDataKey,
              FetchedResultList::kTimeOfFetchKey}) {
            if (coder.containsValue(key)) {
                keys.emplace_back(key);
            }
        }
        metaData = coder.decodeObject(FetchedResultList::kMetaDataKey);
        return ObjectRef(FetchedResultList::create());
    });
    EXPECT_TRUE(
        KeyedUnarchiver::unarchivedObject({FetchedResultList::kClassName, "NSArray", "NSDictionary",
                                           "NSDate", "NSString", "NSNumber"},
                                          *bytes, &error))
        << error;
    CodingRegistry::registerClass(FetchedResultList::kClassName, FetchedResultList::initWithCoder);
    EXPECT_EQ(keys.size(), 5u);
    EXPECT_EQ(metaData[Value("query")], Value("open tasks"));
    // A decoded list's sections array has no delegate link.
    const Value cached = decoded->allFetchedItems();
    decoded->allFetchedSectionItems()->addObject(Array{"d"});
    decoded->allFetchedSections()->addObject(Value("D"));
    EXPECT_TRUE(decoded->allFetchedItems().isIdenticalTo(cached));
}

TEST(FetchedResultListTest, SecureDecodingRefusesClassesNotNamedAndBadShapes) {
    auto list = listOf("A:a");
    list->allFetchedSectionItems()->addObject(
        Array{Value(std::make_shared<FetchedRecord>(Value(1), std::nullopt))});
    std::string error;
    auto bytes = list->archivedData(&error);
    EXPECT_FALSE(bytes) << "a FetchedRecord does not implement Coding";
    EXPECT_FALSE(error.empty());

    bytes = listOf("A:a")->archivedData();
    ASSERT_TRUE(bytes);
    EXPECT_FALSE(FetchedResultList::unarchivedList(*bytes, {}, &error));
    EXPECT_NE(error.find("NSString"), std::string::npos) << error;
    // An archive whose root is something else entirely.
    bytes = KeyedArchiver::archivedData(Value(Array{"x"}));
    EXPECT_FALSE(FetchedResultList::unarchivedList(*bytes, {"NSString"}, &error));
    EXPECT_EQ(error, "the archive's root is not a FetchedResultList");
}

}  // namespace
}  // namespace velmora

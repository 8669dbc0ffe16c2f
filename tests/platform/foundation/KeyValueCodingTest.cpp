#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/foundation/KeyValueCoding.h"
#include "Velmora/platform/foundation/SortDescriptor.h"

namespace velmora {
namespace {

class Task : public Object {
  public:
    Task(std::string title, int minutes) : title_(std::move(title)), minutes_(minutes) {}
    Value valueForKey(std::string_view key) const override {
        if (key == "title") {
            return Value(title_);
        }
        if (key == "minutes") {
            return Value(minutes_);
        }
        return {};
    }

  private:
    std::string title_;
    int minutes_;
};

Value task(const char* title, int minutes) {
    return Value(std::make_shared<Task>(title, minutes));
}

Value tasks() {
    return Value(Array{
        Dictionary{{"title", "A"}, {"minutes", 10}, {"owner", Dictionary{{"name", "Ann"}}}},
        Dictionary{{"title", "B"}, {"minutes", 5}, {"owner", Dictionary{{"name", "Bob"}}}},
        Dictionary{{"title", "C"}, {"minutes", 30}},
    });
}

TEST(KeyValueCodingTest, DictionaryEntry) {
    const Value dictionary = Dictionary{{"title", "Groceries"}, {"count", 3}};
    EXPECT_EQ(valueForKey(dictionary, "title"), Value("Groceries"));
    EXPECT_EQ(valueForKey(dictionary, "count"), Value(3));
    EXPECT_TRUE(valueForKey(dictionary, "missing").isNil());
    EXPECT_TRUE(valueForKey(dictionary, "").isNil());
}

TEST(KeyValueCodingTest, ObjectProperty) {
    const Value t = task("Write", 25);
    EXPECT_EQ(valueForKey(t, "title"), Value("Write"));
    EXPECT_EQ(valueForKey(t, "minutes"), Value(25));
    EXPECT_TRUE(valueForKey(t, "other").isNil());
}

TEST(KeyValueCodingTest, OtherKindsGiveNil) {
    for (const Value& receiver :
         {Value(), Value::null(), Value(3), Value("text"), Value(true), Value(Date(0))}) {
        EXPECT_TRUE(valueForKey(receiver, "title").isNil()) << receiver.description();
        EXPECT_TRUE(valueForKeyPath(receiver, "a.b").isNil()) << receiver.description();
    }
}

TEST(KeyValueCodingTest, ArrayMapsElementsWithNullForNil) {
    const Value titles = valueForKey(tasks(), "title");
    EXPECT_EQ(titles, Value(Array{"A", "B", "C"}));

    const Value mixed = Array{Dictionary{{"k", 1}}, Value(7), task("T", 1), Dictionary{}};
    const Value ks = valueForKey(mixed, "k");
    ASSERT_TRUE(ks.isArray());
    EXPECT_EQ(ks, Value(Array{1, Value::null(), Value::null(), Value::null()}));

    // A new array each time, not the receiver.
    const Value empty = Value::makeArray();
    const Value mapped = valueForKey(empty, "k");
    EXPECT_TRUE(mapped.isArray());
    EXPECT_EQ(mapped.count(), 0u);
    EXPECT_FALSE(mapped.isIdenticalTo(empty));
}

TEST(KeyValueCodingTest, ArrayOverloadWithoutAValue) {
    const Array plain{Dictionary{{"k", "x"}}, Dictionary{{"k", "y"}}};
    EXPECT_EQ(valueForKey(plain, "k"), Value(Array{"x", "y"}));
    EXPECT_EQ(valueForKey(plain, "@count"), Value(2));
    EXPECT_TRUE(valueForKey(plain, "").isNil());
}

TEST(KeyValueCodingTest, CollectionOperatorsTable) {
    struct Case {
        const char* keyPath;
        Value expected;
    };
    const Case cases[] = {
        {"@count", Value(3)},
        {"@count.anything", Value(3)},
        {"@sum.minutes", Value(45)},
        {"@avg.minutes", Value(15.0)},
        {"@max.minutes", Value(30)},
        {"@min.minutes", Value(5)},
        {"@max.title", Value("C")},
        {"@min.title", Value("A")},
        {"@min.owner.name", Value("Ann")},
        {"@max.owner.name", Value("Bob")},
        {"@sum.title", Value(0)},   // no numbers: nothing added
        {"@max.missing", Value()},  // nil values skipped: none left
        {"@unknown.minutes", Value()},
        {"@", Value()},
    };
    const Value receiver = tasks();
    for (const Case& c : cases) {
        const Value result = valueForKeyPath(receiver, c.keyPath);
        EXPECT_TRUE(result.isEqual(c.expected)) << c.keyPath << " gave " << result.description();
        // The same through valueForKey, which sees the whole operator key.
        EXPECT_TRUE(valueForKey(receiver, c.keyPath).isEqual(c.expected)) << c.keyPath;
    }
}

TEST(KeyValueCodingTest, OperatorsOnPlainElementsAndEdgeCases) {
    const Value numbers = Array{1, 2.5, 3, "x"};
    EXPECT_EQ(valueForKey(numbers, "@sum"), Value(6.5));
    EXPECT_TRUE(valueForKey(numbers, "@sum").kind() == Value::Kind::Double);
    EXPECT_EQ(valueForKey(numbers, "@avg"), Value(6.5 / 4));
    EXPECT_EQ(valueForKey(numbers, "@max"), Value("x"));  // strings order after numbers
    EXPECT_EQ(valueForKey(Value(Array{1, 2, 3}), "@sum").kind(), Value::Kind::Int);
    EXPECT_EQ(valueForKey(Value(Array{true, 2}), "@sum"), Value(3));

    const Value empty = Value::makeArray();
    EXPECT_EQ(valueForKey(empty, "@count"), Value(0));
    EXPECT_EQ(valueForKey(empty, "@sum"), Value(0));
    EXPECT_TRUE(valueForKey(empty, "@avg").isNil());
    EXPECT_TRUE(valueForKey(empty, "@max").isNil());
    EXPECT_TRUE(valueForKey(empty, "@min").isNil());

    // Integer overflow falls back to a double sum.
    const Value big = Array{INT64_MAX, 1};
    EXPECT_EQ(valueForKey(big, "@sum").kind(), Value::Kind::Double);

    const Value withNull = Array{Value::null(), 4, 2};
    EXPECT_EQ(valueForKey(withNull, "@min"), Value(2));
}

TEST(KeyValueCodingTest, KeyPaths) {
    const Value project = Dictionary{
        {"owner", Dictionary{{"name", "Ann"}}}, {"tasks", tasks()}, {"lead", task("L", 2)}};
    EXPECT_EQ(valueForKeyPath(project, "owner.name"), Value("Ann"));
    EXPECT_EQ(valueForKeyPath(project, "lead.title"), Value("L"));
    EXPECT_EQ(valueForKeyPath(project, "tasks.title"), Value(Array{"A", "B", "C"}));
    EXPECT_EQ(valueForKeyPath(project, "tasks.owner.name"),
              Value(Array{"Ann", "Bob", Value::null()}));
    EXPECT_EQ(valueForKeyPath(project, "tasks.@sum.minutes"), Value(45));
    EXPECT_EQ(valueForKeyPath(project, "tasks.@count"), Value(3));
    EXPECT_TRUE(valueForKeyPath(project, "").isNil());
    EXPECT_TRUE(valueForKeyPath(project, "owner.").isNil());
    EXPECT_TRUE(valueForKeyPath(project, "owner..name").isNil());
    EXPECT_TRUE(valueForKeyPath(project, "missing.name").isNil());
}

TEST(KeyValueCodingTest, VeryLongKeyPathDoesNotRecurse) {
    std::string path = "a";
    for (int i = 0; i < 200000; ++i) {
        path += ".a";
    }
    Value nested = Dictionary{{"a", 1}};
    EXPECT_TRUE(valueForKeyPath(nested, path).isNil());
}

TEST(SortDescriptorTest, ComparesDescriptorByDescriptor) {
    const Value a = Dictionary{{"due", 1}, {"title", "x"}};
    const Value b = Dictionary{{"due", 1}, {"title", "y"}};
    const Value c = Dictionary{{"due", 0}, {"title", "z"}};

    const SortDescriptor byDueThenTitle[] = {{"due", true}, {"title", true}};
    EXPECT_EQ(compareWithSortDescriptors(a, b, byDueThenTitle), ComparisonResult::Ascending);
    EXPECT_EQ(compareWithSortDescriptors(b, a, byDueThenTitle), ComparisonResult::Descending);
    EXPECT_EQ(compareWithSortDescriptors(c, a, byDueThenTitle), ComparisonResult::Ascending);
    EXPECT_EQ(compareWithSortDescriptors(a, a, byDueThenTitle), ComparisonResult::Same);

    const SortDescriptor titleDescending[] = {{"title", false}};
    EXPECT_EQ(compareWithSortDescriptors(a, b, titleDescending), ComparisonResult::Descending);

    EXPECT_EQ(compareWithSortDescriptors(a, b, {}), ComparisonResult::Same);

    // Missing values are nil, which orders first.
    const Value none = Dictionary{};
    const SortDescriptor byDue[] = {{"due", true}};
    EXPECT_EQ(compareWithSortDescriptors(none, c, byDue), ComparisonResult::Ascending);

    // An empty key compares the objects themselves.
    const SortDescriptor self[] = {{"", false}};
    EXPECT_EQ(compareWithSortDescriptors(Value("a"), Value("b"), self),
              ComparisonResult::Descending);

    // Key paths.
    const SortDescriptor byOwner[] = {{"owner.name", true}};
    EXPECT_EQ(
        compareWithSortDescriptors(Dictionary{{"owner", Dictionary{{"name", "Bob"}}}},
                                   Dictionary{{"owner", Dictionary{{"name", "Ann"}}}}, byOwner),
        ComparisonResult::Descending);
}

}  // namespace
}  // namespace velmora

#include <cmath>
#include <cstdint>
#include <limits>
#include <unordered_set>

#include <gtest/gtest.h>

#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {
namespace {

TEST(ValueTest, NumbersAreEqualAcrossKindsByExactValue) {
    const Value one[] = {Value(1),
                         Value(1u),
                         Value(1.0),
                         Value(true),
                         Value::decimal("1.000"),
                         Value::decimal("0.1e1")};
    for (const auto& a : one) {
        for (const auto& b : one) {
            EXPECT_TRUE(a.isEqual(b)) << a.description() << " vs " << b.description();
            EXPECT_EQ(a.hash(), b.hash()) << a.description() << " vs " << b.description();
        }
    }
    // 2^63 - 1 converts to the double 2^63, but the two numbers differ.
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    EXPECT_FALSE(Value(kMax).isEqual(Value(9223372036854775808.0)));
    EXPECT_TRUE(Value(std::uint64_t{1} << 63).isEqual(Value(9223372036854775808.0)));
    EXPECT_FALSE(
        Value(std::numeric_limits<std::uint64_t>::max()).isEqual(Value(18446744073709551616.0)));
    EXPECT_FALSE(Value(-1).isEqual(Value(std::numeric_limits<std::uint64_t>::max())));
    EXPECT_FALSE(Value::decimal("9007199254740993").isEqual(Value(9007199254740992.0)));
    EXPECT_TRUE(Value::decimal("9007199254740993").isEqual(Value(std::int64_t{9007199254740993})));
    EXPECT_TRUE(Value::decimal("0.1").isEqual(Value(0.1)));
    EXPECT_FALSE(Value(0.5).isEqual(Value(0)));
    EXPECT_FALSE(Value(false).isEqual(Value(0.5)));
}

TEST(ValueTest, SpecialDoublesHaveReflexiveEqualityAndMatchingHashes) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(Value(nan).isEqual(Value(nan)));
    EXPECT_TRUE(Value(0.0).isEqual(Value(-0.0)));
    EXPECT_EQ(Value(0.0).hash(), Value(-0.0).hash());
    EXPECT_EQ(Value(0.0).hash(), Value(0).hash());
    EXPECT_FALSE(Value(0.0).isIdenticalTo(Value(-0.0)));
    EXPECT_TRUE(Value(nan).isIdenticalTo(Value(nan)));
    EXPECT_FALSE(Value(HUGE_VAL).isEqual(Value::decimal("1e308")));
    EXPECT_EQ(Value(HUGE_VAL).compare(Value::decimal("1e999")), ComparisonResult::Descending);
}

TEST(ValueTest, KindsOtherThanNumbersNeverEqualEachOther) {
    EXPECT_FALSE(Value("1").isEqual(Value(1)));
    EXPECT_FALSE(Value::null().isEqual(Value()));
    EXPECT_FALSE(Value(Date(0)).isEqual(Value(0.0)));
    EXPECT_FALSE(Value(Array{}).isEqual(Value(Dictionary{})));
    EXPECT_TRUE(Value::null().isEqual(Value::null()));
    EXPECT_TRUE(Value().isEqual(Value()));
}

TEST(ValueTest, SharedContainersAreOneObjectUntilCopied) {
    Value list = Array{1, 2};
    Value alias = list;
    alias.asArray()->push_back(3);
    EXPECT_EQ(list.count(), 3u);
    EXPECT_TRUE(list.isIdenticalTo(alias));

    Value separate = list.copy();
    separate.asArray()->push_back(4);
    EXPECT_EQ(list.count(), 3u);
    EXPECT_FALSE(separate.isIdenticalTo(list));
    EXPECT_TRUE(Value(Array{1, 2, 3}).isEqual(list));

    const Value a = std::string("same text");
    const Value b = std::string("same text");
    EXPECT_TRUE(a.isEqual(b));
    EXPECT_FALSE(a.isIdenticalTo(b));
    EXPECT_TRUE(a.isIdenticalTo(Value(a)));
}

TEST(ValueTest, DictionaryKeepsInsertionOrderAndFoundationKeyEquality) {
    Dictionary d;
    d.set("b", 1);
    d.set("a", 2);
    d.set(1, "int key");
    d.set(1.0, "replaced through an equal double key");
    d.set("b", 3);
    ASSERT_EQ(d.size(), 3u);
    EXPECT_EQ(*d.entryAt(0).key.asString(), "b");
    EXPECT_EQ(d.entryAt(0).value.integerValue(), 3);
    EXPECT_EQ(*d.get(true).asString(), "replaced through an equal double key");
    d.set("a", Value());  // nil removes
    EXPECT_FALSE(d.contains("a"));
    d.set(Value(), 5);  // nil keys are ignored
    EXPECT_EQ(d.size(), 2u);
}

TEST(ValueTest, LargeDictionaryLookupsSurviveGrowthAndRemoval) {
    Dictionary d;
    for (int i = 0; i < 1000; ++i) {
        d.set(std::to_string(i), i);
    }
    for (int i = 0; i < 1000; i += 3) {
        EXPECT_TRUE(d.remove(std::to_string(i)));
    }
    EXPECT_FALSE(d.remove("0"));
    for (int i = 0; i < 1000; ++i) {
        const Value* v = d.find(std::to_string(i));
        if (i % 3 == 0) {
            EXPECT_EQ(v, nullptr) << i;
        } else {
            ASSERT_NE(v, nullptr) << i;
            EXPECT_EQ(v->integerValue(), i);
        }
    }
    EXPECT_EQ(*d.entryAt(0).key.asString(), "1");  // order of the survivors kept
    Dictionary reversed;
    const std::vector<Value> keys = d.keys();
    for (auto it = keys.rbegin(); it != keys.rend(); ++it) {
        reversed.set(*it, d.get(*it));
    }
    EXPECT_TRUE(Value(d).isEqual(Value(reversed)));
    reversed.set("2", -1);
    EXPECT_FALSE(Value(d).isEqual(Value(reversed)));
}

// Small dictionaries are searched by a cheap tag of each key and turn hashed past sixteen
// entries; removals bring them back. Every size on both sides of that line must find the
// same keys: long strings that differ only in the middle (equal tags), numbers of
// different kinds, and strings that spell numbers.
TEST(ValueTest, DictionaryLookupsAcrossTheSmallAndHashedForms) {
    const auto key = [](int i) -> Value {
        switch (i % 3) {
            case 0:
                return Value("prefix-" + std::to_string(i) + "-same-tail-bytes");
            case 1:
                return Value(static_cast<std::int64_t>(i));
            default:
                return Value(std::to_string(i));
        }
    };
    for (int size = 0; size <= 20; ++size) {
        Dictionary d;
        for (int i = 0; i < size; ++i) {
            d.set(key(i), i);
        }
        // Built in one pass, with the first key given again (as the double of an integer
        // key when it is one) and a nil value that removes a key: the same as set() by set().
        std::vector<Value> keys;
        std::vector<Value> values;
        for (int i = 0; i < size; ++i) {
            keys.push_back(key(i));
            values.emplace_back(i);
        }
        if (size > 1) {
            keys.push_back(key(1).isString() ? key(1) : Value(1.0));
            values.emplace_back(-1);
            keys.push_back(key(0));
            values.emplace_back();
        }
        // Twenty nil values leave nothing behind, and the pairs that follow still land.
        std::vector<Value> gone(20, Value("gone"));
        std::vector<Value> nils(20);
        Dictionary all;
        all.setAll(gone, nils);
        all.setAll(keys, values);
        ASSERT_EQ(all.size(), size > 1 ? d.size() - 1 : d.size()) << size;
        for (int i = 0; i < size; ++i) {
            const Value* found = all.find(key(i));
            ASSERT_EQ(found != nullptr, i != 0 || size == 1) << size << " " << i;
            if (found != nullptr) {
                EXPECT_EQ(found->integerValue(), i == 1 ? -1 : i) << size << " " << i;
            }
        }
        for (int i = 0; i < size; i += 2) {
            ASSERT_TRUE(d.remove(key(i))) << size << " " << i;
        }
        for (int i = 0; i < size + 3; ++i) {
            const Value* found = d.find(key(i));
            ASSERT_EQ(found != nullptr, i < size && i % 2 == 1) << size << " " << i;
            if (i % 3 == 1) {  // the same number as a double is the same key
                ASSERT_EQ(d.find(Value(static_cast<double>(i))), found) << size << " " << i;
            }
        }
    }
}

TEST(ValueTest, ValuesWorkAsKeysOfStandardContainers) {
    std::unordered_set<Value, ValueHash> set{Value(1), Value(1.0), Value("1"), Value::decimal("1"),
                                             Value(Array{Value(1)})};
    EXPECT_EQ(set.size(), 3u);
    EXPECT_TRUE(set.contains(Value(true)));
}

TEST(ValueTest, ConversionsFollowPlatformStringAndNumberRules) {
    EXPECT_EQ(Value("  42abc").integerValue(), 42);
    EXPECT_EQ(Value("-17").integerValue(), -17);
    EXPECT_EQ(Value("x42").integerValue(), 0);
    EXPECT_EQ(Value("99999999999999999999999").integerValue(),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(Value("-99999999999999999999999").integerValue(),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_DOUBLE_EQ(Value(" +3.5e2x").doubleValue(), 350.0);
    EXPECT_EQ(Value(1e30).integerValue(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(Value(-2.9).integerValue(), -2);
    EXPECT_EQ(Value(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0);
    EXPECT_TRUE(Value("YES").boolValue());
    EXPECT_TRUE(Value("  t").boolValue());
    EXPECT_TRUE(Value("0001").boolValue());
    EXPECT_FALSE(Value("-0").boolValue());
    EXPECT_FALSE(Value("no").boolValue());
    EXPECT_FALSE(Value(Array{1}).boolValue());
    EXPECT_EQ(Value::decimal("12345678901234567890").unsignedIntegerValue(), 12345678901234567890u);
    EXPECT_EQ(Value::decimal("-9223372036854775808").integerValue(),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(Value::decimal("2.5e1").integerValue(), 25);
    EXPECT_EQ(Value::decimal("-2.5").integerValue(), -2);
    EXPECT_EQ(Value(Date(5)).doubleValue(), 0.0);
}

TEST(ValueTest, CompareOrdersNumbersStringsDatesAndKinds) {
    EXPECT_EQ(Value(2).compare(Value(2.5)), ComparisonResult::Ascending);
    EXPECT_EQ(Value(3u).compare(Value(-1)), ComparisonResult::Descending);
    EXPECT_EQ(Value::decimal("2.50").compare(Value(2.5)), ComparisonResult::Same);
    EXPECT_EQ(Value("apple").compare(Value("banana")), ComparisonResult::Ascending);
    EXPECT_EQ(Value("Z").compare(Value("a")), ComparisonResult::Ascending);  // by code point
    EXPECT_EQ(Value("é").compare(Value("z")), ComparisonResult::Descending);
    EXPECT_EQ(Value(Date(10)).compare(Value(Date(5))), ComparisonResult::Descending);
    EXPECT_EQ(Value().compare(Value::null()), ComparisonResult::Ascending);
    EXPECT_EQ(Value(99).compare(Value("1")),
              ComparisonResult::Ascending);  // numbers before strings
    EXPECT_EQ(Value(Array{1, 2}).compare(Value(Array{1, 3})), ComparisonResult::Ascending);
    EXPECT_EQ(Value(Array{1, 2}).compare(Value(Array{1})), ComparisonResult::Descending);
}

class Priority final : public Object, public SelectorTarget {
  public:
    explicit Priority(int level) : level_(level) {}
    bool respondsToSelector(Selector s) const override { return s == Selector("compare:"); }
    Value performSelector(Selector, std::span<const Value> args) override {
        const auto other = args[0].asObject<Priority>();
        return other ? level_ - other->level_ : 0;
    }

  private:
    int level_;
};

TEST(ValueTest, ObjectsCompareThroughTheirCompareMethod) {
    const Value low = std::make_shared<Priority>(1);
    const Value high = std::make_shared<Priority>(5);
    EXPECT_EQ(low.compare(high), ComparisonResult::Ascending);
    EXPECT_EQ(high.compare(low), ComparisonResult::Descending);
    EXPECT_FALSE(low.isEqual(Value(std::make_shared<Priority>(1))));  // identity by default
    EXPECT_EQ(low.asObject()->className(), "Priority");
    EXPECT_EQ(low.asObject()->description().rfind("<Priority: 0x", 0), 0u);
}

TEST(ValueTest, DescriptionsReadLikeThePlatformsPropertyLists) {
    EXPECT_EQ(Value().description(), "(null)");
    EXPECT_EQ(Value::null().description(), "<null>");
    EXPECT_EQ(Value(true).description(), "1");
    EXPECT_EQ(Value(-12).description(), "-12");
    EXPECT_EQ(Value(0.1).description(), "0.1");
    EXPECT_EQ(Value(3.0).description(), "3");
    EXPECT_EQ(Value::decimal("001.2300").description(), "1.23");
    EXPECT_EQ(Value("plain text").description(), "plain text");
    EXPECT_EQ(Value(Date(1704164645.006)).description(), "2024-01-02 03:04:05 +0000");
    EXPECT_EQ(Value(Date(-1e13)).description(), "-10000000000000 seconds since 1970 +0000");
    EXPECT_EQ(Value(Bytes{1, 2, 3, 4, 0xab}).description(), "<01020304 ab>");
    const Value nested = Dictionary{
        {"name", "Groceries"},
        {"tags", Array{"home", "two words", ""}},
        {"say \"hi\"", Dictionary{}},
    };
    EXPECT_EQ(nested.description(),
              "{\n"
              "    name = Groceries;\n"
              "    tags = (\n"
              "        home,\n"
              "        \"two words\",\n"
              "        \"\"\n"
              "    );\n"
              "    \"say \\\"hi\\\"\" = {\n"
              "    };\n"
              "}");
    EXPECT_EQ(Value(Array{}).description(), "(\n)");
}

TEST(DecimalNumberTest, ParsesOnlyWholeNumbers) {
    for (const char* bad :
         {"", "-", ".", "e5", "1e", "1e+", "1.2.3", " 1", "1 ", "0x10", "1,5", "--1"}) {
        EXPECT_FALSE(DecimalNumber::parse(bad).has_value()) << bad;
    }
    for (const char* good :
         {"0", "-0", "1.", ".5", "+7", "1e5", "1E-5", "00012", "123456789012345678901234567890"}) {
        EXPECT_TRUE(DecimalNumber::parse(good).has_value()) << good;
    }
}

TEST(DecimalNumberTest, DescriptionAndConversionAreCanonical) {
    const struct {
        const char* text;
        const char* description;
        double value;
    } cases[] = {
        {"-0", "0", 0.0},
        {"-0.000e-7", "0", 0.0},
        {"1.50", "1.5", 1.5},
        {"1e5", "100000", 100000.0},
        {"-1.5e-3", "-0.0015", -0.0015},
        {"12345.678e2", "1234567.8", 1234567.8},
        {"1e400", "1E+400", HUGE_VAL},
        {"-2.5e-400", "-2.5E-400", -0.0},
        {"000100.0025000", "100.0025", 100.0025},
        {"-0001234567890.12345678901234500e-3", "-1234567.890123456789012345",
         -1234567.890123456789},
    };
    for (const auto& c : cases) {
        const auto n = DecimalNumber::parse(c.text);
        ASSERT_TRUE(n) << c.text;
        EXPECT_EQ(n->description(), c.description) << c.text;
        EXPECT_EQ(n->toDouble(), c.value) << c.text;
        // Copies and moves keep the text as written, short or long.
        DecimalNumber copy = *n;
        const DecimalNumber moved = std::move(copy);
        EXPECT_EQ(moved.text(), c.text);
        EXPECT_EQ(moved.compare(*n), 0) << c.text;
        EXPECT_EQ(Value::decimal(c.text).asDecimal()->description(), c.description);
        const auto checked =
            DecimalNumber::makeSharedFromCheckedText(c.text, std::allocator<DecimalNumber>());
        EXPECT_EQ(checked->description(), c.description) << c.text;
        EXPECT_EQ(checked->isNegative(), n->isNegative()) << c.text;
        EXPECT_EQ(checked->isZero(), n->isZero()) << c.text;
    }
    // An absurd exponent neither overflows nor takes unbounded memory.
    const auto huge = DecimalNumber::parse("1e99999999999999999999999");
    ASSERT_TRUE(huge);
    EXPECT_LT(huge->description().size(), 40u);
    EXPECT_EQ(huge->toDouble(), HUGE_VAL);
    EXPECT_EQ(DecimalNumber::parse("0.0001")->compare(*DecimalNumber::parse("1e-4")), 0);
    EXPECT_EQ(DecimalNumber::parse("-10")->compare(*DecimalNumber::parse("-9.99")), -1);
    EXPECT_EQ(DecimalNumber::parse("100")->compare(*DecimalNumber::parse("99.999")), 1);
}

TEST(DecimalNumberTest, DescriptionReadsBackAtTheExponentClamp) {
    // Regression: clamping the written exponent instead of the normalised one made
    // "999999991e<huge>" describe itself as a different number (found by fuzzing).
    for (const char* text : {"999999991e99999999999999999999", "-0.000123e-99999999999999999",
                             "1e1099511627776", "12.5e1099511627770"}) {
        const auto n = DecimalNumber::parse(text);
        ASSERT_TRUE(n) << text;
        const auto again = DecimalNumber::parse(n->description());
        ASSERT_TRUE(again) << n->description();
        EXPECT_EQ(again->compare(*n), 0) << text << " -> " << n->description();
    }
}

TEST(SelectorTest, SameNameIsTheSameSelector) {
    EXPECT_EQ(Selector("setTitle:"), Selector(std::string("set") + "Title:"));
    EXPECT_NE(Selector("setTitle:"), Selector("setTitle"));
    EXPECT_EQ(Selector("insertObject:atIndex:").argumentCount(), 2u);
    EXPECT_EQ(Selector("count").argumentCount(), 0u);
}

}  // namespace
}  // namespace velmora

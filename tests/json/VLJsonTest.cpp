#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/json/VLJson.h"
#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/json/VLJsonStreamParserAdapter.h"

namespace velmora {
namespace {

TEST(VLJson, ParseBuildsValues) {
    std::string error;
    const auto value =
        parseJson(R"({"a": [1, 2.5, "s", true, null], "b": {"c": {}}, "a": "again"})", &error);
    ASSERT_TRUE(value.has_value()) << error;
    // A repeated key keeps its last value.
    EXPECT_EQ(value->count(), 2u);
    EXPECT_EQ((*value)["a"], Value("again"));
    EXPECT_EQ(value->asDictionary()->entryAt(0).key, Value("a"));
    EXPECT_TRUE((*value)["b"]["c"].isDictionary());

    const auto array = parseJson(R"([1, 2.5, "s", true, null, 123456789012])");
    ASSERT_TRUE(array.has_value());
    EXPECT_EQ(*array,
              Value(Array{1, 2.5, "s", true, Value::null(), Value::decimal("123456789012")}));
    EXPECT_TRUE(array->asArray()->at(3).isBool());
}

TEST(VLJson, ParseFailures) {
    std::string error;
    EXPECT_FALSE(parseJson("[1,]", &error).has_value());
    EXPECT_EQ(error, "Token 'end of array' not expected as array value");
    EXPECT_FALSE(parseJson("[1, 2", &error).has_value());
    EXPECT_EQ(error, "Unexpected end of input");
    EXPECT_FALSE(parseJson("", &error).has_value());
    EXPECT_EQ(error, "Unexpected end of input");
    EXPECT_FALSE(parseJson("[[[]]]", &error, 2).has_value());
    EXPECT_EQ(error, "Parser exceeded max depth of 2");
}

TEST(VLJson, WriteThenParseRoundTrips) {
    const Value value = Dictionary{
        {"title", "caf\xC3\xA9 \"quoted\"\n"},
        {"list", Array{1, -7, 0.5, true, false, Value::null(), Value::decimal("1.0000001")}},
        {"nested", Dictionary{{"deeper", Array{Array{}, Dictionary{}}}}}};
    for (const bool pretty : {false, true}) {
        std::string error;
        const auto text = writeJson(value, {.humanReadable = pretty, .sortKeys = true}, &error);
        ASSERT_TRUE(text.has_value()) << error;
        const auto back = parseJson(*text, &error);
        ASSERT_TRUE(back.has_value()) << error;
        EXPECT_EQ(*back, value) << *text;
    }
    std::string error;
    EXPECT_FALSE(writeJson(Array{Date(0)}, {}, &error).has_value());
    EXPECT_EQ(error, "JSON serialisation not supported for Date");
}

// Fault pinned: "[1e309,-1e309,2e308,1E400]" read back and written as [0,0,0,0].
TEST(VLJson, InfinitiesReadAreRefusedByTheWriter) {
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"[1e309]", "+Infinity is not a valid number in JSON"},
        {"[-1e309]", "-Infinity is not a valid number in JSON"},
        {"[2e308, 1]", "+Infinity is not a valid number in JSON"},
        {"{\"a\": 1E400}", "+Infinity is not a valid number in JSON"},
    };
    for (const auto& c : cases) {
        const auto value = parseJson(c.text);
        ASSERT_TRUE(value.has_value()) << c.text;
        std::string error;
        EXPECT_FALSE(writeJson(*value, {}, &error).has_value()) << c.text;
        EXPECT_EQ(error, c.error) << c.text;
    }
    EXPECT_EQ(writeJson(*parseJson("[1e-400, 1e308]")), "[0,1e+308]");
}

TEST(VLJsonStreamParserAdapter, RecurringKeysShareOneString) {
    std::string text = R"([{"name": 1, "n": 2}, {"name": 3, "n": 4})";
    // More distinct keys than the adapter keeps: the keys stay right after it lets go.
    for (int i = 0; i < 5000; ++i) {
        text += R"(, {"k)" + std::to_string(i) + R"(": )" + std::to_string(i) + "}";
    }
    text += R"(, {"name": 5}])";
    const auto value = parseJson(text);
    ASSERT_TRUE(value.has_value());
    const Array& records = *value->asArray();
    ASSERT_EQ(records.size(), 5003u);
    const Value& first = records[0].asDictionary()->entryAt(0).key;
    EXPECT_TRUE(first.isIdenticalTo(records[1].asDictionary()->entryAt(0).key));
    EXPECT_EQ(records[4001].asDictionary()->entryAt(0).key, Value("k3999"));
    EXPECT_EQ(records[5002], Value(Dictionary{{"name", 5}}));
    EXPECT_EQ(records[1], Value(Dictionary{{"name", 3}, {"n", 4}}));
}

TEST(VLJsonStreamParserAdapter, ValuesOutliveTheParseAndAreReleasedOnAnyThread) {
    std::string text = "[";
    for (int i = 0; i < 3000; ++i) {
        text += "-65.61361699999997" + std::to_string(i) + R"(, "a string longer than fifteen", )";
    }
    text += "0]";
    Value kept;
    {
        const auto value = parseJson(text);
        ASSERT_TRUE(value.has_value());
        kept = value->asArray()->at(2998 * 2);
    }
    std::thread([&kept] {
        EXPECT_EQ(kept.asDecimal()->text(), "-65.613616999999972998");
        kept = Value();
    }).join();
    EXPECT_TRUE(kept.isNil());
}

struct Collected : VLJsonStreamParserAdapterDelegate {
    void parserFoundArray(VLJsonStreamParser&, const Value& array) override {
        items.push_back(array);
    }
    void parserFoundObject(VLJsonStreamParser&, const Value& object) override {
        items.push_back(object);
    }
    Array items;
};

TEST(VLJsonStreamParserAdapter, SkipDeliversTheElementsOfOuterLevels) {
    Collected collected;
    VLJsonStreamParserAdapter adapter;
    adapter.setDelegate(&collected);
    adapter.setSkip(1);
    VLJsonStreamParser parser;
    parser.setDelegate(&adapter);
    EXPECT_EQ(parser.parse(R"([{"id": 1}, [2], "three", 4, null])"), VLJsonParserStatus::Complete);
    EXPECT_EQ(Value(collected.items),
              Value(Array{Dictionary{{"id", 1}}, Array{2}, "three", 4, Value::null()}));
    collected.items.clear();
    VLJsonStreamParser objects;
    objects.setDelegate(&adapter);
    EXPECT_EQ(objects.parse(R"({"a": {"id": 1}, "b": [{"c": 2}]})"), VLJsonParserStatus::Complete);
    EXPECT_EQ(Value(collected.items),
              Value(Array{Dictionary{{"id", 1}}, Array{Dictionary{{"c", 2}}}}));

    Collected whole;
    VLJsonStreamParserAdapter plain;
    plain.setDelegate(&whole);
    VLJsonStreamParser multi;
    multi.setMulti(true);
    multi.setDelegate(&plain);
    EXPECT_EQ(multi.parse("[1] {\"a\": [2]} [] "), VLJsonParserStatus::WaitingForData);
    EXPECT_EQ(Value(whole.items), Value(Array{Array{1}, Dictionary{{"a", Array{2}}}, Array{}}));
}

}  // namespace
}  // namespace velmora

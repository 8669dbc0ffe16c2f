#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/json/VLJsonProxy.h"
#include "Velmora/json/VLJsonStreamWriter.h"
#include "Velmora/json/VLJsonStringCache.h"

namespace velmora {
namespace {

std::string written(const Value& value, bool humanReadable = false, bool sortKeys = false) {
    VLJsonStreamWriter writer;
    writer.setHumanReadable(humanReadable);
    writer.setSortKeys(sortKeys);
    EXPECT_TRUE(writer.writeValue(value)) << writer.error();
    return writer.data();
}

TEST(VLJsonStreamWriter, WritesValuesCompactly) {
    const Value value =
        Dictionary{{"b", Array{1, -2, std::uint64_t{18446744073709551615u}, true, false}},
                   {"a", Value::null()},
                   {"s", "x"},
                   {"d", Value::decimal("1234567890123.4500")},
                   {"e", Dictionary{}},
                   {"f", Array{}}};
    EXPECT_EQ(written(value), R"({"b":[1,-2,18446744073709551615,true,false],"a":null,"s":"x",)"
                              R"("d":1234567890123.45,"e":{},"f":[]})");
    EXPECT_EQ(written(value, false, true),
              R"({"a":null,"b":[1,-2,18446744073709551615,true,false],"d":1234567890123.45,)"
              R"("e":{},"f":[],"s":"x"})");
}

TEST(VLJsonStreamWriter, PrettyLayoutOfNestedContainers) {
    EXPECT_EQ(written(Dictionary{{"a", 1}}, true), "{\n  \"a\": 1\n}");
    EXPECT_EQ(written(Dictionary{}, true), "{\n}");
    EXPECT_EQ(written(Array{}, true), "[\n]");
    const Value nested =
        Dictionary{{"a", 1}, {"list", Array{1, Dictionary{{"k", "v"}}, Array{}}}, {"z", true}};
    EXPECT_EQ(written(nested, true),
              "{\n"
              "  \"a\": 1,\n"
              "  \"list\": [\n"
              "    1,\n"
              "    {\n"
              "      \"k\": \"v\"\n"
              "    },\n"
              "    [\n"
              "    ]\n"
              "  ],\n"
              "  \"z\": true\n"
              "}");
}

TEST(VLJsonStreamWriter, EscapesStrings) {
    struct Case {
        std::string text;
        std::string json;
    };
    const Case cases[] = {
        {"\t\"/", R"("\t\"/")"},
        {std::string("\0\x01\x07\b\n\v\f\r\x0e\x1f", 10),
         R"("\u0000\u0001\u0007\b\n\u000b\f\r\u000e\u001f")"},
        {"back\\slash", R"("back\\slash")"},
        {"caf\xC3\xA9 \xF0\x9F\x98\x80", "\"caf\xC3\xA9 \xF0\x9F\x98\x80\""},
        {std::string(40, 'a') + "\"" + std::string(40, 'b'),
         "\"" + std::string(40, 'a') + "\\\"" + std::string(40, 'b') + "\""},
        {std::string(1000, 'x') + "\n", "\"" + std::string(1000, 'x') + "\\n\""},
    };
    for (const Case& c : cases) {
        // Twice: the second time comes from the cache (or, when long, is escaped again).
        for (int round = 0; round < 2; ++round) {
            VLJsonStreamWriter writer;
            ASSERT_TRUE(writer.writeString(c.text));
            EXPECT_EQ(writer.data(), c.json) << round;
        }
    }
}

TEST(VLJsonStreamWriter, NumbersUsePercentGForDoubles) {
    const double doubles[] = {
        0.1,   1e20,  3.14159265, 1234567.0, -0.0, 1e-5, 123456.0, 5e-324, 1.7976931348623157e308,
        100.0, 0.0001};
    for (const double d : doubles) {
        char expected[64];
        std::snprintf(expected, sizeof expected, "%g", d);
        EXPECT_EQ(written(Array{d}), "[" + std::string(expected) + "]") << d;
    }
    EXPECT_EQ(written(Array{0.1, 1e20, 3.14159265, 1234567.0}), "[0.1,1e+20,3.14159,1.23457e+06]");
    EXPECT_EQ(written(Array{std::numeric_limits<std::int64_t>::min()}), "[-9223372036854775808]");
}

// A decimal is written as its description, whether its text is copied (already in that
// form) or rebuilt.
TEST(VLJsonStreamWriter, DecimalsAreWrittenAsTheirDescription) {
    const char* texts[] = {"-65.613616999999977",
                           "0.0123",
                           "-0.5",
                           "1.50",
                           "-0.0",
                           "+12.25",
                           "1e5",
                           "0012.5",
                           "123456789012",
                           "10.05",
                           "100000000000000000000",
                           "1200000000000000000000000000000000000000000000000",
                           "0.000"};
    for (const char* text : texts) {
        const Value decimal = Value::decimal(text);
        ASSERT_TRUE(decimal.isNumber()) << text;
        EXPECT_EQ(written(Array{decimal}), "[" + decimal.asDecimal()->description() + "]") << text;
    }
    EXPECT_EQ(written(Array{Value::decimal("1.50"), Value::decimal("-0.0"),
                            Value::decimal("-65.613616999999977")}),
              "[1.5,0,-65.613616999999977]");
}

TEST(VLJsonStreamWriter, ErrorTexts) {
    struct Case {
        Value value;
        const char* error;
        const char* partial;  // what was written before the refusal
    };
    const double inf = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {Array{inf}, "+Infinity is not a valid number in JSON", "["},
        {Array{1, -inf}, "-Infinity is not a valid number in JSON", "[1,"},
        {Array{std::nan("")}, "NaN is not a valid number in JSON", "["},
        {Array{Date(0)}, "JSON serialisation not supported for Date", "["},
        {Array{Value(Bytes{1})}, "JSON serialisation not supported for Data", "["},
        {Dictionary{{1, 2}}, "JSON object key must be string: 1", "{"},
    };
    for (const Case& c : cases) {
        VLJsonStreamWriter writer;
        EXPECT_FALSE(writer.writeValue(c.value));
        EXPECT_EQ(writer.error(), c.error);
        EXPECT_EQ(writer.data(), c.partial);
    }
}

TEST(VLJsonStreamWriter, StateChecks) {
    {
        VLJsonStreamWriter writer;
        ASSERT_TRUE(writer.writeObjectOpen());
        EXPECT_FALSE(writer.writeObjectOpen());
        EXPECT_EQ(writer.error(), "JSON object key must be string");
        EXPECT_FALSE(writer.writeArrayOpen());
        EXPECT_FALSE(writer.writeNull());
        EXPECT_FALSE(writer.writeArrayClose());
        EXPECT_EQ(writer.error(), "JSON object key must be string");
        EXPECT_EQ(writer.data(), "{");
    }
    {
        // A top-level scalar closes the stream.
        VLJsonStreamWriter writer;
        ASSERT_TRUE(writer.writeString("only"));
        EXPECT_FALSE(writer.writeNull());
        EXPECT_EQ(writer.error(), "Stream is closed");
        EXPECT_FALSE(writer.writeArrayOpen());
        EXPECT_EQ(writer.data(), "\"only\"");
    }
    {
        // Deliberately lax: "}" right after a key is accepted.
        VLJsonStreamWriter writer;
        ASSERT_TRUE(writer.writeObjectOpen());
        ASSERT_TRUE(writer.writeString("k"));
        EXPECT_TRUE(writer.writeObjectClose());
        EXPECT_EQ(writer.data(), "{\"k\"}");
    }
    {
        VLJsonStreamWriter writer;
        ASSERT_TRUE(writer.writeArrayOpen());
        ASSERT_TRUE(writer.writeBool(true));
        ASSERT_TRUE(writer.writeNumber(Value(false)));
        ASSERT_TRUE(writer.writeArrayClose());
        EXPECT_EQ(writer.data(), "[true,false]");
        EXPECT_EQ(writer.depth(), 0u);
        EXPECT_EQ(writer.states()[0], &VLJsonStreamWriterStateComplete::sharedInstance());
    }
}

TEST(VLJsonStreamWriter, DepthLimit) {
    const auto nestedArrays = [](int levels) {
        Value inner = Array{};
        for (int i = 1; i < levels; ++i) {
            inner = Array{inner};
        }
        return inner;
    };
    VLJsonStreamWriter ok;
    EXPECT_TRUE(ok.writeValue(nestedArrays(512)));
    VLJsonStreamWriter tooDeep;
    EXPECT_FALSE(tooDeep.writeValue(nestedArrays(513)));
    EXPECT_EQ(tooDeep.error(), "Nested too deep");
    EXPECT_EQ(tooDeep.depth(), 512u);

    VLJsonStreamWriter raised;
    raised.setMaxDepth(1000);
    EXPECT_TRUE(raised.writeValue(nestedArrays(1000)));

    // 0 switches the limit off: nesting works, but the level is never left.
    VLJsonStreamWriter unlimited;
    unlimited.setMaxDepth(0);
    EXPECT_TRUE(unlimited.writeValue(nestedArrays(600)));
    EXPECT_EQ(unlimited.depth(), 0u);
}

class Task : public Object, public VLJsonProxy {
  public:
    Value proxyForJson() const override { return Dictionary{{"title", "Groceries"}}; }
};

class Opaque : public Object {};

TEST(VLJsonStreamWriter, ObjectsAreWrittenThroughTheirProxy) {
    EXPECT_EQ(written(Array{std::make_shared<Task>()}), R"([{"title":"Groceries"}])");
    VLJsonStreamWriter writer;
    EXPECT_FALSE(writer.writeValue(Array{std::make_shared<Opaque>()}));
    EXPECT_EQ(writer.error(), "JSON serialisation not supported for Opaque");
}

TEST(VLJsonStringCache, IsBounded) {
    VLJsonStringCache cache(16 * 4096);
    std::string out;
    for (int i = 0; i < 10000; ++i) {
        const std::string key = "key-" + std::to_string(i);
        cache.store(key, "\"" + key + "\"");
    }
    EXPECT_LE(cache.byteCount(), 16u * 4096u);
    EXPECT_GT(cache.size(), 0u);
    EXPECT_TRUE(cache.appendCached("key-9999", out));
    EXPECT_EQ(out, "\"key-9999\"");
    const std::string tooLong(VLJsonStringCache::kMaxStringLength + 1, 'x');
    cache.store(tooLong, "\"...\"");
    EXPECT_FALSE(cache.appendCached(tooLong, out));
}

// Run under the tsan preset: writers on two threads share the process-wide cache.
TEST(VLJsonStringCache, TwoThreadsWritingAtOnce) {
    const auto work = [](int seed, std::string* result) {
        for (int round = 0; round < 200; ++round) {
            VLJsonStreamWriter writer;
            Array items;
            for (int i = 0; i < 50; ++i) {
                items.push_back(Dictionary{{"name", "item-" + std::to_string((i * seed) % 97)},
                                           {"tab\there", "\"q\""}});
            }
            if (!writer.writeValue(Value(items))) {
                *result = writer.error();
                return;
            }
            *result = writer.data();
        }
    };
    std::string first;
    std::string second;
    std::thread a(work, 3, &first);
    std::thread b(work, 3, &second);
    a.join();
    b.join();
    EXPECT_EQ(first, second);
    EXPECT_NE(first.find(R"({"name":"item-3","tab\there":"\"q\""})"), std::string::npos);
}

}  // namespace
}  // namespace velmora

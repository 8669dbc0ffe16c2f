#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "Velmora/platform/storage/PropertyList.h"

namespace velmora {
namespace {

Value roundTrip(const Value& value) {
    std::string error;
    const auto bytes = PropertyList::binaryData(value, &error);
    EXPECT_TRUE(bytes) << error;
    if (!bytes) {
        return Value();
    }
    const auto back = PropertyList::read(*bytes, &error);
    EXPECT_TRUE(back) << error;
    return back ? *back : Value();
}

TEST(PropertyListTest, ValuesRoundTripThroughTheBinaryFormat) {
    const Value cases[] = {
        Value(true),
        Value(false),
        Value(0),
        Value(-1),
        Value(std::numeric_limits<std::int64_t>::min()),
        Value(std::numeric_limits<std::int64_t>::max()),
        Value(3000000000LL),
        Value(2.5),
        Value(-0.125),
        Value(""),
        Value("ascii"),
        Value("Grüße, 日本, 🎉"),
        Value(Bytes{0, 1, 2, 255}),
        Value(Bytes{}),
        Value(Date(1704164645.25)),  // 2024, microseconds survive
        Value(Date(946684800.5)),    // before 2001: the negative side of the epoch
        Value(Array{1, "two", Array{3.5}}),
        Value(Dictionary{{"b", 1}, {"a", Dictionary{{"nested", Array{}}}}}),
    };
    for (const Value& value : cases) {
        const Value back = roundTrip(value);
        EXPECT_TRUE(back.isEqual(value))
            << value.description() << " came back as " << back.description();
        EXPECT_EQ(back.kind() == Value::Kind::Int || back.kind() == Value::Kind::Bool ||
                      back.kind() == Value::Kind::Double,
                  value.kind() == Value::Kind::Int || value.kind() == Value::Kind::Bool ||
                      value.kind() == Value::Kind::Double);
    }
}

TEST(PropertyListTest, KeepsDictionaryOrderAndKinds) {
    const Value back = roundTrip(Dictionary{{"z", true}, {"y", 1}, {"x", 1.5}});
    ASSERT_TRUE(back.isDictionary());
    const auto keys = back.asDictionary()->keys();
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_EQ(keys[0].stringValue(), "z");
    EXPECT_EQ(back["z"].kind(), Value::Kind::Bool);
    EXPECT_EQ(back["y"].kind(), Value::Kind::Int);
    EXPECT_EQ(back["x"].kind(), Value::Kind::Double);
}

TEST(PropertyListTest, HugeUnsignedBecomesTheNearestReal) {
    const Value back = roundTrip(Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(back.kind(), Value::Kind::Double);
    EXPECT_DOUBLE_EQ(back.doubleValue(), 18446744073709551615.0);
}

TEST(PropertyListTest, UIDsRoundTrip) {
    const Value back = roundTrip(Array{PropertyListUID::make(7)});
    ASSERT_EQ(back.count(), 1u);
    const auto uid = (*back.asArray())[0].asObject<PropertyListUID>();
    ASSERT_TRUE(uid);
    EXPECT_EQ(uid->value(), 7u);
}

TEST(PropertyListTest, RefusesValuesWithoutAPropertyListForm) {
    Value cyclic = Value::makeArray();
    cyclic.asArray()->push_back(cyclic);
    const Value cases[] = {
        Value(),
        Value::null(),
        Value::decimal("1.5"),
        Value(Dictionary{{1, "non-string key"}}),
        Value(Array{Value::null()}),
        Value(std::string("a\0b", 3)),       // libplist would cut it at the NUL
        Value("\xff\xfe"),                   // not UTF-8
        Value("\xed\xa0\x80"),               // an encoded surrogate
        Value(Dictionary{{"\xc0\x80", 1}}),  // an overlong key
        cyclic,
    };
    for (const Value& value : cases) {
        std::string error;
        EXPECT_FALSE(PropertyList::binaryData(value, &error)) << static_cast<int>(value.kind());
        EXPECT_FALSE(error.empty());
    }
    cyclic.asArray()->clear();  // break the cycle so the test does not leak it
}

TEST(PropertyListTest, MalformedInputIsAnErrorNotACrash) {
    const auto good = PropertyList::binaryData(Dictionary{{"key", Array{1, "x"}}}).value();
    // Every truncation of a valid list.
    for (std::size_t size = 0; size < good.size(); ++size) {
        std::string error;
        EXPECT_FALSE(PropertyList::read(std::span(good.data(), size), &error)) << size;
        EXPECT_FALSE(error.empty());
    }
    // XML is not read, nor is text that is no property list at all.
    const std::string xml = PropertyList::xmlText(Value(1)).value();
    EXPECT_NE(xml.find("<integer>1</integer>"), std::string::npos);
    for (const std::string& text : {xml, std::string("hello"), std::string("bplist00")}) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
        EXPECT_FALSE(PropertyList::read(std::span(bytes, text.size())));
    }
}

// Builds a binary list by hand from encoded objects, with references and offsets of
// `width` bytes.
Bytes handMade(const std::vector<Bytes>& objects, unsigned width = 1) {
    Bytes out{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    auto append = [&out](std::uint64_t value, unsigned bytes) {
        for (unsigned i = bytes; i-- > 0;) {
            out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    };
    std::vector<std::uint64_t> offsets;
    for (const auto& object : objects) {
        offsets.push_back(out.size());
        out.insert(out.end(), object.begin(), object.end());
    }
    const std::uint64_t table = out.size();
    for (const auto offset : offsets) {
        append(offset, width);
    }
    append(0, 6);
    out.push_back(static_cast<std::uint8_t>(width));
    out.push_back(static_cast<std::uint8_t>(width));
    append(objects.size(), 8);
    append(0, 8);  // the top object is the first
    append(table, 8);
    return out;
}

TEST(PropertyListTest, RefusesHostileStructures) {
    struct Case {
        const char* name;
        Bytes bytes;
    };
    std::vector<Bytes> bomb;  // each array refers twice to the next: 2^40 nodes unshared
    for (std::uint8_t i = 0; i < 40; ++i) {
        bomb.push_back({0xA2, static_cast<std::uint8_t>(i + 1), static_cast<std::uint8_t>(i + 1)});
    }
    bomb.push_back({0x10, 0x00});
    const Case cases[] = {
        {"array containing itself", handMade({{0xA1, 0x00}})},
        {"two arrays in a cycle", handMade({{0xA1, 0x01}, {0xA1, 0x00}})},
        {"reference out of range", handMade({{0xA1, 0x05}})},
        {"dictionary with an integer key", handMade({{0xD1, 0x01, 0x01}, {0x10, 0x01}})},
        {"string longer than the data", handMade({{0x5F, 0x10, 0x7F, 'a'}})},
        {"unknown marker", handMade({{0x70}})},
        {"ASCII string with a high byte", handMade({{0x51, 0xF7}})},
        {"UTF-16 string with a lone surrogate", handMade({{0x61, 0xD8, 0x00}})},
        {"UTF-16 string with a NUL", handMade({{0x61, 0x00, 0x00}})},
        {"expansion bomb", handMade(bomb)},
    };
    for (const auto& [name, bytes] : cases) {
        std::string error;
        EXPECT_FALSE(PropertyList::read(bytes, &error)) << name;
        EXPECT_FALSE(error.empty()) << name;
    }
    // The hand-made encoding itself is sound: a plain one reads.
    const auto plain = PropertyList::read(handMade({{0xA1, 0x01}, {0x10, 0x2A}}));
    ASSERT_TRUE(plain);
    EXPECT_TRUE(plain->isEqual(Array{42}));
}

TEST(PropertyListTest, RefusesNestingBeyondTheLimit) {
    // Reading: a chain of one-element arrays, each referring to the next.
    auto chain = [](int length) {
        std::vector<Bytes> objects;
        for (int i = 0; i < length; ++i) {
            const int next = i + 1;
            objects.push_back({0xA1, static_cast<std::uint8_t>(next >> 8),
                               static_cast<std::uint8_t>(next & 0xff)});
        }
        objects.push_back({0x10, 0x01});
        return handMade(objects, 2);
    };
    EXPECT_TRUE(PropertyList::read(chain(100)));
    std::string error;
    EXPECT_FALSE(PropertyList::read(chain(20000), &error));
    EXPECT_NE(error.find("deep"), std::string::npos) << error;

    // Writing.
    Value deep = Value(1);
    for (int i = 0; i < 600; ++i) {
        deep = Value(Array{deep});
    }
    EXPECT_FALSE(PropertyList::binaryData(deep, &error));
    EXPECT_NE(error.find("deep"), std::string::npos) << error;
}

}  // namespace
}  // namespace velmora

#include <gtest/gtest.h>

#include "Velmora/platform/storage/Coding.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/KeyedUnarchiver.h"
#include "Velmora/platform/storage/PropertyList.h"

namespace velmora {
namespace {

const KeyedUnarchiver::ClassNames kPlainClasses = {"NSDictionary", "NSArray",        "NSString",
                                                   "NSNumber",     "NSData",         "NSDate",
                                                   "NSNull",       "NSDecimalNumber"};

Bytes archive(const Value& value) {
    std::string error;
    auto bytes = KeyedArchiver::archivedData(value, &error);
    EXPECT_TRUE(bytes) << error;
    return bytes.value_or(Bytes{});
}

std::optional<Value> unarchive(const Bytes& bytes, const KeyedUnarchiver::ClassNames& classes,
                               std::string* error = nullptr) {
    return KeyedUnarchiver::unarchivedObject(classes, bytes, error);
}

std::optional<Value> unarchive(const Value& plist, const KeyedUnarchiver::ClassNames& classes,
                               std::string* error = nullptr) {
    return unarchive(PropertyList::binaryData(plist).value(), classes, error);
}

Value uid(std::uint64_t n) {
    return Value(PropertyListUID::make(n));
}

TEST(KeyedArchiverTest, WritesTheKeyedArchiverLayout) {
    const auto plist = PropertyList::read(archive(Dictionary{{"k", "v"}})).value();
    EXPECT_EQ(plist["$archiver"].stringValue(), "NSKeyedArchiver");
    EXPECT_EQ(plist["$version"].integerValue(), 100000);
    const auto root = plist["$top"]["root"].asObject<PropertyListUID>();
    ASSERT_TRUE(root);
    const Array& objects = *plist["$objects"].asArray();
    EXPECT_EQ(objects[0].stringValue(), "$null");
    const Value& dictionary = objects[root->value()];
    const auto classUID = dictionary["$class"].asObject<PropertyListUID>();
    ASSERT_TRUE(classUID);
    EXPECT_EQ(objects[classUID->value()]["$classname"].stringValue(), "NSMutableDictionary");
    EXPECT_TRUE(objects[classUID->value()]["$classes"].isEqual(
        Array{"NSMutableDictionary", "NSDictionary", "NSObject"}));
    ASSERT_EQ(dictionary["NS.keys"].count(), 1u);
    const auto key = (*dictionary["NS.keys"].asArray())[0].asObject<PropertyListUID>();
    const auto value = (*dictionary["NS.objects"].asArray())[0].asObject<PropertyListUID>();
    EXPECT_EQ(objects[key->value()].stringValue(), "k");
    EXPECT_EQ(objects[value->value()].stringValue(), "v");
}

TEST(KeyedArchiverTest, DatesAreSecondsSince2001) {
    const auto plist = PropertyList::read(archive(Value(Date(978307200.0 + 12.5)))).value();
    const Array& objects = *plist["$objects"].asArray();
    const auto root = plist["$top"]["root"].asObject<PropertyListUID>();
    EXPECT_DOUBLE_EQ(objects[root->value()]["NS.time"].doubleValue(), 12.5);
}

TEST(KeyedArchiverTest, EveryPlainKindRoundTrips) {
    const Value cases[] = {
        Value(),
        Value::null(),
        Value(true),
        Value(-42),
        Value(std::uint64_t{7}),
        Value(0.1),
        Value(""),
        Value("naïve ☕"),
        Value("$null"),  // a string that looks like the nil entry is still a string
        Value(Bytes{1, 2, 3}),
        Value(Date(1704164645.006)),
        Value(Date::distantFuture()),
        Value::decimal("12345678901234567890.123456789"),
        Value::decimal("-0.000001"),
        Value::decimal("0"),
        Value::decimal("1e100"),
        Value(Array{1, "x", Value::null(), Array{}}),
        Value(Dictionary{{"a", 1}, {2, "number key"}, {"nested", Dictionary{{"d", Date(0)}}}}),
    };
    for (const Value& value : cases) {
        std::string error;
        const auto back = unarchive(archive(value), kPlainClasses, &error);
        ASSERT_TRUE(back) << value.description() << ": " << error;
        // Property lists have no unsigned integers: a small UInt comes back as an Int.
        const auto kind = value.kind() == Value::Kind::UInt ? Value::Kind::Int : value.kind();
        EXPECT_TRUE(back->isEqual(value) && back->kind() == kind)
            << value.description() << " came back as " << back->description();
    }
}

TEST(KeyedArchiverTest, SharedContainersStaySharedAndCyclesAreRefused) {
    Value shared = Value(Array{1});
    const auto back = unarchive(archive(Array{shared, shared}), kPlainClasses).value();
    EXPECT_TRUE((*back.asArray())[0].isIdenticalTo((*back.asArray())[1]));

    Value cyclic = Value::makeDictionary();
    cyclic.asDictionary()->set("self", cyclic);
    std::string error;
    EXPECT_FALSE(KeyedArchiver::archivedData(cyclic, &error));
    EXPECT_EQ(error, "cannot archive a container that contains itself");
    cyclic.asDictionary()->clear();
}

TEST(KeyedArchiverTest, RefusesWhatCannotBeArchived) {
    struct Plain : Object {};
    std::string error;
    EXPECT_FALSE(KeyedArchiver::archivedData(Value(std::make_shared<Plain>()), &error));
    EXPECT_NE(error.find("does not implement Coding"), std::string::npos) << error;
    EXPECT_FALSE(KeyedArchiver::archivedData(Value::decimal("1" + std::string(40, '1')), &error));
    EXPECT_NE(error.find("NSDecimalNumber"), std::string::npos) << error;
}

// An archivable object with a field of each kind and a child object.
class Note : public Object, public Coding {
  public:
    Note(std::string title, std::int64_t count, Value child)
        : title_(std::move(title)), count_(count), child_(std::move(child)) {}

    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeObject(title_, "title");
        coder.encodeInt64(count_, "count");
        coder.encodeBool(count_ > 1, "many");
        coder.encodeDouble(0.5, "$weight");  // a key that needs escaping
        coder.encodeObject(child_, "child");
    }
    std::string className() const override { return "VLNote"; }
    bool isEqual(const Object& other) const override {
        const auto* note = dynamic_cast<const Note*>(&other);
        return note != nullptr && note->title_ == title_ && note->count_ == count_ &&
               note->child_.isEqual(child_);
    }

    static ObjectRef decode(KeyedUnarchiver& coder) {
        if (!coder.containsValue("title") || coder.decodeDouble("$weight") != 0.5) {
            return nullptr;
        }
        return std::make_shared<Note>(coder.decodeObject("title").stringValue(),
                                      coder.decodeInt64("count"), coder.decodeObject("child"));
    }

  private:
    std::string title_;
    std::int64_t count_;
    Value child_;
};

class KeyedArchiverCodingTest : public ::testing::Test {
  protected:
    void SetUp() override { CodingRegistry::registerClass("VLNote", Note::decode); }
    void TearDown() override { CodingRegistry::unregisterClass("VLNote"); }
};

TEST_F(KeyedArchiverCodingTest, CodingObjectsRoundTripWhenTheirClassIsAccepted) {
    const Value note =
        std::make_shared<Note>("Groceries", 3, std::make_shared<Note>("Milk", 1, Value()));
    const Bytes bytes = archive(Dictionary{{"note", note}});
    std::string error;
    const auto back = unarchive(bytes, {"NSDictionary", "NSString", "VLNote"}, &error);
    ASSERT_TRUE(back) << error;
    EXPECT_TRUE((*back)["note"].isEqual(note));

    // The escaped key is stored with its extra '$'.
    const auto plist = PropertyList::read(bytes).value();
    bool foundEscaped = false;
    for (const Value& object : *plist["$objects"].asArray()) {
        foundEscaped = foundEscaped || (object.asDictionary() != nullptr &&
                                        object.asDictionary()->contains("$$weight"));
    }
    EXPECT_TRUE(foundEscaped);
}

// Regression: shared values were known by address only, so a temporary that a Coding
// object encoded and freed lent its address, and its entry, to the next one.
TEST(KeyedArchiverTest, TemporariesEncodedByAnObjectKeepTheirOwnEntries) {
    struct Temporaries : Object, Coding {
        void encodeWithCoder(KeyedArchiver& coder) const override {
            for (int i = 0; i < 32; ++i) {
                coder.encodeObject(Value(Array{Value(i)}), "k" + std::to_string(i));
            }
        }
        std::string className() const override { return "VLTemporaries"; }
    };
    CodingRegistry::registerClass("VLTemporaries", [](KeyedUnarchiver& coder) -> ObjectRef {
        for (int i = 0; i < 32; ++i) {
            const Value v = coder.decodeObject("k" + std::to_string(i));
            if (v.asArray() == nullptr || v.asArray()->size() != 1 ||
                (*v.asArray())[0].integerValue() != i) {
                return nullptr;
            }
        }
        return std::make_shared<Note>("ok", 1, Value());
    });
    std::string error;
    const auto back = unarchive(archive(Value(std::make_shared<Temporaries>())),
                                {"VLTemporaries", "NSArray", "NSNumber"}, &error);
    CodingRegistry::unregisterClass("VLTemporaries");
    ASSERT_TRUE(back) << error;
    EXPECT_NE(back->asObject(), nullptr);
}

TEST_F(KeyedArchiverCodingTest, SecureDecodingRefusesClassesNotNamed) {
    const Bytes bytes = archive(Array{std::make_shared<Note>("a", 1, Value())});
    std::string error;
    EXPECT_FALSE(unarchive(bytes, {"NSArray", "NSString"}, &error));
    EXPECT_EQ(error, "the archive holds an object of class VLNote, which was not accepted");
    EXPECT_FALSE(unarchive(archive(Array{"x"}), {"NSArray"}, &error));
    EXPECT_FALSE(unarchive(archive(Dictionary{{"k", 1}}), {"NSArray", "NSString"}, &error));
    // A superclass accepts its subclasses.
    EXPECT_TRUE(unarchive(archive(Dictionary{{"k", 1}}), {"NSDictionary", "NSString", "NSNumber"}));
    EXPECT_TRUE(unarchive(archive(Value::decimal("2.5")), {"NSNumber"}));
    // Unregistered classes are unknown, whatever the caller accepts.
    CodingRegistry::unregisterClass("VLNote");
    EXPECT_FALSE(unarchive(bytes, {"NSArray", "NSString", "VLNote"}, &error));
    EXPECT_EQ(error, "the archive names the unknown class VLNote");
}

TEST(KeyedUnarchiverTest, MalformedArchivesGiveErrors) {
    const Value nsArray = Dictionary{{"$classname", "NSArray"}, {"$classes", Array{"NSArray"}}};
    auto archiveOf = [](Array objects, Value root = uid(1)) {
        return Value(Dictionary{{"$archiver", "NSKeyedArchiver"},
                                {"$version", 100000},
                                {"$top", Dictionary{{"root", root}}},
                                {"$objects", std::move(objects)}});
    };
    struct Case {
        const char* name;
        Value plist;
        const char* error;
    };
    const Case cases[] = {
        {"not a dictionary", Array{1},
         "not a keyed archive: no \"$archiver\": \"NSKeyedArchiver\""},
        {"wrong archiver", Dictionary{{"$archiver", "X"}, {"$version", 100000}},
         "not a keyed archive: no \"$archiver\": \"NSKeyedArchiver\""},
        {"no $null", archiveOf(Array{"x", "y"}),
         "not a keyed archive: no \"$objects\" starting with \"$null\""},
        {"root not a UID", archiveOf(Array{"$null", "x"}, 1),
         "not a keyed archive: no root object"},
        {"root out of range", archiveOf(Array{"$null"}, uid(9)),
         "the archive refers to a missing object (UID 9 of 1)"},
        {"array containing itself",
         archiveOf(Array{"$null", Dictionary{{"NS.objects", Array{uid(1)}}, {"$class", uid(2)}},
                         nsArray}),
         "the archive's object 1 contains itself"},
        {"element UID out of range",
         archiveOf(Array{"$null", Dictionary{{"NS.objects", Array{uid(77)}}, {"$class", uid(2)}},
                         nsArray}),
         "the archive refers to a missing object (UID 77 of 3)"},
        {"element not a UID",
         archiveOf(
             Array{"$null", Dictionary{{"NS.objects", Array{5}}, {"$class", uid(2)}}, nsArray}),
         "the archive holds a value of the wrong type: an object reference is not a UID"},
        {"class UID out of range",
         archiveOf(Array{"$null", Dictionary{{"NS.objects", Array{}}, {"$class", uid(40)}}}),
         "the archive refers to a missing object (the class of object 1)"},
        {"class entry without a name",
         archiveOf(Array{"$null", Dictionary{{"NS.objects", Array{}}, {"$class", uid(2)}}, "text"}),
         "the archive holds a value of the wrong type: the class entry of object 1"},
        {"array without NS.objects",
         archiveOf(Array{"$null", Dictionary{{"$class", uid(2)}}, nsArray}),
         "the archive holds a value of the wrong type: an array without NS.objects"},
        {"date without time",
         archiveOf(Array{"$null", Dictionary{{"NS.time", "noon"}, {"$class", uid(2)}},
                         Dictionary{{"$classname", "NSDate"}}}),
         "the archive holds a value of the wrong type: a date without a time"},
        {"root is a bare array", archiveOf(Array{"$null", Array{}}),
         "the archive holds a value of the wrong type: object 1 is not an object"},
        {"root is the class entry", archiveOf(Array{"$null", nsArray}),
         "the archive refers to a missing object (the class of object 1)"},
    };
    for (const auto& [name, plist, expected] : cases) {
        std::string error;
        EXPECT_FALSE(unarchive(plist, {"NSObject"}, &error)) << name;
        EXPECT_EQ(error, expected) << name;
    }
}

TEST(KeyedUnarchiverTest, EveryTruncationAndSingleByteChangeIsHandled) {
    const Bytes good =
        archive(Dictionary{{"list", Array{1, "two", Date(5)}}, {"n", Value::null()}});
    for (std::size_t size = 0; size < good.size(); ++size) {
        std::string error;
        EXPECT_FALSE(
            KeyedUnarchiver::unarchivedObject(kPlainClasses, std::span(good.data(), size), &error))
            << size;
        EXPECT_FALSE(error.empty());
    }
    // Flipped bytes may still make a valid archive; they must never crash.
    for (std::size_t i = 0; i < good.size(); ++i) {
        Bytes changed = good;
        changed[i] ^= 0xff;
        (void)KeyedUnarchiver::unarchivedObject(kPlainClasses, changed);
    }
}

TEST(KeyedUnarchiverTest, DeepNestingIsRefusedNotOverflowed) {
    // 2000 arrays, each holding the next: within the property list's own depth (the
    // objects are a flat list) but too deep to decode.
    Array objects{"$null", Dictionary{{"$classname", "NSArray"}}};
    for (std::uint64_t i = 0; i < 2000; ++i) {
        const std::uint64_t next = i + 1 < 2000 ? objects.size() + 1 : 0;
        objects.push_back(
            Dictionary{{"NS.objects", next ? Array{uid(next)} : Array{}}, {"$class", uid(1)}});
    }
    const Value plist = Dictionary{{"$archiver", "NSKeyedArchiver"},
                                   {"$version", 100000},
                                   {"$top", Dictionary{{"root", uid(2)}}},
                                   {"$objects", std::move(objects)}};
    std::string error;
    EXPECT_FALSE(unarchive(plist, {"NSArray"}, &error));
    EXPECT_EQ(error, "the archive's objects are nested too deep");
}

}  // namespace
}  // namespace velmora

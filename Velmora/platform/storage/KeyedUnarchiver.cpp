#include "Velmora/platform/storage/KeyedUnarchiver.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "Velmora/platform/storage/Coding.h"
#include "Velmora/platform/storage/PropertyList.h"
#include "Velmora/platform/storage/internal/KeyedArchiveFormat.h"

namespace velmora {

using namespace detail;

namespace {

enum class Fault {
    NotAnArchive,
    BadUID,
    Cycle,
    TooDeep,
    WrongType,
    UnknownClass,
    ClassNotAllowed,
    DecoderFailed,
};

std::string describe(Fault fault, std::string_view detail) {
    switch (fault) {
        case Fault::NotAnArchive:
            return fmt::format("not a keyed archive: {}", detail);
        case Fault::BadUID:
            return fmt::format("the archive refers to a missing object ({})", detail);
        case Fault::Cycle:
            return fmt::format("the archive's object {} contains itself", detail);
        case Fault::TooDeep:
            return "the archive's objects are nested too deep";
        case Fault::WrongType:
            return fmt::format("the archive holds a value of the wrong type: {}", detail);
        case Fault::UnknownClass:
            return fmt::format("the archive names the unknown class {}", detail);
        case Fault::ClassNotAllowed:
            return fmt::format("the archive holds an object of class {}, which was not accepted",
                               detail);
        case Fault::DecoderFailed:
            return fmt::format("the object of class {} could not be decoded", detail);
    }
    return "the archive could not be read";
}

std::optional<std::uint64_t> uidOf(const Value& value) {
    if (const auto uid = value.asObject<PropertyListUID>()) {
        return uid->value();
    }
    return std::nullopt;
}

}  // namespace

struct KeyedUnarchiver::Impl {
    enum class Mark : std::uint8_t { New, Decoding, Done };

    KeyedUnarchiver* owner = nullptr;
    const Array* objects = nullptr;
    std::vector<Mark> marks;
    std::vector<Value> decoded;
    std::vector<std::vector<std::string>> hierarchies;  // of each decoded object
    ClassNames allowed;
    const Dictionary* current = nullptr;  // the entry a Coding decoder reads
    int depth = 0;
    std::string error;

    bool failed() const { return !error.empty(); }
    Value fail(Fault fault, std::string_view detail = {}) {
        if (error.empty()) {
            error = describe(fault, detail);
        }
        return Value();
    }

    bool isAllowed(const std::vector<std::string>& hierarchy) const {
        return std::any_of(hierarchy.begin(), hierarchy.end(), [this](const std::string& name) {
            return std::find(allowed.begin(), allowed.end(), name) != allowed.end();
        });
    }

    Value checked(std::uint64_t index) {
        if (!isAllowed(hierarchies[index])) {
            return fail(Fault::ClassNotAllowed, hierarchies[index].front());
        }
        return decoded[index];
    }

    Value decode(const Value& reference);
    Value decodeIndex(std::uint64_t index);
    Value decodeEntry(std::uint64_t index, std::vector<std::string>& hierarchy);
    Value decodeInstance(const Dictionary& entry, const std::string& className,
                         std::vector<std::string>& hierarchy);
    Value decodeList(const Dictionary& entry, std::string_view key, const char* what);
};

Value KeyedUnarchiver::Impl::decode(const Value& reference) {
    const auto index = uidOf(reference);
    if (!index) {
        return fail(Fault::WrongType, "an object reference is not a UID");
    }
    return decodeIndex(*index);
}

Value KeyedUnarchiver::Impl::decodeIndex(std::uint64_t index) {
    if (failed() || index == 0) {
        return Value();
    }
    if (index >= objects->size()) {
        return fail(Fault::BadUID, fmt::format("UID {} of {}", index, objects->size()));
    }
    switch (marks[index]) {
        case Mark::Done:
            return checked(index);
        case Mark::Decoding:
            return fail(Fault::Cycle, std::to_string(index));
        case Mark::New:
            break;
    }
    if (depth >= kMaxDepth) {
        return fail(Fault::TooDeep);
    }
    ++depth;
    marks[index] = Mark::Decoding;
    std::vector<std::string> hierarchy;
    Value value = decodeEntry(index, hierarchy);
    --depth;
    if (failed()) {
        return Value();
    }
    marks[index] = Mark::Done;
    decoded[index] = std::move(value);
    hierarchies[index] = std::move(hierarchy);
    return checked(index);
}

Value KeyedUnarchiver::Impl::decodeEntry(std::uint64_t index, std::vector<std::string>& hierarchy) {
    const Value& entry = (*objects)[index];
    switch (entry.kind()) {
        case Value::Kind::String:
            hierarchy = builtInHierarchy("NSString");
            return entry;
        case Value::Kind::Data:
            hierarchy = builtInHierarchy("NSData");
            return entry;
        case Value::Kind::Bool:
        case Value::Kind::Int:
        case Value::Kind::Double:
            hierarchy = builtInHierarchy("NSNumber");
            return entry;
        case Value::Kind::Dictionary:
            break;
        default:
            return fail(Fault::WrongType, fmt::format("object {} is not an object", index));
    }
    const Dictionary& fields = *entry.asDictionary();
    const auto classIndex = uidOf(fields.get(kClassKey));
    if (!classIndex || *classIndex == 0 || *classIndex >= objects->size()) {
        return fail(Fault::BadUID, fmt::format("the class of object {}", index));
    }
    const Value& classEntry = (*objects)[*classIndex];
    const Value className = classEntry[Value(kClassNameKey)];
    if (!className.isString()) {
        return fail(Fault::WrongType, fmt::format("the class entry of object {}", index));
    }
    return decodeInstance(fields, *className.asString(), hierarchy);
}

Value KeyedUnarchiver::Impl::decodeList(const Dictionary& entry, std::string_view key,
                                        const char* what) {
    const Value list = entry.get(key);
    if (!list.isArray()) {
        return fail(Fault::WrongType, fmt::format("{} without {}", what, key));
    }
    Array values;
    values.reserve(list.asArray()->size());
    for (const Value& reference : *list.asArray()) {
        values.push_back(decode(reference));
        if (failed()) {
            return Value();
        }
        if (values.back().isNil()) {
            return fail(Fault::WrongType, fmt::format("{} holding nil", what));
        }
    }
    return Value(std::move(values));
}

Value KeyedUnarchiver::Impl::decodeInstance(const Dictionary& entry, const std::string& className,
                                            std::vector<std::string>& hierarchy) {
    hierarchy = builtInHierarchy(className);
    // Check the class before decoding anything it holds.
    if (!hierarchy.empty() && !isAllowed(hierarchy)) {
        return fail(Fault::ClassNotAllowed, className);
    }
    if (className == "NSDictionary" || className == "NSMutableDictionary") {
        const Value keys = decodeList(entry, kKeysKey, "a dictionary");
        const Value values = decodeList(entry, kObjectsListKey, "a dictionary");
        if (failed()) {
            return Value();
        }
        if (keys.count() != values.count()) {
            return fail(Fault::WrongType, "a dictionary with more keys than values or fewer");
        }
        Dictionary dictionary;
        dictionary.reserve(keys.count());
        for (std::size_t i = 0; i < keys.count(); ++i) {
            dictionary.set((*keys.asArray())[i], (*values.asArray())[i]);
        }
        return Value(std::move(dictionary));
    }
    if (className == "NSArray" || className == "NSMutableArray") {
        return decodeList(entry, kObjectsListKey, "an array");
    }
    if (className == "NSDate") {
        const Value time = entry.get(kTimeKey);
        if (!time.isNumber() || !std::isfinite(time.doubleValue())) {
            return fail(Fault::WrongType, "a date without a time");
        }
        return Value(Date(time.doubleValue() + kSecondsFrom1970To2001));
    }
    if (className == "NSNull") {
        return Value::null();
    }
    if (className == "NSString" || className == "NSMutableString") {
        const Value text = entry.get(kStringKey);
        return text.isString() ? text : fail(Fault::WrongType, "a string without its text");
    }
    if (className == "NSData" || className == "NSMutableData") {
        const Value bytes = entry.get(kDataKey);
        return bytes.isData() ? bytes : fail(Fault::WrongType, "data without its bytes");
    }
    if (className == "NSDecimalNumber") {
        const Value mantissa = entry.get("NS.mantissa");
        const Value exponent = entry.get("NS.exponent");
        const Value length = entry.get("NS.length");
        if (!mantissa.isData() || mantissa.asData()->size() != 16 || !exponent.isNumber() ||
            !length.isNumber()) {
            return fail(Fault::WrongType, "a decimal number without its fields");
        }
        DecimalFields fields;
        fields.negative = entry.get("NS.negative").boolValue();
        fields.exponent = exponent.integerValue();
        fields.length =
            static_cast<std::uint64_t>(std::max<std::int64_t>(0, length.integerValue()));
        std::memcpy(fields.mantissa, mantissa.asData()->data(), 16);
        if (entry.get("NS.mantissa.bo").integerValue() != 1) {
            for (int word = 0; word < 8; ++word) {  // big-endian words
                std::swap(fields.mantissa[2 * word], fields.mantissa[2 * word + 1]);
            }
        }
        const auto number = decimalFromFields(fields);
        return number ? Value(*number) : fail(Fault::WrongType, "a decimal number out of range");
    }
    const auto registered = CodingRegistry::find(className);
    if (!registered) {
        return fail(Fault::UnknownClass, className);
    }
    hierarchy = registered->hierarchy;
    if (!isAllowed(hierarchy)) {
        return fail(Fault::ClassNotAllowed, className);
    }
    const Dictionary* const previous = std::exchange(current, &entry);
    ObjectRef object = registered->decode ? registered->decode(*owner) : nullptr;
    current = previous;
    if (failed()) {
        return Value();
    }
    if (!object) {
        return fail(Fault::DecoderFailed, className);
    }
    return Value(std::move(object));
}

KeyedUnarchiver::KeyedUnarchiver() : impl_(std::make_unique<Impl>()) {
    impl_->owner = this;
}

KeyedUnarchiver::~KeyedUnarchiver() = default;

std::optional<Value> KeyedUnarchiver::unarchivedObject(const ClassNames& classes,
                                                       std::span<const std::uint8_t> bytes,
                                                       std::string* error) {
    auto report = [error](std::string text) -> std::optional<Value> {
        if (error != nullptr) {
            *error = std::move(text);
        }
        return std::nullopt;
    };
    std::string plistError;
    const auto archive = PropertyList::read(bytes, &plistError);
    if (!archive) {
        return report(describe(Fault::NotAnArchive, plistError));
    }
    const Value archiver = (*archive)[Value(kArchiverKey)];
    const Value version = (*archive)[Value(kVersionKey)];
    const Value objects = (*archive)[Value(kObjectsKey)];
    const Value root = (*archive)[Value(kTopKey)][Value(kRootKey)];
    if (!archiver.isString() || *archiver.asString() != kArchiverName) {
        return report(describe(Fault::NotAnArchive, "no \"$archiver\": \"NSKeyedArchiver\""));
    }
    if (!version.isNumber() || version.integerValue() != kArchiveVersion) {
        return report(describe(Fault::NotAnArchive, "unknown \"$version\""));
    }
    if (!objects.isArray() || objects.asArray()->empty() || !(*objects.asArray())[0].isString() ||
        *(*objects.asArray())[0].asString() != kNullEntry) {
        return report(describe(Fault::NotAnArchive, "no \"$objects\" starting with \"$null\""));
    }
    if (!uidOf(root)) {
        return report(describe(Fault::NotAnArchive, "no root object"));
    }

    KeyedUnarchiver unarchiver;
    Impl& impl = *unarchiver.impl_;
    impl.objects = objects.asArray();
    impl.marks.assign(impl.objects->size(), Impl::Mark::New);
    impl.decoded.resize(impl.objects->size());
    impl.hierarchies.resize(impl.objects->size());
    impl.allowed = classes;
    Value result = impl.decode(root);
    if (impl.failed()) {
        return report(impl.error);
    }
    return result;
}

bool KeyedUnarchiver::containsValue(std::string_view key) const {
    return impl_->current != nullptr && impl_->current->contains(Value(escapeKey(key)));
}

Value KeyedUnarchiver::decodeObject(std::string_view key, const ClassNames& extraClasses) {
    if (impl_->current == nullptr || impl_->failed()) {
        return Value();
    }
    const Value reference = impl_->current->get(Value(escapeKey(key)));
    if (reference.isNil()) {
        return Value();
    }
    const std::size_t allowedBefore = impl_->allowed.size();
    impl_->allowed.insert(impl_->allowed.end(), extraClasses.begin(), extraClasses.end());
    const Dictionary* const entry = impl_->current;
    Value value = impl_->decode(reference);
    impl_->current = entry;
    impl_->allowed.resize(allowedBefore);
    return value;
}

bool KeyedUnarchiver::decodeBool(std::string_view key) {
    const Value value = impl_->current ? impl_->current->get(Value(escapeKey(key))) : Value();
    if (value.isNil() || impl_->failed()) {
        return false;
    }
    if (!value.isNumber()) {
        impl_->fail(Fault::WrongType, fmt::format("\"{}\" is not a bool", key));
        return false;
    }
    return value.boolValue();
}

std::int64_t KeyedUnarchiver::decodeInt64(std::string_view key) {
    const Value value = impl_->current ? impl_->current->get(Value(escapeKey(key))) : Value();
    if (value.isNil() || impl_->failed()) {
        return 0;
    }
    if (!value.isNumber()) {
        impl_->fail(Fault::WrongType, fmt::format("\"{}\" is not an integer", key));
        return 0;
    }
    return value.integerValue();
}

double KeyedUnarchiver::decodeDouble(std::string_view key) {
    const Value value = impl_->current ? impl_->current->get(Value(escapeKey(key))) : Value();
    if (value.isNil() || impl_->failed()) {
        return 0;
    }
    if (!value.isNumber()) {
        impl_->fail(Fault::WrongType, fmt::format("\"{}\" is not a number", key));
        return 0;
    }
    return value.doubleValue();
}

void KeyedUnarchiver::failWithError(std::string text) {
    if (impl_->error.empty()) {
        impl_->error = std::move(text);
    }
}

bool KeyedUnarchiver::hasFailed() const {
    return impl_->failed();
}

}  // namespace velmora

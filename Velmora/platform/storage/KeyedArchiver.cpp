#include "Velmora/platform/storage/KeyedArchiver.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "Velmora/platform/storage/Coding.h"
#include "Velmora/platform/storage/PropertyList.h"
#include "Velmora/platform/storage/internal/KeyedArchiveFormat.h"

namespace velmora {

using namespace detail;

namespace {

constexpr int kMaxDepth = 512;

enum class Fault { Cycle, TooDeep, NotCoding, Decimal, OutsideCoder, PropertyList };

std::string describe(Fault fault, std::string_view detail) {
    switch (fault) {
        case Fault::Cycle:
            return "cannot archive a container that contains itself";
        case Fault::TooDeep:
            return "cannot archive values nested this deep";
        case Fault::NotCoding:
            return fmt::format("cannot archive an object of class {}: it does not implement Coding",
                               detail);
        case Fault::Decimal:
            return fmt::format(
                "cannot archive the decimal {}: NSDecimalNumber holds at most 38 "
                "digits and exponents from -128 to 127",
                detail);
        case Fault::OutsideCoder:
            return "encode called outside encodeWithCoder";
        case Fault::PropertyList:
            return fmt::format("cannot write the archive: {}", detail);
    }
    return "cannot archive";
}

Value uid(std::uint64_t index) {
    return Value(PropertyListUID::make(index));
}

}  // namespace

struct KeyedArchiver::Impl {
    KeyedArchiver* owner = nullptr;
    Array objects{Value(kNullEntry)};
    std::unordered_map<const void*, std::uint64_t> byReference;  // shared values written
    std::unordered_map<std::string, std::uint64_t> classes;      // class entries written
    std::unordered_set<const void*> open;                        // containers being written
    // Every shared value written, kept alive until the archive is done: identities are
    // addresses, and a temporary a Coding object encoded and then freed must not lend its
    // address, and so its entry, to a later value.
    Array written;
    std::optional<std::uint64_t> nullIndex;
    Dictionary* current = nullptr;  // the entry a Coding object is writing into
    int depth = 0;
    std::string error;

    bool failed() const { return !error.empty(); }
    void fail(Fault fault, std::string_view detail = {}) {
        if (error.empty()) {
            error = describe(fault, detail);
        }
    }

    std::uint64_t add(Value entry) {
        objects.push_back(std::move(entry));
        return objects.size() - 1;
    }

    std::uint64_t classEntry(const std::vector<std::string>& hierarchy) {
        const std::string& name = hierarchy.front();
        if (auto found = classes.find(name); found != classes.end()) {
            return found->second;
        }
        Array names(hierarchy.begin(), hierarchy.end());
        const std::uint64_t index =
            add(Dictionary{{kClassNameKey, name}, {kClassesKey, std::move(names)}});
        classes.emplace(name, index);
        return index;
    }
    std::uint64_t classEntry(std::string_view builtIn) {
        return classEntry(builtInHierarchy(builtIn));
    }

    // The identity of a shared value, or nullptr for the kinds held by value.
    static const void* identity(const Value& value) {
        switch (value.kind()) {
            case Value::Kind::String:
                return value.asString();
            case Value::Kind::Data:
                return value.asData();
            case Value::Kind::Decimal:
                return value.asDecimal();
            case Value::Kind::Array:
                return value.asArray();
            case Value::Kind::Dictionary:
                return value.asDictionary();
            case Value::Kind::Object:
                return value.asObject().get();
            default:
                return nullptr;
        }
    }

    std::uint64_t encode(const Value& value);
    std::uint64_t encodeNew(const Value& value);
    std::uint64_t encodeObject(const ObjectRef& object);
};

std::uint64_t KeyedArchiver::Impl::encode(const Value& value) {
    if (value.isNil() || failed()) {
        return 0;
    }
    if (value.isNull() && nullIndex) {
        return *nullIndex;
    }
    const void* id = identity(value);
    if (id != nullptr) {
        if (auto found = byReference.find(id); found != byReference.end()) {
            return found->second;
        }
        if (open.count(id) != 0) {
            fail(Fault::Cycle);
            return 0;
        }
    }
    if (depth >= kMaxDepth) {
        fail(Fault::TooDeep);
        return 0;
    }
    ++depth;
    if (id != nullptr) {
        open.insert(id);
    }
    const std::uint64_t index = encodeNew(value);
    if (id != nullptr) {
        open.erase(id);
        byReference.emplace(id, index);
        written.push_back(value);
    }
    if (value.isNull()) {
        nullIndex = index;
    }
    --depth;
    return index;
}

std::uint64_t KeyedArchiver::Impl::encodeNew(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Bool:
        case Value::Kind::Int:
        case Value::Kind::UInt:
        case Value::Kind::Double:
        case Value::Kind::String:
        case Value::Kind::Data:
            return add(value);
        case Value::Kind::Null:
            return add(Dictionary{{kClassKey, uid(classEntry("NSNull"))}});
        case Value::Kind::Date: {
            const double since2001 =
                value.asDate()->timeIntervalSince1970() - kSecondsFrom1970To2001;
            return add(Dictionary{{kTimeKey, since2001}, {kClassKey, uid(classEntry("NSDate"))}});
        }
        case Value::Kind::Decimal: {
            const auto fields = decimalFields(*value.asDecimal());
            if (!fields) {
                fail(Fault::Decimal, value.asDecimal()->description());
                return 0;
            }
            const auto* bytes = fields->mantissa;
            return add(Dictionary{
                {"NS.exponent", fields->exponent},
                {"NS.length", fields->length},
                {"NS.negative", fields->negative},
                {"NS.compact", true},
                {"NS.mantissa.bo", 1},
                {"NS.mantissa", Bytes(bytes, bytes + sizeof fields->mantissa)},
                {kClassKey, uid(classEntry("NSDecimalNumber"))},
            });
        }
        case Value::Kind::Array: {
            const std::uint64_t index = add(Value());  // reserved: children come after
            Array references;
            references.reserve(value.asArray()->size());
            for (const Value& element : *value.asArray()) {
                references.push_back(uid(encode(element)));
            }
            objects[index] = Dictionary{{kObjectsListKey, std::move(references)},
                                        {kClassKey, uid(classEntry("NSMutableArray"))}};
            return index;
        }
        case Value::Kind::Dictionary: {
            const std::uint64_t index = add(Value());
            Array keys;
            Array values;
            for (const auto& [key, element] : *value.asDictionary()) {
                keys.push_back(uid(encode(key)));
                values.push_back(uid(encode(element)));
            }
            objects[index] = Dictionary{{kKeysKey, std::move(keys)},
                                        {kObjectsListKey, std::move(values)},
                                        {kClassKey, uid(classEntry("NSMutableDictionary"))}};
            return index;
        }
        case Value::Kind::Object:
            return encodeObject(value.asObject());
        case Value::Kind::Nil:
            break;
    }
    return 0;
}

std::uint64_t KeyedArchiver::Impl::encodeObject(const ObjectRef& object) {
    const auto* coding = dynamic_cast<const Coding*>(object.get());
    if (coding == nullptr) {
        fail(Fault::NotCoding, object->className());
        return 0;
    }
    std::vector<std::string> hierarchy = coding->codingClassHierarchy();
    if (hierarchy.empty()) {
        hierarchy = {object->className(), "NSObject"};
    }
    const std::uint64_t index = add(Value());
    Value entry = Value::makeDictionary();
    Dictionary* const previous = std::exchange(current, entry.asDictionary());
    coding->encodeWithCoder(*owner);
    current = previous;
    entry.asDictionary()->set(kClassKey, uid(classEntry(hierarchy)));
    objects[index] = entry;
    return index;
}

KeyedArchiver::KeyedArchiver() : impl_(std::make_unique<Impl>()) {
    impl_->owner = this;
}

KeyedArchiver::~KeyedArchiver() = default;

std::optional<Bytes> KeyedArchiver::archivedData(const Value& root, std::string* error) {
    KeyedArchiver archiver;
    Impl& impl = *archiver.impl_;
    const std::uint64_t rootIndex = impl.encode(root);
    if (impl.failed()) {
        if (error != nullptr) {
            *error = impl.error;
        }
        return std::nullopt;
    }
    const Value archive = Dictionary{
        {kVersionKey, kArchiveVersion},
        {kArchiverKey, kArchiverName},
        {kTopKey, Dictionary{{kRootKey, uid(rootIndex)}}},
        {kObjectsKey, std::move(impl.objects)},
    };
    std::string plistError;
    auto bytes = PropertyList::binaryData(archive, &plistError);
    if (!bytes && error != nullptr) {
        *error = describe(Fault::PropertyList, plistError);
    }
    return bytes;
}

void KeyedArchiver::encodeObject(const Value& value, std::string_view key) {
    if (impl_->current == nullptr) {
        impl_->fail(Fault::OutsideCoder);
        return;
    }
    Dictionary* const entry = impl_->current;
    const std::uint64_t index = impl_->encode(value);
    entry->set(escapeKey(key), uid(index));
}

void KeyedArchiver::encodeBool(bool value, std::string_view key) {
    if (impl_->current == nullptr) {
        impl_->fail(Fault::OutsideCoder);
        return;
    }
    impl_->current->set(escapeKey(key), value);
}

void KeyedArchiver::encodeInt64(std::int64_t value, std::string_view key) {
    if (impl_->current == nullptr) {
        impl_->fail(Fault::OutsideCoder);
        return;
    }
    impl_->current->set(escapeKey(key), value);
}

void KeyedArchiver::encodeDouble(double value, std::string_view key) {
    if (impl_->current == nullptr) {
        impl_->fail(Fault::OutsideCoder);
        return;
    }
    impl_->current->set(escapeKey(key), value);
}

void KeyedArchiver::failWithError(std::string text) {
    if (impl_->error.empty()) {
        impl_->error = std::move(text);
    }
}

}  // namespace velmora

#include "Velmora/platform/storage/PropertyList.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_set>

#include <fmt/format.h>

#include "Velmora/platform/storage/internal/PlistBinaryCheck.h"
#include "Velmora/platform/storage/internal/PlistNode.h"

namespace velmora {
namespace {

using detail::PlistNode;

// Seconds between 1970-01-01 and 2001-01-01, the epoch of property-list dates.
constexpr double kSecondsFrom1970To2001 = 978307200.0;
constexpr int kMaxDepth = 512;

// Strictly well-formed UTF-8 without NUL: libplist 2.2 takes strings NUL-terminated and
// cannot write ill-formed UTF-8, so anything else would be cut or lost.
bool isWritableText(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == 0) {
            return false;
        }
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint32_t point = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
            point = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            point = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            point = c & 0x07;
        } else {
            return false;
        }
        if (text.size() - i < length) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = (point << 6) | (next & 0x3F);
        }
        const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
        if (overlong || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return false;
        }
        i += length;
    }
    return true;
}

bool setError(std::string* error, std::string text) {
    if (error != nullptr) {
        *error = std::move(text);
    }
    return false;
}

class Writer {
  public:
    explicit Writer(std::string* error) : error_(error) {}

    PlistNode convert(const Value& value, int depth);

  private:
    PlistNode fail(std::string text) {
        setError(error_, std::move(text));
        return nullptr;
    }

    std::string* error_;
    std::unordered_set<const void*> open_;  // containers being converted (cycle check)
};

plist_t newDate(Date date) {
    double since2001 = date.timeIntervalSince1970() - kSecondsFrom1970To2001;
    constexpr double kMin = std::numeric_limits<std::int32_t>::min();
    constexpr double kMax = std::numeric_limits<std::int32_t>::max();
    if (!(since2001 >= kMin)) {  // also NaN
        since2001 = kMin;
    }
    since2001 = std::min(since2001, kMax);
    const double whole = std::trunc(since2001);
    const auto micro = static_cast<std::int32_t>(std::lround((since2001 - whole) * 1e6));
    return plist_new_date(static_cast<std::int32_t>(whole), micro);
}

PlistNode Writer::convert(const Value& value, int depth) {
    if (depth > kMaxDepth) {
        return fail("nesting too deep for a property list");
    }
    switch (value.kind()) {
        case Value::Kind::Bool:
            return PlistNode(plist_new_bool(value.boolValue() ? 1 : 0));
        case Value::Kind::Int:
            return PlistNode(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
        case Value::Kind::UInt: {
            const std::uint64_t number = value.unsignedIntegerValue();
            if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
                return PlistNode(plist_new_real(static_cast<double>(number)));
            }
            return PlistNode(plist_new_uint(number));
        }
        case Value::Kind::Double:
            return PlistNode(plist_new_real(value.doubleValue()));
        case Value::Kind::String:
            if (!isWritableText(*value.asString())) {
                return fail("a string that is not UTF-8 or holds a NUL cannot be written");
            }
            return PlistNode(plist_new_string(value.asString()->c_str()));
        case Value::Kind::Date:
            return PlistNode(newDate(*value.asDate()));
        case Value::Kind::Data: {
            const Bytes& bytes = *value.asData();
            return PlistNode(
                plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        }
        case Value::Kind::Array: {
            const Array* array = value.asArray();
            if (!open_.insert(array).second) {
                return fail("a property list cannot hold a cycle");
            }
            PlistNode node(plist_new_array());
            for (const Value& element : *array) {
                PlistNode child = convert(element, depth + 1);
                if (!child) {
                    return nullptr;
                }
                plist_array_append_item(node.get(), child.release());
            }
            open_.erase(array);
            return node;
        }
        case Value::Kind::Dictionary: {
            const Dictionary* dictionary = value.asDictionary();
            if (!open_.insert(dictionary).second) {
                return fail("a property list cannot hold a cycle");
            }
            PlistNode node(plist_new_dict());
            for (const auto& [key, element] : *dictionary) {
                if (!key.isString()) {
                    return fail(
                        fmt::format("dictionary key {} is not a string", key.description()));
                }
                if (!isWritableText(*key.asString())) {
                    return fail("a string that is not UTF-8 or holds a NUL cannot be written");
                }
                PlistNode child = convert(element, depth + 1);
                if (!child) {
                    return nullptr;
                }
                plist_dict_set_item(node.get(), key.asString()->c_str(), child.release());
            }
            open_.erase(dictionary);
            return node;
        }
        case Value::Kind::Object:
            if (const auto uid = value.asObject<PropertyListUID>()) {
                return PlistNode(plist_new_uid(uid->value()));
            }
            return fail(fmt::format("{} has no property-list form", value.asObject()->className()));
        case Value::Kind::Nil:
            return fail("nil has no property-list form");
        case Value::Kind::Null:
            return fail("null has no property-list form");
        case Value::Kind::Decimal:
            return fail("a decimal number has no property-list form");
    }
    return fail("unknown value");
}

Date readDate(plist_t node) {
    std::int32_t seconds = 0;
    std::int32_t micro = 0;
    plist_get_date_val(node, &seconds, &micro);
    // libplist answers the fraction's magnitude; its sign is the whole seconds' sign
    // (lost for instants less than a second before 2001).
    const double fraction = (seconds < 0 ? -1.0 : 1.0) * micro / 1e6;
    return Date(kSecondsFrom1970To2001 + seconds + fraction);
}

Value toValue(plist_t node, bool& bad) {
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(node, &flag);
            return Value(flag != 0);
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(node, &number);
            return Value(static_cast<std::int64_t>(number));
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(node, &number);
            return Value(number);
        }
        case PLIST_STRING:
        case PLIST_KEY: {
            std::uint64_t length = 0;
            const char* text = plist_get_string_ptr(node, &length);
            std::string string = text == nullptr ? std::string() : std::string(text, length);
            bad = bad || !isWritableText(string);
            return Value(std::move(string));
        }
        case PLIST_DATE:
            return Value(readDate(node));
        case PLIST_DATA: {
            std::uint64_t length = 0;
            const char* bytes = plist_get_data_ptr(node, &length);
            const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes);
            return Value(bytes == nullptr ? Bytes() : Bytes(begin, begin + length));
        }
        case PLIST_UID: {
            std::uint64_t uid = 0;
            plist_get_uid_val(node, &uid);
            return Value(PropertyListUID::make(uid));
        }
        case PLIST_ARRAY: {
            const std::uint32_t count = plist_array_get_size(node);
            Array array;
            array.reserve(count);
            for (std::uint32_t i = 0; i < count; ++i) {
                array.push_back(toValue(plist_array_get_item(node, i), bad));
            }
            return Value(std::move(array));
        }
        case PLIST_DICT: {
            Dictionary dictionary;
            dictionary.reserve(plist_dict_get_size(node));
            plist_dict_iter raw = nullptr;
            plist_dict_new_iter(node, &raw);
            std::unique_ptr<void, detail::MallocDeleter> iterator(raw);
            for (;;) {
                char* rawKey = nullptr;
                plist_t item = nullptr;
                plist_dict_next_item(node, raw, &rawKey, &item);
                std::unique_ptr<char, detail::MallocDeleter> key(rawKey);
                if (item == nullptr) {
                    break;
                }
                std::string name = key ? std::string(key.get()) : std::string();
                bad = bad || !isWritableText(name);
                dictionary.set(Value(std::move(name)), toValue(item, bad));
            }
            return Value(std::move(dictionary));
        }
        case PLIST_NONE:
            break;
    }
    return Value();
}

}  // namespace

namespace detail {

PlistNode parsePlist(std::span<const std::uint8_t> bytes, bool allowXml, std::string* error) {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
        setError(error, "the property list is too large");
        return nullptr;
    }
    const auto* data = reinterpret_cast<const char*>(bytes.data());
    const auto length = static_cast<std::uint32_t>(bytes.size());
    plist_t root = nullptr;
    if (bytes.size() >= 8 && std::memcmp(data, "bplist", 6) == 0) {
        if (!PlistBinaryCheck::check(bytes, error)) {
            return nullptr;
        }
        plist_from_bin(data, length, &root);
    } else if (allowXml) {
        plist_from_xml(data, length, &root);
    }
    if (root == nullptr) {
        setError(error, "not a property list");
    }
    return PlistNode(root);
}

}  // namespace detail

ObjectRef PropertyListUID::make(std::uint64_t value) {
    return std::make_shared<PropertyListUID>(value);
}

bool PropertyListUID::isEqual(const Object& other) const {
    const auto* uid = dynamic_cast<const PropertyListUID*>(&other);
    return uid != nullptr && uid->value_ == value_;
}

std::size_t PropertyListUID::hash() const {
    return std::hash<std::uint64_t>()(value_);
}

std::string PropertyListUID::description() const {
    return fmt::format("<CFKeyedArchiverUID>{{value = {}}}", value_);
}

std::optional<Bytes> PropertyList::binaryData(const Value& value, std::string* error) {
    PlistNode root = Writer(error).convert(value, 0);
    if (!root) {
        return std::nullopt;
    }
    char* raw = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(root.get(), &raw, &length);
    if (raw == nullptr) {
        setError(error, "the property list could not be written");
        return std::nullopt;
    }
    Bytes bytes(reinterpret_cast<const std::uint8_t*>(raw),
                reinterpret_cast<const std::uint8_t*>(raw) + length);
    plist_to_bin_free(raw);
    return bytes;
}

std::optional<std::string> PropertyList::xmlText(const Value& value, std::string* error) {
    PlistNode root = Writer(error).convert(value, 0);
    if (!root) {
        return std::nullopt;
    }
    char* raw = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &raw, &length);
    if (raw == nullptr) {
        setError(error, "the property list could not be written");
        return std::nullopt;
    }
    std::string text(raw, length);
    plist_to_xml_free(raw);
    return text;
}

std::optional<Value> PropertyList::read(std::span<const std::uint8_t> bytes, std::string* error) {
    PlistNode root = detail::parsePlist(bytes, false, error);
    if (!root) {
        return std::nullopt;
    }
    bool bad = false;
    Value value = toValue(root.get(), bad);
    if (bad) {
        setError(error, "the property list holds a string that is not UTF-8 or holds a NUL");
        return std::nullopt;
    }
    return value;
}

}  // namespace velmora

#pragma once
// Value: the one carrier of heterogeneous data in the framework (JSON trees, archived
// messages, user defaults, notification user info, list sections and items).
//
// Kinds: nil, null (the explicit null object), bool, signed and unsigned 64-bit
// integers, double, decimal, string, date, data, array, dictionary and Object.
// Scalars (bool, numbers, date, null) are held by value. Strings, data and decimals are
// shared and immutable. Arrays and dictionaries are shared and mutable, as the
// platform's mutable collections are: copying a Value copies a reference, and a change
// made through one copy is seen through every other (use copy() for a separate
// container). So two Values can be *the same object*:
//
//   isIdenticalTo  same reference; for by-value kinds, the same value
//   isEqual, hash  equality with Foundation's rules: numbers compare by value across
//                  bool, integers, doubles and decimals; strings by their UTF-8 bytes;
//                  arrays element by element; dictionaries by their key/value pairs in
//                  any order; Objects through Object::isEqual. Equal values hash alike.
//
// Thread safety: a Value may be read from several threads at once; a shared array or
// dictionary must not be changed while another thread reads it.
//
//   Value task = Dictionary{{"title", "Groceries"}, {"due", Date::now()}};
//   task.asDictionary()->set("tags", Array{"home", "errands"});
//   log::info("task: {}", task.description());

#include <bit>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/DecimalNumber.h"
#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class Dictionary;
class Value;
using Array = std::vector<Value>;
using Bytes = std::vector<std::uint8_t>;

enum class ComparisonResult : int { Ascending = -1, Same = 0, Descending = 1 };

class Value {
  public:
    enum class Kind : std::uint8_t {
        Nil,
        Null,
        Bool,
        Int,
        UInt,
        Double,
        Decimal,
        String,
        Date,
        Data,
        Array,
        Dictionary,
        Object,
    };

    Value() noexcept : scalar_() {}  // nil
    static Value null();

    Value(bool value) noexcept : scalar_{value ? 1U : 0U}, kind_(Kind::Bool) {}
    template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char>) Value(T value)
    noexcept
        : scalar_{static_cast<std::uint64_t>(value)},
          kind_(std::is_signed_v<T> ? Kind::Int : Kind::UInt) {}
    Value(double value) noexcept
        : scalar_{std::bit_cast<std::uint64_t>(value)}, kind_(Kind::Double) {}
    Value(float value) noexcept : Value(static_cast<double>(value)) {}
    Value(const char* text);  // nullptr gives nil
    Value(std::string_view text);
    Value(std::string text);
    Value(Date date) noexcept
        : scalar_{std::bit_cast<std::uint64_t>(date.timeIntervalSince1970())}, kind_(Kind::Date) {}
    Value(Bytes bytes);
    Value(Array array);
    Value(Dictionary dictionary);
    Value(ObjectRef object);  // nullptr gives nil
    template <class T>
    requires std::derived_from<T, Object> Value(std::shared_ptr<T> object)
        : Value(ObjectRef(std::move(object))) {}
    Value(DecimalNumber decimal);
    // Values around shared blocks made elsewhere (by std::allocate_shared, say); null
    // gives nil.
    explicit Value(std::shared_ptr<const DecimalNumber> decimal) noexcept : Value() {
        hold(Kind::Decimal, std::move(decimal));
    }
    explicit Value(std::shared_ptr<const std::string> string) noexcept : Value() {
        hold(Kind::String, std::move(string));
    }
    explicit Value(std::shared_ptr<Array> array) noexcept : Value() {
        hold(Kind::Array, std::move(array));
    }
    explicit Value(std::shared_ptr<Dictionary> dictionary) noexcept : Value() {
        hold(Kind::Dictionary, std::move(dictionary));
    }

    // A decimal number from its text; nil when the text is not a number.
    static Value decimal(std::string_view text);
    // New, empty, shared containers.
    static Value makeArray();
    static Value makeDictionary();

    // Copies share the block of a shared kind; a moved-from Value is nil.
    Value(const Value& other) noexcept : kind_(other.kind_) {
        if (holdsBlock()) {
            new (&block_) Block(other.block_);
        } else {
            scalar_ = other.scalar_;
        }
    }
    Value(Value&& other) noexcept : kind_(other.kind_) {
        if (holdsBlock()) {
            new (&block_) Block(std::move(other.block_));
            other.block_.~Block();
            other.kind_ = Kind::Nil;
            other.scalar_ = Scalar();
        } else {
            scalar_ = other.scalar_;
        }
    }
    // Both assignments take other's contents before letting go of their own, so other may
    // live inside this Value's container.
    Value& operator=(const Value& other) noexcept {
        if (this != &other) {
            *this = Value(other);
        }
        return *this;
    }
    Value& operator=(Value&& other) noexcept {
        if (this != &other) {
            Value taken(std::move(other));
            release();
            new (this) Value(std::move(taken));
        }
        return *this;
    }
    ~Value() { release(); }

    Kind kind() const { return kind_; }
    bool isNil() const { return kind() == Kind::Nil; }
    bool isNull() const { return kind() == Kind::Null; }
    bool isBool() const { return kind() == Kind::Bool; }
    // Bool, Int, UInt, Double and Decimal: the platform's number kinds.
    bool isNumber() const;
    bool isString() const { return kind() == Kind::String; }
    bool isDate() const { return kind() == Kind::Date; }
    bool isData() const { return kind() == Kind::Data; }
    bool isArray() const { return kind() == Kind::Array; }
    bool isDictionary() const { return kind() == Kind::Dictionary; }
    bool isObject() const { return kind() == Kind::Object; }
    explicit operator bool() const { return !isNil(); }

    // Views of one kind: nullptr (or nothing) when the Value is of another kind. The
    // containers are shared: changing them changes every Value that refers to them.
    const std::string* asString() const;
    const Bytes* asData() const;
    const DecimalNumber* asDecimal() const;
    std::optional<Date> asDate() const;
    Array* asArray() const;
    Dictionary* asDictionary() const;
    ObjectRef asObject() const;
    template <class T>
    std::shared_ptr<T> asObject() const {
        return std::dynamic_pointer_cast<T>(asObject());
    }

    // Conversions with the platform's number and string rules: numbers convert (doubles
    // truncate toward zero and saturate); strings are read from their leading number
    // ("  42abc" is 42); boolValue of a string is true when it starts with Y, y, T, t or
    // a non-zero digit. Anything else gives 0 / false.
    bool boolValue() const;
    std::int64_t integerValue() const;
    std::uint64_t unsignedIntegerValue() const;
    double doubleValue() const;
    // A string as itself; anything else as its description.
    std::string stringValue() const;

    // Dictionary lookup (nil when absent or not a dictionary).
    Value operator[](const Value& key) const;
    // Elements of an array, entries of a dictionary, otherwise 0.
    std::size_t count() const;

    bool isIdenticalTo(const Value& other) const;
    bool isEqual(const Value& other) const;
    bool operator==(const Value& other) const { return isEqual(other); }
    std::size_t hash() const;

    // The order "compare:" gives: numbers by value, strings by code point, dates by
    // time, Objects through a "compare:" method when they have one. Values of
    // different kinds order by kind (nil first), so every sort is well defined.
    ComparisonResult compare(const Value& other) const;

    // Foundation-style text: strings as themselves, numbers in shortest form, dates as
    // "2024-01-02 03:04:05 +0000", data as "<0102 0304>", null as "<null>", nil as
    // "(null)", arrays as "(\n    1,\n    two\n)" and dictionaries as
    // "{\n    key = value;\n}" (strings quoted inside containers when needed).
    std::string description() const;

    // A new container holding the same elements (a shallow mutable copy); any other
    // kind is returned as it is.
    Value copy() const;

  private:
    // The shared kinds' blocks are held type-erased; the kind says what each one is. A
    // hand-made union rather than a std::variant: copying, moving and destroying Values is
    // most of the work of building and freeing large trees, and here each is a test of one
    // bit instead of a call through a table.
    using Block = std::shared_ptr<const void>;
    static constexpr std::uint32_t kBlockKinds =
        1U << static_cast<int>(Kind::Decimal) | 1U << static_cast<int>(Kind::String) |
        1U << static_cast<int>(Kind::Data) | 1U << static_cast<int>(Kind::Array) |
        1U << static_cast<int>(Kind::Dictionary) | 1U << static_cast<int>(Kind::Object);

    bool holdsBlock() const { return (kBlockKinds >> static_cast<int>(kind_) & 1U) != 0; }
    void release() noexcept {
        if (holdsBlock()) {
            block_.~Block();
        }
    }
    // Takes a block of the given kind; a null block leaves the Value nil. REQUIRES: nil.
    template <class T>
    void hold(Kind kind, std::shared_ptr<T>&& block) noexcept {
        if (block) {
            new (&block_) Block(std::move(block));
            kind_ = kind;
        }
    }
    template <class T>
    T* blockOf(Kind kind) const {
        return kind_ == kind ? const_cast<T*>(static_cast<const T*>(block_.get())) : nullptr;
    }

    // Bool, Int, UInt, Double and Date keep their value's bits here. The second word keeps
    // all sixteen bytes of the union defined whatever the kind, so that copying a scalar
    // reads nothing uninitialised.
    struct Scalar {
        std::uint64_t bits = 0;
        std::uint64_t unused = 0;
    };
    union {
        Scalar scalar_;
        Block block_;
    };
    Kind kind_ = Kind::Nil;
};

struct ValueHash {
    std::size_t operator()(const Value& v) const { return v.hash(); }
};

// Inline: dictionaries and the JSON writer ask it for every key.
inline const std::string* Value::asString() const {
    return blockOf<const std::string>(Kind::String);
}

}  // namespace velmora

template <>
struct std::hash<velmora::Value> {
    std::size_t operator()(const velmora::Value& v) const { return v.hash(); }
};

// Dictionary is complete wherever Value is: the two are used together everywhere.
#include "Velmora/platform/foundation/Dictionary.h"

#include "Velmora/platform/foundation/Value.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>

#include "Velmora/platform/foundation/Selector.h"
#include "Velmora/platform/foundation/ValueDescription.h"
#include "Velmora/platform/foundation/internal/ValueNumbers.h"

namespace velmora {
using detail::compareDoubles;
using detail::compareNumbers;
using detail::hashDouble;
using detail::numberOf;
using detail::sign;

namespace {

constexpr std::size_t kNullHash = 0x6e756c6cULL;

// Reads the leading decimal integer of text the way the platform's string-to-number
// conversions do: leading white space, an optional sign, digits; saturating.
std::int64_t leadingInteger(std::string_view text) {
    std::size_t i = text.find_first_not_of(" \t\n\r\f\v");
    if (i == std::string_view::npos) {
        return 0;
    }
    bool negative = false;
    if (text[i] == '+' || text[i] == '-') {
        negative = text[i] == '-';
        ++i;
    }
    std::int64_t value = 0;
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        const int digit = text[i] - '0';
        if (value > (kMax - digit) / 10) {
            return negative ? std::numeric_limits<std::int64_t>::min() : kMax;
        }
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

double leadingDouble(std::string_view text) {
    std::size_t i = text.find_first_not_of(" \t\n\r\f\v");
    if (i == std::string_view::npos) {
        return 0;
    }
    if (text[i] == '+') {
        ++i;
    }
    double value = 0;
    const auto result = std::from_chars(text.data() + i, text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        return text[i] == '-' ? -HUGE_VAL : HUGE_VAL;
    }
    return result.ec == std::errc() ? value : 0.0;
}

bool leadingBool(std::string_view text) {
    std::size_t i = text.find_first_not_of(" \t\n\r\f\v");
    if (i == std::string_view::npos) {
        return false;
    }
    const char first = text[i];
    if (first == 'Y' || first == 'y' || first == 'T' || first == 't') {
        return true;
    }
    if (first == '+' || first == '-') {
        ++i;
    }
    i = text.find_first_not_of('0', i);
    return i != std::string_view::npos && text[i] >= '1' && text[i] <= '9';
}

template <class Int>
Int saturatingFromDouble(double d) {
    if (std::isnan(d)) {
        return 0;
    }
    constexpr auto lo = static_cast<double>(std::numeric_limits<Int>::min());
    constexpr auto hi = static_cast<double>(std::numeric_limits<Int>::max());
    if (d <= lo) {
        return std::numeric_limits<Int>::min();
    }
    if (d >= hi) {
        return std::numeric_limits<Int>::max();
    }
    return static_cast<Int>(d);
}

// Rank of each kind in the cross-kind order of compare(); number kinds share one rank.
int kindRank(Value::Kind kind) {
    using K = Value::Kind;
    switch (kind) {
        case K::Nil:
            return 0;
        case K::Null:
            return 1;
        case K::Bool:
        case K::Int:
        case K::UInt:
        case K::Double:
        case K::Decimal:
            return 2;
        case K::String:
            return 3;
        case K::Date:
            return 4;
        case K::Data:
            return 5;
        case K::Array:
            return 6;
        case K::Dictionary:
            return 7;
        case K::Object:
            return 8;
    }
    return 9;
}

ComparisonResult toResult(int c) {
    return c < 0 ? ComparisonResult::Ascending
                 : (c > 0 ? ComparisonResult::Descending : ComparisonResult::Same);
}

}  // namespace

Value Value::null() {
    Value v;
    v.kind_ = Kind::Null;
    return v;
}

Value::Value(const char* text) : Value() {
    if (text != nullptr) {
        hold(Kind::String, std::make_shared<const std::string>(text));
    }
}

Value::Value(std::string_view text) : Value() {
    hold(Kind::String, std::make_shared<const std::string>(text));
}

Value::Value(std::string text) : Value() {
    hold(Kind::String, std::make_shared<const std::string>(std::move(text)));
}

Value::Value(Bytes bytes) : Value() {
    hold(Kind::Data, std::make_shared<const Bytes>(std::move(bytes)));
}

Value::Value(Array array) : Value() {
    hold(Kind::Array, std::make_shared<Array>(std::move(array)));
}

Value::Value(Dictionary dictionary) : Value() {
    hold(Kind::Dictionary, std::make_shared<Dictionary>(std::move(dictionary)));
}

Value::Value(ObjectRef object) : Value() {
    hold(Kind::Object, std::move(object));
}

Value::Value(DecimalNumber decimal) : Value() {
    hold(Kind::Decimal, std::make_shared<const DecimalNumber>(std::move(decimal)));
}

Value Value::decimal(std::string_view text) {
    Value value;
    value.hold(Kind::Decimal, DecimalNumber::parseShared(text));
    return value;
}

Value Value::makeArray() {
    return Value(Array{});
}

Value Value::makeDictionary() {
    return Value(Dictionary{});
}

bool Value::isNumber() const {
    const Kind k = kind();
    return k == Kind::Bool || k == Kind::Int || k == Kind::UInt || k == Kind::Double ||
           k == Kind::Decimal;
}

const Bytes* Value::asData() const {
    return blockOf<const Bytes>(Kind::Data);
}

const DecimalNumber* Value::asDecimal() const {
    return blockOf<const DecimalNumber>(Kind::Decimal);
}

std::optional<Date> Value::asDate() const {
    return kind_ == Kind::Date ? std::optional<Date>(Date(std::bit_cast<double>(scalar_.bits)))
                               : std::nullopt;
}

Array* Value::asArray() const {
    return blockOf<Array>(Kind::Array);
}

Dictionary* Value::asDictionary() const {
    return blockOf<Dictionary>(Kind::Dictionary);
}

ObjectRef Value::asObject() const {
    return kind_ == Kind::Object
               ? std::const_pointer_cast<Object>(std::static_pointer_cast<const Object>(block_))
               : nullptr;
}

bool Value::boolValue() const {
    switch (kind_) {
        case Kind::Bool:
        case Kind::Int:
        case Kind::UInt:
            return scalar_.bits != 0;
        case Kind::Double:
            return std::bit_cast<double>(scalar_.bits) != 0;
        case Kind::Decimal:
            return !asDecimal()->isZero();
        case Kind::String:
            return leadingBool(*asString());
        default:
            return false;
    }
}

std::int64_t Value::integerValue() const {
    switch (kind_) {
        case Kind::Bool:
        case Kind::Int:
        case Kind::UInt:
            return static_cast<std::int64_t>(scalar_.bits);
        case Kind::Double:
            return saturatingFromDouble<std::int64_t>(std::bit_cast<double>(scalar_.bits));
        case Kind::Decimal: {
            const DecimalNumber& n = *asDecimal();
            return n.toInt64().value_or(saturatingFromDouble<std::int64_t>(n.toDouble()));
        }
        case Kind::String:
            return leadingInteger(*asString());
        default:
            return 0;
    }
}

std::uint64_t Value::unsignedIntegerValue() const {
    switch (kind_) {
        case Kind::UInt:
            return scalar_.bits;
        case Kind::Double:
            return saturatingFromDouble<std::uint64_t>(std::bit_cast<double>(scalar_.bits));
        case Kind::Decimal: {
            const DecimalNumber& n = *asDecimal();
            return n.toUInt64().value_or(saturatingFromDouble<std::uint64_t>(n.toDouble()));
        }
        default:
            return static_cast<std::uint64_t>(integerValue());
    }
}

double Value::doubleValue() const {
    switch (kind_) {
        case Kind::Bool:
        case Kind::Int:
            return static_cast<double>(static_cast<std::int64_t>(scalar_.bits));
        case Kind::UInt:
            return static_cast<double>(scalar_.bits);
        case Kind::Double:
            return std::bit_cast<double>(scalar_.bits);
        case Kind::Decimal:
            return asDecimal()->toDouble();
        case Kind::String:
            return leadingDouble(*asString());
        default:
            return 0.0;
    }
}

std::string Value::stringValue() const {
    const std::string* s = asString();
    return s ? *s : description();
}

Value Value::operator[](const Value& key) const {
    const Dictionary* d = asDictionary();
    return d ? d->get(key) : Value();
}

std::size_t Value::count() const {
    if (const Array* a = asArray()) {
        return a->size();
    }
    if (const Dictionary* d = asDictionary()) {
        return d->size();
    }
    return 0;
}

bool Value::isIdenticalTo(const Value& other) const {
    if (kind_ != other.kind_) {
        return false;
    }
    switch (kind_) {
        case Kind::Nil:
        case Kind::Null:
            return true;
        case Kind::Bool:
        case Kind::Int:
        case Kind::UInt:
        case Kind::Double:
            // The same bits: a NaN double is identical to itself, 0.0 is not -0.0.
            return scalar_.bits == other.scalar_.bits;
        case Kind::Date:
            return *asDate() == *other.asDate();
        default:
            return block_.get() == other.block_.get();
    }
}

bool Value::isEqual(const Value& other) const {
    // Strings first: they are most keys of dictionaries and most elements compared.
    if (kind_ == Kind::String) {
        const std::string* otherText = other.asString();
        return otherText != nullptr &&
               (block_.get() == other.block_.get() || *asString() == *otherText);
    }
    if (isNumber() && other.isNumber()) {
        return compareNumbers(*numberOf(*this), *numberOf(other)) == 0;
    }
    if (kind_ != other.kind_) {
        return false;
    }
    if (isIdenticalTo(other)) {
        return true;
    }
    switch (kind()) {
        case Kind::String:
            return *asString() == *other.asString();
        case Kind::Data:
            return *asData() == *other.asData();
        case Kind::Array: {
            const Array& a = *asArray();
            const Array& b = *other.asArray();
            return a.size() == b.size() &&
                   std::equal(a.begin(), a.end(), b.begin(),
                              [](const Value& x, const Value& y) { return x.isEqual(y); });
        }
        case Kind::Dictionary:
            return asDictionary()->isEqual(*other.asDictionary());
        case Kind::Object:
            return asObject()->isEqual(*other.asObject());
        default:
            return false;  // dates and the remaining scalars were settled by identity
    }
}

std::size_t Value::hash() const {
    switch (kind()) {
        case Kind::Nil:
            return 0;
        case Kind::Null:
            return kNullHash;
        case Kind::Bool:
        case Kind::Int:
        case Kind::UInt:
        case Kind::Double:
        case Kind::Decimal:
            // Every number hashes through its nearest double: equal numbers of different
            // kinds convert to the same double, so they hash alike.
            return hashDouble(doubleValue());
        case Kind::String:
            return std::hash<std::string_view>{}(*asString());
        case Kind::Date:
            return hashDouble(asDate()->timeIntervalSince1970()) ^ 0x5bd1e995;
        case Kind::Data: {
            const Bytes& bytes = *asData();
            return std::hash<std::string_view>{}(
                std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        }
        case Kind::Array:
        case Kind::Dictionary:
            // By count only, as the platform's collections do: cheap, and stable while
            // the elements change in place.
            return count();
        case Kind::Object:
            return asObject()->hash();
    }
    return 0;
}

ComparisonResult Value::compare(const Value& other) const {
    const int rank = kindRank(kind());
    const int otherRank = kindRank(other.kind());
    if (rank != otherRank) {
        return toResult(rank - otherRank);
    }
    switch (kind()) {
        case Kind::Bool:
        case Kind::Int:
        case Kind::UInt:
        case Kind::Double:
        case Kind::Decimal:
            return toResult(compareNumbers(*numberOf(*this), *numberOf(other)));
        case Kind::String:
            return toResult(asString()->compare(*other.asString()));
        case Kind::Date:
            return toResult(compareDoubles(asDate()->timeIntervalSince1970(),
                                           other.asDate()->timeIntervalSince1970()));
        case Kind::Data: {
            const Bytes& a = *asData();
            const Bytes& b = *other.asData();
            return toResult(std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end())
                                ? -1
                                : (a == b ? 0 : 1));
        }
        case Kind::Array: {
            const Array& a = *asArray();
            const Array& b = *other.asArray();
            for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
                if (const auto c = a[i].compare(b[i]); c != ComparisonResult::Same) {
                    return c;
                }
            }
            return toResult(
                sign(static_cast<long long>(a.size()) - static_cast<long long>(b.size())));
        }
        case Kind::Dictionary:
            return toResult(
                sign(static_cast<long long>(count()) - static_cast<long long>(other.count())));
        case Kind::Object: {
            static const Selector kCompare("compare:");
            const ObjectRef object = asObject();
            if (auto* target = dynamic_cast<SelectorTarget*>(object.get());
                target != nullptr && target->respondsToSelector(kCompare)) {
                const Value argument[] = {other};
                return toResult(sign(target->performSelector(kCompare, argument).integerValue()));
            }
            const Object* mine = object.get();
            const Object* theirs = other.asObject().get();
            return toResult(std::less<const Object*>{}(mine, theirs) ? -1
                                                                     : (mine == theirs ? 0 : 1));
        }
        default:
            return ComparisonResult::Same;
    }
}

std::string Value::description() const {
    return describeValue(*this);
}

Value Value::copy() const {
    if (const Array* a = asArray()) {
        return Value(Array(*a));
    }
    if (const Dictionary* d = asDictionary()) {
        return Value(Dictionary(*d));
    }
    return *this;
}

}  // namespace velmora

#include "Velmora/platform/foundation/internal/ValueNumbers.h"

#include <bit>
#include <cmath>

#include "Velmora/platform/foundation/Value.h"

namespace velmora::detail {
namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;
constexpr std::size_t kNaNHash = 0x4e614eULL;

// Exact comparison of an integer with a double: no rounding of either side.
int compareIntDouble(std::int64_t i, double d) {
    if (std::isnan(d)) {
        return 1;  // NaN orders before every other number
    }
    if (d >= kTwoTo63) {
        return -1;
    }
    if (d < -kTwoTo63) {
        return 1;
    }
    const auto whole = static_cast<std::int64_t>(d);
    if (i != whole) {
        return i < whole ? -1 : 1;
    }
    return -sign(d - static_cast<double>(whole));
}

int compareUIntDouble(std::uint64_t u, double d) {
    if (std::isnan(d) || d < 0) {
        return 1;
    }
    if (d >= kTwoTo64) {
        return -1;
    }
    const auto whole = static_cast<std::uint64_t>(d);
    if (u != whole) {
        return u < whole ? -1 : 1;
    }
    return -sign(d - static_cast<double>(whole));
}

int compareIntUInt(std::int64_t i, std::uint64_t u) {
    if (i < 0) {
        return -1;
    }
    const auto asUnsigned = static_cast<std::uint64_t>(i);
    return asUnsigned < u ? -1 : (asUnsigned > u ? 1 : 0);
}

int compareDecimalWith(const DecimalNumber& decimal, const Number& other) {
    switch (other.type) {
        case Number::Type::Int:
            return decimal.compare(DecimalNumber::fromInteger(other.i));
        case Number::Type::UInt:
            return decimal.compare(DecimalNumber::fromUnsigned(other.u));
        case Number::Type::Decimal:
            return decimal.compare(*other.decimal);
        case Number::Type::Double:
            if (std::isnan(other.d)) {
                return 1;
            }
            if (std::isinf(other.d)) {
                return other.d > 0 ? -1 : 1;
            }
            return decimal.compare(DecimalNumber::fromDouble(other.d));
    }
    return 0;
}

}  // namespace

int compareDoubles(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return static_cast<int>(!std::isnan(a)) - static_cast<int>(!std::isnan(b));
    }
    return a < b ? -1 : (a > b ? 1 : 0);
}

int compareNumbers(const Number& a, const Number& b) {
    using T = Number::Type;
    if (a.type == T::Decimal) {
        return compareDecimalWith(*a.decimal, b);
    }
    if (b.type == T::Decimal) {
        return -compareDecimalWith(*b.decimal, a);
    }
    if (a.type == T::Int && b.type == T::Int) {
        return (a.i > b.i) - (a.i < b.i);
    }
    if (a.type == T::UInt && b.type == T::UInt) {
        return (a.u > b.u) - (a.u < b.u);
    }
    if (a.type == T::Double && b.type == T::Double) {
        return compareDoubles(a.d, b.d);
    }
    if (a.type == T::Int && b.type == T::UInt) {
        return compareIntUInt(a.i, b.u);
    }
    if (a.type == T::UInt && b.type == T::Int) {
        return -compareIntUInt(b.i, a.u);
    }
    if (a.type == T::Int) {
        return compareIntDouble(a.i, b.d);
    }
    if (a.type == T::UInt) {
        return compareUIntDouble(a.u, b.d);
    }
    if (b.type == T::Int) {
        return -compareIntDouble(b.i, a.d);
    }
    return -compareUIntDouble(b.u, a.d);
}

std::size_t hashDouble(double d) {
    if (std::isnan(d)) {
        return kNaNHash;
    }
    if (d == 0) {
        d = 0;  // -0.0 and 0.0 are equal, so they must hash alike
    }
    return mixBits(std::bit_cast<std::uint64_t>(d));
}

std::size_t mixBits(std::uint64_t x) {
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ULL;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebULL;
    x ^= x >> 31;
    return static_cast<std::size_t>(x);
}

std::optional<Number> numberOf(const Value& v) {
    using K = Value::Kind;
    switch (v.kind()) {
        case K::Bool:
            return Number{.type = Number::Type::Int, .i = v.boolValue() ? 1 : 0};
        case K::Int:
            return Number{.type = Number::Type::Int, .i = v.integerValue()};
        case K::UInt:
            return Number{.type = Number::Type::UInt, .u = v.unsignedIntegerValue()};
        case K::Double:
            return Number{.type = Number::Type::Double, .d = v.doubleValue()};
        case K::Decimal:
            return Number{.type = Number::Type::Decimal, .decimal = v.asDecimal()};
        default:
            return std::nullopt;
    }
}

}  // namespace velmora::detail

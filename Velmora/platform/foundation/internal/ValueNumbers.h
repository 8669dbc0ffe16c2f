// Numbers of every kind (bool, signed, unsigned, double, decimal) seen through one lens,
// so that Value's equality, ordering and hashing agree across kinds: 1, 1u, 1.0, true and
// the decimal "1" are equal and hash alike. Internal to the foundation layer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "Velmora/platform/foundation/DecimalNumber.h"

namespace velmora {
class Value;

namespace detail {

struct Number {
    enum class Type { Int, UInt, Double, Decimal } type;
    std::int64_t i = 0;
    std::uint64_t u = 0;
    double d = 0;
    const DecimalNumber* decimal = nullptr;
};

int sign(auto difference) {
    return (difference > 0) - (difference < 0);
}

std::size_t mixBits(std::uint64_t x);

// The number a Value holds, or nothing for the kinds that are not numbers.
std::optional<Number> numberOf(const Value& v);

// Three-way comparison of doubles; NaN orders before every other number.
int compareDoubles(double a, double b);

// Exact three-way comparison (-1, 0, 1): no side is rounded to the other's kind.
int compareNumbers(const Number& a, const Number& b);

// Equal numbers of different kinds hash alike; -0.0 and 0.0 too, and every NaN.
std::size_t hashDouble(double d);

}  // namespace detail
}  // namespace velmora

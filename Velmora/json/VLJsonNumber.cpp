#include "Velmora/json/VLJsonNumber.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

namespace velmora {

namespace {

// The value of a short integer token, as strtol would give it: the tokeniser has already
// refused leading zeros, so base 0 never sees an octal or hex prefix.
std::int64_t shortInteger(std::string_view text) {
    const bool negative = text.front() == '-';
    std::int64_t value = 0;
    for (std::size_t i = negative ? 1 : 0; i < text.size(); ++i) {
        value = value * 10 + (text[i] - '0');
    }
    return negative ? -value : value;
}

// As strtod would read it in the C locale; from_chars ignores the process locale. Out of
// range, from_chars leaves the value alone where strtod gives an infinity (1e309) or a
// zero (1e-400), so those two are made here.
double shortReal(std::string_view text) {
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const bool negative = text.front() == '-';
        const bool tiny =
            text.find("e-") != std::string_view::npos || text.find("E-") != std::string_view::npos;
        value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
        return negative ? -value : value;
    }
    return value;
}

}  // namespace

Value VLJsonNumber::value() const {
    if (isDecimal()) {
        return Value::decimal(text_);
    }
    return isReal_ ? Value(shortReal(text_)) : Value(shortInteger(text_));
}

}  // namespace velmora

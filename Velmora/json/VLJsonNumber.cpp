#include "Velmora/json/VLJsonNumber.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

namespace velmora {

// As strtod would read it in the C locale; from_chars ignores the process locale. Out of
// range, from_chars leaves the value alone where strtod gives an infinity (1e309) or a
// zero (1e-400), so those two are made here.
double VLJsonNumber::shortReal() const {
    double value = 0;
    const auto result = std::from_chars(text_.data(), text_.data() + text_.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const bool negative = text_.front() == '-';
        const bool tiny = text_.find("e-") != std::string_view::npos ||
                          text_.find("E-") != std::string_view::npos;
        value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
        return negative ? -value : value;
    }
    return value;
}

}  // namespace velmora

// The tool's readers of numbers and ISO 8601 dates take any text a user types: a number
// they accept must lie in the range asked for and read back the same from its plain
// decimal form, and a date they accept must be finite.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tools/velmora/DateCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    using velmora::tool::parseInteger;
    using velmora::tool::parseNumber;

    std::string why;
    if (const auto value = parseInteger(text, -1000, 1000, &why)) {
        if (*value < -1000 || *value > 1000 ||
            parseInteger(std::to_string(*value), -1000, 1000) != value) {
            std::abort();
        }
    } else if (why.empty()) {
        std::abort();  // a refusal always says why
    }
    const std::int64_t lowest = INT64_MIN;
    const std::int64_t highest = INT64_MAX;
    if (const auto value = parseInteger(text, lowest, highest)) {
        if (parseInteger(std::to_string(*value), lowest, highest) != value) {
            std::abort();
        }
    }
    if (const auto value = parseNumber(text, -1e15, 1e15)) {
        if (!std::isfinite(*value) || *value < -1e15 || *value > 1e15) {
            std::abort();
        }
    }
    std::string error;
    if (const auto date = velmora::tool::parseIsoDate(text, error)) {
        if (!std::isfinite(date->timeIntervalSince1970())) {
            std::abort();
        }
    } else if (error.empty()) {
        std::abort();
    }
    return 0;
}

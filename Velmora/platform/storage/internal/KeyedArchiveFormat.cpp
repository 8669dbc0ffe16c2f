#include "Velmora/platform/storage/internal/KeyedArchiveFormat.h"

#include <cctype>

#include <fmt/format.h>

namespace velmora::detail {
namespace {

__extension__ typedef unsigned __int128 UInt128;

std::string toDecimal(UInt128 value) {
    if (value == 0) {
        return "0";
    }
    std::string digits;
    while (value != 0) {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    }
    return digits;
}

}  // namespace

std::vector<std::string> builtInHierarchy(std::string_view className) {
    struct Known {
        std::string_view name;
        std::vector<std::string> chain;
    };
    static const Known kKnown[] = {
        {"NSDictionary", {"NSDictionary", "NSObject"}},
        {"NSMutableDictionary", {"NSMutableDictionary", "NSDictionary", "NSObject"}},
        {"NSArray", {"NSArray", "NSObject"}},
        {"NSMutableArray", {"NSMutableArray", "NSArray", "NSObject"}},
        {"NSString", {"NSString", "NSObject"}},
        {"NSMutableString", {"NSMutableString", "NSString", "NSObject"}},
        {"NSData", {"NSData", "NSObject"}},
        {"NSMutableData", {"NSMutableData", "NSData", "NSObject"}},
        {"NSDate", {"NSDate", "NSObject"}},
        {"NSNull", {"NSNull", "NSObject"}},
        {"NSNumber", {"NSNumber", "NSValue", "NSObject"}},
        {"NSDecimalNumber", {"NSDecimalNumber", "NSNumber", "NSValue", "NSObject"}},
    };
    for (const auto& known : kKnown) {
        if (known.name == className) {
            return known.chain;
        }
    }
    return {};
}

std::string escapeKey(std::string_view key) {
    std::string escaped;
    escaped.reserve(key.size() + 1);
    if (!key.empty() && key.front() == '$') {
        escaped += '$';
    }
    escaped.append(key);
    return escaped;
}

std::optional<DecimalFields> decimalFields(const DecimalNumber& number) {
    // The text is sign, digits with an optional point, and an optional exponent.
    const std::string_view text = number.text();
    DecimalFields fields;
    std::size_t i = 0;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        fields.negative = text[i] == '-';
        ++i;
    }
    std::string digits;
    std::int64_t exponent = 0;
    bool point = false;
    for (; i < text.size() && (std::isdigit(static_cast<unsigned char>(text[i])) || text[i] == '.');
         ++i) {
        if (text[i] == '.') {
            point = true;
        } else {
            digits += text[i];
            exponent -= point ? 1 : 0;
        }
    }
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::int64_t written = 0;
        bool negativeExponent = false;
        ++i;
        if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
            negativeExponent = text[i] == '-';
            ++i;
        }
        for (; i < text.size(); ++i) {
            written = written * 10 + (text[i] - '0');
            if (written > 1'000'000) {
                return std::nullopt;
            }
        }
        exponent += negativeExponent ? -written : written;
    }
    const std::size_t first = digits.find_first_not_of('0');
    if (first == std::string::npos) {
        fields.negative = false;
        return fields;  // zero: length 0
    }
    digits.erase(0, first);
    while (digits.size() > 1 && digits.back() == '0') {
        digits.pop_back();
        ++exponent;
    }
    while (exponent > 127 && digits.size() < kMaxDecimalDigits) {
        digits += '0';
        --exponent;
    }
    if (digits.size() > kMaxDecimalDigits || exponent < -128 || exponent > 127) {
        return std::nullopt;
    }
    UInt128 mantissa = 0;
    for (const char digit : digits) {
        mantissa = mantissa * 10 + static_cast<unsigned>(digit - '0');
    }
    fields.exponent = exponent;
    for (int word = 0; word < 8; ++word) {
        const auto bits = static_cast<std::uint16_t>(mantissa >> (16 * word));
        fields.mantissa[2 * word] = static_cast<std::uint8_t>(bits & 0xff);
        fields.mantissa[2 * word + 1] = static_cast<std::uint8_t>(bits >> 8);
        if (bits != 0) {
            fields.length = static_cast<std::uint64_t>(word) + 1;
        }
    }
    return fields;
}

std::optional<DecimalNumber> decimalFromFields(const DecimalFields& fields) {
    if (fields.length > 8 || fields.exponent < -128 || fields.exponent > 127) {
        return std::nullopt;
    }
    UInt128 mantissa = 0;
    for (int word = static_cast<int>(fields.length) - 1; word >= 0; --word) {
        const unsigned bits = fields.mantissa[2 * word] | (fields.mantissa[2 * word + 1] << 8);
        mantissa = (mantissa << 16) | bits;
    }
    if (fields.length == 0 && fields.negative) {
        return std::nullopt;  // NaN in the platform's encoding; not a number here
    }
    return DecimalNumber::parse(
        fmt::format("{}{}e{}", fields.negative ? "-" : "", toDecimal(mantissa), fields.exponent));
}

}  // namespace velmora::detail

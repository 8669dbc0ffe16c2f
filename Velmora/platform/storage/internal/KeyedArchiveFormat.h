#pragma once
// The vocabulary shared by KeyedArchiver and KeyedUnarchiver: the archive's fixed keys,
// the class names of plain values with their superclasses, the escaping of coder keys,
// and the NSDecimalNumber fields. Internal to the platform layer.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/DecimalNumber.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora::detail {

inline constexpr std::string_view kArchiverKey = "$archiver";
inline constexpr std::string_view kArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view kVersionKey = "$version";
inline constexpr std::int64_t kArchiveVersion = 100000;
inline constexpr std::string_view kTopKey = "$top";
inline constexpr std::string_view kRootKey = "root";
inline constexpr std::string_view kObjectsKey = "$objects";
inline constexpr std::string_view kNullEntry = "$null";
inline constexpr std::string_view kClassKey = "$class";
inline constexpr std::string_view kClassNameKey = "$classname";
inline constexpr std::string_view kClassesKey = "$classes";
inline constexpr std::string_view kKeysKey = "NS.keys";
inline constexpr std::string_view kObjectsListKey = "NS.objects";
inline constexpr std::string_view kTimeKey = "NS.time";
inline constexpr std::string_view kStringKey = "NS.string";
inline constexpr std::string_view kDataKey = "NS.data";
// Seconds between 1970-01-01 and 2001-01-01 (NSDate's reference date).
inline constexpr double kSecondsFrom1970To2001 = 978307200.0;

// The superclass chain of a built-in class, most derived first; empty when unknown.
std::vector<std::string> builtInHierarchy(std::string_view className);

// A coder key as stored: keys starting with '$' get one more, so they cannot collide
// with "$class".
std::string escapeKey(std::string_view key);

// NSDecimalNumber's fields: a 128-bit mantissa in eight little-endian 16-bit words.
struct DecimalFields {
    bool negative = false;
    std::int64_t exponent = 0;
    std::uint64_t length = 0;  // 16-bit words in use
    std::uint8_t mantissa[16] = {};
};
inline constexpr int kMaxDecimalDigits = 38;
std::optional<DecimalFields> decimalFields(const DecimalNumber& number);
std::optional<DecimalNumber> decimalFromFields(const DecimalFields& fields);

}  // namespace velmora::detail

#pragma once
// KeyedUnarchiver: reads keyed archives (see KeyedArchiver.h for the layout) back into
// Values, with secure decoding: the caller names the classes it accepts, and an archive
// naming any other class fails. Accepting a class also accepts its subclasses
// ("NSDictionary" accepts "NSMutableDictionary"). The names of plain values are
// NSString, NSNumber, NSData, NSDate, NSNull, NSArray, NSDictionary and
// NSDecimalNumber; Coding classes are accepted under the names they registered.
//
// Every archive is untrusted input. Bad UIDs, cycles, values of the wrong type, nesting
// deeper than kMaxDepth, truncated or non-plist bytes all give an error text, never a
// crash. Containers in the result are new and not shared with anything.
//
// Thread safety: an unarchiver is used by one thread at a time; unarchivedObject may be
// called from any thread.
//
//   std::string error;
//   auto state = KeyedUnarchiver::unarchivedObject({"NSDictionary", "NSString"}, bytes, &error);
//   if (!state) log::error("[DECODE] {}", error);

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class KeyedUnarchiver {
  public:
    static constexpr int kMaxDepth = 512;
    using ClassNames = std::vector<std::string>;

    // The archive's root object (nil for an archived nil); nothing, and error, when the
    // archive is malformed or names a class outside classes.
    [[nodiscard]] static std::optional<Value> unarchivedObject(const ClassNames& classes,
                                                               std::span<const std::uint8_t> bytes,
                                                               std::string* error = nullptr);

    // The decode calls a CodingRegistry decoder makes, reading the keys of the object
    // being decoded. Absent keys give nil / false / 0; a value of the wrong type fails
    // the decoding.
    bool containsValue(std::string_view key) const;
    // The object under key, checked against the classes accepted by the caller plus
    // extraClasses. Nil when absent or when decoding has failed.
    Value decodeObject(std::string_view key, const ClassNames& extraClasses = {});
    bool decodeBool(std::string_view key);
    std::int64_t decodeInt64(std::string_view key);
    double decodeDouble(std::string_view key);
    // Makes the whole decoding fail with this text (the first failure is kept).
    void failWithError(std::string text);
    bool hasFailed() const;

    KeyedUnarchiver(const KeyedUnarchiver&) = delete;
    KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;
    ~KeyedUnarchiver();

  private:
    struct Impl;
    KeyedUnarchiver();
    std::unique_ptr<Impl> impl_;
};

}  // namespace velmora

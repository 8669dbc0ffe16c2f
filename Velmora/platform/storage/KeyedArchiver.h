#pragma once
// KeyedArchiver: writes Values, and Objects that implement Coding, as a keyed archive:
// the binary property list that the platform's keyed archiver writes, so archives of
// plain values can be exchanged with it.
//
//   { "$archiver": "NSKeyedArchiver", "$version": 100000,
//     "$top": { "root": UID }, "$objects": [ "$null", ... ] }
//
// Objects are entries of "$objects", referenced by UID; a class entry
// { "$classname", "$classes" } is written once per class. How each kind is written:
//   string, data          the string / data itself (NSString, NSData)
//   bool, integers, real  the property-list boolean / integer / real (NSNumber)
//   array                 { "$class": NSMutableArray, "NS.objects": [UIDs] }
//   dictionary            { "$class": NSMutableDictionary, "NS.keys": [UIDs],
//                           "NS.objects": [UIDs] }
//   date                  { "$class": NSDate, "NS.time": seconds since 2001-01-01 }
//   null                  { "$class": NSNull }
//   decimal               { "$class": NSDecimalNumber, "NS.exponent", "NS.length",
//                           "NS.mantissa" (16 bytes, little-endian 16-bit words),
//                           "NS.mantissa.bo": 1, "NS.negative", "NS.compact" }, the
//                           platform's own fields: up to 38 significant digits and
//                           exponents -128...127; other decimals cannot be archived
//   Coding objects        { "$class": their class, their encoded keys... }
//   nil                   UID 0, the "$null" entry
// A container or object that appears twice (the same reference) is written once and
// referenced twice. A cycle (a container that contains itself) cannot be archived.
//
// Thread safety: an archiver is used by one thread at a time; archivedData may be called
// from any thread.
//
//   std::string error;
//   std::optional<Bytes> bytes = KeyedArchiver::archivedData(state, &error);
//   if (!bytes) log::error("archive failed: {}", error);

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class KeyedArchiver {
  public:
    // The archive of root; nothing (and error) when some part of it cannot be archived.
    [[nodiscard]] static std::optional<Bytes> archivedData(const Value& root,
                                                           std::string* error = nullptr);

    // The encode calls a Coding object makes in encodeWithCoder, each under a key of the
    // object's own entry. REQUIRES: called from encodeWithCoder.
    void encodeObject(const Value& value, std::string_view key);
    void encodeBool(bool value, std::string_view key);
    void encodeInt64(std::int64_t value, std::string_view key);
    void encodeDouble(double value, std::string_view key);
    // Makes the whole archive fail with this text.
    void failWithError(std::string text);

    KeyedArchiver(const KeyedArchiver&) = delete;
    KeyedArchiver& operator=(const KeyedArchiver&) = delete;
    ~KeyedArchiver();

  private:
    struct Impl;
    KeyedArchiver();
    std::unique_ptr<Impl> impl_;
};

}  // namespace velmora

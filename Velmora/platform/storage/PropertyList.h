#pragma once
// PropertyList: conversion between Values and property lists, read and written through
// libplist. Writing produces the binary format ("bplist00"), or XML text for people to
// read; reading accepts the binary format only (libplist's XML reader recurses without
// bound). Input is untrusted: anything malformed yields an error, never a crash.
//
// Value kinds map as follows:
//   bool, Int, UInt, Double     boolean, integer, real (a UInt above INT64_MAX is written
//                               as the nearest real: libplist 2.2 cannot write 128-bit
//                               integers; integers read back as Int)
//   String                      string; it must be well-formed UTF-8 without NUL
//                               (libplist 2.2 takes C strings), both ways
//   Date                        date, with microsecond precision, clamped to the range
//                               libplist's date API can write (1933 to 2069)
//   Data, Array, Dictionary     data, array, dictionary (dictionary keys must be strings)
//   PropertyListUID objects     UID (the references of keyed archives)
// Nil, null, decimals and other Objects have no property-list form: writing them fails.
//
// Thread safety: stateless; PropertyListUID is immutable.
//
//   std::string error;
//   std::optional<Bytes> bytes = PropertyList::binaryData(Dictionary{{"a", 1}}, &error);
//   std::optional<Value> back = PropertyList::read(*bytes, &error);

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

// A property-list UID: an index into a keyed archive's "$objects".
class PropertyListUID final : public Object {
  public:
    explicit PropertyListUID(std::uint64_t value) : value_(value) {}
    static ObjectRef make(std::uint64_t value);

    std::uint64_t value() const { return value_; }
    bool isEqual(const Object& other) const override;
    std::size_t hash() const override;
    std::string description() const override;  // "<CFKeyedArchiverUID>{value = 3}"
    std::string className() const override { return "CFKeyedArchiverUID"; }

  private:
    std::uint64_t value_;
};

class PropertyList {
  public:
    PropertyList() = delete;

    // The binary property list of value; nothing (and error) when some part of it has
    // no property-list form.
    [[nodiscard]] static std::optional<Bytes> binaryData(const Value& value,
                                                         std::string* error = nullptr);
    // The same as XML text, for people and for diffs.
    [[nodiscard]] static std::optional<std::string> xmlText(const Value& value,
                                                            std::string* error = nullptr);

    // The value of a binary property list; nothing (and error) when the bytes are not
    // one. Containers in the result are new and not shared with anything.
    [[nodiscard]] static std::optional<Value> read(std::span<const std::uint8_t> bytes,
                                                   std::string* error = nullptr);
};

}  // namespace velmora

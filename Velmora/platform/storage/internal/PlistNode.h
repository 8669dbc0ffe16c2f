#pragma once
// PlistNode: the owner of a libplist node tree, for the property-list and keyed-archive
// code. Internal to the platform layer; not for use elsewhere.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>

#include <plist/plist.h>

namespace velmora::detail {

struct PlistDeleter {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistNode = std::unique_ptr<void, PlistDeleter>;

// Frees a buffer libplist allocated with malloc (dictionary keys, iterators).
struct MallocDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

// Reads binary (or, when allowXml, XML) bytes; null (and error) when they are not a
// property list.
// Binary input is checked by PlistBinaryCheck first, so that libplist never sees input
// that would make it expand shared references without bound.
PlistNode parsePlist(std::span<const std::uint8_t> bytes, bool allowXml, std::string* error);

}  // namespace velmora::detail

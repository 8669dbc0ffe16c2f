#pragma once
// PlistBinaryCheck: a structural check of a binary property list ("bplist00") run
// before libplist parses it. libplist 2.2 copies an object once per reference and
// recurses once per nesting level, so a few hundred hostile bytes can make it allocate
// without bound or overflow the stack. This check walks the object graph without
// recursion and refuses: bounds that leave the data, unknown markers, references out of
// range, non-string dictionary keys, strings holding NUL or ill-formed text (libplist
// asserts on some), cycles, nesting deeper than kMaxDepth and trees
// that would expand to more than kNodesPerByte nodes per input byte. Internal to the
// platform layer.

#include <cstdint>
#include <span>
#include <string>

namespace velmora::detail {

struct PlistBinaryCheck {
    static constexpr std::uint32_t kMaxDepth = 512;
    static constexpr std::uint64_t kNodesPerByte = 64;

    // True when bytes are safe to hand to libplist; otherwise false and error says why.
    static bool check(std::span<const std::uint8_t> bytes, std::string* error);
};

}  // namespace velmora::detail

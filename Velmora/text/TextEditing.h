#pragma once
// TextEditing: the byte-level building blocks of the string category, shared by its
// escaping functions and the URL parameter helpers. Not a public interface.
//
// All of them work on UTF-8 bytes and keep bytes they do not touch as they are, invalid
// sequences included: their targets are ASCII, and ASCII bytes never occur inside a
// well-formed multi-byte sequence, so an edit can never cut a character in two.
//
// Thread safety: pure functions.
//
//   std::string text = "a&b";
//   replaceAll(text, "&", "%26");                       // "a%26b"
//   percentEncode("a b", kUnreservedUrlCharacters);     // "a%20b"

#include <bitset>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace velmora::text_detail {

// Replaces every occurrence of target, scanning forward from the end of each replacement,
// so a replacement is never searched again. ASCII letters match either case, as the
// platform's case-insensitive search does for these ASCII targets. An empty target
// changes nothing.
void replaceAll(std::string& text, std::string_view target, std::string_view replacement);

struct Replacement {
    std::string_view target;
    std::string_view replacement;
};

// Applies each replacement to the whole text in the order given: later steps see the
// output of earlier ones.
void replaceInOrder(std::string& text, std::span<const Replacement> steps);

// A set of ASCII characters left as they are by percentEncode.
class AsciiSet {
  public:
    // Letters and digits plus the characters of extra.
    explicit AsciiSet(std::string_view extra);
    bool contains(unsigned char c) const { return c < 128 && members_.test(c); }

  private:
    std::bitset<128> members_;
};

// Encodes every byte outside keep as "%XX" (upper-case hexadecimal). Text that is not
// valid UTF-8 is encoded byte for byte, so percentDecode restores it exactly.
std::string percentEncode(std::string_view text, const AsciiSet& keep);

// Decodes every "%" followed by two hexadecimal digits (either case) into its byte; a "%"
// without them is kept as written.
std::string percentDecode(std::string_view text);

// The unreserved characters of URLs: letters, digits and "-._~".
const AsciiSet& unreservedUrlCharacters();

}  // namespace velmora::text_detail

#pragma once
// UnicodeText: the code-point level helpers of the string category. Not a public
// interface.
//
// Ill-formed UTF-8 decodes as U+FFFD, one per maximal ill-formed subpart (Unicode's
// recommended practice, which ICU follows too), so every function here agrees on where
// characters begin and end.
//
// Thread safety: pure functions.
//
//   forEachCodePoint(text, [](char32_t c, std::size_t at, std::size_t length) { ... });
//   icu::UnicodeString wide = toUnicodeString(text);

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace velmora::text_detail {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

// Calls visit(codePoint, byteOffset, byteLength) for each character in order; an
// ill-formed subpart is visited as kReplacementCharacter with valid set to false.
template <class Visit>
void forEachCodePoint(std::string_view text, Visit&& visit) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const std::size_t length = text.size();
    std::size_t next = 0;
    while (next < length) {
        const std::size_t start = next;
        UChar32 c = 0;
        U8_NEXT(bytes, next, length, c);
        const bool valid = c >= 0;
        visit(valid ? static_cast<char32_t>(c) : kReplacementCharacter, start, next - start, valid);
    }
}

// White space and line breaks: U+0009 to U+000D, U+0085 and the separators (Zs, Zl, Zp).
bool isWhiteSpaceOrNewline(char32_t c);

// Line breaks: U+000A to U+000D, U+0085, U+2028 and U+2029.
bool isNewline(char32_t c);

// REQUIRES: text shorter than 2 GiB (ICU strings count in 32 bits).
icu::UnicodeString toUnicodeString(std::string_view text);

}  // namespace velmora::text_detail

#include "Velmora/text/UnicodeText.h"

#include <unicode/uchar.h>

namespace velmora::text_detail {

bool isNewline(char32_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isWhiteSpaceOrNewline(char32_t c) {
    if (c == 0x09 || isNewline(c)) {
        return true;
    }
    const auto type = u_charType(static_cast<UChar32>(c));
    return type == U_SPACE_SEPARATOR || type == U_LINE_SEPARATOR || type == U_PARAGRAPH_SEPARATOR;
}

icu::UnicodeString toUnicodeString(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

}  // namespace velmora::text_detail

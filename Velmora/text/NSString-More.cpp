#include "Velmora/text/NSString-More.h"

#include <algorithm>

#include <unicode/utf8.h>

#include "Velmora/platform/foundation/RandomUUID.h"
#include "Velmora/text/TextEditing.h"
#include "Velmora/text/UnicodeText.h"

namespace velmora {
namespace {

using text_detail::forEachCodePoint;

// The characters allowed by validXMLString. The range ends are one short of XML 1.0's
// (U+D7FF, U+FFFD and U+10FFFF are refused); files written by earlier versions were
// cleaned this way, so the bounds are kept.
bool isAllowedInXML(char32_t c) {
    return c == 0x09 || c == 0x0A || c == 0x0D || (c >= 0x20 && c <= 0xD7FE) ||
           (c >= 0xE000 && c <= 0xFFFC) || (c >= 0x10000 && c <= 0x10FFFE);
}

bool isRemovedControl(char c) {
    switch (c) {
        case 5:
        case 6:
        case 7:
        case 8:
        case 24:
        case 27:
        case 127:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::string trim(std::string_view text) {
    std::size_t begin = text.size();
    std::size_t end = 0;
    forEachCodePoint(text, [&](char32_t c, std::size_t at, std::size_t length, bool valid) {
        if (!valid || !text_detail::isWhiteSpaceOrNewline(c)) {
            begin = std::min(begin, at);
            end = at + length;
        }
    });
    return begin < end ? std::string(text.substr(begin, end - begin)) : std::string();
}

std::size_t indexOf(std::string_view text, char32_t character) {
    if (character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) {
        return NotFound;
    }
    char encoded[4];
    std::size_t length = 0;
    U8_APPEND_UNSAFE(encoded, length, static_cast<UChar32>(character));
    // UTF-8 never starts a character inside another, so a byte match is a character match.
    const std::size_t found = text.find(std::string_view(encoded, length));
    return found == std::string_view::npos ? NotFound : found;
}

std::vector<std::string> explode(std::string_view text, std::string_view separator) {
    std::vector<std::string> pieces;
    if (separator.empty()) {
        pieces.emplace_back(text);
        return pieces;
    }
    std::size_t start = 0;
    for (std::size_t found = text.find(separator); found != std::string_view::npos;
         found = text.find(separator, start)) {
        pieces.emplace_back(text.substr(start, found - start));
        start = found + separator.size();
    }
    pieces.emplace_back(text.substr(start));
    return pieces;
}

namespace {

// Replaces the characters of text that are in the set, each one or each run once.
std::string replaceCharactersInSet(std::string_view text, std::string_view characters,
                                   std::string_view replacement, bool runOnce) {
    std::u32string members;
    text_detail::forEachCodePoint(characters, [&members](char32_t c, std::size_t, std::size_t,
                                                         bool) { members.push_back(c); });
    std::string result;
    result.reserve(text.size());
    bool inRun = false;
    text_detail::forEachCodePoint(text, [&](char32_t c, std::size_t at, std::size_t length, bool) {
        if (members.find(c) == std::u32string::npos) {
            result.append(text.substr(at, length));
            inRun = false;
            return;
        }
        if (!runOnce || !inRun) {
            result.append(replacement);
        }
        inRun = true;
    });
    return result;
}

}  // namespace

std::string stringByReplacingCharactersInSet(std::string_view text, std::string_view characters,
                                             std::string_view replacement) {
    return replaceCharactersInSet(text, characters, replacement, /*runOnce=*/false);
}

std::string stringByReplacingAllCharactersInSetOnce(std::string_view text,
                                                    std::string_view characters,
                                                    std::string_view replacement) {
    return replaceCharactersInSet(text, characters, replacement, /*runOnce=*/true);
}

std::string searchReplace(std::string_view text, std::string_view target,
                          std::string_view replacement) {
    std::string result(text);
    if (target.empty() || replacement.empty()) {
        return result;
    }
    result.clear();
    std::size_t start = 0;
    for (std::size_t found = text.find(target); found != std::string_view::npos;
         found = text.find(target, start)) {
        result.append(text.substr(start, found - start));
        result.append(replacement);
        start = found + target.size();
    }
    result.append(text.substr(start));
    return result;
}

std::string validXMLString(std::string_view text) {
    std::string result;
    bool removed = false;
    forEachCodePoint(text, [&](char32_t c, std::size_t at, std::size_t length, bool valid) {
        if (valid && isAllowedInXML(c)) {
            if (removed) {
                result.append(text.substr(at, length));
            }
        } else if (!removed) {
            removed = true;
            result.reserve(text.size());
            result.append(text.substr(0, at));
        }
    });
    return removed ? result : std::string(text);
}

std::string cleanString(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (!isRemovedControl(c)) {
            result += c;
        }
    }
    return result;
}

std::string cleanStringQuick(std::string_view text) {
    std::string result = cleanString(text);
    text_detail::replaceAll(result, "\xEF\x88\x86", "");  // U+F206
    return result;
}

std::vector<std::uint8_t> getCleanStringData(std::string_view text) {
    const std::string clean = cleanString(text);
    return std::vector<std::uint8_t>(clean.begin(), clean.end());
}

std::string getQuestionMarksForTokens(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    std::string marks = "?";
    for (const char c : text) {
        if (c == ',') {
            marks += ", ?";
        }
    }
    return marks;
}

std::string generateUUID() {
    return formatUUID(randomUUIDBytes(), UUIDStyle::kCompactLowerCase);
}

}  // namespace velmora

#include "Velmora/text/TextEditing.h"

#include <optional>

namespace velmora::text_detail {
namespace {

char asciiLower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}
char asciiUpper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

bool matchesAt(std::string_view text, std::size_t position, std::string_view target) {
    for (std::size_t k = 0; k < target.size(); ++k) {
        if (asciiLower(text[position + k]) != asciiLower(target[k])) {
            return false;
        }
    }
    return true;
}

std::optional<unsigned> hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<unsigned>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<unsigned>(c - 'A' + 10);
    }
    return std::nullopt;
}

// The first match at or after from. Candidates are found by their first byte (both cases
// of a letter), which keeps the common case of no match at memchr speed.
std::size_t findFrom(std::string_view text, std::size_t from, std::string_view target) {
    const char first = target[0];
    const char other = asciiLower(first) != first ? asciiLower(first) : asciiUpper(first);
    const char firsts[] = {first, other};
    while (from + target.size() <= text.size()) {
        const std::size_t at = first == other
                                   ? text.find(first, from)
                                   : text.find_first_of(std::string_view(firsts, 2), from);
        if (at == std::string_view::npos || at + target.size() > text.size()) {
            return std::string_view::npos;
        }
        if (matchesAt(text, at, target)) {
            return at;
        }
        from = at + 1;
    }
    return std::string_view::npos;
}

}  // namespace

void replaceAll(std::string& text, std::string_view target, std::string_view replacement) {
    if (target.empty()) {
        return;
    }
    std::size_t found = findFrom(text, 0, target);
    if (found == std::string_view::npos) {
        return;
    }
    std::string result;
    result.reserve(text.size());
    std::size_t copied = 0;
    for (; found != std::string_view::npos; found = findFrom(text, copied, target)) {
        result.append(text, copied, found - copied);
        result.append(replacement);
        copied = found + target.size();
    }
    result.append(text, copied, std::string::npos);
    text = std::move(result);
}

void replaceInOrder(std::string& text, std::span<const Replacement> steps) {
    for (const Replacement& step : steps) {
        replaceAll(text, step.target, step.replacement);
    }
}

AsciiSet::AsciiSet(std::string_view extra) {
    for (unsigned char c = '0'; c <= '9'; ++c) {
        members_.set(c);
    }
    for (unsigned char c = 'a'; c <= 'z'; ++c) {
        members_.set(c);
        members_.set(c - 'a' + 'A');
    }
    for (const char c : extra) {
        members_.set(static_cast<unsigned char>(c));
    }
}

std::string percentEncode(std::string_view text, const AsciiSet& keep) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (keep.contains(byte)) {
            result += c;
        } else {
            result += '%';
            result += kHex[byte >> 4];
            result += kHex[byte & 15];
        }
    }
    return result;
}

std::string percentDecode(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const auto high = hexDigit(text[i + 1]);
            const auto low = hexDigit(text[i + 2]);
            if (high && low) {
                result += static_cast<char>((*high << 4) | *low);
                i += 2;
                continue;
            }
        }
        result += text[i];
    }
    return result;
}

const AsciiSet& unreservedUrlCharacters() {
    static const AsciiSet kSet("-._~");
    return kSet;
}

}  // namespace velmora::text_detail

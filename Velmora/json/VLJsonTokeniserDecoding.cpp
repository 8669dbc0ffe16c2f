// The tokeniser's decoding of string tokens, its UTF-8 check and its error texts.
#include <cstdint>
#include <cstring>

#include <endian.h>
#include <fmt/format.h>

#include "Velmora/json/VLJsonTokeniser.h"

namespace velmora {

namespace {

// Past a run of well-formed two- and three-byte sequences starting at i (the scripts of most
// non-ASCII text: Cyrillic, Greek, Arabic, CJK), each checked in one load of four bytes;
// stops, without judging, at anything else.
std::size_t skipTwoAndThreeByteRun(const unsigned char* s, std::size_t i, std::size_t n) {
    while (n - i >= 4) {
        std::uint32_t word;
        std::memcpy(&word, s + i, sizeof word);
        word = le32toh(word);
        // 110xxxxx 10xxxxxx, not the overlong C0 or C1.
        if ((word & 0xC0E0) == 0x80C0 && (word & 0x1E) != 0) {
            i += 2;
            continue;
        }
        // 1110xxxx 10xxxxxx 10xxxxxx, not overlong (E0 below A0) nor a surrogate (ED above 9F).
        const std::uint32_t lead = word & 0xFF;
        const std::uint32_t second = (word >> 8) & 0xFF;
        if ((word & 0xC0C0F0) == 0x8080E0 && !(lead == 0xE0 && second < 0xA0) &&
            !(lead == 0xED && second > 0x9F)) {
            i += 3;
            continue;
        }
        break;
    }
    return i;
}

// Well-formed UTF-8: no overlong forms, no encoded surrogates, nothing past U+10FFFF.
bool isValidUtf8(std::string_view text) {
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        // ASCII runs eight bytes at a time.
        while (n - i >= 8) {
            std::uint64_t word;
            std::memcpy(&word, s + i, sizeof word);
            if ((word & 0x8080808080808080ull) != 0) {
                break;
            }
            i += 8;
        }
        if (i == n) {
            break;
        }
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        if (const std::size_t after = skipTwoAndThreeByteRun(s, i, n); after != i) {
            i = after;
            continue;
        }
        std::size_t length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            low = c == 0xE0 ? 0xA0 : 0x80;
            high = c == 0xED ? 0x9F : 0xBF;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            low = c == 0xF0 ? 0x90 : 0x80;
            high = c == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (n - i < length || s[i + 1] < low || s[i + 1] > high) {
            return false;
        }
        for (std::size_t k = 2; k < length; ++k) {
            if ((s[i + k] & 0xC0) != 0x80) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

// One UTF-16 code unit as UTF-8. A lone surrogate has no UTF-8 form and becomes U+FFFD.
void appendCodeUnit(std::string& out, unsigned unit) {
    if (unit >= 0xD800 && unit <= 0xDFFF) {
        unit = 0xFFFD;
    }
    if (unit < 0x80) {
        out.push_back(static_cast<char>(unit));
    } else if (unit < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (unit >> 6)));
        out.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xE0 | (unit >> 12)));
        out.push_back(static_cast<char>(0x80 | ((unit >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
    }
}

}  // namespace

bool VLJsonTokeniser::isStringTokenValidUtf8() const {
    if (!stringHasHighBytes_ || tokenLength_ < 2) {
        return true;
    }
    return isValidUtf8(std::string_view(data() + tokenStart_ + 1, tokenLength_ - 2));
}

std::optional<std::string> VLJsonTokeniser::getDecodedStringToken() {
    std::string out;
    if (!decodeStringToken(out)) {
        return std::nullopt;
    }
    return out;
}

bool VLJsonTokeniser::decodeStringToken(std::string& out) {
    out.clear();
    if (tokenLength_ < 2) {
        return false;
    }
    const char* p = data();
    auto i = static_cast<std::size_t>(tokenStart_) + 1;
    const auto last = static_cast<std::size_t>(tokenStart_ + tokenLength_) - 1;  // the quote
    out.reserve((last - i) + (last - i) / 10);
    while (i < last) {
        const auto c = static_cast<unsigned char>(p[i]);
        if (c == '\\') {
            const char escaped = p[i + 1];
            switch (escaped) {
                case 'n':
                    out.push_back('\n');
                    break;
                case 'r':
                    out.push_back('\r');
                    break;
                case 't':
                    out.push_back('\t');
                    break;
                case 'f':
                    out.push_back('\f');
                    break;
                case 'b':
                    out.push_back('\b');
                    break;
                case 'u': {
                    std::size_t index = i + 2;
                    const long codePoint = parseUnicodeEscape(index);
                    if (codePoint < 0) {
                        return false;
                    }
                    // Deliberately one code unit: the low 16 bits of the code point.
                    appendCodeUnit(out, static_cast<unsigned>(codePoint) & 0xFFFF);
                    i = index;
                    continue;
                }
                default:
                    // '"', '\\', '/' and (deliberately) 'v' stand for themselves.
                    out.push_back(escaped);
                    break;
            }
            i += 2;
            continue;
        }
        if (c < 32) {
            fail(Fault::UnescapedControlChars);
            return false;
        }
        std::size_t run = i + 1;
        while (run < last && p[run] != '\\' && static_cast<unsigned char>(p[run]) >= 32) {
            ++run;
        }
        out.append(p + i, run - i);
        i = run;
    }
    if (stringHasHighBytes_ && !isValidUtf8(out)) {
        fail(Fault::InvalidUtf8, tokenStart_);
        return false;
    }
    return true;
}

VLJsonToken VLJsonTokeniser::fail(Fault fault, std::uint64_t a, std::uint64_t b,
                                  std::string_view literal) {
    switch (fault) {
        case Fault::LeadingPlus:
            error_ = fmt::format("Leading + is illegal in numbers at offset {}", a);
            break;
        case Fault::UnrecognisedLeadingCharacter:
            error_ = fmt::format("Unrecognised leading character at offset {}", a);
            break;
        case Fault::ExpectedLiteral: {
            // The bytes found are shown as "%.Ns" shows them: at most N, up to a NUL.
            const char* found = data() + tokenStart_;
            const std::size_t shown = strnlen(found, static_cast<std::size_t>(a));
            error_ = fmt::format("Expected '{}' but found '{}'.", literal,
                                 std::string_view(found, shown));
            break;
        }
        case Fault::UnescapedControlChar:
            error_ = fmt::format("Unescaped control char 0x{:02X}", a);
            break;
        case Fault::BrokenEscape:
            error_ = fmt::format(
                "Broken escape character at index {} in token starting at offset {}", a, b);
            break;
        case Fault::IllegalHexDigit:
            error_ = "XXX illegal digit in hex char";
            break;
        case Fault::MissingHexQuad:
            error_ = "Missing hex quad";
            break;
        case Fault::MissingLowSurrogate:
            error_ = "Missing low character in surrogate pair";
            break;
        case Fault::InvalidLowSurrogate:
            error_ = "Invalid low surrogate char";
            break;
        case Fault::InvalidHighSurrogate:
            error_ = "Invalid high character in surrogate pair";
            break;
        case Fault::UnescapedControlChars:
            error_ = "Unescaped control chars";
            break;
        case Fault::NoDigitsAfterMinus:
            error_ = "No digits after initial minus";
            break;
        case Fault::LeadingZero:
            error_ = fmt::format("Leading zero is illegal in number at offset {}", a);
            break;
        case Fault::NoDigitsAfterDecimalPoint:
            error_ = fmt::format("No digits after decimal point at offset {}", a);
            break;
        case Fault::NoDigitsAfterExponent:
            error_ = fmt::format("No digits after exponent mark at offset {}", a);
            break;
        case Fault::InvalidUtf8:
            error_ = fmt::format("Invalid UTF-8 in string at offset {}", a);
            break;
    }
    return VLJsonToken::Error;
}

}  // namespace velmora

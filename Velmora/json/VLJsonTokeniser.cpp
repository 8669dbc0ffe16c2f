#include "Velmora/json/VLJsonTokeniser.h"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velmora {

namespace {

constexpr std::size_t kInitialCapacity = 4096;
// Block scans read up to 15 bytes past the sentinel.
constexpr std::size_t kPadding = 16;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isWhitespace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Index of the first byte at or after i that is a quote, a backslash or below 32 (the
// sentinel is one, so the scan always stops); sets sawHighBytes when a byte of 128 or
// above precedes it.
std::size_t scanStringRun(const char* p, std::size_t i, bool& sawHighBytes) {
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    for (;;) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(v, lastControl), v);
        const __m128i special = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, backslash)), control);
        const auto specialMask = static_cast<unsigned>(_mm_movemask_epi8(special));
        const auto highMask = static_cast<unsigned>(_mm_movemask_epi8(v));
        if (specialMask != 0) {
            const auto position = static_cast<unsigned>(__builtin_ctz(specialMask));
            sawHighBytes = sawHighBytes || (highMask & ((1u << position) - 1)) != 0;
            return i + position;
        }
        sawHighBytes = sawHighBytes || highMask != 0;
        i += 16;
    }
#else
    for (;; ++i) {
        const auto c = static_cast<unsigned char>(p[i]);
        if (c == '"' || c == '\\' || c < 32) {
            return i;
        }
        sawHighBytes = sawHighBytes || c >= 128;
    }
#endif
}

// Well-formed UTF-8: no overlong forms, no encoded surrogates, nothing past U+10FFFF.
bool isValidUtf8(std::string_view text) {
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
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

VLJsonTokeniser::VLJsonTokeniser() {
    reserve(kInitialCapacity - kPadding);
    buf_[0] = '\0';
    length_ = 1;
}

void VLJsonTokeniser::reserve(std::size_t length) {
    if (length + kPadding <= capacity_) {
        return;
    }
    const std::size_t capacity = std::max(capacity_ * 2, length + kPadding);
    auto fresh = std::make_unique<char[]>(capacity);
    if (length_ > 0) {
        std::memcpy(fresh.get(), buf_.get(), length_);
    }
    buf_ = std::move(fresh);
    capacity_ = capacity;
}

void VLJsonTokeniser::appendData(std::string_view bytes) {
    std::size_t input = end();
    if (tokenStart_ != 0) {
        const auto consumed = static_cast<std::size_t>(tokenStart_);
        std::memmove(buf_.get(), buf_.get() + consumed, input - consumed);
        input -= consumed;
        tokenStart_ = 0;
    }
    reserve(input + bytes.size() + 1);
    if (!bytes.empty()) {
        std::memcpy(buf_.get() + input, bytes.data(), bytes.size());
    }
    buf_[input + bytes.size()] = '\0';
    length_ = input + bytes.size() + 1;
}

bool VLJsonTokeniser::getToken(const char*& token, std::size_t& length) const {
    if (tokenLength_ == 0) {
        return false;
    }
    token = buf_.get() + tokenStart_;
    length = tokenLength_;
    return true;
}

bool VLJsonTokeniser::hasPendingInput() const {
    for (auto i = static_cast<std::size_t>(tokenStart_ + tokenLength_); i < end(); ++i) {
        if (!isWhitespace(buf_[i])) {
            return true;
        }
    }
    return false;
}

void VLJsonTokeniser::skipWhitespace() {
    const char* p = buf_.get();
    auto i = static_cast<std::size_t>(tokenStart_);
    while (isWhitespace(p[i])) {
        ++i;
    }
    tokenStart_ = i;
}

VLJsonToken VLJsonTokeniser::next() {
    tokenStart_ += tokenLength_;
    tokenLength_ = 0;
    skipWhitespace();
    switch (buf_[tokenStart_]) {
        case '\0':
            // A NUL inside the input is not the end of it; only the sentinel is.
            if (tokenStart_ == end()) {
                return VLJsonToken::Eof;
            }
            return fail(Fault::UnrecognisedLeadingCharacter, tokenStart_);
        case '"':
            return matchString();
        case '+':
            return fail(Fault::LeadingPlus, tokenStart_);
        case '-':
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7':
        case '8':
        case '9':
            return matchNumber();
        case '{':
            tokenLength_ = 1;
            return VLJsonToken::ObjectStart;
        case ':':
            tokenLength_ = 1;
            return VLJsonToken::KeyValueSeparator;
        case '}':
            tokenLength_ = 1;
            return VLJsonToken::ObjectEnd;
        case '[':
            tokenLength_ = 1;
            return VLJsonToken::ArrayStart;
        case ']':
            tokenLength_ = 1;
            return VLJsonToken::ArrayEnd;
        case ',':
            tokenLength_ = 1;
            return VLJsonToken::ValueSeparator;
        case 't':
            return match("true", VLJsonToken::True);
        case 'f':
            return match("false", VLJsonToken::False);
        case 'n':
            return match("null", VLJsonToken::Null);
        default:
            return fail(Fault::UnrecognisedLeadingCharacter, tokenStart_);
    }
}

VLJsonToken VLJsonTokeniser::match(std::string_view literal, VLJsonToken kind) {
    if (end() - tokenStart_ < literal.size()) {
        return VLJsonToken::Eof;
    }
    if (std::memcmp(buf_.get() + tokenStart_, literal.data(), literal.size()) != 0) {
        return fail(Fault::ExpectedLiteral, literal.size(), 0, literal);
    }
    tokenLength_ = literal.size();
    return kind;
}

VLJsonToken VLJsonTokeniser::matchString() {
    const char* p = buf_.get();
    VLJsonToken kind = VLJsonToken::String;
    bool sawHighBytes = false;
    auto i = static_cast<std::size_t>(tokenStart_) + 1;
    for (;;) {
        i = scanStringRun(p, i, sawHighBytes);
        const auto c = static_cast<unsigned char>(p[i]);
        if (c == '"') {
            tokenLength_ = i + 1 - tokenStart_;
            stringHasHighBytes_ = sawHighBytes;
            return kind;
        }
        if (c == '\\') {
            if (i + 1 == end()) {
                return VLJsonToken::Eof;
            }
            kind = VLJsonToken::EncodedString;
            switch (p[i + 1]) {
                case 'b':
                case 'f':
                case 'n':
                case 'r':
                case 't':
                case 'v':
                case '"':
                case '/':
                case '\\':
                    i += 2;
                    continue;
                case 'u': {
                    std::size_t index = i + 2;
                    const long codePoint = parseUnicodeEscape(index);
                    if (codePoint == -2) {
                        return VLJsonToken::Eof;
                    }
                    if (codePoint < 0) {
                        return VLJsonToken::Error;
                    }
                    i = index;
                    continue;
                }
                default:
                    return fail(Fault::BrokenEscape, i + 1, tokenStart_);
            }
        }
        if (i == end()) {
            return VLJsonToken::Eof;
        }
        return fail(Fault::UnescapedControlChar, c);
    }
}

int VLJsonTokeniser::decodeHexQuad(std::size_t index) {
    int value = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        const int digit = hexValue(buf_[index + k]);
        if (digit < 0) {
            if (index + k == end()) {
                return -2;
            }
            fail(Fault::IllegalHexDigit);
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

long VLJsonTokeniser::parseUnicodeEscape(std::size_t& index) {
    const int unit = decodeHexQuad(index);
    if (unit == -2) {
        return -2;
    }
    if (unit < 0) {
        fail(Fault::MissingHexQuad);
        return -1;
    }
    index += 4;
    if (unit < 0xD800 || unit >= 0xE000) {
        return unit;
    }
    if (unit >= 0xDC00) {
        fail(Fault::InvalidHighSurrogate);
        return -1;
    }
    // A high surrogate: "\uXXXX" with the low one must follow. Input that ends first is
    // waited for, so that the chunking of the input never changes the outcome.
    for (const char expected : {'\\', 'u'}) {
        if (index == end()) {
            return -2;
        }
        if (buf_[index] != expected) {
            fail(Fault::MissingLowSurrogate);
            return -1;
        }
        ++index;
    }
    const int low = decodeHexQuad(index);
    if (low == -2) {
        return -2;
    }
    if (low < 0) {
        fail(Fault::MissingLowSurrogate);
        return -1;
    }
    index += 4;
    // 0xDFFF is refused on purpose: the accepted range is a difference from 0xDC00 of
    // less than 0x3FF.
    if (low < 0xDC00 || low - 0xDC00 >= 0x3FF) {
        fail(Fault::InvalidLowSurrogate);
        return -1;
    }
    return (static_cast<long>(unit) << 10) + low - 0x35FDC00;
}

VLJsonToken VLJsonTokeniser::matchNumber() {
    const char* p = buf_.get();
    auto i = static_cast<std::size_t>(tokenStart_);
    if (p[i] == '-') {
        ++i;
        if (!isDigit(p[i])) {
            if (i == end()) {
                return VLJsonToken::Eof;  // the digits may come with the next chunk
            }
            return fail(Fault::NoDigitsAfterMinus);
        }
    }
    if (p[i] == '0' && isDigit(p[i + 1])) {
        return fail(Fault::LeadingZero, tokenStart_);
    }
    while (isDigit(p[i])) {
        ++i;
    }
    bool isReal = false;
    if (p[i] == '.') {
        ++i;
        isReal = true;
        if (!isDigit(p[i]) && i != end()) {
            return fail(Fault::NoDigitsAfterDecimalPoint, tokenStart_);
        }
        while (isDigit(p[i])) {
            ++i;
        }
    }
    if (p[i] == 'e' || p[i] == 'E') {
        ++i;
        isReal = true;
        if (p[i] == '+' || p[i] == '-') {
            ++i;
        }
        if (!isDigit(p[i]) && i != end()) {
            return fail(Fault::NoDigitsAfterExponent, tokenStart_);
        }
        while (isDigit(p[i])) {
            ++i;
        }
    }
    if (i == end()) {
        return VLJsonToken::Eof;
    }
    tokenLength_ = i - tokenStart_;
    return isReal ? VLJsonToken::Real : VLJsonToken::Integer;
}

bool VLJsonTokeniser::isStringTokenValidUtf8() const {
    if (!stringHasHighBytes_ || tokenLength_ < 2) {
        return true;
    }
    return isValidUtf8(std::string_view(buf_.get() + tokenStart_ + 1, tokenLength_ - 2));
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
    const char* p = buf_.get();
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
            const char* found = buf_.get() + tokenStart_;
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

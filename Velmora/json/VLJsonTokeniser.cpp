#include "Velmora/json/VLJsonTokeniser.h"

#include <algorithm>
#include <bit>
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

// Index of the first byte at or after i that is not a digit, eight bytes at a time (the
// sentinel is no digit, so the scan stops within the padding). XOR with '0' maps exactly
// the digits to 0 to 9; adding 0x76 to the low seven bits then sets the top bit of every
// other byte without carrying into the next.
std::size_t skipDigits(const char* p, std::size_t i) {
    if constexpr (std::endian::native != std::endian::little) {
        while (isDigit(p[i])) {
            ++i;
        }
        return i;
    }
    for (;;) {
        std::uint64_t word;
        std::memcpy(&word, p + i, sizeof word);
        const std::uint64_t y = word ^ 0x3030303030303030ull;
        const std::uint64_t other =
            (((y & 0x7F7F7F7F7F7F7F7Full) + 0x7676767676767676ull) | y) & 0x8080808080808080ull;
        if (other != 0) {
            return i + static_cast<unsigned>(__builtin_ctzll(other)) / 8;
        }
        i += 8;
    }
}

// Index of the first byte at or after i that is not whitespace (the sentinel is not, so
// the scan always stops).
std::size_t skipWhitespaceRun(const char* p, std::size_t i) {
#if defined(__SSE2__)
    const __m128i space = _mm_set1_epi8(' ');
    const __m128i tab = _mm_set1_epi8('\t');
    const __m128i controlSpan = _mm_set1_epi8('\r' - '\t');
    for (;;) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        const __m128i offset = _mm_sub_epi8(v, tab);
        const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(offset, controlSpan), offset);
        const __m128i white = _mm_or_si128(_mm_cmpeq_epi8(v, space), control);
        const auto other = ~static_cast<unsigned>(_mm_movemask_epi8(white)) & 0xFFFFu;
        if (other != 0) {
            return i + static_cast<unsigned>(__builtin_ctz(other));
        }
        i += 16;
    }
#else
    while (p[i] == ' ' || (p[i] >= '\t' && p[i] <= '\r')) {
        ++i;
    }
    return i;
#endif
}

}  // namespace

VLJsonTokeniser::VLJsonTokeniser() {
    buf_ = std::make_unique<char[]>(kInitialCapacity);
    capacity_ = kInitialCapacity;
    length_ = 1;
}

void VLJsonTokeniser::appendData(std::string_view bytes) {
    // Dropping the consumed input is only logical here; the bytes move when room is
    // needed and at most as many bytes move as were consumed, so appending stays linear
    // in the input however long the pending token grows.
    const auto consumed = static_cast<std::size_t>(tokenStart_);
    base_ += consumed;
    dropped_ += consumed;
    tokenStart_ = 0;
    const std::size_t pending = end() - consumed;
    const std::size_t needed = pending + bytes.size() + 1 + kPadding;
    if (base_ + needed > capacity_) {
        if (needed <= capacity_ && base_ >= pending) {
            std::memmove(buf_.get(), buf_.get() + base_, pending);
        } else {
            const std::size_t capacity = std::max(capacity_ * 2, needed);
            // Not zeroed: every byte read is written first (the input, then the sentinel
            // and the padding just below).
            auto fresh = std::make_unique_for_overwrite<char[]>(capacity);
            std::memcpy(fresh.get(), buf_.get() + base_, pending);
            buf_ = std::move(fresh);
            capacity_ = capacity;
        }
        base_ = 0;
    }
    char* out = buf_.get() + base_;
    if (!bytes.empty()) {
        std::memcpy(out + pending, bytes.data(), bytes.size());
    }
    // The sentinel, and the padding after it zeroed for the block scans.
    std::memset(out + pending + bytes.size(), 0, 1 + kPadding);
    length_ = pending + bytes.size() + 1;
}

bool VLJsonTokeniser::getToken(const char*& token, std::size_t& length) const {
    if (tokenLength_ == 0) {
        return false;
    }
    token = data() + tokenStart_;
    length = tokenLength_;
    return true;
}

bool VLJsonTokeniser::hasPendingInput() const {
    const char* p = data();
    for (auto i = static_cast<std::size_t>(tokenStart_ + tokenLength_); i < end(); ++i) {
        if (!isWhitespace(p[i])) {
            return true;
        }
    }
    return false;
}

VLJsonToken VLJsonTokeniser::suspend(std::size_t index) {
    scannedBytes_ += index - tokenStart_ - resumeOffset_;
    resumeOffset_ = index - tokenStart_;
    resuming_ = true;
    return VLJsonToken::Eof;
}

VLJsonToken VLJsonTokeniser::resume() {
    return data()[tokenStart_] == '"' ? matchString() : matchNumber();
}

VLJsonToken VLJsonTokeniser::endOrNul() {
    // A NUL inside the input is not the end of it; only the sentinel is.
    if (tokenStart_ == end()) {
        return VLJsonToken::Eof;
    }
    return fail(Fault::UnrecognisedLeadingCharacter, tokenStart_);
}

VLJsonToken VLJsonTokeniser::unrecognised() {
    return fail(
        data()[tokenStart_] == '+' ? Fault::LeadingPlus : Fault::UnrecognisedLeadingCharacter,
        tokenStart_);
}

std::size_t VLJsonTokeniser::skipWhitespaceFrom(const char* p, std::size_t i) {
    return skipWhitespaceRun(p, i);
}

VLJsonToken VLJsonTokeniser::match(std::string_view literal, VLJsonToken kind) {
    if (end() - tokenStart_ < literal.size()) {
        return VLJsonToken::Eof;
    }
    if (std::memcmp(data() + tokenStart_, literal.data(), literal.size()) != 0) {
        return fail(Fault::ExpectedLiteral, literal.size(), 0, literal);
    }
    tokenLength_ = literal.size();
    return kind;
}

VLJsonToken VLJsonTokeniser::matchString() {
    const char* p = data();
    VLJsonToken kind = VLJsonToken::String;
    bool sawHighBytes = false;
    auto i = static_cast<std::size_t>(tokenStart_) + 1;
    if (resuming_) {
        kind = resumeKind_;
        sawHighBytes = resumeHighBytes_;
        i = tokenStart_ + resumeOffset_;
    }
    for (;;) {
        i = scanStringRun(p, i, sawHighBytes);
        const auto c = static_cast<unsigned char>(p[i]);
        if (c == '"') {
            finish(i + 1);
            tokenLength_ = i + 1 - tokenStart_;
            stringHasHighBytes_ = sawHighBytes;
            return kind;
        }
        if (c == '\\') {
            if (i + 1 == end()) {
                return suspendString(i, kind, sawHighBytes);
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
                        // The escape is read again whole once the rest arrives.
                        return suspendString(i, kind, sawHighBytes);
                    }
                    if (codePoint < 0) {
                        finish(index);
                        return VLJsonToken::Error;
                    }
                    i = index;
                    continue;
                }
                default:
                    finish(i + 1);
                    return fail(Fault::BrokenEscape, i + 1, tokenStart_);
            }
        }
        if (i == end()) {
            return suspendString(i, kind, sawHighBytes);
        }
        finish(i);
        return fail(Fault::UnescapedControlChar, c);
    }
}

VLJsonToken VLJsonTokeniser::suspendString(std::size_t index, VLJsonToken kind, bool sawHighBytes) {
    resumeKind_ = kind;
    resumeHighBytes_ = sawHighBytes;
    return suspend(index);
}

int VLJsonTokeniser::decodeHexQuad(std::size_t index) {
    int value = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        const int digit = hexValue(data()[index + k]);
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
        if (data()[index] != expected) {
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
    const char* p = data();
    auto i = static_cast<std::size_t>(tokenStart_);
    NumberPhase phase = NumberPhase::Sign;
    if (resuming_) {
        i += resumeOffset_;
        phase = resumePhase_;
    }
    bool isReal = phase >= NumberPhase::FractionFirst;
    const std::size_t integerStart = tokenStart_ + (p[tokenStart_] == '-' ? 1 : 0);
    // The input may end in any phase; the sentinel is no digit, sign or mark, so each
    // phase stops on it and the number waits for more.
    const auto wait = [&](NumberPhase at) {
        resumePhase_ = at;
        return suspend(i);
    };
    switch (phase) {
        case NumberPhase::Sign:
            if (p[i] == '-') {
                ++i;
                if (!isDigit(p[i])) {
                    if (i == end()) {
                        // The digits may come with the next chunk; the minus is read again.
                        i = tokenStart_;
                        return wait(NumberPhase::Sign);
                    }
                    finish(i);
                    return fail(Fault::NoDigitsAfterMinus);
                }
            }
            [[fallthrough]];
        case NumberPhase::Integer:
            i = skipDigits(p, i);
            if (p[integerStart] == '0' && i > integerStart + 1) {
                finish(i);
                return fail(Fault::LeadingZero, tokenStart_);
            }
            if (i == end()) {
                return wait(NumberPhase::Integer);
            }
            if (p[i] != '.') {
                break;
            }
            ++i;
            isReal = true;
            [[fallthrough]];
        case NumberPhase::FractionFirst:
            if (i == end()) {
                return wait(NumberPhase::FractionFirst);
            }
            if (!isDigit(p[i])) {
                finish(i);
                return fail(Fault::NoDigitsAfterDecimalPoint, tokenStart_);
            }
            [[fallthrough]];
        case NumberPhase::Fraction:
            i = skipDigits(p, i);
            if (i == end()) {
                return wait(NumberPhase::Fraction);
            }
            break;
        default:
            break;
    }
    if (phase < NumberPhase::ExponentSign) {
        if (p[i] != 'e' && p[i] != 'E') {
            return finishNumber(i, isReal);
        }
        ++i;
        isReal = true;
        phase = NumberPhase::ExponentSign;
    }
    switch (phase) {
        case NumberPhase::ExponentSign:
            if (i == end()) {
                return wait(NumberPhase::ExponentSign);
            }
            if (p[i] == '+' || p[i] == '-') {
                ++i;
            }
            [[fallthrough]];
        case NumberPhase::ExponentFirst:
            if (i == end()) {
                return wait(NumberPhase::ExponentFirst);
            }
            if (!isDigit(p[i])) {
                finish(i);
                return fail(Fault::NoDigitsAfterExponent, tokenStart_);
            }
            [[fallthrough]];
        default:
            i = skipDigits(p, i);
            if (i == end()) {
                return wait(NumberPhase::Exponent);
            }
            return finishNumber(i, true);
    }
}

VLJsonToken VLJsonTokeniser::finishNumber(std::size_t index, bool isReal) {
    finish(index);
    tokenLength_ = index - tokenStart_;
    return isReal ? VLJsonToken::Real : VLJsonToken::Integer;
}

void VLJsonTokeniser::finish(std::size_t index) {
    scannedBytes_ += index - tokenStart_ - resumeOffset_;
    resumeOffset_ = 0;
    resuming_ = false;
}

}  // namespace velmora

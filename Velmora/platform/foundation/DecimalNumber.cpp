#include "Velmora/platform/foundation/DecimalNumber.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include <fmt/format.h>

namespace velmora {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Index of the first byte at or after i that is not a digit (or the size), eight bytes at a
// time while eight remain: long numbers are mostly digits. XOR with '0' maps exactly the
// digits to 0 to 9; adding 0x76 to the low seven bits then sets the top bit of every other
// byte without carrying into the next.
std::size_t skipDigits(std::string_view text, std::size_t i) {
    const char* p = text.data();
    if constexpr (std::endian::native == std::endian::little) {
        for (; i + 8 <= text.size(); i += 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, p + i, sizeof word);
            const std::uint64_t y = word ^ 0x3030303030303030ull;
            const std::uint64_t other =
                (((y & 0x7F7F7F7F7F7F7F7Full) + 0x7676767676767676ull) | y) & 0x8080808080808080ull;
            if (other != 0) {
                return i + static_cast<unsigned>(std::countr_zero(other)) / 8;
            }
        }
    }
    while (i < text.size() && isDigit(p[i])) {
        ++i;
    }
    return i;
}

// Normalised exponents beyond this are clamped: no double or sane decimal gets near
// them, and the clamp keeps the exponent arithmetic free of overflow. The clamp applies
// to the normalised exponent (not the written one) so that every description reads
// back as the same number.
constexpr std::int64_t kExponentLimit = std::int64_t{1} << 40;
// The written exponent saturates here while it is read, far above the clamp.
constexpr std::int64_t kWrittenExponentLimit = std::int64_t{1} << 56;

// Plain notation is used while it adds at most this many zeros to the digits.
constexpr std::int64_t kPlainZerosLimit = 40;

}  // namespace

struct DecimalNumber::Digits {
    std::string_view head;
    std::string_view tail;
    std::int64_t exponent;  // value = digits * 10^exponent

    std::size_t size() const { return head.size() + tail.size(); }
    char operator[](std::size_t i) const {
        return i < head.size() ? head[i] : tail[i - head.size()];
    }
    void appendTo(std::string& out, std::size_t from = 0,
                  std::size_t to = std::string::npos) const {
        to = std::min(to, size());
        if (from < head.size()) {
            out.append(head.substr(from, std::min(to, head.size()) - from));
        }
        if (to > head.size()) {
            const std::size_t tailFrom = std::max(from, head.size()) - head.size();
            out.append(tail.substr(tailFrom, to - head.size() - tailFrom));
        }
    }
};

DecimalNumber::DecimalNumber(Private, std::string_view text, const Shape& shape)
    : negative_(shape.negative), zero_(shape.digitsBegin == shape.headEnd) {
    setText(text);
}

DecimalNumber::DecimalNumber(Private, std::string_view text, bool negative, bool zero)
    : negative_(negative), zero_(zero) {
    setText(text);
}

// Almost every number has a non-zero digit among its first few, so this seldom reads far.
bool DecimalNumber::hasZeroSignificand(std::string_view text) {
    for (const char c : text) {
        if (c == 'e' || c == 'E') {
            break;
        }
        if (c > '0' && c <= '9') {
            return false;
        }
    }
    return true;
}

DecimalNumber::DecimalNumber(const DecimalNumber& other)
    : negative_(other.negative_), zero_(other.zero_) {
    setText(other.text());
}

DecimalNumber& DecimalNumber::operator=(const DecimalNumber& other) {
    if (this != &other) {
        *this = DecimalNumber(other);
    }
    return *this;
}

DecimalNumber::DecimalNumber(DecimalNumber&& other) noexcept
    : longText_(std::move(other.longText_)),
      shortLength_(std::exchange(other.shortLength_, 0)),
      negative_(std::exchange(other.negative_, false)),
      zero_(std::exchange(other.zero_, true)) {
    std::memcpy(shortText_, other.shortText_, sizeof shortText_);
}

DecimalNumber& DecimalNumber::operator=(DecimalNumber&& other) noexcept {
    if (this != &other) {
        longText_ = std::move(other.longText_);
        shortLength_ = std::exchange(other.shortLength_, 0);
        negative_ = std::exchange(other.negative_, false);
        zero_ = std::exchange(other.zero_, true);
        std::memcpy(shortText_, other.shortText_, sizeof shortText_);
    }
    return *this;
}

static_assert(sizeof(DecimalNumber) == 32, "a decimal Value block is meant to stay small");

void DecimalNumber::setText(std::string_view text) {
    if (text.size() > kShortTextCapacity) {
        longText_ = std::make_unique_for_overwrite<char[]>(text.size());
        std::memcpy(longText_.get(), text.data(), text.size());
        const std::size_t length = text.size();
        std::memcpy(shortText_, &length, sizeof length);
        shortLength_ = 0;
        return;
    }
    longText_.reset();
    shortLength_ = static_cast<std::uint8_t>(text.size());
    if (!text.empty()) {
        std::memcpy(shortText_, text.data(), text.size());
    }
}

DecimalNumber::Digits DecimalNumber::digits() const {
    const std::string_view all = text();
    const Shape shape = *scan(all);
    return {all.substr(shape.digitsBegin, shape.headEnd - shape.digitsBegin),
            all.substr(shape.tailBegin, shape.digitsEnd - shape.tailBegin), shape.exponent};
}

std::optional<DecimalNumber::Shape> DecimalNumber::scan(std::string_view text) {
    const std::size_t size = text.size();
    bool negative = false;
    std::size_t i = 0;
    if (i < size && (text[i] == '-' || text[i] == '+')) {
        negative = text[i] == '-';
        ++i;
    }
    const std::size_t wholeBegin = i;
    const std::size_t wholeEnd = i = skipDigits(text, i);
    std::size_t fractionBegin = wholeEnd;
    std::size_t fractionEnd = wholeEnd;
    if (i < size && text[i] == '.') {
        fractionBegin = i + 1;
        fractionEnd = i = skipDigits(text, fractionBegin);
    }
    if (wholeEnd == wholeBegin && fractionEnd == fractionBegin) {
        return std::nullopt;
    }
    std::int64_t exponent = 0;
    if (i < size && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        bool negativeExponent = false;
        if (i < size && (text[i] == '-' || text[i] == '+')) {
            negativeExponent = text[i] == '-';
            ++i;
        }
        if (i == size || !isDigit(text[i])) {
            return std::nullopt;
        }
        for (; i < size && isDigit(text[i]); ++i) {
            exponent = std::min(exponent * 10 + (text[i] - '0'), kWrittenExponentLimit);
        }
        if (negativeExponent) {
            exponent = -exponent;
        }
    }
    if (i != size) {
        return std::nullopt;
    }

    // The first significant digit, in the whole part or else in the fraction.
    std::size_t first = wholeBegin;
    while (first < wholeEnd && text[first] == '0') {
        ++first;
    }
    if (first == wholeEnd) {
        first = fractionBegin;
        while (first < fractionEnd && text[first] == '0') {
            ++first;
        }
        if (first == fractionEnd) {
            return Shape{};  // zero, and -0 is the same number: not negative
        }
    }
    // The last significant digit, in the fraction or else in the whole part.
    std::size_t last = fractionEnd;
    while (last > fractionBegin && text[last - 1] == '0') {
        --last;
    }
    std::int64_t shift = 0;  // digits * 10^shift is the value without the written exponent
    if (last > fractionBegin) {
        shift = -static_cast<std::int64_t>(last - fractionBegin);
    } else {
        last = wholeEnd;
        while (text[last - 1] == '0') {
            --last;
        }
        shift = static_cast<std::int64_t>(wholeEnd - last);
    }
    const bool split = first < wholeEnd && last > fractionBegin;
    return Shape{.digitsBegin = first,
                 .headEnd = split ? wholeEnd : last,
                 .tailBegin = split ? fractionBegin : last,
                 .digitsEnd = last,
                 .exponent = std::clamp(exponent + shift, -kExponentLimit, kExponentLimit),
                 .negative = negative};
}

std::optional<DecimalNumber> DecimalNumber::parse(std::string_view text) {
    const auto shape = scan(text);
    if (!shape) {
        return std::nullopt;
    }
    return DecimalNumber(Private{}, text, *shape);
}

std::shared_ptr<const DecimalNumber> DecimalNumber::parseShared(std::string_view text) {
    const auto shape = scan(text);
    if (!shape) {
        return nullptr;
    }
    return std::make_shared<const DecimalNumber>(Private{}, text, *shape);
}

DecimalNumber DecimalNumber::fromInteger(std::int64_t value) {
    return *parse(fmt::format("{}", value));
}

DecimalNumber DecimalNumber::fromUnsigned(std::uint64_t value) {
    return *parse(fmt::format("{}", value));
}

DecimalNumber DecimalNumber::fromDouble(double value) {
    return *parse(fmt::format("{}", value));
}

std::string DecimalNumber::description() const {
    if (isZero()) {
        return "0";
    }
    const Digits digits = this->digits();
    std::string out = negative_ ? "-" : "";
    const auto digitCount = static_cast<std::int64_t>(digits.size());
    const std::int64_t pointPosition = digitCount + digits.exponent;  // digits before the point
    if (digits.exponent >= 0 && digits.exponent <= kPlainZerosLimit) {
        digits.appendTo(out);
        out.append(static_cast<std::size_t>(digits.exponent), '0');
    } else if (digits.exponent < 0 && pointPosition > 0) {
        digits.appendTo(out, 0, static_cast<std::size_t>(pointPosition));
        out += '.';
        digits.appendTo(out, static_cast<std::size_t>(pointPosition));
    } else if (digits.exponent < 0 && -pointPosition <= kPlainZerosLimit) {
        out += "0.";
        out.append(static_cast<std::size_t>(-pointPosition), '0');
        digits.appendTo(out);
    } else {
        digits.appendTo(out, 0, 1);
        if (digits.size() > 1) {
            out += '.';
            digits.appendTo(out, 1);
        }
        out += fmt::format("E{:+}", pointPosition - 1);
    }
    return out;
}

double DecimalNumber::toDouble() const {
    if (isZero()) {
        return 0.0;
    }
    // Rebuilt from the normalised form so that clamped exponents stay in range for
    // from_chars, which reports out-of-range values instead of saturating.
    const Digits digits = this->digits();
    std::string normal = negative_ ? "-" : "";
    digits.appendTo(normal);
    normal += fmt::format("e{}", digits.exponent);
    double value = 0;
    const auto result = std::from_chars(normal.data(), normal.data() + normal.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const bool tiny = digits.exponent + static_cast<std::int64_t>(digits.size()) < 0;
        const double magnitude = tiny ? 0.0 : HUGE_VAL;
        return negative_ ? -magnitude : magnitude;
    }
    return value;
}

std::optional<std::uint64_t> DecimalNumber::wholeMagnitude() const {
    if (isZero()) {
        return 0;
    }
    const Digits digits = this->digits();
    if (digits.exponent < 0 || static_cast<std::int64_t>(digits.size()) + digits.exponent > 20) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    const auto append = [&value](int digit) {
        if (value > (UINT64_MAX - static_cast<std::uint64_t>(digit)) / 10) {
            return false;
        }
        value = value * 10 + static_cast<std::uint64_t>(digit);
        return true;
    };
    for (const std::string_view run : {digits.head, digits.tail}) {
        for (const char c : run) {
            if (!append(c - '0')) {
                return std::nullopt;
            }
        }
    }
    for (std::int64_t i = 0; i < digits.exponent; ++i) {
        if (!append(0)) {
            return std::nullopt;
        }
    }
    return value;
}

std::optional<std::int64_t> DecimalNumber::toInt64() const {
    const auto magnitude = wholeMagnitude();
    if (!magnitude) {
        return std::nullopt;
    }
    constexpr std::uint64_t kLimit = std::uint64_t{1} << 63;
    if (negative_) {
        if (*magnitude > kLimit) {
            return std::nullopt;
        }
        return *magnitude == kLimit ? INT64_MIN : -static_cast<std::int64_t>(*magnitude);
    }
    if (*magnitude >= kLimit) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(*magnitude);
}

std::optional<std::uint64_t> DecimalNumber::toUInt64() const {
    if (negative_) {
        return std::nullopt;
    }
    return wholeMagnitude();
}

int DecimalNumber::compareMagnitude(const DecimalNumber& other) const {
    if (isZero() || other.isZero()) {
        return static_cast<int>(!isZero()) - static_cast<int>(!other.isZero());
    }
    const Digits mine = digits();
    const Digits theirs = other.digits();
    const auto myOrder = mine.exponent + static_cast<std::int64_t>(mine.size());
    const auto theirOrder = theirs.exponent + static_cast<std::int64_t>(theirs.size());
    if (myOrder != theirOrder) {
        return myOrder < theirOrder ? -1 : 1;
    }
    const std::size_t common = std::min(mine.size(), theirs.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (mine[i] != theirs[i]) {
            return mine[i] < theirs[i] ? -1 : 1;
        }
    }
    return mine.size() == theirs.size() ? 0 : (mine.size() < theirs.size() ? -1 : 1);
}

int DecimalNumber::compare(const DecimalNumber& other) const {
    if (negative_ != other.negative_) {
        return negative_ ? -1 : 1;
    }
    const int magnitude = compareMagnitude(other);
    return negative_ ? -magnitude : magnitude;
}

}  // namespace velmora

#include "Velmora/platform/foundation/DecimalNumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace velmora {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
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

std::optional<DecimalNumber> DecimalNumber::parse(std::string_view text) {
    DecimalNumber n;
    n.text_ = std::string(text);
    std::size_t i = 0;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        n.negative_ = text[i] == '-';
        ++i;
    }
    // The digits are gathered straight into digits_ and trimmed in place: parsers of long
    // numbers (JSON reals) make one of these per number, so each allocation counts.
    std::string& mantissa = n.digits_;
    mantissa.reserve(text.size());
    std::int64_t pointShift = 0;
    std::size_t digitCount = 0;
    for (; i < text.size() && isDigit(text[i]); ++i, ++digitCount) {
        mantissa.push_back(text[i]);
    }
    if (i < text.size() && text[i] == '.') {
        for (++i; i < text.size() && isDigit(text[i]); ++i, ++digitCount) {
            mantissa.push_back(text[i]);
            --pointShift;
        }
    }
    if (digitCount == 0) {
        return std::nullopt;
    }
    std::int64_t exponent = 0;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        bool negativeExponent = false;
        if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
            negativeExponent = text[i] == '-';
            ++i;
        }
        if (i == text.size() || !isDigit(text[i])) {
            return std::nullopt;
        }
        for (; i < text.size() && isDigit(text[i]); ++i) {
            exponent = std::min(exponent * 10 + (text[i] - '0'), kWrittenExponentLimit);
        }
        if (negativeExponent) {
            exponent = -exponent;
        }
    }
    if (i != text.size()) {
        return std::nullopt;
    }
    const auto firstNonZero = mantissa.find_first_not_of('0');
    if (firstNonZero == std::string::npos) {
        mantissa.clear();
        n.negative_ = false;  // -0 and 0 are the same number
        return n;
    }
    const auto lastNonZero = mantissa.find_last_not_of('0');
    n.exponent_ = std::clamp(
        exponent + pointShift + static_cast<std::int64_t>(mantissa.size() - 1 - lastNonZero),
        -kExponentLimit, kExponentLimit);
    mantissa.erase(lastNonZero + 1);
    mantissa.erase(0, firstNonZero);
    return n;
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
    std::string out = negative_ ? "-" : "";
    const auto digitCount = static_cast<std::int64_t>(digits_.size());
    const std::int64_t pointPosition = digitCount + exponent_;  // digits before the point
    if (exponent_ >= 0 && exponent_ <= kPlainZerosLimit) {
        out += digits_;
        out.append(static_cast<std::size_t>(exponent_), '0');
    } else if (exponent_ < 0 && pointPosition > 0) {
        out += digits_.substr(0, static_cast<std::size_t>(pointPosition));
        out += '.';
        out += digits_.substr(static_cast<std::size_t>(pointPosition));
    } else if (exponent_ < 0 && -pointPosition <= kPlainZerosLimit) {
        out += "0.";
        out.append(static_cast<std::size_t>(-pointPosition), '0');
        out += digits_;
    } else {
        out += digits_.substr(0, 1);
        if (digits_.size() > 1) {
            out += '.';
            out += digits_.substr(1);
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
    const std::string normal = fmt::format("{}{}e{}", negative_ ? "-" : "", digits_, exponent_);
    double value = 0;
    const auto result = std::from_chars(normal.data(), normal.data() + normal.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const bool tiny = exponent_ + static_cast<std::int64_t>(digits_.size()) < 0;
        const double magnitude = tiny ? 0.0 : HUGE_VAL;
        return negative_ ? -magnitude : magnitude;
    }
    return value;
}

std::optional<std::uint64_t> DecimalNumber::wholeMagnitude() const {
    if (isZero()) {
        return 0;
    }
    if (exponent_ < 0 || static_cast<std::int64_t>(digits_.size()) + exponent_ > 20) {
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
    for (const char c : digits_) {
        if (!append(c - '0')) {
            return std::nullopt;
        }
    }
    for (std::int64_t i = 0; i < exponent_; ++i) {
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
    const auto order = [](const DecimalNumber& n) {
        return n.exponent_ + static_cast<std::int64_t>(n.digits_.size());
    };
    if (order(*this) != order(other)) {
        return order(*this) < order(other) ? -1 : 1;
    }
    const int c = digits_.compare(other.digits_);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

int DecimalNumber::compare(const DecimalNumber& other) const {
    if (negative_ != other.negative_) {
        return negative_ ? -1 : 1;
    }
    const int magnitude = compareMagnitude(other);
    return negative_ ? -magnitude : magnitude;
}

}  // namespace velmora

#pragma once
// DecimalNumber: an arbitrary-precision decimal number kept as its text, such as a JSON
// number too long for a machine integer or double. It compares exactly with other
// decimals, integers and doubles; arithmetic is not offered.
//
// Immutable; safe to share between threads.
//
//   auto n = DecimalNumber::parse("1234567890123.4500");
//   n->description();   // "1234567890123.45"
//   n->toDouble();      // 1234567890123.45

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

class DecimalNumber {
  public:
    // Accepts an optional sign, digits with an optional fraction, and an optional
    // exponent ("-12.5e+3"); surrounding text is not allowed. Nothing for anything else.
    static std::optional<DecimalNumber> parse(std::string_view text);
    static DecimalNumber fromInteger(std::int64_t value);
    static DecimalNumber fromUnsigned(std::uint64_t value);
    // The shortest text that reads back as the same double. REQUIRES: value is finite.
    static DecimalNumber fromDouble(double value);

    const std::string& text() const { return text_; }
    bool isZero() const { return digits_.empty(); }
    bool isNegative() const { return negative_; }

    // Plain notation without superfluous zeros ("1.5", "-0.0025", "100000"); scientific
    // notation ("1.5E+400") only where the plain form would be very long.
    std::string description() const;
    // Nearest double (correctly rounded); infinity when out of range.
    double toDouble() const;
    // The exact value when it is a whole number within range; nothing otherwise.
    std::optional<std::int64_t> toInt64() const;
    std::optional<std::uint64_t> toUInt64() const;

    // -1, 0 or 1 by numeric value.
    int compare(const DecimalNumber& other) const;
    bool operator==(const DecimalNumber& other) const { return compare(other) == 0; }

  private:
    DecimalNumber() = default;
    // The magnitude as a whole number, when it is one and fits in 64 bits.
    std::optional<std::uint64_t> wholeMagnitude() const;
    int compareMagnitude(const DecimalNumber& other) const;

    std::string text_;
    bool negative_ = false;
    std::string digits_;         // significant digits, no leading or trailing zeros
    std::int64_t exponent_ = 0;  // value = digits_ * 10^exponent_
};

}  // namespace velmora

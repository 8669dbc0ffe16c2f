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

#include <cstddef>
#include <cstdint>
#include <memory>
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

    DecimalNumber(const DecimalNumber& other);
    DecimalNumber& operator=(const DecimalNumber& other);
    // A moved-from number is zero with an empty text.
    DecimalNumber(DecimalNumber&& other) noexcept;
    DecimalNumber& operator=(DecimalNumber&& other) noexcept;
    ~DecimalNumber() = default;

    // The text it was read from, as written.
    std::string_view text() const { return {textData(), textLength_}; }
    bool isZero() const { return digitsBegin_ == headEnd_; }
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
    // The significant digits: at most two runs of the text, split where a point falls
    // between them.
    struct Digits;

    DecimalNumber() = default;
    Digits digits() const;
    const char* textData() const { return longText_ ? longText_.get() : shortText_; }
    void setText(std::string_view text);
    // The magnitude as a whole number, when it is one and fits in 64 bits.
    std::optional<std::uint64_t> wholeMagnitude() const;
    int compareMagnitude(const DecimalNumber& other) const;

    // A JSON real or a formatted double fits in the object itself, so a decimal Value is
    // one allocation; longer texts get a block of their own.
    static constexpr std::size_t kShortTextCapacity = 31;

    std::unique_ptr<char[]> longText_;  // null while the text is short
    std::size_t textLength_ = 0;
    // The significant digits (no leading or trailing zeros) are text[digitsBegin_,
    // headEnd_) followed by text[tailBegin_, digitsEnd_); all equal when zero.
    std::size_t digitsBegin_ = 0;
    std::size_t headEnd_ = 0;
    std::size_t tailBegin_ = 0;
    std::size_t digitsEnd_ = 0;
    std::int64_t exponent_ = 0;  // value = digits * 10^exponent_
    bool negative_ = false;
    char shortText_[kShortTextCapacity] = {};
};

}  // namespace velmora

#pragma once
// VLJsonNumber: a number as the stream parser found it, kept as a view of its text until
// a value is wanted, so that a delegate that only looks at the text (or skips numbers)
// pays for no conversion and no allocation.
//
// value() applies the parser's number rules: an integer of at most 11 characters becomes
// an Int, a real (fraction or exponent) of at most 6 characters a Double (an infinity or
// zero when out of range, as strtod gives them), and every longer number an exact
// Decimal built from its text.
//
// Thread safety: a view into the parser's buffer, valid only during the delegate call
// that receives it; copy the text or take the value to keep it.
//
//   void parserFoundNumber(VLJsonStreamParser&, const VLJsonNumber& number) override {
//       values.push_back(number.value());   // or inspect number.text()
//   }

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class VLJsonNumber {
  public:
    static constexpr std::size_t kMaxShortInteger = 11;
    static constexpr std::size_t kMaxShortReal = 6;

    VLJsonNumber(std::string_view text, bool isReal) : text_(text), isReal_(isReal) {}

    std::string_view text() const { return text_; }
    // Whether the text has a fraction or an exponent.
    bool isReal() const { return isReal_; }
    // Whether value() is a Decimal: the number is too long for the short conversions.
    bool isDecimal() const { return text_.size() > (isReal_ ? kMaxShortReal : kMaxShortInteger); }
    // Inline, so that a caller storing the value builds it in place.
    Value value() const {
        if (isDecimal()) {
            return Value::decimal(text_);
        }
        return isReal_ ? Value(shortReal()) : Value(shortInteger());
    }

  private:
    // The value of a short integer token, as strtol would give it: the tokeniser has
    // already refused leading zeros, so base 0 never sees an octal or hex prefix.
    std::int64_t shortInteger() const {
        const bool negative = text_.front() == '-';
        std::int64_t value = 0;
        for (std::size_t i = negative ? 1 : 0; i < text_.size(); ++i) {
            value = value * 10 + (text_[i] - '0');
        }
        return negative ? -value : value;
    }
    double shortReal() const;

    std::string_view text_;
    bool isReal_;
};

}  // namespace velmora

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
#include <cstring>
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
    // The same, made straight into the shared block a decimal Value holds; null for
    // anything parse refuses.
    static std::shared_ptr<const DecimalNumber> parseShared(std::string_view text);
    // The same with the block made by allocator (as std::allocate_shared takes it).
    template <class Allocator>
    static std::shared_ptr<const DecimalNumber> parseShared(std::string_view text,
                                                            const Allocator& allocator) {
        const auto shape = scan(text);
        if (!shape) {
            return nullptr;
        }
        return std::allocate_shared<const DecimalNumber>(allocator, Private{}, text, *shape);
    }
    // For text a tokeniser has already found to be a JSON number (an optional '-', digits,
    // an optional fraction and exponent): the number parseShared would make, without
    // reading the text's shape again. Any other text gives a number that is not its text.
    template <class Allocator>
    static std::shared_ptr<const DecimalNumber> makeSharedFromCheckedText(
        std::string_view text, const Allocator& allocator) {
        const bool zero = hasZeroSignificand(text);
        return std::allocate_shared<const DecimalNumber>(
            allocator, Private{}, text, !zero && !text.empty() && text.front() == '-', zero);
    }
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
    std::string_view text() const {
        return longText_ ? std::string_view(longText_.get(), longTextLength())
                         : std::string_view(shortText_, shortLength_);
    }
    bool isZero() const { return zero_; }
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
    // Where the significant digits (no leading or trailing zeros) lie in the text: the
    // run [digitsBegin, headEnd) followed by [tailBegin, digitsEnd), two runs when a
    // point falls between them; all zero for the number zero. Found again from the text
    // when a digit is wanted, so that a number is its text and two flags.
    struct Shape {
        std::size_t digitsBegin = 0;
        std::size_t headEnd = 0;
        std::size_t tailBegin = 0;
        std::size_t digitsEnd = 0;
        std::int64_t exponent = 0;  // value = digits * 10^exponent
        bool negative = false;
    };
    struct Digits;
    // Keeps the constructor below to this class and the shared blocks it makes.
    struct Private {
        explicit Private() = default;
    };

  public:
    DecimalNumber(Private, std::string_view text, const Shape& shape);
    DecimalNumber(Private, std::string_view text, bool negative, bool zero);

  private:
    static std::optional<Shape> scan(std::string_view text);
    // Whether no digit before the exponent is other than zero, in a text of JSON's form.
    static bool hasZeroSignificand(std::string_view text);
    Digits digits() const;
    // While the text is long, its length is kept where a short text would be.
    std::size_t longTextLength() const {
        std::size_t length = 0;
        std::memcpy(&length, shortText_, sizeof length);
        return length;
    }
    void setText(std::string_view text);
    // The magnitude as a whole number, when it is one and fits in 64 bits.
    std::optional<std::uint64_t> wholeMagnitude() const;
    int compareMagnitude(const DecimalNumber& other) const;

    // A JSON real fits in the object itself (32 bytes in all), so a decimal Value is one
    // small allocation; longer texts get a block of their own.
    static constexpr std::size_t kShortTextCapacity = 21;

    std::unique_ptr<char[]> longText_;  // null while the text is short
    char shortText_[kShortTextCapacity];
    std::uint8_t shortLength_ = 0;
    bool negative_ = false;
    bool zero_ = true;
};

}  // namespace velmora

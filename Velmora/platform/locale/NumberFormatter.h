#pragma once
// NumberFormatter: writes numbers as text and reads them back in a locale's digits,
// separators and style. None writes plain digits with no grouping ("1234.5"), Decimal
// groups and rounds to three fraction digits ("1,234.5"), Percent multiplies by 100
// ("12%"), Currency uses the locale's currency ("$1,234.50").
//
// Thread safety: every member may be called from any thread (one internal lock).
//
//   NumberFormatter formatter;
//   formatter.setNumberStyle(NumberFormatterStyle::Decimal);
//   std::string text = formatter.stringFromNumber(1234.5);   // "1,234.5" in en_US

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/uversion.h>

#include "Velmora/platform/locale/Locale.h"

U_NAMESPACE_BEGIN
class NumberFormat;
U_NAMESPACE_END

namespace velmora {

enum class NumberFormatterStyle { None, Decimal, Percent, Currency };

class NumberFormatter {
  public:
    NumberFormatter();
    ~NumberFormatter();
    NumberFormatter(const NumberFormatter&) = delete;
    NumberFormatter& operator=(const NumberFormatter&) = delete;

    void setNumberStyle(NumberFormatterStyle style);
    [[nodiscard]] NumberFormatterStyle numberStyle() const;
    void setLocale(const Locale& locale);
    [[nodiscard]] Locale locale() const;

    // "" for a value ICU cannot write (never for a finite one). NaN is "NaN".
    [[nodiscard]] std::string stringFromNumber(double value) const;
    [[nodiscard]] std::string stringFromNumber(long long value) const;
    // The number the whole text stands for, or nothing.
    [[nodiscard]] std::optional<double> numberFromString(std::string_view text) const;

  private:
    icu::NumberFormat* icuFormatLocked() const;

    mutable std::mutex mutex_;  // guards everything below
    NumberFormatterStyle style_ = NumberFormatterStyle::None;
    Locale locale_;
    mutable std::unique_ptr<icu::NumberFormat> icuFormat_;
};

}  // namespace velmora

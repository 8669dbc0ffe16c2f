#include "Velmora/platform/locale/NumberFormatter.h"

#include <unicode/numfmt.h>
#include <unicode/unistr.h>

namespace velmora {
namespace {

std::string toUtf8(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

}  // namespace

NumberFormatter::NumberFormatter() : locale_(Locale::current()) {}
NumberFormatter::~NumberFormatter() = default;

void NumberFormatter::setNumberStyle(NumberFormatterStyle style) {
    std::lock_guard<std::mutex> lock(mutex_);
    style_ = style;
    icuFormat_.reset();
}

NumberFormatterStyle NumberFormatter::numberStyle() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return style_;
}

void NumberFormatter::setLocale(const Locale& locale) {
    std::lock_guard<std::mutex> lock(mutex_);
    locale_ = locale;
    icuFormat_.reset();
}

Locale NumberFormatter::locale() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return locale_;
}

std::string NumberFormatter::stringFromNumber(double value) const {
    icu::UnicodeString text;
    std::lock_guard<std::mutex> lock(mutex_);
    if (icu::NumberFormat* format = icuFormatLocked()) {
        format->format(value, text);
    }
    return toUtf8(text);
}

std::string NumberFormatter::stringFromNumber(long long value) const {
    icu::UnicodeString text;
    std::lock_guard<std::mutex> lock(mutex_);
    if (icu::NumberFormat* format = icuFormatLocked()) {
        format->format(static_cast<int64_t>(value), text);
    }
    return toUtf8(text);
}

std::optional<double> NumberFormatter::numberFromString(std::string_view text) const {
    const icu::UnicodeString input = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    std::lock_guard<std::mutex> lock(mutex_);
    icu::NumberFormat* format = icuFormatLocked();
    if (format == nullptr || input.isEmpty()) {
        return std::nullopt;
    }
    icu::Formattable result;
    icu::ParsePosition position(0);
    format->parse(input, result, position);
    UErrorCode status = U_ZERO_ERROR;
    const double value = result.getDouble(status);
    if (position.getIndex() != input.length() || U_FAILURE(status)) {
        return std::nullopt;
    }
    return value;
}

icu::NumberFormat* NumberFormatter::icuFormatLocked() const {
    if (icuFormat_) {
        return icuFormat_.get();
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale = *locale_.icuLocale();
    std::unique_ptr<icu::NumberFormat> format;
    switch (style_) {
        case NumberFormatterStyle::None:
        case NumberFormatterStyle::Decimal:
            format.reset(icu::NumberFormat::createInstance(locale, status));
            break;
        case NumberFormatterStyle::Percent:
            format.reset(icu::NumberFormat::createPercentInstance(locale, status));
            break;
        case NumberFormatterStyle::Currency:
            format.reset(icu::NumberFormat::createCurrencyInstance(locale, status));
            break;
    }
    if (U_FAILURE(status) || !format) {
        return nullptr;
    }
    if (style_ == NumberFormatterStyle::None) {
        // Plain digits: no grouping, whole numbers only when written, as the original's
        // no-style formatter does; parsing still reads fractions.
        format->setGroupingUsed(false);
        format->setMaximumFractionDigits(0);
    }
    icuFormat_ = std::move(format);
    return icuFormat_.get();
}

}  // namespace velmora

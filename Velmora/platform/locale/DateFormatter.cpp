#include "Velmora/platform/locale/DateFormatter.h"

#include <cmath>
#include <utility>

#include <unicode/calendar.h>
#include <unicode/dtptngen.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include "Velmora/platform/locale/Calendar.h"

namespace velmora {
namespace {

icu::DateFormat::EStyle icuStyle(DateFormatterStyle style) {
    switch (style) {
        case DateFormatterStyle::Short:
            return icu::DateFormat::kShort;
        case DateFormatterStyle::Medium:
            return icu::DateFormat::kMedium;
        case DateFormatterStyle::Long:
            return icu::DateFormat::kLong;
        case DateFormatterStyle::Full:
            return icu::DateFormat::kFull;
        case DateFormatterStyle::None:
            break;
    }
    return icu::DateFormat::kNone;
}

icu::UnicodeString fromUtf8(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string toUtf8(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

// The locale's pattern for the two styles: what ICU's style formatter would use.
std::string stylePattern(DateFormatterStyle dateStyle, DateFormatterStyle timeStyle,
                         const icu::Locale& locale) {
    if (dateStyle == DateFormatterStyle::None && timeStyle == DateFormatterStyle::None) {
        return {};
    }
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateTimeInstance(icuStyle(dateStyle), icuStyle(timeStyle), locale));
    const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get());
    if (simple == nullptr) {
        return {};
    }
    icu::UnicodeString pattern;
    simple->toPattern(pattern);
    return toUtf8(pattern);
}

}  // namespace

DateFormatter::DateFormatter()
    : locale_(Locale::current()), timeZone_(TimeZone::systemTimeZone()) {}

DateFormatter::~DateFormatter() = default;

std::unique_ptr<DateFormatter> DateFormatter::copy() const {
    auto result = std::make_unique<DateFormatter>();
    std::lock_guard<std::mutex> lock(mutex_);
    result->pattern_ = pattern_;
    result->dateStyle_ = dateStyle_;
    result->timeStyle_ = timeStyle_;
    result->locale_ = locale_;
    result->timeZone_ = timeZone_;
    result->lenient_ = lenient_;
    return result;
}

void DateFormatter::setDateFormat(std::string pattern) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (pattern_ == pattern) {
        return;
    }
    pattern_ = std::move(pattern);
    icuFormat_.reset();
}

std::string DateFormatter::dateFormat() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return patternLocked();
}

std::string DateFormatter::patternLocked() const {
    return pattern_ ? *pattern_ : stylePattern(dateStyle_, timeStyle_, *locale_.icuLocale());
}

void DateFormatter::setDateStyle(DateFormatterStyle style) {
    std::lock_guard<std::mutex> lock(mutex_);
    dateStyle_ = style;
    pattern_.reset();
    icuFormat_.reset();
}

void DateFormatter::setTimeStyle(DateFormatterStyle style) {
    std::lock_guard<std::mutex> lock(mutex_);
    timeStyle_ = style;
    pattern_.reset();
    icuFormat_.reset();
}

DateFormatterStyle DateFormatter::dateStyle() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dateStyle_;
}

DateFormatterStyle DateFormatter::timeStyle() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return timeStyle_;
}

void DateFormatter::setLocale(const Locale& locale) {
    std::lock_guard<std::mutex> lock(mutex_);
    // Per-thread formatters are re-pointed at the current settings on every hand-out;
    // keeping the ICU formatter when nothing changed makes that cheap.
    if (locale.isAutoupdating() == locale_.isAutoupdating() && locale == locale_) {
        return;
    }
    locale_ = locale;
    icuFormat_.reset();
}

Locale DateFormatter::locale() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return locale_;
}

void DateFormatter::setTimeZone(const TimeZone& zone) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (zone.isEqual(timeZone_)) {
        return;
    }
    timeZone_ = zone;
    icuFormat_.reset();
}

TimeZone DateFormatter::timeZone() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return timeZone_;
}

void DateFormatter::setLenient(bool lenient) {
    std::lock_guard<std::mutex> lock(mutex_);
    lenient_ = lenient;
    icuFormat_.reset();
}

std::string DateFormatter::stringFromDate(Date date) const {
    const double seconds = date.timeIntervalSince1970();
    if (!std::isfinite(seconds)) {
        return {};
    }
    icu::UnicodeString text;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        icu::SimpleDateFormat* format = icuFormatLocked();
        if (format == nullptr) {
            return {};
        }
        format->format(seconds * 1000.0, text);
    }
    return toUtf8(text);
}

std::optional<Date> DateFormatter::dateFromString(std::string_view text) const {
    const icu::UnicodeString input = fromUtf8(text);
    std::lock_guard<std::mutex> lock(mutex_);
    icu::SimpleDateFormat* format = icuFormatLocked();
    if (format == nullptr || input.isEmpty()) {
        return std::nullopt;
    }
    icu::ParsePosition position(0);
    const UDate milliseconds = format->parse(input, position);
    // A prefix that parses is not enough: "2024-05-01x" is not a date of "yyyy-MM-dd".
    if (position.getErrorIndex() >= 0 || position.getIndex() != input.length() ||
        !std::isfinite(milliseconds)) {
        return std::nullopt;
    }
    return Date(milliseconds / 1000.0);
}

std::string DateFormatter::dateFormatFromTemplate(std::string_view skeleton, const Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(*locale.icuLocale(), status));
    if (U_FAILURE(status)) {
        return {};
    }
    const icu::UnicodeString pattern = generator->getBestPattern(fromUtf8(skeleton), status);
    return U_FAILURE(status) ? std::string() : toUtf8(pattern);
}

icu::SimpleDateFormat* DateFormatter::icuFormatLocked() const {
    if (icuFormat_ && locale_.isAutoupdating() && icuFormatLocale_ != locale_.identifier()) {
        icuFormat_.reset();
    }
    if (!icuFormat_) {
        const std::shared_ptr<const icu::Locale> locale = locale_.icuLocale();
        UErrorCode status = U_ZERO_ERROR;
        auto format =
            std::make_unique<icu::SimpleDateFormat>(fromUtf8(patternLocked()), *locale, status);
        if (U_FAILURE(status)) {
            return nullptr;
        }
        // The format's own calendar would print dates before 1582 in the Julian calendar.
        std::unique_ptr<icu::Calendar> calendar(format->getCalendar()->clone());
        Calendar::useProlepticRules(*calendar);
        format->adoptCalendar(calendar.release());
        format->setTimeZone(timeZone_.icuTimeZone());
        // setLenient(false) also turns off ICU's loose matching of white space and
        // digit counts, which the formatter keeps in both modes.
        format->setLenient(lenient_);
        format->setBooleanAttribute(UDAT_PARSE_ALLOW_WHITESPACE, true, status);
        format->setBooleanAttribute(UDAT_PARSE_ALLOW_NUMERIC, true, status);
        icuFormat_ = std::move(format);
        icuFormatLocale_ = locale->getName();
    }
    return icuFormat_.get();
}

}  // namespace velmora

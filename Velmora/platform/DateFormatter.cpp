#include "Velmora/platform/DateFormatter.h"

#include <cmath>
#include <utility>

#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

namespace velmora {

DateFormatter::DateFormatter()
    : locale_(Locale::current()), timeZone_(TimeZone::systemTimeZone()) {}

DateFormatter::~DateFormatter() = default;

void DateFormatter::setDateFormat(std::string pattern) {
    std::lock_guard<std::mutex> lock(mutex_);
    pattern_ = std::move(pattern);
    icuFormat_.reset();
}

std::string DateFormatter::dateFormat() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return pattern_;
}

void DateFormatter::setLocale(const Locale& locale) {
    std::lock_guard<std::mutex> lock(mutex_);
    locale_ = locale;
    icuFormat_.reset();
}

Locale DateFormatter::locale() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return locale_;
}

void DateFormatter::setTimeZone(const TimeZone& zone) {
    std::lock_guard<std::mutex> lock(mutex_);
    timeZone_ = zone;
    icuFormat_.reset();
}

TimeZone DateFormatter::timeZone() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return timeZone_;
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
    std::string result;
    text.toUTF8String(result);
    return result;
}

icu::SimpleDateFormat* DateFormatter::icuFormatLocked() const {
    if (!icuFormat_) {
        UErrorCode status = U_ZERO_ERROR;
        auto format = std::make_unique<icu::SimpleDateFormat>(
            icu::UnicodeString::fromUTF8(pattern_), locale_.icuLocale(), status);
        if (U_FAILURE(status)) {
            return nullptr;
        }
        format->setTimeZone(timeZone_.icuTimeZone());
        icuFormat_ = std::move(format);
    }
    return icuFormat_.get();
}

}  // namespace velmora

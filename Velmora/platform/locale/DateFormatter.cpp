#include "Velmora/platform/locale/DateFormatter.h"

#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unicode/calendar.h>
#include <unicode/decimfmt.h>
#include <unicode/dtptngen.h>
#include <unicode/numfmt.h>
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

// ICU's number reader for the fields of a run of abutting numeric fields, as ICU makes it
// for every such field it reads: the formatter's own reader with negative numbers turned
// off (a negative prefix no text holds, U+AB00). Not a DecimalFormat, so that ICU uses it
// as it is instead of copying it again.
class AbuttingNumberReader final : public icu::NumberFormat {
  public:
    explicit AbuttingNumberReader(std::unique_ptr<icu::DecimalFormat> reader)
        : reader_(std::move(reader)) {}

    static std::unique_ptr<AbuttingNumberReader> of(const icu::NumberFormat& base) {
        const auto* decimal = dynamic_cast<const icu::DecimalFormat*>(&base);
        if (decimal == nullptr) {
            return nullptr;
        }
        std::unique_ptr<icu::DecimalFormat> reader(decimal->clone());
        if (!reader) {
            return nullptr;
        }
        static constexpr char16_t kNoNegativePrefix[] = {0xAB00, 0};
        reader->setNegativePrefix(icu::UnicodeString(kNoNegativePrefix));
        return std::make_unique<AbuttingNumberReader>(std::move(reader));
    }

    using icu::NumberFormat::format;
    using icu::NumberFormat::parse;

    AbuttingNumberReader* clone() const override {
        std::unique_ptr<icu::DecimalFormat> reader(reader_->clone());
        return reader ? new AbuttingNumberReader(std::move(reader)) : nullptr;
    }
    bool operator==(const icu::Format& other) const override {
        const auto* same = dynamic_cast<const AbuttingNumberReader*>(&other);
        // Called by name: C++20 also tries the reversed operands, and clang calls ICU's
        // member operator with them ambiguous.
        return same != nullptr && reader_->operator==(*same->reader_);
    }
    icu::UnicodeString& format(double number, icu::UnicodeString& appendTo,
                               icu::FieldPosition& pos) const override {
        return reader_->format(number, appendTo, pos);
    }
    icu::UnicodeString& format(int32_t number, icu::UnicodeString& appendTo,
                               icu::FieldPosition& pos) const override {
        return reader_->format(number, appendTo, pos);
    }
    icu::UnicodeString& format(int64_t number, icu::UnicodeString& appendTo,
                               icu::FieldPosition& pos) const override {
        return reader_->format(number, appendTo, pos);
    }
    void parse(const icu::UnicodeString& text, icu::Formattable& result,
               icu::ParsePosition& position) const override {
        reader_->parse(text, result, position);
    }
    // The settings ICU gives a date field's reader or writer reach the wrapped one.
    void setGroupingUsed(UBool on) override {
        icu::NumberFormat::setGroupingUsed(on);
        reader_->setGroupingUsed(on);
    }
    void setParseIntegerOnly(UBool on) override {
        icu::NumberFormat::setParseIntegerOnly(on);
        reader_->setParseIntegerOnly(on);
    }
    void setMinimumIntegerDigits(int32_t digits) override {
        icu::NumberFormat::setMinimumIntegerDigits(digits);
        reader_->setMinimumIntegerDigits(digits);
    }
    void setMaximumIntegerDigits(int32_t digits) override {
        icu::NumberFormat::setMaximumIntegerDigits(digits);
        reader_->setMaximumIntegerDigits(digits);
    }
    void setMinimumFractionDigits(int32_t digits) override {
        icu::NumberFormat::setMinimumFractionDigits(digits);
        reader_->setMinimumFractionDigits(digits);
    }
    void setMaximumFractionDigits(int32_t digits) override {
        icu::NumberFormat::setMaximumFractionDigits(digits);
        reader_->setMaximumFractionDigits(digits);
    }
    UClassID getDynamicClassID() const override { return getStaticClassID(); }
    static UClassID getStaticClassID() {
        static const char id = 0;
        return const_cast<char*>(&id);
    }

  private:
    std::unique_ptr<icu::DecimalFormat> reader_;
};

// The field letters that stand only inside runs of abutting numeric fields of the
// pattern (ICU's numeric fields: digit-only fields, and month and local weekday numbers
// of one or two letters), for fields that read digits only and for month numbers. A
// month number in a run is read by the same copied reader as a digit field; when its
// text is a name instead, ICU matches names and no number reader takes part.
std::u16string abuttingOnlyFields(const icu::UnicodeString& pattern) {
    static constexpr std::u16string_view kDigitsOnly = u"yYudDHhKkmsS";
    struct Field {
        char16_t letter;
        int32_t width;
        bool abutsNext;
    };
    std::vector<Field> fields;
    const auto isLetter = [](char16_t c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
    };
    for (int32_t i = 0; i < pattern.length();) {
        const char16_t c = pattern.charAt(i);
        if (c == u'\'') {
            const int32_t close = pattern.indexOf(u'\'', i + 1);
            i = close < 0 ? pattern.length() : close + 1;
            if (!fields.empty()) {
                fields.back().abutsNext = false;
            }
            continue;
        }
        int32_t end = i;
        while (end < pattern.length() && pattern.charAt(end) == c) {
            ++end;
        }
        if (isLetter(c)) {
            fields.push_back({c, end - i, end < pattern.length() && isLetter(pattern.charAt(end))});
        }
        i = end;
    }
    const auto numeric = [&](const Field& f) {
        return kDigitsOnly.find(f.letter) != std::u16string_view::npos ||
               (std::u16string_view(u"MLec").find(f.letter) != std::u16string_view::npos &&
                f.width <= 2);
    };
    std::u16string inRuns;
    std::u16string alone;
    for (std::size_t i = 0; i < fields.size();) {
        std::size_t end = i + 1;
        if (numeric(fields[i])) {
            while (end < fields.size() && fields[end - 1].abutsNext && numeric(fields[end])) {
                ++end;
            }
        }
        for (std::size_t j = i; j < end; ++j) {
            (end - i > 1 ? inRuns : alone).push_back(fields[j].letter);
        }
        i = end;
    }
    std::u16string result;
    for (const char16_t letter : inRuns) {
        if ((kDigitsOnly.find(letter) != std::u16string_view::npos || letter == u'M' ||
             letter == u'L') &&
            alone.find(letter) == std::u16string::npos &&
            result.find(letter) == std::u16string::npos) {
            result.push_back(letter);
        }
    }
    return result;
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
    result->oneAbuttingReader_ = oneAbuttingReader_;
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

void DateFormatter::setReadsAbuttingNumbersWithOneReader(bool on) {
    std::lock_guard<std::mutex> lock(mutex_);
    oneAbuttingReader_ = on;
    icuFormat_.reset();
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
        if (oneAbuttingReader_) {
            icu::UnicodeString pattern;
            format->toPattern(pattern);
            const std::u16string fields = abuttingOnlyFields(pattern);
            std::unique_ptr<AbuttingNumberReader> reader =
                fields.empty() ? nullptr : AbuttingNumberReader::of(*format->getNumberFormat());
            if (reader) {
                UErrorCode adopted = U_ZERO_ERROR;
                format->adoptNumberFormat(
                    icu::UnicodeString(fields.data(), static_cast<int32_t>(fields.size())),
                    reader.release(), adopted);
            }
        }
        icuFormat_ = std::move(format);
        icuFormatLocale_ = locale->getName();
    }
    return icuFormat_.get();
}

}  // namespace velmora

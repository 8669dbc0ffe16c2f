// The quick-entry parser: the compact forms first (two expressions), then the keyword
// table, the date detector, and the formatter attempts of DateParserPlan in their order.
// The first step that yields a date ends the parse.
#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <string>
#include <utility>

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "Velmora/dates/DateCalendars.h"
#include "Velmora/dates/DateDetector.h"
#include "Velmora/dates/DateParserPlan.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/dates/internal/CivilCalendar.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraDAO.h"
#include "Velmora/text/NSString-More.h"

namespace velmora {
namespace {

constexpr const char* kCountAndUnit =
    R"(^(\d+)(days|day|d|weeks|week|w|months|month|m|years|year|y|st|nd|th|rd)\s*)"
    R"(((\d{0,2}\s*:?\s*\d{0,2})\s*((?:[ap]m?))?)\s*$)";
constexpr const char* kWeekdayAndTime =
    R"(^(sunday|sun|monday|mon|tuesday|tues|tue|wednesday|wed|thursday|thur|thu|friday|fri|)"
    R"(saturday|sat)\s*((\d{0,2}\s*:?\s*\d{0,2})\s*((?:[ap]m?))?)\s*$)";

// What a compact form read: its lead (the count, or the weekday name), its unit (count
// forms only), and the captures of its time part.
struct CompactParts {
    std::string lead;
    std::string unit;
    std::string digits;  // up to two digits, an optional ":", up to two digits, blanks kept
    std::string marker;  // "a", "p", "am", "pm" or empty
};

// The blanks the expressions' \s reads, as far as a text of printable ASCII can hold them.
bool isCompactBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\f' || c == '\r';
}

// Whether the hand-written reading below decides the text exactly as the expressions
// would: printable ASCII and the blanks above only (the text is lower-cased, so that
// ignoring case changes nothing). Other bytes (other scripts' digits and
// blanks, letters that fold to ASCII ones, control characters) go to the expressions.
bool scannable(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return (c >= 0x20 && c < 0x7F) || isCompactBlank(c); });
}

// The time part both expressions end with, read as their backtracking reads it: every
// element takes as much as it can, and a text that this greedy reading does not consume
// whole has no reading at all (digits need the two digit slots in order, and no other
// element can take a ":" or a marker letter left over).
bool readCompactTime(std::string_view rest, CompactParts& parts) {
    std::size_t i = 0;
    const auto blanks = [&] {
        while (i < rest.size() && isCompactBlank(rest[i])) {
            ++i;
        }
    };
    const auto upToTwoDigits = [&] {
        for (int n = 0; n < 2 && i < rest.size() && rest[i] >= '0' && rest[i] <= '9'; ++n) {
            ++i;
        }
    };
    blanks();
    const std::size_t digitsBegin = i;
    upToTwoDigits();
    blanks();
    if (i < rest.size() && rest[i] == ':') {
        ++i;
    }
    blanks();
    upToTwoDigits();
    const std::size_t digitsEnd = i;
    blanks();
    std::size_t markerBegin = i;
    if (i < rest.size() && (rest[i] == 'a' || rest[i] == 'p')) {
        ++i;
        if (i < rest.size() && rest[i] == 'm') {
            ++i;
        }
    }
    const std::size_t markerEnd = i;
    blanks();
    if (i != rest.size()) {
        return false;
    }
    parts.digits.assign(rest.substr(digitsBegin, digitsEnd - digitsBegin));
    parts.marker.assign(rest.substr(markerBegin, markerEnd - markerBegin));
    return true;
}

// The first of the alternatives (in the expression's order) at the start of `text` after
// which the time part reads; its captures in `parts`.
template <std::size_t N>
bool readAlternative(std::string_view text, const std::array<std::string_view, N>& alternatives,
                     std::string& taken, CompactParts& parts) {
    for (const std::string_view word : alternatives) {
        if (text.substr(0, word.size()) == word &&
            readCompactTime(text.substr(word.size()), parts)) {
            taken.assign(word);
            return true;
        }
    }
    return false;
}

// What the expression reads in a text the scanner leaves to it: the captures numbered in
// `groups` (lead, unit, digits, marker; 0 for a part the form lacks), or nothing when the
// expression does not match.
std::optional<CompactParts> readByExpression(std::string_view text, const char* expression,
                                             const std::array<std::size_t, 4>& groups) {
    const std::vector<std::string> found =
        captureComponentsMatchedByRegex(text, expression, RegexOptions::CaseInsensitive);
    if (found.size() <= *std::max_element(groups.begin(), groups.end())) {
        return std::nullopt;
    }
    const auto group = [&found](std::size_t index) {
        return index == 0 ? std::string() : found[index];
    };
    return CompactParts{group(groups[0]), group(groups[1]), group(groups[2]), group(groups[3])};
}

std::optional<CompactParts> readCountAndUnit(std::string_view text) {
    static constexpr std::array<std::string_view, 16> kUnits{
        "days", "day",   "d",    "weeks", "week", "w",  "months", "month",
        "m",    "years", "year", "y",     "st",   "nd", "th",     "rd"};
    if (!scannable(text)) {
        return readByExpression(text, kCountAndUnit, {1, 2, 4, 5});
    }
    std::size_t count = 0;
    while (count < text.size() && text[count] >= '0' && text[count] <= '9') {
        ++count;
    }
    CompactParts parts;
    if (count == 0 || !readAlternative(text.substr(count), kUnits, parts.unit, parts)) {
        return std::nullopt;
    }
    parts.lead.assign(text.substr(0, count));
    return parts;
}

std::optional<CompactParts> readWeekdayAndTime(std::string_view text) {
    static constexpr std::array<std::string_view, 16> kNames{
        "sunday", "sun",      "monday", "mon", "tuesday", "tues", "tue",      "wednesday",
        "wed",    "thursday", "thur",   "thu", "friday",  "fri",  "saturday", "sat"};
    if (!scannable(text)) {
        return readByExpression(text, kWeekdayAndTime, {1, 0, 3, 4});
    }
    CompactParts parts;
    if (!readAlternative(text, kNames, parts.lead, parts)) {
        return std::nullopt;
    }
    return parts;
}

// The earliest year a parsed date may have; later steps' dates before it take this year.
constexpr int kFirstPlausibleYear = 2001;
constexpr int kPlausibleYearsAhead = 25;

std::string lowerCased(std::string_view text) {
    std::string lower(text);
    bool ascii = true;
    for (char& c : lower) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            ascii = false;
            break;
        }
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (ascii) {
        return lower;
    }
    icu::UnicodeString wide = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    wide.toLower(icu::Locale::getRoot());
    lower.clear();
    wide.toUTF8String(lower);
    return lower;
}

// Leading blanks skipped, then the leading digits as a number (saturating); 0 without
// digits, as the platform's intValue reads text.
int intValue(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) {
        ++i;
    }
    long long value = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
        value = std::min<long long>(value * 10 + (text[i] - '0'), INT_MAX);
    }
    return static_cast<int>(value);
}

// The time part of a compact form added to its 00:00 date. `pushIfPast`: a weekday that
// is today, read on a 24-hour clock, moves a week on when the time has passed.
std::optional<Date> withCompactTime(const CivilCalendar& civil, Date date,
                                    const std::string& digits, const std::string& marker,
                                    bool pushIfPast) {
    std::string t = replaceAll(digits, ":", "");
    const std::string a = lowerCased(marker);
    int hours = 0;
    int minutes = 0;
    if (!a.empty() && (a[0] == 'a' || a[0] == 'p')) {
        if (t.size() > 1 && t[0] == '0') {
            t.erase(0, 1);
        }
        if (t.size() == 1 || t.size() == 2) {
            hours = intValue(t);
        } else if (t.size() == 3) {
            hours = intValue(t.substr(0, 1));
            minutes = intValue(t.substr(1, 2));
        } else if (t.size() == 4) {
            hours = intValue(t.substr(0, 2));
            minutes = intValue(t.substr(2, 2));
        }
        if (a[0] == 'p' && hours >= 1 && hours <= 11) {
            hours += 12;
        } else if (a[0] == 'a' && hours == 12) {
            hours = 0;
        }
        return civil.dateByAddingHours(date, hours, minutes);
    }
    if (t.empty() || t.size() > 4) {
        return date;
    }
    if (t.size() == 4) {
        hours = intValue(t.substr(0, 2));
        minutes = intValue(t.substr(2, 2));
    } else if (t.size() == 3) {
        hours = intValue(t.substr(0, 1));
        minutes = intValue(t.substr(1, 2));
    } else {
        hours = intValue(t);
    }
    std::optional<Date> timed = civil.dateByAddingHours(date, hours, minutes);
    // Deliberately only here: "mon 9" typed on a Monday at 10:00 means next Monday, while
    // "mon 9am" keeps today's 09:00 in the past, as users of the original came to expect.
    if (timed && pushIfPast && *timed < Clock::now()) {
        timed = getDateByAddingDays(*timed, 7, 0, 0, 0);
    }
    return timed;
}

std::optional<Date> compactCountAndUnit(const CompactParts& parts, Date today,
                                        const Calendar& calendar) {
    const CivilCalendar civil(calendar);
    const int count = intValue(parts.lead);
    const std::string& unit = parts.unit;
    const Date now = Clock::now();
    std::optional<Date> date;
    if (unit == "d" || unit == "day" || unit == "days") {
        date = civil.dateByAddingDays(now, count, 0, 0, 0, 0);
    } else if (unit == "w" || unit == "week" || unit == "weeks") {
        date = civil.dateByAddingDays(now, 0, count, 0, 0, 0);
    } else if (unit == "m" || unit == "month" || unit == "months") {
        date = civil.dateByAddingDays(now, 0, 0, count, 0, 0);
    } else if (unit == "y" || unit == "year" || unit == "years") {
        date = civil.dateByAddingDays(now, 0, 0, 0, count, 0);
    } else {  // "st", "nd", "rd", "th": a day of this month while it is to come, else next
        const int thisDay = civil.component(CalendarUnit::Day, today);
        date = civil.dateFromDay(
            civil.component(CalendarUnit::Year, today),
            civil.component(CalendarUnit::Month, today) + (thisDay < count ? 0 : 1), count);
    }
    if (!date) {
        return std::nullopt;
    }
    return withCompactTime(civil, *date, parts.digits, parts.marker, false);
}

std::optional<Date> compactWeekday(const CompactParts& parts, Date today,
                                   const Calendar& calendar) {
    static constexpr std::array<const char*, 7> kWeekdays{"sun", "mon", "tue", "wed",
                                                          "thu", "fri", "sat"};
    const std::string prefix = parts.lead.substr(0, 3);
    int target = 0;
    for (std::size_t i = 0; i < kWeekdays.size(); ++i) {
        if (prefix == kWeekdays[i]) {
            target = static_cast<int>(i) + 1;
        }
    }
    const CivilCalendar civil(calendar);
    const int weekday = civil.component(CalendarUnit::Weekday, today);
    const int ahead = target >= weekday ? target - weekday : 7 - weekday + target;
    const std::optional<Date> date = civil.dateByAddingDays(today, ahead, 0, 0, 0, 0);
    if (!date) {
        return std::nullopt;
    }
    return withCompactTime(civil, *date, parts.digits, parts.marker, ahead == 0);
}

std::optional<Date> withYear(Date date, int year, const Calendar& calendar) {
    return getDateBySettingDays(date, 0, 0, 0, year, &calendar);
}

// A date with its year and the year of now in the same calendar, so that later rules
// need not compute them again.
struct DatedYear {
    Date date;
    int year;
    int thisYear;
};

// The detected date, corrected as quick entry needs it.
std::optional<DatedYear> fromDetector(const std::string& text, const Calendar& calendar, Date now,
                                      bool monthFirst) {
    const DateDetector detector(calendar, now, monthFirst);
    const std::optional<DetectedDate> found = detector.firstMatch(text);
    if (!found) {
        return std::nullopt;
    }
    // The texts are made only when a logger wants them: describing a date costs a
    // calendar computation.
    if (Log::isEnabled(static_cast<int>(LogFlag::Debug))) {
        log::debug("[DATE PARSER] Detected Date: {}", found->date.description());
        log::debug("[DATE PARSER] Detected Time Zone: {}",
                   found->timeZone ? found->timeZone->name() : std::string("(null)"));
        log::debug("[DATE PARSER] Detected Duration: {:f}", found->duration);
    }
    std::optional<Date> date = found->date;
    const CivilCalendar civil(calendar);
    // A bare number is never taken as an hour.
    const bool hasTime = civil.component(CalendarUnit::Hour, *date) != 0 ||
                         civil.component(CalendarUnit::Minute, *date) != 0 ||
                         civil.component(CalendarUnit::Second, *date) != 0;
    if (hasTime && text.find("am") == std::string::npos && text.find("pm") == std::string::npos &&
        text.find(':') == std::string::npos) {
        date = civil.startOfDay(*date);
        if (!date) {
            return std::nullopt;
        }
    }
    // "dec 20" typed early in January means the coming December.
    const int thisYear = civil.component(CalendarUnit::Year, now);
    const int year = civil.component(CalendarUnit::Year, *date);
    const auto withinTwoMonths = [&] {
        const long daysAgo = daysToDate(*date, now);
        return daysAgo >= 0 && daysAgo <= 60;
    };
    if (year == thisYear - 1 && withinTwoMonths() &&
        text.find(std::to_string(year)) == std::string::npos) {
        date = withYear(*date, thisYear, calendar);
        if (!date) {
            return std::nullopt;
        }
        return DatedYear{*date, civil.component(CalendarUnit::Year, *date), thisYear};
    }
    return DatedYear{*date, year, thisYear};
}

// A formatter hit turned into the attempt's date.
std::optional<Date> finish(const ParseAttempt& attempt, Date parsed, const Calendar& calendar,
                           Date now) {
    const auto atTime = [&](int daysAhead) -> std::optional<Date> {
        const std::optional<Date> today = calendar.startOfDay(now);
        if (!today) {
            return std::nullopt;
        }
        const DateComponents time = calendar.components(kTimeUnits, parsed);
        const std::optional<Date> day =
            daysAhead == 0 ? today : getDateByAddingDays(*today, daysAhead, 0, 0, 0, -1, &calendar);
        return day ? calendar.dateBySettingHour(*time.hour, *time.minute, 0, *day) : std::nullopt;
    };
    switch (attempt.finish) {
        case ParseFinish::DayStart:
            return dateJustAtStartOfDay(parsed, &calendar);
        case ParseFinish::AsParsed:
            return parsed;
        case ParseFinish::ThisMonthAndYear:
            return getDateBySettingDays(parsed, 0, 0, calendar.component(CalendarUnit::Month, now),
                                        calendar.component(CalendarUnit::Year, now), &calendar);
        case ParseFinish::ThisYear:
            return withYear(parsed, calendar.component(CalendarUnit::Year, now), calendar);
        case ParseFinish::Weekday: {
            const int target = calendar.component(CalendarUnit::Weekday, parsed);
            const int weekday = calendar.component(CalendarUnit::Weekday, now);
            return atTime(target >= weekday ? target - weekday : 7 - weekday + target);
        }
        case ParseFinish::TodayAtTime:
            return atTime(0);
        case ParseFinish::TomorrowAtTime:
            return atTime(1);
    }
    return std::nullopt;
}

// A year before 2001 or more than 25 years ahead becomes this year.
std::optional<Date> plausible(const DatedYear& dated, const Calendar& calendar, Date now) {
    const auto [date, year, thisYear] = dated;
    // The horizon's year is at least one short of 25 years on, so a year up to there
    // needs no date arithmetic.
    if (year >= kFirstPlausibleYear && year < thisYear + kPlausibleYearsAhead) {
        return date;
    }
    const std::optional<Date> horizon =
        getDateByAddingDays(now, 0, 0, 0, kPlausibleYearsAhead, -1, &calendar);
    const int lastYear = horizon ? calendar.component(CalendarUnit::Year, *horizon)
                                 : thisYear + kPlausibleYearsAhead;
    if (year < kFirstPlausibleYear || year > lastYear) {
        return withYear(date, thisYear, calendar);
    }
    return date;
}

struct Keyword {
    const char* text;
    int days, weeks, months;
};

constexpr std::array kKeywords{Keyword{"today", 0, 0, 0},      Keyword{"tomorrow", 1, 0, 0},
                               Keyword{"yesterday", -1, 0, 0}, Keyword{"next week", 0, 1, 0},
                               Keyword{"last week", 0, -1, 0}, Keyword{"next month", 0, 0, 1},
                               Keyword{"day after", 2, 0, 0}};

}  // namespace

std::optional<Date> tryParsingXDayXXXXFormat(std::string_view input) {
    if (input.empty()) {
        return std::nullopt;
    }
    std::string text = lowerCased(input);
    for (const char* month : {"may", "march", "dec", "december"}) {
        if (text.find(month) != std::string::npos) {
            return std::nullopt;
        }
    }
    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    const std::optional<Date> today = dao.getTodayAtStartOfDay();
    if (!today) {
        return std::nullopt;
    }
    if (text == "tod") {
        return today;
    }
    const std::shared_ptr<Calendar> calendar = dao.getThreadSafeNSCalendar(false);
    if (text == "tom") {
        return CivilCalendar(*calendar).dateByAddingDays(*today, 1, 0, 0, 0, 0);
    }
    for (const char* filler : {" at ", " around ", " near "}) {
        text = replaceAll(std::move(text), filler, "");
    }
    // Both expressions are anchored at the start: a count needs a digit there, a weekday
    // one of the letters weekdays begin with. Other scripts' digits and letters that fold
    // to these (the long s) leave the decision to ICU.
    const unsigned char first = text.empty() ? 0 : static_cast<unsigned char>(text.front());
    const bool outsideAscii = first >= 0x80;
    if (outsideAscii || std::isdigit(first) != 0) {
        if (const std::optional<CompactParts> unit = readCountAndUnit(text)) {
            return compactCountAndUnit(*unit, *today, *calendar);
        }
    }
    if (outsideAscii ||
        (first != 0 &&
         std::string_view("smtwfSMTWF").find(static_cast<char>(first)) != std::string_view::npos)) {
        if (const std::optional<CompactParts> weekday = readWeekdayAndTime(text)) {
            return compactWeekday(*weekday, *today, *calendar);
        }
    }
    return std::nullopt;
}

DateParseResult explainParsingDateForString(std::string_view input, const Calendar* passed) {
    DateParseResult result;
    std::string text = replaceAll(lowerCased(trim(input)), "\"", "");
    if (text.empty()) {
        return result;
    }
    if ((result.date = tryParsingXDayXXXXFormat(text))) {
        result.step = DateParseStep::Compact;
        return result;
    }
    log::debug("No shortcut found, looking for date...");
    for (const char* separator : {" at ", " around ", " @ ", "'", ",", ";", "?", "+"}) {
        text = replaceAll(std::move(text), separator, " ");
    }
    text = replaceAll(std::move(text), "  ", " ");

    const CalendarRef calendar(passed);
    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    for (const Keyword& keyword : kKeywords) {
        if (text == keyword.text) {
            const std::optional<Date> today = dao.getTodayAtStartOfDay();
            if (today) {
                result.date = getDateByAddingDays(*today, keyword.days, keyword.weeks,
                                                  keyword.months, 0, 0, calendar.get());
                result.step = DateParseStep::Keyword;
            }
            return result;
        }
    }

    const Date now = Clock::now();
    // The plan reads the region's order the same way; it is fetched only when the
    // detector found nothing.
    if (const std::optional<DatedYear> detected =
            fromDetector(text, *calendar, now, DateDetector::regionIsMonthFirst())) {
        result.date = plausible(*detected, *calendar, now);
        result.step = DateParseStep::Detector;
        return result;
    }
    const DateParserPlan& plan = DateParserPlan::forCurrentSettings();
    const TextProfile profile = TextProfile::of(text, plan.words());
    for (const ParseAttempt& attempt : plan.attempts()) {
        if (!profile.mayParse(attempt.needs)) {
            continue;
        }
        const std::optional<Date> parsed = attempt.formatter->dateFromString(text);
        if (!parsed) {
            continue;
        }
        if (attempt.logged) {
            log::debug("[DATE PARSER] Parsed date '{}' using Format: {}", text, attempt.pattern);
        }
        if (const std::optional<Date> date = finish(attempt, *parsed, *calendar, now)) {
            const CivilCalendar civil(*calendar);
            result.date = plausible(DatedYear{*date, civil.component(CalendarUnit::Year, *date),
                                              civil.component(CalendarUnit::Year, now)},
                                    *calendar, now);
            result.step = attempt.step;
            result.pattern = attempt.pattern;
            return result;
        }
    }
    return result;
}

std::optional<Date> tryParsingDateForString(std::string_view text, const Calendar* calendar) {
    return explainParsingDateForString(text, calendar).date;
}

const char* dateParseStepName(DateParseStep step) {
    switch (step) {
        case DateParseStep::None:
            return "";
        case DateParseStep::Compact:
            return "compact";
        case DateParseStep::Keyword:
            return "keyword";
        case DateParseStep::Detector:
            return "detector";
        case DateParseStep::Style:
            return "style";
        case DateParseStep::Ordinal:
            return "ordinal";
        case DateParseStep::Pattern:
            return "pattern";
    }
    return "";
}

}  // namespace velmora

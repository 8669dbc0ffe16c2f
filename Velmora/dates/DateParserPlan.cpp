// The attempts of the quick-entry parser in their fixed order. Each group's patterns are
// listed as the users' texts came to need them; the order is part of the behaviour (the
// first pattern that reads a text wins), so entries are never sorted or merged, except
// that a pattern already in the list is not added again: it failed the first time and
// would fail the same way.
#include "Velmora/dates/DateParserPlan.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <map>
#include <utility>

#include "Velmora/dates/DateDetector.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

// Turned into the locale's pattern; a hit keeps only its day. The last entry is ours.
constexpr std::array<const char*, 46> kYearTemplates{"yMMMd",
                                                     "yMd",
                                                     "y/M/d",
                                                     "y/M/d hha",
                                                     "y/M/d hhmma",
                                                     "y/M/d hh:mma",
                                                     "y/M/d HHmm",
                                                     "y-M-d",
                                                     "y-M-d hha",
                                                     "y-M-d hhmma",
                                                     "y-M-d hh:mma",
                                                     "y-M-d HHmm",
                                                     "yyyyMd",
                                                     "yyyy/M/d",
                                                     "yyyy/M/d hha",
                                                     "yyyy/M/d hhmma",
                                                     "yyyy/M/d hh:mma",
                                                     "yyyy/M/d HHmm",
                                                     "yyyy-M-d",
                                                     "yyyy-M-d hha",
                                                     "yyyy-M-d hhmma",
                                                     "yyyy-M-d hh:mma",
                                                     "yyyy-M-d HHmm",
                                                     "yyyyMMMd",
                                                     "yyyy/MMM/d",
                                                     "yyyy/MMM/d hha",
                                                     "yyyy/MMM/d hhmma",
                                                     "yyyy/MMM/d hh:mma",
                                                     "yyyy/MMM/d HHmm",
                                                     "yyyy-MMM-d",
                                                     "yyyy-MMM-d hha",
                                                     "yyyy-MMM-d hhmma",
                                                     "yyyy-MMM-d hh:mma",
                                                     "yyyy-MMM-d HHmm",
                                                     "yyMMMd",
                                                     "yy/MMM/d",
                                                     "yy/MMM/d hha",
                                                     "yy/MMM/d hhmma",
                                                     "yy/MMM/d hh:mma",
                                                     "yy/MMM/d HHmm",
                                                     "yy-MMM-d",
                                                     "yy-MMM-d hha",
                                                     "yy-MMM-d hhmma",
                                                     "yy-MMM-d hh:mma",
                                                     "yy-MMM-d HHmm",
                                                     "yMMMMd"};

// Turned into the locale's pattern, time kept; a hit gets this year.
constexpr std::array kNoYearTemplates{
    "MMddhha",  "Mdhha",     "Mdhhmm",    "MMddhhmm",   "yMMddhhmm", "yMMddhha",  "MMddHH",
    "yyMMMdd",  "MMMd",      "MMMdd",     "Md",         "MdH",       "yMMMdHHmm", "yMMMdhhmma",
    "MMMdHHmm", "MMMdhhmma", "MMMddHHmm", "MMMddhhmma", "MMMddhha"};

constexpr std::array kDayMonthWithTime{
    "dd MMM HH:mm", "dd MMM HHmm",  "MdHH",        "Mdhha",      "MMMdd",         "ddMMM hha",
    "ddMMM HHmm",   "ddMMM hh:mma", "ddMMM HH:mm", "dd/MM HHmm", "dd MMM hh:mm a"};

constexpr std::array kWeekdayNames{"EEE", "EEEE", "EE"};
constexpr std::array kWeekdayTimes{"HHmm", "HH:mm", "hh:mma", "h:mm a", "hha", "hh a"};

constexpr std::array kDayMonth{"dd MMM",
                               "dd MMM yy",
                               "dd MM",
                               "dd MM yy",
                               "dd MMM yy",
                               "dd MMM yy hh:mma",
                               "dd MMM yy HHmm",
                               "dd MMM yy HH:mm",
                               "dd MMM yyyy",
                               "dd MMM yyyy hh:mma",
                               "dd MMM yyyy hha",
                               "dd MMM yy hha",
                               "dd MMM yy HH",
                               "dd MM yyyy hh:mma",
                               "dd MMM yyyy HHmm",
                               "dd MMM yy HHmm"};

constexpr std::array kSlashAndBlank{"dd/MM",          "dd/MM/yy",         "dd/MM/yyyy",
                                    "dd/MM/yyyy hha", "dd/MM/yyyy hhmma", "dd/MM/yyyy hh:mma",
                                    "dd/MM hh:mma",   "dd/MM hha",        "dd/MM hhmma",
                                    "dd MMM hha",     "dd MMM ha",        "dd MM hha"};
constexpr std::array kLoose{"dd/MM hh:mma", "dd/MM hha", "dd/MM hhmma"};

constexpr std::array kTimeWithMarker{"hh:mma", "HH:mm", "hhmma", "hha"};

constexpr std::array kRemainingDayMonth{"dd MM ha",      "dd/MM HHmm",   "dd MMM hhmma",
                                        "dd MMM hhmm a", "dd MMM hhmm",  "dd MMM HHmm",
                                        "dd MMM HH",     "dd MMM HH:mm", "dd MMM hh:mma"};

constexpr std::array kTodayTimes{"'today' hh:mma", "'today' hha",   "'today' hhmma",
                                 "'today' HHmm",   "'today' HH:mm", "'today' HH"};
constexpr std::array kTomorrowTimes{"'tomorrow' hha", "'tomorrow' HH", "'tomorrow' hh:mma",
                                    "'tomorrow' hhmma", "'tomorrow' HHmm"};

// A pattern that begins with a day, a "/" or blank and a month, in month-first regions
// begins with the month instead ("dd/MM HHmm" becomes "MM/dd HHmm"). withNames: a month
// name ("dd MMM") swaps too; otherwise only a month number does.
std::string inRegionOrder(const std::string& pattern, bool monthFirst, bool withNames) {
    if (!monthFirst || pattern.size() < 5 || pattern.compare(0, 2, "dd") != 0 ||
        (pattern[2] != '/' && pattern[2] != ' ') || pattern[3] != 'M') {
        return pattern;
    }
    const std::size_t monthEnd = std::min(pattern.find_first_not_of('M', 3), pattern.size());
    if (monthEnd - 3 != 2 && !withNames) {
        return pattern;
    }
    return pattern.substr(3, monthEnd - 3) + pattern[2] + "dd" + pattern.substr(monthEnd);
}

// The locale's pattern for a template, with "," and ";" as blanks and double blanks
// made single.
std::string localePattern(const char* skeleton, const Locale& locale) {
    std::string pattern = DateFormatter::dateFormatFromTemplate(skeleton, locale);
    std::replace(pattern.begin(), pattern.end(), ',', ' ');
    std::replace(pattern.begin(), pattern.end(), ';', ' ');
    return replaceAll(std::move(pattern), "  ", " ");
}

bool hasYear(const std::string& pattern) {
    return pattern.find('y') != std::string::npos;
}

}  // namespace

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

PatternNeeds PatternNeeds::of(std::string_view pattern) {
    // Pattern letters that read digits only. Every other letter field may read words:
    // ICU reads a month name even for a numeric month ("MM" takes "dec").
    static constexpr std::string_view kNumeric = "yYudDHhKkmsS";
    // Fields that read words only (weekday names, markers, eras).
    static constexpr std::string_view kWordsOnly = "EabBG";
    PatternNeeds needs;
    for (std::size_t i = 0; i < pattern.size();) {
        const char c = pattern[i];
        if (c == '\'') {
            const std::size_t close = pattern.find('\'', i + 1);
            const std::size_t end = close == std::string_view::npos ? pattern.size() : close;
            bool inWord = false;
            for (std::size_t j = i + 1; j < end; ++j) {
                const bool letter = std::isalpha(static_cast<unsigned char>(pattern[j])) != 0;
                needs.takesLetters = needs.takesLetters || letter;
                needs.needsWord = needs.needsWord || letter;
                needs.wordCapacity += letter && !inWord ? 1 : 0;
                inWord = letter;
            }
            i = end + 1;
            continue;
        }
        std::size_t run = i;
        while (run < pattern.size() && pattern[run] == c) {
            ++run;
        }
        if (std::isalpha(static_cast<unsigned char>(c))) {
            if (kNumeric.find(c) != std::string_view::npos) {
                ++needs.numericFields;
            } else {
                needs.takesLetters = true;
                ++needs.wordCapacity;
            }
            if (kWordsOnly.find(c) == std::string_view::npos) {
                ++needs.digitRunCapacity;
            } else {
                needs.needsWord = true;
            }
        }
        i = run;
    }
    return needs;
}

TextProfile TextProfile::of(std::string_view text) {
    TextProfile profile;
    int run = 0;
    bool other = false;
    char previous = ' ';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool digit = std::isdigit(byte) != 0;
        const bool letter = std::isalpha(byte) != 0;
        other = other || byte >= 0x80;
        profile.letters = profile.letters || letter;
        // Leading zeros do not count: ICU reads "0005" as 5.
        run = !digit ? 0 : run + (run > 0 || byte != '0' ? 1 : 0);
        profile.digits += digit ? 1 : 0;
        profile.longestRun = std::max(profile.longestRun, run);
        const auto previousByte = static_cast<unsigned char>(previous);
        profile.digitRuns += digit && std::isdigit(previousByte) == 0 ? 1 : 0;
        profile.words += letter && std::isalpha(previousByte) == 0 ? 1 : 0;
        previous = c;
    }
    if (other) {
        return {true, INT_MAX, profile.longestRun, 0, 0, true};
    }
    return profile;
}

void DateParserPlan::add(const DateFormatter& base, DateParseStep step, std::string pattern,
                         ParseFinish finish, bool logged) {
    if (pattern.empty() || std::find(tried_.begin(), tried_.end(), pattern) != tried_.end()) {
        return;
    }
    tried_.push_back(pattern);
    std::unique_ptr<DateFormatter> formatter = base.copy();
    formatter->setDateFormat(pattern);
    const PatternNeeds needs = PatternNeeds::of(pattern);
    attempts_.push_back({step, std::move(pattern), finish, logged, std::move(formatter), needs});
}

void DateParserPlan::addStyle(const DateFormatter& base, DateFormatterStyle date,
                              DateFormatterStyle time, ParseFinish finish) {
    static constexpr std::array kNames{"none", "short", "medium", "long", "full"};
    std::string label = std::string(kNames[static_cast<std::size_t>(date)]) + " date, " +
                        kNames[static_cast<std::size_t>(time)] + " time";
    if (std::find(tried_.begin(), tried_.end(), label) != tried_.end()) {
        return;
    }
    tried_.push_back(label);
    std::unique_ptr<DateFormatter> formatter = base.copy();
    formatter->setDateStyle(date);
    formatter->setTimeStyle(time);
    const PatternNeeds needs = PatternNeeds::of(formatter->dateFormat());
    attempts_.push_back(
        {DateParseStep::Style, std::move(label), finish, false, std::move(formatter), needs});
}

DateParserPlan::DateParserPlan(const DateFormatter& base, bool monthFirst, bool twentyFourHour)
    : monthFirst_(monthFirst) {
    using S = DateFormatterStyle;
    const Locale locale = base.locale();
    const auto pattern = [&](const std::string& p, ParseFinish withYear) {
        add(base, DateParseStep::Pattern, p, hasYear(p) ? withYear : ParseFinish::ThisYear);
    };

    // The locale's own styles.
    addStyle(base, S::Short, S::None, ParseFinish::DayStart);
    addStyle(base, S::Medium, S::None, ParseFinish::DayStart);
    addStyle(base, S::Long, S::None, ParseFinish::DayStart);
    addStyle(base, S::Short, S::Short, ParseFinish::AsParsed);
    addStyle(base, S::Short, S::Medium, ParseFinish::AsParsed);
    addStyle(base, S::Medium, S::Medium, ParseFinish::AsParsed);
    addStyle(base, S::Long, S::None, ParseFinish::AsParsed);

    // Ordinal days; a 12-hour clock reads the 12-hour pattern in place of each 24-hour one.
    for (const char* suffix : {"th", "nd", "rd"}) {
        const std::string day = std::string("dd'") + suffix + "' ";
        for (const char* time : {"HH", "hha", "HHmm"}) {
            add(base, DateParseStep::Ordinal, day + (twentyFourHour ? time : "hha"),
                ParseFinish::ThisMonthAndYear);
        }
    }
    add(base, DateParseStep::Ordinal, "dd'th' hhmma", ParseFinish::ThisMonthAndYear);

    for (const char* skeleton : kYearTemplates) {
        add(base, DateParseStep::Pattern, localePattern(skeleton, locale), ParseFinish::DayStart,
            /*logged=*/true);
    }
    for (const char* skeleton : kNoYearTemplates) {
        add(base, DateParseStep::Pattern, localePattern(skeleton, locale), ParseFinish::ThisYear);
    }
    for (const char* p : kDayMonthWithTime) {
        const std::string named = inRegionOrder(p, monthFirst, false);
        pattern(named, ParseFinish::AsParsed);
        if (named.find("MMM") != std::string::npos) {
            pattern(inRegionOrder(replaceAll(p, "MMM", "MM"), monthFirst, false),
                    ParseFinish::AsParsed);
        }
    }
    for (const char* weekday : kWeekdayNames) {
        for (const char* time : kWeekdayTimes) {
            add(base, DateParseStep::Pattern, std::string(weekday) + " " + time,
                ParseFinish::Weekday);
        }
    }
    // "dd MMM" replaces an earlier parsed year by this one; without a year field the parsed
    // year is always 1970, so the common rule for yearless patterns does it.
    for (const char* p : kDayMonth) {
        const std::string text = p;
        // The one pattern of this group that follows the region.
        const std::string ordered =
            text == "dd MM yyyy hh:mma" && monthFirst ? std::string("MM dd yyyy hh:mma") : text;
        pattern(ordered, ParseFinish::AsParsed);
    }
    for (const char* p : {"HHmm", "HH:mm"}) {
        add(base, DateParseStep::Pattern, p, ParseFinish::TodayAtTime);
    }
    for (const char* p : kSlashAndBlank) {
        pattern(inRegionOrder(p, monthFirst, false), ParseFinish::AsParsed);
    }
    // Blanks before the minutes or the marker made optional.
    for (const char* p : kLoose) {
        std::string loose =
            replaceAll(replaceAll(replaceAll(p, "mm ", "mm"), "h ", "h"), " a", "a");
        pattern(inRegionOrder(loose, monthFirst, false), ParseFinish::AsParsed);
    }
    for (const char* p : kTimeWithMarker) {
        add(base, DateParseStep::Pattern, p, ParseFinish::TodayAtTime);
    }
    for (const char* p : kRemainingDayMonth) {
        pattern(inRegionOrder(p, monthFirst, true), ParseFinish::AsParsed);
        if (std::string(p).find("MMM") != std::string::npos) {
            pattern(inRegionOrder(replaceAll(p, "MMM", "MM"), monthFirst, true),
                    ParseFinish::AsParsed);
        }
    }
    for (const char* p : kTodayTimes) {
        add(base, DateParseStep::Pattern, p, ParseFinish::TodayAtTime);
    }
    for (const char* p : kTomorrowTimes) {
        add(base, DateParseStep::Pattern, p, ParseFinish::TomorrowAtTime);
    }
}

const DateParserPlan& DateParserPlan::forCurrentSettings() {
    // A few plans per thread: a host switching between two locales or zones keeps both.
    static constexpr std::size_t kMaxPlans = 4;
    thread_local std::map<std::string, std::unique_ptr<DateParserPlan>> plans;

    const std::shared_ptr<DateFormatter> local =
        VelmoraDAO::getSharedInstance().getThreadSafeNSDateFormatter(false);
    const bool monthFirst = DateDetector::regionIsMonthFirst();
    const bool twentyFourHour = VelmoraDAO::Is24HourClock();
    std::string key = local->locale().identifier() + '|' + local->timeZone().name() + '|' +
                      (monthFirst ? 'm' : 'd') + (twentyFourHour ? '2' : '1');
    if (const auto found = plans.find(key); found != plans.end()) {
        return *found->second;
    }
    if (plans.size() >= kMaxPlans) {
        plans.clear();
    }
    const std::unique_ptr<DateFormatter> base = local->copy();
    base->setDateStyle(DateFormatterStyle::None);
    base->setTimeStyle(DateFormatterStyle::None);
    std::unique_ptr<DateParserPlan> plan(new DateParserPlan(*base, monthFirst, twentyFourHour));
    return *plans.emplace(std::move(key), std::move(plan)).first->second;
}

}  // namespace velmora

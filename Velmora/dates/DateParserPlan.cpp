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

#include <unicode/dtfmtsym.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

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

namespace {

// The runs of ASCII letters of a name after case folding, as ICU compares names.
void addRuns(const icu::UnicodeString& name, std::vector<std::string>& runs) {
    icu::UnicodeString folded(name);
    folded.foldCase();
    std::string text;
    folded.toUTF8String(text);
    for (std::size_t i = 0; i < text.size();) {
        std::size_t end = i;
        while (end < text.size() && text[end] >= 'a' && text[end] <= 'z') {
            ++end;
        }
        if (end > i && std::find(runs.begin(), runs.end(), text.substr(i, end - i)) == runs.end()) {
            runs.push_back(text.substr(i, end - i));
        }
        i = std::max(end, i + 1);
    }
}

// ICU leaves `count` as it was for some widths (the caller passes 0 then), while the
// array holds the calendar's usual number of names, `usual`.
void addAll(const icu::UnicodeString* names, std::int32_t count, std::int32_t usual,
            std::vector<std::string>& runs) {
    const std::int32_t size = count > 0 ? std::min(count, usual) : usual;
    for (std::int32_t i = 0; names != nullptr && i < size; ++i) {
        addRuns(names[i], runs);
    }
}

// The day-period markers in every width, as the locale writes them at 01:00 and 13:00.
void addMarkers(const icu::Locale& locale, std::vector<std::string>& runs) {
    for (const char* pattern : {"a", "aaaa", "aaaaa"}) {
        UErrorCode status = U_ZERO_ERROR;
        icu::SimpleDateFormat format(icu::UnicodeString(pattern), locale, status);
        if (U_FAILURE(status)) {
            continue;
        }
        format.setTimeZone(*icu::TimeZone::getGMT());
        for (const double hour : {1.0, 13.0}) {
            icu::UnicodeString text;
            format.format(hour * 3600000.0, text);
            addRuns(text, runs);
        }
    }
}

bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

WordSources::WordSources(const Locale& locale) : runs_(kFirstLiteral) {
    const std::shared_ptr<const icu::Locale> icuLocale = locale.icuLocale();
    UErrorCode status = U_ZERO_ERROR;
    const icu::DateFormatSymbols symbols(*icuLocale, status);
    std::int32_t count = 0;
    constexpr std::int32_t kMonthCount = 12;
    constexpr std::int32_t kWeekdayCount = 8;  // index 0 is unused
    constexpr std::int32_t kMarkerCount = 2;
    using Symbols = icu::DateFormatSymbols;
    for (const auto context : {Symbols::FORMAT, Symbols::STANDALONE}) {
        // ICU reads no narrow month name ("s" for September), in any month field.
        for (const auto width : {Symbols::WIDE, Symbols::ABBREVIATED}) {
            count = 0;
            const icu::UnicodeString* months = symbols.getMonths(count, context, width);
            addAll(months, count, kMonthCount, runs_[kMonths]);
        }
        for (const auto width :
             {Symbols::WIDE, Symbols::ABBREVIATED, Symbols::SHORT, Symbols::NARROW}) {
            count = 0;
            const icu::UnicodeString* weekdays = symbols.getWeekdays(count, context, width);
            addAll(weekdays, count, kWeekdayCount, runs_[kWeekdays]);
        }
    }
    count = 0;
    const icu::UnicodeString* markers = symbols.getAmPmStrings(count);
    addAll(markers, count, kMarkerCount, runs_[kMarkers]);
    addMarkers(*icuLocale, runs_[kMarkers]);
    runs_[kNumbers] = {"nan", "e"};
}

std::uint64_t WordSources::literalBit(std::string_view word) {
    icu::UnicodeString folded = icu::UnicodeString::fromUTF8(
        icu::StringPiece(word.data(), static_cast<std::int32_t>(word.size())));
    folded.foldCase();
    std::string text;
    folded.toUTF8String(text);
    // Blanks inside a quoted word may be left out in the text, and the text's own blanks
    // are passed over, so the word is compared without them.
    text.erase(std::remove_if(text.begin(), text.end(),
                              [](char c) { return std::isspace(static_cast<unsigned char>(c)); }),
               text.end());
    const auto found = std::find(literals_.begin(), literals_.end(), text);
    const std::size_t index = static_cast<std::size_t>(found - literals_.begin());
    if (found == literals_.end()) {
        if (kFirstLiteral + literals_.size() >= kMaxSources) {
            return 0;
        }
        literals_.push_back(std::move(text));
    }
    return std::uint64_t{1} << (kFirstLiteral + index);
}

std::uint64_t WordSources::sourcesOf(std::string_view word) const {
    std::uint64_t found = 0;
    for (std::size_t source = 0; source < runs_.size(); ++source) {
        for (const std::string& run : runs_[source]) {
            if (word.substr(0, run.size()) == run) {
                found |= std::uint64_t{1} << source;
                break;
            }
        }
    }
    // A quoted word may be read from any of its letters on (the text may break it with
    // blanks), and the text word may run on past it or end inside it.
    for (std::size_t i = 0; i < literals_.size(); ++i) {
        const std::string& literal = literals_[i];
        for (std::size_t from = 0; from < literal.size(); ++from) {
            const std::size_t common = std::min(literal.size() - from, word.size());
            if (literal.compare(from, common, word.substr(0, common)) == 0) {
                found |= std::uint64_t{1} << (kFirstLiteral + i);
                break;
            }
        }
    }
    return found;
}

namespace {

// The fewest runs of digits the fields can read, for fields given in pattern order as
// letter, width and whether the next pattern character is a field too. ICU reads runs of
// abutting numeric fields (month numbers included) by widths, every other numeric field
// greedily.
template <typename Field>
int fewestDigitRuns(const std::vector<Field>& fields, std::string_view numericOnly) {
    const auto numeric = [&](const Field& f) {
        return numericOnly.find(f.letter) != std::string_view::npos ||
               (std::string_view("MLec").find(f.letter) != std::string_view::npos && f.width <= 2);
    };
    const auto digitsOnly = [&](const Field& f) {
        return numericOnly.find(f.letter) != std::string_view::npos;
    };
    int singles = 0;
    bool groupWithoutSingleAfter = false;
    for (std::size_t i = 0; i < fields.size();) {
        std::size_t end = i + 1;
        if (numeric(fields[i])) {
            while (end < fields.size() && fields[end - 1].abutsNext && numeric(fields[end])) {
                ++end;
            }
        }
        if (end - i == 1) {
            if (digitsOnly(fields[i])) {
                ++singles;
                groupWithoutSingleAfter = false;
            }
        } else if (std::any_of(fields.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                               fields.begin() + static_cast<std::ptrdiff_t>(end), digitsOnly)) {
            // Its last field may stop inside a run that a later field reads on.
            groupWithoutSingleAfter = true;
        }
        i = end;
    }
    return singles + (groupWithoutSingleAfter ? 1 : 0);
}

// The largest value a field may hold on a strict calendar (a little above it where ICU
// wraps a value, such as hour 24 or 12); -1 for fields left unbounded.
int largestValue(char field) {
    switch (field) {
        case 'd':
            return 31;
        case 'M':
        case 'L':
        case 'h':
        case 'K':
            return 12;
        case 'H':
        case 'k':
            return 24;
        case 'm':
        case 's':
            return 60;
        default:
            return -1;
    }
}

}  // namespace

PatternNeeds PatternNeeds::of(std::string_view pattern, WordSources& words) {
    // Pattern letters that read digits only. Every other letter field may read words:
    // ICU reads a month name even for a numeric month ("MM" takes "dec").
    static constexpr std::string_view kNumeric = "yYudDHhKkmsS";
    // Fields that read words only (weekday names, markers, eras).
    static constexpr std::string_view kWordsOnly = "EabBG";
    PatternNeeds needs;
    bool begun = false;
    struct Field {
        char letter;
        std::size_t width;
        bool abutsNext;
    };
    std::vector<Field> fields;
    std::vector<std::pair<char, std::size_t>> literalAt;  // a literal and the fields before it
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
            for (std::size_t j = i + 1; j < end; ++j) {
                literalAt.emplace_back(pattern[j], fields.size());
            }
            if (end > i + 1) {
                const std::uint64_t bit = words.literalBit(pattern.substr(i + 1, end - i - 1));
                needs.wordSources |= bit;
                needs.anyWord = needs.anyWord || bit == 0;
            }
            needs.last = Edge::Any;
            begun = true;
            i = end + 1;
            continue;
        }
        std::size_t run = i;
        while (run < pattern.size() && pattern[run] == c) {
            ++run;
        }
        if (isAsciiLetter(c)) {
            fields.push_back({c, run - i, run < pattern.size() && isAsciiLetter(pattern[run])});
        }
        if (!isAsciiLetter(c)) {
            for (std::size_t j = i; j < run; ++j) {
                literalAt.emplace_back(c, fields.size());
            }
            needs.last = Edge::Any;
            begun = true;
            i = run;
            continue;
        }
        Edge edge = Edge::Any;
        if (kNumeric.find(c) != std::string_view::npos) {
            ++needs.numericFields;
            needs.wordSources |= std::uint64_t{1} << WordSources::kNumbers;
            edge = Edge::Digits;
        } else {
            needs.takesLetters = true;
            ++needs.wordCapacity;
            switch (c) {
                case 'M':
                case 'L':
                    needs.wordSources |= std::uint64_t{1} << WordSources::kMonths |
                                         std::uint64_t{1} << WordSources::kNumbers;
                    break;
                case 'E':
                    needs.wordSources |= std::uint64_t{1} << WordSources::kWeekdays;
                    break;
                case 'c':
                case 'e':
                    needs.wordSources |= std::uint64_t{1} << WordSources::kWeekdays |
                                         std::uint64_t{1} << WordSources::kNumbers;
                    break;
                case 'a':
                    needs.wordSources |= std::uint64_t{1} << WordSources::kMarkers;
                    break;
                default:
                    needs.anyWord = true;
                    break;
            }
        }
        if (kWordsOnly.find(c) == std::string_view::npos) {
            ++needs.digitRunCapacity;
            if (needs.rangeCount >= 0 && needs.rangeCount < kMaxRanges) {
                needs.largest[static_cast<std::size_t>(needs.rangeCount++)] = largestValue(c);
            } else {
                needs.rangeCount = -1;
            }
        } else {
            needs.needsWord = true;
            edge = Edge::Words;
        }
        // The first field of a run of abutting numeric fields ("ddMM") may read nothing:
        // ICU narrows it down to no digits when the run does not fit otherwise.
        if (!begun && (run == pattern.size() || !isAsciiLetter(pattern[run]))) {
            needs.first = edge;
        }
        needs.last = edge;
        begun = true;
        i = run;
    }
    needs.digitRunsNeeded = fewestDigitRuns(fields, kNumeric);
    // Time fields, and to be safe every field that is neither a date nor a name field
    // (zones write "GMT+01:00").
    needs.readsColon = std::any_of(fields.begin(), fields.end(), [](const Field& f) {
        return std::string_view("yYuMLdDEecGQqwWFg").find(f.letter) == std::string_view::npos;
    });
    for (const auto& [literal, fieldsBefore] : literalAt) {
        needs.readsColon = needs.readsColon || literal == ':';
        const std::size_t counted = kCountedLiterals.find(literal);
        if (fieldsBefore < fields.size() && counted != std::string_view::npos) {
            ++needs.literals[counted];
        }
    }
    const bool abuts =
        std::any_of(fields.begin(), fields.end(), [](const Field& f) { return f.abutsNext; });
    if (needs.first == Edge::Digits) {
        needs.firstLargest = largestValue(fields.front().letter);
    }
    if (needs.last == Edge::Digits && !abuts) {
        needs.lastLargest = largestValue(fields.back().letter);
    }
    return needs;
}

// Far above every field's range, and far from overflowing.
constexpr long long kLargeValue = 1'000'000'000'000LL;

TextProfile TextProfile::of(std::string_view text, const WordSources& sources) {
    TextProfile profile;
    int run = 0;
    bool other = false;
    char previous = ' ';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
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
        profile.lastRunValue = !digit ? profile.lastRunValue
                               : std::isdigit(previousByte) != 0
                                   ? std::min(profile.lastRunValue * 10 + (c - '0'), kLargeValue)
                                   : c - '0';
        if (const std::size_t counted = PatternNeeds::kCountedLiterals.find(c);
            counted != std::string_view::npos && profile.literals[counted] < UINT8_MAX) {
            ++profile.literals[counted];
        }
        if (digit && profile.digitRuns <= PatternNeeds::kMaxRanges) {
            long long& value = profile.runValues[static_cast<std::size_t>(profile.digitRuns - 1)];
            value = std::min(value * 10 + (c - '0'), kLargeValue);
        }
        profile.oddNumbers = profile.oddNumbers ||
                             ((c == 'e' || c == 'E') && std::isdigit(previousByte) != 0) ||
                             ((c == 'n' || c == 'N') && i + 2 < text.size() &&
                              (text[i + 1] == 'a' || text[i + 1] == 'A') &&
                              (text[i + 2] == 'n' || text[i + 2] == 'N'));
        if (letter && std::isalpha(previousByte) == 0) {
            if (profile.words < kMaxWords) {
                std::size_t end = i;
                while (end < text.size() && isAsciiLetter(text[end])) {
                    ++end;
                }
                profile.wordSources[static_cast<std::size_t>(profile.words)] =
                    sources.sourcesOf(text.substr(i, end - i));
            }
            ++profile.words;
        }
        if (profile.firstByte == 0 && std::isspace(byte) == 0) {
            profile.firstByte = c;
        }
        previous = c;
    }
    if (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) == 0) {
        profile.lastByte = text.back();
    }
    if (other) {
        // Any character with a numeric value may be a digit to ICU's number reader.
        int digits = 0;
        for (std::int32_t i = 0; i < static_cast<std::int32_t>(text.size());) {
            UChar32 c = 0;
            U8_NEXT(text.data(), i, static_cast<std::int32_t>(text.size()), c);
            digits += c < 0 || u_getNumericValue(c) != U_NO_NUMERIC_VALUE ? 1 : 0;
        }
        TextProfile unknown;
        unknown.letters = true;
        unknown.digits = digits;
        unknown.longestRun = profile.longestRun;
        unknown.runsUnknown = true;
        return unknown;
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
    formatter->setReadsAbuttingNumbersWithOneReader(true);
    const PatternNeeds needs = PatternNeeds::of(pattern, words_);
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
    formatter->setReadsAbuttingNumbersWithOneReader(true);
    const PatternNeeds needs = PatternNeeds::of(formatter->dateFormat(), words_);
    attempts_.push_back(
        {DateParseStep::Style, std::move(label), finish, false, std::move(formatter), needs});
}

DateParserPlan::DateParserPlan(const DateFormatter& base, bool monthFirst, bool twentyFourHour)
    : words_(base.locale()), monthFirst_(monthFirst) {
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

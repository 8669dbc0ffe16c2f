#pragma once
// DateParserPlan: the ordered formatter attempts of the quick-entry parser after its
// detector step (locale styles, ordinal days, the fixed pattern groups), with their
// formatters made once, for one locale, zone, 24-hour setting and region order. Internal
// to Velmora/dates.
//
// Thread safety: a plan belongs to the thread that asked for it (the formatters are not
// shared); use it on that thread only, until its next call of forCurrentSettings.
//
//   const DateParserPlan& plan = DateParserPlan::forCurrentSettings();
//   for (const ParseAttempt& attempt : plan.attempts()) { attempt.formatter->dateFromString(t); }

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/locale/DateFormatter.h"

namespace velmora {

// What a hit of an attempt becomes.
enum class ParseFinish {
    DayStart,          // 00:00 of the parsed day
    AsParsed,          // the parsed instant
    ThisMonthAndYear,  // month and year set from now
    ThisYear,          // year set from now
    Weekday,           // today (or the coming day of that weekday) at the parsed time
    TodayAtTime,       // today at the parsed hour and minute
    TomorrowAtTime,    // tomorrow at the parsed hour and minute
};

// The words the locale's text fields can read (month names wide and abbreviated, weekday
// and marker names in every width, in both contexts), cut into their runs of ASCII letters after
// case folding, and the quoted words of the plan's patterns. A text word that starts with none of
// the runs of a pattern's sources cannot be read by that pattern. Bit i of a mask stands for source
// i.
class WordSources {
  public:
    static constexpr int kMonths = 0, kWeekdays = 1, kMarkers = 2, kNumbers = 3;
    static constexpr int kFirstLiteral = 4;
    static constexpr int kMaxSources = 64;

    explicit WordSources(const Locale& locale);
    // The bit of a quoted word of a pattern; 0 when there are too many to tell apart.
    std::uint64_t literalBit(std::string_view word);
    // The sources that may read a text word that starts at `word` (lower-case ASCII
    // letters, as long as the word runs).
    std::uint64_t sourcesOf(std::string_view word) const;

  private:
    std::vector<std::vector<std::string>> runs_;  // per source: its letter runs
    std::vector<std::string> literals_;           // per literal source: the whole word
};

// What a text needs for a pattern to have any chance, so that most attempts are passed
// over without asking ICU. Every test only rules out texts that cannot parse, since the
// whole text must be read: a numeric field takes at least one digit; only a text field
// (names, markers, quoted words) can take a letter; each run of digits needs a field of
// its own that may read digits; each word a field or quoted word (twice as many words are
// allowed, for markers such as "p. m." written in two); a weekday, marker or quoted word
// needs a word. A pattern that begins (or ends) with a field reading digits only cannot
// read a text that begins (ends) with a letter, and one that begins or ends with a field
// reading words only cannot read a digit there; a first field that abuts another is
// exempt, as ICU may let it read nothing. A numeric field that abuts no other reads a
// whole run of digits (ICU's number reader is greedy), so each needs a run of its own; a
// run of abutting fields reads by widths and needs at least one, which it may share with
// a field after it. When a text has exactly as many runs as the pattern has fields that
// may read digits, each such field reads one whole run, in order, and ICU's strict
// calendar turns down a value out of the field's range (a 13th month, a 61st minute).
// A lone numeric field at the start reads the text's first run when the text begins
// with a digit, and one at the end the last run, when no abutting fields could have
// stopped inside it. Literals other than blanks must be in the text, except after the
// last field: ICU matches them exactly and gives up on any other character. A ":" in the
// text needs one in the pattern or a time field (ICU passes over ":" only before one). ICU also
// reads "nan" and "1e1" as numbers; the letter and digit counts turn such texts down on
// purpose (nobody writes a date so), the later checks allow for them. ICU's number reader
// also takes "nan" and an exponent ("1e1"), so those letters stay possible for numeric fields.
struct PatternNeeds {
    enum class Edge : std::uint8_t { Any, Digits, Words };

    int numericFields = 0;
    bool takesLetters = false;
    int digitRunCapacity = 0;
    int wordCapacity = 0;
    bool needsWord = false;  // a field or quoted word that reads letters only
    int digitRunsNeeded = 0;
    // The largest value of each field that may read digits, in order; -1 for no bound.
    // rangeCount is -1 when there are more fields than kMaxRanges.
    static constexpr int kMaxRanges = 8;
    std::array<int, kMaxRanges> largest{};
    int rangeCount = 0;
    int firstLargest = -1;  // the first field's bound when it reads the first run, else -1
    int lastLargest = -1;   // the last field's bound when it reads the last run, else -1
    // How often each of kCountedLiterals stands in the pattern before its last field.
    static constexpr std::string_view kCountedLiterals = ":/-.,";
    std::array<std::uint8_t, kCountedLiterals.size()> literals{};
    bool readsColon = false;  // a ":" literal, or a field before which ICU skips ":"
    Edge first = Edge::Any;
    Edge last = Edge::Any;
    bool anyWord = false;           // a field whose words are not in WordSources
    std::uint64_t wordSources = 0;  // WordSources bits of its text fields and quoted words

    static PatternNeeds of(std::string_view pattern, WordSources& words);
};

// The letters and digits of a text, as PatternNeeds compares them. Bytes outside ASCII
// may be letters of any script, so a text with any counts as having letters and its runs
// and edges are not counted; its digits are the characters with a numeric value. A run of
// more significant digits than kLongestNumber reads as no date field (ICU's fields hold
// 32-bit values), and ICU's number reader slows down with the square of a run's length.
struct TextProfile {
    static constexpr int kLongestNumber = 12;
    static constexpr int kMaxWords = 16;

    bool letters = false;
    int digits = 0;
    int longestRun = 0;
    int digitRuns = 0;
    int words = 0;
    bool runsUnknown = false;  // bytes outside ASCII: runs not counted
    // "nan" or a digit before an "e": ICU's number reader may read them as one number
    // (NaN, an exponent), so one field may read no run or two.
    bool oddNumbers = false;
    // The value of each run of digits (the first kMaxRanges), saturating.
    std::array<long long, PatternNeeds::kMaxRanges> runValues{};
    long long lastRunValue = 0;
    std::array<std::uint8_t, PatternNeeds::kCountedLiterals.size()> literals{};
    char firstByte = 0;  // first byte that is not a blank; 0 when unknown
    char lastByte = 0;   // last byte; 0 when unknown or a blank
    std::array<std::uint64_t, kMaxWords> wordSources{};  // per word: WordSources bits

    static TextProfile of(std::string_view text, const WordSources& sources);
    bool mayParse(const PatternNeeds& needs) const {
        if ((letters && !needs.takesLetters) || digits < needs.numericFields ||
            longestRun > kLongestNumber) {
            return false;
        }
        if (runsUnknown) {
            return true;
        }
        if (digitRuns > needs.digitRunCapacity ||
            (digitRuns < needs.digitRunsNeeded && !oddNumbers) || words > 2 * needs.wordCapacity ||
            (words == 0 && needs.needsWord) || !edgeFits(firstByte, needs.first) ||
            !edgeFits(lastByte, needs.last)) {
            return false;
        }
        if (literals[0] > 0 && !needs.readsColon) {
            return false;
        }
        for (std::size_t i = 0; i < literals.size(); ++i) {
            if (literals[i] < needs.literals[i]) {
                return false;
            }
        }
        if (!oddNumbers && ((needs.firstLargest >= 0 && firstByte >= '0' && firstByte <= '9' &&
                             runValues[0] > needs.firstLargest) ||
                            (needs.lastLargest >= 0 && lastByte >= '0' && lastByte <= '9' &&
                             lastRunValue > needs.lastLargest))) {
            return false;
        }
        if (!oddNumbers && digitRuns == needs.rangeCount && digitRuns == needs.digitRunCapacity) {
            for (std::size_t i = 0; i < static_cast<std::size_t>(digitRuns); ++i) {
                if (needs.largest[i] >= 0 && runValues[i] > needs.largest[i]) {
                    return false;
                }
            }
        }
        if (needs.anyWord || words > kMaxWords) {
            return true;
        }
        for (int i = 0; i < words; ++i) {
            if ((wordSources[static_cast<std::size_t>(i)] & needs.wordSources) == 0) {
                return false;
            }
        }
        return true;
    }

  private:
    static bool edgeFits(char byte, PatternNeeds::Edge edge) {
        const bool digit = byte >= '0' && byte <= '9';
        const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
        switch (edge) {
            case PatternNeeds::Edge::Digits:
                return !letter || byte == 'n' || byte == 'e' || byte == 'N' || byte == 'E';
            case PatternNeeds::Edge::Words:
                return !digit;
            case PatternNeeds::Edge::Any:
                break;
        }
        return true;
    }
};

struct ParseAttempt {
    DateParseStep step;
    std::string pattern;  // the pattern, or the styles' names ("short date, short time")
    ParseFinish finish;
    bool logged;  // a hit is logged with its pattern (the template group)
    std::unique_ptr<DateFormatter> formatter;
    PatternNeeds needs;
};

// Every occurrence of `from` replaced by `to` (which may be empty), scanning on after each
// replacement.
std::string replaceAll(std::string text, std::string_view from, std::string_view to);

class DateParserPlan {
  public:
    // This thread's plan for the settings in force now; rebuilt when they changed.
    static const DateParserPlan& forCurrentSettings();

    const std::vector<ParseAttempt>& attempts() const { return attempts_; }
    // Numeric dates read month first.
    bool monthFirst() const { return monthFirst_; }
    // What the attempts' text fields and quoted words read, for TextProfile::of.
    const WordSources& words() const { return words_; }

  private:
    DateParserPlan(const DateFormatter& base, bool monthFirst, bool twentyFourHour);

    void add(const DateFormatter& base, DateParseStep step, std::string pattern, ParseFinish finish,
             bool logged = false);
    void addStyle(const DateFormatter& base, DateFormatterStyle date, DateFormatterStyle time,
                  ParseFinish finish);

    WordSources words_;
    std::vector<ParseAttempt> attempts_;
    std::vector<std::string> tried_;  // patterns already in the list
    bool monthFirst_;
};

}  // namespace velmora

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

// What a text needs for a pattern to have any chance, so that most attempts are passed
// over without asking ICU. Every test only rules out texts that cannot parse, since the
// whole text must be read: a numeric field takes at least one digit; only a text field
// (names, markers, quoted words) can take a letter; each run of digits needs a field of
// its own that may read digits; each word a field or quoted word (twice as many words are
// allowed, for markers such as "p. m." written in two); a weekday, marker or quoted word
// needs a word.
struct PatternNeeds {
    int numericFields = 0;
    bool takesLetters = false;
    int digitRunCapacity = 0;
    int wordCapacity = 0;
    bool needsWord = false;  // a field or quoted word that reads letters only

    static PatternNeeds of(std::string_view pattern);
};

// The letters and digits of a text, as PatternNeeds compares them. Bytes outside ASCII
// may be letters or digits of any script, so a text with any counts as having both and
// its runs are not counted. A run of more significant digits than kLongestNumber reads as
// no date field (ICU's fields hold 32-bit values), and ICU's number reader slows down
// with the square of a run's length.
struct TextProfile {
    static constexpr int kLongestNumber = 12;

    bool letters = false;
    int digits = 0;
    int longestRun = 0;
    int digitRuns = 0;
    int words = 0;
    bool runsUnknown = false;  // bytes outside ASCII: runs not counted

    static TextProfile of(std::string_view text);
    bool mayParse(const PatternNeeds& needs) const {
        if ((letters && !needs.takesLetters) || digits < needs.numericFields ||
            longestRun > kLongestNumber) {
            return false;
        }
        return runsUnknown || (digitRuns <= needs.digitRunCapacity &&
                               words <= 2 * needs.wordCapacity && (words > 0 || !needs.needsWord));
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

  private:
    DateParserPlan(const DateFormatter& base, bool monthFirst, bool twentyFourHour);

    void add(const DateFormatter& base, DateParseStep step, std::string pattern, ParseFinish finish,
             bool logged = false);
    void addStyle(const DateFormatter& base, DateFormatterStyle date, DateFormatterStyle time,
                  ParseFinish finish);

    std::vector<ParseAttempt> attempts_;
    std::vector<std::string> tried_;  // patterns already in the list
    bool monthFirst_;
};

}  // namespace velmora

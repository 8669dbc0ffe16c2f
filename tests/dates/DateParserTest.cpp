#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/dates/DateParserPlan.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/services/VelmoraDAO.h"

#include "tests/dates/DatesTestSupport.h"

namespace velmora {
namespace {

using dates_test::at;

// Pins clock, zone and locale, and forgets the shared object's today, which only moves
// forward by itself (a test may go back in time).
class PinnedDates {
  public:
    PinnedDates(std::string_view zone, std::string_view locale, Date now)
        : pinned_(zone, locale, now) {
        VelmoraDAO::getSharedInstance().informChangeOfDay();
    }
    ~PinnedDates() { VelmoraDAO::getSharedInstance().informChangeOfDay(); }
    PinnedDates(const PinnedDates&) = delete;
    PinnedDates& operator=(const PinnedDates&) = delete;

  private:
    dates_test::PinnedDates pinned_;
};

constexpr std::string_view kBerlin = "Europe/Berlin";

// Pins the 24-hour setting for the scope.
class Pinned24Hours {
  public:
    explicit Pinned24Hours(bool on) { VelmoraDAO::pinIs24HourClock(on); }
    ~Pinned24Hours() { VelmoraDAO::pinIs24HourClock(std::nullopt); }
    Pinned24Hours(const Pinned24Hours&) = delete;
    Pinned24Hours& operator=(const Pinned24Hours&) = delete;
};

struct Case {
    const char* text;
    std::optional<Date> expected;
    DateParseStep step;
};

void expectParses(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        const DateParseResult result = explainParsingDateForString(c.text);
        EXPECT_EQ(result.date, c.expected) << "text: '" << c.text << "' gave "
                                           << (result.date ? result.date->description() : "none");
        EXPECT_EQ(result.step, c.step) << "text: '" << c.text << "'";
    }
}

// Monday 2026-11-23 10:00 in Berlin.
Date monday(int day = 23, int hour = 0, int minute = 0, int month = 11, int year = 2026) {
    return at(kBerlin, year, month, day, hour, minute);
}

TEST(DateParserTest, CompactCountsAndUnits) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    const Pinned24Hours clock(true);
    constexpr auto kCompact = DateParseStep::Compact;
    expectParses({
        {"tod", monday(23), kCompact},
        {"tom", monday(24), kCompact},
        {"Tom", monday(24), kCompact},
        {"  \"tom\" ", monday(24), kCompact},
        {"3d", monday(26), kCompact},
        {"3days", monday(26), kCompact},
        {"3d 5pm", monday(26, 17), kCompact},
        {"3d 17", monday(26, 17), kCompact},
        {"3d at 5pm", monday(26, 17), kCompact},
        {"3d 930", monday(26, 9, 30), kCompact},
        {"3d 1730", monday(26, 17, 30), kCompact},
        {"2w", monday(7, 0, 0, 12), kCompact},
        {"1m", monday(23, 0, 0, 12), kCompact},
        {"1y", monday(23, 0, 0, 11, 2027), kCompact},
        // Both readings of 12, and the leading zero a 12-hour time loses.
        {"3d 12am", monday(26, 0), kCompact},
        {"3d 12pm", monday(26, 12), kCompact},
        {"3d 0930pm", monday(26, 21, 30), kCompact},
        {"3d 9:30am", monday(26, 9, 30), kCompact},
        // Ordinals: this month while the day is to come, else next month.
        {"24th", monday(24), kCompact},
        {"23rd", monday(23, 0, 0, 12), kCompact},
        {"16th", monday(16, 0, 0, 12), kCompact},
        {"16th 5pm", monday(16, 17, 0, 12), kCompact},
    });
    // The four month words are left to later steps.
    for (const char* text : {"may 5", "5 dec", "march 3", "december 24", "3d may"}) {
        EXPECT_EQ(tryParsingXDayXXXXFormat(text), std::nullopt) << text;
    }
    EXPECT_EQ(tryParsingXDayXXXXFormat(""), std::nullopt);
    EXPECT_EQ(tryParsingXDayXXXXFormat("3x"), std::nullopt);
}

TEST(DateParserTest, CompactOrdinalRollsIntoNextYear) {
    PinnedDates pinned(kBerlin, "en_GB", at(kBerlin, 2026, 12, 20, 9));
    EXPECT_EQ(tryParsingXDayXXXXFormat("5th"), at(kBerlin, 2027, 1, 5));
    EXPECT_EQ(tryParsingXDayXXXXFormat("20th"), at(kBerlin, 2027, 1, 20));
    EXPECT_EQ(tryParsingXDayXXXXFormat("31st"), at(kBerlin, 2026, 12, 31));
}

TEST(DateParserTest, CompactWeekdaysAndTheOneWeekPush) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    constexpr auto kCompact = DateParseStep::Compact;
    expectParses({
        {"fri", monday(27), kCompact},
        {"friday 5:30 pm", monday(27, 17, 30), kCompact},
        {"sun", monday(29), kCompact},
        {"mon", monday(23), kCompact},
        // Today's weekday with a passed time: only the 24-hour reading moves a week on.
        {"mon 9", monday(30, 9), kCompact},
        {"mon 9am", monday(23, 9), kCompact},
        {"mon 11", monday(23, 11), kCompact},
        {"tue 9", monday(24, 9), kCompact},
    });
}

TEST(DateParserTest, Keywords) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    constexpr auto kKeyword = DateParseStep::Keyword;
    expectParses({
        {"today", monday(23), kKeyword},
        {"tomorrow", monday(24), kKeyword},
        {"Yesterday", monday(22), kKeyword},
        {"next week", monday(30), kKeyword},
        {"last week", monday(16), kKeyword},
        {"next month", monday(23, 0, 0, 12), kKeyword},
        {"day after", monday(25), kKeyword},
        {"next, week", monday(30), kKeyword},
    });
}

TEST(DateParserTest, DetectedDates) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    constexpr auto kDetector = DateParseStep::Detector;
    expectParses({
        {"buy milk dec 24", monday(24, 0, 0, 12), kDetector},
        {"dec 24 5pm", monday(24, 17, 0, 12), kDetector},
        {"lunch next friday at 1pm", monday(27, 13), kDetector},
        {"17:30", monday(23, 17, 30), kDetector},
        // A bare number is never an hour.
        {"at 9", monday(23), kDetector},
        {"24/12/2025 9am", at(kBerlin, 2025, 12, 24, 9), kDetector},
        // Years out of 2001 ... now + 25 become this year.
        {"24 dec 1999", monday(24, 0, 0, 12), kDetector},
        {"24 dec 2051", at(kBerlin, 2051, 12, 24), kDetector},
        {"24 dec 2052", monday(24, 0, 0, 12), kDetector},
    });
}

TEST(DateParserTest, DetectedLastDecemberMovesIntoThisYearInEarlyJanuary) {
    PinnedDates pinned(kBerlin, "en_GB", at(kBerlin, 2027, 1, 5, 12));
    EXPECT_EQ(tryParsingDateForString("dec 20"), at(kBerlin, 2027, 12, 20));
    EXPECT_EQ(tryParsingDateForString("20/12/26"), at(kBerlin, 2027, 12, 20));
    // The text names last year: it stays.
    EXPECT_EQ(tryParsingDateForString("20 dec 2026"), at(kBerlin, 2026, 12, 20));
    // More than 60 days back: it stays too.
    EXPECT_EQ(tryParsingDateForString("20/10/26"), at(kBerlin, 2026, 10, 20));
}

TEST(DateParserTest, LocaleStylesFollowTheRegion) {
    {
        PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
        const DateParseResult british = explainParsingDateForString("24. dec. 2026");
        EXPECT_EQ(british.date, monday(24, 0, 0, 12));
        EXPECT_EQ(british.step, DateParseStep::Style);
        EXPECT_EQ(tryParsingDateForString("1/2/2027"), at(kBerlin, 2027, 2, 1));
    }
    {
        PinnedDates pinned(kBerlin, "en_US", monday(23, 10));
        // en_US's medium date wants the month first, so the fixed patterns read it.
        EXPECT_EQ(explainParsingDateForString("24. dec. 2026").step, DateParseStep::Pattern);
        EXPECT_EQ(tryParsingDateForString("1/2/2027"), at(kBerlin, 2027, 1, 2));
    }
}

TEST(DateParserTest, OrdinalsFollowThe24HourSetting) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    {
        const Pinned24Hours clock(true);
        const DateParseResult result = explainParsingDateForString("15th, 17");
        EXPECT_EQ(result.date, monday(15, 17));
        EXPECT_EQ(result.step, DateParseStep::Ordinal);
        EXPECT_EQ(result.pattern, "dd'th' HH");
    }
    {
        const Pinned24Hours clock(false);
        EXPECT_EQ(tryParsingDateForString("15th, 17"), std::nullopt);
        const DateParseResult result = explainParsingDateForString("15th, 5pm");
        EXPECT_EQ(result.step, DateParseStep::Detector);  // "5pm" alone
    }
}

TEST(DateParserTest, FixedPatternGroups) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    const Pinned24Hours clock(true);
    struct Row {
        const char* text;
        Date expected;
        const char* pattern;
    };
    for (const Row& row : {
             Row{"1224", monday(24, 0, 0, 12), "MMdd"},                // templates without a year
             Row{"24 12 1730", monday(24, 17, 30, 12), "dd MM HHmm"},  // day-month with time
             Row{"fr 1730", monday(27, 17, 30), "EEE HHmm"},           // weekday with time
             Row{"24 12 25", at(kBerlin, 2025, 12, 24), "dd MM yy"},   // day and month
             Row{"1730", monday(23, 17, 30), "HHmm"},                  // time only
             Row{"0530pm", monday(23, 17, 30), "hhmma"},               // time with a marker
         }) {
        const DateParseResult result = explainParsingDateForString(row.text);
        EXPECT_EQ(result.date, row.expected) << row.text;
        EXPECT_EQ(result.step, DateParseStep::Pattern) << row.text;
        EXPECT_EQ(result.pattern, row.pattern) << row.text;
    }
    PinnedDates american(kBerlin, "en_US", monday(23, 10));
    const DateParseResult templated = explainParsingDateForString("dec. 24, 2026");
    EXPECT_EQ(templated.date, monday(24, 0, 0, 12));
    EXPECT_EQ(templated.pattern, "MMM d y");  // yMMMd for en_US, its comma made a blank
    // Month-first regions read the day-month pairs the other way round.
    EXPECT_EQ(explainParsingDateForString("24 12 1730").pattern, "ddMM HHmm");
}

TEST(DateParserTest, TextsThatReadAsNothing) {
    PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
    for (const std::string& text :
         {std::string(), std::string("   "), std::string("\"\""), std::string("buy milk"),
          std::string("13/13/2025"), std::string("feb 30"), std::string("\xff\xfe\x80"),
          std::string("a\0b", 3), std::string(200000, '7'), std::string(100000, 'x')}) {
        EXPECT_EQ(tryParsingDateForString(text), std::nullopt) << text.substr(0, 20);
    }
}

TEST(DateParserTest, DaylightSavingChange) {
    // Berlin springs forward on 2026-03-29 at 02:00.
    PinnedDates pinned(kBerlin, "en_GB", at(kBerlin, 2026, 3, 28, 10));
    EXPECT_EQ(tryParsingDateForString("1d"), at(kBerlin, 2026, 3, 29));
    // The compact time is elapsed time from midnight, deliberately: 17 hours into a
    // 23-hour day read 18:00 on the wall clock.
    EXPECT_EQ(tryParsingDateForString("1d 5pm"), at(kBerlin, 2026, 3, 29, 18));
    // The detector sets the wall-clock time.
    EXPECT_EQ(tryParsingDateForString("5pm on sunday"), at(kBerlin, 2026, 3, 29, 17));
    EXPECT_EQ(tryParsingDateForString("tomorrow"), at(kBerlin, 2026, 3, 29));
}

// The groups the detector leaves no English text to (slash-and-blank, remaining
// day-month, words with a time): their place in the order and their region order.
// The checks before ICU may only pass over attempts that would fail: every attempt of the
// plan that reads a text must be let through. The texts are ones where ICU is lenient in
// ways that are easy to miss ("nan" and exponents as numbers, weekday names cut short,
// quoted words broken by blanks, a first abutting field that reads nothing, a "." after a
// name, punctuation skipped between fields, digits of other scripts).
TEST(DateParserTest, ChecksBeforeIcuKeepEveryAttemptThatReads) {
    const std::vector<std::string> texts{
        "nan:30",
        "1e1:30",
        "t 1730",
        "fr 1730",
        "tu 0930",
        "fri. 1730",
        "to day 17",
        "today 1730",
        "tomorrow 0930am",
        "dec 244",
        "05:30p",
        "5pm.",
        "24 dec, 2026",
        "24dec25",
        "17 :30",
        "24-12",
        "24 12",
        "2359",
        "1224",
        "0530pm",
        "12245pm",
        "24/12/2025 9am",
        "2026/12/24",
        "25:61",
        "13/13/2025",
        "12/24/2025",
        "24.12.26",
        "24. dez. 2026",
        "sept 4",
        "22nd 1730",
        "\xF0\x9D\x9F\x99\xF0\x9D\x9F\x9A/\xF0\x9D\x9F\x99\xF0\x9D\x9F\x9A",
        "buy milk"};
    for (const char* locale : {"en_GB", "en_US", "de_DE"}) {
        for (const bool twentyFour : {true, false}) {
            PinnedDates pinned(kBerlin, locale, monday(23, 10));
            Pinned24Hours clock(twentyFour);
            const DateParserPlan& plan = DateParserPlan::forCurrentSettings();
            for (const std::string& text : texts) {
                const TextProfile profile = TextProfile::of(text, plan.words());
                for (const ParseAttempt& attempt : plan.attempts()) {
                    // ICU's "nan" and exponents are numbers to it, not dates to a user:
                    // the letter and digit counts turn them down on purpose.
                    const bool oddNumber = text.find("nan") != std::string::npos ||
                                           text.find("1e1") != std::string::npos;
                    if (oddNumber && (!attempt.needs.takesLetters ||
                                      profile.digits < attempt.needs.numericFields)) {
                        continue;
                    }
                    if (attempt.formatter->dateFromString(text)) {
                        EXPECT_TRUE(profile.mayParse(attempt.needs))
                            << locale << " '" << text << "' is read by " << attempt.pattern;
                    }
                }
            }
            // And they do pass over: no pattern can read words that name nothing.
            const TextProfile junk = TextProfile::of("buy milk", plan.words());
            EXPECT_TRUE(std::none_of(plan.attempts().begin(), plan.attempts().end(),
                                     [&](const ParseAttempt& a) { return junk.mayParse(a.needs); }))
                << locale;
            const TextProfile badMonth = TextProfile::of("13/13/2025", plan.words());
            const auto tried =
                std::count_if(plan.attempts().begin(), plan.attempts().end(),
                              [&](const ParseAttempt& a) { return badMonth.mayParse(a.needs); });
            EXPECT_LT(tried, 20) << locale;
        }
    }
}

TEST(DateParserTest, PlanOrderAndRegionOrder) {
    const auto patterns = [] {
        std::vector<std::string> list;
        for (const ParseAttempt& attempt : DateParserPlan::forCurrentSettings().attempts()) {
            list.push_back(attempt.pattern);
        }
        return list;
    };
    const auto position = [](const std::vector<std::string>& list, const char* pattern) {
        return std::find(list.begin(), list.end(), pattern) - list.begin();
    };
    {
        PinnedDates pinned(kBerlin, "en_GB", monday(23, 10));
        const std::vector<std::string> list = patterns();
        EXPECT_LT(position(list, "dd/MM hhmma"), position(list, "dd MMM hhmm a"));
        EXPECT_LT(position(list, "dd MMM hhmm a"), position(list, "'today' hh:mma"));
        EXPECT_LT(position(list, "'today' HH"), position(list, "'tomorrow' hha"));
        EXPECT_EQ(list.back(), "'tomorrow' HHmm");
        EXPECT_EQ(position(list, "MM/dd hhmma"), static_cast<long>(list.size()));
    }
    {
        PinnedDates pinned(kBerlin, "en_US", monday(23, 10));
        const std::vector<std::string> list = patterns();
        EXPECT_NE(position(list, "MM/dd hhmma"), static_cast<long>(list.size()));
        EXPECT_NE(position(list, "MMM dd hhmma"), static_cast<long>(list.size()));
        EXPECT_NE(position(list, "MM dd yyyy hh:mma"), static_cast<long>(list.size()));
        EXPECT_EQ(position(list, "dd/MM hhmma"), static_cast<long>(list.size()));
    }
}

}  // namespace
}  // namespace velmora

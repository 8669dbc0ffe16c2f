#pragma once
// DateDetector: finds date and time expressions in free English text, as a quick-entry
// field or a note would hold them, and reports for each its byte range in the text, the
// date it stands for, whether a time of day was given, the time zone the text names, and
// for a range of times the duration.
//
// What it reads (case-insensitive; blanks between words optional where shown joined):
//   - month names and abbreviations with a day and an optional year, in both orders,
//     the day with or without an ordinal suffix: "dec 24", "24 december 2025",
//     "december 24th", "dec 24, 2025", "the 3rd of march", "friday, dec 24";
//   - ordinal days after "the" or "on": "the 3rd", "on the 15th", "on 15th" (this month
//     when the day is still to come, otherwise next month); a bare "15th" is left to the
//     quick-entry parser's own ordinal forms;
//   - weekdays: "friday", "this sat" (the coming one, today included), "next friday" (the
//     first one after today), "last mon" (the last one before today);
//   - relative days: "today", "tomorrow", "yesterday", "the day after tomorrow", "the day
//     before yesterday", "in 3 days", "in two weeks", "a week from today", "3 days ago",
//     "next week", "last month", "in 2 hours" (hours and minutes count from now);
//   - times: "5pm", "5 p.m.", "5:30 pm", "17:30", "17:30:15", "5.30pm", "noon",
//     "midnight", "at 9", with an optional zone after them ("UTC", "EST", "Z", "+01:00");
//   - ISO dates and date-times: "2025-12-24", "2025-12-24T09:30:00Z";
//   - numeric dates in the region's order: "24/12/2025", "24.12.25", "24/12" (month first
//     in month-first regions: "12/24/2025");
//   - time ranges, as a start plus a duration: "3-5pm", "from 9 to 11", "9am to 5pm",
//     "between 2 and 4pm", "10:00-11:30".
// A date and a time join when they follow each other ("dec 24 at 5pm", "5pm on friday").
// A day and month without a year take the year that puts the date nearest to today; a
// two-digit year is 20yy. Dates that do not exist ("feb 30") are not matches.
//
// The grammar is a table of rows (see DateDetector.cpp); each row's elements write the
// fields they read, and one resolver turns the fields into a date.
//
// Thread safety: a detector uses the calendar it was given, which must outlive it and
// not be used by another thread meanwhile; use one detector per thread.
//
//   DateDetector detector(calendar, Clock::now(), /*monthFirst=*/true);
//   std::optional<DetectedDate> found = detector.firstMatch("lunch next friday at 1pm");
//   if (found) { std::string what = found->matchedText; }   // "next friday at 1pm"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Range.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/TimeZone.h"

namespace velmora {

struct DetectedDate {
    Range range;              // bytes of the text the expression covers
    std::string matchedText;  // those bytes
    Date date;
    bool hasTime = false;              // a time of day was given
    std::optional<TimeZone> timeZone;  // the zone the text names
    double duration = 0;               // seconds from start to end of a range; else 0
};

class DateDetector {
  public:
    // now: the instant relative expressions count from. monthFirst: numeric dates read
    // month before day.
    DateDetector(const Calendar& calendar, Date now, bool monthFirst)
        : calendar_(calendar), now_(now), monthFirst_(monthFirst) {}

    // Whether this user's numeric dates read month first: the current locale's identifier,
    // or else the auto-updating current locale's, holds "_US".
    [[nodiscard]] static bool regionIsMonthFirst();

    // The first expression in the text, or nothing.
    [[nodiscard]] std::optional<DetectedDate> firstMatch(std::string_view text) const;
    // Every expression in the text, in order, none overlapping.
    [[nodiscard]] std::vector<DetectedDate> matches(std::string_view text) const;

  private:
    // With `firstOnly`, stops after the first expression.
    std::vector<DetectedDate> scan(std::string_view text, bool firstOnly) const;

    const Calendar& calendar_;
    Date now_;
    bool monthFirst_;
};

}  // namespace velmora

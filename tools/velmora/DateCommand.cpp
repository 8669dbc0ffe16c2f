// velmora date: the date category on the command line. Every subcommand takes --now,
// --tz, --locale and --week-start, so that its answer can be pinned, and prints dates as
// ISO 8601 with the offset of the (pinned) system zone.
//
//   $ velmora date add 2024-01-31T09:30:00+01:00 --months 1 --tz Europe/Berlin
//   2024-02-29T09:30:00+01:00
#include <cmath>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/services/VelmoraDAO.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/DateCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

struct DateOptions {
    DateSettings settings;
    std::string date;  // the DATE or SECONDS argument
    int days = 0, weeks = 0, months = 0, years = 0, hour = -1;
};

void printDates(const char* heading, const std::vector<Date>& dates) {
    std::cout << heading << ":\n";
    for (const Date date : dates) {
        std::cout << isoText(date) << '\n';
    }
}

// "1710504000", "1710504000.25": the shortest text that reads back as the number.
std::string numberText(double value) {
    return fmt::format("{}", value);
}

// Amounts beyond these cannot land inside the years the tool prints; refusing them
// up front also keeps the calendar's own arithmetic away from overflow.
constexpr int kMostYears = 2 * (kLastYear - kFirstYear + 1);
constexpr int kMostMonths = 12 * kMostYears;
constexpr int kMostWeeks = 53 * kMostYears;
constexpr int kMostDays = 366 * kMostYears;

Date addToDate(const DateOptions& o, Date date) {
    if (std::abs(o.years) > kMostYears || std::abs(o.months) > kMostMonths ||
        std::abs(o.weeks) > kMostWeeks || std::abs(o.days) > kMostDays) {
        fail(fmt::format("the sum is out of range (years {} to {})", kFirstYear, kLastYear));
    }
    const std::optional<Date> sum =
        getDateByAddingDays(date, o.days, o.weeks, o.months, o.years, o.hour);
    if (!sum) {
        fail("the calendar cannot add these amounts to " + o.date);
    }
    return *sum;
}

void runInfo() {
    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    const std::optional<Date> start = dao.getTodayAtStartOfDay();
    const std::optional<Date> end = dao.getTodayBeforeEndOfDay();
    const std::int64_t weekStart = dao.getStartOfWeek();
    std::string names;
    for (std::int64_t i = 0; i < 7; ++i) {
        names += (i == 0 ? "" : ", ") +
                 VelmoraDAO::getWeekdayNameFromStartOfWeek((weekStart - 1 + i) % 7 + 1);
    }
    std::cout << "today-start: " << (start ? isoText(*start) : "none") << '\n'
              << "today-end: " << (end ? isoText(*end) : "none") << '\n'
              << "week-start: " << weekStart << '\n'
              << "weekdays: " << names << '\n'
              << "24-hour-clock: " << (Is24HourClock() ? "yes" : "no") << '\n'
              << "metric-system: " << (dao.isMetricSystem() ? "yes" : "no") << '\n';
}

void runClassify(Date date) {
    const std::pair<bool, const char*> classes[] = {
        {isDateToday(date), "today"},
        {isDateYesterday(date), "yesterday"},
        {isDateTomorrow(date), "tomorrow"},
        {isDateBeforeToday(date), "before-today"},
        {isDateAfterToday(date), "after-today"},
        {isDateThisMonth(date), "this-month"},
        {isDatePreviousMonths(date), "previous-months"},
        {isDateNextMonth(date), "next-month"},
        {isDateFutureMonths(date), "future-months"},
    };
    for (const auto& [holds, name] : classes) {
        if (holds) {
            std::cout << name << '\n';
        }
    }
}

// The subcommand with the options every date subcommand takes; `run` does the work once
// the settings are in force, and answers "" or the text of an argument it cannot read
// (a usage error; results out of range fail on their own).
CLI::App* addSubcommand(CLI::App& parent, const char* name, const char* description,
                        const std::shared_ptr<DateOptions>& options,
                        std::function<std::string(DateOptions&)> run) {
    CLI::App* command = parent.add_subcommand(name, description);
    addDateSettingsOptions(*command, options->settings);
    command->callback([options, run = std::move(run)] {
        std::string error;
        const std::optional<DateSession> session = DateSession::start(options->settings, error);
        if (session) {
            error = run(*options);
        }
        if (!error.empty()) {
            usageError(error);
        }
    });
    return command;
}

// Reads the DATE argument, then hands it to `use`.
std::function<std::string(DateOptions&)> withDate(std::function<void(DateOptions&, Date)> use) {
    return [use = std::move(use)](DateOptions& options) {
        std::string error;
        const std::optional<Date> date = parseIsoDate(options.date, error);
        if (date) {
            use(options, *date);
        }
        return error;
    };
}

// Reads the SECONDS argument, then prints the date `convert` makes of it.
std::function<std::string(DateOptions&)> fromNumber(Date (*convert)(double)) {
    return [convert](DateOptions& options) {
        std::string error;
        const std::optional<double> number =
            parseNumber(options.date, -std::numeric_limits<double>::max(),
                        std::numeric_limits<double>::max(), &error);
        if (number) {
            std::cout << isoText(convert(*number)) << '\n';
        }
        return error;
    };
}

}  // namespace

void addDateCommand(CLI::App& app, int& /*exitCode*/) {
    CLI::App* date =
        app.add_subcommand("date", "Date arithmetic and classification as the framework does it");

    auto info = std::make_shared<DateOptions>();
    addSubcommand(*date, "info", "Today's bounds, the week start and the clock and units in use",
                  info, [](DateOptions&) {
                      runInfo();
                      return std::string();
                  });

    auto classify = std::make_shared<DateOptions>();
    addSubcommand(*date, "classify", "Where a date lies relative to today, one class per line",
                  classify, withDate([](DateOptions&, Date d) { runClassify(d); }))
        ->add_option("DATE", classify->date, "ISO 8601 date")
        ->required();

    auto add = std::make_shared<DateOptions>();
    CLI::App* addCommand = addSubcommand(
        *date, "add", "Add days, weeks, months and years in calendar arithmetic", add,
        withDate([](DateOptions& o, Date d) { std::cout << isoText(addToDate(o, d)) << '\n'; }));
    addCommand->add_option("DATE", add->date, "ISO 8601 date")->required();
    const CLI::Validator anyInt =
        integerIn(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    addCommand->add_option("--days", add->days, "Days to add (may be negative)")->transform(anyInt);
    addCommand->add_option("--weeks", add->weeks, "Whole weeks to add")->transform(anyInt);
    addCommand->add_option("--months", add->months, "Months to add")->transform(anyInt);
    addCommand->add_option("--years", add->years, "Years to add")->transform(anyInt);
    addCommand->add_option("--hour", add->hour, "Then set the time to HOUR:00:00")
        ->transform(integerIn(0, 23));

    auto syncable = std::make_shared<DateOptions>();
    addSubcommand(*date, "syncable", "The time-zone-free numbers stored for a date", syncable,
                  withDate([](DateOptions&, Date d) {
                      std::cout << "syncable: " << numberText(syncableTimeIntervalSince1970(d))
                                << '\n'
                                << "absolute: " << numberText(absoluteTimeIntervalSince1970(d))
                                << '\n';
                  }))
        ->add_option("DATE", syncable->date, "ISO 8601 date")
        ->required();

    auto fromSyncable = std::make_shared<DateOptions>();
    addSubcommand(*date, "from-syncable", "The date a stored syncable number stands for here",
                  fromSyncable, fromNumber(&syncableDateWithTimeIntervalSince1970))
        ->add_option("SECONDS", fromSyncable->date, "Seconds, as `syncable` prints them")
        ->required();

    auto fromAbsolute = std::make_shared<DateOptions>();
    addSubcommand(*date, "from-absolute", "The day a stored absolute number stands for here",
                  fromAbsolute, fromNumber(&dateWithAbsoluteTimeIntervalSince1970))
        ->add_option("SECONDS", fromAbsolute->date, "Seconds, as `syncable` prints them")
        ->required();

    auto relative = std::make_shared<DateOptions>();
    addSubcommand(
        *date, "relative", "How far a date is from now, in words", relative,
        withDate([](DateOptions&, Date d) { std::cout << formatRelativeTime(d) << '\n'; }))
        ->add_option("DATE", relative->date, "ISO 8601 date")
        ->required();

    auto grid = std::make_shared<DateOptions>();
    addSubcommand(*date, "grid", "The days a month view shows for the month of a date", grid,
                  withDate([](DateOptions&, Date d) {
                      printDates("previous month", daysInFinalWeekOfPreviousMonth(d));
                      printDates("month", daysInSelectedMonth(d));
                      printDates("next month", daysInFirstWeekOfFollowingMonth(d));
                  }))
        ->add_option("DATE", grid->date, "ISO 8601 date")
        ->required();

    addDateParseCommands(*date);
}

}  // namespace velmora::tool

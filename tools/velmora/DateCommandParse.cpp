// velmora date parse / detect: the quick-entry parser and the date detector on the
// command line, with the clock, zone, locale, week start and 24-hour setting pinned.
//
//   $ velmora date parse --now 2026-11-23T10:00:00+01:00 --tz Europe/Berlin "fri 5pm" tom
//   2026-11-27 17:00
//   2026-11-24 00:00
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Velmora/dates/DateDetector.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/services/VelmoraDAO.h"

#include "tools/velmora/DateCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

struct ParseOptions {
    DateSettings settings;
    std::vector<std::string> texts;
    bool twentyFour = false;
    bool twelve = false;
    bool explain = false;
};

// "2026-11-27 17:00" in the system zone.
std::string minuteText(Date date) {
    const DateComponents parts =
        Calendar().components(CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day |
                                  CalendarUnit::Hour | CalendarUnit::Minute,
                              date);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", parts.year.value_or(0),
                       parts.month.value_or(0), parts.day.value_or(0), parts.hour.value_or(0),
                       parts.minute.value_or(0));
}

std::string parseLine(const std::string& text, bool explain) {
    const DateParseResult result = explainParsingDateForString(text);
    if (!result.date) {
        return "-";
    }
    std::string line = minuteText(*result.date);
    if (explain) {
        line += '\t';
        line += dateParseStepName(result.step);
        if (!result.pattern.empty()) {
            line += ' ' + result.pattern;
        }
    }
    return line;
}

// "0-6\tdec 24\t2026-12-24 00:00", with "\t7200s" after it for a range.
std::string detectLine(const DetectedDate& found) {
    std::string line = fmt::format("{}-{}\t{}\t{}", found.range.location, found.range.end(),
                                   found.matchedText, minuteText(found.date));
    if (found.duration != 0) {
        line += fmt::format("\t{}s", found.duration);
    }
    return line;
}

// Runs `work` with the settings in force; bad settings are a usage error.
void runPinned(ParseOptions& options, const std::function<void()>& work) {
    if (options.twentyFour && options.twelve) {
        usageError("--24h and --12h exclude each other");
    }
    std::string error;
    const std::optional<DateSession> session = DateSession::start(options.settings, error);
    if (!session) {
        usageError(error);
    }
    // Pinned for this run only, also when the work fails.
    struct ClockPin {
        explicit ClockPin(std::optional<bool> pinned) { VelmoraDAO::pinIs24HourClock(pinned); }
        ~ClockPin() { VelmoraDAO::pinIs24HourClock(std::nullopt); }
        ClockPin(const ClockPin&) = delete;
        ClockPin& operator=(const ClockPin&) = delete;
    };
    const ClockPin pin(options.twentyFour || options.twelve
                           ? std::optional<bool>(options.twentyFour)
                           : std::nullopt);
    work();
}

CLI::App* addPinnedCommand(CLI::App& date, const char* name, const char* description,
                           const std::shared_ptr<ParseOptions>& options) {
    CLI::App* command = date.add_subcommand(name, description);
    addDateSettingsOptions(*command, options->settings);
    command->add_flag("--24h", options->twentyFour, "Read times as on a 24-hour clock");
    command->add_flag("--12h", options->twelve, "Read times as on a 12-hour clock");
    return command;
}

}  // namespace

void addDateParseCommands(CLI::App& date) {
    auto parse = std::make_shared<ParseOptions>();
    CLI::App* parseCommand = addPinnedCommand(
        date, "parse",
        "Read quick-entry texts as dates (one line each: YYYY-MM-DD HH:MM, or - for none)", parse);
    parseCommand->add_option("TEXT", parse->texts,
                             "Texts to read; none: one per line of standard input");
    parseCommand->add_flag("--explain", parse->explain,
                           "Add, after a tab, the step (and pattern) that read each text");
    parseCommand->callback([parse] {
        runPinned(*parse, [&] {
            if (!parse->texts.empty()) {
                for (const std::string& text : parse->texts) {
                    writeLine(parseLine(text, parse->explain));
                }
                return;
            }
            std::string line;
            while (std::getline(std::cin, line)) {
                writeLine(parseLine(line, parse->explain));
            }
        });
    });

    auto detect = std::make_shared<ParseOptions>();
    CLI::App* detectCommand = addPinnedCommand(
        date, "detect",
        "Every date or time expression in a text: byte range, text, date and duration", detect);
    detectCommand->add_option("TEXT", detect->texts, "The text to search")->required();
    detectCommand->callback([detect] {
        runPinned(*detect, [&] {
            std::string text;
            for (const std::string& piece : detect->texts) {
                text += (text.empty() ? "" : " ") + piece;
            }
            const std::shared_ptr<Calendar> calendar =
                VelmoraDAO::getSharedInstance().getThreadSafeNSCalendar(false);
            const DateDetector detector(*calendar, Clock::now(),
                                        DateDetector::regionIsMonthFirst());
            for (const DetectedDate& found : detector.matches(text)) {
                writeLine(detectLine(found));
            }
        });
    });
}

}  // namespace velmora::tool

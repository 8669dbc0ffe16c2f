#pragma once
// What `velmora date` needs around the date category: reading and writing ISO 8601 dates
// and pinning the clock, zone, locale and week start for one run, in a home directory of
// its own so that the user's real defaults are never written.
//
// Thread safety: call from the tool's main thread only.
//
//   DateSettings settings{.now = "2024-03-10T12:00:00-05:00", .zone = "America/New_York"};
//   std::optional<DateSession> session = DateSession::start(settings, error);
//   std::cout << isoText(Date::now()) << '\n';

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Date.h"

namespace velmora::tool {

// The years the tool reads and prints, in the proleptic Gregorian calendar: year 0 is
// 1 BC, as in ISO 8601.
inline constexpr int kFirstYear = -9999;
inline constexpr int kLastYear = 9999;

// "2024-03-10", "2024-03-10T12:00", "2024-03-10T12:00:00.25", each with an optional offset
// ("Z", "+01:00", "-0500", "+01"); a space may stand for the "T"; "-0044-03-15" is a BC
// year. Without an offset the reading is taken in the system time zone. Nothing, with
// `error` set, for anything else.
std::optional<Date> parseIsoDate(std::string_view text, std::string& error);

// The date in the system time zone: "2024-03-10T12:00:00-05:00" (whole seconds). A date
// outside the years above (in UTC) is a failure of the command (fail()).
std::string isoText(Date date);

struct DateSettings {
    std::string now;     // empty: the real clock
    std::string zone;    // empty: the host's zone
    std::string locale;  // empty: the host's locale
    std::int64_t weekStart = 0;
};

// Holds the settings for one run: a temporary VELMORA_HOME (removed at the end) and the
// pinned clock, zone, locale and week start.
class DateSession {
  public:
    // Nothing, with `error` set, when a setting cannot be used; a temporary home that
    // cannot be made is a failure of the command (fail()).
    static std::optional<DateSession> start(const DateSettings& settings, std::string& error);

    DateSession(DateSession&& other) noexcept;
    DateSession& operator=(DateSession&&) = delete;
    DateSession(const DateSession&) = delete;
    DateSession& operator=(const DateSession&) = delete;
    ~DateSession();

  private:
    explicit DateSession(std::filesystem::path home) : home_(std::move(home)) {}

    std::filesystem::path home_;  // empty once moved from
};

// Adds --now, --tz, --locale and --week-start, which every date subcommand takes.
void addDateSettingsOptions(CLI::App& command, DateSettings& settings);

// `velmora date parse` and `velmora date detect` (DateCommandParse.cpp).
void addDateParseCommands(CLI::App& date);

}  // namespace velmora::tool

// Any text given to the quick-entry parser gives a date or nothing, within a time bound;
// a date from the detector or the formatter patterns has a plausible year (2001 to 25
// years ahead), one from the compact forms or keywords is finite; the detector's matches
// lie inside the text, in order.
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "Velmora/dates/DateDetector.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"
#include "Velmora/services/VelmoraDAO.h"

#include "fuzz/text/ExactInput.h"

namespace {

using namespace velmora;

// Generous for sanitizer builds; a plain build answers well under a millisecond.
constexpr double kSecondsPerText = 2.0;

// The run's own settings directory, removed when the process ends.
std::string& scratchHome() {
    static std::string home;
    return home;
}

void pinOnce() {
    static const bool pinned = [] {
        std::string& home = scratchHome();
        home = (std::filesystem::temp_directory_path() / "velmora-date-fuzz-XXXXXX").string();
        if (::mkdtemp(home.data()) != nullptr) {
            ::setenv("VELMORA_HOME", home.c_str(), 1);
            std::atexit([] {
                std::error_code ignored;
                std::filesystem::remove_all(scratchHome(), ignored);
            });
        }
        TimeZone::setSystemTimeZone(TimeZone::named("Europe/Berlin").value());
        Locale::setCurrent(Locale("en_GB"));
        Clock::setNowForTesting(Date(1795424400));  // 2026-11-23 10:00 in Berlin
        VelmoraDAO::getSharedInstance();
        return true;
    }();
    (void)pinned;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    pinOnce();
    VelmoraDAO::pinIs24HourClock(data[0] % 2 == 0);
    const fuzzing::ExactInput input(data + 1, size - 1);

    const auto start = std::chrono::steady_clock::now();
    const DateParseResult result = explainParsingDateForString(input.view());
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    if (took.count() > kSecondsPerText) {
        std::abort();
    }
    if (result.date) {
        if (!std::isfinite(result.date->timeIntervalSince1970())) {
            std::abort();
        }
        const int year = getValueForComponent(*result.date, CalendarUnit::Year);
        const bool checked =
            result.step != DateParseStep::Compact && result.step != DateParseStep::Keyword;
        if (checked && (year < 2001 || year > 2051)) {
            std::abort();
        }
    }

    const Calendar calendar;
    std::size_t end = 0;
    for (const DetectedDate& found :
         DateDetector(calendar, Clock::now(), data[0] % 4 < 2).matches(input.view())) {
        if (found.range.location < end || found.range.end() > input.view().size() ||
            found.matchedText != input.view().substr(found.range.location, found.range.length)) {
            std::abort();
        }
        end = found.range.end();
    }
    return 0;
}

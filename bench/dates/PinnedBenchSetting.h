#pragma once
// PinnedBenchSetting: what the date benchmarks depend on, pinned for the whole run: a
// home of its own (the shared-services object reads the user's defaults, and a benchmark
// must read and write nothing of the user's), the system zone, the current locale and
// the clock.
//
// Thread safety: make it once, before any benchmark runs (a function-local static).
//
//   static const PinnedBenchSetting setting("America/New_York", "en_US", Date(1710086400));

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"

namespace velmora::bench {

class PinnedBenchSetting {
  public:
    PinnedBenchSetting(std::string_view zone, std::string_view locale, Date now) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "velmora-dates-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) {
            home_ = pattern;
            ::setenv("VELMORA_HOME", pattern.c_str(), 1);
        }
        TimeZone::setSystemTimeZone(TimeZone::named(zone).value());
        Locale::setCurrent(Locale(locale));
        Clock::setNowForTesting(now);
    }
    ~PinnedBenchSetting() {
        std::error_code ignored;
        std::filesystem::remove_all(home_, ignored);
    }
    PinnedBenchSetting(const PinnedBenchSetting&) = delete;
    PinnedBenchSetting& operator=(const PinnedBenchSetting&) = delete;

  private:
    std::filesystem::path home_;
};

}  // namespace velmora::bench

// The quick-entry parser on the corpus in data/dates-bench, with now, zone and locale
// pinned (2026-11-23 10:00 in Europe/Berlin, en_GB, 24-hour clock): the mean time per
// parse over the whole corpus and per step that answered, the worst single text, and the
// peers (Python's dateparser and parsedatetime, timed inside Python by
// date_parser_peers.py, interpreter start excluded) on the same texts in the same run.
// All figures are CPU time, so that the load of a shared machine favours neither side.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraDAO.h"

#include "bench/dates/PinnedBenchSetting.h"

namespace {

using namespace velmora;

constexpr double kNow = 1795424400;  // 2026-11-23 10:00 in Berlin, a Monday
constexpr const char* kZone = "Europe/Berlin";

// The pinned setting, the shared-services object made in it, the system log it registers
// taken away again (the parser logs a debug line for every text past the compact forms:
// measured would be syslog), and a 24-hour clock.
void pin() {
    static const bench::PinnedBenchSetting setting(kZone, "en_GB", Date(kNow));
    static const bool ready = [] {
        VelmoraDAO::getSharedInstance();
        Log::removeAllLoggers();
        VelmoraDAO::pinIs24HourClock(true);
        return true;
    }();
    (void)ready;
}

const std::string kCorpusPath = VELMORA_DATES_BENCH_DATA "/quick-entry.txt";

const std::vector<std::string>& corpus() {
    pin();
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> lines;
        std::ifstream in(kCorpusPath);
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    }();
    return texts;
}

// The corpus by the step that answers each text.
const std::map<std::string, std::vector<std::string>>& byStep() {
    static const std::map<std::string, std::vector<std::string>> steps = [] {
        std::map<std::string, std::vector<std::string>> grouped;
        for (const std::string& text : corpus()) {
            const DateParseStep step = explainParsingDateForString(text).step;
            grouped[step == DateParseStep::None ? "none" : dateParseStepName(step)].push_back(text);
        }
        return grouped;
    }();
    return steps;
}

void parseAll(benchmark::State& state, const std::vector<std::string>& texts) {
    for (auto _ : state) {
        for (const std::string& text : texts) {
            benchmark::DoNotOptimize(tryParsingDateForString(text));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
    // Shown as time per parse ("5.2us").
    state.counters["per_parse"] = benchmark::Counter(
        static_cast<double>(texts.size()),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["texts"] = static_cast<double>(texts.size());
}

void BM_QuickEntry_Corpus(benchmark::State& state) {
    parseAll(state, corpus());
}
BENCHMARK(BM_QuickEntry_Corpus)->Unit(benchmark::kMicrosecond);

void BM_QuickEntry_Step(benchmark::State& state, const char* step) {
    const auto found = byStep().find(step);
    if (found == byStep().end()) {
        state.SkipWithError("no text of the corpus ends at this step");
        return;
    }
    parseAll(state, found->second);
}
BENCHMARK_CAPTURE(BM_QuickEntry_Step, compact, "compact")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_QuickEntry_Step, keyword, "keyword")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_QuickEntry_Step, detector, "detector")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_QuickEntry_Step, style, "style")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_QuickEntry_Step, ordinal, "ordinal")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_QuickEntry_Step, pattern, "pattern")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_QuickEntry_Step, none, "none")->Unit(benchmark::kMicrosecond);

// Each text timed on its own in this thread's CPU time (best of 50 runs, so that the shared
// machine's load does not count); the slowest one is reported with its text as the label, and the
// five slowest are listed on stderr.
double threadCpuMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

void BM_QuickEntry_WorstText(benchmark::State& state) {
    constexpr int kRuns = 50;
    std::vector<std::pair<double, std::string>> times;
    for (auto _ : state) {
        times.clear();
        for (const std::string& text : corpus()) {
            double best = 1e9;
            for (int run = 0; run < kRuns; ++run) {
                const double start = threadCpuMicroseconds();
                benchmark::DoNotOptimize(tryParsingDateForString(text));
                best = std::min(best, threadCpuMicroseconds() - start);
            }
            times.emplace_back(best, text);
        }
    }
    std::sort(times.begin(), times.end(), std::greater<>());
    for (std::size_t i = 0; i < std::min<std::size_t>(5, times.size()); ++i) {
        std::fprintf(stderr, "slowest %zu: %.1f us '%s'\n", i + 1, times[i].first,
                     times[i].second.c_str());
    }
    state.counters["worst_us"] = times.empty() ? 0 : times.front().first;
    state.SetLabel(times.empty() ? "" : "'" + times.front().second + "'");
}
BENCHMARK(BM_QuickEntry_WorstText)->Iterations(1)->Unit(benchmark::kMillisecond);

// The peers' figures, read from the script's lines ("peer NAME mean_us M worst_us W ...").
const std::map<std::string, std::string>& peerLines() {
    static const std::map<std::string, std::string> lines = [] {
        std::map<std::string, std::string> found;
        const std::string command =
            std::string(VELMORA_DEBIAN_PYTHON) + " " + VELMORA_DATES_BENCH_SCRIPT + " " +
            kCorpusPath + " " + std::to_string(static_cast<long long>(kNow)) + " " + kZone + " 3";
        const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
        if (!pipe) {
            return found;
        }
        char buffer[4096];
        while (std::fgets(buffer, sizeof buffer, pipe.get()) != nullptr) {
            std::string line(buffer);
            if (line.rfind("peer ", 0) == 0) {
                const std::size_t nameEnd = line.find(' ', 5);
                found[line.substr(5, nameEnd - 5)] = line;
            }
        }
        return found;
    }();
    return lines;
}

double field(const std::string& line, const std::string& name) {
    const std::size_t at = line.find(" " + name + " ");
    return at == std::string::npos ? -1 : std::atof(line.c_str() + at + name.size() + 2);
}

void BM_Peer(benchmark::State& state, const char* name) {
    corpus();
    const auto found = peerLines().find(name);
    if (found == peerLines().end() || found->second.find("unavailable") != std::string::npos) {
        state.SkipWithError("peer not installed (python3-dateparser, python3-parsedatetime)");
        return;
    }
    const std::string& line = found->second;
    // One iteration is the whole corpus, as in BM_QuickEntry_Corpus, so that the two
    // compare per iteration.
    for (auto _ : state) {
        state.SetIterationTime(field(line, "mean_us") * 1e-6 *
                               static_cast<double>(corpus().size()));
    }
    state.counters["us_per_parse"] = field(line, "mean_us");
    state.counters["worst_us"] = field(line, "worst_us");
    state.counters["answered"] = field(line, "answered");
    const std::size_t text = line.find(" worst_text ");
    state.SetLabel("worst '" + line.substr(text + 12, line.size() - text - 13) + "'");
}
BENCHMARK_CAPTURE(BM_Peer, dateparser, "dateparser")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Peer, parsedatetime, "parsedatetime")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace

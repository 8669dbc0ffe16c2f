// JSON against RapidJSON, yajl and nlohmann::json, in one run, on every file of
// data/json-bench:
//   Events/<peer>/<file>  event parsing, the handler only counts events
//   Values/<peer>/<file>  parsing into the library's own tree (Velmora: Values)
//   Write/<peer>/<file>   writing that tree back as compact text
// Throughput is the input file's size per second (bytes_per_second), for writing too, so
// the figures of one file compare across peers.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Velmora/json/VLJson.h"
#include "Velmora/json/VLJsonNumber.h"
#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/json/VLJsonStreamWriter.h"

#include "bench/json/JsonPeers.h"

namespace {

using namespace velmora;

struct EventCounter : VLJsonStreamParserDelegate {
    void parserFoundObjectStart(VLJsonStreamParser&) override { ++events; }
    void parserFoundObjectKey(VLJsonStreamParser&, std::string_view) override { ++events; }
    void parserFoundObjectEnd(VLJsonStreamParser&) override { ++events; }
    void parserFoundArrayStart(VLJsonStreamParser&) override { ++events; }
    void parserFoundArrayEnd(VLJsonStreamParser&) override { ++events; }
    void parserFoundBoolean(VLJsonStreamParser&, bool) override { ++events; }
    void parserFoundNull(VLJsonStreamParser&) override { ++events; }
    void parserFoundNumber(VLJsonStreamParser&, const VLJsonNumber&) override { ++events; }
    void parserFoundString(VLJsonStreamParser&, std::string_view) override { ++events; }
    std::size_t events = 0;
};

std::size_t velmoraEvents(const std::string& text) {
    EventCounter counter;
    VLJsonStreamParser parser;
    parser.setDelegate(&counter);
    return parser.parse(text) == VLJsonParserStatus::Complete ? counter.events : 0;
}

std::size_t velmoraValues(const std::string& text) {
    const auto value = parseJson(text);
    return value ? value->count() + 1 : 0;
}

template <class Work>
void measure(benchmark::State& state, const std::string& text, Work work) {
    for (auto _ : state) {
        const std::size_t result = work(text);
        if (result == 0) {
            state.SkipWithError("refused the input");
            return;
        }
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}

struct Registration {
    Registration() {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(VELMORA_JSON_BENCH_DATA)) {
            if (entry.path().extension() == ".json") {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        for (const auto& path : files) {
            std::ifstream in(path, std::ios::binary);
            auto text = std::make_shared<std::string>(std::istreambuf_iterator<char>(in),
                                                      std::istreambuf_iterator<char>());
            const std::string name = path.stem().string();
            add("Events/Velmora/" + name, text, velmoraEvents);
            add("Events/RapidJSON/" + name, text, bench::rapidJsonSaxEvents);
            add("Events/yajl/" + name, text, bench::yajlEvents);
            add("Events/nlohmann/" + name, text, bench::nlohmannSaxEvents);
            add("Values/Velmora/" + name, text, velmoraValues);
            add("Values/nlohmann/" + name, text, bench::nlohmannParse);
            add("Values/RapidJSON/" + name, text, bench::rapidJsonDomParse);
            add("Values/yajl/" + name, text, bench::yajlTreeParse);
            addWrites(name, text);
        }
    }

    static void add(const std::string& name, std::shared_ptr<std::string> text,
                    std::size_t (*work)(const std::string&)) {
        benchmark::RegisterBenchmark(name.c_str(), [text, work](benchmark::State& state) {
            measure(state, *text, work);
        })->Unit(benchmark::kMicrosecond);
    }

    static void addWrites(const std::string& name, std::shared_ptr<std::string> text) {
        auto value = std::make_shared<Value>(parseJson(*text).value_or(Value()));
        benchmark::RegisterBenchmark(
            ("Write/Velmora/" + name).c_str(),
            [text, value](benchmark::State& state) {
                measure(state, *text, [&value](const std::string&) -> std::size_t {
                    VLJsonStreamWriter writer;
                    return writer.writeValue(*value) ? writer.data().size() : 0;
                });
            })
            ->Unit(benchmark::kMicrosecond);
        const std::pair<const char*, std::shared_ptr<bench::PeerDocument>> peers[] = {
            {"RapidJSON", bench::rapidJsonDocument(*text)},
            {"yajl", bench::yajlDocument(*text)},
            {"nlohmann", bench::nlohmannDocument(*text)},
        };
        for (const auto& [peer, document] : peers) {
            benchmark::RegisterBenchmark(("Write/" + std::string(peer) + "/" + name).c_str(),
                                         [text, document = document](benchmark::State& state) {
                                             measure(state, *text, [&document](const std::string&) {
                                                 return document->write();
                                             });
                                         })
                ->Unit(benchmark::kMicrosecond);
        }
    }
};

const Registration registration;

}  // namespace

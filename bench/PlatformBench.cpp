// Platform core against the obvious alternatives, in one run:
//   Dictionary (Value keys, insertion order) vs std::unordered_map<std::string, int>
//   serial DispatchQueue vs an Asio strand on a thread pool (the design not taken)
//   NotificationCenter posting to N observers.
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/strand.hpp>
#include <asio/thread_pool.hpp>
#include <future>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/Value.h"

namespace {

using namespace velmora;

std::vector<std::string> makeKeys(std::size_t count) {
    std::vector<std::string> keys;
    keys.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        keys.push_back("key-" + std::to_string(i * 7919));
    }
    return keys;
}

void BM_Dictionary_SetThenGet(benchmark::State& state) {
    const auto keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    std::vector<Value> keyValues(keys.begin(), keys.end());
    for (auto _ : state) {
        Dictionary d;
        for (std::size_t i = 0; i < keyValues.size(); ++i) {
            d.set(keyValues[i], static_cast<std::int64_t>(i));
        }
        std::int64_t sum = 0;
        for (const auto& key : keyValues) {
            sum += d.find(key)->integerValue();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Dictionary_SetThenGet)->Arg(1)->Arg(4)->Arg(8)->Arg(16)->Arg(256)->Arg(4096);

void BM_UnorderedMap_SetThenGet(benchmark::State& state) {
    const auto keys = makeKeys(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::unordered_map<std::string, std::int64_t> m;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            m[keys[i]] = static_cast<std::int64_t>(i);
        }
        std::int64_t sum = 0;
        for (const auto& key : keys) {
            sum += m.find(key)->second;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_UnorderedMap_SetThenGet)->Arg(1)->Arg(4)->Arg(8)->Arg(16)->Arg(256)->Arg(4096);

constexpr int kBlocks = 10000;

void BM_SerialQueue_AsyncThroughput(benchmark::State& state) {
    auto queue = DispatchQueue::createSerial("velmora.bench.serial");
    long counter = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBlocks; ++i) {
            queue->async([&counter] { ++counter; });
        }
        queue->sync([] {});
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * kBlocks);
}
BENCHMARK(BM_SerialQueue_AsyncThroughput)->UseRealTime();

void BM_AsioStrand_AsyncThroughput(benchmark::State& state) {
    asio::thread_pool pool(4);
    auto strand = asio::make_strand(pool);
    long counter = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBlocks; ++i) {
            asio::post(strand, [&counter] { ++counter; });
        }
        std::promise<void> done;
        asio::post(strand, [&done] { done.set_value(); });
        done.get_future().wait();
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * kBlocks);
}
BENCHMARK(BM_AsioStrand_AsyncThroughput)->UseRealTime();

// A sync round trip on an idle queue: ours runs the block on the caller's thread.
void BM_SerialQueue_SyncRoundTrip(benchmark::State& state) {
    auto queue = DispatchQueue::createSerial("velmora.bench.sync");
    long counter = 0;
    for (auto _ : state) {
        queue->sync([&counter] { ++counter; });
    }
    benchmark::DoNotOptimize(counter);
}
BENCHMARK(BM_SerialQueue_SyncRoundTrip)->UseRealTime();

void BM_AsioStrand_SyncRoundTrip(benchmark::State& state) {
    asio::thread_pool pool(4);
    auto strand = asio::make_strand(pool);
    long counter = 0;
    for (auto _ : state) {
        std::promise<void> done;
        asio::post(strand, [&] {
            ++counter;
            done.set_value();
        });
        done.get_future().wait();
    }
    benchmark::DoNotOptimize(counter);
}
BENCHMARK(BM_AsioStrand_SyncRoundTrip)->UseRealTime();

void BM_NotificationCenter_Post(benchmark::State& state) {
    NotificationCenter center;
    std::vector<NotificationCenter::Observation> observers;
    long delivered = 0;
    for (int i = 0; i < state.range(0); ++i) {
        observers.push_back(
            center.addObserver("tick", [&delivered](const Notification&) { ++delivered; }));
        observers.push_back(center.addObserver("other", [](const Notification&) {}));
    }
    const Notification tick{"tick", nullptr, {}};
    for (auto _ : state) {
        center.post(tick);
    }
    benchmark::DoNotOptimize(delivered);
    state.SetItemsProcessed(state.iterations());
}
// Arg(0): a post nobody observes, which returns before the centre's lock.
BENCHMARK(BM_NotificationCenter_Post)->Arg(0)->Arg(1)->Arg(16)->Arg(128);

}  // namespace

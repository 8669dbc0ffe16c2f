// NSMutableLockArray under contention against the same workload on a vector guarded by
// std::shared_mutex (glibc's default reader-preferring lock), in one run. Thread 0
// writes (add then remove-first, keeping the size steady); the other threads read
// elements by index. items_per_second counts every operation; writes_per_second only the
// writer's, which is what a writer-preferring lock protects from starvation.
#include <memory>
#include <shared_mutex>
#include <vector>

#include <benchmark/benchmark.h>

#include "Velmora/collections/NSMutableLockArray.h"

namespace {

using namespace velmora;

constexpr std::size_t kElements = 1024;

void countOperations(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations());
    const bool writer = state.thread_index() == 0 && state.threads() > 1;
    state.counters["writes"] = benchmark::Counter(
        writer ? static_cast<double>(state.iterations()) : 0.0, benchmark::Counter::kIsRate);
}

void BM_NSMutableLockArray_ReadersAndAWriter(benchmark::State& state) {
    static std::shared_ptr<NSMutableLockArray> array;
    if (state.thread_index() == 0) {
        array = std::make_shared<NSMutableLockArray>(kElements);
        for (std::size_t i = 0; i < kElements; ++i) {
            array->addObject(static_cast<std::int64_t>(i));
        }
    }
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 7;
    for (auto _ : state) {
        if (state.thread_index() == 0 && state.threads() > 1) {
            array->lockAddObject(static_cast<std::int64_t>(i));
            array->lockRemoveFirstObject();
        } else {
            benchmark::DoNotOptimize(array->lockObjectAtIndex(i % kElements));
        }
        ++i;
    }
    countOperations(state);
}
BENCHMARK(BM_NSMutableLockArray_ReadersAndAWriter)->ThreadRange(1, 4)->UseRealTime();

void BM_SharedMutexVector_ReadersAndAWriter(benchmark::State& state) {
    static std::shared_mutex mutex;
    static std::vector<Value> array;
    if (state.thread_index() == 0) {
        array.clear();
        for (std::size_t i = 0; i < kElements; ++i) {
            array.emplace_back(static_cast<std::int64_t>(i));
        }
    }
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 7;
    for (auto _ : state) {
        if (state.thread_index() == 0 && state.threads() > 1) {
            std::unique_lock lock(mutex);
            array.emplace_back(static_cast<std::int64_t>(i));
            array.erase(array.begin());
        } else {
            std::shared_lock lock(mutex);
            const std::size_t index = i % kElements;
            benchmark::DoNotOptimize(index < array.size() ? array[index] : Value());
        }
        ++i;
    }
    countOperations(state);
}
BENCHMARK(BM_SharedMutexVector_ReadersAndAWriter)->ThreadRange(1, 4)->UseRealTime();

}  // namespace

// FetchedResultListDiff on lists of 1,000 sections holding 100,000 and 1,000,000 items,
// with 100 changes spread over the sections: 25 rows removed, 25 added, 25 moved to
// another section and 25 updated (modified after the old fetch). The new list is made of
// new record objects, equal to the old ones by id, as a refetch makes them.
//
// Goals: at 100,000 items, the diff without modifying the old list in at most 10 ms and
// with modification in at most 20 ms (on the project's 2-core machine); at 1,000,000 items
// at most ten times the 100,000 figure. BM_HashSetBaseline builds std::unordered_set's of
// the old and the new items in the same run: compare each diff with it for the ratio.
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "Velmora/collections/FetchedRecord.h"
#include "Velmora/collections/FetchedResultList.h"
#include "Velmora/collections/FetchedResultListDiff.h"

namespace {

using namespace velmora;

constexpr std::size_t kSections = 1000;
constexpr std::size_t kChangesPerKind = 25;
constexpr double kFetched = 1000.0;

struct ListPair {
    std::shared_ptr<FetchedResultList> old;
    std::shared_ptr<FetchedResultList> fresh;
};

Value record(std::int64_t id, double modified) {
    return Value(std::make_shared<FetchedRecord>(Value(id), Date(modified)));
}

std::shared_ptr<FetchedResultList> listOf(const std::vector<std::vector<std::int64_t>>& ids,
                                          std::int64_t updatedFrom, double fetched) {
    auto list = FetchedResultList::create();
    for (std::size_t s = 0; s < ids.size(); ++s) {
        list->allFetchedSections()->addObject(Value(static_cast<std::int64_t>(s)));
        Array items;
        items.reserve(ids[s].size());
        for (const std::int64_t id : ids[s]) {
            items.push_back(record(id, id >= updatedFrom ? kFetched + 1 : kFetched - 1));
        }
        list->allFetchedSectionItems()->addObject(Value(std::move(items)));
    }
    list->setTimeOfFetch(Date(fetched));
    return list;
}

// Built once per size: every benchmark of that size reads the same pair.
const ListPair& lists(std::size_t itemCount) {
    static std::map<std::size_t, ListPair> made;
    if (auto found = made.find(itemCount); found != made.end()) {
        return found->second;
    }
    const std::size_t perSection = itemCount / kSections;
    std::vector<std::vector<std::int64_t>> ids(kSections);
    std::int64_t next = 0;
    for (auto& section : ids) {
        for (std::size_t i = 0; i < perSection; ++i) {
            section.push_back(next++);
        }
    }
    std::vector<std::vector<std::int64_t>> fresh = ids;
    // Each change in a section of its own, 10 sections apart; rows spread inside.
    const std::int64_t kUpdatedBase = next + 1'000'000;
    std::int64_t updatedId = kUpdatedBase;
    for (std::size_t k = 0; k < kChangesPerKind; ++k) {
        auto& removedFrom = fresh[(k * 40) % kSections];
        removedFrom.erase(removedFrom.begin() + static_cast<std::ptrdiff_t>(k % perSection));
        auto& addedTo = fresh[(k * 40 + 10) % kSections];
        addedTo.insert(addedTo.begin() + static_cast<std::ptrdiff_t>((k * 7) % perSection), next++);
        auto& movedFrom = fresh[(k * 40 + 20) % kSections];
        const std::int64_t moved = movedFrom[perSection / 2];
        movedFrom.erase(movedFrom.begin() + static_cast<std::ptrdiff_t>(perSection / 2));
        fresh[(k * 40 + 21) % kSections].push_back(moved);
        // An updated item gets an id from a range the dates are keyed on, in both lists.
        const std::size_t updatedRow = (k * 13) % perSection;
        ids[(k * 40 + 30) % kSections][updatedRow] = updatedId;
        fresh[(k * 40 + 30) % kSections][updatedRow] = updatedId++;
    }
    ListPair pair{listOf(ids, std::numeric_limits<std::int64_t>::max(), kFetched),
                  listOf(fresh, kUpdatedBase, kFetched + 10)};
    return made.emplace(itemCount, std::move(pair)).first->second;
}

void checkDiff(benchmark::State& state, const std::shared_ptr<FetchedResultListDiff>& diff) {
    // 25 removed + 25 moved out + 25 updated; 25 added + 25 moved in + 25 updated.
    if (!diff || diff->deletedRows().size() != 3 * kChangesPerKind ||
        diff->insertedRows().size() != 3 * kChangesPerKind) {
        state.SkipWithError("the diff did not find the 100 changes");
    }
}

void BM_FetchedResultListDiff(benchmark::State& state) {
    const ListPair& pair = lists(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        auto diff = FetchedResultListDiff::getFetchedResultDiffWithOldResult(pair.old, pair.fresh,
                                                                             true, false);
        checkDiff(state, diff);
        benchmark::DoNotOptimize(diff);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FetchedResultListDiff)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void BM_FetchedResultListDiffModifying(benchmark::State& state) {
    const ListPair& pair = lists(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        auto old = pair.old->copy();
        state.ResumeTiming();
        auto diff =
            FetchedResultListDiff::getFetchedResultDiffWithOldResult(old, pair.fresh, true, true);
        checkDiff(state, diff);
        benchmark::DoNotOptimize(diff);
        state.PauseTiming();
        old.reset();  // freeing the copy is not the diff's cost
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FetchedResultListDiffModifying)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);

void BM_HashSetBaseline(benchmark::State& state) {
    const ListPair& pair = lists(static_cast<std::size_t>(state.range(0)));
    const Array oldItems = pair.old->allFetchedItemsUncached();
    const Array newItems = pair.fresh->allFetchedItemsUncached();
    for (auto _ : state) {
        std::unordered_set<Value, ValueHash> oldSet(oldItems.begin(), oldItems.end(),
                                                    oldItems.size());
        std::unordered_set<Value, ValueHash> newSet(newItems.begin(), newItems.end(),
                                                    newItems.size());
        benchmark::DoNotOptimize(oldSet);
        benchmark::DoNotOptimize(newSet);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_HashSetBaseline)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

}  // namespace

// Register, undo and redo N tasks, as N single-task groups and as one group of N tasks:
// the undo manager (a lambda per task, and a call recorded through the proxy) against a
// baseline that keeps groups as vectors of std::function closures. Each undone task
// registers its redo, and each redone task its undo, in both. items_per_second counts
// tasks: N registered + N undone + N redone per iteration.
#include <functional>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "Velmora/undo/SelectorTable.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace {

using namespace velmora;

constexpr std::int64_t kTasks = 1'000'000;

// The least an undo stack must do: groups of closures, and a redo group collecting what
// the undone closures register.
class BaselineUndo {
  public:
    using Group = std::vector<std::function<void()>>;

    void begin() { (undoing_ ? redo_ : undo_).emplace_back(); }
    void record(std::function<void()> closure) {
        (undoing_ ? redo_ : undo_).back().push_back(std::move(closure));
    }
    void undo() { replay(undo_, true); }
    void redo() { replay(redo_, false); }

  private:
    void replay(std::vector<Group>& from, bool undoing) {
        Group group = std::move(from.back());
        from.pop_back();
        undoing_ = undoing;
        begin();
        for (auto closure = group.rbegin(); closure != group.rend(); ++closure) {
            (*closure)();
        }
        undoing_ = false;
    }

    std::vector<Group> undo_;
    std::vector<Group> redo_;
    bool undoing_ = false;
};

struct BaselineCounter {
    BaselineUndo& undo;
    std::int64_t value = 0;
    void add(std::int64_t delta) {
        value += delta;
        undo.record([this, delta] { add(-delta); });
    }
};

class Counter : public Object, public SelectorTarget {
  public:
    Counter(VLMUndoManager& undo, bool proxy) : undo_(undo), proxy_(proxy) {}
    static std::shared_ptr<Counter> make(VLMUndoManager& undo, bool proxy) {
        auto counter = std::make_shared<Counter>(undo, proxy);
        counter->self_ = counter;
        return counter;
    }
    void add(std::int64_t delta) {
        value += delta;
        static const Selector kAdd("add:");
        if (proxy_) {
            undo_.prepareWithInvocationTarget(self_.lock()).invoke(kAdd, -delta);
        } else {
            undo_.registerUndo(
                self_.lock(), [delta](Counter& c) { c.add(-delta); }, kAdd);
        }
    }
    bool respondsToSelector(Selector selector) const override { return table().responds(selector); }
    Value performSelector(Selector selector, std::span<const Value> arguments) override {
        return table().perform(*this, selector, arguments);
    }
    std::int64_t value = 0;

  private:
    static const SelectorTable<Counter>& table() {
        static const SelectorTable<Counter> kTable{
            {"add:", [](Counter& c, std::span<const Value> a) {
                 c.add(a[0].integerValue());
                 return Value();
             }}};
        return kTable;
    }
    VLMUndoManager& undo_;
    const bool proxy_;
    std::weak_ptr<Counter> self_;
};

void BM_Baseline_SingleTaskGroups(benchmark::State& state) {
    for (auto _ : state) {
        BaselineUndo undo;
        BaselineCounter counter{undo};
        for (std::int64_t i = 0; i < kTasks; ++i) {
            undo.begin();
            counter.add(1);
        }
        for (std::int64_t i = 0; i < kTasks; ++i) {
            undo.undo();
        }
        for (std::int64_t i = 0; i < kTasks; ++i) {
            undo.redo();
        }
        benchmark::DoNotOptimize(counter.value);
    }
    state.SetItemsProcessed(state.iterations() * kTasks * 3);
}

void BM_Baseline_OneGroup(benchmark::State& state) {
    for (auto _ : state) {
        BaselineUndo undo;
        BaselineCounter counter{undo};
        undo.begin();
        for (std::int64_t i = 0; i < kTasks; ++i) {
            counter.add(1);
        }
        undo.undo();
        undo.redo();
        benchmark::DoNotOptimize(counter.value);
    }
    state.SetItemsProcessed(state.iterations() * kTasks * 3);
}

// range(0): 1 to record through the proxy, 0 for a lambda per task.
void BM_Manager_SingleTaskGroups(benchmark::State& state) {
    for (auto _ : state) {
        VLMUndoManager undo;
        undo.setGroupsByEvent(false);
        auto counter = Counter::make(undo, state.range(0) == 1);
        for (std::int64_t i = 0; i < kTasks; ++i) {
            undo.beginUndoGrouping();
            counter->add(1);
            undo.endUndoGrouping();
        }
        for (std::int64_t i = 0; i < kTasks; ++i) {
            undo.undo();
        }
        for (std::int64_t i = 0; i < kTasks; ++i) {
            undo.redo();
        }
        benchmark::DoNotOptimize(counter->value);
    }
    state.SetItemsProcessed(state.iterations() * kTasks * 3);
}

void BM_Manager_OneGroup(benchmark::State& state) {
    for (auto _ : state) {
        VLMUndoManager undo;
        undo.setGroupsByEvent(false);
        auto counter = Counter::make(undo, state.range(0) == 1);
        undo.beginUndoGrouping();
        for (std::int64_t i = 0; i < kTasks; ++i) {
            counter->add(1);
        }
        undo.endUndoGrouping();
        undo.undo();
        undo.redo();
        benchmark::DoNotOptimize(counter->value);
    }
    state.SetItemsProcessed(state.iterations() * kTasks * 3);
}

BENCHMARK(BM_Baseline_SingleTaskGroups)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Manager_SingleTaskGroups)
    ->ArgName("proxy")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Baseline_OneGroup)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Manager_OneGroup)->ArgName("proxy")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

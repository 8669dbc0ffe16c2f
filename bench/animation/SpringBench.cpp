// Key frames per second of the spring animation: the default spring on a number from 0
// to 100, and a 3-D transform from the identity to a scaled and moved matrix (sixteen
// scalar springs per key frame).
#include <array>

#include <benchmark/benchmark.h>

#include "Velmora/animation/VLMCASpringAnimation.h"

namespace {

using namespace velmora;

void run(benchmark::State& state, const AnimationValue& from, const AnimationValue& to) {
    std::size_t frames = 0;
    for (auto _ : state) {
        VLMCASpringAnimation spring;
        spring.setFromValue(from);
        spring.setToValue(to);
        frames += spring.values().size();
        benchmark::DoNotOptimize(spring.values().data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(frames));
}

void BM_Spring_Number0To100(benchmark::State& state) {
    run(state, AnimationValue::number(0), AnimationValue::number(100));
}

void BM_Spring_Transform3D(benchmark::State& state) {
    std::array<double, 16> identity{};
    std::array<double, 16> moved{};
    for (std::size_t i = 0; i < 16; ++i) {
        identity[i] = i % 5 == 0 ? 1 : 0;
        moved[i] = i % 5 == 0 ? 2 : 0;
    }
    moved[12] = 40;  // tx, ty, tz
    moved[13] = -25;
    moved[14] = 10;
    run(state, AnimationValue::transform3D(identity), AnimationValue::transform3D(moved));
}

BENCHMARK(BM_Spring_Number0To100);
BENCHMARK(BM_Spring_Transform3D);

}  // namespace

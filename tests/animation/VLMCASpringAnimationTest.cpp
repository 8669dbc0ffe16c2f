#include <cmath>
#include <memory>

#include <gtest/gtest.h>

#include "Velmora/animation/SpringFunctions.h"
#include "Velmora/animation/VLMCASpringAnimation.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

namespace velmora {
namespace {

VLMCASpringAnimation spring(AnimationValue from, AnimationValue to) {
    auto animation = VLMCASpringAnimation::animationWithKeyPath("position");
    animation.setFromValue(from);
    animation.setToValue(to);
    return animation;
}

TEST(SpringFunctionsTest, SinglePrecisionConstantsAndFrequencies) {
    EXPECT_EQ(VLSpringAnimationThreshold(1.0), 9.999999747378752e-05);
    EXPECT_EQ(kSpringCompletionLimit, 0.0010000000474974513);
    EXPECT_DOUBLE_EQ(VLSpringAngularFrequency(300, 5, 30), std::sqrt(51.0));
    EXPECT_EQ(VLSpringAngularFrequency(1, 1, 10), 0.0);  // over-damped
    EXPECT_EQ(VLSpringRelativePosition(0, 1, 0, 30, 5, 300), 0.0);
    EXPECT_EQ(VLSpringAbsolutePosition(100, 0, 0, 30, 5, 300, 0), 0.0);
    EXPECT_TRUE(VLSpringThresholdReached(100.005, 100.0, 100.0, 0.01));
    EXPECT_FALSE(VLSpringThresholdReached(100.02, 100.0, 100.0, 0.01));
    EXPECT_TRUE(VLSpringCalculationsAreComplete(1, 1.0009, 1, 2, 2, 2, 3, 3, 3.0009));
    EXPECT_FALSE(VLSpringCalculationsAreComplete(1, 1.0011, 1, 2, 2, 2, 3, 3, 3));
}

TEST(VLMCASpringAnimationTest, DefaultSpringOvershootsAndSettlesByTheRule) {
    auto animation = spring(AnimationValue::number(0), AnimationValue::number(100));
    EXPECT_EQ(animation.mass(), 5.0);
    EXPECT_EQ(animation.damping(), 30.0);
    EXPECT_EQ(animation.stiffness(), 300.0);
    const std::vector<AnimationValue>& frames = animation.values();
    ASSERT_GT(frames.size(), 2u);
    EXPECT_EQ(frames.front().components()[0], 0.0);
    double peak = 0;
    for (const AnimationValue& frame : frames) {
        peak = std::max(peak, frame.components()[0]);
    }
    EXPECT_GT(peak, 100.0);
    // The next sample would settle: within 0.0001f of the travel of the last one, which
    // is itself that close to the target; the last frame does not yet settle on its own.
    const double threshold = VLSpringAnimationThreshold(100);
    const double last = frames.back().components()[0];
    double time = 0;  // accumulated as the animation does
    for (std::size_t i = 0; i < frames.size(); ++i) {
        time += VLMCASpringAnimation::kSampleStep;
    }
    const double next = VLSpringAbsolutePosition(100, time, 0, 30, 5, 300, 0);
    EXPECT_TRUE(VLSpringThresholdReached(last, next, 100, threshold));
    const double beforeLast = frames[frames.size() - 2].components()[0];
    EXPECT_FALSE(VLSpringThresholdReached(beforeLast, last, 100, threshold));
    EXPECT_DOUBLE_EQ(animation.duration(), frames.size() * VLMCASpringAnimation::kSampleStep);
    EXPECT_FALSE(animation.needsRecalculation());
}

TEST(VLMCASpringAnimationTest, EndValuesAtTheEdges) {
    struct Case {
        const char* name;
        double from, to;
        std::size_t frames;
        double first;
    };
    const std::vector<Case> cases{
        {"equal ends", 5, 5, 1, 5},
        {"both ends 0", 0, 0, 0, 0},
        // Components are read in single precision: 2^24 + 1 becomes 2^24.
        {"equal ends beyond float precision", 16777217, 16777217, 1, 16777216},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto animation = spring(AnimationValue::number(c.from), AnimationValue::number(c.to));
        ASSERT_EQ(animation.values().size(), c.frames);
        if (c.frames > 0) {
            EXPECT_EQ(animation.values()[0].components()[0], c.first);
        }
        EXPECT_DOUBLE_EQ(animation.duration(), c.frames * VLMCASpringAnimation::kSampleStep);
    }
    VLMCASpringAnimation empty;
    EXPECT_EQ(empty.duration(), 0.0);
}

TEST(VLMCASpringAnimationTest, NonPositiveDampingIsLoggedAndReplacedByOne) {
    auto memory = std::make_shared<MemoryLogger>();
    Log::addLogger(memory);
    VLMCASpringAnimation animation;
    for (const double damping : {0.0, -2.0}) {
        animation.setDamping(damping);
        EXPECT_EQ(animation.damping(), 1.0);
    }
    animation.setDamping(0.5);
    EXPECT_EQ(animation.damping(), 0.5);
    Log::removeLogger(memory);
    const std::vector<std::string> lines = memory->lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("[VLMCASpringAnimation] LOGIC ERROR. `damping` should be > 0.0f to "
                            "avoid an infinite spring calculation"),
              std::string::npos);
}

TEST(VLMCASpringAnimationTest, OverDampedSpringApproachesWithoutOvershoot) {
    auto animation = spring(AnimationValue::number(0), AnimationValue::number(10));
    animation.setDamping(100);  // b² = 10000 > 4 k m = 6000
    double previous = -1;
    for (const AnimationValue& frame : animation.values()) {
        const double x = frame.components()[0];
        EXPECT_GT(x, previous);
        EXPECT_LE(x, 10.0);
        previous = x;
    }
}

TEST(VLMCASpringAnimationTest, EachKindSpringsItsComponentsInOrder) {
    std::array<double, 16> identity{};
    std::array<double, 16> moved{};
    for (std::size_t i = 0; i < 16; ++i) {
        identity[i] = i % 5 == 0 ? 1 : 0;
        moved[i] = static_cast<double>(i);
    }
    const std::vector<std::pair<AnimationValue, AnimationValue>> cases{
        {AnimationValue::point(0, 10), AnimationValue::point(5, 20)},
        {AnimationValue::size(1, 2), AnimationValue::size(3, 4)},
        {AnimationValue::rect(0, 0, 10, 10), AnimationValue::rect(1, 2, 30, 40)},
        {AnimationValue::affineTransform(1, 0, 0, 1, 0, 0),
         AnimationValue::affineTransform(2, 0, 0, 2, 10, 20)},
        {AnimationValue::transform3D(identity), AnimationValue::transform3D(moved)},
    };
    for (const auto& [from, to] : cases) {
        SCOPED_TRACE(from.description());
        auto animation = spring(from, to);
        const std::vector<AnimationValue>& frames = animation.values();
        ASSERT_FALSE(frames.empty());
        EXPECT_EQ(frames.front(), from);
        EXPECT_EQ(frames.back().kind(), from.kind());
        // Each component follows the scalar spring of its own ends.
        const std::size_t middle = frames.size() / 3;
        for (std::size_t i = 0; i < from.components().size(); ++i) {
            const double f = from.components()[i];
            const double t = to.components()[i];
            EXPECT_NEAR(frames[middle].components()[i],
                        VLSpringAbsolutePosition(t - f, middle * VLMCASpringAnimation::kSampleStep,
                                                 0, 30, 5, 300, f),
                        1e-9);
        }
    }
}

TEST(VLMCASpringAnimationTest, CopiesKeepTheCacheAndChangesRecalculate) {
    auto animation = spring(AnimationValue::number(0), AnimationValue::number(100));
    const std::size_t frames = animation.values().size();
    animation.setStiffness(600);
    EXPECT_TRUE(animation.needsRecalculation());
    const VLMCASpringAnimation copy = animation.copy();
    EXPECT_FALSE(copy.needsRecalculation());
    EXPECT_EQ(copy.keyPath(), "position");
    EXPECT_EQ(copy.stiffness(), 600.0);
    VLMCASpringAnimation cached = copy;
    EXPECT_EQ(cached.values().size(), frames);  // the copy's cache, computed before the change
    EXPECT_NE(animation.values().size(), frames);
}

TEST(VLMCASpringAnimationTest, AnUnsettlingSpringStopsAtTheSampleBound) {
    auto animation = spring(AnimationValue::number(0), AnimationValue::number(1));
    animation.setDamping(1e-9);
    EXPECT_EQ(animation.values().size(), VLMCASpringAnimation::kMaxSamples);
}

}  // namespace
}  // namespace velmora

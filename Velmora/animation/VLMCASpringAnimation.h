#pragma once
// VLMCASpringAnimation: a key-frame animation whose key frames come from a damped spring
// running from fromValue to toValue. Each component of the value (see AnimationValue) is
// its own scalar spring; the spring is sampled once per millisecond until it settles, so
// the animation plays one key frame per millisecond and its duration is the settling
// time. The key frames are computed on first use after a change and cached.
//
// Settling: a sample is taken while some component is still moving (its step from the
// previous sample, or the previous sample's distance to the target, exceeds 0.0001f of
// the component's travel). The previous sample starts at 0, not at fromValue, and the
// sample that settles is not added: equal ends other than 0 give one key frame, both
// ends 0 none.
//
// Bound: at most kMaxSamples key frames (1000 s of animation). A spring that has not
// settled by then (a damping close to 0) is cut there, with a warning logged; its last
// key frame is then wherever the spring was at that time.
//
// Thread safety: none; use one animation on one thread at a time.
//
//   auto spring = VLMCASpringAnimation::animationWithKeyPath("position.x");
//   spring.setFromValue(AnimationValue::number(0)); spring.setToValue(AnimationValue::number(100));
//   for (const AnimationValue& frame : spring.values()) { apply(frame); }

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Velmora/animation/AnimationValue.h"

namespace velmora {

class VLMCASpringAnimation {
  public:
    static constexpr std::size_t kMaxSamples = 1'000'000;
    // One key frame per millisecond (0.001f, widened to double).
    static constexpr double kSampleStep = static_cast<double>(0.001f);
    using Map = std::function<AnimationValue(std::span<const double> components)>;

    static VLMCASpringAnimation animationWithKeyPath(std::string keyPath);

    VLMCASpringAnimation() = default;
    // The copy keeps the cached key frames and starts with needsRecalculation false.
    VLMCASpringAnimation(const VLMCASpringAnimation& other);
    VLMCASpringAnimation& operator=(const VLMCASpringAnimation& other);
    VLMCASpringAnimation copy() const { return *this; }

    const std::string& keyPath() const { return keyPath_; }
    void setKeyPath(std::string keyPath) { keyPath_ = std::move(keyPath); }

    const std::optional<AnimationValue>& fromValue() const { return fromValue_; }
    void setFromValue(std::optional<AnimationValue> value);
    const std::optional<AnimationValue>& toValue() const { return toValue_; }
    // REQUIRES: the same kind as fromValue (another kind gives no key frames, logged).
    void setToValue(std::optional<AnimationValue> value);
    double mass() const { return mass_; }
    // REQUIRES: mass > 0.
    void setMass(double mass);
    double damping() const { return damping_; }
    // A value ≤ 0 would never settle: it is logged as a logic error and 1 is stored.
    void setDamping(double damping);
    double stiffness() const { return stiffness_; }
    void setStiffness(double stiffness);
    bool needsRecalculation() const { return needsRecalculation_; }

    // The key frames, computed when an input changed since the last computation.
    const std::vector<AnimationValue>& interpolatedValues();
    void setInterpolatedValues(std::vector<AnimationValue> values);
    const std::vector<AnimationValue>& values() { return interpolatedValues(); }
    // Key frames × 0.001f seconds; 0 without both end values.
    double duration();
    void calculateInterpolatedValues();
    // The samples of one spring per component, from[i] to to[i], each boxed by map.
    // REQUIRES: from.size() == to.size().
    std::vector<AnimationValue> valuesFromNumbers(std::span<const double> from,
                                                  std::span<const double> to, const Map& map) const;

    // "<VLMCASpringAnimation: 0x...> mass: 5.000000, damping: ..., toValue: ..., fromValue ..."
    std::string description() const;

  private:
    std::string keyPath_;
    double mass_ = 5.0;
    double damping_ = 30.0;
    double stiffness_ = 300.0;
    bool needsRecalculation_ = false;
    std::optional<AnimationValue> toValue_;
    std::optional<AnimationValue> fromValue_;
    std::vector<AnimationValue> interpolatedValues_;
};

}  // namespace velmora

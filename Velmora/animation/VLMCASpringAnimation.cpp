#include "Velmora/animation/VLMCASpringAnimation.h"

#include <cmath>
#include <vector>

#include <fmt/format.h>

#include "Velmora/animation/SpringFunctions.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {
namespace {

std::string describe(const std::optional<AnimationValue>& value) {
    return value ? value->description() : std::string("(null)");
}

}  // namespace

VLMCASpringAnimation VLMCASpringAnimation::animationWithKeyPath(std::string keyPath) {
    VLMCASpringAnimation animation;
    animation.keyPath_ = std::move(keyPath);
    return animation;
}

VLMCASpringAnimation::VLMCASpringAnimation(const VLMCASpringAnimation& other)
    : keyPath_(other.keyPath_),
      mass_(other.mass_),
      damping_(other.damping_),
      stiffness_(other.stiffness_),
      toValue_(other.toValue_),
      fromValue_(other.fromValue_),
      interpolatedValues_(other.interpolatedValues_) {}

VLMCASpringAnimation& VLMCASpringAnimation::operator=(const VLMCASpringAnimation& other) {
    keyPath_ = other.keyPath_;
    mass_ = other.mass_;
    damping_ = other.damping_;
    stiffness_ = other.stiffness_;
    needsRecalculation_ = false;
    toValue_ = other.toValue_;
    fromValue_ = other.fromValue_;
    interpolatedValues_ = other.interpolatedValues_;
    return *this;
}

void VLMCASpringAnimation::setFromValue(std::optional<AnimationValue> value) {
    fromValue_ = std::move(value);
    needsRecalculation_ = true;
}

void VLMCASpringAnimation::setToValue(std::optional<AnimationValue> value) {
    toValue_ = std::move(value);
    needsRecalculation_ = true;
}

void VLMCASpringAnimation::setMass(double mass) {
    mass_ = mass;
    needsRecalculation_ = true;
}

void VLMCASpringAnimation::setDamping(double damping) {
    if (damping <= 0) {
        log::error(
            "[{}] LOGIC ERROR. `damping` should be > 0.0f to avoid an infinite spring "
            "calculation",
            "VLMCASpringAnimation");
        damping = 1.0;
    }
    damping_ = damping;
    needsRecalculation_ = true;
}

void VLMCASpringAnimation::setStiffness(double stiffness) {
    stiffness_ = stiffness;
    needsRecalculation_ = true;
}

const std::vector<AnimationValue>& VLMCASpringAnimation::interpolatedValues() {
    if (needsRecalculation_ || interpolatedValues_.empty()) {
        calculateInterpolatedValues();
    }
    return interpolatedValues_;
}

void VLMCASpringAnimation::setInterpolatedValues(std::vector<AnimationValue> values) {
    interpolatedValues_ = std::move(values);
}

double VLMCASpringAnimation::duration() {
    if (!fromValue_ || !toValue_) {
        return 0;
    }
    return static_cast<double>(interpolatedValues().size()) * kSampleStep;
}

void VLMCASpringAnimation::calculateInterpolatedValues() {
    std::vector<AnimationValue> values;
    if (fromValue_ && toValue_) {
        const AnimationValue::Kind kind = fromValue_->kind();
        if (toValue_->kind() == kind) {
            values = valuesFromNumbers(fromValue_->components(), toValue_->components(),
                                       [kind](std::span<const double> components) {
                                           return AnimationValue::fromComponents(kind, components);
                                       });
        } else {
            log::error("[VLMCASpringAnimation] toValue {} is not of fromValue's kind {}",
                       toValue_->description(), AnimationValue::kindName(kind));
        }
    }
    interpolatedValues_ = std::move(values);
    needsRecalculation_ = false;
}

std::vector<AnimationValue> VLMCASpringAnimation::valuesFromNumbers(std::span<const double> from,
                                                                    std::span<const double> to,
                                                                    const Map& map) const {
    const std::size_t count = std::min(from.size(), to.size());
    std::vector<AnimationValue> result;
    if (count == 0) {
        return result;
    }
    // Components are read in single precision, and their travel is a float difference.
    std::vector<double> start(count), target(count), distance(count), threshold(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto fromFloat = static_cast<float>(from[i]);
        const auto toFloat = static_cast<float>(to[i]);
        start[i] = fromFloat;
        target[i] = toFloat;
        distance[i] = static_cast<double>(toFloat - fromFloat);
        threshold[i] = VLSpringAnimationThreshold(std::fabs(distance[i]));
    }
    // Deliberately 0 rather than the start: the first sample is always taken.
    std::vector<double> previous(count, 0.0);
    std::vector<double> current(count);
    double time = 0;
    while (true) {
        bool settled = true;
        for (std::size_t i = 0; i < count; ++i) {
            current[i] = VLSpringAbsolutePosition(distance[i], time, 0, damping_, mass_, stiffness_,
                                                  start[i]);
        }
        for (std::size_t i = 0; i < count && settled; ++i) {
            settled = VLSpringThresholdReached(previous[i], current[i], target[i], threshold[i]);
        }
        if (settled) {
            break;
        }
        if (result.size() == kMaxSamples) {
            log::warning(
                "[VLMCASpringAnimation] the spring did not settle within {} samples; "
                "its key frames end there",
                kMaxSamples);
            break;
        }
        previous.swap(current);
        result.push_back(map(previous));
        time += kSampleStep;
    }
    return result;
}

std::string VLMCASpringAnimation::description() const {
    return fmt::format(
        "<VLMCASpringAnimation: {}> mass: {:f}, damping: {:f}, stiffness: {:f}, keyPath: {}, "
        "toValue: {}, fromValue {}",
        static_cast<const void*>(this), mass_, damping_, stiffness_, keyPath_, describe(toValue_),
        describe(fromValue_));
}

}  // namespace velmora

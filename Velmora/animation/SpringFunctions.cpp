#include "Velmora/animation/SpringFunctions.h"

#include <cmath>

namespace velmora {

double VLSpringAnimationThreshold(double magnitude) {
    return magnitude * kSpringThresholdFactor;
}

double VLSpringAngularFrequency(double stiffness, double mass, double damping) {
    // Written as the square of sqrt(k/m) so that a negative k/m gives NaN (then 0) too.
    const double natural = std::sqrt(stiffness / mass);
    const double omega = std::sqrt(natural * natural + damping * damping / (-4.0 * mass * mass));
    return std::isnan(omega) ? 0.0 : omega;
}

double VLSpringRelativePosition(double amplitude, double time, double phase, double damping,
                                double mass, double stiffness) {
    if (amplitude == 0) {
        return 0;
    }
    const double omega = VLSpringAngularFrequency(stiffness, mass, damping);
    return amplitude * std::exp(-damping * time / (2.0 * mass)) * std::cos(omega * time + phase);
}

double VLSpringAbsolutePosition(double amplitude, double time, double phase, double damping,
                                double mass, double stiffness, double from) {
    return amplitude + from -
           VLSpringRelativePosition(amplitude, time, phase, damping, mass, stiffness);
}

bool VLSpringThresholdReached(double current, double previous, double to, double threshold) {
    return std::fabs(previous - current) <= threshold && std::fabs(current - to) <= threshold;
}

bool VLSpringCalculationsAreComplete(double current1, double previous1, double to1, double current2,
                                     double previous2, double to2, double current3,
                                     double previous3, double to3) {
    const auto settled = [](double current, double previous, double to) {
        return std::fabs(previous - current) < kSpringCompletionLimit &&
               std::fabs(current - to) < kSpringCompletionLimit;
    };
    return settled(current1, previous1, to1) && settled(current2, previous2, to2) &&
           settled(current3, previous3, to3);
}

}  // namespace velmora

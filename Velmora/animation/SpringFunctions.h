#pragma once
// The physics of a damped spring (mass m, damping b, stiffness k), as plain functions on
// doubles. Two constants are single-precision numbers widened to double (0.0001f and
// 0.001f), so results match, bit for bit, those of code written with float constants.
//
// Thread safety: pure functions.
//
//   double omega = VLSpringAngularFrequency(300, 5, 30);          // sqrt(51)
//   double x = VLSpringAbsolutePosition(100, 0.1, 0, 30, 5, 300, 0);
//   bool done = VLSpringThresholdReached(x, previous, 100, VLSpringAnimationThreshold(100));

namespace velmora {

// 0.0001f and 0.001f as doubles: 9.999999747378752e-05 and 0.0010000000474974513.
inline constexpr double kSpringThresholdFactor = static_cast<double>(0.0001f);
inline constexpr double kSpringCompletionLimit = static_cast<double>(0.001f);

// magnitude × 0.0001f.
double VLSpringAnimationThreshold(double magnitude);
// sqrt(k/m − b²/(4m²)); 0 for an over-damped spring (where that is not a number).
double VLSpringAngularFrequency(double stiffness, double mass, double damping);
// A e^(−b t / 2m) cos(ω t + φ); 0 when the amplitude is 0.
double VLSpringRelativePosition(double amplitude, double time, double phase, double damping,
                                double mass, double stiffness);
// A + from − VLSpringRelativePosition(...): from at t = 0, tending to from + A.
double VLSpringAbsolutePosition(double amplitude, double time, double phase, double damping,
                                double mass, double stiffness, double from);
// |previous − current| ≤ threshold and |current − to| ≤ threshold.
bool VLSpringThresholdReached(double current, double previous, double to, double threshold);
// Each of the six distances |previous − current| and |current − to| is below 0.001f.
bool VLSpringCalculationsAreComplete(double current1, double previous1, double to1, double current2,
                                     double previous2, double to2, double current3,
                                     double previous3, double to3);

}  // namespace velmora

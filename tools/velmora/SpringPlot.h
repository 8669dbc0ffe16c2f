#pragma once
// SpringPlot: draws the key frames of a spring into a PNG with cairo: each component
// against time in milliseconds, with axes, ticks, a legend and a dashed line at each
// component's target, so that overshoot and settling show at a glance.
//
// Thread safety: a function of its arguments only.
//
//   std::string error;
//   if (!plotSpring(frames, names, targets, "spring.png", error)) { fail(error); }

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "Velmora/animation/AnimationValue.h"

namespace velmora::tool {

// False, with error set, when the PNG cannot be written.
bool plotSpring(std::span<const AnimationValue> frames, std::span<const std::string> names,
                const AnimationValue& target, const std::filesystem::path& path,
                std::string& error);

}  // namespace velmora::tool

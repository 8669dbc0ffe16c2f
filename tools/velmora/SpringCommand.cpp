// velmora spring: the key frames of a spring animation between two values, as CSV or
// JSON, and on request a PNG plot of each component against time.
//
//   $ velmora spring --from 0 --to 100 --plot spring.png
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Velmora/animation/VLMCASpringAnimation.h"
#include "Velmora/platform/logging/ConsoleLogger.h"
#include "Velmora/platform/logging/Log.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/SpringPlot.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

struct SpringOptions {
    std::string from;
    std::string to;
    std::string kind = "number";
    std::string mass = "5";
    std::string damping = "30";
    std::string stiffness = "300";
    std::string format = "csv";
    std::string plot;
};

// Component values beyond this would overflow the spring's arithmetic.
constexpr double kLargest = 1e300;

double number(const std::string& text, const std::string& what) {
    std::string why;
    const std::optional<double> value = parseNumber(text, -kLargest, kLargest, &why);
    if (!value) {
        usageError(what + ": " + why);
    }
    return *value;
}

AnimationValue readValue(const std::string& text, AnimationValue::Kind kind, const char* option) {
    std::vector<double> components;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = text.find(',', start);
        components.push_back(number(text.substr(start, comma - start), option));
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    const std::size_t expected = AnimationValue::componentCount(kind);
    if (components.size() != expected) {
        usageError(fmt::format("{} has {} components; a {} needs {}", option, components.size(),
                               AnimationValue::kindName(kind), expected));
    }
    return AnimationValue::fromComponents(kind, components);
}

std::vector<std::string> componentNames(AnimationValue::Kind kind) {
    switch (kind) {
        case AnimationValue::Kind::Number:
            return {"value"};
        case AnimationValue::Kind::Point:
            return {"x", "y"};
        case AnimationValue::Kind::Size:
            return {"width", "height"};
        case AnimationValue::Kind::Rect:
            return {"x", "y", "width", "height"};
        case AnimationValue::Kind::AffineTransform:
            return {"a", "b", "c", "d", "tx", "ty"};
        case AnimationValue::Kind::Transform3D:
            break;
    }
    std::vector<std::string> names;
    for (int row = 1; row <= 4; ++row) {
        for (int column = 1; column <= 4; ++column) {
            names.push_back(fmt::format("m{}{}", row, column));
        }
    }
    return names;
}

std::string csv(const std::vector<AnimationValue>& frames, const std::vector<std::string>& names,
                double duration) {
    std::string out = fmt::format("# {} key frames, duration {:g} s\ntime_ms,{}\n", frames.size(),
                                  duration, fmt::join(names, ","));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        out += fmt::format("{},{}\n", i, fmt::join(frames[i].components(), ","));
    }
    return out;
}

std::string json(const std::vector<AnimationValue>& frames, const std::vector<std::string>& names,
                 AnimationValue::Kind kind, double duration) {
    std::string out = fmt::format(
        "{{\"kind\":\"{}\",\"duration\":{},\"components\":[\"{}\"],"
        "\"frames\":[",
        AnimationValue::kindName(kind), duration, fmt::join(names, "\",\""));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        out += fmt::format("{}{{\"time_ms\":{},\"values\":[{}]}}", i == 0 ? "" : ",", i,
                           fmt::join(frames[i].components(), ","));
    }
    return out + "]}\n";
}

void runSpring(const SpringOptions& options) {
    // The damping check reports through the log; show it on standard error.
    const auto console = std::make_shared<ConsoleLogger>(stderr);
    Log::addLogger(console, LogLevel::Warning);
    struct Unregister {
        std::shared_ptr<ConsoleLogger> logger;
        ~Unregister() { Log::removeLogger(logger); }
    } unregister{console};

    const AnimationValue::Kind kind = AnimationValue::kindNamed(options.kind).value();
    VLMCASpringAnimation animation;
    animation.setFromValue(readValue(options.from, kind, "--from"));
    animation.setToValue(readValue(options.to, kind, "--to"));
    const double mass = number(options.mass, "--mass");
    if (mass <= 0) {
        usageError("--mass: " + options.mass + " is not greater than 0");
    }
    const double stiffness = number(options.stiffness, "--stiffness");
    if (stiffness < 0) {
        usageError("--stiffness: " + options.stiffness + " is negative");
    }
    animation.setMass(mass);
    animation.setStiffness(stiffness);
    animation.setDamping(number(options.damping, "--damping"));

    const std::vector<AnimationValue>& frames = animation.values();
    const double duration = animation.duration();
    const std::vector<std::string> names = componentNames(kind);
    writeOut(options.format == "json" ? json(frames, names, kind, duration)
                                      : csv(frames, names, duration));
    if (!options.plot.empty()) {
        std::string error;
        if (!plotSpring(frames, names, *animation.toValue(), options.plot, error)) {
            fail(error);
        }
    }
}

}  // namespace

void addSpringCommand(CLI::App& app, int& /*exitCode*/) {
    auto options = std::make_shared<SpringOptions>();
    CLI::App* command = app.add_subcommand(
        "spring", "Print the key frames of a spring animation between two values");
    command
        ->add_option("--from", options->from, "Start value: a number or comma-separated components")
        ->required();
    command->add_option("--to", options->to, "End value, as --from")->required();
    command->add_option("--kind", options->kind, "What the values are")
        ->check(CLI::IsMember({"number", "point", "size", "rect", "affine", "transform3d"}))
        ->capture_default_str();
    command->add_option("--mass", options->mass, "Mass (> 0)")->capture_default_str();
    command->add_option("--damping", options->damping, "Damping (<= 0 is logged and taken as 1)")
        ->capture_default_str();
    command->add_option("--stiffness", options->stiffness, "Stiffness (>= 0)")
        ->capture_default_str();
    command->add_option("--format", options->format, "Output format")
        ->check(CLI::IsMember({"csv", "json"}))
        ->capture_default_str();
    command->add_option("--plot", options->plot, "Also draw the curves into this PNG file");
    command->callback([options] { runSpring(*options); });
}

}  // namespace velmora::tool

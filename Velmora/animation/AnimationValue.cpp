#include "Velmora/animation/AnimationValue.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

namespace velmora {
namespace {

struct KindInfo {
    AnimationValue::Kind kind;
    std::string_view name;
    std::size_t count;
};

constexpr std::array<KindInfo, 6> kKinds{{
    {AnimationValue::Kind::Number, "number", 1},
    {AnimationValue::Kind::Point, "point", 2},
    {AnimationValue::Kind::Size, "size", 2},
    {AnimationValue::Kind::Rect, "rect", 4},
    {AnimationValue::Kind::AffineTransform, "affine", 6},
    {AnimationValue::Kind::Transform3D, "transform3d", 16},
}};

const KindInfo& info(AnimationValue::Kind kind) {
    return kKinds.at(static_cast<std::size_t>(kind));
}

}  // namespace

AnimationValue::AnimationValue(Kind kind, std::span<const double> components)
    : kind_(kind), count_(componentCount(kind)) {
    if (components.size() != count_) {
        throw std::invalid_argument(fmt::format("a {} has {} components, not {}", kindName(kind),
                                                count_, components.size()));
    }
    std::copy(components.begin(), components.end(), components_.begin());
}

AnimationValue AnimationValue::number(double value) {
    return {Kind::Number, std::array{value}};
}

AnimationValue AnimationValue::point(double x, double y) {
    return {Kind::Point, std::array{x, y}};
}

AnimationValue AnimationValue::size(double width, double height) {
    return {Kind::Size, std::array{width, height}};
}

AnimationValue AnimationValue::rect(double x, double y, double width, double height) {
    return {Kind::Rect, std::array{x, y, width, height}};
}

AnimationValue AnimationValue::affineTransform(double a, double b, double c, double d, double tx,
                                               double ty) {
    return {Kind::AffineTransform, std::array{a, b, c, d, tx, ty}};
}

AnimationValue AnimationValue::transform3D(const std::array<double, 16>& m) {
    return {Kind::Transform3D, m};
}

AnimationValue AnimationValue::fromComponents(Kind kind, std::span<const double> components) {
    return {kind, components};
}

std::size_t AnimationValue::componentCount(Kind kind) {
    return info(kind).count;
}

std::string_view AnimationValue::kindName(Kind kind) {
    return info(kind).name;
}

std::optional<AnimationValue::Kind> AnimationValue::kindNamed(std::string_view name) {
    for (const KindInfo& entry : kKinds) {
        if (entry.name == name) {
            return entry.kind;
        }
    }
    return std::nullopt;
}

bool AnimationValue::operator==(const AnimationValue& other) const {
    return kind_ == other.kind_ &&
           std::equal(components().begin(), components().end(), other.components().begin());
}

std::string AnimationValue::description() const {
    return fmt::format("{}: {{{}}}", kindName(kind_), fmt::join(components(), ", "));
}

}  // namespace velmora

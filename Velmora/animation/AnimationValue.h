#pragma once
// AnimationValue: a tagged value that a spring animates: a number, a point, a size, a
// rect, an affine transform or a 3-D transform, each seen as its list of components.
// The components, in order: number: the value; point: x, y; size: width, height; rect:
// origin x, origin y, width, height; affine transform: a, b, c, d, tx, ty; 3-D transform:
// m11, m12, ... m44 (row by row).
//
// Thread safety: a value type.
//
//   AnimationValue frame = AnimationValue::point(10, 20);
//   for (double c : frame.components()) { std::cout << c << '\n'; }   // 10, 20
//   AnimationValue same = AnimationValue::fromComponents(frame.kind(), frame.components());

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

class AnimationValue {
  public:
    enum class Kind { Number, Point, Size, Rect, AffineTransform, Transform3D };
    static constexpr std::size_t kMaxComponents = 16;

    static AnimationValue number(double value);
    static AnimationValue point(double x, double y);
    static AnimationValue size(double width, double height);
    static AnimationValue rect(double x, double y, double width, double height);
    static AnimationValue affineTransform(double a, double b, double c, double d, double tx,
                                          double ty);
    static AnimationValue transform3D(const std::array<double, 16>& m);
    // REQUIRES: components.size() == componentCount(kind).
    static AnimationValue fromComponents(Kind kind, std::span<const double> components);

    static std::size_t componentCount(Kind kind);
    // "number", "point", "size", "rect", "affine", "transform3d"
    static std::string_view kindName(Kind kind);
    static std::optional<Kind> kindNamed(std::string_view name);

    Kind kind() const { return kind_; }
    std::span<const double> components() const { return {components_.data(), count_}; }

    bool operator==(const AnimationValue& other) const;
    // "point: {10, 20}"
    std::string description() const;

  private:
    AnimationValue(Kind kind, std::span<const double> components);

    Kind kind_ = Kind::Number;
    std::size_t count_ = 0;
    std::array<double, kMaxComponents> components_{};
};

}  // namespace velmora

#pragma once
// GLImageTypedValue: one value of a filter configuration, written as a typed string:
// "float(0.5)", "CGPoint(0.5, 0.25)" or "NSString(name)". The text is searched, not
// matched whole: the first "float(", "CGPoint(" or "NSString(" with a ")" after it on the
// same line counts, and whatever surrounds it is ignored. The arguments are the text up
// to the first ")", split at commas: the first is the value (x for a point) and the last,
// when there are two or more, is y.
//
// parse reads numbers as the platform's string-to-float does (leading spaces skipped, the
// longest number prefix taken, 0 when there is none). parseChecked insists on whole
// numbers and on both coordinates of a point and says what is wrong.
//
// Thread safety: a value type; the functions are stateless.
//
//   auto value = GLImageTypedValue::parse("CGPoint(0.5, 0.25)");   // Point {0.5, 0.25}
//   std::string why;
//   auto bad = GLImageTypedValue::parseChecked("float(abc)", &why);  // nullopt, why says so

#include <optional>
#include <string>
#include <string_view>

#include "Velmora/imaging/gl/GLGeometry.h"

namespace velmora {

struct GLImageTypedValue {
    enum class Type { Float, Point, String };

    Type type = Type::Float;
    float number = 0;
    GLPoint point;
    std::string text;

    static GLImageTypedValue ofFloat(float value) { return {Type::Float, value, {}, {}}; }
    static GLImageTypedValue ofPoint(GLPoint value) { return {Type::Point, 0, value, {}}; }
    static GLImageTypedValue ofString(std::string value) {
        return {Type::String, 0, {}, std::move(value)};
    }

    // Nothing when the text holds no typed value.
    [[nodiscard]] static std::optional<GLImageTypedValue> parse(std::string_view text);
    [[nodiscard]] static std::optional<GLImageTypedValue> parseChecked(std::string_view text,
                                                                       std::string* why);
    // "float", "CGPoint", "NSString".
    static const char* typeName(Type type);
    // The value written back as a typed string.
    std::string description() const;

    friend bool operator==(const GLImageTypedValue&, const GLImageTypedValue&) = default;
};

}  // namespace velmora

#include "Velmora/imaging/GLImageTypedValue.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

namespace velmora {

namespace {

struct TypedText {
    GLImageTypedValue::Type type;
    std::vector<std::string_view> arguments;  // at least one
};

constexpr std::array<std::pair<std::string_view, GLImageTypedValue::Type>, 3> kTypes{{
    {"float(", GLImageTypedValue::Type::Float},
    {"CGPoint(", GLImageTypedValue::Type::Point},
    {"NSString(", GLImageTypedValue::Type::String},
}};

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The arguments of the typed text starting at open (just after its "("): up to the first
// ")", split at commas; spaces after a comma are not part of the next argument. A line
// break inside an argument ends the attempt, as "." does not cross lines in the pattern.
std::optional<std::vector<std::string_view>> argumentsAfter(std::string_view text,
                                                            std::size_t open) {
    const std::size_t close = text.find(')', open);
    if (close == std::string_view::npos) {
        return std::nullopt;
    }
    std::vector<std::string_view> arguments;
    std::size_t start = open;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        const std::size_t end = comma < close ? comma : close;
        const std::string_view argument = text.substr(start, end - start);
        if (argument.find('\n') != std::string_view::npos) {
            return std::nullopt;
        }
        arguments.push_back(argument);
        if (end == close) {
            return arguments;
        }
        start = end + 1;
        while (start < close && isSpace(text[start])) {
            ++start;
        }
    }
}

std::optional<TypedText> findTypedText(std::string_view text) {
    const std::size_t lastClose = text.rfind(')');
    if (lastClose == std::string_view::npos) {
        return std::nullopt;
    }
    for (std::size_t at = 0; at < lastClose; ++at) {
        for (const auto& [prefix, type] : kTypes) {
            if (text.substr(at, prefix.size()) != prefix) {
                continue;
            }
            if (auto arguments = argumentsAfter(text, at + prefix.size())) {
                return TypedText{type, std::move(*arguments)};
            }
        }
    }
    return std::nullopt;
}

// The platform's floatValue: leading spaces skipped, the longest prefix that is a decimal
// number, 0 when there is none, whatever the process locale. *whole tells whether the
// number used the whole text (trailing spaces allowed).
float leadingFloat(std::string_view text, bool* whole) {
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    float value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
    if (error == std::errc::invalid_argument) {
        *whole = false;
        return 0.0f;
    }
    std::string_view rest(end, static_cast<std::size_t>(text.data() + text.size() - end));
    while (!rest.empty() && isSpace(rest.front())) {
        rest.remove_prefix(1);
    }
    // Out of range: the platform gives the infinity or zero strtof would.
    *whole = rest.empty() && error != std::errc::result_out_of_range;
    return error == std::errc::result_out_of_range ? std::strtof(std::string(text).c_str(), nullptr)
                                                   : value;
}

std::optional<GLImageTypedValue> build(const TypedText& typed, std::string* why) {
    GLImageTypedValue value;
    value.type = typed.type;
    const std::string_view first = typed.arguments.front();
    bool whole = false;
    switch (typed.type) {
        case GLImageTypedValue::Type::Float:
            value.number = leadingFloat(first, &whole);
            if (why != nullptr && (!whole || typed.arguments.size() > 1)) {
                *why = fmt::format("float() takes one number, not \"{}\"", first);
                return std::nullopt;
            }
            break;
        case GLImageTypedValue::Type::Point: {
            value.point.x = leadingFloat(first, &whole);
            bool secondWhole = false;
            value.point.y = typed.arguments.size() > 1
                                ? leadingFloat(typed.arguments.back(), &secondWhole)
                                : 0.0f;
            if (why != nullptr && (!whole || !secondWhole || typed.arguments.size() != 2)) {
                *why = "CGPoint() takes two numbers, x and y";
                return std::nullopt;
            }
            break;
        }
        case GLImageTypedValue::Type::String:
            value.text = std::string(first);
            break;
    }
    return value;
}

}  // namespace

std::optional<GLImageTypedValue> GLImageTypedValue::parse(std::string_view text) {
    const auto typed = findTypedText(text);
    if (!typed) {
        return std::nullopt;
    }
    return build(*typed, nullptr);
}

std::optional<GLImageTypedValue> GLImageTypedValue::parseChecked(std::string_view text,
                                                                 std::string* why) {
    std::string reason;
    const auto typed = findTypedText(text);
    std::optional<GLImageTypedValue> value;
    if (!typed) {
        reason = "expected float(N), CGPoint(X, Y) or NSString(TEXT)";
    } else {
        value = build(*typed, &reason);
    }
    if (!value && why != nullptr) {
        *why = std::move(reason);
    }
    return value;
}

const char* GLImageTypedValue::typeName(Type type) {
    switch (type) {
        case Type::Float:
            return "float";
        case Type::Point:
            return "CGPoint";
        case Type::String:
            return "NSString";
    }
    return "float";
}

std::string GLImageTypedValue::description() const {
    switch (type) {
        case Type::Float:
            return fmt::format("float({})", number);
        case Type::Point:
            return fmt::format("CGPoint({}, {})", point.x, point.y);
        case Type::String:
            return fmt::format("NSString({})", text);
    }
    return {};
}

}  // namespace velmora

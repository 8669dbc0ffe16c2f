#include "Velmora/platform/foundation/ValueDescription.h"

#include <fmt/format.h>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {
namespace {

constexpr std::string_view kIndentUnit = "    ";

// Inside containers a string is written bare only when it is made of characters that
// the property-list syntax allows unquoted.
bool needsQuotes(std::string_view text) {
    if (text.empty()) {
        return true;
    }
    for (const char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '_' || c == '$' || c == '+' || c == '/' ||
                           c == ':' || c == '.' || c == '-';
        if (!plain) {
            return true;
        }
    }
    return false;
}

void appendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += c;
        }
    }
    out += '"';
}

void appendIndent(std::string& out, int level) {
    for (int i = 0; i < level; ++i) {
        out += kIndentUnit;
    }
}

void describe(std::string& out, const Value& value, int level, bool nested);

void describeArray(std::string& out, const Array& array, int level) {
    out += "(\n";
    for (std::size_t i = 0; i < array.size(); ++i) {
        appendIndent(out, level + 1);
        describe(out, array[i], level + 1, true);
        out += i + 1 < array.size() ? ",\n" : "\n";
    }
    appendIndent(out, level);
    out += ')';
}

void describeDictionary(std::string& out, const Dictionary& dictionary, int level) {
    out += "{\n";
    for (const auto& [key, element] : dictionary) {
        appendIndent(out, level + 1);
        describe(out, key, level + 1, true);
        out += " = ";
        describe(out, element, level + 1, true);
        out += ";\n";
    }
    appendIndent(out, level);
    out += '}';
}

void describeData(std::string& out, const Bytes& bytes) {
    out += '<';
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) {
            out += ' ';
        }
        fmt::format_to(std::back_inserter(out), "{:02x}", bytes[i]);
    }
    out += '>';
}

void describe(std::string& out, const Value& value, int level, bool nested) {
    using K = Value::Kind;
    switch (value.kind()) {
        case K::Nil:
            out += "(null)";
            return;
        case K::Null:
            out += "<null>";
            return;
        case K::Bool:
            out += value.boolValue() ? "1" : "0";
            return;
        case K::Int:
            fmt::format_to(std::back_inserter(out), "{}", value.integerValue());
            return;
        case K::UInt:
            fmt::format_to(std::back_inserter(out), "{}", value.unsignedIntegerValue());
            return;
        case K::Double:
            fmt::format_to(std::back_inserter(out), "{}", value.doubleValue());
            return;
        case K::Decimal:
            out += value.asDecimal()->description();
            return;
        case K::String:
            if (nested && needsQuotes(*value.asString())) {
                appendQuoted(out, *value.asString());
            } else {
                out += *value.asString();
            }
            return;
        case K::Date: {
            const std::string text = value.asDate()->description();
            if (nested) {
                appendQuoted(out, text);
            } else {
                out += text;
            }
            return;
        }
        case K::Data:
            describeData(out, *value.asData());
            return;
        case K::Array:
            describeArray(out, *value.asArray(), level);
            return;
        case K::Dictionary:
            describeDictionary(out, *value.asDictionary(), level);
            return;
        case K::Object:
            out += value.asObject()->description();
            return;
    }
}

}  // namespace

std::string describeValue(const Value& value) {
    std::string out;
    describe(out, value, 0, false);
    return out;
}

}  // namespace velmora

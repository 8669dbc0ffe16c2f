// The escaping functions of the string category. Each is a fixed sequence of whole-text
// replacements; the sequences are data, written out in the order they run, because the
// order is observable (a later step sees what an earlier one wrote).
#include "Velmora/text/NSString-More.h"
#include "Velmora/text/TextEditing.h"
#include "Velmora/text/UnicodeText.h"

namespace velmora {
namespace {

using text_detail::percentEncode;
using text_detail::replaceInOrder;
using text_detail::Replacement;

constexpr Replacement kMailEscapes[] = {
    {"&", "%26"}, {"+", "%2B"}, {",", "%2C"},  {"/", "%2F"},  {":", "%3A"},  {";", "%3B"},
    {"=", "%3D"}, {"?", "%3F"}, {"@", "%40"},  {" ", "%20"},  {"\t", "%09"}, {"#", "%23"},
    {"<", "%3C"}, {">", "%3E"}, {"\"", "%22"}, {"\n", "%0A"}, {"[", "%5B"},  {"]", "%5D"},
    {"!", "%21"}, {"'", "%27"}, {"(", "%28"},  {")", "%29"},  {"*", "%2A"}};

// The codes mail unescaping decodes a second time, after the general percent decoding.
constexpr Replacement kMailCodes[] = {{"%26", "&"}, {"%2B", "+"}, {"%2C", ","},  {"%2F", "/"},
                                      {"%3A", ":"}, {"%3B", ";"}, {"%3D", "="},  {"%3F", "?"},
                                      {"%40", "@"}, {"%20", " "}, {"%09", "\t"}, {"%23", "#"},
                                      {"%3C", "<"}, {"%3E", ">"}, {"%22", "\""}, {"%0A", "\n"}};

constexpr Replacement kLessThanEntity[] = {{"&lt;", "<"}};

constexpr Replacement kTaskServiceCodes[] = {{"&lt;", "<"}, {"&gt;", ">"}, {"%7B", "{"},
                                             {"%7D", "}"},  {"%5B", "["},  {"%5D", "]"}};

// "%23" goes back to "#" on purpose: a number sign stays readable in the result.
constexpr Replacement kEscapeAll[] = {{"&", "%26"}, {"+", "%2B"}, {",", "%2C"},  {";", "%3B"},
                                      {"@", "%40"}, {" ", "%20"}, {"\t", "%09"}, {"%23", "#"},
                                      {"<", "%3C"}, {">", "%3E"}, {"\"", "%22"}, {"\n", "%0A"}};

constexpr Replacement kCallRemovals[] = {{"-", ""}, {" ", ""}, {")", ""}, {"(", ""}, {"/", ""}};

constexpr Replacement kExport[] = {{"\"", "\"\""}, {"\n", "\r\n"}};

// The backslash step runs second, so ";" ends as two backslashes and ";": required.
constexpr Replacement kXmlEscapes[] = {{";", "\\;"}, {"\\", "\\\\"}, {":", "\\:"}};
constexpr Replacement kXmlUnescapes[] = {{"\\:", ":"}, {"\\\\", "\\"}, {"\\;", ";"}};

// Tab becomes a blank before the caret codes run, so its own code "^09" is never
// written; the step stays so that the list matches unescaping's.
constexpr Replacement kJsonEscapes[] = {
    {"\\", "\\\\"}, {"/", "\\/"},  {"\b", ""},   {"\f", ""},    {"\n", ""},   {"\t", " "},
    {"&", "^26"},   {"+", "^2B"},  {",", "^2C"}, {":", "^3A"},  {";", "^3B"}, {"=", "^3D"},
    {"?", "^3F"},   {"@", "^40"},  {" ", "^20"}, {"\t", "^09"}, {"#", "^23"}, {"<", "^3C"},
    {">", "^3E"},   {"\"", "^22"}, {"{", "^7B"}, {"}", "^7D"},  {"[", "^5B"}, {"]", "^5D"},
    {"(", "^28"},   {")", "^29"}};

constexpr Replacement kJsonUnescapes[] = {
    {"\\\\", "\\"}, {"\\/", "/"}, {"^26", "&"}, {"^2B", "+"},  {"^2C", ","}, {"^3A", ":"},
    {"^3B", ";"},   {"^3D", "="}, {"^3F", "?"}, {"^40", "@"},  {"^20", " "}, {"^09", "\t"},
    {"^23", "#"},   {"^3C", "<"}, {"^3E", ">"}, {"^22", "\""}, {"^7B", "{"}, {"^7D", "}"},
    {"^5B", "["},   {"^5D", "]"}, {"^28", "("}, {"^29", ")"}};

// What the platform's standard percent escaping leaves as it is: letters, digits, the
// unreserved marks and the reserved characters of RFC 2396. Everything else, "#" and
// "%" included, is encoded.
std::string standardEscaping(std::string_view text) {
    static const text_detail::AsciiSet kKeeps("-_.!~*'();/?:@&=+$,");
    return percentEncode(text, kKeeps);
}

std::string replaced(std::string_view text, std::span<const Replacement> steps) {
    std::string result(text);
    replaceInOrder(result, steps);
    return result;
}

}  // namespace

std::string urlEscape(std::string_view text) {
    return percentEncode(text, text_detail::unreservedUrlCharacters());
}

std::string urlUnescape(std::string_view text) {
    return text_detail::percentDecode(text);
}

std::string escapeAllForMail(std::string_view text) {
    return replaced(standardEscaping(text), kMailEscapes);
}

std::string unescapeAllForMail(std::string_view text) {
    std::string result = replaced(text_detail::percentDecode(text), kMailCodes);
    replaceInOrder(result, kLessThanEntity);
    return result;
}

std::string escapeAll(std::string_view text) {
    return replaced(standardEscaping(text), kEscapeAll);
}

std::string escapeForActionOrTag(std::string_view text) {
    std::string result(text);
    text_detail::replaceAll(result, "{-;-}", "");
    return standardEscaping(result);
}

std::string escapeAllForCall(std::string_view text) {
    return standardEscaping(replaced(text, kCallRemovals));
}

std::string escapeAllForTag(std::string_view text) {
    std::string result = trim(text);
    text_detail::replaceAll(result, ",", " ");
    return result;
}

std::string escapeForSearch(std::string_view text) {
    std::string result(text);
    text_detail::replaceAll(result, "'", "''");
    return result;
}

std::string escapeAllForExport(std::string_view text) {
    std::string result = replaced(text, kExport);
    bool needsQuotes = false;
    text_detail::forEachCodePoint(result, [&](char32_t c, std::size_t, std::size_t, bool) {
        needsQuotes = needsQuotes || c == ',' || c == '"' || text_detail::isNewline(c);
    });
    return needsQuotes ? "\"" + result + "\"" : result;
}

std::string xmlEscape(std::string_view text) {
    return replaced(text, kXmlEscapes);
}

std::string xmlUnescape(std::string_view text) {
    return replaced(text, kXmlUnescapes);
}

std::string escapeForJSON(std::string_view text) {
    return replaced(text, kJsonEscapes);
}

std::string unescapeForJSON(std::string_view text) {
    return replaced(text, kJsonUnescapes);
}

std::string escapeForTaskService(std::string_view text) {
    return escapeAllForMail(text);
}

std::string unescapeForTaskService(std::string_view text) {
    std::string result = replaced(text, kMailCodes);
    replaceInOrder(result, kTaskServiceCodes);
    return result;
}

}  // namespace velmora

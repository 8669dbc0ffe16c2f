// The escaping functions, text in and text out. The rows pin each function's steps and
// their order: most rows are chosen so that a step run out of order, or a missed
// case-insensitive match, changes the output.
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/text/NSString-More.h"

namespace velmora {
namespace {

using Escaper = std::string (*)(std::string_view);

struct Row {
    const char* function;
    Escaper escaper;
    std::string_view input;
    std::string_view expected;
};

#define ROW(function, input, expected)        \
    Row {                                     \
#function, &function, input, expected \
    }

const Row kRows[] = {
    ROW(escapeAllForMail, "a b", "a%20b"),
    ROW(escapeAllForMail, "x&y=1?z", "x%26y%3D1%3Fz"),
    ROW(escapeAllForMail, "a/b:c;d@e,f+g", "a%2Fb%3Ac%3Bd%40e%2Cf%2Bg"),
    ROW(escapeAllForMail, "!'()*", "%21%27%28%29%2A"),
    ROW(escapeAllForMail, "#[x]<\">", "%23%5Bx%5D%3C%22%3E"),
    ROW(escapeAllForMail, "a\tb\nc", "a%09b%0Ac"),
    ROW(escapeAllForMail, "100%", "100%25"),
    ROW(escapeAllForMail, "h\xC3\xA9 \xE2\x82\xAC", "h%C3%A9%20%E2%82%AC"),
    ROW(escapeAllForMail, "-_.~$", "-_.~$"),

    ROW(unescapeAllForMail, "a%20b", "a b"),
    ROW(unescapeAllForMail, "h%C3%A9", "h\xC3\xA9"),
    // Decoded twice over for its own codes: "%2526" is "%26" after the general step.
    ROW(unescapeAllForMail, "%2526%252b%2540", "&+@"),
    ROW(unescapeAllForMail, "%2541", "%41"),
    ROW(unescapeAllForMail, "&lt;b&LT;", "<b<"),
    ROW(unescapeAllForMail, "&gt;", "&gt;"),
    ROW(unescapeAllForMail, "100% %zz %4", "100% %zz %4"),

    ROW(escapeAll, "#1 a&b", "#1%20a%26b"),
    ROW(escapeAll, "a+b,c;d@e", "a%2Bb%2Cc%3Bd%40e"),
    ROW(escapeAll, "<\"x\">\n", "%3C%22x%22%3E%0A"),
    ROW(escapeAll, "a/b?c=d:e", "a/b?c=d:e"),
    ROW(escapeAll, "%23", "%2523"),

    ROW(escapeForActionOrTag, "{-;-}x y", "x%20y"),
    ROW(escapeForActionOrTag, "a{-;-}b{-;-}", "ab"),
    // One forward pass: the text closed up by a removal is not searched again.
    ROW(escapeForActionOrTag, "{-;{-;-}-}", "%7B-;-%7D"),

    ROW(escapeAllForCall, "+1 (555) 123-4567", "+15551234567"),
    ROW(escapeAllForCall, "555/123 #9", "555123%239"),

    ROW(escapeAllForTag, "  a,b ,c \n", "a b  c"),
    ROW(escapeAllForTag, "\xC2\xA0x,y\xE2\x80\xA8", "x y"),

    ROW(escapeForSearch, "it's", "it''s"),
    ROW(escapeForSearch, "''", "''''"),

    ROW(escapeAllForExport, "abc", "abc"),
    ROW(escapeAllForExport, "a,b", "\"a,b\""),
    ROW(escapeAllForExport, "say \"hi\"", "\"say \"\"hi\"\"\""),
    ROW(escapeAllForExport, "l1\nl2", "\"l1\r\nl2\""),
    ROW(escapeAllForExport, "a\rb", "\"a\rb\""),
    ROW(escapeAllForExport, "a\xE2\x80\xA8z", "\"a\xE2\x80\xA8z\""),

    // The backslash step runs second, so ";" ends as two backslashes and ";".
    ROW(xmlEscape, "a;b", "a\\\\;b"),
    ROW(xmlEscape, "x:y", "x\\:y"),
    ROW(xmlEscape, "c\\d", "c\\\\d"),
    ROW(xmlUnescape, "a\\:b", "a:b"),
    ROW(xmlUnescape, "x\\\\y", "x\\y"),
    ROW(xmlUnescape, "a\\\\;b", "a;b"),

    ROW(escapeForJSON, "a/b", "a\\/b"),
    ROW(escapeForJSON, "a\\b", "a\\\\b"),
    ROW(escapeForJSON, "x\ny\tz\b\f", "xy^20z"),
    ROW(escapeForJSON, "a&b c", "a^26b^20c"),
    ROW(escapeForJSON, "{\"k\":[1,2]}", "^7B^22k^22^3A^5B1^2C2^5D^7D"),
    ROW(escapeForJSON, "+;=?@#<>()", "^2B^3B^3D^3F^40^23^3C^3E^28^29"),
    ROW(escapeForJSON, "^26", "^26"),

    ROW(unescapeForJSON, "^7B^22k^22^3A^5B1^2C2^5D^7D", "{\"k\":[1,2]}"),
    ROW(unescapeForJSON, "a\\/b", "a/b"),
    ROW(unescapeForJSON, "a\\\\b", "a\\b"),
    ROW(unescapeForJSON, "^2b^3f^09", "+?\t"),
    ROW(unescapeForJSON, "^xy^", "^xy^"),

    ROW(escapeForTaskService, "{a} [b]", "%7Ba%7D%20%5Bb%5D"),
    ROW(unescapeForTaskService, "%26%3C&lt;&gt;%7b%5D", "&<<>{]"),
    ROW(unescapeForTaskService, "%2F%0a%09", "/\n\t"),
    ROW(unescapeForTaskService, "%25%41", "%25%41"),

    ROW(urlEscape, "a b&c/d~e-f_g.h", "a%20b%26c%2Fd~e-f_g.h"),
    ROW(urlEscape, "!*'();:@&=+$,/?%#[]{}\"",
        "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%7B%7D%22"),
    ROW(urlEscape, "\xC3\xA9", "%C3%A9"),
    ROW(urlUnescape, "%41%zz%4", "A%zz%4"),
    ROW(urlUnescape, "%c3%A9+", "\xC3\xA9+"),
};

TEST(EscapingTest, EachFunctionRewritesTextAsItsStepsSay) {
    for (const Row& row : kRows) {
        EXPECT_EQ(row.escaper(row.input), row.expected)
            << row.function << "(\"" << row.input << "\")";
    }
}

// Bytes that are not UTF-8 pass through the byte-editing functions untouched, or come
// out percent-encoded byte for byte; and empty text gives empty text everywhere.
TEST(EscapingTest, InvalidUtf8IsKeptOrEncodedByteForByteAndEmptyStaysEmpty) {
    constexpr std::string_view kInvalid = "\xFF;\xC0";
    const Row rows[] = {
        ROW(escapeAllForMail, kInvalid, "%FF%3B%C0"),
        ROW(unescapeAllForMail, kInvalid, kInvalid),
        ROW(escapeAll, kInvalid, "%FF%3B%C0"),
        ROW(escapeForActionOrTag, kInvalid, "%FF;%C0"),
        ROW(escapeAllForCall, kInvalid, "%FF;%C0"),
        ROW(escapeAllForTag, kInvalid, kInvalid),
        ROW(escapeForSearch, kInvalid, kInvalid),
        ROW(escapeAllForExport, kInvalid, kInvalid),
        ROW(xmlEscape, kInvalid, "\xFF\\\\;\xC0"),
        ROW(xmlUnescape, kInvalid, kInvalid),
        ROW(escapeForJSON, kInvalid, "\xFF^3B\xC0"),
        ROW(unescapeForJSON, kInvalid, kInvalid),
        ROW(escapeForTaskService, kInvalid, "%FF%3B%C0"),
        ROW(unescapeForTaskService, kInvalid, kInvalid),
        ROW(urlEscape, kInvalid, "%FF%3B%C0"),
        ROW(urlUnescape, "%FF%3b%C0", kInvalid),
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.escaper(row.input), row.expected) << row.function;
        EXPECT_EQ(row.escaper(""), "") << row.function;
    }
}

TEST(EscapingTest, UrlUnescapeUndoesUrlEscapeForEveryByte) {
    std::string every;
    for (int byte = 0; byte < 256; ++byte) {
        every += static_cast<char>(byte);
    }
    const std::string escaped = urlEscape(every);
    EXPECT_EQ(escaped.find_first_not_of(
                  "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~%"),
              std::string::npos);
    EXPECT_EQ(urlUnescape(escaped), every);
}

#undef ROW

}  // namespace
}  // namespace velmora

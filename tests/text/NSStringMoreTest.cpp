// The string category's non-escaping members: text in, answer out.
#include <chrono>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/text/NSString-More.h"

namespace velmora {
namespace {

TEST(NSStringMoreTest, TrimRemovesUnicodeWhiteSpaceAndLineBreaksAtBothEnds) {
    const struct {
        std::string_view input;
        std::string_view expected;
    } rows[] = {
        {"  a b \n", "a b"},
        {"\xC2\xA0\xE3\x80\x80x\xE2\x80\xA9", "x"},  // U+00A0, U+3000, U+2029
        {"\xC2\x85\ta\r\n", "a"},                    // U+0085
        {"\xE2\x80\x8Bx", "\xE2\x80\x8Bx"},          // U+200B is a format character
        {"\t\xFF \n", "\xFF"},                       // ill-formed bytes are not blank
        {"   ", ""},
        {"", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(trim(row.input), row.expected) << row.input;
    }
}

TEST(NSStringMoreTest, ContainmentTestsDifferInCaseAndAgreeOnEquivalentCharacters) {
    const struct {
        std::string_view text;
        std::string_view query;
        bool contains;
        bool containsExactly;
        bool startsWith;
    } rows[] = {
        {"Milk", "MILK", true, false, false},
        {"Buy Milk", "milk", true, false, false},
        {"Milk", "ilk", true, true, false},
        {"Milk", "Mi", true, true, true},
        {"Milk", "mi", true, false, false},
        {"Mi", "Milk", false, false, false},
        {"\xC3\x89"
         "COLE",
         "\xC3\xA9"
         "cole",
         true, false, false},  // "ÉCOLE", "école"
        {"e\xCC\x81"
         "cole",
         "\xC3\xA9", true, true, true},  // decomposed é
        {"a\xFF"
         "b",
         "\xEF\xBF\xBD", true, true, false},  // read as U+FFFD
        {"Milk", "", false, false, false},
        {"", "a", false, false, false},
        {"", "", false, false, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(doesContain(row.text, row.query), row.contains) << row.text << " / " << row.query;
        EXPECT_EQ(doesContainIgnoreLower(row.text, row.query), row.containsExactly)
            << row.text << " / " << row.query;
        EXPECT_EQ(doesStartWith(row.text, row.query), row.startsWith)
            << row.text << " / " << row.query;
    }
}

TEST(NSStringMoreTest, IndexOfAnswersTheByteOffsetOfTheFirstOccurrence) {
    EXPECT_EQ(indexOf("h\xC3\xA9llo", U'l'), 3u);
    EXPECT_EQ(indexOf("a\xE2\x82\xAC\xE2\x82\xAC", U'\u20AC'), 1u);
    EXPECT_EQ(indexOf("abc", U'\u20AC'), NotFound);
    EXPECT_EQ(indexOf("", U'a'), NotFound);
    EXPECT_EQ(indexOf("\xED\xA0\x80", char32_t{0xD800}), NotFound);  // no such character
    EXPECT_EQ(indexOf("abc", char32_t{0x110000}), NotFound);
}

TEST(NSStringMoreTest, ExplodeSplitsAtEverySeparator) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(explode("a,b,,c", ","), (Pieces{"a", "b", "", "c"}));
    EXPECT_EQ(explode("a--b--", "--"), (Pieces{"a", "b", ""}));
    EXPECT_EQ(explode(",", ","), (Pieces{"", ""}));
    EXPECT_EQ(explode("abc", ""), (Pieces{"abc"}));
    EXPECT_EQ(explode("", ","), (Pieces{""}));
}

TEST(NSStringMoreTest, CharacterSetReplacementsByCharacterAndByRun) {
    const struct {
        std::string_view text, set, replacement, each, runOnce;
    } cases[] = {
        {"a-b_c", "-_", " ", "a b c", "a b c"},
        {"a--_b", "-_", " ", "a   b", "a b"},
        {"--a--", "-", "", "a", "a"},
        {"caf\u00e9 \u00e9t\u00e9", "\u00e9", "e", "cafe ete",
         "cafe ete"},                                 // members are characters
        {"\u00e9", "\xc3", "x", "\u00e9", "\u00e9"},  // not a byte of a member
        {"a\xff"
         "b",
         "\xff", "?", "a?b", "a?b"},  // an ill-formed byte in both
        {"abc", "", "x", "abc", "abc"},
        {"", "-", "x", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(stringByReplacingCharactersInSet(c.text, c.set, c.replacement), c.each);
        EXPECT_EQ(stringByReplacingAllCharactersInSetOnce(c.text, c.set, c.replacement), c.runOnce);
    }
}

TEST(NSStringMoreTest, SearchReplaceScansOnFromAfterEachReplacement) {
    EXPECT_EQ(searchReplace("aaa", "a", "b"), "bbb");
    EXPECT_EQ(searchReplace("aaa", "aa", "a"), "aa");
    EXPECT_EQ(searchReplace("a.b", ".", ".."), "a..b");
    EXPECT_EQ(searchReplace("Abc", "a", "x"), "Abc");
    EXPECT_EQ(searchReplace("abc", "", "x"), "abc");
    EXPECT_EQ(searchReplace("abc", "b", ""), "abc");
}

TEST(NSStringMoreTest, CharactersInStringMatchInOrderWithTheirExpressionMeaning) {
    const struct {
        std::string_view text;
        std::string_view query;
        bool ignoringCase;
        bool matches;
    } rows[] = {
        {"grocery list", "gcl", false, true},
        {"grocery list", "g c l", false, true},
        {"Grocery list", "gcl", false, false},
        {"Grocery list", "gcl", true, true},
        {"grocery list", "lcg", true, false},
        {"abc", "a.c", false, true},  // "." keeps its meaning
        {"abc", "a+", false, true},
        {"a(c", "(", false, false},  // no valid expression
        {"a[c", "[", true, false},
        {"a\\c", "\\", false, false},
        {"abc", "  \n", true, false},
        {"abc", "", true, false},
        {"", "a", true, false},
        {"\xC3\xA9t\xC3\xA9", "\xC3\x89T", true, true},
        {"x\xFFy", "xy", false, true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(doesContainCharactersInString(row.text, row.query, row.ignoringCase), row.matches)
            << row.text << " / " << row.query;
    }
}

// Regression: a long query against a long text used to backtrack for minutes; the match
// now gives up at the engine's time limit.
TEST(NSStringMoreTest, CharactersInStringGivesUpOnRunawayMatches) {
    const std::string text(3000, 'a');
    const std::string query = std::string(24, 'a') + "b";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(doesContainCharactersInString(text, query, true));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(NSStringMoreTest, ValidXMLStringKeepsExactlyTheAllowedRanges) {
    const struct {
        std::string_view input;
        std::string_view expected;
    } rows[] = {
        {"a\x01"
         "b\x1F",
         "ab"},
        {"\t\n\r x", "\t\n\r x"},
        {"\xED\x9F\xBE|\xED\x9F\xBF", "\xED\x9F\xBE|"},                            // U+D7FE, U+D7FF
        {"\xEE\x80\x80|\xEF\xBF\xBC|\xEF\xBF\xBD", "\xEE\x80\x80|\xEF\xBF\xBC|"},  // U+FFFD out
        {"\xF0\x90\x80\x80|\xF4\x8F\xBF\xBE|\xF4\x8F\xBF\xBF",
         "\xF0\x90\x80\x80|\xF4\x8F\xBF\xBE|"},  // U+10FFFF out
        {"\xFF"
         "a\xC3",
         "a"},                   // ill-formed bytes removed
        {"\xED\xA0\x80x", "x"},  // an encoded surrogate is ill-formed
        {"", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(validXMLString(row.input), row.expected) << row.input;
    }
}

TEST(NSStringMoreTest, CleaningRemovesTheListedControlCharactersOnly) {
    const std::string controls = "a\x05\x06\x07\x08\x18\x1B\x7F b";
    EXPECT_EQ(cleanString(controls), "a b");
    EXPECT_EQ(cleanString("\x01\t\n\x1A\xFF"), "\x01\t\n\x1A\xFF");
    EXPECT_EQ(cleanStringQuick("x\xEF\x88\x86y\x07"), "xy");
    EXPECT_EQ(cleanString("x\xEF\x88\x86y"), "x\xEF\x88\x86y");
    EXPECT_EQ(getCleanStringData("a\x1B"
                                 "b"),
              (std::vector<std::uint8_t>{'a', 'b'}));
    EXPECT_EQ(cleanString(""), "");
    EXPECT_TRUE(getCleanStringData("").empty());
}

TEST(NSStringMoreTest, QuestionMarksOnePerCommaSeparatedToken) {
    EXPECT_EQ(getQuestionMarksForTokens("a,b,c"), "?, ?, ?");
    EXPECT_EQ(getQuestionMarksForTokens("abc"), "?");
    EXPECT_EQ(getQuestionMarksForTokens(",,"), "?, ?, ?");
    EXPECT_EQ(getQuestionMarksForTokens(""), "");
}

TEST(NSStringMoreTest, TextIsRightToLeftWhenMostLettersAreArabicOrHebrew) {
    EXPECT_TRUE(isTextRTL("\xD9\x85\xD8\xB1\xD8\xAD\xD8\xA8\xD8\xA7"));  // Arabic
    EXPECT_TRUE(isTextRTL("\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D 123"));      // Hebrew
    EXPECT_TRUE(isTextRTL("Hi \xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D"));
    EXPECT_FALSE(isTextRTL("Meeting with \xD8\xA3\xD8\xAD\xD9\x85\xD8\xAF tomorrow"));
    EXPECT_FALSE(isTextRTL("hello"));
    EXPECT_FALSE(isTextRTL("\xCE\xB3\xCE\xB5\xCE\xB9\xCE\xB1"));  // Greek
    EXPECT_FALSE(isTextRTL("123 !?"));
    EXPECT_FALSE(isTextRTL("\xFF\xFE"));
    EXPECT_FALSE(isTextRTL(""));
}

TEST(NSStringMoreTest, GenerateUUIDGivesFreshVersion4IdentifiersWithoutDashes) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = generateUUID();
        ASSERT_EQ(uuid.size(), 32u) << uuid;
        EXPECT_EQ(uuid.find_first_not_of("0123456789abcdef"), std::string::npos) << uuid;
        EXPECT_EQ(uuid[12], '4') << uuid;
        EXPECT_NE(std::string_view("89ab").find(uuid[16]), std::string_view::npos) << uuid;
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace velmora

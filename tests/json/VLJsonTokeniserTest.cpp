#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/json/VLJsonTokeniser.h"

namespace velmora {
namespace {

// The tokens of text fed whole, ending at the first Eof or Error.
std::vector<VLJsonToken> tokensOf(std::string_view text, VLJsonTokeniser& tokeniser) {
    tokeniser.appendData(text);
    std::vector<VLJsonToken> tokens;
    for (;;) {
        const VLJsonToken token = tokeniser.next();
        tokens.push_back(token);
        if (token == VLJsonToken::Eof || token == VLJsonToken::Error) {
            return tokens;
        }
    }
}

TEST(VLJsonTokeniser, ProducesEveryTokenKind) {
    VLJsonTokeniser tokeniser;
    using T = VLJsonToken;
    const auto tokens =
        tokensOf("{ : } [ ] , \"a\" \"\\n\" 12 1.5 -3e2 true false null\v\f\t\r\n ", tokeniser);
    const std::vector<VLJsonToken> expected{T::ObjectStart, T::KeyValueSeparator,
                                            T::ObjectEnd,   T::ArrayStart,
                                            T::ArrayEnd,    T::ValueSeparator,
                                            T::String,      T::EncodedString,
                                            T::Integer,     T::Real,
                                            T::Real,        T::True,
                                            T::False,       T::Null,
                                            T::Eof};
    EXPECT_EQ(tokens, expected);
}

TEST(VLJsonTokeniser, ErrorTextsCarryTheirOffsets) {
    struct Case {
        std::string_view text;
        const char* error;
    };
    const Case cases[] = {
        {"  +1 ", "Leading + is illegal in numbers at offset 2"},
        {" x", "Unrecognised leading character at offset 1"},
        {"trux ", "Expected 'true' but found 'trux'."},
        {"falsy", "Expected 'false' but found 'falsy'."},
        {std::string_view("nu\0l ", 5), "Expected 'null' but found 'nu'."},
        {"\"a\x01\"", "Unescaped control char 0x01"},
        {"\"a\x1f\"", "Unescaped control char 0x1F"},
        {" \"ab\\x\"", "Broken escape character at index 5 in token starting at offset 1"},
        {"\"\\u12G4\"", "Missing hex quad"},
        {"\"\\uDFFF\"", "Invalid high character in surrogate pair"},
        {"\"\\uD83D\\n\"", "Missing low character in surrogate pair"},
        {"\"\\uD83Dx\"", "Missing low character in surrogate pair"},
        {"\"\\uD83D\\uZZZZ\"", "Missing low character in surrogate pair"},
        {"\"\\uD83D\\uDFFF\"", "Invalid low surrogate char"},
        {"\"\\uD83D\\u0041\"", "Invalid low surrogate char"},
        {"-x", "No digits after initial minus"},
        {" 01", "Leading zero is illegal in number at offset 1"},
        {"-01", "Leading zero is illegal in number at offset 0"},
        {"1.e5", "No digits after decimal point at offset 0"},
        {"[1ex", "No digits after exponent mark at offset 1"},
        {"1e+]", "No digits after exponent mark at offset 0"},
    };
    for (const Case& c : cases) {
        VLJsonTokeniser tokeniser;
        const auto tokens = tokensOf(c.text, tokeniser);
        EXPECT_EQ(tokens.back(), VLJsonToken::Error) << c.text;
        EXPECT_EQ(tokeniser.error(), c.error) << c.text;
    }
}

TEST(VLJsonTokeniser, IllegalHexDigitIsReportedByTheQuadDecoderThenReplaced) {
    // The quad decoder's own text is overwritten by the escape parser's.
    VLJsonTokeniser tokeniser;
    tokeniser.appendData("\"\\u00x0\"");
    EXPECT_EQ(tokeniser.next(), VLJsonToken::Error);
    EXPECT_EQ(tokeniser.error(), "Missing hex quad");
}

TEST(VLJsonTokeniser, DecodesEscapesIncludingTheDeliberateQuirks) {
    struct Case {
        const char* text;
        std::string decoded;
    };
    const Case cases[] = {
        {R"("a\nb\rc\td\fe\bf")", "a\nb\rc\td\fe\bf"},
        {R"("\"\\\/")", "\"\\/"},
        {R"("\v")", "v"},  // not a vertical tab
        {R"("\u0041\u00e9\u20AC")", "A\xC3\xA9\xE2\x82\xAC"},
        {R"("\u0000")", std::string(1, '\0')},
        // The pair D83D DE00 is U+1F600; only its low 16 bits survive: U+F600.
        {R"("\uD83D\uDE00")", "\xEF\x98\x80"},
        // U+1D800 truncates to a lone surrogate code unit, which has no UTF-8 form.
        {R"("\uD836\uDC00")", "\xEF\xBF\xBD"},
        {R"("caf\u00e9 \u00e9t\u00e9")", "caf\xC3\xA9 \xC3\xA9t\xC3\xA9"},
    };
    for (const Case& c : cases) {
        VLJsonTokeniser tokeniser;
        tokeniser.appendData(c.text);
        ASSERT_EQ(tokeniser.next(), VLJsonToken::EncodedString) << c.text;
        EXPECT_EQ(tokeniser.getDecodedStringToken(), c.decoded) << c.text;
    }
}

TEST(VLJsonTokeniser, IncompleteTokensWaitAndResume) {
    const char* pieces[][2] = {
        {"\"abc", "def\""},
        {"\"a\\", "n\""},
        {"\"\\u00", "41\""},
        {"\"\\uD83D", "\\uDE00\""},
        {"\"\\uD83D\\", "uDE00\""},
        {"tr", "ue "},
        {"12", "34 "},
        {"-", "5 "},
        {"1.", "5 "},
        {"1e", "+5 "},
        {"1.5e-", "3 "},
        {"1.5e", "-3 "},
        {"-0", ".5 "},
        {"0", "1 "},
        {"-", "-1 "},
        {"1.", "e5 "},
        {"1e", "x "},
        {"1e+", "+ "},
        {"\"a\\u00", "4G\""},
        {"\"\xC3", "\xA9\""},
        {"\"\\", "x\""},
    };
    for (const auto& piece : pieces) {
        VLJsonTokeniser whole;
        whole.appendData(std::string(piece[0]) + piece[1]);
        const VLJsonToken expected = whole.next();
        const std::string expectedText(whole.tokenView());

        VLJsonTokeniser split;
        split.appendData(piece[0]);
        EXPECT_EQ(split.next(), VLJsonToken::Eof) << piece[0];
        EXPECT_TRUE(split.hasPendingInput());
        split.appendData(piece[1]);
        EXPECT_EQ(split.next(), expected) << piece[0];
        EXPECT_EQ(split.tokenView(), expectedText) << piece[0];
        EXPECT_EQ(split.error(), whole.error()) << piece[0];
    }
}

// Fault pinned: a token cut by every chunk boundary was rescanned from its start each
// time, so a long string or number in many chunks took time quadratic in its length.
TEST(VLJsonTokeniser, LongTokensInManyChunksAreScannedOnce) {
    constexpr std::size_t kLength = 1 << 20;
    constexpr std::size_t kChunk = 100;
    const std::string texts[] = {
        "\"" + std::string(kLength, 'x') + "\\n\" ",
        "-" + std::string(kLength, '7') + "." + std::string(kLength, '1') + "e+" +
            std::string(kLength, '2') + " ",
    };
    const VLJsonToken kinds[] = {VLJsonToken::EncodedString, VLJsonToken::Real};
    for (std::size_t k = 0; k < 2; ++k) {
        const std::string& text = texts[k];
        VLJsonTokeniser tokeniser;
        VLJsonToken token = VLJsonToken::Eof;
        std::size_t largest = 0;
        for (std::size_t offset = 0; offset < text.size() && token == VLJsonToken::Eof;
             offset += kChunk) {
            tokeniser.appendData(std::string_view(text).substr(offset, kChunk));
            token = tokeniser.next();
            largest = std::max(largest, tokeniser.capacity());
        }
        ASSERT_EQ(token, kinds[k]);
        EXPECT_EQ(tokeniser.tokenLength(), text.size() - 1);
        // Each byte once; a chunk boundary inside an escape may re-read that escape.
        EXPECT_LE(tokeniser.scannedBytes(), text.size() + 2 * text.size() / kChunk);
        // The buffer grows by doubling around the token, no further.
        EXPECT_LE(largest, 4 * text.size());
    }
}

// Fault pinned: the whole consumed input stayed in the buffer until the token in
// progress ended, and every append moved the pending bytes.
TEST(VLJsonTokeniser, BufferStaysSmallWhileManyShortTokensStream) {
    VLJsonTokeniser tokeniser;
    const std::string chunk = [] {
        std::string text;
        while (text.size() < 4000) {
            text += "[], 12.5, \"ab\", ";
        }
        return text;
    }();
    std::size_t tokens = 0;
    for (int i = 0; i < 2000; ++i) {
        tokeniser.appendData(chunk);
        while (tokeniser.next() > VLJsonToken::Error) {
            ++tokens;
        }
    }
    EXPECT_GT(tokens, 2000u * 1000u);
    EXPECT_LE(tokeniser.capacity(), 4 * chunk.size() + 4096);
    EXPECT_EQ(tokeniser.streamOffset(), 2000 * chunk.size());
}

// Digits are scanned eight at a time: runs of every length up to three words, ended by
// the bytes on either side of the digits and by bytes whose low bits look like digits.
TEST(VLJsonTokeniser, DigitRunsOfEveryLengthEndWhereTheDigitsEnd) {
    const char terminators[] = {'/', ':', ' ', ',', ']', '\xB5', '\x10', 'p'};
    for (std::size_t length = 1; length <= 24; ++length) {
        for (const char terminator : terminators) {
            std::string digits(length, '7');
            digits[0] = '1';
            for (const std::string& number :
                 {digits, "-" + digits, digits + ".5" + digits, "0." + digits + "e-" + digits}) {
                VLJsonTokeniser tokeniser;
                tokeniser.appendData(number + terminator + "9999999999");
                const VLJsonToken token = tokeniser.next();
                ASSERT_TRUE(token == VLJsonToken::Integer || token == VLJsonToken::Real)
                    << number << tokeniser.error();
                EXPECT_EQ(tokeniser.tokenView(), number) << int(terminator);
            }
        }
    }
}

TEST(VLJsonTokeniser, NumberAtTheEndOfTheInputWaitsForTheNextByte) {
    VLJsonTokeniser tokeniser;
    tokeniser.appendData("[12");
    EXPECT_EQ(tokeniser.next(), VLJsonToken::ArrayStart);
    EXPECT_EQ(tokeniser.next(), VLJsonToken::Eof);
    tokeniser.appendData("]");
    EXPECT_EQ(tokeniser.next(), VLJsonToken::Integer);
    const char* token = nullptr;
    std::size_t length = 0;
    ASSERT_TRUE(tokeniser.getToken(token, length));
    EXPECT_EQ(std::string(token, length), "12");
}

TEST(VLJsonTokeniser, ConsumedInputIsDroppedAtTheNextAppend) {
    VLJsonTokeniser tokeniser;
    tokeniser.appendData("[1, 2, ");
    while (tokeniser.next() != VLJsonToken::Eof) {
    }
    EXPECT_FALSE(tokeniser.hasPendingInput());
    tokeniser.appendData("3]");
    EXPECT_EQ(tokeniser.tokenStart(), 0u);
    EXPECT_EQ(tokeniser.next(), VLJsonToken::Integer);
    EXPECT_EQ(tokeniser.tokenStart(), 0u);
    // Large inputs grow the buffer past its initial size.
    std::string big = "\"" + std::string(100000, 'x') + "\"";
    tokeniser.appendData(big);
    EXPECT_EQ(tokeniser.next(), VLJsonToken::ArrayEnd);
    EXPECT_EQ(tokeniser.next(), VLJsonToken::String);
    EXPECT_EQ(tokeniser.tokenLength(), big.size());
}

TEST(VLJsonTokeniser, EmbeddedNulIsNotTheEndOfInput) {
    VLJsonTokeniser tokeniser;
    tokeniser.appendData(std::string_view("[\0]", 3));
    EXPECT_EQ(tokeniser.next(), VLJsonToken::ArrayStart);
    EXPECT_EQ(tokeniser.next(), VLJsonToken::Error);
    EXPECT_EQ(tokeniser.error(), "Unrecognised leading character at offset 1");
}

TEST(VLJsonTokeniser, ValidatesUtf8InStrings) {
    // The longer rows are runs of two- and three-byte sequences, which are checked a word at
    // a time, with the boundary cases inside the run.
    const char* valid[] = {"\"\xC3\xA9\"",
                           "\"\xE2\x82\xAC\"",
                           "\"\xF0\x9F\x98\x80\"",
                           "\"\xF4\x8F\xBF\xBF\"",
                           "\"\xD0\x9F\xD1\x80\xD0\xB8 \xD0\xBC\xD0\xB8\xD1\x80\"",
                           "\"\xE0\xA0\x80\xED\x9F\xBF\xC2\x80\xEF\xBF\xBFxyz\"",
                           "\"\xF0\x9F\x98\x80\xD0\x96\xE2\x82\xAC\xE6\x97\xA5\""};
    const char* invalid[] = {"\"\xC0\xAF\"",
                             "\"\xED\xA0\x80\"",
                             "\"\xF4\x90\x80\x80\"",
                             "\"\xE2\x82\"",
                             "\"\x80\"",
                             "\"\xF8\x88\x80\x80\x80\"",
                             "\"\xD0\x96\xD0\x96\xC1\xBF\xD0\x96\"",
                             "\"\xE6\x97\xA5\xE0\x9F\xBF\xE6\x97\xA5\"",
                             "\"\xE6\x97\xA5\xED\xA0\x80\xE6\x97\xA5\"",
                             "\"\xD0\x96\xD0\x96\xD0\xD0\x96xy\"",
                             "\"\xE6\x97\xA5\xE6\x97\xE6\x97\xA5\"",
                             "\"\xE6\x97\xA5\xE6\x97\""};
    for (const char* text : valid) {
        VLJsonTokeniser tokeniser;
        tokeniser.appendData(text);
        ASSERT_EQ(tokeniser.next(), VLJsonToken::String);
        EXPECT_TRUE(tokeniser.isStringTokenValidUtf8()) << text;
    }
    for (const char* text : invalid) {
        VLJsonTokeniser tokeniser;
        tokeniser.appendData(text);
        ASSERT_EQ(tokeniser.next(), VLJsonToken::String);
        EXPECT_FALSE(tokeniser.isStringTokenValidUtf8()) << text;
        EXPECT_FALSE(tokeniser.getDecodedStringToken().has_value());
        EXPECT_EQ(tokeniser.error(), "Invalid UTF-8 in string at offset 0");
    }
}

}  // namespace
}  // namespace velmora

#pragma once
// VLJsonTokeniser: cuts JSON text, arriving in chunks of any size, into tokens. A token
// that a chunk cuts in two is resumed where its scan stopped once the next chunk
// arrives, so callers see exactly the tokens of the whole text whatever the chunking, and
// a string or number spanning many chunks costs time linear in its length.
//
// Deliberately wider than the JSON grammar in two places, kept for compatibility:
// vertical tab and form feed count as whitespace, and "\v" is an accepted escape that
// decodes to the letter v. A surrogate-pair escape decodes to ONE UTF-16 code unit
// holding the low 16 bits of the code point (so \uD83D\uDE00 gives U+F600).
//
// Thread safety: one tokeniser belongs to one thread at a time.
//
//   VLJsonTokeniser tokeniser;
//   tokeniser.appendData(R"(["a", 1])");
//   for (auto t = tokeniser.next(); t > VLJsonToken::Error; t = tokeniser.next()) { ... }

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/json/VLJsonToken.h"

namespace velmora {

class VLJsonTokeniser {
  public:
    VLJsonTokeniser();

    // Drops the input consumed before the current token, then appends bytes. The token
    // last returned stays addressable through getToken.
    void appendData(std::string_view bytes);

    // Advances past the previous token and scans the next one. Eof means the input ends
    // inside (or before) a token: append more and call again. Inline, so that a caller's
    // switch on the token can fold into this one's switch on the byte.
    VLJsonToken next() {
        tokenStart_ += tokenLength_;
        tokenLength_ = 0;
        if (resuming_) [[unlikely]] {
            return resume();
        }
        skipWhitespace();
        switch (data()[tokenStart_]) {
            case '\0':
                return endOrNul();
            case '"':
                return matchString();
            case '-':
            case '0':
            case '1':
            case '2':
            case '3':
            case '4':
            case '5':
            case '6':
            case '7':
            case '8':
            case '9':
                return matchNumber();
            case '{':
                tokenLength_ = 1;
                return VLJsonToken::ObjectStart;
            case ':':
                tokenLength_ = 1;
                return VLJsonToken::KeyValueSeparator;
            case '}':
                tokenLength_ = 1;
                return VLJsonToken::ObjectEnd;
            case '[':
                tokenLength_ = 1;
                return VLJsonToken::ArrayStart;
            case ']':
                tokenLength_ = 1;
                return VLJsonToken::ArrayEnd;
            case ',':
                tokenLength_ = 1;
                return VLJsonToken::ValueSeparator;
            case 't':
                return match("true", VLJsonToken::True);
            case 'f':
                return match("false", VLJsonToken::False);
            case 'n':
                return match("null", VLJsonToken::Null);
            default:
                return unrecognised();  // a leading + has its own message
        }
    }

    // Advances past the previous token like next() and answers whether the next token is
    // the one-byte separator (':' or ','); when it is, it becomes the current token. A
    // parser that knows which separator is due takes it here without the dispatch.
    bool nextIsSeparator(char separator) {
        tokenStart_ += tokenLength_;
        tokenLength_ = 0;
        skipWhitespace();
        if (data()[tokenStart_] != separator) {
            return false;
        }
        tokenLength_ = 1;
        return true;
    }

    // The current token's bytes (strings with their quotes); false when there is none.
    bool getToken(const char*& token, std::size_t& length) const;
    std::string_view tokenView() const { return {data() + tokenStart_, tokenLength_}; }

    // A string token without its quotes, escapes resolved; nothing (and error() says
    // why) when the token holds an unescaped control character, a bad escape or bytes
    // that are not UTF-8.
    std::optional<std::string> getDecodedStringToken();
    // The same into out (cleared first), reusing its storage.
    bool decodeStringToken(std::string& out);

    // Whether the current string token is valid UTF-8. Strings without bytes of 128 and
    // above are, without looking.
    bool isStringTokenValidUtf8() const;

    // Offset in the buffer of the current token's first byte. The buffer starts where
    // the input consumed before the last append ended.
    std::uint64_t tokenStart() const { return tokenStart_; }
    std::uint64_t tokenLength() const { return tokenLength_; }
    // Offset of the current token's first byte in the whole stream of appended bytes.
    std::uint64_t streamOffset() const { return dropped_ + tokenStart_; }
    // Whether unconsumed input other than whitespace is waiting for more data.
    bool hasPendingInput() const;
    // Bytes the scans of strings and numbers have stepped over since construction: each
    // byte of such a token counts once however many chunks it arrived in.
    std::uint64_t scannedBytes() const { return scannedBytes_; }
    // Bytes the buffer holds now, for callers that watch memory.
    std::size_t capacity() const { return capacity_; }

    const std::string& error() const { return error_; }
    void setError(std::string error) { error_ = std::move(error); }

  private:
    enum class Fault {
        LeadingPlus,
        UnrecognisedLeadingCharacter,
        ExpectedLiteral,
        UnescapedControlChar,
        BrokenEscape,
        IllegalHexDigit,
        MissingHexQuad,
        MissingLowSurrogate,
        InvalidLowSurrogate,
        InvalidHighSurrogate,
        UnescapedControlChars,
        NoDigitsAfterMinus,
        LeadingZero,
        NoDigitsAfterDecimalPoint,
        NoDigitsAfterExponent,
        InvalidUtf8,  // a string whose bytes are not UTF-8
    };
    // Every error text of the tokeniser is made here.
    VLJsonToken fail(Fault fault, std::uint64_t a = 0, std::uint64_t b = 0,
                     std::string_view literal = {});

    // Where a number's scan stands, so that one cut by the end of the input resumes
    // there.
    enum class NumberPhase : std::uint8_t {
        Sign,
        Integer,
        FractionFirst,
        Fraction,
        ExponentSign,
        ExponentFirst,
        Exponent,
    };

    // The logical buffer: input not yet consumed starts at base_ in the storage.
    const char* data() const { return buf_.get() + base_; }
    // Position of the NUL sentinel that ends the input (one past the last input byte).
    std::size_t end() const { return length_ - 1; }
    // Remembers where the scan of the current token stopped when the input ran out.
    VLJsonToken suspend(std::size_t index);
    VLJsonToken suspendString(std::size_t index, VLJsonToken kind, bool sawHighBytes);
    // Ends the current token's scan at index (its end, or where it failed).
    void finish(std::size_t index);
    VLJsonToken finishNumber(std::size_t index, bool isReal);

    // Bytes 9 to 13 and the space: wider than the JSON grammar, deliberately.
    static bool isWhitespace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    void skipWhitespace() {
        const char* p = data();
        auto i = static_cast<std::size_t>(tokenStart_);
        // Most tokens follow their predecessor directly or after one space; indentation
        // is skipped a block at a time.
        if (!isWhitespace(p[i])) {
            return;
        }
        ++i;
        if (isWhitespace(p[i])) {
            i = skipWhitespaceFrom(p, i);
        }
        tokenStart_ = i;
    }
    static std::size_t skipWhitespaceFrom(const char* p, std::size_t i);
    VLJsonToken resume();
    VLJsonToken endOrNul();
    VLJsonToken unrecognised();
    VLJsonToken match(std::string_view literal, VLJsonToken kind);
    VLJsonToken matchString();
    VLJsonToken matchNumber();
    // The 16-bit value of four hex digits at index; -2 when the input ends first, -1
    // (with an error) on another non-hex byte.
    int decodeHexQuad(std::size_t index);
    // index points at the first hex digit of a \u escape and is moved past what is read.
    // The code point, -2 when the input ends first, -1 with an error.
    long parseUnicodeEscape(std::size_t& index);

    std::uint64_t tokenStart_ = 0;
    std::uint64_t tokenLength_ = 0;
    // Storage: consumed bytes (base_ of them, dropped lazily so that a long token is not
    // moved on every append), the input bytes, one NUL sentinel, then zeroed padding so
    // that block scans may read a few bytes past the sentinel.
    std::unique_ptr<char[]> buf_;
    std::size_t base_ = 0;
    std::size_t length_ = 0;  // input bytes plus the sentinel, from base_
    std::size_t capacity_ = 0;
    std::uint64_t dropped_ = 0;  // bytes consumed and dropped before the logical buffer
    std::uint64_t scannedBytes_ = 0;
    // A token the input cut short: where its scan resumes, relative to tokenStart_.
    bool resuming_ = false;
    std::size_t resumeOffset_ = 0;
    VLJsonToken resumeKind_ = VLJsonToken::String;
    NumberPhase resumePhase_ = NumberPhase::Sign;
    bool resumeHighBytes_ = false;
    bool stringHasHighBytes_ = false;
    std::string error_;
};

}  // namespace velmora

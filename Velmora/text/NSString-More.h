#pragma once
// NSString-More: the framework's text operations (trimming, containment, fuzzy in-order
// matching, XML and control-character cleaning, direction, identifiers) and its escaping
// functions, each tuned to one destination. Free functions on UTF-8 text, taking the
// receiver first; each returns a new string and leaves its arguments alone.
//
// Invalid UTF-8: operations that compare or classify characters (the containment tests,
// trim, the fuzzy match, validXMLString, isTextRTL) read an ill-formed sequence as one
// U+FFFD per maximal ill-formed subpart; the byte-editing ones (cleaning, escaping)
// keep ill-formed bytes as they are, or percent-encode them byte for byte. Nothing reads
// outside the given text. An empty string stands for the original's nil: an empty
// argument matches nothing and replaces nothing.
//
// Thread safety: every function may be called from any thread at once.
//
//   doesContain("Buy Milk", "milk");                    // true
//   doesContainCharactersInString("grocery list", "gcl", true);   // true
//   escapeAll("#1 a&b");                                // "#1%20a%26b"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Range.h"

namespace velmora {

// The text without white space and line breaks (Unicode's, including U+00A0 and
// U+2028) at both ends.
std::string trim(std::string_view text);

// True when the lower-cased text contains the lower-cased query (case-insensitive,
// despite the name). Characters compare as canonical equivalents (NFC).
bool doesContain(std::string_view text, std::string_view query);
// True when the text contains the query exactly (case-sensitive, despite the name).
bool doesContainIgnoreLower(std::string_view text, std::string_view query);
// True when the text begins with the query (case-sensitive).
bool doesStartWith(std::string_view text, std::string_view query);

// Byte offset of the first occurrence of the character, or NotFound.
std::size_t indexOf(std::string_view text, char32_t character);

// The text split at every occurrence of separator; an empty separator gives the whole
// text as the only piece, and empty text one empty piece.
std::vector<std::string> explode(std::string_view text, std::string_view separator);

// Every occurrence of target replaced by replacement, scanning forward from after each
// replacement (case-sensitive). An empty target or replacement changes nothing.
std::string searchReplace(std::string_view text, std::string_view target,
                          std::string_view replacement);

// Every character of text that is in characters (a set given as its members, in UTF-8)
// replaced by replacement: "a-b_c" with "-_" and " " gives "a b c". An ill-formed byte
// sequence of text is its own character and is kept unless characters has one too.
std::string stringByReplacingCharactersInSet(std::string_view text, std::string_view characters,
                                             std::string_view replacement);
// The same, but a run of such characters is replaced once: "a--_b" gives "a b".
std::string stringByReplacingAllCharactersInSetOnce(std::string_view text,
                                                    std::string_view characters,
                                                    std::string_view replacement);

// True when the query's non-blank characters appear in the text in the same order with
// anything between them ("gcl" matches "grocery list"); case-insensitive when
// ignoringLowerCase is set. The query's characters are deliberately not escaped: they
// keep their regular-expression meaning, so "a.c" also matches "abc". A query that
// makes no valid expression, or whose match runs past the engine's time limit, answers
// false.
bool doesContainCharactersInString(std::string_view text, std::string_view query,
                                   bool ignoringLowerCase);

// The text without the characters XML 1.0 does not allow, and also without U+D7FF,
// U+FFFD and U+10FFFF (deliberately one short of XML's own range ends). Ill-formed
// UTF-8 is removed as well, so the result is always valid UTF-8.
std::string validXMLString(std::string_view text);

// The text without the control characters 5, 6, 7, 8, 24, 27 and 127.
std::string cleanString(std::string_view text);
// As cleanString, and also without U+F206 (a private-use glyph some keyboards insert).
std::string cleanStringQuick(std::string_view text);
// cleanString as bytes.
std::vector<std::uint8_t> getCleanStringData(std::string_view text);

// One "?" per comma-separated piece, joined by ", ": "a,b,c" gives "?, ?, ?". Empty
// text gives empty text.
std::string getQuestionMarksForTokens(std::string_view text);

// True when the text's most likely language is written right to left ("ar" or "he").
// The language is estimated from the script most of its letters belong to, so Arabic
// letters estimate "ar" and Hebrew letters "he"; text without letters is not RTL.
bool isTextRTL(std::string_view text);

// A random version-4 UUID from the system's random source, as 32 lower-case hexadecimal
// digits without dashes.
std::string generateUUID();

// Percent-encoding (UTF-8) of everything except letters, digits and "-._~": in
// particular "!*'();:@&=+$,/?%#[]{}" and the double quote are always encoded.
std::string urlEscape(std::string_view text);
// Every "%XX" escape decoded to its byte; a "%" not followed by two hexadecimal digits
// is kept. Decodes byte for byte, so urlUnescape(urlEscape(t)) == t for any bytes.
std::string urlUnescape(std::string_view text);

// The escaping functions. Each is an ordered list of whole-text replacements in which
// ASCII letters match either case; later steps see the output of earlier ones, and
// their order is part of each function's contract. Where a function starts with "the
// standard escaping", everything but letters, digits and "-_.!~*'();/?:@&=+$," is
// percent-encoded first.

// For mailto: links: the standard escaping, then the reserved characters, white space,
// "#<>\"[]!'()*" and line feeds as percent codes.
std::string escapeAllForMail(std::string_view text);
// Decodes percent escapes, then once more the codes escapeAllForMail writes (so a
// doubly escaped "%2526" gives "&"), and "&lt;" as "<".
std::string unescapeAllForMail(std::string_view text);
// The standard escaping, then "&+,;@", white space, "<>\"" and line feeds as percent
// codes, while "%23" goes back to "#": a number sign deliberately stays readable.
std::string escapeAll(std::string_view text);
// Every "{-;-}" removed, then the standard escaping.
std::string escapeForActionOrTag(std::string_view text);
// A dialable number: every "-", " ", "(", ")" and "/" removed, then the standard escaping.
std::string escapeAllForCall(std::string_view text);
// Trimmed, then every "," replaced by a blank.
std::string escapeAllForTag(std::string_view text);
// Every apostrophe doubled, for SQL string literals.
std::string escapeForSearch(std::string_view text);
// One CSV field: double quotes doubled and line feeds written as CR LF; wrapped in
// double quotes when the result holds a ",", a double quote or a line break.
std::string escapeAllForExport(std::string_view text);
// ";" as "\;", then "\" as "\\", then ":" as "\:". The backslash step runs second on
// purpose, so ";" ends as "\\;".
std::string xmlEscape(std::string_view text);
// xmlEscape's steps undone in reverse order: "\:" as ":", "\\" as "\", "\;" as ";".
std::string xmlUnescape(std::string_view text);
// The caret transport encoding: "\" doubled, "/" as "\/", backspace, form feed and line
// feed removed, tab as blank, then the characters "&+,:;=?@ #<>\"{}[]()" as "^XX" (their
// code in hexadecimal). The caret itself is not escaped, so a text holding "^26" does
// not come back intact.
std::string escapeForJSON(std::string_view text);
// "\\" as "\", "\/" as "/", then each "^XX" code of escapeForJSON as its character.
std::string unescapeForJSON(std::string_view text);
// The to-do service's parameter format, which is the mail escaping (it writes every
// code unescapeForTaskService reads, braces and brackets included).
std::string escapeForTaskService(std::string_view text);
// The percent codes escapeAllForMail writes for "&+,/:;=?@", white space, "#<>\"" and
// line feed, then "&lt;", "&gt;", "%7B", "%7D", "%5B" and "%5D", each back to its
// character (no general percent decoding).
std::string unescapeForTaskService(std::string_view text);

// --- Regular expressions (ICU syntax) ------------------------------------------------------
// Compiled expressions are cached per thread. An expression that does not compile, or whose
// match runs past the engine's time limit, matches nothing.

// The platform's option bits; CaseInsensitive is 2.
enum class RegexOptions : std::uint32_t { None = 0, CaseInsensitive = 2 };

// The text of capture group `capture` (0: the whole match) of the first match within the
// byte range of the text (none: all of it); empty text for a group that took no part.
// Nothing when there is no match, the range starts past the end, or no such group exists.
std::optional<std::string> stringByMatching(std::string_view text, std::string_view pattern,
                                            RegexOptions options = RegexOptions::None,
                                            std::optional<Range> range = std::nullopt,
                                            int capture = 0);
// The first match: the whole match followed by each capture group's text (empty for a
// group that took no part); an empty list when nothing matches.
std::vector<std::string> captureComponentsMatchedByRegex(std::string_view text,
                                                         std::string_view pattern,
                                                         RegexOptions options = RegexOptions::None);

}  // namespace velmora

// like(pattern, text[, escape]) of the Unicode extension on any bytes, invalid UTF-8
// included. Input: [split][escape length][escape bytes][pattern bytes | text bytes].
// Checks that every answer is 0, 1 or one of the two errors; that a text matches itself
// written as a pattern with its wildcards escaped; that on ASCII the answers equal
// SQLite's built-in like (same wildcards, same case-insensitivity there); and, on the
// text, that the mapping functions' UTF-8 fast path agrees with their UTF-16 path.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/sqlite/SqliteFuzzSupport.h"

using velmora::fuzz::FuzzDatabase;
using velmora::fuzz::require;
using velmora::fuzz::SqlAnswer;

namespace {

bool isKnownAnswer(const SqlAnswer& answer) {
    return answer.text == "0" || answer.text == "1" ||
           answer.text == "<error: ESCAPE expression must be a single character>" ||
           answer.text == "<error: LIKE or GLOB pattern too complex>";
}

const SqlAnswer kMatch{"1"};

std::string escapedPattern(std::string_view text) {
    std::string pattern;
    for (const char c : text) {
        if (c == '\0') {
            break;  // texts end at their first zero byte
        }
        if (c == '%' || c == '_' || c == '\\') {
            pattern += '\\';
        }
        pattern += c;
    }
    return pattern;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzDatabase unicode(true);
    static FuzzDatabase builtIn(false);
    if (size < 2) {
        return 0;
    }
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t escapeLength = std::min<std::size_t>(data[1] % 4, size - 2);
    const std::string_view escape = input.substr(2, escapeLength);
    const std::string_view rest = input.substr(2 + escapeLength);
    const std::size_t split = data[0] % (rest.size() + 1);
    const std::string_view pattern = rest.substr(0, split);
    const std::string_view text = rest.substr(split);

    const SqlAnswer two = unicode.answer("SELECT like(?1, ?2)", {pattern, text});
    const SqlAnswer three = unicode.answer("SELECT like(?1, ?2, ?3)", {pattern, text, escape});
    require(isKnownAnswer(two) && !two.isError());
    require(isKnownAnswer(three));

    require(unicode.answer("SELECT ?1 LIKE ?2 ESCAPE '\\'", {text, escapedPattern(text)}) ==
            kMatch);
    require(unicode.answer("SELECT ?1 LIKE '%'", {text}) == kMatch);

    // The UTF-8 entries of the mapping functions must give what the UTF-16 ones (which
    // a UTF-16 database uses) give, malformed input and zero bytes included.
    static FuzzDatabase unicode16(true, "UTF-16le");
    for (const char* sql :
         {"SELECT fold(?1)", "SELECT upper(?1)", "SELECT title(?1)", "SELECT unaccent(?1)"}) {
        require(unicode.text(sql, {text}) == unicode16.text(sql, {text}));
    }

    if (velmora::fuzz::isAscii(input)) {
        require(builtIn.answer("SELECT like(?1, ?2)", {pattern, text}) == two);
        require(builtIn.answer("SELECT like(?1, ?2, ?3)", {pattern, text, escape}) == three);
    }
    return 0;
}

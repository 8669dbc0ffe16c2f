// The UTF-8 paths of the extension (eight ASCII bytes at a time, flat tables below U+0800,
// results on the stack or the heap, the collation's common-prefix skip) against the unit
// tables they must agree with, and its error paths.
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/sqlite/sqlite3_unicode.h"

#include "tests/sqlite/SqliteTestDatabase.h"

namespace velmora::testing {
namespace {

void appendUtf8(std::string& out, std::uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// What the unit tables say a text of BMP characters becomes.
std::string mapped(const std::u32string& text, std::uint16_t (*map)(std::uint16_t)) {
    std::string out;
    for (const char32_t c : text) {
        appendUtf8(out, map(static_cast<std::uint16_t>(c)));
    }
    return out;
}

std::string unaccented(const std::u32string& text) {
    std::string out;
    for (const char32_t c : text) {
        const std::uint16_t* values = nullptr;
        int n = 0;
        const std::uint16_t first =
            sqlite3_unicode_unacc(static_cast<std::uint16_t>(c), &values, &n);
        if (c < 0x80 || n == 1) {
            appendUtf8(out, c < 0x80 ? c : first);
            continue;
        }
        for (int i = 0; i < n; ++i) {
            std::uint32_t unit = values[i];
            if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < n) {
                unit = 0x10000 + ((unit - 0xD800) << 10) + (values[++i] - 0xDC00u);
            }
            appendUtf8(out, unit);
        }
    }
    return out;
}

// One function applied to one bound text, as the bytes SQLite returns.
std::string call(SQLiteConnection& db, const char* function, const std::string& text) {
    const std::string sql = std::string("SELECT ") + function + "(?1)";
    sqlite3_stmt* raw = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db.handle(), sql.c_str(), -1, &raw, nullptr), SQLITE_OK);
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(raw, sqlite3_finalize);
    sqlite3_bind_text(raw, 1, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    if (sqlite3_step(raw) != SQLITE_ROW) {
        return std::string("error: ") + sqlite3_errmsg(db.handle());
    }
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(raw, 0));
    return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(raw, 0)));
}

// Every character of the plane (but the zero unit and surrogates) through each function,
// in runs of 37 (short results, built on the stack; the runs cross every ASCII/two-byte/
// three-byte boundary at some offset) and all at once (a result on the heap).
TEST(Sqlite3UnicodeFastPaths, Utf8FunctionsAgreeWithTheUnitTablesOnEveryCharacter) {
    SQLiteConnection db = openMemoryDatabase();
    ASSERT_EQ(sqlite3_unicode_init(db.handle()), SQLITE_OK);
    std::vector<std::u32string> runs(1);
    std::u32string all;
    for (char32_t c = 1; c < 0x10000; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) {
            continue;
        }
        all += c;
        runs.back() += c;
        if (runs.back().size() == 37) {
            runs.emplace_back();
        }
    }
    runs.push_back(all);
    for (const std::u32string& run : runs) {
        std::string text;
        for (const char32_t c : run) {
            appendUtf8(text, c);
        }
        const auto first = static_cast<std::uint32_t>(run.front());
        ASSERT_EQ(call(db, "lower", text), mapped(run, sqlite3_unicode_lower)) << std::hex << first;
        ASSERT_EQ(call(db, "upper", text), mapped(run, sqlite3_unicode_upper)) << std::hex << first;
        ASSERT_EQ(call(db, "title", text), mapped(run, sqlite3_unicode_title)) << std::hex << first;
        ASSERT_EQ(call(db, "fold", text), mapped(run, sqlite3_unicode_fold)) << std::hex << first;
        ASSERT_EQ(call(db, "unaccent", text), unaccented(run)) << std::hex << first;
    }
}

// The collation's definition, written plainly: decode both, compare the reduced
// characters up to the shorter byte length, then the lengths. REQUIRES: valid UTF-8.
int referenceCollate(const std::string& a, const std::string& b) {
    const std::size_t shorter = std::min(a.size(), b.size());
    const auto next = [](const std::string& s, std::size_t& i) {
        const auto lead = static_cast<unsigned char>(s[i]);
        const int more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        std::uint32_t c = more == 0 ? lead : lead & (0x3F >> more);
        ++i;
        for (int k = 0; k < more; ++k) {
            c = (c << 6) | (static_cast<unsigned char>(s[i++]) & 0x3F);
        }
        if (c > 0xFFFF) {
            return c;
        }
        return std::uint32_t{sqlite3_unicode_fold(
            sqlite3_unicode_unacc(static_cast<std::uint16_t>(c), nullptr, nullptr))};
    };
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < shorter && j < shorter) {
        const auto ra = static_cast<int>(next(a, i));
        const auto rb = static_cast<int>(next(b, j));
        if (ra != rb) {
            return ra - rb;
        }
    }
    return static_cast<int>(a.size()) - static_cast<int>(b.size());
}

TEST(Sqlite3UnicodeFastPaths, CollationAgreesWithItsDefinition) {
    // Pieces chosen so that random texts share long prefixes, differ only in case or
    // accents, and mix one-, two-, three- and four-byte characters.
    const std::vector<std::string> pieces = {"a",  "A", "b", "Z",        "é",        "É", "e", "ß",
                                             "Σ",  "ς", "σ", "ж",        "Ж",        "ქ", "ე", "Ⴀ",
                                             "王", "𐐀", "𐐨", "abcdefgh", "ABCDEFGH", "0", " "};
    std::mt19937 random(20261123);
    const auto text = [&](std::size_t count) {
        std::string s;
        for (std::size_t i = 0; i < count; ++i) {
            s += pieces[random() % pieces.size()];
        }
        return s;
    };
    const auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (int round = 0; round < 20000; ++round) {
        const std::string common = text(random() % 6);
        // Half the pairs start alike, so that the common-prefix skip is exercised.
        const std::string a = (round % 2 == 0 ? common : "") + text(random() % 8);
        const std::string b = (round % 2 == 0 ? common : "") + text(random() % 8);
        const int fast = sqlite3_unicode_collate(reinterpret_cast<void*>(SQLITE_UTF8),
                                                 static_cast<int>(a.size()), a.data(),
                                                 static_cast<int>(b.size()), b.data());
        ASSERT_EQ(sign(fast), sign(referenceCollate(a, b))) << a << " | " << b;
    }
}

// Regression: with a statement running, replacing the connection's built-in UTF-8 NOCASE
// fails (SQLITE_BUSY); initialisation used to ignore that and answer SQLITE_OK.
TEST(Sqlite3UnicodeFastPaths, PartialRegistrationIsReported) {
    SQLiteConnection db = openMemoryDatabase();
    sqlite3_stmt* raw = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db.handle(), "SELECT 1 UNION ALL SELECT 2", -1, &raw, nullptr),
              SQLITE_OK);
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> running(raw, sqlite3_finalize);
    ASSERT_EQ(sqlite3_step(raw), SQLITE_ROW);
    EXPECT_EQ(sqlite3_unicode_init(db.handle()), SQLITE_BUSY);
    running.reset();
    EXPECT_EQ(sqlite3_unicode_init(db.handle()), SQLITE_OK);
    EXPECT_EQ(query(db, "SELECT 'ÉCOLE' = 'école' COLLATE NOCASE"), Lines{"1"});
}

// Regression: a case function whose result memory could not be had answered NULL, as if
// its argument were NULL; it now fails the statement with "out of memory", as unaccent did.
TEST(Sqlite3UnicodeFastPaths, OutOfMemoryIsAnErrorNotNull) {
    SQLiteConnection db = openMemoryDatabase();
    ASSERT_EQ(sqlite3_unicode_init(db.handle()), SQLITE_OK);
    const std::string big(1 << 20, 'x');
    for (const char* function : {"lower", "upper", "title", "fold", "unaccent"}) {
        const std::string sql = std::string("SELECT ") + function + "(?1)";
        sqlite3_stmt* raw = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(db.handle(), sql.c_str(), -1, &raw, nullptr), SQLITE_OK);
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(raw,
                                                                              sqlite3_finalize);
        sqlite3_bind_text(raw, 1, big.data(), static_cast<int>(big.size()), SQLITE_STATIC);
        const sqlite3_int64 previous = sqlite3_hard_heap_limit64(-1);
        sqlite3_hard_heap_limit64(sqlite3_memory_used() + (1 << 19));
        const int rc = sqlite3_step(raw);
        sqlite3_hard_heap_limit64(previous);
        EXPECT_EQ(rc, SQLITE_NOMEM) << function;
    }
}

}  // namespace
}  // namespace velmora::testing

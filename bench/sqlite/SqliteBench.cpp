// One million mixed-script names (ASCII, accented Latin, Greek, Cyrillic, Georgian,
// CJK), made deterministically, in in-memory tables. Each benchmark reads every row of
// one query (stepping and fetching the column as UTF-8, as a program would):
//   fold(name), lower(name), unaccent(name)   the extension's table functions
//   lower(name) on a connection without it    SQLite's built-in ASCII lower
//   icu_lower(name)                           ICU's u_strToLower, a lean ICU-based peer
//   lower(name) after installCFAdditions      the locale-aware mapping (ICU + NFC)
//   name                                      the scan alone, the floor under all of them
//   ORDER BY name COLLATE NOCASE              the extension's NOCASE against the built-in
// Rows per second are items_per_second.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unicode/ustring.h>

#include "Velmora/sqlite/SQLiteConnection.h"
#include "Velmora/sqlite/SQLiteUTFExtensions.h"
#include "Velmora/sqlite/sqlite3_unicode.h"

namespace {

using velmora::SQLiteConnection;

constexpr std::size_t kRows = 1'000'000;

// Syllables per script; a name is two or three of them, a space, then two or three more.
const std::array<std::vector<std::string>, 6> kSyllables{{
    {"an", "ber", "chris", "dan", "el", "fi", "gor", "han", "ma", "son", "ton", "wil"},
    {"Ér", "ïs", "Mül", "ler", "Świą", "tek", "Çe", "lík", "Ña", "ño", "Ø", "stré", "à", "ÿ"},
    {"Αλ", "έξ", "αν", "δρος", "Πα", "πα", "δό", "που", "λος", "Ει", "ρή", "νη"},
    {"Алек", "сандр", "Ива", "нов", "Ёж", "ки", "на", "Пет", "ров", "Ната", "лья", "Шу"},
    {"ნი", "ნო", "გი", "ორ", "გი", "ბე", "რი", "ძე", "ქა", "რთ", "Ⴀ", "Ⴁ"},
    {"王", "李", "张", "刘", "陈", "杨", "黄", "赵", "吴", "周", "徐", "孙"},
}};

std::vector<std::string> makeNames() {
    std::uint64_t state = 0x9E3779B97F4A7C15ull;
    const auto next = [&state](std::uint64_t bound) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return (state >> 33) % bound;
    };
    std::vector<std::string> names;
    names.reserve(kRows);
    for (std::size_t i = 0; i < kRows; ++i) {
        const auto& syllables = kSyllables[next(kSyllables.size())];
        std::string name;
        for (int word = 0; word < 2; ++word) {
            if (word > 0) {
                name += ' ';
            }
            const std::uint64_t count = 2 + next(2);
            for (std::uint64_t s = 0; s < count; ++s) {
                name += syllables[next(syllables.size())];
            }
        }
        names.push_back(std::move(name));
    }
    return names;
}

void icuLower(sqlite3_context* context, int, sqlite3_value** argv) {
    const auto* text = static_cast<const UChar*>(sqlite3_value_text16(argv[0]));
    if (text == nullptr) {
        return;
    }
    const int32_t units = sqlite3_value_bytes16(argv[0]) / 2;
    std::vector<UChar> out(static_cast<std::size_t>(units) + 8);
    UErrorCode status = U_ZERO_ERROR;
    int32_t length =
        u_strToLower(out.data(), static_cast<int32_t>(out.size()), text, units, "", &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        out.resize(static_cast<std::size_t>(length));
        status = U_ZERO_ERROR;
        length = u_strToLower(out.data(), length, text, units, "", &status);
    }
    sqlite3_result_text16(context, out.data(), 2 * length, SQLITE_TRANSIENT);
}

SQLiteConnection filledDatabase(const std::vector<std::string>& names) {
    auto db = SQLiteConnection::open(":memory:");
    if (!db || db->execute("CREATE TABLE names(name TEXT); BEGIN")) {
        std::abort();
    }
    sqlite3_stmt* raw = nullptr;
    sqlite3_prepare_v2(db->handle(), "INSERT INTO names VALUES (?1)", -1, &raw, nullptr);
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> insert(raw, sqlite3_finalize);
    for (const std::string& name : names) {
        sqlite3_bind_text(raw, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        if (sqlite3_step(raw) != SQLITE_DONE) {
            std::abort();
        }
        sqlite3_reset(raw);
    }
    if (db->execute("COMMIT")) {
        std::abort();
    }
    return std::move(*db);
}

enum class Connection { BuiltIn, Unicode, CF };

sqlite3* connection(Connection which) {
    static const std::vector<std::string> names = makeNames();
    static SQLiteConnection builtIn = filledDatabase(names);
    static SQLiteConnection unicode = [] {
        SQLiteConnection db = filledDatabase(names);
        if (sqlite3_unicode_init(db.handle()) != SQLITE_OK ||
            sqlite3_create_function(db.handle(), "icu_lower", 1, SQLITE_UTF16, nullptr, icuLower,
                                    nullptr, nullptr) != SQLITE_OK) {
            std::abort();
        }
        return db;
    }();
    static SQLiteConnection cf = [] {
        SQLiteConnection db = filledDatabase(names);
        velmora::SQLiteUTFExtensions extensions;
        if (extensions.installCFAdditions(db.handle()) != SQLITE_OK) {
            std::abort();
        }
        return db;
    }();
    switch (which) {
        case Connection::BuiltIn:
            return builtIn.handle();
        case Connection::Unicode:
            return unicode.handle();
        case Connection::CF:
            return cf.handle();
    }
    return nullptr;
}

void readAll(benchmark::State& state, Connection which, const char* sql) {
    sqlite3* db = connection(which);
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &raw, nullptr) != SQLITE_OK) {
        state.SkipWithError(sqlite3_errmsg(db));
        return;
    }
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(raw, sqlite3_finalize);
    std::int64_t rows = 0;
    for (auto _ : state) {
        std::int64_t bytes = 0;
        while (sqlite3_step(raw) == SQLITE_ROW) {
            bytes += sqlite3_column_bytes(raw, 0);
            ++rows;
        }
        sqlite3_reset(raw);
        benchmark::DoNotOptimize(bytes);
    }
    state.SetItemsProcessed(rows);
}

void BM_Scan(benchmark::State& s) {
    readAll(s, Connection::BuiltIn, "SELECT name FROM names");
}
void BM_BuiltInLower(benchmark::State& s) {
    readAll(s, Connection::BuiltIn, "SELECT lower(name) FROM names");
}
void BM_Fold(benchmark::State& s) {
    readAll(s, Connection::Unicode, "SELECT fold(name) FROM names");
}
void BM_Lower(benchmark::State& s) {
    readAll(s, Connection::Unicode, "SELECT lower(name) FROM names");
}
void BM_Unaccent(benchmark::State& s) {
    readAll(s, Connection::Unicode, "SELECT unaccent(name) FROM names");
}
void BM_IcuLower(benchmark::State& s) {
    readAll(s, Connection::Unicode, "SELECT icu_lower(name) FROM names");
}
void BM_CFLower(benchmark::State& s) {
    readAll(s, Connection::CF, "SELECT lower(name) FROM names");
}
void BM_OrderByBuiltInNocase(benchmark::State& s) {
    readAll(s, Connection::BuiltIn, "SELECT name FROM names ORDER BY name COLLATE NOCASE");
}
void BM_OrderByUnicodeNocase(benchmark::State& s) {
    readAll(s, Connection::Unicode, "SELECT name FROM names ORDER BY name COLLATE NOCASE");
}

constexpr int kScanIterations = 5;
constexpr int kSortIterations = 2;

BENCHMARK(BM_Scan)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_BuiltInLower)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_Fold)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_Lower)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_Unaccent)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_IcuLower)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_CFLower)->Unit(benchmark::kMillisecond)->Iterations(kScanIterations);
BENCHMARK(BM_OrderByBuiltInNocase)->Unit(benchmark::kMillisecond)->Iterations(kSortIterations);
BENCHMARK(BM_OrderByUnicodeNocase)->Unit(benchmark::kMillisecond)->Iterations(kSortIterations);

}  // namespace

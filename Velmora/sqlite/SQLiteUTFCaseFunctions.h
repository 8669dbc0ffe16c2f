#pragma once
// The SQL functions behind SQLiteUTFExtensions: locale-aware upper() and lower() for one
// text encoding each, described by a row of a fixed table that is also the function's
// user data. Separate from the class so that a single row can be registered on its own
// (tests reach the native UTF-16 row this way, which SQLite otherwise replaces by the
// row of the machine's byte order).
//
// Thread safety: the rows are constants and the functions keep no state; the captured
// locale is made once, thread-safely.
//
//   for (const auto& row : caseFunctionRows()) {
//       if (registerCaseFunction(db, row) != SQLITE_OK) { ... }
//   }

#include <array>

#include "Velmora/sqlite/MutableUnicodeString.h"

struct sqlite3;

namespace velmora {

struct CaseFunctionRow {
    const char* name;  // "upper" or "lower"
    CaseChange change;
    int encoding;  // SQLITE_UTF8, SQLITE_UTF16 (native), SQLITE_UTF16BE or SQLITE_UTF16LE
};

// upper for UTF-8, UTF-16 native, UTF-16BE, UTF-16LE, then lower for the same.
const std::array<CaseFunctionRow, 8>& caseFunctionRows();

// Registers row's function on db; answers SQLite's result code.
[[nodiscard]] int registerCaseFunction(sqlite3* db, const CaseFunctionRow& row);

// The current locale at the first call, for the rest of the process.
const icu::Locale& capturedCaseMappingLocale();

}  // namespace velmora

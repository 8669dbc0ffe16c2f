#pragma once
// SQLiteUTFExtensions: replaces the SQL functions upper() and lower() of one SQLite
// connection with locale-aware ones (full case mapping in the process's captured locale,
// then NFC), for UTF-8 and the three UTF-16 encodings.
//
// Thread safety: an object belongs to one thread at a time; the registered functions
// keep no state of the object (their user data is static), so they run wherever SQLite
// runs them, and outlive the object. The locale is captured once per process, on first
// use of the class.
//
//   SQLiteUTFExtensions extensions;
//   if (extensions.installCFAdditions(db) != SQLITE_OK) { ... }
//   // SELECT upper('straße') -> 'STRASSE'

#include <string>

#include "Velmora/platform/foundation/Value.h"

struct sqlite3;

namespace velmora {

class SQLiteUTFExtensions {
  public:
    SQLiteUTFExtensions();

    // Keeps db (not owned), empties the retained objects and registers the eight
    // functions in order: upper for UTF-8, UTF-16 native, UTF-16BE, UTF-16LE, then lower
    // for the same. Answers the first failing registration's SQLite code, else SQLITE_OK.
    [[nodiscard]] int installCFAdditions(sqlite3* db);

    // Keeps object alive as long as this object, on behalf of a registered collation.
    void collationArgumentRetain(Value object);

    sqlite3* sqlite3DB() const { return db_; }
    const Array& retainedObjects() const { return retained_; }

    // The locale every case mapping uses: the current locale when the class was first
    // used, kept for the life of the process.
    static std::string capturedLocaleIdentifier();

  private:
    sqlite3* db_ = nullptr;
    Array retained_;
};

}  // namespace velmora

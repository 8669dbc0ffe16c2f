#include "Velmora/sqlite/SQLiteUTFExtensions.h"

#include <sqlite3.h>
#include <unicode/locid.h>

#include "Velmora/sqlite/SQLiteUTFCaseFunctions.h"

namespace velmora {

SQLiteUTFExtensions::SQLiteUTFExtensions() {
    (void)capturedCaseMappingLocale();
}

std::string SQLiteUTFExtensions::capturedLocaleIdentifier() {
    return capturedCaseMappingLocale().getName();
}

int SQLiteUTFExtensions::installCFAdditions(sqlite3* db) {
    db_ = db;
    retained_ = Array();
    for (const CaseFunctionRow& row : caseFunctionRows()) {
        const int rc = registerCaseFunction(db, row);
        if (rc != SQLITE_OK) {
            return rc;
        }
    }
    return SQLITE_OK;
}

void SQLiteUTFExtensions::collationArgumentRetain(Value object) {
    retained_.push_back(std::move(object));
}

}  // namespace velmora

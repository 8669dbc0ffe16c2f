#pragma once
// An in-memory database for the SQL tests: rows come back as "a|b" lines with NULL
// written "NULL", errors as one "error: ..." line.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "Velmora/sqlite/SQLiteConnection.h"

namespace velmora::testing {

using Lines = std::vector<std::string>;

// One SQL text and the lines it must give.
struct SqlCase {
    std::string sql;
    Lines expected;
};

inline SQLiteConnection openMemoryDatabase() {
    std::string error;
    auto db = SQLiteConnection::open(":memory:", &error);
    if (!db) {
        ADD_FAILURE() << "cannot open an in-memory database: " << error;
        std::abort();
    }
    return std::move(*db);
}

inline Lines query(SQLiteConnection& db, std::string_view sql) {
    return db.lines(sql, "NULL");
}

inline void expectCases(SQLiteConnection& db, const std::vector<SqlCase>& cases) {
    for (const SqlCase& c : cases) {
        EXPECT_EQ(query(db, c.sql), c.expected) << c.sql;
    }
}

}  // namespace velmora::testing

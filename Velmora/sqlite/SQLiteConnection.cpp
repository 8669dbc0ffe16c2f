#include "Velmora/sqlite/SQLiteConnection.h"

#include <sqlite3.h>

namespace velmora {
namespace {

struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

SQLiteRow currentRow(sqlite3_stmt* statement) {
    const int columns = sqlite3_column_count(statement);
    SQLiteRow row;
    row.reserve(static_cast<std::size_t>(columns));
    for (int i = 0; i < columns; ++i) {
        if (sqlite3_column_type(statement, i) == SQLITE_NULL) {
            row.emplace_back();
            continue;
        }
        const auto* text = sqlite3_column_text(statement, i);
        const int bytes = sqlite3_column_bytes(statement, i);
        row.emplace_back(
            text ? std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(bytes))
                 : std::string());
    }
    return row;
}

}  // namespace

void SQLiteConnection::Closer::operator()(sqlite3* db) const {
    sqlite3_close_v2(db);
}

std::optional<SQLiteConnection> SQLiteConnection::open(const std::string& path, std::string* error,
                                                       Missing missing) {
    sqlite3* raw = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | (missing == Missing::Create ? SQLITE_OPEN_CREATE : 0);
    const int rc = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
    std::unique_ptr<sqlite3, Closer> db(raw);
    if (rc != SQLITE_OK) {
        if (error) {
            *error = db ? sqlite3_errmsg(db.get()) : sqlite3_errstr(rc);
        }
        return std::nullopt;
    }
    return SQLiteConnection(std::move(db));
}

std::optional<std::string> SQLiteConnection::execute(std::string_view sql,
                                                     const RowHandler& onRow) {
    const char* next = sql.data();
    const char* const end = sql.data() + sql.size();
    while (next < end) {
        sqlite3_stmt* raw = nullptr;
        const char* tail = nullptr;
        if (sqlite3_prepare_v2(db_.get(), next, static_cast<int>(end - next), &raw, &tail) !=
            SQLITE_OK) {
            return std::string(sqlite3_errmsg(db_.get()));
        }
        const Statement statement(raw);
        next = tail;
        if (!statement) {
            continue;  // white space or a comment
        }
        int rc;
        while ((rc = sqlite3_step(statement.get())) == SQLITE_ROW) {
            if (onRow) {
                onRow(currentRow(statement.get()));
            }
        }
        if (rc != SQLITE_DONE) {
            return std::string(sqlite3_errmsg(db_.get()));
        }
    }
    return std::nullopt;
}

std::vector<std::string> SQLiteConnection::lines(std::string_view sql, std::string_view nullText) {
    std::vector<std::string> result;
    const auto error = execute(sql, [&](const SQLiteRow& row) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i > 0) {
                line += '|';
            }
            line += row[i] ? std::string_view(*row[i]) : nullText;
        }
        result.push_back(std::move(line));
    });
    if (error) {
        return {"error: " + *error};
    }
    return result;
}

}  // namespace velmora

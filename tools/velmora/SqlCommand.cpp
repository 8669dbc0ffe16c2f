// velmora sql: runs SQL on a database with the Unicode extension installed and prints
// the rows as the sqlite3 shell's list mode does ("|" between columns, NULL empty).
//
//   $ velmora sql :memory: "SELECT fold('ÀB'), unaccent('Crème')"
//   àb|Creme
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "Velmora/sqlite/SQLiteConnection.h"
#include "Velmora/sqlite/SQLiteUTFExtensions.h"
#include "Velmora/sqlite/sqlite3_unicode.h"

#include "tools/velmora/Commands.h"

namespace velmora::tool {
namespace {

struct SqlOptions {
    std::string database;
    std::vector<std::string> statements;
    bool cfAdditions = false;
};

int fail(const std::string& message) {
    std::fprintf(stderr, "error: %s\n", message.c_str());
    return 1;
}

void printRow(const SQLiteRow& row) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (i > 0) {
            line += '|';
        }
        if (row[i]) {
            line += *row[i];
        }
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
}

int runSql(const SqlOptions& options) {
    std::string error;
    auto db = SQLiteConnection::open(options.database, &error);
    if (!db) {
        return fail(error);
    }
    if (sqlite3_unicode_init(db->handle()) != SQLITE_OK) {
        return fail(sqlite3_errmsg(db->handle()));
    }
    SQLiteUTFExtensions extensions;
    if (options.cfAdditions && extensions.installCFAdditions(db->handle()) != SQLITE_OK) {
        return fail(sqlite3_errmsg(db->handle()));
    }
    for (const std::string& sql : options.statements) {
        if (const auto failure = db->execute(sql, printRow)) {
            std::fflush(stdout);
            return fail(*failure);
        }
    }
    return 0;
}

}  // namespace

void addSqlCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<SqlOptions>();
    CLI::App* command = app.add_subcommand(
        "sql", "Run SQL with the Unicode extension (fold, unaccent, NOCASE, like, ...)");
    command
        ->add_option("database", options->database,
                     "The database file, or :memory: for an empty in-memory one")
        ->required();
    command->add_option("sql", options->statements, "SQL texts, run in order")->required();
    command->add_flag("--cf", options->cfAdditions,
                      "Also install the locale-aware upper() and lower()");
    command->callback([options, &exitCode] { exitCode = runSql(*options); });
}

}  // namespace velmora::tool

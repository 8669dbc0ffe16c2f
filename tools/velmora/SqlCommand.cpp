// velmora sql: runs SQL on a database with the Unicode extension installed and prints
// the rows as the sqlite3 shell's list mode does ("|" between columns, NULL empty).
//
//   $ velmora sql :memory: "SELECT fold('ÀB'), unaccent('Crème')"
//   àb|Creme
#include <memory>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "Velmora/sqlite/SQLiteConnection.h"
#include "Velmora/sqlite/SQLiteUTFExtensions.h"
#include "Velmora/sqlite/sqlite3_unicode.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

struct SqlOptions {
    std::string database;
    std::vector<std::string> statements;
    bool cfAdditions = false;
    bool create = false;
};

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
    writeLine(line);
}

void runSql(const SqlOptions& options) {
    std::string error;
    auto db = SQLiteConnection::open(
        options.database, &error,
        options.create ? SQLiteConnection::Missing::Create : SQLiteConnection::Missing::Fail);
    if (!db) {
        fail("cannot open database " + options.database + ": " + error +
             (options.create ? "" : " (--create makes a new one)"));
    }
    if (sqlite3_unicode_init(db->handle()) != SQLITE_OK) {
        fail(sqlite3_errmsg(db->handle()));
    }
    SQLiteUTFExtensions extensions;
    if (options.cfAdditions && extensions.installCFAdditions(db->handle()) != SQLITE_OK) {
        fail(sqlite3_errmsg(db->handle()));
    }
    for (const std::string& sql : options.statements) {
        if (const auto failure = db->execute(sql, printRow)) {
            fail(*failure);
        }
    }
}

}  // namespace

void addSqlCommand(CLI::App& app, int& /*exitCode*/) {
    auto options = std::make_shared<SqlOptions>();
    CLI::App* command = app.add_subcommand(
        "sql", "Run SQL with the Unicode extension (fold, unaccent, NOCASE, like, ...)");
    command
        ->add_option("DATABASE", options->database,
                     "The database file, or :memory: for an empty in-memory one")
        ->required();
    command->add_option("SQL", options->statements, "SQL texts, run in order")->required();
    command->add_flag("--create", options->create,
                      "Make the database file when it does not exist (otherwise an error)");
    command->add_flag("--cf", options->cfAdditions,
                      "Also install the locale-aware upper() and lower()");
    command->callback([options] { runSql(*options); });
}

}  // namespace velmora::tool

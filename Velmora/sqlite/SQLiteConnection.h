#pragma once
// SQLiteConnection: a move-only owner of one SQLite connection that runs SQL text and
// hands each result row out as texts. Used by the `velmora sql` tool, the tests and the
// benchmarks; it is no general database layer.
//
// Thread safety: as the connection itself (SQLite's serialized mode allows any thread;
// a row handler runs on the calling thread).
//
//   auto db = SQLiteConnection::open(":memory:");
//   sqlite3_unicode_init(db->handle());
//   auto error = db->execute("SELECT fold('ÀB')", [](const SQLiteRow& row) { ... });

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace velmora {

// One result row: each column as its text (numbers as SQLite writes them), NULL empty.
using SQLiteRow = std::vector<std::optional<std::string>>;

class SQLiteConnection {
  public:
    enum class Missing { Create, Fail };

    // Opens the database at path read-write, making an empty one when it is missing
    // unless `missing` says Fail; ":memory:" for a private in-memory one. On failure
    // answers nothing and, when given, stores SQLite's message.
    [[nodiscard]] static std::optional<SQLiteConnection> open(const std::string& path,
                                                              std::string* error = nullptr,
                                                              Missing missing = Missing::Create);

    sqlite3* handle() const { return db_.get(); }

    using RowHandler = std::function<void(const SQLiteRow&)>;
    // Runs every statement of sql in order, giving each result row to onRow (may be
    // empty). Stops at the first error and answers SQLite's message for it.
    [[nodiscard]] std::optional<std::string> execute(std::string_view sql,
                                                     const RowHandler& onRow = {});

    // The rows of sql as lines, columns joined by "|" and NULL written as nullText; an
    // error gives the single line "error: " and the message. For tests and tools.
    [[nodiscard]] std::vector<std::string> lines(std::string_view sql,
                                                 std::string_view nullText = "");

  private:
    struct Closer {
        void operator()(sqlite3* db) const;
    };
    explicit SQLiteConnection(std::unique_ptr<sqlite3, Closer> db) : db_(std::move(db)) {}

    std::unique_ptr<sqlite3, Closer> db_;
};

}  // namespace velmora

#pragma once
// What both SQLite fuzz targets need: connections with and without the extension, and a
// statement runner that answers an integer, NULL or the error text.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "Velmora/sqlite/sqlite3_unicode.h"

namespace velmora::fuzz {

// A statement's single value: "0", "1", "<null>" or "<error: ...>".
struct SqlAnswer {
    std::string text;

    friend bool operator==(const SqlAnswer& a, const SqlAnswer& b) { return a.text == b.text; }
    bool isError() const { return text.rfind("<error: ", 0) == 0; }
};

class FuzzDatabase {
  public:
    // encoding: a PRAGMA encoding value ("UTF-8", "UTF-16le", ...).
    explicit FuzzDatabase(bool withExtension, const char* encoding = "UTF-8") {
        sqlite3* raw = nullptr;
        if (sqlite3_open(":memory:", &raw) != SQLITE_OK) {
            std::abort();
        }
        db_.reset(raw);
        const std::string pragma = std::string("PRAGMA encoding = '") + encoding + "'";
        if (sqlite3_exec(raw, pragma.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            std::abort();
        }
        if (withExtension && sqlite3_unicode_init(raw) != SQLITE_OK) {
            std::abort();
        }
    }

    // Runs sql (one statement, one integer column) with the texts bound as ?1, ?2, ...
    SqlAnswer answer(const char* sql, const std::vector<std::string_view>& texts) {
        SqlAnswer result;
        result.text = text(sql, texts);
        return result;
    }

    // Runs sql (one statement, one column) and answers the column as UTF-8 bytes, NULL
    // as "<null>" and an error as "<error: ...>".
    std::string text(const char* sql, const std::vector<std::string_view>& texts) {
        sqlite3_stmt* raw = nullptr;
        if (sqlite3_prepare_v2(db_.get(), sql, -1, &raw, nullptr) != SQLITE_OK) {
            std::abort();
        }
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(raw,
                                                                              sqlite3_finalize);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            sqlite3_bind_text(raw, static_cast<int>(i + 1), texts[i].data(),
                              static_cast<int>(texts[i].size()), SQLITE_TRANSIENT);
        }
        if (sqlite3_step(raw) != SQLITE_ROW) {
            return std::string("<error: ") + sqlite3_errmsg(db_.get()) + ">";
        }
        if (sqlite3_column_type(raw, 0) == SQLITE_NULL) {
            return "<null>";
        }
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(raw, 0));
        return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(raw, 0)));
    }

    sqlite3* handle() const { return db_.get(); }

  private:
    struct Closer {
        void operator()(sqlite3* db) const { sqlite3_close(db); }
    };
    std::unique_ptr<sqlite3, Closer> db_;
};

inline bool isAscii(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

// Stops the run (libFuzzer and the ctest driver report the input) when a property fails.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace velmora::fuzz

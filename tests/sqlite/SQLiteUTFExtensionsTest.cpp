// The locale-aware upper() and lower() through real connections in each encoding.
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include "Velmora/sqlite/SQLiteUTFCaseFunctions.h"
#include "Velmora/sqlite/SQLiteUTFExtensions.h"
#include "Velmora/sqlite/sqlite3_unicode.h"

#include "tests/sqlite/SqliteTestDatabase.h"
#include "tests/support/TestSupport.h"

namespace velmora::testing {
namespace {

SQLiteConnection databaseIn(const char* encoding) {
    SQLiteConnection db = openMemoryDatabase();
    EXPECT_EQ(query(db, std::string("PRAGMA encoding = '") + encoding + "'"), Lines{});
    SQLiteUTFExtensions extensions;
    EXPECT_EQ(extensions.installCFAdditions(db.handle()), SQLITE_OK);
    return db;
}

TEST(SQLiteUTFExtensions, Utf8Database) {
    ScopedCurrentLocale english("en_US");
    SQLiteConnection db = databaseIn("UTF-8");
    expectCases(
        db, {
                // Full case mapping, ASCII straight from the string, other text converted.
                {"SELECT upper('straße'), upper('abc'), upper('é'), lower('ÀÉÎ')",
                 {"STRASSE|ABC|É|àéî"}},
                {"SELECT lower('ΟΔΟΣ'), upper('ǆemal'), lower('ПРИВЕТ'), lower('ႠႡ')",
                 {"οδος|ǄEMAL|привет|ⴀⴁ"}},
                // NFC after mapping: a decomposed accent composes, J with caron has no
                // composed capital and stays two characters.
                {"SELECT length(upper('e' || char(0x301))), upper('e' || char(0x301)), "
                 "length(upper('ǰ'))",
                 {"1|É|2"}},
                {"SELECT upper('𐐨x'), upper(''), upper(12)", {"𐐀X||12"}},
                {"SELECT upper(NULL)", {"error: LOWER/UPPER CF implementation got bad args"}},
                {"SELECT lower(CAST(x'41ff' AS TEXT))",
                 {"error: LOWER/UPPER CF implementation failed to allocate CFMutableStringRef"}},
                {"SELECT lower()", {"error: wrong number of arguments to function lower()"}},
            });
}

// SQLite keeps one function per byte order, so the UTF-16LE row registered last
// replaces the native one on this machine: Latin-1 text, which the string stores in
// eight bits, takes the conversion path and comes back.
TEST(SQLiteUTFExtensions, Utf16LittleEndianDatabase) {
    ScopedCurrentLocale english("en_US");
    SQLiteConnection db = databaseIn("UTF-16le");
    expectCases(
        db, {
                {"SELECT upper('ωμέγα'), lower('ΑΒΓ'), upper('ǆ'), upper('abc'), lower('Crème')",
                 {"ΩΜΈΓΑ|αβγ|Ǆ|ABC|crème"}},
                {"SELECT upper('')", {"error: LOWER/UPPER CF implementation no input UTF16"}},
                {"SELECT lower(NULL)", {"error: LOWER/UPPER CF implementation got bad args"}},
            });
}

// The native row alone: text stored in eight bits has no UTF-16 pointer, and the native
// row has no way to return the conversion (a deliberate gap).
TEST(SQLiteUTFExtensions, Utf16NativeRowKeepsItsUnhandledEncoding) {
    ScopedCurrentLocale english("en_US");
    SQLiteConnection db = openMemoryDatabase();
    ASSERT_EQ(query(db, "PRAGMA encoding = 'UTF-16'"), Lines{});
    const auto& rows = caseFunctionRows();
    ASSERT_EQ(rows[1].encoding, SQLITE_UTF16);
    ASSERT_EQ(rows[5].encoding, SQLITE_UTF16);
    ASSERT_EQ(registerCaseFunction(db.handle(), rows[1]), SQLITE_OK);
    ASSERT_EQ(registerCaseFunction(db.handle(), rows[5]), SQLITE_OK);
    expectCases(db,
                {
                    {"SELECT upper('ωμέγα'), lower('ΑΒΓ')", {"ΩΜΈΓΑ|αβγ"}},
                    {"SELECT upper('abc')",
                     {"error: LOWER/UPPER CF implementation had unhandled encoding"}},
                    {"SELECT lower('Crème')",
                     {"error: LOWER/UPPER CF implementation had unhandled encoding"}},
                    {"SELECT upper('')", {"error: LOWER/UPPER CF implementation no input UTF16"}},
                });
}

TEST(SQLiteUTFExtensions, Utf16BigEndianConvertsInItsOwnOrder) {
    ScopedCurrentLocale english("en_US");
    SQLiteConnection db = databaseIn("UTF-16be");
    expectCases(
        db,
        {
            {"SELECT upper('abc'), upper('straße'), lower('Crème'), upper('ωμέγα'), upper('a𐐨')",
             {"ABC|STRASSE|crème|ΩΜΈΓΑ|A𐐀"}},
            {"SELECT lower('')", {"error: LOWER/UPPER CF implementation no input UTF16"}},
        });
}

TEST(SQLiteUTFExtensions, ReplacesTheCExtensionsCaseFunctionsOnly) {
    SQLiteConnection db = openMemoryDatabase();
    ASSERT_EQ(sqlite3_unicode_init(db.handle()), SQLITE_OK);
    EXPECT_EQ(query(db, "SELECT upper('straße')"), Lines{"STRAßE"});
    SQLiteUTFExtensions extensions;
    ASSERT_EQ(extensions.installCFAdditions(db.handle()), SQLITE_OK);
    EXPECT_EQ(query(db, "SELECT upper('straße'), fold('ÀB')"), Lines{"STRASSE|àb"});
}

TEST(SQLiteUTFExtensions, KeepsTheConnectionAndResetsRetainedObjects) {
    SQLiteConnection db = openMemoryDatabase();
    SQLiteUTFExtensions extensions;
    extensions.collationArgumentRetain(Value("collation argument"));
    extensions.collationArgumentRetain(Value(std::int64_t{7}));
    ASSERT_EQ(extensions.retainedObjects().size(), 2u);
    ASSERT_EQ(extensions.installCFAdditions(db.handle()), SQLITE_OK);
    EXPECT_EQ(extensions.sqlite3DB(), db.handle());
    EXPECT_TRUE(extensions.retainedObjects().empty());
    extensions.collationArgumentRetain(Value("again"));
    EXPECT_EQ(extensions.retainedObjects().size(), 1u);
}

// SQLite refuses to replace a function while a statement is running; the first refusal
// ends the registration and is answered.
TEST(SQLiteUTFExtensions, AnswersTheFirstRegistrationError) {
    SQLiteConnection db = openMemoryDatabase();
    sqlite3_stmt* raw = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db.handle(), "SELECT 1 UNION ALL SELECT 2", -1, &raw, nullptr),
              SQLITE_OK);
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> running(raw, sqlite3_finalize);
    ASSERT_EQ(sqlite3_step(running.get()), SQLITE_ROW);
    SQLiteUTFExtensions extensions;
    EXPECT_EQ(extensions.installCFAdditions(db.handle()), SQLITE_BUSY);
}

// The locale is taken once, at the class's first use: later changes of the current
// locale do not reach it. Runs in a fresh process so that this test is the first use.
TEST(SQLiteUTFExtensionsDeathTest, CapturesTheLocaleAtFirstUse) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            {
                ScopedCurrentLocale turkish("tr_TR");
                SQLiteUTFExtensions first;
            }
            ScopedCurrentLocale english("en_US");
            SQLiteConnection db = openMemoryDatabase();
            SQLiteUTFExtensions extensions;
            if (extensions.installCFAdditions(db.handle()) != SQLITE_OK) {
                std::exit(2);
            }
            const bool turkishMapping =
                query(db, "SELECT upper('iı'), lower('IİZ')") == Lines{"İI|ıiz"};
            std::exit(turkishMapping && SQLiteUTFExtensions::capturedLocaleIdentifier() == "tr_TR"
                          ? 0
                          : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace velmora::testing

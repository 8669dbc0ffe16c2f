// The C extension through real SQLite connections: SQL in, rows out.
#include <string>

#include <gtest/gtest.h>

#include "Velmora/sqlite/sqlite3_unicode.h"

#include "tests/sqlite/SqliteTestDatabase.h"

namespace velmora::testing {
namespace {

class Sqlite3UnicodeTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(sqlite3_unicode_init(db_.handle()), SQLITE_OK); }
    SQLiteConnection db_ = openMemoryDatabase();
};

TEST_F(Sqlite3UnicodeTest, VersionAndCaseFunctions) {
    expectCases(
        db_,
        {
            {"SELECT unicode_version()", {"5.1.0.12"}},
            // NULL, empty and no-argument calls.
            {"SELECT fold(NULL), lower(NULL), upper(NULL), title(NULL), unaccent(NULL)",
             {"NULL|NULL|NULL|NULL|NULL"}},
            {"SELECT fold(''), lower(''), upper(''), title(''), unaccent('')", {"||||"}},
            {"SELECT fold(), unaccent()", {"error: wrong number of arguments to function fold()"}},
            // ASCII and numbers (read as text).
            {"SELECT fold('Hello World 42'), lower('ABC'), upper('abc'), title('abc'), upper(42)",
             {"hello world 42|abc|ABC|ABC|42"}},
            // Latin with accents; ß has no one-unit upper case, U+1E9E folds to it.
            {"SELECT fold('ÀÉÎÕÜ'), lower('ÀÉÎÕÜ'), upper('àéîõüÿ'), upper('straße'), fold('ẞ')",
             {"àéîõü|àéîõü|ÀÉÎÕÜŸ|STRAßE|ß"}},
            // Greek: both sigmas fold to σ, upper-case gives Σ.
            {"SELECT fold('ΟΔΥΣΣΕΥΣ'), fold('ς'), upper('οδυσσευς'), lower('ΆΈΉ')",
             {"οδυσσευσ|σ|ΟΔΥΣΣΕΥΣ|άέή"}},
            {"SELECT lower('ПРИВЕТ, МИР'), upper('ёжик'), fold('Ё')", {"привет, мир|ЁЖИК|ё"}},
            // Georgian: Asomtavruli capitals map to Nuskhuri, Mkhedruli has no case.
            {"SELECT fold('ႠႡ'), lower('ႠႡ'), upper('ⴀⴁ'), upper('ქართული')", {"ⴀⴁ|ⴀⴁ|ႠႡ|ქართული"}},
            // Title case differs from upper case for the digraphs: each unit is mapped.
            {"SELECT title('ǆemal'), upper('ǆemal'), lower('ǅ'), title('Ǉ')", {"ǅEMAL|ǄEMAL|ǆ|ǈ"}},
            // Beyond the plane nothing is mapped: 𐐀 (U+10400) keeps its case, its
            // neighbours do not.
            {"SELECT fold('A𐐀B'), upper('a𐐨b'), length(lower('A𐐀B'))", {"a𐐀b|A𐐨B|3"}},
        });
}

TEST_F(Sqlite3UnicodeTest, CaseFunctionsKeepTheLength) {
    expectCases(
        db_,
        {
            // One unit in, one unit out; UTF-8 byte lengths may still change (ẞ to ß).
            {"SELECT length(fold(x)), length(x), length(CAST(fold(x) AS BLOB)), "
             "length(CAST(x AS BLOB)) FROM (SELECT 'ǅ İ ẞ ΐ ﬀ' AS x)",
             {"9|9|15|16"}},
            {"SELECT length(upper(x)) = length(x) FROM (SELECT 'ǰŉßﬃΐ' AS x)", {"1"}},
            // Mapping stops at an embedded zero unit and keeps what follows it.
            {"SELECT hex(upper('ab' || char(0) || 'cd')), hex(unaccent('é' || char(0) || 'é'))",
             {"4142006364|6500C3A9"}},
            {"SELECT hex(unaccent('abcdé' || char(0) || 'éfghijkl'))",
             {"616263646500C3A966676869"
              "6A6B6C"}},
            // Malformed UTF-8 reads as SQLite reads it into UTF-16 (a stray byte is U+FFFD,
            // a truncated sequence keeps the bits it has).
            {"SELECT hex(fold(CAST(x'41ff42' AS TEXT))), hex(unaccent(CAST(x'c3a9e282' AS TEXT)))",
             {"61EFBFBD62|65C282"}},
            {"SELECT hex(unaccent(CAST(x'6162636465c3a9e282' AS TEXT)))", {"616263646565C282"}},
            // The same inside an eight-byte word after ASCII letters, and after a run of
            // three-byte characters (an encoded surrogate); mixed scripts in one word.
            {"SELECT hex(upper('abcdef' || char(0) || 'gh')), "
             "hex(lower(CAST(x'414243444546ff4748494a4b4c4d4e4f' AS TEXT))), "
             "hex(lower(CAST(x'e4b88beda080' AS TEXT))), lower('ÀBCDEFGHΣΑΣ下ႠX')",
             {"414243444546006768|616263646566EFBFBD6768696A6B6C6D6E6F|E4B88BEFBFBD|"
              "àbcdefghσασ下ⴀx"}},
        });
}

TEST_F(Sqlite3UnicodeTest, Unaccent) {
    expectCases(
        db_,
        {
            {"SELECT unaccent('Crème brûlée, naïve façade')", {"Creme brulee, naive facade"}},
            {"SELECT unaccent('ÅNGSTRÖM Ω Å')", {"ANGSTROM Ω A"}},  // U+212B too
            {"SELECT unaccent('Ελληνικά ΐ'), unaccent('Йод ёж')", {"Ελληνικα ι|Иод еж"}},
            {"SELECT unaccent('ქართული'), unaccent('Æ ø ł')", {"ქართული|Æ ø ł"}},
            // A decomposed accent: the base stays, the lone mark has nothing to strip.
            {"SELECT hex(unaccent('e' || char(0x301)))", {"65CC81"}},
            {"SELECT unaccent('é𐐀è')", {"e𐐀e"}},
            // Lengthening: the Tamil vowel sign O keeps both spacing parts, and U+FACF
            // stands for an ideograph beyond the plane (a surrogate pair).
            {"SELECT length(unaccent(char(0x0B95, 0x0BCA))), hex(unaccent(char(0x0BCA)))",
             {"3|E0AF86E0AEBE"}},
            {"SELECT unaccent(char(0xFACF)) = char(0x2284A), length(unaccent('ா' || char(0x0BCA) "
             "|| char(0x0BCB) || 'x'))",
             {"1|6"}},
        });
}

TEST_F(Sqlite3UnicodeTest, Like) {
    expectCases(
        db_,
        {
            {"SELECT 'abc' LIKE 'a%', 'abc' LIKE 'A_C', 'abc' LIKE 'ab', '' LIKE '%', 'a' LIKE ''",
             {"1|1|0|1|0"}},
            {"SELECT NULL LIKE 'a', 'a' LIKE NULL, like('a', 'a', NULL)", {"NULL|NULL|NULL"}},
            // Case and accents, one character per "_" whatever its length.
            {"SELECT 'Été' LIKE 'ete', 'ÉCOLE' LIKE 'école', 'é' LIKE '_', 'éa' LIKE '__'",
             {"1|1|1|1"}},
            {"SELECT 'ΣΟΦΊΑ' LIKE 'σοφια', 'ПРИВЁТ' LIKE 'при%т', 'Ⴀ' LIKE 'ⴀ', '𐐀x' LIKE '_x'",
             {"1|1|1|1"}},
            {"SELECT 'aXbXc' LIKE '%x%x%', 'abcabd' LIKE '%abd', 'abcabd' LIKE '%ab_', "
             "'aaa' LIKE '%a%a%a%a'",
             {"1|1|1|0"}},
            // Escapes: literal wildcards, the escape itself, one at the end of the pattern.
            {"SELECT 'a%b' LIKE 'a\\%b' ESCAPE '\\', 'axb' LIKE 'a\\%b' ESCAPE '\\', "
             "'a_' LIKE 'a\\_' ESCAPE '\\', 'a\\' LIKE 'a\\\\' ESCAPE '\\', 'a' LIKE 'a\\' ESCAPE "
             "'\\'",
             {"1|0|1|1|0"}},
            // An escape that is a wildcard switches that wildcard off; escapes may be
            // any single character.
            {"SELECT 'a%' LIKE 'a%%' ESCAPE '%', 'ab' LIKE 'a%%' ESCAPE '%', 'a_b' LIKE "
             "'a__b' ESCAPE '_', 'a%' LIKE 'aé%' ESCAPE 'é'",
             {"1|0|1|1"}},
            {"SELECT 'a' LIKE 'a' ESCAPE 'ab'",
             {"error: ESCAPE expression must be a single character"}},
            {"SELECT 'a' LIKE 'a' ESCAPE ''",
             {"error: ESCAPE expression must be a single character"}},
            {"SELECT like(NULL, 'a', 'xy')",
             {"error: ESCAPE expression must be a single character"}},
            {"SELECT 'x' LIKE printf('%.50001c', 'x')",
             {"error: LIKE or GLOB pattern too complex"}},
            {"SELECT printf('%.50000c', 'x') LIKE printf('%.50000c', 'X')", {"1"}},
            {"SELECT printf('%.50000c', 'x') LIKE printf('%.49998c', 'x') || 'é'", {"0"}},
        });
}

TEST_F(Sqlite3UnicodeTest, LikeReadsInvalidUtf8AsReplacementCharacters) {
    expectCases(
        db_,
        {
            {"SELECT CAST(x'61ff62' AS TEXT) LIKE 'a_b', CAST(x'61e282' AS TEXT) LIKE 'a_', "
             "CAST(x'61c0af' AS TEXT) LIKE 'a__', CAST(x'61ff62' AS TEXT) LIKE 'a%'",
             {"1|1|1|1"}},
            {"SELECT 'ab' LIKE CAST(x'61ff' AS TEXT), CAST(x'ff' AS TEXT) LIKE CAST(x'fe' AS TEXT)",
             {"0|1"}},
        });
}

TEST_F(Sqlite3UnicodeTest, NocaseCollation) {
    expectCases(
        db_,
        {
            {"SELECT 'ÉCOLE' = 'école' COLLATE NOCASE, 'Straße' = 'STRAßE' COLLATE NOCASE, "
             "'ΟΔΟΣ' = 'οδος' COLLATE NOCASE, 'ab' = 'ac' COLLATE NOCASE",
             {"1|1|1|0"}},
            // Byte lengths decide between texts equal up to the shorter one: É is two
            // bytes in UTF-8, and a composed accent is shorter than a decomposed one.
            {"SELECT 'É' = 'e' COLLATE NOCASE, 'É' > 'e' COLLATE NOCASE, "
             "'é' < ('e' || char(0x301)) COLLATE NOCASE",
             {"0|1|1"}},
            {"CREATE TABLE words(w TEXT);"
             "INSERT INTO words VALUES ('Zebra'), ('école'), ('Éclair'), ('apple'), ('Ölkanne');"
             "SELECT w FROM words ORDER BY w COLLATE NOCASE",
             {"apple", "Éclair", "école", "Ölkanne", "Zebra"}},
            {"SELECT count(*), min(w) FROM (SELECT column1 AS w FROM (VALUES ('Ärger'), ('ärger'),"
             " ('ÄRGER'), ('Zoo'))) GROUP BY w COLLATE NOCASE ORDER BY 1",
             {"1|Zoo", "3|ÄRGER"}},
            {"CREATE TABLE names(n TEXT COLLATE NOCASE UNIQUE);"
             "INSERT INTO names VALUES ('Ελλάδα'); INSERT INTO names VALUES ('ΕΛΛΆΔΑ')",
             {"error: UNIQUE constraint failed: names.n"}},
            {"INSERT INTO names VALUES ('Ρόδος'); SELECT n FROM names WHERE n = 'ΡΟΔΟΣ' ORDER BY n",
             {"Ρόδος"}},
        });
}

// In a UTF-16 database the collation compares units, so an accented capital and its
// plain lower-case letter (one unit each) are equal.
TEST(Sqlite3UnicodeUtf16, NocaseComparesUnits) {
    SQLiteConnection db = openMemoryDatabase();
    ASSERT_EQ(query(db, "PRAGMA encoding = 'UTF-16'"), Lines{});
    ASSERT_EQ(sqlite3_unicode_init(db.handle()), SQLITE_OK);
    expectCases(db, {
                        {"SELECT 'É' = 'e' COLLATE NOCASE, 'ÉCOLE' = 'ecole' COLLATE NOCASE, "
                         "'é' < ('e' || char(0x301)) COLLATE NOCASE",
                         {"1|1|1"}},
                        {"SELECT upper('ǆ𐐨é'), unaccent('Crème'), fold('ΣΑΣ')", {"Ǆ𐐨É|Creme|σασ"}},
                    });
}

TEST(Sqlite3UnicodeCollate, CallbackDirectly) {
    const auto utf8 = [](const std::string& a, const std::string& b) {
        return sqlite3_unicode_collate(reinterpret_cast<void*>(SQLITE_UTF8),
                                       static_cast<int>(a.size()), a.data(),
                                       static_cast<int>(b.size()), b.data());
    };
    const auto utf16 = [](const std::u16string& a, const std::u16string& b) {
        return sqlite3_unicode_collate(reinterpret_cast<void*>(SQLITE_UTF16),
                                       static_cast<int>(2 * a.size()), a.data(),
                                       static_cast<int>(2 * b.size()), b.data());
    };
    EXPECT_EQ(utf8("ÀB", "àb"), 0);
    EXPECT_EQ(utf8("a", "b"), 'a' - 'b');
    EXPECT_EQ(utf8("é", "e\xCC\x81"), -1);  // composed versus decomposed: 2 - 3 bytes
    EXPECT_EQ(utf8("ab", "a"), 1);
    EXPECT_EQ(utf8("", ""), 0);
    // Truncated UTF-8 at the end of a text must not be read past.
    EXPECT_LT(utf8(std::string("a\xE2", 2), std::string("a\xE2\x82", 3)), 0);
    EXPECT_EQ(utf16(u"Σ", u"ς"), 0);
    EXPECT_EQ(utf16(u"É", u"e"), 0);
    EXPECT_EQ(utf16(u"é", u"e\u0301"), -2);
    EXPECT_EQ(utf16(u"x", u"y"), 'x' - 'y');
    // A zero unit ends the walk; the lengths decide.
    EXPECT_EQ(utf16(std::u16string(u"a\0b", 3), std::u16string(u"a\0c", 3)), 0);
}

TEST(Sqlite3UnicodeUnacc, OutArguments) {
    const std::uint16_t* values = nullptr;
    int length = 0;
    EXPECT_EQ(sqlite3_unicode_unacc('A', &values, &length), 'A');
    ASSERT_EQ(length, 1);
    EXPECT_EQ(values[0], 'A');
    EXPECT_EQ(sqlite3_unicode_unacc(0x00E9, &values, &length), 'e');
    EXPECT_EQ(length, 1);
    EXPECT_EQ(sqlite3_unicode_unacc(0x00E6, &values, &length), 0x00E6);  // æ: none
    EXPECT_EQ(length, 1);
    EXPECT_EQ(values[0], 0xFFFF);
    EXPECT_EQ(sqlite3_unicode_unacc(0x0BCA, &values, &length), 0x0BC6);
    ASSERT_EQ(length, 2);
    EXPECT_EQ(values[1], 0x0BBE);
    EXPECT_EQ(sqlite3_unicode_unacc(0x1EA5, nullptr, nullptr), 'a');  // ấ, two accents
    EXPECT_EQ(sqlite3_unicode_unacc(0xD801, nullptr, &length), 0xD801);
}

// Registers probe() on every connection, standing for another library's extension.
int registerProbe(sqlite3* db, char**, const sqlite3_api_routines*) {
    return sqlite3_create_function(
        db, "probe", 0, SQLITE_UTF8, nullptr,
        [](sqlite3_context* context, int, sqlite3_value**) { sqlite3_result_int(context, 7); },
        nullptr, nullptr);
}

TEST(Sqlite3UnicodeLoad, ReachesLaterConnectionsAndFreeRemovesEveryExtension) {
    SQLiteConnection before = openMemoryDatabase();
    ASSERT_EQ(sqlite3_unicode_load(), SQLITE_OK);
    ASSERT_EQ(sqlite3_auto_extension(reinterpret_cast<void (*)()>(registerProbe)), SQLITE_OK);
    SQLiteConnection later = openMemoryDatabase();
    EXPECT_EQ(query(later, "SELECT fold('ÄB'), probe()"), Lines{"äb|7"});
    EXPECT_EQ(query(before, "SELECT fold('x')"), Lines{"error: no such function: fold"});

    sqlite3_unicode_free();
    SQLiteConnection afterFree = openMemoryDatabase();
    EXPECT_EQ(query(afterFree, "SELECT fold('x')"), Lines{"error: no such function: fold"});
    EXPECT_EQ(query(afterFree, "SELECT probe()"), Lines{"error: no such function: probe"});
    EXPECT_EQ(query(later, "SELECT lower('É')"), Lines{"é"});  // installed ones stay
}

}  // namespace
}  // namespace velmora::testing

// SoundEx codes per mode. Names are chosen so that the modes disagree: a row would fail
// if a spelling rule ran in the wrong mode or the H/W rule were applied everywhere.
#include <cstring>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/text/SoundEx.h"

namespace velmora {
namespace {

TEST(SoundExTest, CodesPerMode) {
    const struct {
        std::string_view name;
        int mode;
        int length;
        std::string_view code;
    } rows[] = {
        {"Robert", 2, 4, "R163"},
        {"Rupert", 2, 4, "R163"},
        {"Robert", 1, 4, "R163"},
        {"Rupert", 1, 4, "R163"},
        {"robert", 7, 4, "R163"},
        {"Ashcraft", 1, 4, "A261"},  // S and C coded as one across the H
        {"Ashcraft", 2, 4, "A226"},  // the H separates them
        {"Tymczak", 2, 4, "T522"},
        {"Pfister", 2, 4, "P236"},
        {"Washington", 2, 4, "W252"},  // a first W is neither vowel nor consonant
        {"Honeyman", 1, 4, "H555"},
        {"O'Hara", 2, 4, "O600"},
        {"  lee  ", 2, 4, "L000"},
        {"Phillips", 0, 4, "F412"},  // PH becomes F before coding
        {"Phillips", 2, 4, "P412"},
        {"Knight", 0, 4, "N300"},  // KN and GH lose their first letter
        {"Knight", 2, 4, "K523"},
        {"Psmith", 0, 4, "S530"},  // an initial PS loses the P
        {"Psmith", 2, 4, "P253"},
        {"Thompson", 0, 4, "T525"},  // MPS loses the P
        {"Thompson", 2, 4, "T512"},
        {"Dodge", 0, 4, "D200"},  // DG loses the D
        {"Dodge", 2, 4, "D320"},
        {"Dumb", 0, 4, "D500"},      // MB loses the B
        {"Fletcher", 0, 4, "F426"},  // TCH loses the T
        {"Fletcher", 2, 4, "F432"},
        {"Gnome", 0, 4, "N500"},
        {"\xC3\x89mile", 2, 4, "M400"},  // non-ASCII bytes are blanks
        {"\xFFRobert", 2, 4, "R163"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(soundEx(row.name, row.length, row.mode), row.code)
            << row.name << " mode " << row.mode;
    }
}

TEST(SoundExTest, LengthIsFourOutsideModeZeroAndFourToTenInIt) {
    const struct {
        int mode;
        int length;
        std::string_view code;
    } rows[] = {
        {0, 12, "F412000000"}, {0, 10, "F412000000"}, {0, 6, "F41200"}, {0, 5, "F4120"},
        {0, 4, "F412"},        {0, 2, "F412"},        {0, -3, "F412"},  {1, 8, "P412"},
        {2, 10, "P412"},       {-1, 6, "P412"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(soundEx("Phillips", row.length, row.mode), row.code)
            << "mode " << row.mode << " length " << row.length;
    }
}

TEST(SoundExTest, OnlyTheFirst31CharactersAreRead) {
    const std::string vowels(30, 'E');
    EXPECT_EQ(soundEx("A" + vowels.substr(1) + "R"), "A600");  // R is character 31
    EXPECT_EQ(soundEx("A" + vowels + "R"), "A000");            // R is character 32
    EXPECT_EQ(soundEx(std::string(31, ' ') + "Lee"), "");
}

TEST(SoundExTest, NoLettersGiveNoCode) {
    for (const std::string_view name : {"", "   ", "123-45", "\xC3\xA9\xC3\xA8", "\xFF\xFE"}) {
        EXPECT_EQ(soundEx(name), "") << name;
    }
}

TEST(SoundExTest, TheCFunctionWritesAZeroTerminatedCodeAndReturnsItsLength) {
    char code[kSoundExBufferSize];
    std::memset(code, 'Z', sizeof code);
    EXPECT_EQ(SoundEx(code, "Robert", 4, 2), 4);
    EXPECT_STREQ(code, "R163");
    EXPECT_EQ(SoundEx(code, "Phillips", 12, 0), 10);
    EXPECT_STREQ(code, "F412000000");

    std::memset(code, 'Z', sizeof code);
    EXPECT_EQ(SoundEx(code, "42", 4, 2), 0);
    EXPECT_STREQ(code, "");
    std::memset(code, 'Z', sizeof code);
    EXPECT_EQ(SoundEx(code, nullptr, 4, 2), 0);
    EXPECT_STREQ(code, "");
}

}  // namespace
}  // namespace velmora

// The compiled-in tables against the shipped Unicode Character Database, read here
// independently of the generator, for every code unit of the plane.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/sqlite/sqlite3_unicode.h"

#include "tests/support/TestSupport.h"

namespace {

const std::filesystem::path kUcd = velmora::testing::sourceDirectory() / "data/ucd/5.1.0";

std::vector<std::string> split(const std::string& line, char separator) {
    std::vector<std::string> fields;
    std::stringstream stream(line);
    std::string field;
    while (std::getline(stream, field, separator)) {
        fields.push_back(field);
    }
    return fields;
}

std::uint32_t hex(const std::string& text) {
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
}

struct Entry {
    std::string category;
    std::vector<std::uint32_t> decomposition;  // canonical only
    std::uint32_t upper = 0, lower = 0, title = 0;
};

std::map<std::uint32_t, Entry> readUnicodeData() {
    std::map<std::uint32_t, Entry> entries;
    std::ifstream file(kUcd / "UnicodeData.txt");
    std::string line;
    while (std::getline(file, line)) {
        auto f = split(line, ';');
        f.resize(15);
        Entry entry;
        entry.category = f[2];
        if (!f[5].empty() && f[5][0] != '<') {
            for (const auto& part : split(f[5], ' ')) {
                entry.decomposition.push_back(hex(part));
            }
        }
        entry.upper = f[12].empty() ? 0 : hex(f[12]);
        entry.lower = f[13].empty() ? 0 : hex(f[13]);
        entry.title = f[14].empty() ? entry.upper : hex(f[14]);
        entries[hex(f[0])] = entry;
    }
    return entries;
}

std::map<std::uint32_t, std::uint32_t> readSimpleFolding() {
    std::map<std::uint32_t, std::uint32_t> folding;
    std::ifstream file(kUcd / "CaseFolding.txt");
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const auto f = split(line, ';');
        if (f[1] == " C" || f[1] == " S") {
            folding[hex(f[0])] = hex(f[2].substr(1));
        }
    }
    return folding;
}

std::uint16_t expected(std::uint32_t c, std::uint32_t mapping) {
    return static_cast<std::uint16_t>(mapping != 0 && mapping < 0x10000 ? mapping : c);
}

TEST(Sqlite3UnicodeTables, CaseMappingsFollowTheDatabase) {
    const auto entries = readUnicodeData();
    const auto folding = readSimpleFolding();
    ASSERT_GT(entries.size(), 17000u) << "UnicodeData.txt not found under " << kUcd;
    ASSERT_GT(folding.size(), 1000u);
    int mapped = 0;
    for (std::uint32_t c = 0; c < 0x10000; ++c) {
        const auto unit = static_cast<std::uint16_t>(c);
        const auto found = entries.find(c);
        const Entry entry = found == entries.end() ? Entry{} : found->second;
        const auto fold = folding.find(c);
        ASSERT_EQ(sqlite3_unicode_lower(unit), expected(c, entry.lower)) << std::hex << c;
        ASSERT_EQ(sqlite3_unicode_upper(unit), expected(c, entry.upper)) << std::hex << c;
        ASSERT_EQ(sqlite3_unicode_title(unit), expected(c, entry.title)) << std::hex << c;
        ASSERT_EQ(sqlite3_unicode_fold(unit), expected(c, fold == folding.end() ? 0 : fold->second))
            << std::hex << c;
        mapped += sqlite3_unicode_fold(unit) != unit;
    }
    EXPECT_GT(mapped, 900);
}

// Characters that are one base letter plus accents lose the accents; everything else
// that has no canonical decomposition keeps itself.
TEST(Sqlite3UnicodeTables, UnaccentStripsNonspacingMarks) {
    const auto entries = readUnicodeData();
    ASSERT_GT(entries.size(), 17000u);
    std::function<void(std::uint32_t, std::vector<std::uint32_t>&)> decompose =
        [&](std::uint32_t c, std::vector<std::uint32_t>& out) {
            const auto found = entries.find(c);
            if (found == entries.end() || found->second.decomposition.empty()) {
                out.push_back(c);
                return;
            }
            for (const auto part : found->second.decomposition) {
                decompose(part, out);
            }
        };
    int stripped = 0;
    for (std::uint32_t c = 0x80; c < 0x10000; ++c) {
        const auto unit = static_cast<std::uint16_t>(c);
        const std::uint16_t* values = nullptr;
        int length = 0;
        const std::uint16_t first = sqlite3_unicode_unacc(unit, &values, &length);
        const auto found = entries.find(c);
        if (found == entries.end() || found->second.decomposition.empty()) {
            ASSERT_EQ(first, unit) << std::hex << c;
            ASSERT_EQ(length, 1) << std::hex << c;
            continue;
        }
        std::vector<std::uint32_t> full;
        decompose(c, full);
        std::vector<std::uint32_t> bases;
        for (const auto part : full) {
            const auto e = entries.find(part);
            if (e == entries.end() || e->second.category != "Mn") {
                bases.push_back(part);
            }
        }
        if (bases.size() == 1 && bases[0] < 0x10000 && full.size() > 1) {
            ASSERT_EQ(length, 1) << std::hex << c;
            ASSERT_EQ(first, bases[0]) << std::hex << c;
            ++stripped;
        }
    }
    EXPECT_GT(stripped, 900);
}

}  // namespace

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/json/VLJson.h"
#include "Velmora/json/VLJsonStreamCopier.h"
#include "Velmora/json/VLJsonStreamParser.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

struct Copy {
    std::vector<std::string> documents;
    std::vector<bool> repeated;
    std::vector<std::string> errors;
    VLJsonParserStatus status = VLJsonParserStatus::Error;
};

Copy copyOf(std::string_view text, bool pretty, bool multi = false, std::size_t chunk = 0) {
    Copy copy;
    VLJsonStreamCopier* self = nullptr;
    VLJsonStreamCopier copier([&](std::string_view written) {
        copy.documents.emplace_back(written);
        copy.repeated.push_back(self->sawRepeatedKey());
        copy.errors.push_back(self->error());
    });
    self = &copier;
    copier.setHumanReadable(pretty);
    VLJsonStreamParser parser;
    parser.setMulti(multi);
    parser.setDelegate(&copier);
    const std::size_t step = chunk == 0 ? text.size() : chunk;
    for (std::size_t offset = 0; offset < text.size(); offset += step) {
        copy.status = parser.parse(text.substr(offset, step));
        if (copy.status != VLJsonParserStatus::WaitingForData) {
            break;
        }
    }
    return copy;
}

// The copy must be the text the tree gives, byte for byte, on real-world documents.
TEST(VLJsonStreamCopier, WritesWhatTheTreeWrites) {
    const auto directory = testing::sourceDirectory() / "data" / "json-bench";
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() != ".json") {
            continue;
        }
        ++files;
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>()};
        const auto tree = parseJson(text);
        ASSERT_TRUE(tree.has_value()) << entry.path();
        for (const bool pretty : {false, true}) {
            const Copy copy = copyOf(text, pretty, false, 65536);
            ASSERT_EQ(copy.documents.size(), 1u) << entry.path();
            EXPECT_FALSE(copy.repeated[0]);
            EXPECT_EQ(copy.documents[0], writeJson(*tree, {.humanReadable = pretty}))
                << entry.path() << (pretty ? " pretty" : "");
        }
    }
    EXPECT_GE(files, 6u);
}

TEST(VLJsonStreamCopier, EachDocumentGetsAFreshWriter) {
    const Copy copy = copyOf(R"([1, "a"] {"k": {"n": null}}  [])", false, true, 3);
    EXPECT_EQ(copy.status, VLJsonParserStatus::WaitingForData);
    EXPECT_EQ(copy.documents,
              (std::vector<std::string>{R"([1,"a"])", R"({"k":{"n":null}})", "[]"}));
}

TEST(VLJsonStreamCopier, ReportsRepeatedKeysAndRefusedWrites) {
    // A key again in the same object is reported; in a sibling or nested object it is not.
    const Copy copy =
        copyOf(R"({"a": {"a": 1}, "b": [{"a": 2}, {"a": 3}]} {"x": 1, "y": 2, "x": 3} [1e309] [4])",
               false, true);
    ASSERT_EQ(copy.documents.size(), 4u);
    EXPECT_EQ(copy.repeated, (std::vector<bool>{false, true, false, false}));
    EXPECT_EQ(copy.documents[0], R"({"a":{"a":1},"b":[{"a":2},{"a":3}]})");
    EXPECT_EQ(copy.errors,
              (std::vector<std::string>{"", "", "+Infinity is not a valid number in JSON", ""}));
    EXPECT_EQ(copy.documents[3], "[4]");
}

}  // namespace
}  // namespace velmora

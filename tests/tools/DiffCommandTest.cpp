// velmora diff: its list files read and written, and the command end to end.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/json/VLJson.h"

#include "tests/tools/ToolRun.h"
#include "tools/velmora/DiffCommandSupport.h"

namespace velmora::tool {
namespace {

// The list a JSON text describes, written back; or "error: " and the reason.
std::string readBack(const std::string& text) {
    std::string error;
    const std::optional<Value> document = parseJson(text, &error);
    if (!document) {
        return "json: " + error;
    }
    const auto list = listFromJson(*document, error);
    if (!list) {
        return "error: " + error;
    }
    return *writeJson(listToJson(*list));
}

TEST(DiffCommandTest, ListFilesNameWhatIsWrongByItsPath) {
    struct Case {
        const char* text;
        const char* result;
    };
    const std::vector<Case> cases{
        {R"({"timeOfFetch":"2024-03-10T12:00:00.25+01:00","sections":[{"section":{"k":1},"items":[1,2.5,"x",{"id":"y","modified":"2024-03-10","note":true}]}]})",
         R"({"timeOfFetch":"2024-03-10T11:00:00.250Z","sections":[{"section":{"k":1},"items":[1,2.5,"x",{"id":"y","modified":"2024-03-10","note":true}]}]})"},
        {R"({"timeOfFetch":"-0044-03-15T12:00:00Z","sections":[]})",
         R"({"timeOfFetch":"-0044-03-15T12:00:00Z","sections":[]})"},
        {R"({"sections":[{"section":null,"items":[]}]})",
         R"({"sections":[{"section":null,"items":[]}]})"},
        {R"([])", "error: $: expected an object"},
        {R"({"timeOfFetch":"2024-03-10"})", "error: $.sections: missing"},
        {R"({"sections":{}})", "error: $.sections: expected an array"},
        {R"({"sections":[1]})", "error: $.sections[0]: expected an object"},
        {R"({"sections":[{"items":[]}]})", "error: $.sections[0].section: missing"},
        {R"({"sections":[{"section":"A"}]})", "error: $.sections[0].items: missing"},
        {R"({"sections":[{"section":"A","items":[1,{"title":"x"}]}]})",
         "error: $.sections[0].items[1]: an item object without \"id\""},
        {R"({"sections":[{"section":"A","items":[true]}]})",
         "error: $.sections[0].items[0]: expected a string, a number or an object with an \"id\""},
        {R"({"sections":[{"section":"A","items":[{"id":1,"modified":5}]}]})",
         "error: $.sections[0].items[0].modified: expected an ISO 8601 date string"},
        {R"({"timeOfFetch":"-9999-01-01T00:00:00+01:00","sections":[]})",
         "error: $.timeOfFetch: date '-9999-01-01T00:00:00+01:00' outside the years -9999 to 9999 "
         "(UTC)"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(readBack(c.text), c.result) << c.text;
    }
}

// A scratch directory for list files, removed at the end.
class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmora-diff-XXXXXX");
        path_ = ::mkdtemp(pattern.data());
    }
    ~ScratchDirectory() { std::filesystem::remove_all(path_); }
    std::string write(const std::string& name, const std::string& text) const {
        const std::filesystem::path file = path_ / name;
        std::ofstream(file) << text;
        return file.string();
    }

  private:
    std::filesystem::path path_;
};

std::string numbered(int count) {
    std::string items;
    for (int i = 0; i < count; ++i) {
        items += (i > 0 ? "," : "") + std::to_string(i);
    }
    return R"({"sections":[{"section":"A","items":[)" + items + "]}]}";
}

TEST(DiffCommandTest, RunsEndToEnd) {
    using testing::runTool;
    const std::string data = std::string(VELMORA_SOURCE_DIR) + "/data/lists/";
    const ScratchDirectory scratch;

    auto result = runTool({"diff", "--updated", data + "old.json", data + "new.json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(
        result.out,
        R"({"insertedSections":[2],"deletedSections":[2],"movedSections":{"from":[0,1],"to":[0,1]},"insertedRows":[[2,1],[0,1]],"deletedRows":[[1,0],[0,0]],"didAnythingChange":true,"didOnlySectionsRearrange":false,"description":"FETCHED DIFF: [Sections To Reload: 0], [Added Sections: 1], [Removed Sections: 1], [Updated and Removed Sections: 2], [Updated and Added Sections: 2], [Added Rows: 2], [Removed Rows: 2], [Removed Rows Per Section: 0], [Added Rows Per Section: 0], [Updated and Removed Rows Per Section: 0], [Updated and Added Rows per Section: 0]"})"
        "\n");

    result = runTool({"diff", "--apply", data + "old.json", data + "new.json"});
    const std::optional<Value> printed = parseJson(result.out);
    ASSERT_TRUE(printed) << result.out;
    std::ifstream newFile(data + "new.json");
    const std::string newText((std::istreambuf_iterator<char>(newFile)), {});
    EXPECT_TRUE((*printed)[Value("applied")].isEqual(*parseJson(newText)));

    const std::string few = scratch.write("few.json", numbered(1));
    const std::string many = scratch.write("many.json", numbered(102));
    result = runTool({"diff", few, many});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "null\n");
    EXPECT_EQ(result.err,
              "note: velmora diff: the change is too large to describe row by row (more than 100 "
              "removed or added items)\n");

    const std::string bad =
        scratch.write("bad.json", R"({"sections":[{"section":"A","items":[{"title":"x"}]}]})");
    result = runTool({"diff", bad, few});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "error: velmora diff: " + bad +
                              ": $.sections[0].items[0]: an item object without \"id\"\n");

    result = runTool({"diff", "-", "-"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "error: velmora diff: OLD and NEW cannot both be standard input\n");

    result = runTool({"diff", few, many + ".absent"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "error: velmora diff: cannot open " + many + ".absent: No such file or directory\n");

    result = runTool({"diff", few, few}, "/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("cannot write to standard output"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace velmora::tool

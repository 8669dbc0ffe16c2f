// velmora json end to end: what it prints and how it fails, on files in a scratch folder.
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/ScopedVelmoraHome.h"
#include "tests/tools/ToolRun.h"

namespace velmora::testing {
namespace {

struct JsonCase {
    std::string input;
    std::vector<std::string> options;
    int status;
    std::string out;
    std::string err;  // with FILE standing for the input's path
};

TEST(JsonToolTest, OutputErrorsAndStatuses) {
    ScopedVelmoraHome scratch;
    const std::string file = (scratch.path() / "in.json").string();
    const JsonCase cases[] = {
        {R"({"b": [1, 2.50], "a": "x"})", {"--sort-keys"}, 0, "{\"a\":\"x\",\"b\":[1,2.5]}\n", ""},
        // Fault pinned: out-of-range reals were printed as 0.
        {"[1e309,-1e309,2e308,1E400]",
         {},
         1,
         "",
         "error: velmora json: FILE at byte 25: +Infinity is not a valid number in JSON\n"},
        {"[-1e309]",
         {},
         1,
         "",
         "error: velmora json: FILE at byte 7: -Infinity is not a valid number in JSON\n"},
        // Fault pinned: text after the first document was ignored without a word.
        {"[1] [2]",
         {},
         1,
         "[1]\n",
         "error: velmora json: FILE at byte 4: text after the first document (--multi reads "
         "several)\n"},
        {"[1] [2]\n", {"--multi"}, 0, "[1]\n[2]\n", ""},
        // A refused document is placed where it ends, whichever way it was written.
        {"[1] [2e400] [3]",
         {"--multi"},
         1,
         "[1]\n",
         "error: velmora json: FILE at byte 10: +Infinity is not a valid number in JSON\n"},
        {R"({"a": 1, "a": 1e309})",
         {},
         1,
         "",
         "error: velmora json: FILE at byte 19: +Infinity is not a valid number in JSON\n"},
        {"[1]  \n\t ", {}, 0, "[1]\n", ""},
        {"[1, 2", {}, 1, "", "error: velmora json: FILE at byte 5: Unexpected end of input\n"},
        {"\n\n[1, }",
         {},
         1,
         "",
         "error: velmora json: FILE at byte 6: Token 'end of object' not expected as array "
         "value\n"},
        // The copy without a tree keeps the tree's rule for a repeated key: the last value.
        {R"({"a": 1, "b": {"c": [true, null]}, "a": 3})",
         {},
         0,
         "{\"a\":3,\"b\":{\"c\":[true,null]}}\n",
         ""},
        {R"({"a": {}, "b": []})", {"--pretty"}, 0, "{\n  \"a\": {\n  },\n  \"b\": [\n  ]\n}\n", ""},
    };
    for (const JsonCase& c : cases) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << c.input;
        std::vector<std::string> arguments{"json"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        arguments.push_back(file);
        const ToolResult result = runTool(arguments);
        std::string err = c.err;
        if (const auto at = err.find("FILE"); at != std::string::npos) {
            err.replace(at, 4, file);
        }
        EXPECT_EQ(result.status, c.status) << c.input << "\n" << result.err;
        EXPECT_EQ(result.out, c.out) << c.input;
        EXPECT_EQ(result.err, err) << c.input;
    }
    const ToolResult missing = runTool({"json", "nope.json"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err,
              "error: velmora json: cannot open nope.json: No such file or directory\n");
}

}  // namespace
}  // namespace velmora::testing

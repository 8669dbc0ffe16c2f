// velmora undo and velmora spring end to end: scripts that group, undo and fail, and
// spring values that are refused, printed and plotted.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/tools/ToolRun.h"

namespace velmora::testing {
namespace {

ToolResult runScript(const ScopedVelmoraHome& scratch, const std::string& script,
                     std::vector<std::string> options = {}) {
    const std::filesystem::path path = scratch.path() / "script.txt";
    std::ofstream(path) << script;
    options.insert(options.begin(), {"undo", path.string()});
    return runTool(options);
}

TEST(UndoToolTest, ScriptsGroupByPassAndUndo) {
    ScopedVelmoraHome scratch;
    const ToolResult result =
        runScript(scratch, "set title A\nset note B\nname Edit\npass\nset title C\nundo\nprint\n");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "document: title = \"A\", note = \"B\"\n"
              "undo stack (1, oldest first):\n"
              "  group 'Edit'\n"
              "    setField:to: \"title\" \"\"\n"
              "    setField:to: \"note\" \"\"\n"
              "redo stack (1, oldest first):\n"
              "  group\n"
              "    setField:to: \"title\" \"C\"\n"
              "undo menu: Undo Edit\n"
              "redo menu: Redo\n"
              "change count: 4\n");
}

TEST(UndoToolTest, ErrorsNameTheLineAndExitOne) {
    struct Case {
        const char* script;
        const char* err;
    };
    const std::vector<Case> cases{
        {"pass\nfly\n", "error: velmora undo: line 2: unknown command 'fly'\n"},
        {"levels many\n", "error: velmora undo: line 1: levels needs a whole number\n"},
        {"coalesce maybe\n", "error: velmora undo: line 1: expected on or off, not 'maybe'\n"},
        {"group-by-event off\nset a 1\n",
         "error: velmora undo: line 2: invalid attempt to add undo task with no open group\n"},
        {"begin\nbegin\nundo\n",
         "error: velmora undo: line 3: can't undo with a nested group open\n"},
    };
    ScopedVelmoraHome scratch;
    for (const Case& c : cases) {
        const ToolResult result = runScript(scratch, c.script);
        EXPECT_EQ(result.status, 1) << c.script;
        EXPECT_EQ(result.err, c.err) << c.script;
    }
}

TEST(UndoToolTest, NotificationsAndLimits) {
    ScopedVelmoraHome scratch;
    const ToolResult result = runScript(
        scratch,
        "group-by-event off\nlevels 1\nbegin\nset a 1\nname One\nend\nbegin\nset a 2\nend\n",
        {"--notifications"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("notification: VLMUndoManagerWillDropUndoActionNotification (group "
                              "'One')\n"),
              std::string::npos)
        << result.out;
}

TEST(SpringToolTest, ValuesAreCheckedPrintedAndPlotted) {
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string err;
    };
    const std::vector<Case> cases{
        {{"spring", "--from", "0", "--to", "ten"},
         2,
         "error: velmora spring: --to: 'ten' is not a decimal number\n"},
        {{"spring", "--from", "1,2", "--to", "3", "--kind", "point"},
         2,
         "error: velmora spring: --to has 1 components; a point needs 2\n"},
        {{"spring", "--from", "0", "--to", "1", "--mass", "0"},
         2,
         "error: velmora spring: --mass: 0 is not greater than 0\n"},
        {{"spring", "--from", "0", "--to", "1", "--stiffness", "-3"},
         2,
         "error: velmora spring: --stiffness: -3 is negative\n"},
        {{"spring", "--from", "5", "--to", "5"}, 0, ""},
    };
    for (const Case& c : cases) {
        const ToolResult result = runTool(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.arguments[4];
        EXPECT_EQ(result.err, c.err) << c.arguments[4];
    }
    EXPECT_EQ(runTool({"spring", "--from", "5", "--to", "5"}).out,
              "# 1 key frames, duration 0.001 s\ntime_ms,value\n0,5\n");

    const ToolResult zero = runTool({"spring", "--from", "0", "--to", "1", "--damping", "0"});
    EXPECT_EQ(zero.status, 0);
    EXPECT_NE(zero.err.find("LOGIC ERROR. `damping` should be > 0.0f"), std::string::npos);

    ScopedVelmoraHome scratch;
    const std::filesystem::path png = scratch.path() / "spring.png";
    const ToolResult plotted = runTool({"spring", "--from", "0,0", "--to", "1,2", "--kind", "size",
                                        "--format", "json", "--plot", png.string()});
    EXPECT_EQ(plotted.status, 0) << plotted.err;
    EXPECT_EQ(plotted.out.rfind("{\"kind\":\"size\",\"duration\":", 0), 0u);
    std::ifstream file(png, std::ios::binary);
    std::string magic(8, '\0');
    file.read(magic.data(), 8);
    EXPECT_EQ(magic, "\x89PNG\r\n\x1a\n");
}

}  // namespace
}  // namespace velmora::testing

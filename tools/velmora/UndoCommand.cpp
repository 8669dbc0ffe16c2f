// velmora undo: runs a small script of edits, groups, undos and redos against an undo
// manager on the real main run loop, acting on a document of named text fields, so that
// grouping, coalescing and limits can be watched at work.
//
//   $ printf 'set title Groceries\npass\nundo\nprint\n' | velmora undo
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/velmora/Commands.h"
#include "tools/velmora/ToolSupport.h"
#include "tools/velmora/UndoScript.h"

namespace velmora::tool {
namespace {

struct UndoOptions {
    std::string script;
    bool notifications = false;
};

void runUndo(const UndoOptions& options) {
    std::ifstream file;
    if (!options.script.empty() && options.script != "-") {
        file.open(options.script);
        if (!file) {
            fail("cannot open " + options.script + ": " + std::strerror(errno));
        }
    }
    std::istream& input = file.is_open() ? file : std::cin;
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) {
        lines.push_back(std::move(line));
    }
    if (input.bad()) {
        fail("cannot read " + (file.is_open() ? options.script : std::string("standard input")));
    }
    const std::string error = runUndoScript(std::move(lines), options.notifications, std::cout);
    if (!error.empty()) {
        fail(error);
    }
}

}  // namespace

void addUndoCommand(CLI::App& app, int& /*exitCode*/) {
    auto options = std::make_shared<UndoOptions>();
    CLI::App* command = app.add_subcommand(
        "undo", "Run a script of edits, groups, undos and redos against an undo manager");
    command->add_option("SCRIPT", options->script,
                        "The script, one command a line (standard input when absent or -): "
                        "set FIELD VALUE, begin, end, begin-single, end-single, name ACTION, "
                        "undo, redo, pass, levels N, coalesce on|off|last|all, "
                        "group-by-event on|off, explode, remove-target, print");
    command->add_flag("--notifications", options->notifications,
                      "Also print every undo notification as it is posted");
    command->callback([options] { runUndo(*options); });
}

}  // namespace velmora::tool

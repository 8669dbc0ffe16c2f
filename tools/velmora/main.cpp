// velmora: the command-line face of the framework, one subcommand per capability.
#include <CLI/CLI.hpp>

#include "tools/velmora/Commands.h"
#include "tools/velmora/ToolSupport.h"

int main(int argc, char** argv) {
    CLI::App app{
        "Velmora: the shared framework of the task app, on the command line.\n"
        "Run `velmora SUBCOMMAND --help` for the options of one subcommand.\n"
        "Texts that start with '-' or read '++' go after `--`, as in: velmora log -- -x\n"
        "\n"
        "Errors are one line on stderr, `error: velmora SUBCOMMAND: what was wrong`.\n"
        "Exit status: 0 success, 1 failure at run time (including a failed write to\n"
        "standard output), 2 bad arguments.",
        "velmora"};
    app.set_version_flag("-V,--version", "velmora " VELMORA_VERSION);
    app.require_subcommand(0, 1);

    int exitCode = 0;
    velmora::tool::addLogCommand(app, exitCode);
    velmora::tool::addDateCommand(app, exitCode);
    velmora::tool::addTextCommands(app, exitCode);
    velmora::tool::addSqlCommand(app, exitCode);
    velmora::tool::addJsonCommand(app, exitCode);
    velmora::tool::addImageCommand(app, exitCode);
    velmora::tool::addDiffCommand(app, exitCode);
    velmora::tool::addIacCommand(app, exitCode);
    velmora::tool::addWormholeCommand(app, exitCode);
    velmora::tool::addUndoCommand(app, exitCode);
    velmora::tool::addSpringCommand(app, exitCode);

    return velmora::tool::runTool(app, argc, argv, exitCode);
}

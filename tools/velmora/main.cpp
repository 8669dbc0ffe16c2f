// velmora: the command-line face of the framework, one subcommand per capability.
#include <CLI/CLI.hpp>
#include <iostream>

#include "tools/velmora/Commands.h"

int main(int argc, char** argv) {
    CLI::App app{
        "Velmora: the shared framework of the task app, on the command line.\n"
        "Run `velmora SUBCOMMAND --help` for the options of one subcommand.",
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

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    if (argc == 1) {
        std::cout << app.help();
    }
    return exitCode;
}

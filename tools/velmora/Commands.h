#pragma once
// Registration of the `velmora` subcommands, one function per capability, each defined
// in its own file beside main.cpp.

#include <CLI/CLI.hpp>

namespace velmora::tool {

// Each adds its subcommand(s) to app. A callback reports a problem with fail() or
// usageError() (tools/velmora/ToolSupport.h); exitCode is left for a status of its own.
void addLogCommand(CLI::App& app, int& exitCode);
void addDateCommand(CLI::App& app, int& exitCode);
void addTextCommands(CLI::App& app, int& exitCode);  // soundex, phone, escape
void addSqlCommand(CLI::App& app, int& exitCode);
void addJsonCommand(CLI::App& app, int& exitCode);
void addImageCommand(CLI::App& app, int& exitCode);
// filter, blend and filters, under the image group.
void addImageFilterCommands(CLI::App& image);
void addDiffCommand(CLI::App& app, int& exitCode);
void addIacCommand(CLI::App& app, int& exitCode);       // iac listen|call|url|deliver
void addWormholeCommand(CLI::App& app, int& exitCode);  // wormhole pass|read|clear|listen
void addUndoCommand(CLI::App& app, int& exitCode);
void addSpringCommand(CLI::App& app, int& exitCode);

}  // namespace velmora::tool

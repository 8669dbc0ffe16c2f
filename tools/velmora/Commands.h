#pragma once
// Registration of the `velmora` subcommands, one function per capability, each defined
// in its own file beside main.cpp.

#include <CLI/CLI.hpp>

namespace velmora::tool {

// Each adds its subcommand to app; the subcommand's callback sets exitCode.
void addLogCommand(CLI::App& app, int& exitCode);

}  // namespace velmora::tool

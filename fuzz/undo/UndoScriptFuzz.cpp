// Any script may reach `velmora undo`: whatever its lines, the run ends (the main run loop
// returns), and a script that fails says which line and why.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tools/velmora/UndoScript.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines;
    std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string line; std::getline(input, line);) {
        lines.push_back(line);
    }
    const std::size_t count = lines.size();
    std::ostringstream out;
    const std::string error = velmora::tool::runUndoScript(std::move(lines), true, out);
    if (!error.empty()) {
        // "line N: ..." with N one of the script's lines.
        if (error.rfind("line ", 0) != 0) {
            std::abort();
        }
        const unsigned long line = std::strtoul(error.c_str() + 5, nullptr, 10);
        if (line == 0 || line > count) {
            std::abort();
        }
    }
    return 0;
}

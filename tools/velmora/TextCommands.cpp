#include "tools/velmora/Commands.h"

namespace velmora::tool {

void addTextCommands(CLI::App&, int&) {}

}  // namespace velmora::tool

#include "tools/velmora/Commands.h"

namespace velmora::tool {

void addDateCommand(CLI::App&, int&) {}

}  // namespace velmora::tool

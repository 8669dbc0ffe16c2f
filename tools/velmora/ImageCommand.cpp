#include "tools/velmora/Commands.h"

namespace velmora::tool {

void addImageCommand(CLI::App&, int&) {}

}  // namespace velmora::tool

#include "tools/velmora/Commands.h"

namespace velmora::tool {

void addJsonCommand(CLI::App&, int&) {}

}  // namespace velmora::tool

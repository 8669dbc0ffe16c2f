#include "tools/velmora/Commands.h"

namespace velmora::tool {

void addSqlCommand(CLI::App&, int&) {}

}  // namespace velmora::tool

// The date suites write the user's week start into the standard defaults; they must never
// touch the real ones. Before main, the process's home is pointed at a directory of its
// own, removed again at exit.
#include "tests/support/ScopedVelmoraHome.h"

namespace {

const velmora::testing::ScopedVelmoraHome kHome;

}  // namespace

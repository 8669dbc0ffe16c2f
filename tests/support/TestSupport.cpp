#include "tests/support/TestSupport.h"

#include <chrono>

#include "Velmora/platform/RunLoop.h"

namespace velmora::testing {

bool runMainLoopUntil(const std::function<bool()>& done, double limitSeconds) {
    const auto limit =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(limitSeconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= limit) {
            return false;
        }
        RunLoop::main().runOnePass(RunLoop::kDefaultMode, 0.01);
    }
    return true;
}

}  // namespace velmora::testing

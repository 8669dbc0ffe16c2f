#include "Velmora/platform/logging/BlockExceptions.h"

#include <exception>

#include "Velmora/platform/logging/Log.h"

namespace velmora {

void reportBlockException(std::string_view where) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& e) {
            log::error("velmora: exception escaped a block on {}: {}", where, e.what());
        } catch (...) {
            log::error("velmora: exception escaped a block on {}: (not a std::exception)", where);
        }
    } catch (...) {
        // Logging itself failed (out of memory, a logger that throws): the exception is
        // dropped unlogged rather than let out of the machinery.
    }
}

}  // namespace velmora

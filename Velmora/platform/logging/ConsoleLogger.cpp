#include "Velmora/platform/logging/ConsoleLogger.h"

#include <cassert>

#include <spdlog/sinks/stdout_sinks.h>

namespace velmora {
namespace {

using ConsoleSink = spdlog::sinks::stdout_sink_base<spdlog::details::console_mutex>;

std::shared_ptr<ConsoleSink> makeConsoleSink(std::FILE* stream) {
    assert(stream != nullptr);
    return std::make_shared<ConsoleSink>(stream);
}

}  // namespace

ConsoleLogger::ConsoleLogger(std::FILE* stream) : Logger(makeConsoleSink(stream)) {}

}  // namespace velmora

#include "Velmora/services/VelmoraLogging.h"

#include "Velmora/platform/logging/ConsoleLogger.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/VLSystemLogger.h"

namespace velmora {

std::shared_ptr<VLLogFormatter> configureLogging(const LoggingOptions& options) {
    auto formatter = std::make_shared<VLLogFormatter>();
    Log::removeAllLoggers();

    auto console = std::make_shared<ConsoleLogger>(options.consoleStream);
    console->setLogFormatter(formatter);
    Log::addLogger(console, options.consoleLevel);

    if (options.systemLog) {
        auto system = std::make_shared<VLSystemLogger>();
        system->setLogFormatter(formatter);
        Log::addLogger(system, options.systemLevel);
    }
    return formatter;
}

}  // namespace velmora

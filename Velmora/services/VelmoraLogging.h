#pragma once
// configureLogging: sets up the process's logging the way the framework's programs log:
// a console logger and, when asked, the system log, both writing VLLogFormatter lines.
// Replaces whatever loggers were added before.
//
// Thread safety: may be called from any thread; messages logged by other threads while
// it runs may miss the console.
//
//   LoggingOptions options;
//   options.consoleLevel = LogLevel::Info;
//   std::shared_ptr<VLLogFormatter> formatter = configureLogging(options);

#include <cstdio>
#include <memory>

#include "Velmora/platform/logging/LogMessage.h"
#include "Velmora/services/VLLogFormatter.h"

namespace velmora {

struct LoggingOptions {
    LogLevel consoleLevel = LogLevel::Warning;
    bool systemLog = false;
    LogLevel systemLevel = LogLevel::Verbose;
    // REQUIRES: open for writing, and outlives the logging it receives.
    FILE* consoleStream = stderr;
};

// Answers the one formatter the loggers share.
std::shared_ptr<VLLogFormatter> configureLogging(const LoggingOptions& options);

}  // namespace velmora

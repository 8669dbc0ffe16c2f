#include "Velmora/platform/logging/VLSystemLogger.h"

#include <spdlog/sinks/syslog_sink.h>
#include <syslog.h>

namespace velmora {

VLSystemLogger::VLSystemLogger(std::string ident)
    : Logger(std::make_shared<spdlog::sinks::syslog_sink_mt>(ident, LOG_PID, LOG_USER,
                                                             /*enable_formatting=*/true)),
      ident_(std::move(ident)) {}

}  // namespace velmora

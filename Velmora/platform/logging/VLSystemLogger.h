#pragma once
// VLSystemLogger: writes each line to the system log (syslog(3), facility "user", with
// the process id), under an identifier that names the program in the log.
//
// Thread safety: as Logger. The system log connection is per process: create at most one
// system logger at a time, since each opens the connection under its identifier and
// closes it when destroyed.
//
//   auto system = std::make_shared<VLSystemLogger>("velmora-sync");
//   system->setLogFormatter(formatter);
//   Log::addLogger(system, LogLevel::Info);

#include <string>

#include "Velmora/platform/logging/Logger.h"

namespace velmora {

class VLSystemLogger : public Logger {
  public:
    explicit VLSystemLogger(std::string ident = "velmora");

    const std::string& ident() const { return ident_; }

  private:
    const std::string ident_;
};

}  // namespace velmora

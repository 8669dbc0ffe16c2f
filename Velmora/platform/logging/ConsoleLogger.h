#pragma once
// ConsoleLogger: writes each line to a console stream, standard error unless the program
// chooses another (a command-line tool whose output is its log picks standard output).
// Lines are flushed one by one, so they interleave sensibly with the program's own output.
//
// Thread safety: as Logger; every console logger of the process shares one lock, so
// lines from several threads or loggers never mix within a line.
//
//   auto console = std::make_shared<ConsoleLogger>(stdout);
//   console->setLogFormatter(formatter);
//   Log::addLogger(console, LogLevel::Info);

#include <cstdio>

#include "Velmora/platform/logging/Logger.h"

namespace velmora {

class ConsoleLogger : public Logger {
  public:
    // REQUIRES: stream is open for writing and outlives the logger.
    explicit ConsoleLogger(std::FILE* stream = stderr);
};

}  // namespace velmora

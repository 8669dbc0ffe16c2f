#pragma once
// LogFormatter: turns one log message into the text a Logger writes. A Logger tells its
// formatter when the formatter is attached to it and when it is detached, so a formatter
// shared by several loggers knows how many use it.
//
// Thread safety: formatLogMessage may be called from any thread that logs, and from
// several loggers at once when the formatter is shared; an implementation guards its own
// state. The attach/detach calls come from the thread that changes the logger. A
// formatter runs under its logger's lock: it must not log, nor change loggers.
//
//   class BareFormatter : public LogFormatter {
//       std::string formatLogMessage(const LogMessage& m) override { return m.text; }
//   };

#include <string>

#include "Velmora/platform/logging/LogMessage.h"

namespace velmora {

class Logger;

class LogFormatter {
  public:
    virtual ~LogFormatter() = default;

    // The line for message, without the trailing line feed (the logger adds it).
    virtual std::string formatLogMessage(const LogMessage& message) = 0;
    virtual void didAddToLogger(Logger& /*logger*/) {}
    virtual void willRemoveFromLogger(Logger& /*logger*/) {}

  protected:
    LogFormatter() = default;
    LogFormatter(const LogFormatter&) = default;
    LogFormatter& operator=(const LogFormatter&) = default;
};

}  // namespace velmora

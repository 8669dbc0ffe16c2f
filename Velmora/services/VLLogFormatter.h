#pragma once
// VLLogFormatter: the framework's log line. One line per message: a level tag, the time
// stamp to the millisecond, the text:
//
//   [W] 2024/01/02 03:04:05:006: disk low
//
// An error stands out as its own block: an empty line before its tag ("[E] --->") and a
// line break after its text. The tag is chosen by the whole flag, so a message carrying
// several flags is tagged "[V]". Time stamps are written in the locale and system time
// zone current when the formatter is made. Control characters in the text (line breaks,
// ESC, C1 controls; not tabs) are written as "\n", "\r", "\x1b", "\u009b", so that one
// message is always one line and cannot forge others.
//
// Thread safety: formatLogMessage may be called from any thread (the date formatter takes
// its own lock); the logger count is atomic. One formatter may serve several loggers.
//
//   auto formatter = std::make_shared<VLLogFormatter>();
//   console->setLogFormatter(formatter);   // loggerCount() is now 1
//   std::string line = formatter->formatLogMessage({2, Clock::now(), "disk low"});

#include <atomic>
#include <string>

#include "Velmora/platform/locale/DateFormatter.h"
#include "Velmora/platform/logging/LogFormatter.h"

namespace velmora {

class VLLogFormatter : public LogFormatter {
  public:
    static constexpr const char* kDateFormat = "yyyy/MM/dd HH:mm:ss:SSS";

    VLLogFormatter();

    std::string formatLogMessage(const LogMessage& message) override;
    void didAddToLogger(Logger& logger) override;
    void willRemoveFromLogger(Logger& logger) override;

    // How many loggers use this formatter now.
    long loggerCount() const { return loggerCount_.load(); }

  private:
    std::atomic<long> loggerCount_{0};
    DateFormatter dateFormatter_;
};

}  // namespace velmora

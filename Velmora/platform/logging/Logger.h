#pragma once
// Logger: one destination of log lines (the console, the system log, memory), as the
// facade in Log.h writes to it. Each logger wraps one spdlog sink and has an optional
// LogFormatter that turns a message into its line; without one it writes the bare text.
// Every line ends with a line feed the logger adds.
//
// Thread safety: all members may be called from any thread, also while the logger is
// writing. setLogFormatter tells the formatters it swaps on the calling thread, outside
// any lock; when two threads set formatters on one logger at once, each formatter still
// gets one didAddToLogger and one willRemoveFromLogger, in no defined order between them.
//
//   auto console = std::make_shared<ConsoleLogger>();
//   console->setLogFormatter(std::make_shared<VLLogFormatter>());
//   Log::addLogger(console, LogLevel::Warning);

#include <memory>
#include <mutex>

#include "Velmora/platform/logging/LogFormatter.h"
#include "Velmora/platform/logging/LogMessage.h"

namespace spdlog::sinks {
class sink;
}

namespace velmora {

class Logger {
  public:
    // Tells the formatter, if any, willRemoveFromLogger (the derived part is gone by then).
    virtual ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Tells the previous formatter willRemoveFromLogger, then the new one didAddToLogger;
    // setting the formatter already in place does nothing. A null formatter removes it.
    void setLogFormatter(std::shared_ptr<LogFormatter> formatter);
    [[nodiscard]] std::shared_ptr<LogFormatter> logFormatter() const;

  protected:
    // REQUIRES: sink is not null and belongs to this logger alone.
    explicit Logger(std::shared_ptr<spdlog::sinks::sink> sink);

  private:
    friend class Log;
    class FormatterAdapter;

    // While alive, marks message as the one Log is handing to the loggers on this thread,
    // so formatters see its exact flag (a message may carry several bits, spdlog keeps one
    // level) and its exact time stamp (spdlog keeps integral nanoseconds).
    class DispatchScope {
      public:
        explicit DispatchScope(const LogMessage& message);
        ~DispatchScope();
        DispatchScope(const DispatchScope&) = delete;
        DispatchScope& operator=(const DispatchScope&) = delete;

      private:
        const LogMessage* previous_;
    };

    static thread_local const LogMessage* dispatching_;

    const std::shared_ptr<spdlog::sinks::sink> sink_;
    mutable std::mutex formatterMutex_;  // guards formatter_
    std::shared_ptr<LogFormatter> formatter_;
};

}  // namespace velmora

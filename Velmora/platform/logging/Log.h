#pragma once
// Log: the process's logging facade. Messages go to every added Logger whose level lets
// the message's flag through (see LogMessage.h); each is stamped with Clock::now(), so a
// pinned clock pins log lines. The calls in velmora::log format their text with fmt, and
// only when some logger wants that level; with no logger added, logging costs one atomic
// load.
//
// Thread safety: every function may be called from any thread, also while other threads
// log. A message is written to the loggers one message at a time; once removeLogger
// returns, no line reaches that logger any more.
//
//   Log::addLogger(std::make_shared<ConsoleLogger>(), LogLevel::Warning);
//   log::warning("disk low: {} MB left", megabytes);
//   Log::removeAllLoggers();

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Velmora/platform/logging/LogMessage.h"
#include "Velmora/platform/logging/Logger.h"

namespace velmora {

class Log {
  public:
    Log() = delete;

    // Adds logger, or changes its level when it is already added. Levels are thresholds:
    // a mask that is not one of the named levels acts as the named level of its least
    // severe flag.
    // REQUIRES: logger is not null.
    static void addLogger(std::shared_ptr<Logger> logger, LogLevel level = LogLevel::Verbose);
    static void removeLogger(const std::shared_ptr<Logger>& logger);
    static void removeAllLoggers();
    // In the order they were added.
    [[nodiscard]] static std::vector<std::shared_ptr<Logger>> allLoggers();

    // Whether some added logger lets a message with this flag through.
    [[nodiscard]] static bool isEnabled(int flag);

    static void log(LogFlag flag, std::string_view text);
    // A flag with several bits reaches every logger that lets one of them through, and
    // formatters see it whole.
    static void log(int flag, std::string_view text);
};

namespace log {
namespace detail {

template <class... A>
void write(LogFlag flag, fmt::format_string<A...> format, A&&... args) {
    if (Log::isEnabled(static_cast<int>(flag))) {
        Log::log(flag, fmt::vformat(format, fmt::make_format_args(args...)));
    }
}

}  // namespace detail

template <class... A>
void error(fmt::format_string<A...> format, A&&... args) {
    detail::write(LogFlag::Error, format, std::forward<A>(args)...);
}

template <class... A>
void warning(fmt::format_string<A...> format, A&&... args) {
    detail::write(LogFlag::Warning, format, std::forward<A>(args)...);
}

template <class... A>
void info(fmt::format_string<A...> format, A&&... args) {
    detail::write(LogFlag::Info, format, std::forward<A>(args)...);
}

template <class... A>
void debug(fmt::format_string<A...> format, A&&... args) {
    detail::write(LogFlag::Debug, format, std::forward<A>(args)...);
}

template <class... A>
void verbose(fmt::format_string<A...> format, A&&... args) {
    detail::write(LogFlag::Verbose, format, std::forward<A>(args)...);
}

}  // namespace log
}  // namespace velmora

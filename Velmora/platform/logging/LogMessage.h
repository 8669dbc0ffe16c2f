#pragma once
// LogFlag, LogLevel and LogMessage: the vocabulary of the logging facade (Log.h).
// A flag names the kind of one message; a level is the mask of flags a logger lets
// through, so a message reaches a logger when its flag shares a bit with the level.
// Plain values; safe to copy between threads.
//
//   LogMessage message{static_cast<int>(LogFlag::Warning), Clock::now(), "disk low"};
//   bool shown = levelAllowsFlag(LogLevel::Info, message.flag);   // true
//   bool hidden = levelAllowsFlag(LogLevel::Error, message.flag);  // false

#include <string>

#include "Velmora/platform/foundation/Date.h"

namespace velmora {

enum class LogFlag : int { Error = 1, Warning = 2, Info = 4, Debug = 8, Verbose = 16 };

enum class LogLevel : int { Off = 0, Error = 1, Warning = 3, Info = 7, Debug = 15, Verbose = 31 };

struct LogMessage {
    // An int rather than a LogFlag: a message may carry several flag bits.
    int flag = 0;
    Date timestamp;
    std::string text;
};

constexpr bool levelAllowsFlag(LogLevel level, int flag) {
    return (static_cast<int>(level) & flag) != 0;
}

}  // namespace velmora

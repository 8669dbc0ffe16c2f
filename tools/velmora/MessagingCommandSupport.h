#pragma once
// What `velmora iac` and `velmora wormhole` share: the error line, JSON values on the
// command line, checked output lines, and running the main loop for a bounded time.
//
//   if (!value) return reportError("wormhole", "MESSAGE is not JSON", kExitUsage);
//   if (!printLine(jsonText(*value))) return reportError("wormhole", "cannot write", 1);
//   runMainLoop([&] { return done; }, timeoutSeconds);

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora::tool {

inline constexpr int kExitRunFailure = 1;
inline constexpr int kExitBadUsage = 2;

// Prints "error: velmora SUBCOMMAND: message" on stderr and answers status.
int reportError(std::string_view subcommand, std::string_view message, int status);
// Any JSON value, scalars included ("3", "\"hi\"", "null", "{...}").
std::optional<Value> parseJsonValue(std::string_view text, std::string* error = nullptr);
// The value as compact JSON with sorted keys; nothing when it has no JSON form.
std::optional<std::string> jsonText(const Value& value);
// Writes line and a newline to stdout and flushes; false when the write failed.
bool printLine(std::string_view line);
// Runs the main run loop until done() or, with a positive limit, until limitSeconds of
// real time have passed; answers done().
bool runMainLoop(const std::function<bool()>& done, double limitSeconds);

}  // namespace velmora::tool

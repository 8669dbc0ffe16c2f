#pragma once
// What `velmora iac` and `velmora wormhole` share: JSON values on the command line, output
// lines written from listeners (which must not throw), and running the main loop for a
// bounded time. Errors go through ToolSupport's fail() and usageError().
//
//   auto value = parseJsonValue(argument, &why);
//   outputFailed |= !printLine(jsonText(*value).value_or("null"));   // inside a listener
//   runMainLoop([&] { return done; }, timeoutSeconds);

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Value.h"

namespace velmora::tool {

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

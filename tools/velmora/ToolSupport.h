#pragma once
// What every `velmora` subcommand shares: its error style, strict reading of numbers, and
// writes to standard output that report a failure instead of losing it.
//
// A subcommand reports a problem by throwing through fail() (a failure at run time, exit
// status 1) or usageError() (bad arguments, exit status 2); runTool() prints it as the
// one line "error: velmora SUBCOMMAND: what was wrong" on stderr. Options that take a
// number check their text with integerIn()/numberIn(), which refuse "0x10", "1.5" for an
// integer, and values outside the range the help states. Attach them with transform(),
// not check(): CLI11 would read the "010" a check() lets through as octal. Output goes through
// writeOut() or std::cout; runTool() flushes it and turns a failed write into an error.
//
// Thread safety: the tool's main thread only.
//
//   command->add_option("--hour", hour, "Hour (0-23)")->transform(integerIn(0, 23));
//   command->callback([&] { if (!found) fail("no such entry 'x'"); writeLine("ok"); });
//   return runTool(app, argc, argv, exitCode);

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velmora::tool {

inline constexpr int kExitFailure = 1;  // the work could not be done
inline constexpr int kExitUsage = 2;    // the arguments were wrong

// Thrown by a subcommand and caught by runTool(), which prints what() after the prefix.
class ToolError : public std::runtime_error {
  public:
    ToolError(int exitStatus, const std::string& message)
        : std::runtime_error(message), exitStatus_(exitStatus) {}

    int exitStatus() const { return exitStatus_; }

  private:
    int exitStatus_;
};

// A failure at run time: exit status 1. The message names the file or argument involved.
[[noreturn]] void fail(const std::string& message);

// Arguments that cannot be used: exit status 2.
[[noreturn]] void usageError(const std::string& message);

// Decimal integers only ("-12", "+7"; no "0x10", "1.5", "1e3", spaces or empty text),
// inside [minimum, maximum]. Nothing, with *why set, otherwise.
std::optional<std::int64_t> parseInteger(std::string_view text, std::int64_t minimum,
                                         std::int64_t maximum, std::string* why = nullptr);

// A finite decimal number ("12", "-0.5", "1e3"; no hexadecimal, "inf" or "nan") inside
// [minimum, maximum]. Nothing, with *why set, otherwise.
std::optional<double> parseNumber(std::string_view text, double minimum, double maximum,
                                  std::string* why = nullptr);

// Option checks for CLI11 built on the two functions above, for transform(); the failure
// reads "--hour: 1000 is out of range (0 to 23)". An accepted integer reaches CLI11's
// conversion as plain decimal digits, so nothing lenient is ever read.
CLI::Validator integerIn(std::int64_t minimum, std::int64_t maximum);
CLI::Validator numberIn(double minimum, double maximum);

// Writes bytes (any bytes, NULs included) to standard output; fails once a write has
// failed, so a long output stops at the first failure.
void writeOut(std::string_view bytes);
void writeLine(std::string_view line);

// Parses the arguments and runs the chosen subcommand's callback. A group such as
// `velmora date` given alone prints its help as `velmora` alone does. Answers the exit
// status: exitCode as the callback left it, or that of the error it printed.
int runTool(CLI::App& app, int argc, const char* const* argv, const int& exitCode);

}  // namespace velmora::tool

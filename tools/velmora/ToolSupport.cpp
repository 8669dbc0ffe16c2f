#include "tools/velmora/ToolSupport.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <limits>

#include <fmt/format.h>

namespace velmora::tool {
namespace {

bool refuse(std::string* why, std::string message) {
    if (why != nullptr) {
        *why = std::move(message);
    }
    return false;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// "velmora date add": the tool and the subcommands chosen on the command line so far.
std::string commandPath(const CLI::App& app) {
    std::string path = app.get_name();
    const CLI::App* current = &app;
    for (;;) {
        const std::vector<CLI::App*> chosen = current->get_subcommands();
        if (chosen.empty()) {
            return path;
        }
        current = chosen.front();
        path += ' ' + current->get_name();
    }
}

const CLI::App& chosenCommand(const CLI::App& app) {
    const CLI::App* current = &app;
    while (!current->get_subcommands().empty()) {
        current = current->get_subcommands().front();
    }
    return *current;
}

bool isGroup(const CLI::App& app) {
    return !app.get_subcommands([](const CLI::App*) { return true; }).empty();
}

// A group named alone prints its help instead of demanding a subcommand.
void letGroupsStandAlone(CLI::App& app) {
    for (CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; })) {
        if (isGroup(*sub)) {
            sub->require_subcommand(0, 1);
            letGroupsStandAlone(*sub);
        }
    }
}

// CLI11 writes "Could not convert: ..." or "A subcommand is required"; the line reads on
// from "velmora log: ", so a capital that starts an ordinary word is lowered.
std::string asContinuation(std::string message) {
    if (message.size() > 1 && std::isupper(static_cast<unsigned char>(message[0])) != 0 &&
        std::islower(static_cast<unsigned char>(message[1])) != 0) {
        message[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(message[0])));
    }
    return message;
}

void printError(const CLI::App& app, const std::string& message) {
    std::cout.flush();
    std::fflush(stdout);  // what was written so far comes before the error; checked later
    std::fprintf(stderr, "error: %s: %s\n", commandPath(app).c_str(), message.c_str());
}

// The last word on standard output: the buffered rest is written now, and a failure at
// any point of the run is reported.
std::optional<std::string> outputFailure() {
    std::cout.flush();
    errno = 0;
    const bool flushed = std::fflush(stdout) == 0;
    if (flushed && std::ferror(stdout) == 0 && std::cout.good()) {
        return std::nullopt;
    }
    const int code = errno;
    return code != 0 ? fmt::format("cannot write to standard output: {}", std::strerror(code))
                     : std::string("cannot write to standard output");
}

}  // namespace

void fail(const std::string& message) {
    throw ToolError(kExitFailure, message);
}

void usageError(const std::string& message) {
    throw ToolError(kExitUsage, message);
}

std::optional<std::int64_t> parseInteger(std::string_view text, std::int64_t minimum,
                                         std::int64_t maximum, std::string* why) {
    std::string_view digits = text;
    const bool negative = !digits.empty() && digits.front() == '-';
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
        digits.remove_prefix(1);
    }
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigit)) {
        refuse(why, fmt::format("'{}' is not a whole decimal number", text));
        return std::nullopt;
    }
    // Read with its sign so that the most negative value still fits.
    std::string signedDigits = negative ? "-" : "";
    signedDigits += digits;
    std::int64_t value = 0;
    const auto [end, code] =
        std::from_chars(signedDigits.data(), signedDigits.data() + signedDigits.size(), value);
    if (code != std::errc() || value < minimum || value > maximum) {
        refuse(why, fmt::format("{} is out of range ({} to {})", text, minimum, maximum));
        return std::nullopt;
    }
    return value;
}

std::optional<double> parseNumber(std::string_view text, double minimum, double maximum,
                                  std::string* why) {
    // from_chars alone would also take "inf", "nan" and, in some modes, hexadecimal.
    std::string_view body = text;
    if (!body.empty() && (body.front() == '-' || body.front() == '+')) {
        body.remove_prefix(1);
    }
    const std::size_t exponent = body.find_first_of("eE");
    const std::string_view mantissa = body.substr(0, exponent);
    std::string_view power =
        exponent == std::string_view::npos ? std::string_view() : body.substr(exponent + 1);
    const std::size_t point = mantissa.find('.');
    const std::string_view whole = mantissa.substr(0, point);
    const std::string_view fraction =
        point == std::string_view::npos ? std::string_view() : mantissa.substr(point + 1);
    if (!power.empty() && (power.front() == '-' || power.front() == '+')) {
        power.remove_prefix(1);
    }
    const bool wellFormed = whole.size() + fraction.size() > 0 &&
                            std::all_of(whole.begin(), whole.end(), isDigit) &&
                            std::all_of(fraction.begin(), fraction.end(), isDigit) &&
                            (exponent == std::string_view::npos ||
                             (!power.empty() && std::all_of(power.begin(), power.end(), isDigit)));
    if (!wellFormed) {
        refuse(why, fmt::format("'{}' is not a decimal number", text));
        return std::nullopt;
    }
    const std::string_view unsignedText = text.front() == '+' ? text.substr(1) : text;
    double value = 0;
    const auto [end, code] =
        std::from_chars(unsignedText.data(), unsignedText.data() + unsignedText.size(), value);
    if (code != std::errc() || !std::isfinite(value) || value < minimum || value > maximum) {
        refuse(why, fmt::format("{} is out of range ({} to {})", text, minimum, maximum));
        return std::nullopt;
    }
    return value;
}

CLI::Validator integerIn(std::int64_t minimum, std::int64_t maximum) {
    return CLI::Validator(
        [minimum, maximum](std::string& text) {
            std::string why;
            const std::optional<std::int64_t> value = parseInteger(text, minimum, maximum, &why);
            if (!value) {
                return why;
            }
            // CLI11 reads a leading 0 as octal; the text it converts is the plain number.
            text = std::to_string(*value);
            return std::string();
        },
        // A range as wide as the option's type says nothing the help needs.
        minimum <= std::numeric_limits<int>::min() && maximum >= std::numeric_limits<int>::max()
            ? std::string()
            : fmt::format("{} to {}", minimum, maximum));
}

CLI::Validator numberIn(double minimum, double maximum) {
    return CLI::Validator(
        [minimum, maximum](std::string& text) {
            std::string why;
            return parseNumber(text, minimum, maximum, &why) ? std::string() : why;
        },
        fmt::format("{} to {}", minimum, maximum));
}

void writeOut(std::string_view bytes) {
    if (std::ferror(stdout) != 0 ||
        std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
        fail(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
    }
}

void writeLine(std::string_view line) {
    writeOut(line);
    writeOut("\n");
}

int runTool(CLI::App& app, int argc, const char* const* argv, const int& exitCode) {
    letGroupsStandAlone(app);
    int status = 0;
    try {
        app.parse(argc, argv);
        const CLI::App& chosen = chosenCommand(app);
        if (isGroup(chosen)) {
            std::cout << chosen.help();
        }
        status = exitCode;
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) {
            status = app.exit(e);  // --help and --version
        } else {
            printError(app, asContinuation(e.what()));
            status = kExitUsage;
        }
    } catch (const ToolError& e) {
        printError(app, e.what());
        status = e.exitStatus();
    } catch (const std::exception& e) {
        printError(app, e.what());
        status = kExitFailure;
    }
    // After another error, that one is the report; a write that failed with it (as the
    // one writeOut() throws for) is not told twice.
    if (const std::optional<std::string> failure = outputFailure(); failure && status == 0) {
        std::fprintf(stderr, "error: %s: %s\n", commandPath(app).c_str(), failure->c_str());
        status = kExitFailure;
    }
    return status;
}

}  // namespace velmora::tool

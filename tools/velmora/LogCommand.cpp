// velmora log: writes one message through the framework's logging, as the framework's
// programs log it (VLLogFormatter lines), to standard output and, on request, the system
// log.
//
//   $ velmora log --level warning disk low
//   [W] 2024/01/02 03:04:05:006: disk low
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/VelmoraLogging.h"

#include "tools/velmora/Commands.h"

namespace velmora::tool {
namespace {

const std::map<std::string, LogFlag> kLevels{{"error", LogFlag::Error},
                                             {"warning", LogFlag::Warning},
                                             {"info", LogFlag::Info},
                                             {"debug", LogFlag::Debug},
                                             {"verbose", LogFlag::Verbose}};

struct LogOptions {
    std::string level = "info";
    bool systemLog = false;
    std::vector<std::string> words;
};

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        if (!text.empty()) {
            text += ' ';
        }
        text += word;
    }
    return text;
}

}  // namespace

void addLogCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<LogOptions>();
    CLI::App* command =
        app.add_subcommand("log", "Write one message through the framework's logging");
    command->add_option("--level", options->level, "The message's level")
        ->check(CLI::IsMember({"error", "warning", "info", "debug", "verbose"}))
        ->capture_default_str();
    command->add_flag("--syslog", options->systemLog, "Also write it to the system log");
    command->add_option("TEXT", options->words, "The message; its words are joined by spaces")
        ->required();
    command->callback([options, &exitCode] {
        LoggingOptions logging;
        logging.consoleLevel = LogLevel::Verbose;
        logging.consoleStream = stdout;
        logging.systemLog = options->systemLog;
        configureLogging(logging);
        Log::log(kLevels.at(options->level), joined(options->words));
        Log::removeAllLoggers();
        exitCode = 0;
    });
}

}  // namespace velmora::tool

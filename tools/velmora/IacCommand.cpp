// velmora iac: requests between programs in x-callback-url URLs.
//
//   velmora iac listen SCHEME [--action NAME=RESULT-JSON]... [--fail NAME=CODE:MESSAGE]...
//                             [--cancel NAME]... [--count N]
//   velmora iac call TARGET ACTION [KEY=VALUE]... --as SCHEME [--timeout SECONDS]
//   velmora iac url TARGET ACTION [KEY=VALUE]... [--as SCHEME]
//   velmora iac deliver URL
//
// `listen` takes SCHEME (a socket in the runtime directory, and a desktop entry so the
// desktop can start it), prints "listening on SCHEME", then one line per request it
// receives: the action and its parameters as JSON. `call` listens on --as for the answer
// and exits 0 with the result as JSON, 1 with the error's domain, code and message, 2
// with "cancelled", 3 when no answer came within --timeout. `deliver` hands a URL to the
// program listening on its scheme (the command the desktop entry runs).
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Velmora/messaging/IACClient.h"
#include "Velmora/messaging/IACDelegate.h"
#include "Velmora/messaging/IACManager.h"
#include "Velmora/platform/host/URLSchemeListener.h"
#include "Velmora/text/NSString+URLParams.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/MessagingCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

constexpr int kExitCancelled = 2;
constexpr int kExitTimedOut = 3;

struct IacOptions {
    std::string scheme;
    std::vector<std::string> actions, failures, cancels;
    int count = 0;
    std::string target, action, as;
    std::vector<std::string> parameters;
    double timeout = 10;
    std::string url;
};

// "KEY=VALUE" pairs into a dictionary of strings; nothing, with *bad, for one without "=".
std::optional<Dictionary> keyValues(const std::vector<std::string>& pairs, std::string* bad) {
    Dictionary result;
    for (const auto& pair : pairs) {
        const auto equals = pair.find('=');
        if (equals == std::string::npos || equals == 0) {
            *bad = pair;
            return std::nullopt;
        }
        result.set(pair.substr(0, equals), pair.substr(equals + 1));
    }
    return result;
}

std::unique_ptr<URLSchemeListener> listenForManager(const std::string& scheme, std::string* error) {
    IACManager::sharedManager().setCallbackURLScheme(scheme);
    return URLSchemeListener::listen(
        scheme, [](const std::string& url) { IACManager::sharedManager().handleOpenURL(url); },
        error);
}

// Prints the requests for actions nobody answers; the manager then answers them with
// the not-supported error.
class UnsupportedPrinter : public IACDelegate {
  public:
    UnsupportedPrinter(int& received, bool& outputFailed)
        : received_(received), outputFailed_(outputFailed) {}
    bool supportsIACAction(const std::string& action) override {
        ++received_;
        outputFailed_ |= !printLine(fmt::format("{} (not supported)", action));
        return false;
    }
    void performIACAction(const std::string&, const Dictionary&, IACManager::ActionSuccess,
                          IACManager::ActionFailure) override {}

  private:
    int& received_;
    bool& outputFailed_;
};

struct Answer {
    enum class Kind { Result, Error, Cancel } kind = Kind::Result;
    Dictionary result;
    IACError error;
};

int runListen(const IacOptions& options) {
    std::map<std::string, Answer> answers;
    for (const auto& text : options.actions) {
        const auto equals = text.find('=');
        std::string why;
        const auto result = equals == std::string::npos
                                ? std::nullopt
                                : parseJsonValue(std::string_view(text).substr(equals + 1), &why);
        if (!result || !result->isDictionary()) {
            usageError(fmt::format("--action {}: expected NAME=JSON-OBJECT", text));
        }
        answers[text.substr(0, equals)] = Answer{Answer::Kind::Result, *result->asDictionary(), {}};
    }
    for (const auto& text : options.failures) {
        const auto equals = text.find('=');
        const auto colon = text.find(':', equals == std::string::npos ? 0 : equals);
        IACClient codes;
        if (equals == std::string::npos || colon == std::string::npos) {
            usageError(fmt::format("--fail {}: expected NAME=CODE:MESSAGE", text));
        }
        const std::string code = text.substr(equals + 1, colon - equals - 1);
        if (code.empty() || code.find_first_not_of("-0123456789") != std::string::npos) {
            usageError(fmt::format("--fail {}: CODE must be an integer", text));
        }
        answers[text.substr(0, equals)] =
            Answer{Answer::Kind::Error,
                   {},
                   IACError{IACError::kClientDomain, codes.NSErrorCodeForXCUErrorCode(code),
                            text.substr(colon + 1)}};
    }
    for (const auto& name : options.cancels) {
        answers[name] = Answer{Answer::Kind::Cancel, {}, {}};
    }
    std::string error;
    const auto listener = listenForManager(options.scheme, &error);
    if (!listener) {
        fail(fmt::format("cannot listen on '{}': {}", options.scheme, error));
    }
    std::error_code ignored;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", ignored);
    URLSchemeListener::registerWithDesktop(options.scheme, {self.string(), "iac", "deliver"});
    int received = 0;
    bool outputFailed = false;
    for (const auto& entry : answers) {
        // Copied by name: clang 14 cannot capture structured bindings.
        IACManager::sharedManager().handleAction(
            entry.first, [&, name = entry.first, answer = entry.second](
                             const Dictionary& input, IACManager::ActionSuccess onSuccess,
                             IACManager::ActionFailure onFailure) {
                ++received;
                outputFailed |=
                    !printLine(fmt::format("{} {}", name, jsonText(input).value_or("{}")));
                switch (answer.kind) {
                    case Answer::Kind::Result:
                        onSuccess(answer.result, false);
                        break;
                    case Answer::Kind::Error:
                        onFailure(answer.error);
                        break;
                    case Answer::Kind::Cancel:
                        onSuccess(std::nullopt, true);
                        break;
                }
            });
    }
    const auto unsupported = std::make_shared<UnsupportedPrinter>(received, outputFailed);
    IACManager::sharedManager().setDelegate(unsupported);
    if (!printLine(fmt::format("listening on {}", listener->scheme()))) {
        fail("cannot write to standard output");
    }
    runMainLoop([&] { return outputFailed || (options.count > 0 && received >= options.count); },
                0);
    // Let the last answer leave before the process ends.
    runMainLoop([] { return false; }, 0.05);
    if (outputFailed) {
        fail("cannot write to standard output");
    }
    return 0;
}

int runCall(const IacOptions& options) {
    std::string bad;
    const auto parameters = keyValues(options.parameters, &bad);
    if (!parameters) {
        usageError(fmt::format("parameter '{}' is not KEY=VALUE", bad));
    }
    std::string error;
    const auto listener = listenForManager(options.as, &error);
    if (!listener) {
        fail(fmt::format("cannot listen on '{}': {}", options.as, error));
    }
    std::optional<int> status;
    std::string line;
    IACClient::clientWithURLScheme(options.target)
        ->performAction(
            options.action, *parameters,
            [&](const std::optional<Dictionary>& result) {
                if (result) {
                    line = jsonText(*result).value_or("{}");
                    status = 0;
                } else {
                    line = "cancelled";
                    status = kExitCancelled;
                }
            },
            [&](const IACError& failure) {
                line = fmt::format("{} {}: {}", failure.domain, failure.code,
                                   failure.localizedDescription);
                status = kExitFailure;
            });
    if (!runMainLoop([&] { return status.has_value(); }, options.timeout)) {
        throw ToolError(kExitTimedOut, fmt::format("no answer from '{}' within {} seconds",
                                                   options.target, options.timeout));
    }
    if (!printLine(line)) {
        fail("cannot write to standard output");
    }
    return *status;
}

int runURL(const IacOptions& options) {
    std::string bad;
    const auto parameters = keyValues(options.parameters, &bad);
    if (!parameters) {
        usageError(fmt::format("parameter '{}' is not KEY=VALUE", bad));
    }
    IACManager manager;
    manager.setCallbackURLScheme(options.as);
    IACRequest request;
    request.setClient(IACClient::clientWithURLScheme(options.target));
    request.setAction(options.action);
    request.setParameters(*parameters);
    if (!options.as.empty()) {
        request.setSuccessCalback([](const std::optional<Dictionary>&) {});
        request.setErrorCalback([](const IACError&) {});
    }
    if (!printLine(manager.requestURL(request))) {
        fail("cannot write to standard output");
    }
    return 0;
}

int runDeliver(const IacOptions& options) {
    if (!URLSchemeListener::deliver(options.url)) {
        fail(fmt::format("no program listens for '{}'", options.url));
    }
    return 0;
}

}  // namespace

void addIacCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<IacOptions>();
    CLI::App* iac = app.add_subcommand("iac", "Requests between programs in x-callback-url URLs");
    iac->require_subcommand(1);

    CLI::App* listen = iac->add_subcommand("listen", "Answer requests sent to SCHEME");
    listen->add_option("SCHEME", options->scheme, "The URL scheme to listen on")->required();
    listen->add_option("--action", options->actions, "Answer NAME with a result: NAME=JSON-OBJECT");
    listen->add_option("--fail", options->failures, "Answer NAME with an error: NAME=CODE:MESSAGE");
    listen->add_option("--cancel", options->cancels, "Answer NAME as cancelled");
    listen->add_option("--count", options->count, "Exit after N requests (0: never)")
        ->check(CLI::NonNegativeNumber);
    listen->callback([options, &exitCode] { exitCode = runListen(*options); });

    CLI::App* call = iac->add_subcommand("call", "Send ACTION to TARGET and wait for the answer");
    call->add_option("TARGET", options->target, "The scheme of the program to ask")->required();
    call->add_option("ACTION", options->action, "The action")->required();
    call->add_option("KEY=VALUE", options->parameters, "Parameters of the action");
    call->add_option("--as", options->as, "The scheme this call listens on for the answer")
        ->required();
    call->add_option("--timeout", options->timeout, "Seconds to wait for the answer (default 10)")
        ->check(CLI::PositiveNumber);
    call->callback([options, &exitCode] { exitCode = runCall(*options); });

    CLI::App* url = iac->add_subcommand("url", "Print the request URL that call would open");
    url->add_option("TARGET", options->target, "The scheme of the program to ask")->required();
    url->add_option("ACTION", options->action, "The action")->required();
    url->add_option("KEY=VALUE", options->parameters, "Parameters of the action");
    url->add_option("--as", options->as, "The scheme answers would come back on");
    url->callback([options, &exitCode] { exitCode = runURL(*options); });

    CLI::App* deliver =
        iac->add_subcommand("deliver", "Hand URL to the program listening on its scheme");
    deliver->add_option("URL", options->url, "The URL")->required();
    deliver->callback([options, &exitCode] { exitCode = runDeliver(*options); });
}

}  // namespace velmora::tool

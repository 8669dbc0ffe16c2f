// velmora wormhole: messages between processes of an application group.
//
//   velmora wormhole pass IDENTIFIER JSON --group G [--dir D] [--transit T]
//   velmora wormhole read IDENTIFIER --group G [--dir D] [--transit T]
//   velmora wormhole clear [IDENTIFIER] [--all] --group G [--dir D] [--transit T]
//   velmora wormhole listen IDENTIFIER... --group G [--dir D] [--transit T]
//                           [--count N] [--timeout S]
//
// `listen` prints "listening for IDENTIFIER..." once it is registered, then one line per
// message as it arrives: a JSON object {IDENTIFIER: MESSAGE} (MESSAGE is null when
// nothing is stored). It exits after --count messages, or with status 3 when --timeout
// seconds pass first. The session transits (context, message, session-file) pair the two
// processes through the --peer socket.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Velmora/messaging/CompanionSession.h"
#include "Velmora/messaging/VLWormhole.h"
#include "Velmora/messaging/VLWormholeSession.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/MessagingCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

constexpr int kExitTimedOut = 3;

struct WormholeOptions {
    std::string group, directory, transit = "file", peer;
    std::string identifier;                // pass, read, clear
    std::vector<std::string> identifiers;  // listen
    std::string message;
    bool all = false;
    int count = 0;
    double timeout = 0;
};

std::optional<VLWormholeTransitingType> transitType(const std::string& name) {
    if (name == "file") {
        return VLWormholeTransitingType::File;
    }
    if (name == "coordinated") {
        return VLWormholeTransitingType::CoordinatedFile;
    }
    if (name == "context") {
        return VLWormholeTransitingType::SessionContext;
    }
    if (name == "message") {
        return VLWormholeTransitingType::SessionMessage;
    }
    if (name == "session-file") {
        return VLWormholeTransitingType::SessionFile;
    }
    return std::nullopt;
}

bool isSessionTransit(VLWormholeTransitingType type) {
    return type != VLWormholeTransitingType::File &&
           type != VLWormholeTransitingType::CoordinatedFile;
}

// The session of a session transit: paired through the --peer socket, its state kept
// beside the socket, one state directory per role so both ends can share a folder.
std::shared_ptr<CompanionSession> startSession(const WormholeOptions& options,
                                               std::string_view role) {
    std::filesystem::path state = options.peer;
    state += fmt::format(".{}.d", role);
    auto session = std::make_shared<CompanionSession>(options.peer, state);
    CompanionSession::setDefaultSession(session);
    return session;
}

// The wormhole of the command; for a listener on a session transit, the listening
// session (activated by the caller once its listeners are in place).
std::shared_ptr<VLWormhole> open(const WormholeOptions& options, std::string_view role) {
    const auto type = transitType(options.transit);
    if (!type) {
        usageError(
            fmt::format("--transit {}: expected file, coordinated, context, "
                        "message or session-file",
                        options.transit));
    }
    if (isSessionTransit(*type) && options.peer.empty()) {
        usageError(fmt::format("--transit {} needs --peer SOCKET", options.transit));
    }
    if (!isSessionTransit(*type)) {
        return std::make_shared<VLWormhole>(options.group, options.directory, *type);
    }
    startSession(options, role);
    if (role == "listen") {
        return std::make_shared<VLWormholeSession>(options.group, options.directory);
    }
    return std::make_shared<VLWormhole>(options.group, options.directory, *type);
}

int runPass(const WormholeOptions& options) {
    std::string why;
    const auto message = parseJsonValue(options.message, &why);
    if (!message) {
        usageError(fmt::format("MESSAGE is not JSON: {}", why));
    }
    const auto wormhole = open(options, "pass");
    const auto type = *transitType(options.transit);
    if (isSessionTransit(type)) {
        // The session transits answer no, silently; here the peer's absence is an error,
        // except for the context, which is persisted and sent on the next connection.
        const auto session = CompanionSession::defaultSession();
        const double wait = options.timeout > 0 ? options.timeout : 5;
        if (type == VLWormholeTransitingType::SessionContext) {
            // Stored first, so the connection carries the newest context only.
            wormhole->passMessageObject(*message, options.identifier);
            session->activate();
            if (session->waitUntilReachable(wait) && !session->waitUntilFlushed(5)) {
                fail(fmt::format("the peer on {} took nothing", options.peer));
            }
            return 0;
        }
        session->activate();
        if (!session->waitUntilReachable(wait)) {
            fail(fmt::format("no peer on {}", options.peer));
        }
        wormhole->passMessageObject(*message, options.identifier);
        if (!session->waitUntilFlushed(5)) {
            fail(fmt::format("the peer on {} took nothing", options.peer));
        }
        return 0;
    }
    const auto messenger = wormhole->wormholeMessenger();
    // The same two steps as passMessageObject, so that a failed write is reported.
    if (!messenger->writeMessageObject(*message, options.identifier)) {
        fail(fmt::format("cannot store the message under '{}' in group '{}'", options.identifier,
                         options.group));
    }
    SystemNotificationCenter::shared().post(options.identifier);
    return 0;
}

int runRead(const WormholeOptions& options) {
    const auto wormhole = open(options, "pass");
    const Value message = wormhole->messageWithIdentifier(options.identifier);
    if (message.isNil()) {
        fail(fmt::format("no message under '{}'", options.identifier));
    }
    const auto text = jsonText(message);
    if (!text) {
        fail("the message has no JSON form");
    }
    writeLine(*text);
    return 0;
}

int runClear(const WormholeOptions& options) {
    if (options.all == !options.identifier.empty()) {
        usageError("give either IDENTIFIER or --all");
    }
    if (options.all && options.directory.empty()) {
        usageError("--all clears only inside --dir");
    }
    const auto wormhole = open(options, "pass");
    if (options.all) {
        wormhole->clearAllMessageContents();
    } else {
        wormhole->clearMessageContentsForIdentifier(options.identifier);
    }
    return 0;
}

int runListen(const WormholeOptions& options) {
    const auto wormhole = open(options, "listen");
    int received = 0;
    bool outputFailed = false;
    for (const auto& identifier : options.identifiers) {
        wormhole->listenForMessageWithIdentifier(identifier, [&, identifier](const Value& message) {
            ++received;
            const auto text =
                jsonText(Dictionary{{identifier, message.isNil() ? Value::null() : message}});
            outputFailed |= !printLine(text.value_or(fmt::format("{{\"{}\":null}}", identifier)));
        });
    }
    if (auto listening = std::dynamic_pointer_cast<VLWormholeSession>(wormhole)) {
        listening->activateSessionListening();
    }
    std::string names;
    for (const auto& identifier : options.identifiers) {
        names += (names.empty() ? "" : " ") + identifier;
    }
    writeLine("listening for " + names);
    std::fflush(stdout);  // a parent waits for this line
    const bool done = runMainLoop(
        [&] { return outputFailed || (options.count > 0 && received >= options.count); },
        options.timeout);
    if (outputFailed) {
        fail("cannot write to standard output");
    }
    if (!done) {
        throw ToolError(kExitTimedOut, fmt::format("{} of {} messages within {} seconds", received,
                                                   options.count, options.timeout));
    }
    return 0;
}

void addShared(CLI::App* command, WormholeOptions& options) {
    command->add_option("--group", options.group, "The application group")->required();
    command->add_option("--dir", options.directory, "The optional directory inside its container");
    command->add_option("--transit", options.transit,
                        "file (default), coordinated, or over a session with --peer: context, "
                        "message, session-file");
    command->add_option("--peer", options.peer, "The socket that pairs the two session ends");
}

}  // namespace

void addWormholeCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<WormholeOptions>();
    CLI::App* wormhole =
        app.add_subcommand("wormhole", "Messages between processes of an application group");
    wormhole->require_subcommand(1);

    CLI::App* pass = wormhole->add_subcommand("pass", "Store a JSON value and tell the listeners");
    pass->add_option("IDENTIFIER", options->identifier, "The message identifier")->required();
    pass->add_option("MESSAGE", options->message, "The message, any JSON value")->required();
    pass->add_option("--timeout", options->timeout,
                     "Seconds to wait for the session's peer (default 5)")
        ->check(CLI::PositiveNumber);
    addShared(pass, *options);
    pass->callback([options, &exitCode] { exitCode = runPass(*options); });

    CLI::App* read = wormhole->add_subcommand("read", "Print the stored message as JSON");
    read->add_option("IDENTIFIER", options->identifier, "The message identifier")->required();
    addShared(read, *options);
    read->callback([options, &exitCode] { exitCode = runRead(*options); });

    CLI::App* clear = wormhole->add_subcommand("clear", "Delete one stored message, or all");
    clear->add_option("IDENTIFIER", options->identifier, "The message identifier");
    clear->add_flag("--all", options->all, "Delete every message in --dir");
    addShared(clear, *options);
    clear->callback([options, &exitCode] { exitCode = runClear(*options); });

    CLI::App* listen = wormhole->add_subcommand("listen", "Print messages as they arrive");
    listen->add_option("IDENTIFIER", options->identifiers, "Identifiers to listen for")->required();
    listen->add_option("--count", options->count, "Exit after N messages (0: never)")
        ->check(CLI::NonNegativeNumber);
    listen->add_option("--timeout", options->timeout, "Give up after S seconds (exit status 3)")
        ->check(CLI::PositiveNumber);
    addShared(listen, *options);
    listen->callback([options, &exitCode] { exitCode = runListen(*options); });
}

}  // namespace velmora::tool

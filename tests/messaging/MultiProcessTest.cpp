// Two or more real processes: the velmora tool plays the other program. Every wait is
// bounded and every child is killed and reaped when a test fails; sockets and files live
// in the test's scratch home.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Velmora/messaging/VLWormhole.h"
#include "Velmora/messaging/VLWormholeFileTransiting.h"
#include "Velmora/platform/host/URLSchemeListener.h"
#include "Velmora/platform/storage/SystemNotificationCenter.h"

#include "tests/messaging/ChildProcess.h"
#include "tests/support/ScopedVelmoraHome.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ChildProcess;

constexpr const char* kTool = VELMORA_TOOL;
constexpr auto kLimit = 20s;

class MultiProcessTest : public ::testing::Test {
  protected:
    std::unique_ptr<ChildProcess> run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), kTool);
        auto child = std::make_unique<ChildProcess>(
            std::move(arguments), home_.path() / ("out" + std::to_string(++outputs_) + ".txt"));
        EXPECT_TRUE(child->started());
        return child;
    }
    // Runs the tool to its end; answers its exit status and output.
    std::pair<std::optional<int>, std::string> runToEnd(std::vector<std::string> arguments) {
        auto child = run(std::move(arguments));
        const auto status = child->wait(kLimit);
        return {status, child->output()};
    }

    testing::ScopedVelmoraHome home_;
    int outputs_ = 0;
};

TEST_F(MultiProcessTest, AnIACCallIsAnsweredWithSuccessErrorAndCancel) {
    auto listener = run({"iac", "listen", "todo", "--action", R"(add={"id":"42"})", "--fail",
                         "break=7:Broken", "--cancel", "ask", "--count", "4"});
    ASSERT_TRUE(listener->waitForOutput("listening on todo\n", kLimit)) << listener->output();
    struct Case {
        std::vector<std::string> call;
        int status;
        std::string output;
    };
    const std::vector<Case> cases{
        {{"add", "title=Milk & eggs"}, 0, "{\"id\":\"42\"}\n"},
        {{"break"}, 1, "com.iac.client.error 7: Broken\n"},
        {{"ask"}, 2, "cancelled\n"},
        {{"frob"},
         1,
         "com.iac.manager.error 2: 'frob' is not an x-callback-url action supported by velmora\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.call.front());
        std::vector<std::string> arguments{"iac", "call", "todo"};
        arguments.insert(arguments.end(), c.call.begin(), c.call.end());
        arguments.insert(arguments.end(), {"--as", "caller", "--timeout", "10"});
        const auto [status, output] = runToEnd(arguments);
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(output, c.output);
    }
    EXPECT_EQ(listener->wait(kLimit), 0);
    EXPECT_EQ(listener->output(),
              "listening on todo\n"
              "add {\"title\":\"Milk & eggs\",\"x-source\":\"velmora\"}\n"
              "break {\"x-source\":\"velmora\"}\n"
              "ask {\"x-source\":\"velmora\"}\n"
              "frob (not supported)\n");
    // Nobody listens any more, and the desktop has no handler in a scratch home.
    const auto [status, output] = runToEnd({"iac", "call", "todo", "add", "--as", "caller"});
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output,
              "com.iac.manager.error 1: App with scheme 'todo' is not installed in this device\n");
}

TEST_F(MultiProcessTest, ACallWithoutAnswerTimesOut) {
    // A target that is reachable but never calls back: the request stays outstanding.
    auto silent = URLSchemeListener::listen("mute", [](const std::string&) {});
    ASSERT_TRUE(silent);
    const auto [status, output] =
        runToEnd({"iac", "call", "mute", "add", "--as", "caller", "--timeout", "0.3"});
    EXPECT_EQ(status, 3);
    EXPECT_EQ(output, "error: velmora iac call: no answer from 'mute' within 0.3 seconds\n");
}

TEST_F(MultiProcessTest, AKilledListenersStaleSocketIsReplaced) {
    auto crashed = run({"iac", "listen", "todo"});
    ASSERT_TRUE(crashed->waitForOutput("listening on todo\n", kLimit));
    crashed->kill(SIGKILL);
    ASSERT_TRUE(std::filesystem::exists(URLSchemeListener::socketPath("todo")));
    EXPECT_FALSE(URLSchemeListener::isListening("todo"));

    auto successor =
        run({"iac", "listen", "todo", "--action", R"(ping={"pong":"1"})", "--count", "1"});
    ASSERT_TRUE(successor->waitForOutput("listening on todo\n", kLimit)) << successor->output();
    const auto [status, output] = runToEnd({"iac", "call", "todo", "ping", "--as", "caller"});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, "{\"pong\":\"1\"}\n");
    EXPECT_EQ(successor->wait(kLimit), 0);
}

TEST_F(MultiProcessTest, AMessagePassesThroughEachTransitToAListeningProcess) {
    for (const auto& [name, type] :
         {std::pair{"file", VLWormholeTransitingType::File},
          std::pair{"coordinated", VLWormholeTransitingType::CoordinatedFile}}) {
        SCOPED_TRACE(name);
        auto listener = run({"wormhole", "listen", "greeting", "--group", "group.test", "--dir",
                             "w", "--transit", name, "--count", "2", "--timeout", "20"});
        ASSERT_TRUE(listener->waitForOutput("listening for greeting\n", kLimit));
        VLWormhole wormhole("group.test", "w", type);
        wormhole.passMessageObject(Value(Dictionary{{"text", "hello"}, {"n", 1}}), "greeting");
        ASSERT_TRUE(listener->waitForOutput("\n{", kLimit));
        const auto [status, output] =
            runToEnd({"wormhole", "pass", "greeting", R"(["from", "tool"])", "--group",
                      "group.test", "--dir", "w", "--transit", name});
        EXPECT_EQ(status, 0) << output;
        EXPECT_EQ(listener->wait(kLimit), 0);
        EXPECT_EQ(listener->output(),
                  "listening for greeting\n"
                  "{\"greeting\":{\"n\":1,\"text\":\"hello\"}}\n"
                  "{\"greeting\":[\"from\",\"tool\"]}\n");
    }
}

TEST_F(MultiProcessTest, AMessagePassesThroughEachSessionTransitToAListeningProcess) {
    const std::string peer = (home_.path() / "pair.sock").string();
    for (const char* transit : {"message", "context", "session-file"}) {
        SCOPED_TRACE(transit);
        auto listener = run({"wormhole", "listen", "greeting", "--group", "group.test", "--transit",
                             transit, "--peer", peer, "--count", "2", "--timeout", "20"});
        ASSERT_TRUE(listener->waitForOutput("listening for greeting\n", kLimit));
        for (const char* message : {R"("hello")", R"({"n":2})"}) {
            const auto [status, output] =
                runToEnd({"wormhole", "pass", "greeting", message, "--group", "group.test",
                          "--transit", transit, "--peer", peer, "--timeout", "10"});
            EXPECT_EQ(status, 0) << output;
        }
        EXPECT_EQ(listener->wait(kLimit), 0);
        EXPECT_EQ(listener->output(),
                  "listening for greeting\n{\"greeting\":\"hello\"}\n{\"greeting\":{\"n\":2}}\n");
        std::filesystem::remove_all(peer + ".pass.d");  // the next transit starts afresh
    }
    // A live message needs a reachable peer.
    const auto [status, output] =
        runToEnd({"wormhole", "pass", "greeting", "1", "--group", "group.test", "--transit",
                  "message", "--peer", peer, "--timeout", "0.2"});
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output, "error: velmora wormhole pass: no peer on " + peer + "\n");
}

TEST_F(MultiProcessTest, ConcurrentPostersFromSeveralProcessesLoseNoNotification) {
    constexpr int kPosters = 4;
    constexpr int kPostsEach = 250;
    // The posters are forked before this process starts a thread (the observation below
    // starts the centre's), and wait for the pipe to close. A child of a multithreaded
    // process may only make async-signal-safe calls, and posting allocates: under
    // AddressSanitizer a child sometimes stopped for good on an allocator lock that
    // another thread held at the fork.
    int go[2];
    ASSERT_EQ(::pipe2(go, O_CLOEXEC), 0);
    std::vector<pid_t> posters;
    for (int i = 0; i < kPosters; ++i) {
        const pid_t pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            ::close(go[1]);
            pollfd start{go[0], POLLIN, 0};
            if (::poll(&start, 1, 20'000) != 1) {
                ::_exit(2);
            }
            // The child only posts: open, append a byte, close.
            int failures = 0;
            for (int n = 0; n < kPostsEach; ++n) {
                failures += SystemNotificationCenter::shared().post("busy") ? 0 : 1;
            }
            ::_exit(failures == 0 ? 0 : 1);
        }
        posters.push_back(pid);
    }
    ::close(go[0]);
    std::atomic<int> received{0};
    auto observation = SystemNotificationCenter::shared().addObserver(
        "busy", [&](const std::string&) { ++received; });
    ::close(go[1]);  // the posters start
    ASSERT_TRUE(observation);
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    for (const pid_t pid : posters) {
        int status = -1;
        while (::waitpid(pid, &status, WNOHANG) == 0 &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        if (!WIFEXITED(status)) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
        }
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    while (received < kPosters * kPostsEach && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(received.load(), kPosters * kPostsEach);
}

TEST_F(MultiProcessTest, AWriterKilledMidWriteLeavesOnlyWholeMessages) {
    // Large messages make the write take long enough to be interrupted at every stage.
    const std::string padding(100 * 1000, 'x');
    VLWormholeFileTransiting files("group.test", "w");
    std::vector<std::string> written;
    for (int i = 0; i < 24; ++i) {
        SCOPED_TRACE(i);
        written.push_back("message " + std::to_string(i) + " " + padding);
        auto writer =
            run({"wormhole", "pass", "big", "\"" + written.back() + "\"", "--group", "group.test",
                 "--dir", "w", "--transit", i % 2 ? "coordinated" : "file"});
        std::this_thread::sleep_for(std::chrono::microseconds(500 * i));
        writer->kill(SIGKILL);
        const Value stored = files.messageObjectForIdentifier("big");
        if (!stored.isNil()) {
            EXPECT_NE(std::find(written.begin(), written.end(), stored.stringValue()),
                      written.end())
                << "a torn or foreign message of " << stored.stringValue().size() << " bytes";
        }
    }
    // The last writer is left to finish; afterwards its message is the one stored.
    const auto [status, output] =
        runToEnd({"wormhole", "pass", "big", "\"last\"", "--group", "group.test", "--dir", "w"});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(files.messageObjectForIdentifier("big").stringValue(), "last");
}

}  // namespace
}  // namespace velmora

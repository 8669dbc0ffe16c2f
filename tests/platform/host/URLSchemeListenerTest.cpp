#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/host/URLSchemeListener.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/storage/UniqueFd.h"

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

UniqueFd connectRaw(const std::filesystem::path& path) {
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
}

void sendAll(const UniqueFd& fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;  // the listener may drop us midway, which is what some cases test
        }
        sent += static_cast<std::size_t>(n);
    }
}

class URLSchemeListenerTest : public ::testing::Test {
  protected:
    std::vector<std::string> received_;
    testing::ScopedVelmoraHome home_;
};

TEST_F(URLSchemeListenerTest, DeliveredURLsReachTheHandlerOnTheMainLoop) {
    bool onMain = true;
    auto listener = URLSchemeListener::listen("Todo", [&](const std::string& url) {
        onMain = onMain && RunLoop::isMainThread();
        received_.push_back(url);
    });
    ASSERT_TRUE(listener);
    EXPECT_EQ(listener->scheme(), "todo");
    EXPECT_TRUE(URLSchemeListener::isListening("todo"));
    EXPECT_TRUE(URLSchemeListener::isListening("TODO://x"));
    EXPECT_FALSE(URLSchemeListener::isListening("other"));
    EXPECT_TRUE(URLSchemeListener::deliver("todo://x-callback-url/add?title=a"));
    EXPECT_TRUE(URLSchemeListener::deliver("TODO://second"));
    EXPECT_FALSE(URLSchemeListener::deliver("other://x"));
    EXPECT_FALSE(
        URLSchemeListener::deliver(std::string(URLSchemeListener::kMaxURLLength + 1, 'a')));
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return received_.size() == 2; }, 5));
    std::sort(received_.begin(), received_.end());
    EXPECT_EQ(received_,
              (std::vector<std::string>{"TODO://second", "todo://x-callback-url/add?title=a"}));
    EXPECT_TRUE(onMain);

    struct stat info {};
    ASSERT_EQ(::stat(listener->path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(::stat(listener->path().parent_path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    const auto path = listener->path();
    listener.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(URLSchemeListener::isListening("todo"));
}

TEST_F(URLSchemeListenerTest, OneLiveListenerPerSchemeAndAStaleSocketIsReplaced) {
    std::string error;
    auto first = URLSchemeListener::listen("todo", [](const std::string&) {});
    ASSERT_TRUE(first);
    EXPECT_FALSE(URLSchemeListener::listen(
        "todo", [](const std::string&) {}, &error));
    EXPECT_EQ(error, "another program listens on 'todo'");
    EXPECT_FALSE(URLSchemeListener::listen(
        "not a scheme", [](const std::string&) {}, &error));
    first.reset();

    // What a crashed program leaves: a bound socket file that nobody accepts on.
    const auto path = URLSchemeListener::socketPath("todo");
    {
        UniqueFd dead(::socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    EXPECT_FALSE(URLSchemeListener::isListening("todo"));
    auto second = URLSchemeListener::listen(
        "todo", [&](const std::string& url) { received_.push_back(url); }, &error);
    ASSERT_TRUE(second) << error;
    EXPECT_TRUE(URLSchemeListener::deliver("todo://after"));
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return !received_.empty(); }, 5));
}

TEST_F(URLSchemeListenerTest, HostilePeersAreDroppedAndTheListenerCarriesOn) {
    auto logger = std::make_shared<MemoryLogger>();
    Log::addLogger(logger, LogLevel::Warning);
    auto listener = URLSchemeListener::listen(
        "todo", [&](const std::string& url) { received_.push_back(url); });
    ASSERT_TRUE(listener);
    const std::vector<std::pair<const char*, std::string>> cases{
        {"garbage", std::string("\x01\x02\xff binary", 10)},
        {"spaces", "todo://a b"},
        {"another scheme", "other://x"},
        {"no scheme", "just text"},
        {"over 64 KiB", "todo://" + std::string(URLSchemeListener::kMaxURLLength, 'a')},
    };
    for (const auto& [name, bytes] : cases) {
        SCOPED_TRACE(name);
        const UniqueFd peer = connectRaw(listener->path());
        sendAll(peer, bytes);
        ::shutdown(peer.get(), SHUT_WR);
    }
    // Probes (connect, close) go quietly: they add nothing to the log below.
    EXPECT_TRUE(URLSchemeListener::isListening("todo"));
    EXPECT_TRUE(URLSchemeListener::isListening("todo"));
    // A peer that connects and says nothing is dropped after the read time-out, while
    // others are served meanwhile.
    const UniqueFd silent = connectRaw(listener->path());
    EXPECT_TRUE(URLSchemeListener::deliver("todo://good"));
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return !received_.empty(); }, 5));
    EXPECT_TRUE(
        testing::runMainLoopUntil([&] { return logger->lines().size() == cases.size() + 1; },
                                  URLSchemeListener::kReadTimeoutSeconds + 5));
    Log::removeLogger(logger);
    EXPECT_EQ(logger->lines().size(), cases.size() + 1);
    EXPECT_EQ(received_, std::vector<std::string>{"todo://good"});
    const timeval limit{5, 0};  // bounded, should the listener have kept it open
    ::setsockopt(silent.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char byte = 0;
    EXPECT_EQ(::recv(silent.get(), &byte, 1, 0), 0);  // closed by the listener
}

TEST_F(URLSchemeListenerTest, AThrowingHandlerIsLoggedAndLaterURLsArrive) {
    auto logger = std::make_shared<MemoryLogger>();
    Log::addLogger(logger, LogLevel::Error);
    auto listener = URLSchemeListener::listen("todo", [&](const std::string& url) {
        received_.push_back(url);
        if (received_.size() == 1) {
            throw std::runtime_error("handler broke");
        }
    });
    ASSERT_TRUE(listener);
    EXPECT_TRUE(URLSchemeListener::deliver("todo://1"));
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return received_.size() == 1; }, 5));
    EXPECT_TRUE(URLSchemeListener::deliver("todo://2"));
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return received_.size() == 2; }, 5));
    Log::removeLogger(logger);
    ASSERT_EQ(logger->lines().size(), 1u);
    EXPECT_NE(logger->lines()[0].find("handler broke"), std::string::npos);
}

TEST_F(URLSchemeListenerTest, TheDesktopEntryNamesTheSchemeAndTheCommand) {
    std::string error;
    const auto file = URLSchemeListener::registerWithDesktop(
        "Todo", {"/opt/my app/run", "iac", "deliver"}, &error);
    ASSERT_TRUE(file) << error;
    EXPECT_EQ(*file, home_.path() / "applications" / "velmora-todo.desktop");
    std::ifstream in(*file);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("Exec=\"/opt/my app/run\" \"iac\" \"deliver\" %u\n"), std::string::npos);
    EXPECT_NE(text.find("MimeType=x-scheme-handler/todo;\n"), std::string::npos);
    EXPECT_FALSE(URLSchemeListener::registerWithDesktop("bad scheme", {"x"}));
}

}  // namespace
}  // namespace velmora

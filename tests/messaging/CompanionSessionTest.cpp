#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "Velmora/messaging/CompanionSession.h"
#include "Velmora/messaging/VLWormhole.h"
#include "Velmora/messaging/VLWormholeSession.h"
#include "Velmora/messaging/VLWormholeSessionTransiting.h"
#include "Velmora/messaging/internal/SessionThreads.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/UniqueFd.h"

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

// Records what a session delivers, from the session's thread.
class Recorder : public CompanionSessionDelegate {
  public:
    void sessionDidReceiveMessage(CompanionSession&, const Dictionary& message) override {
        add("message " + Value(message).description());
        if (throwNext_) {
            throwNext_ = false;
            throw std::runtime_error("delegate broke");
        }
    }
    void sessionDidReceiveApplicationContext(CompanionSession&,
                                             const Dictionary& context) override {
        add("context " + Value(context).description());
    }
    void sessionDidReceiveFile(CompanionSession&, const std::filesystem::path& file,
                               const Dictionary& metadata) override {
        add("file " + Value(metadata).description() + " " +
            std::to_string(std::filesystem::file_size(file)));
    }
    bool waitForCount(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 10s, [&] { return events_.size() >= count; });
    }
    std::vector<std::string> events() {
        std::lock_guard lock(mutex_);
        return events_;
    }
    void throwOnNextMessage() { throwNext_ = true; }

  private:
    void add(std::string event) {
        std::erase(event, '\n');
        std::erase(event, ' ');
        {
            std::lock_guard lock(mutex_);
            events_.push_back(std::move(event));
        }
        changed_.notify_all();
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
    std::atomic<bool> throwNext_{false};
};

class CompanionSessionTest : public ::testing::Test {
  protected:
    std::shared_ptr<CompanionSession> makeSession(const std::string& role) {
        return std::make_shared<CompanionSession>(socket_, home_.path() / role);
    }
    // A bare connection to the listening session, within 10 s. The socket file appears at
    // bind, a moment before the session listens, so a refused connection is tried again.
    UniqueFd connectToListener() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socket_.c_str(), sizeof address.sun_path - 1);
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (std::chrono::steady_clock::now() < deadline) {
            UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
                return fd;
            }
            std::this_thread::sleep_for(2ms);
        }
        return {};
    }
    testing::ScopedVelmoraHome home_;
    std::filesystem::path socket_ = home_.path() / "pair.sock";
};

TEST_F(CompanionSessionTest, FramesEncodeAndDecode) {
    const Bytes payload{1, 2, 3};
    const Bytes frame = CompanionSession::encodeFrame(CompanionSession::FrameType::File, payload);
    EXPECT_EQ(frame, (Bytes{3, 3, 0, 0, 0, 1, 2, 3}));
    struct Case {
        const char* name;
        Bytes bytes;
        CompanionSession::Decoded expected;
    };
    const std::vector<Case> cases{
        {"empty", {}, CompanionSession::Decoded::Incomplete},
        {"header cut", {2, 3, 0}, CompanionSession::Decoded::Incomplete},
        {"payload cut", {2, 3, 0, 0, 0, 1}, CompanionSession::Decoded::Incomplete},
        {"whole", frame, CompanionSession::Decoded::Frame},
        {"unknown type", {9, 0, 0, 0, 0}, CompanionSession::Decoded::Invalid},
        {"type zero", {0}, CompanionSession::Decoded::Invalid},
        {"too long", {2, 0xff, 0xff, 0xff, 0x7f}, CompanionSession::Decoded::Invalid},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CompanionSession::Frame decoded;
        std::size_t consumed = 0;
        EXPECT_EQ(CompanionSession::decodeFrame(c.bytes, decoded, consumed), c.expected);
        if (c.expected == CompanionSession::Decoded::Frame) {
            EXPECT_EQ(consumed, frame.size());
            EXPECT_EQ(decoded.payload, payload);
        }
    }
    EXPECT_FALSE(CompanionSession::payloadDictionary(payload));
}

TEST_F(CompanionSessionTest, MessagesGoOnlyWhileReachable) {
    auto recorder = std::make_shared<Recorder>();
    auto a = makeSession("a");
    EXPECT_FALSE(a->sendMessage(Dictionary{{"k", "lost"}}));  // not activated: unreachable
    a->setDelegate(recorder);
    a->activate();
    auto b = makeSession("b");
    b->activate();
    ASSERT_TRUE(b->waitUntilReachable(10));
    ASSERT_TRUE(a->waitUntilReachable(10));
    recorder->throwOnNextMessage();
    EXPECT_TRUE(b->sendMessage(Dictionary{{"k", "1"}}));
    EXPECT_TRUE(b->sendMessage(Dictionary{{"k", "2"}}));  // after a throwing delegate
    ASSERT_TRUE(recorder->waitForCount(2));
    EXPECT_EQ(recorder->events(), (std::vector<std::string>{"message{k=1;}", "message{k=2;}"}));
    b.reset();
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return !a->isReachable(); }, 10));
    EXPECT_FALSE(a->sendMessage(Dictionary{{"k", "3"}}));
}

TEST_F(CompanionSessionTest, ContextIsPersistedAndDeliveredOnConnect) {
    {
        auto writer = makeSession("writer");
        EXPECT_TRUE(writer->updateApplicationContext(Dictionary{{"v", "old"}}));
        EXPECT_TRUE(writer->updateApplicationContext(Dictionary{{"v", "new"}}));  // last wins
    }
    auto reader = makeSession("reader");
    auto recorder = std::make_shared<Recorder>();
    reader->setDelegate(recorder);
    reader->activate();
    auto writer = makeSession("writer");  // a new process of the writer's side
    EXPECT_TRUE(writer->applicationContext().isEqual(Dictionary{{"v", "new"}}));
    writer->activate();
    ASSERT_TRUE(recorder->waitForCount(1));
    EXPECT_EQ(recorder->events(), std::vector<std::string>{"context{v=new;}"});
    EXPECT_TRUE(reader->receivedApplicationContext().isEqual(Dictionary{{"v", "new"}}));
    EXPECT_TRUE(makeSession("reader")->receivedApplicationContext().isEqual(
        Dictionary{{"v", "new"}}));  // persisted
}

TEST_F(CompanionSessionTest, FilesQueueWhileUnreachableAndArriveInOrderOnReconnect) {
    const auto file = home_.path() / "payload";
    std::ofstream(file) << "12345";
    {
        auto sender = makeSession("sender");
        EXPECT_TRUE(sender->transferFile(file, Dictionary{{"n", "1"}}));
        EXPECT_TRUE(sender->transferFile(file, Dictionary{{"n", "2"}}));
        EXPECT_EQ(sender->outstandingFileTransfers(), 2u);
        EXPECT_FALSE(sender->transferFile(home_.path() / "missing", {}));
    }
    auto receiver = makeSession("receiver");
    auto recorder = std::make_shared<Recorder>();
    receiver->setDelegate(recorder);
    receiver->activate();
    auto sender = makeSession("sender");
    EXPECT_EQ(sender->outstandingFileTransfers(), 2u);
    sender->activate();
    ASSERT_TRUE(recorder->waitForCount(2));
    EXPECT_EQ(recorder->events(), (std::vector<std::string>{"file{n=1;}5", "file{n=2;}5"}));
    EXPECT_TRUE(sender->waitUntilFlushed(10));
    EXPECT_EQ(sender->outstandingFileTransfers(), 0u);
}

TEST_F(CompanionSessionTest, APeerSendingAnInvalidFrameIsDroppedAndOthersStillConnect) {
    auto listener = makeSession("listener");
    auto recorder = std::make_shared<Recorder>();
    listener->setDelegate(recorder);
    listener->activate();
    UniqueFd hostile = connectToListener();
    ASSERT_TRUE(hostile);
    const Bytes garbage =
        CompanionSession::encodeFrame(CompanionSession::FrameType::Message, Bytes{'n', 'o', 't'});
    ASSERT_EQ(::send(hostile.get(), garbage.data(), garbage.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(garbage.size()));
    const timeval limit{10, 0};
    ::setsockopt(hostile.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char byte = 0;
    EXPECT_EQ(::recv(hostile.get(), &byte, 1, 0), 0);  // closed by the session
    auto peer = makeSession("peer");
    peer->activate();
    ASSERT_TRUE(peer->waitUntilReachable(10));
    EXPECT_TRUE(peer->sendMessage(Dictionary{{"ok", "1"}}));
    ASSERT_TRUE(recorder->waitForCount(1));
    EXPECT_EQ(recorder->events(), std::vector<std::string>{"message{ok=1;}"});
}

TEST_F(CompanionSessionTest, SessionTransitsReachTheListeningSessionAndAnswerNo) {
    auto listener = makeSession("listener");
    auto listening = std::make_shared<VLWormholeSession>("group.test", "");
    std::vector<std::string> heard;
    listening->listenForMessageWithIdentifier(
        "m", [&](const Value& message) { heard.push_back(message.stringValue()); });
    ASSERT_TRUE(listening->activateSessionListening(listener));
    auto sender = makeSession("sender");
    sender->activate();
    ASSERT_TRUE(sender->waitUntilReachable(10));
    VLWormholeSessionMessageTransiting message("group.test", "", sender);
    VLWormholeSessionContextTransiting context("group.test", "", sender);
    VLWormholeSessionFileTransiting files("group.test", "", sender);
    EXPECT_FALSE(message.writeMessageObject(Value("live"), "m"));
    ASSERT_TRUE(testing::runMainLoopUntil([&] { return heard.size() == 1; }, 10));
    EXPECT_FALSE(context.writeMessageObject(Value("ctx"), "m"));
    ASSERT_TRUE(testing::runMainLoopUntil([&] { return heard.size() == 2; }, 10));
    EXPECT_EQ(context.messageObjectForIdentifier("m").stringValue(), "ctx");
    EXPECT_FALSE(files.writeMessageObject(Value("file"), "m"));
    ASSERT_TRUE(testing::runMainLoopUntil([&] { return heard.size() == 3; }, 10));
    EXPECT_EQ(heard, (std::vector<std::string>{"live", "ctx", "file"}));
    // The received file is also stored by the listening side's file strategy.
    EXPECT_EQ(listening->messageWithIdentifier("m").stringValue(), "file");
    context.deleteContentForIdentifier("m");
    EXPECT_TRUE(context.messageObjectForIdentifier("m").isNil());
    EXPECT_FALSE(context.lastContext().contains(Value("m")));
    // Without a session nothing is sent and nothing is read.
    VLWormholeSessionMessageTransiting alone("group.test", "", nullptr);
    EXPECT_FALSE(alone.writeMessageObject(Value("x"), "m"));
    // The listener's thread writes what arrives (its context file, the group's files).
    // Its last owner must let go here, which joins that thread, before the fixture
    // removes the home: released inside a delegate call, the session left its thread
    // writing into the directory being removed, and the directory stayed behind.
    listening.reset();
    ASSERT_TRUE(testing::runMainLoopUntil([&] { return listener.use_count() == 1; }, 10));
    listener.reset();
}

// Regression: a session whose last owner let go in a delegate call detached its thread,
// which went on dispatching the frames of the same read to the destroyed session and
// outlived static destruction at exit. Now no frame reaches a delegate after the
// release, and the thread is joined.
TEST_F(CompanionSessionTest, ASessionReleasedInItsOwnDelegateCallStopsAndItsThreadIsJoined) {
    class Releaser : public CompanionSessionDelegate {
      public:
        void sessionDidReceiveMessage(CompanionSession&, const Dictionary&) override {
            ++calls;
            held.reset();  // the last owner
        }
        std::shared_ptr<CompanionSession> held;
        std::atomic<int> calls{0};
    };
    auto releaser = std::make_shared<Releaser>();
    releaser->held = makeSession("listener");
    releaser->held->setDelegate(releaser);
    releaser->held->activate();
    UniqueFd peer = connectToListener();
    ASSERT_TRUE(peer);
    // Two frames in one write, so that both arrive in one read.
    const auto archive = KeyedArchiver::archivedData(Value(Dictionary{{"k", "v"}}));
    ASSERT_TRUE(archive);
    const Bytes one = CompanionSession::encodeFrame(CompanionSession::FrameType::Message, *archive);
    Bytes frames = one;
    frames.insert(frames.end(), one.begin(), one.end());
    ASSERT_EQ(::send(peer.get(), frames.data(), frames.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(frames.size()));
    const timeval limit{10, 0};
    ::setsockopt(peer.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    char byte = 0;
    EXPECT_EQ(::recv(peer.get(), &byte, 1, 0), 0);  // closed by the released session
    EXPECT_EQ(releaser->calls.load(), 1);
    EXPECT_TRUE(testing::runMainLoopUntil(
        [&] {
            // No session is left: every thread, an earlier test's released one too, ends.
            SessionThreads::shared().joinEnded();
            return SessionThreads::shared().count() == 0;
        },
        10));
}

// A live message is written by its sender's thread; what the socket does not take at once
// is finished by the session's thread, and messages sent meanwhile queue behind it.
TEST_F(CompanionSessionTest, AMessageLargerThanTheSocketTakesAtOnceArrivesWholeAndInOrder) {
    class Sizes : public CompanionSessionDelegate {
      public:
        void sessionDidReceiveMessage(CompanionSession&, const Dictionary& message) override {
            const Value data = message.get("data");
            {
                std::lock_guard lock(mutex);
                sizes.push_back(data.isData() ? data.asData()->size() : 0);
            }
            changed.notify_all();
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::size_t> sizes;
    };
    auto sizes = std::make_shared<Sizes>();
    auto a = makeSession("a");
    a->setDelegate(sizes);
    a->activate();
    auto b = makeSession("b");
    b->activate();
    ASSERT_TRUE(b->waitUntilReachable(10));
    constexpr std::size_t kLarge = 4 * 1024 * 1024;
    EXPECT_TRUE(b->sendMessage(Dictionary{{"data", Bytes(kLarge, 7)}}));
    EXPECT_TRUE(b->sendMessage(Dictionary{{"data", Bytes(3, 1)}}));
    EXPECT_TRUE(b->waitUntilFlushed(20));
    std::unique_lock lock(sizes->mutex);
    ASSERT_TRUE(sizes->changed.wait_for(lock, 20s, [&] { return sizes->sizes.size() >= 2; }));
    EXPECT_EQ(sizes->sizes, (std::vector<std::size_t>{kLarge, 3}));
}

}  // namespace
}  // namespace velmora

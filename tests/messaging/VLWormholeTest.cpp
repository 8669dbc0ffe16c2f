#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/messaging/VLWormhole.h"
#include "Velmora/messaging/VLWormholeCoordinatedFileTransiting.h"
#include "Velmora/messaging/VLWormholeFileTransiting.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/storage/SystemNotificationCenter.h"

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

constexpr const char* kGroup = "group.com.example.tasks";

class VLWormholeTest : public ::testing::Test {
  protected:
    std::filesystem::path container() const { return home_.path() / "data" / "AppGroups" / kGroup; }
    // Counts the system-wide posts of a name, as another process would see them.
    struct PostCounter {
        explicit PostCounter(const std::string& name)
            : observation(SystemNotificationCenter::shared().addObserver(
                  name, [this](const std::string&) { ++posts; })) {}
        std::atomic<int> posts{0};
        SystemNotificationCenter::Observation observation;
    };

    testing::ScopedVelmoraHome home_;
};

TEST_F(VLWormholeTest, MessagesRoundTripThroughBothFileTransits) {
    const Value message(Dictionary{{"title", "Milk"}, {"count", 3}, {"tags", Array{"a", "b"}}});
    for (auto type : {VLWormholeTransitingType::File, VLWormholeTransitingType::CoordinatedFile}) {
        SCOPED_TRACE(static_cast<int>(type));
        VLWormhole wormhole(kGroup, "wormhole", type);
        wormhole.passMessageObject(message, "state");
        EXPECT_TRUE(std::filesystem::exists(container() / "wormhole" / "state.archive"));
        EXPECT_TRUE(wormhole.messageWithIdentifier("state").isEqual(message));
        wormhole.clearMessageContentsForIdentifier("state");
        EXPECT_TRUE(wormhole.messageWithIdentifier("state").isNil());
    }
    EXPECT_TRUE(dynamic_cast<VLWormholeCoordinatedFileTransiting*>(
        VLWormhole(kGroup, "", VLWormholeTransitingType::CoordinatedFile)
            .wormholeMessenger()
            .get()));
    EXPECT_FALSE(dynamic_cast<VLWormholeCoordinatedFileTransiting*>(
        VLWormhole(kGroup, "", static_cast<VLWormholeTransitingType>(9))
            .wormholeMessenger()
            .get()));
}

TEST_F(VLWormholeTest, FilePathsAndTheWriteAnswers) {
    VLWormholeFileTransiting files(kGroup, "dir");
    EXPECT_TRUE(files.hasGroupCapabilities());
    EXPECT_FALSE(files.filePathForIdentifier(""));
    EXPECT_EQ(files.filePathForIdentifier("a"), container() / "dir" / "a.archive");
    // An identifier can never name a file outside the directory.
    EXPECT_EQ(files.filePathForIdentifier("../x"), container() / "dir" / "%2E.%2Fx.archive");
    EXPECT_FALSE(files.writeMessageObject(Value("x"), ""));
    EXPECT_TRUE(files.writeMessageObject(Value(), "a"));  // nil: told, nothing written
    EXPECT_FALSE(std::filesystem::exists(container() / "dir" / "a.archive"));
    EXPECT_FALSE(VLWormholeFileTransiting("", "").writeMessageObject(Value("x"), "a"));
    // A file that is not an archive reads as nothing.
    std::filesystem::create_directories(container() / "dir");
    std::ofstream(container() / "dir" / "junk.archive") << "not a plist";
    EXPECT_TRUE(files.messageObjectForIdentifier("junk").isNil());
}

TEST_F(VLWormholeTest, PassingNilPostsButLeavesThePreviousMessage) {
    VLWormhole wormhole(kGroup, "");
    wormhole.passMessageObject(Value("first"), "note");
    PostCounter counter("note");
    std::vector<std::string> heard;
    wormhole.listenForMessageWithIdentifier(
        "note", [&](const Value& m) { heard.push_back(m.stringValue()); });
    wormhole.passMessageObject(Value(), "note");
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return !heard.empty(); }, 5));
    EXPECT_EQ(heard, std::vector<std::string>{"first"});
    EXPECT_EQ(counter.posts.load(), 1);
}

TEST_F(VLWormholeTest, AnEmptyIdentifierWritesAndPostsNothing) {
    VLWormhole wormhole(kGroup, "");
    PostCounter counter("");  // cannot observe the empty name either
    EXPECT_FALSE(counter.observation);
    wormhole.passMessageObject(Value("x"), "");
    wormhole.listenForMessageWithIdentifier("", [](const Value&) { FAIL(); });
    EXPECT_TRUE(std::filesystem::is_empty(container()));
}

TEST_F(VLWormholeTest, ClearAllDeletesOnlyInsideTheOptionalDirectory) {
    VLWormhole bare(kGroup, "");
    VLWormhole inside(kGroup, "messages");
    bare.passMessageObject(Value(1), "a");
    inside.passMessageObject(Value(2), "b");
    inside.passMessageObject(Value(3), "c");
    bare.clearAllMessageContents();
    EXPECT_EQ(bare.messageWithIdentifier("a").integerValue(), 1);
    EXPECT_EQ(inside.messageWithIdentifier("b").integerValue(), 2);
    inside.clearAllMessageContents();
    EXPECT_TRUE(inside.messageWithIdentifier("b").isNil());
    EXPECT_TRUE(inside.messageWithIdentifier("c").isNil());
    EXPECT_EQ(bare.messageWithIdentifier("a").integerValue(), 1);
}

TEST_F(VLWormholeTest, ASecondListenerReplacesTheFirstWithOneRegistration) {
    VLWormhole receiver(kGroup, "");
    VLWormhole sender(kGroup, "");
    std::vector<std::string> calls;
    bool onMain = true;
    receiver.listenForMessageWithIdentifier("n", [&](const Value&) { calls.push_back("first"); });
    receiver.listenForMessageWithIdentifier("n", [&](const Value& m) {
        onMain = onMain && RunLoop::isMainThread();
        calls.push_back("second " + m.stringValue());
    });
    EXPECT_EQ(SystemNotificationCenter::shared().observerCount("n"), 1u);
    sender.passMessageObject(Value("hi"), "n");
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return !calls.empty(); }, 5));
    EXPECT_EQ(calls, std::vector<std::string>{"second hi"});
    EXPECT_TRUE(onMain);
    receiver.stopListeningForMessageWithIdentifier("n");
    EXPECT_EQ(SystemNotificationCenter::shared().observerCount("n"), 0u);
}

TEST_F(VLWormholeTest, ANewListenerDoesNotReceiveAnOldMessage) {
    VLWormhole wormhole(kGroup, "");
    wormhole.passMessageObject(Value("old"), "m");
    int calls = 0;
    wormhole.listenForMessageWithIdentifier("m", [&](const Value&) { ++calls; });
    testing::runMainLoopUntil([] { return false; }, 0.2);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(wormhole.messageWithIdentifier("m").stringValue(), "old");
}

TEST_F(VLWormholeTest, AThrowingListenerIsLoggedAndLaterMessagesArrive) {
    auto logger = std::make_shared<MemoryLogger>();
    Log::addLogger(logger, LogLevel::Error);
    VLWormhole wormhole(kGroup, "");
    std::vector<std::int64_t> heard;
    wormhole.listenForMessageWithIdentifier("t", [&](const Value& m) {
        heard.push_back(m.integerValue());
        if (heard.size() == 1) {
            throw std::runtime_error("listener broke");
        }
    });
    wormhole.passMessageObject(Value(1), "t");
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return heard.size() == 1; }, 5));
    wormhole.passMessageObject(Value(2), "t");
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return heard.size() == 2; }, 5));
    Log::removeLogger(logger);
    ASSERT_FALSE(logger->lines().empty());
    EXPECT_NE(logger->lines()[0].find("listener broke"), std::string::npos);
}

TEST_F(VLWormholeTest, TheLocalNotificationNamesTheIdentifierAndTheWormhole) {
    VLWormhole wormhole(kGroup, "");
    std::mutex mutex;  // the notification arrives on the system center's thread
    std::vector<std::string> identifiers;
    auto token = NotificationCenter::defaultCenter().addObserver(
        VLWormhole::kNotificationName, &wormhole, [&](const Notification& notification) {
            std::lock_guard lock(mutex);
            identifiers.push_back(
                notification.userInfo.asDictionary()->get("identifier").stringValue());
        });
    wormhole.listenForMessageWithIdentifier("ping", [](const Value&) {});
    wormhole.passMessageObject(Value(1), "ping");
    EXPECT_TRUE(testing::runMainLoopUntil(
        [&] {
            std::lock_guard lock(mutex);
            return !identifiers.empty();
        },
        5));
    std::lock_guard lock(mutex);
    EXPECT_EQ(identifiers, std::vector<std::string>{"ping"});
}

}  // namespace
}  // namespace velmora

#include <atomic>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/host/UserDefaults.h"
#include "Velmora/platform/host/VLCloudUserDefaults.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/PropertyList.h"
#include "Velmora/platform/storage/UserDirectories.h"

#include "tests/support/ScopedVelmoraHome.h"

namespace velmora {
namespace {

std::filesystem::path fileOf(std::string_view suite) {
    return UserDirectories::configDirectory() / (std::string(suite) + ".plist");
}

TEST(UserDefaultsTest, TypedGettersAndSetters) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("test.typed");
    EXPECT_TRUE(defaults.objectForKey("WeekStartsIndex").isNil());
    EXPECT_EQ(defaults.integerForKey("WeekStartsIndex"), 0);
    defaults.setInteger(9, "WeekStartsIndex");
    defaults.setBool(true, "PreventSleep");
    defaults.setDouble(1.5, "Scale");
    EXPECT_TRUE(defaults.setObject("yes", "Text"));
    EXPECT_EQ(defaults.integerForKey("WeekStartsIndex"), 9);
    EXPECT_TRUE(defaults.boolForKey("PreventSleep"));
    EXPECT_TRUE(defaults.boolForKey("Text"));  // "yes" reads as true, as on the platform
    EXPECT_EQ(defaults.doubleForKey("Scale"), 1.5);
    EXPECT_EQ(defaults.stringForKey("Text"), "yes");
    EXPECT_FALSE(defaults.stringForKey("Scale"));
    defaults.removeObjectForKey("Text");
    EXPECT_TRUE(defaults.objectForKey("Text").isNil());
    EXPECT_EQ(defaults.dictionaryRepresentation().size(), 3u);
}

TEST(UserDefaultsTest, RefusesValuesWithoutAPropertyListFormAndCopiesContainers) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("test.values");
    EXPECT_FALSE(defaults.setObject(Value::null(), "k"));
    EXPECT_FALSE(defaults.setObject(Array{Value::decimal("1")}, "k"));
    EXPECT_TRUE(defaults.objectForKey("k").isNil());

    Value list = Array{1, 2};
    ASSERT_TRUE(defaults.setObject(list, "list"));
    list.asArray()->push_back(3);  // the caller's later change does not reach the store
    EXPECT_EQ(defaults.objectForKey("list").count(), 2u);
    defaults.objectForKey("list").asArray()->push_back(4);  // nor does a reader's
    EXPECT_EQ(defaults.objectForKey("list").count(), 2u);
}

TEST(UserDefaultsTest, HandlesOfOneSuiteShareOneStore) {
    testing::ScopedVelmoraHome home;
    UserDefaults a("group.com.example");
    UserDefaults b("group.com.example");
    UserDefaults other("group.com.other");
    a.setInteger(5, "n");
    EXPECT_EQ(b.integerForKey("n"), 5);
    EXPECT_TRUE(other.objectForKey("n").isNil());
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == other);
}

// Fault: the suite registry kept a slot for every suite ever made, live or not.
TEST(UserDefaultsTest, TheRegistryForgetsSuitesNoLongerInUse) {
    testing::ScopedVelmoraHome home;
    UserDefaults kept("test.kept");
    const std::size_t before = UserDefaults::registeredSuiteCountForTesting();
    for (int i = 0; i < 50; ++i) {
        UserDefaults passing("test.passing." + std::to_string(i));
    }
    EXPECT_LE(UserDefaults::registeredSuiteCountForTesting(), before + 1);
    EXPECT_EQ(UserDefaults("test.kept"), kept);
}

TEST(UserDefaultsTest, SynchronizeWritesABinaryPropertyListThatANewStoreReads) {
    testing::ScopedVelmoraHome home;
    {
        UserDefaults defaults("test.persist");
        defaults.setObject(Dictionary{{"when", Date(1704164645)}, {"tags", Array{"a", "b"}}},
                           "state");
        ASSERT_TRUE(defaults.synchronize());
    }
    const auto bytes = AtomicFile::read(fileOf("test.persist")).value();
    ASSERT_GE(bytes.size(), 8u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 8), "bplist00");
    UserDefaults again("test.persist");  // the last handle is gone: read from disk
    EXPECT_TRUE(again.objectForKey("state").isEqual(
        Dictionary{{"when", Date(1704164645)}, {"tags", Array{"a", "b"}}}));
}

thread_local bool tIsTestThread = false;
std::atomic<bool> gFsyncedOnTestThread{false};

// Fault: dropping the last handle wrote and fsynced the file on the dropping thread
// (often the main one). The background write must still land, and a handle made
// meanwhile must see the unsaved value rather than the file's older contents.
TEST(UserDefaultsTest, TheLastHandleLeavesPendingChangesToTheBackgroundWrite) {
    testing::ScopedVelmoraHome home;
    tIsTestThread = true;
    gFsyncedOnTestThread = false;
    AtomicFile::setFaultInjectorForTesting([](const char* step) {
        if (tIsTestThread && std::string_view(step) == "fsync") {
            gFsyncedOnTestThread = true;
        }
        return true;
    });
    UserDefaults("test.unsynced").setInteger(7, "n");  // no synchronize
    EXPECT_EQ(UserDefaults("test.unsynced").integerForKey("n"), 7);
    std::optional<Value> onDisk;
    for (int tries = 0; tries < 500 && !onDisk; ++tries) {  // at most 5 s
        if (const auto bytes = AtomicFile::read(fileOf("test.unsynced"))) {
            onDisk = PropertyList::read(*bytes);
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    AtomicFile::setFaultInjectorForTesting(nullptr);
    ASSERT_TRUE(onDisk && onDisk->isDictionary());
    EXPECT_TRUE((*onDisk->asDictionary()).get(Value("n")).isEqual(7));
    EXPECT_FALSE(gFsyncedOnTestThread);
}

TEST(UserDefaultsTest, ACorruptFileIsLoggedAndReadAsEmpty) {
    testing::ScopedVelmoraHome home;
    auto logger = std::make_shared<MemoryLogger>();
    Log::addLogger(logger, LogLevel::Error);
    UserDirectories::ensureDirectory(UserDirectories::configDirectory());
    const Bytes notADictionary = PropertyList::binaryData(Array{1}).value();
    int round = 0;
    for (const std::string& contents :
         {std::string("bplist00garbage"), std::string("not a plist"),
          std::string(notADictionary.begin(), notADictionary.end())}) {
        // A suite of its own each round: a written store lingers until its background
        // write has run, and would not read the file again.
        const std::string suite = "test.corrupt" + std::to_string(round++);
        std::ofstream(fileOf(suite), std::ios::binary) << contents;
        UserDefaults defaults(suite);
        EXPECT_EQ(defaults.dictionaryRepresentation().size(), 0u);
        defaults.setInteger(1, "fresh");
        EXPECT_TRUE(defaults.synchronize());
    }
    Log::removeLogger(logger);
    const auto lines = logger->lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find("UserDefaults test.corrupt"), std::string::npos) << lines[0];
}

TEST(UserDefaultsTest, SuiteNamesCannotLeaveTheConfigDirectory) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("../escape");
    defaults.setInteger(1, "n");
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_TRUE(
        std::filesystem::exists(UserDirectories::configDirectory() / "%2E.%2Fescape.plist"));
    EXPECT_FALSE(std::filesystem::exists(home.path() / "escape.plist"));
}

TEST(UserDefaultsTest, ObserversSeeChangesWithTheirContextAndOptions) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("test.observe");
    defaults.setInteger(1, "WeekStartsIndex");
    int context = 0;
    std::vector<KeyValueChange> changes;
    {
        auto token = defaults.observe(
            "WeekStartsIndex",
            KeyValueObservingOptionNew | KeyValueObservingOptionOld |
                KeyValueObservingOptionInitial,
            [&](const KeyValueChange& change) { changes.push_back(change); }, &context);
        defaults.setInteger(2, "WeekStartsIndex");
        defaults.setInteger(3, "Other");  // another key: not seen
        UserDefaults("test.observe").removeObjectForKey("WeekStartsIndex");  // another handle
    }
    defaults.setInteger(4, "WeekStartsIndex");  // token gone: not seen
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_TRUE(changes[0].isInitial);
    EXPECT_EQ(changes[0].newValue.integerValue(), 1);
    EXPECT_EQ(changes[1].newValue.integerValue(), 2);
    EXPECT_EQ(changes[1].oldValue.integerValue(), 1);
    EXPECT_EQ(changes[1].context, &context);
    EXPECT_TRUE(changes[2].newValue.isNil());
    EXPECT_EQ(changes[2].oldValue.integerValue(), 2);
}

TEST(UserDefaultsTest, ObserversRegisteredByObserverAndKeyAreRemovedByThem) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("test.kvo");
    int observer = 0;
    int contextA = 0;
    int contextB = 0;
    int calls = 0;
    Value seen;
    auto count = [&](const KeyValueChange& change) {
        ++calls;
        seen = change.newValue;
        // Observers are called outside the store's lock: reading back is fine.
        if (!change.newValue.isNil()) {
            EXPECT_TRUE(defaults.objectForKey("k").isEqual(change.newValue));
        }
    };
    defaults.addObserver(&observer, "k", KeyValueObservingOptionNew, &contextA, count);
    defaults.addObserver(&observer, "k", KeyValueObservingOptionNew, &contextA, count);  // replaces
    defaults.addObserver(&observer, "k", 0, &contextB, count);
    defaults.setObject("v", "k");
    EXPECT_EQ(calls, 2);
    defaults.removeObserver(&observer, "k", &contextB);
    defaults.setObject("w", "k");
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(seen.stringValue(), "w");  // the remaining registration asked for new values
    defaults.removeObserver(&observer, "k");
    defaults.setObject("x", "k");
    EXPECT_EQ(calls, 3);
}

TEST(UserDefaultsTest, ConcurrentWritersAndReaders) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("test.threads");
    std::atomic<int> notified{0};
    auto token = defaults.observe("k0", KeyValueObservingOptionNew,
                                  [&](const KeyValueChange&) { ++notified; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &defaults] {
            UserDefaults mine("test.threads");
            for (int i = 0; i < 200; ++i) {
                mine.setInteger(i, "k" + std::to_string(t));
                (void)defaults.integerForKey("k" + std::to_string((t + 1) % 4));
                if (i % 50 == 0) {
                    mine.synchronize();
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(notified.load(), 200);
    ASSERT_TRUE(defaults.synchronize());
    for (int t = 0; t < 4; ++t) {
        EXPECT_EQ(defaults.integerForKey("k" + std::to_string(t)), 199);
    }
}

TEST(UserDefaultsTest, AChangeByAnotherProcessIsReadOnSynchronize) {
    testing::ScopedVelmoraHome home;
    UserDefaults defaults("test.shared");
    defaults.setInteger(1, "n");
    ASSERT_TRUE(defaults.synchronize());
    std::vector<std::int64_t> seen;
    auto token = defaults.observe("n", KeyValueObservingOptionNew, [&](const KeyValueChange& c) {
        seen.push_back(c.newValue.integerValue());
    });
    // Another process writes the file (a different size, so the change is seen even
    // within the file system's time-stamp granularity).
    const auto bytes = PropertyList::binaryData(Dictionary{{"n", 20000}, {"m", "new"}}).value();
    ASSERT_TRUE(AtomicFile::write(fileOf("test.shared"), bytes));
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(defaults.integerForKey("n"), 20000);
    EXPECT_EQ(defaults.stringForKey("m"), "new");
    EXPECT_EQ(seen, std::vector<std::int64_t>{20000});
}

TEST(UserDefaultsTest, StandardDefaultsAreTheBundleIdentifiersSuite) {
    testing::ScopedVelmoraHome home;
    UserDefaults::standard().setBool(true, "CanSynciCloudPreferences");
    ASSERT_TRUE(UserDefaults::standard().synchronize());
    EXPECT_EQ(UserDefaults::standard().suiteName(), Application::shared()->bundleIdentifier());
    EXPECT_TRUE(std::filesystem::exists(
        fileOf(UserDirectories::fileNameComponent(Application::shared()->bundleIdentifier()))));
}

TEST(UserDefaultsTest, CloudDefaultsAreTheirOwnSuite) {
    testing::ScopedVelmoraHome home;
    EXPECT_TRUE(VLCloudUserDefaults::setObject("dark", "Theme"));
    EXPECT_TRUE(VLCloudUserDefaults::synchronize());
    EXPECT_EQ(VLCloudUserDefaults::objectForKey("Theme").stringValue(), "dark");
    EXPECT_TRUE(UserDefaults::standard().objectForKey("Theme").isNil());
    EXPECT_TRUE(std::filesystem::exists(fileOf("VLCloudUserDefaults")));
}

}  // namespace
}  // namespace velmora

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/platform/foundation/InternalInconsistencyException.h"
#include "Velmora/platform/foundation/SystemNotifications.h"
#include "Velmora/platform/host/HeadlessApplication.h"
#include "Velmora/platform/host/VLCloudUserDefaults.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/services/VelmoraDAO.h"

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

// 2024-03-09 15:00:00 in New York (EST, UTC-5); the clocks spring forward the next night.
constexpr Date kSaturdayAfternoon(1710014400);

// Each test gets a scratch $VELMORA_HOME, a fresh headless application, pinned zone,
// locale and clock, and its own VelmoraDAO (the shared instance outlives tests).
class VelmoraDAOTest : public ::testing::Test {
  protected:
    void SetUp() override {
        application_ = std::make_shared<HeadlessApplication>();
        application_->setBundleIdentifier("org.velmora.tests");
        Application::install(application_);
        UserDefaults::resetStandardUserDefaults();
        logger_ = std::make_shared<MemoryLogger>();
        Log::addLogger(logger_);
    }

    void TearDown() override {
        dao_.reset();
        Log::removeLogger(logger_);
        Application::install(nullptr);
        UserDefaults::resetStandardUserDefaults();
    }

    VelmoraDAO& dao() {
        if (!dao_) {
            dao_ = std::make_unique<VelmoraDAO>();
            dao_->initSingletons();
        }
        return *dao_;
    }

    bool logged(std::string_view text) const {
        for (const std::string& line : logger_->lines()) {
            if (line.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    testing::ScopedSystemTimeZone zone_{"America/New_York"};
    testing::ScopedCurrentLocale locale_{"en_US"};
    testing::ScopedPinnedClock clock_{kSaturdayAfternoon};
    testing::ScopedVelmoraHome home_;
    std::shared_ptr<HeadlessApplication> application_;
    std::shared_ptr<MemoryLogger> logger_;
    std::unique_ptr<VelmoraDAO> dao_;
};

// Counts "VL_MESSAGE_DAY_CHANGED" posts for the scope's lifetime.
class DayChangeCounter {
  public:
    DayChangeCounter()
        : token_(NotificationCenter::defaultCenter().addObserver(
              kDayChangedNotification, [this](const Notification&) { ++count_; })) {}
    int count() const { return count_.load(); }

  private:
    std::atomic<int> count_{0};
    NotificationCenter::Observation token_;
};

TEST_F(VelmoraDAOTest, WeekStartIsClampedFromAboveOnly) {
    const struct {
        std::int64_t stored;
        std::int64_t weekStartsIndex;
        std::int64_t startOfWeek;
    } cases[] = {
        {9, 7, 7},    {8, 7, 7}, {7, 7, 7}, {2, 2, 2}, {0, 0, 1 /* en_US starts on Sunday */},
        {-1, -1, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored);
        UserDefaults::standard().setInteger(c.stored, "WeekStartsIndex");
        dao().createCalendarAndDateFormatters();
        EXPECT_EQ(dao().WeekStartsIndex(), c.weekStartsIndex);
        EXPECT_EQ(dao().getStartOfWeek(), c.startOfWeek);
    }
    UserDefaults::standard().setInteger(2, "WeekStartsIndex");
    dao().createCalendarAndDateFormatters();
    EXPECT_EQ(dao().getThreadSafeNSCalendar(false)->firstWeekday(), 2);
    EXPECT_EQ(dao().getThreadSafeNSCalendar(true)->firstWeekday(), 2);

    // Set in code, the week start survives the reload every re-arming of the timer does.
    dao().setWeekStartsIndex(3);
    dao().startChangeOfDayTimer();
    EXPECT_EQ(dao().WeekStartsIndex(), 3);
    EXPECT_EQ(dao().getThreadSafeNSCalendar(false)->firstWeekday(), 3);
}

TEST_F(VelmoraDAOTest, WeekdayNames) {
    EXPECT_EQ(VelmoraDAO::getWeekdayNameFromStartOfWeek(1), "Sunday");
    EXPECT_EQ(VelmoraDAO::getWeekdayNameFromStartOfWeek(7), "Saturday");
    EXPECT_EQ(VelmoraDAO::getWeekdayNameFromStartOfWeek(0), "");
    EXPECT_EQ(VelmoraDAO::getWeekdayNameFromStartOfWeek(8), "");
}

TEST_F(VelmoraDAOTest, TodayIsCachedUntilItEnds) {
    EXPECT_EQ(dao().getTodayAtStartOfDay(), Date(1709960400));    // 2024-03-09 00:00 EST
    EXPECT_EQ(dao().getTodayBeforeEndOfDay(), Date(1710046799));  // 23:59:59 EST
    EXPECT_EQ(dao().getCurrentCachedDay(), "9");
    EXPECT_EQ(dao().getTomorrowCachedDay(), "10");
    const DateComponents today = dao().getTodayDateComponents();
    EXPECT_EQ(today.year, 2024);
    EXPECT_EQ(today.month, 3);
    EXPECT_EQ(today.day, 9);
    EXPECT_EQ(today.weekday, 7);

    // One second into Sunday the start of today moves on by itself; the day-of-month
    // texts wait for the day-change machinery to clear them.
    Clock::advanceForTesting(1710046800 - kSaturdayAfternoon.timeIntervalSince1970());
    EXPECT_EQ(dao().getTodayAtStartOfDay(), Date(1710046800));
    EXPECT_EQ(dao().getTodayBeforeEndOfDay(), Date(1710129599));  // a 23-hour day
    EXPECT_EQ(dao().getCurrentCachedDay(), "9");
}

TEST_F(VelmoraDAOTest, ChangeOfDayTimerFiresTwoSecondsAfterTheEndOfDay) {
    DayChangeCounter changes;
    dao().startChangeOfDayTimer();
    EXPECT_EQ(dao().changeOfDayTimerFireDate(), Date(1710046799 + 2.0));
    EXPECT_EQ(dao().getCurrentCachedDay(), "9");

    // 23:59:59 plus 1.5 s: not yet.
    Clock::advanceForTesting(1710046799 + 1.5 - kSaturdayAfternoon.timeIntervalSince1970());
    RunLoop::main().runOnePass();
    EXPECT_EQ(changes.count(), 0);
    // Plus 2 s (and the 1 s tolerance): fired, caches cleared, timer re-armed for the next
    // night, which is 23 hours long.
    Clock::advanceForTesting(1.5);
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return changes.count() == 1; }));
    EXPECT_EQ(dao().getCurrentCachedDay(), "10");
    EXPECT_EQ(dao().changeOfDayTimerFireDate(), Date(1710129599 + 2.0));
    EXPECT_EQ(dao().dateChangeCounter(), 1);  // a day change keeps per-thread calendars

    // In the background the timer is dropped; back in the foreground the missed day is
    // found and announced.
    application_->setApplicationState(ApplicationState::Background);
    EXPECT_FALSE(dao().changeOfDayTimerFireDate());
    Clock::advanceForTesting(2 * 86400);
    RunLoop::main().runOnePass();
    EXPECT_EQ(changes.count(), 1);
    application_->setApplicationState(ApplicationState::Active);
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return changes.count() >= 2; }));
    EXPECT_EQ(dao().getCurrentCachedDay(), "12");
    EXPECT_TRUE(dao().changeOfDayTimerFireDate().has_value());
}

TEST_F(VelmoraDAOTest, ZoneChangesBumpTheGenerationAndAreDebounced) {
    DayChangeCounter changes;
    dao();
    const std::int64_t before = dao().dateChangeCounter();
    const std::shared_ptr<Calendar> oldCalendar = dao().getThreadSafeNSCalendar(false);
    EXPECT_EQ(oldCalendar->timeZone().name(), "America/New_York");

    // Two zone changes within 2 s: both bump the generation, only the first is announced
    // (the debounce reference is set at start-up, so move past it first).
    Clock::advanceForTesting(5);
    TimeZone::setSystemTimeZone(TimeZone::named("Europe/Berlin").value());
    Clock::advanceForTesting(1);
    TimeZone::setSystemTimeZone(TimeZone::named("Asia/Tokyo").value());
    EXPECT_EQ(dao().dateChangeCounter(), before + 2);
    EXPECT_TRUE(testing::runMainLoopUntil([&] { return changes.count() == 1; }));
    for (int pass = 0; pass < 5; ++pass) {
        RunLoop::main().runOnePass();
    }
    EXPECT_EQ(changes.count(), 1);

    // Calendars are rebuilt in the new zone on next use, on every thread.
    EXPECT_EQ(dao().getThreadSafeNSCalendar(false)->timeZone().name(), "Asia/Tokyo");
    EXPECT_NE(dao().getThreadSafeNSCalendar(false), oldCalendar);
    std::string seenOnOtherThread;
    std::thread([&] {
        seenOnOtherThread = dao().getThreadSafeNSCalendar(false)->timeZone().name();
    }).join();
    EXPECT_EQ(seenOnOtherThread, "Asia/Tokyo");
    EXPECT_EQ(dao().getThreadSafeNSCalendar(true)->timeZone().name(), "UTC");
}

TEST_F(VelmoraDAOTest, PerThreadCachesAreSeparateAndShareOneStamp) {
    const std::shared_ptr<Calendar> mine = dao().getThreadSafeNSCalendar(false);
    EXPECT_EQ(dao().getThreadSafeNSCalendar(false), mine);  // cached
    EXPECT_NE(dao().getThreadSafeNSCalendarWithUTC(false, true), mine);
    EXPECT_EQ(dao().getThreadSafeNSCalendarWithUTC(false, true)->locale().identifier(), "en_GB");
    const std::shared_ptr<Calendar> utc = dao().getThreadSafeNSCalendar(true);

    std::shared_ptr<Calendar> theirs;
    std::thread([&] { theirs = dao().getThreadSafeNSCalendar(false); }).join();
    EXPECT_NE(theirs, mine);

    // After a bump, the first calendar rebuilt re-stamps the thread's one counter, and the
    // UTC calendar cached before then counts as current: the kept original behaviour.
    dao().checkIfDateChangedAndInform(false);  // same day: nothing happens
    const std::int64_t generation = dao().dateChangeCounter();
    Clock::advanceForTesting(86400);
    dao().checkIfDateChangedAndInform(false);
    EXPECT_EQ(dao().dateChangeCounter(), generation + 1);
    EXPECT_NE(dao().getThreadSafeNSCalendar(false), mine);
    EXPECT_EQ(dao().getThreadSafeNSCalendar(true), utc);

    const std::shared_ptr<DateFormatter> uk = dao().getThreadSafeNSDateFormatter(true);
    EXPECT_EQ(uk->locale().identifier(), "en_UK");
    EXPECT_EQ(dao().getThreadSafeNSDateFormatter(false)->locale().identifier(), "en_US");
    EXPECT_EQ(dao().getThreadSafeNSDateFormatter(true), uk);
    EXPECT_NE(dao().newLocalDateFormatter().get(), dao().getThreadSafeNSDateFormatter(false).get());
}

TEST_F(VelmoraDAOTest, ANewDayFoundWithoutInformingIsNotPosted) {
    DayChangeCounter changes;
    dao().getCurrentCachedDay();
    Clock::advanceForTesting(86400);
    dao().checkIfDateChangedAndInform(false);
    for (int pass = 0; pass < 3; ++pass) {
        RunLoop::main().runOnePass();
    }
    EXPECT_EQ(changes.count(), 0);
    EXPECT_EQ(dao().getCurrentCachedDay(), "10");
}

TEST_F(VelmoraDAOTest, InstanceBackgroundTaskIsSharedAndCounted) {
    dao().startAsynchronousBackgroundTaskWithName("upload");
    dao().startAsynchronousBackgroundTaskWithName("sync");
    const UIBackgroundTaskIdentifier shared = dao().bgTaskIdentifier();
    EXPECT_NE(shared, UIBackgroundTaskInvalid);
    EXPECT_EQ(application_->activeBackgroundTasks().size(), 1u);
    EXPECT_EQ(application_->activeBackgroundTasks().at(shared), "Global BG Task");
    EXPECT_EQ(dao().bgTaskRefCount(), 2);
    EXPECT_EQ(dao().bgTaskNames(), (std::vector<std::string>{"upload", "sync"}));

    // Ending a name never started still counts down.
    dao().endAsynchronousBackgroundTask("never-started");
    EXPECT_EQ(dao().bgTaskRefCount(), 1);
    EXPECT_EQ(dao().bgTaskIdentifier(), shared);
    dao().endAsynchronousBackgroundTask("upload");
    EXPECT_EQ(dao().bgTaskRefCount(), 0);
    EXPECT_EQ(dao().bgTaskIdentifier(), UIBackgroundTaskInvalid);
    EXPECT_TRUE(application_->activeBackgroundTasks().empty());

    // Expiry ends the task by force; the count stays as decremented.
    dao().startBackgroundTaskIfNeededWithName("a");
    dao().startBackgroundTaskIfNeededWithName("b");
    application_->expireBackgroundTasks();
    EXPECT_EQ(dao().bgTaskIdentifier(), UIBackgroundTaskInvalid);
    EXPECT_EQ(dao().bgTaskRefCount(), 1);
    EXPECT_TRUE(logged("[BACKGROUND TASK] Global BG Task expired after"));
}

TEST_F(VelmoraDAOTest, PerformBackgroundTaskRunsTheBlockInsideTheTask) {
    std::atomic<bool> ran{false};
    std::atomic<bool> taskWasActive{false};
    dao().performBackgroundTaskWithName("compact", [&] {
        taskWasActive = dao().bgTaskIdentifier() != UIBackgroundTaskInvalid;
        ran = true;
    });
    EXPECT_TRUE(testing::runMainLoopUntil(
        [&] { return ran.load() && dao().bgTaskIdentifier() == UIBackgroundTaskInvalid; }));
    EXPECT_TRUE(taskWasActive);
    EXPECT_EQ(dao().bgTaskRefCount(), 0);
}

// Fault: destroying the object while its background work ran deadlocked: the operation
// ended with a sync onto the main queue, which nobody could run while the destructor
// waited for the operation.
TEST_F(VelmoraDAOTest, DestroyingDuringABackgroundTaskReturns) {
    auto doomed = std::make_unique<VelmoraDAO>();
    doomed->initSingletons();
    std::promise<void> started;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    doomed->performBackgroundTaskWithName("slow", [&started, released] {
        started.set_value();
        released.wait();
    });
    ASSERT_EQ(started.get_future().wait_for(std::chrono::seconds(5)), std::future_status::ready);
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        release.set_value();
    });
    // The main loop does not run meanwhile, as when a host destroys it on the main thread.
    testing::runBoundedInTime([&] { doomed.reset(); }, 10.0);
    releaser.join();
    // The destructor ended the task; the end queued for the main loop finds the object gone.
    EXPECT_TRUE(application_->activeBackgroundTasks().empty());
    RunLoop::main().runOnePass();
    EXPECT_TRUE(application_->activeBackgroundTasks().empty());
}

TEST_F(VelmoraDAOTest, ClassLevelBackgroundTasks) {
    VelmoraDAO& shared = VelmoraDAO::getSharedInstance();
    const auto first = VelmoraDAO::beginBackgroundUpdateTaskWithName("first");
    const auto second = VelmoraDAO::beginBackgroundUpdateTaskWithName("second");
    EXPECT_EQ(first->taskIdentifier, second->taskIdentifier);
    EXPECT_NE(first->taskIdentifier, UIBackgroundTaskInvalid);
    EXPECT_EQ(shared.globalBackgroundTaskRefCount(), 2);
    EXPECT_EQ(first->taskUUID.size(), 32u);
    EXPECT_FALSE(first->isEqual(*second));
    EXPECT_TRUE(first->isEqual(*BackgroundTask::createTaskWithUUID(first->taskUUID)));

    VelmoraDAO::endBackgroundUpdateTask(first);
    EXPECT_TRUE(first->taskHasFinished);
    EXPECT_TRUE(logged("[BACKGROUND TASK] Number of tasks still running: 1"));
    VelmoraDAO::endBackgroundUpdateTask(second);
    EXPECT_TRUE(logged("[BACKGROUND TASK] All tasks have ended"));
    EXPECT_EQ(shared.globalBackgroundTaskIdentifier(), UIBackgroundTaskInvalid);
    EXPECT_TRUE(application_->activeBackgroundTasks().empty());

    // Expiry resets the scheme.
    const auto third = VelmoraDAO::beginBackgroundUpdateTaskWithName("third");
    application_->expireBackgroundTasks();
    EXPECT_TRUE(logged("[BACKGROUND TASK] Task 'third' has expired (UUID: " + third->taskUUID +
                       "), will try and end cleanly"));
    EXPECT_EQ(shared.globalBackgroundTaskRefCount(), 0);
    EXPECT_EQ(shared.globalBackgroundTaskIdentifier(), UIBackgroundTaskInvalid);

    const auto named = BackgroundTask::createTaskWithUUID("abc");
    EXPECT_EQ(named->description(),
              "(null) [HasFinished: 0, Ident: 0, UUDI: abc, Created: 2024-03-09 20:00:00 +0000]");
}

TEST_F(VelmoraDAOTest, PersistedDictionarySurvivesAndCorruptionIsLogged) {
    dao().updateGlobalPersistableData([](Dictionary& data) { data.set("lastSync", 42); });
    dao().GlobalPurgableStateData().asDictionary()->set("scratch", "x");
    dao().saveGlobalPersistableData();
    EXPECT_TRUE(logged("Global Persistable Data SAVED: 1"));
    const std::filesystem::path path = dao().pathToPersistableStorage().value();
    EXPECT_EQ(path.filename(), "persistable.plist");

    dao_ = std::make_unique<VelmoraDAO>();
    dao_->initSingletons();
    EXPECT_TRUE(dao().GlobalPersistableData().asDictionary()->find("lastSync")->isEqual(42));
    EXPECT_EQ(dao().GlobalPurgableStateData().asDictionary()->size(), 0u);

    // A save interrupted at any step leaves the previous file whole.
    for (const char* failing : {"open", "write", "fsync", "rename"}) {
        static std::string step;
        step = failing;
        AtomicFile::setFaultInjectorForTesting([](const char* current) { return step != current; });
        dao().GlobalPersistableData().asDictionary()->set("lastSync", 43);
        dao().saveGlobalPersistableData();
        AtomicFile::setFaultInjectorForTesting(nullptr);
        EXPECT_TRUE(logged("Global Persistable Data save FAILED: "));
        VelmoraDAO reader;
        reader.initSingletons();
        EXPECT_TRUE(reader.GlobalPersistableData().asDictionary()->find("lastSync")->isEqual(42))
            << failing;
    }

    { std::ofstream(path, std::ios::trunc) << "not an archive"; }
    dao_ = std::make_unique<VelmoraDAO>();
    dao_->initSingletons();
    EXPECT_TRUE(logged("[DECODE] Could not recover previous global state: "));
    EXPECT_EQ(dao().GlobalPersistableData().asDictionary()->size(), 0u);

    dao().deleteGlobalPersistableState();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(VelmoraDAO::unlockFileAtPath(path));  // no file: nothing to unlock
}

// Fault: saving archived the live shared dictionary on one thread while callers changed
// it on others. Changes now go through updateGlobalPersistableData and saving archives a
// snapshot; under ThreadSanitizer this test reports any access that escapes the lock.
TEST_F(VelmoraDAOTest, PersistedDictionaryChangesAndSavesMayRunConcurrently) {
    VelmoraDAO& shared = dao();
    testing::runBoundedInTime([&] {
        std::vector<std::thread> threads;
        for (const char* key : {"a", "b"}) {
            threads.emplace_back([&shared, key] {
                for (int i = 1; i <= 300; ++i) {
                    shared.updateGlobalPersistableData(
                        [&](Dictionary& data) { data.set(Value(key), Value(i)); });
                }
            });
        }
        threads.emplace_back([&shared] {
            for (int i = 0; i < 20; ++i) {
                shared.saveGlobalPersistableData();
            }
        });
        for (auto& thread : threads) {
            thread.join();
        }
    });
    shared.saveGlobalPersistableData();
    VelmoraDAO reader;
    reader.initSingletons();
    const Value saved = reader.GlobalPersistableData();
    EXPECT_TRUE(saved.asDictionary()->find("a")->isEqual(300));
    EXPECT_TRUE(saved.asDictionary()->find("b")->isEqual(300));
}

TEST_F(VelmoraDAOTest, DocumentFiles) {
    const Bytes data{1, 2, 3};
    EXPECT_FALSE(dao().doesDataExistForFileName("notes.bin"));
    EXPECT_FALSE(dao().loadDataWithFileName("notes.bin"));
    dao().saveData(data, "notes.bin");
    EXPECT_TRUE(dao().doesDataExistForFileName("notes.bin"));
    EXPECT_EQ(dao().loadDataWithFileName("notes.bin"), data);
    EXPECT_EQ(dao().getDocumentPathToFileName("notes.bin")->parent_path(),
              dao().pathToDocumentsWithFile(""));
    dao().deleteDataWithFileName("notes.bin");
    EXPECT_FALSE(dao().doesDataExistForFileName("notes.bin"));
}

TEST_F(VelmoraDAOTest, AppGroupDefaultsNeedASuiteName) {
    EXPECT_THROW(dao().sharedUserDefaultsObj(), InternalInconsistencyException);
    EXPECT_TRUE(logged("Shared Group Identifier NOT set - crashing"));
    dao().setSharedGroupSuiteName("group.org.velmora.tests");
    UserDefaults group = dao().sharedUserDefaultsObj();
    EXPECT_EQ(group.suiteName(), "group.org.velmora.tests");

    // Fault: the copy synchronised the group's file (an fsync) on the caller's thread,
    // usually the main one. The write now happens in the background.
    static std::atomic<bool> wroteOnCallerThread{false};
    static std::atomic<bool> wrote{false};
    static std::thread::id caller;
    caller = std::this_thread::get_id();
    AtomicFile::setFaultInjectorForTesting([](const char* step) {
        if (std::string_view(step) == "fsync") {
            wroteOnCallerThread = wroteOnCallerThread || std::this_thread::get_id() == caller;
            wrote = true;
        }
        return true;
    });
    UserDefaults::standard().setObject(Value("dark"), "Theme");
    dao().updatedSharedUserDefault("Theme");
    EXPECT_TRUE(group.objectForKey("Theme").isEqual("dark"));
    EXPECT_TRUE(testing::runMainLoopUntil([] { return wrote.load(); }));
    AtomicFile::setFaultInjectorForTesting(nullptr);
    EXPECT_FALSE(wroteOnCallerThread);

    // The cloud copy happens only when the user allows it.
    dao().updatediCloudSharedUserDefault("Theme");
    EXPECT_TRUE(VLCloudUserDefaults::objectForKey("Theme").isNil());
    UserDefaults::standard().setBool(true, "CanSynciCloudPreferences");
    dao().updatediCloudSharedUserDefault("Theme");
    EXPECT_TRUE(VLCloudUserDefaults::objectForKey("Theme").isEqual("dark"));
    EXPECT_TRUE(logged("Updating iCloud Value: Theme: dark"));
}

TEST_F(VelmoraDAOTest, KeyValueObservingHelpers) {
    struct Recorder : KeyValueObserver {
        std::vector<std::string> seen;
        void observeValueForKeyPath(const KeyValueChange& change) override {
            seen.push_back(change.key + "=" + change.newValue.description());
        }
    } recorder;
    UserDefaults defaults = UserDefaults::standard();
    VelmoraDAO::addKVOForUserDefaults(defaults, "PreventSleep", recorder);
    defaults.setBool(true, "PreventSleep");
    VelmoraDAO::removeKVOForUserDefaults(defaults, "PreventSleep", recorder);
    defaults.setBool(false, "PreventSleep");
    EXPECT_EQ(recorder.seen, (std::vector<std::string>{"PreventSleep=1"}));
}

// Fault: disable and enable checked and then acted on an atomic count, so an enable
// racing a disable could clear the idle flag (and zero the count) while the other
// thread's disable was still standing.
TEST_F(VelmoraDAOTest, SleepStaysDisabledWhileAnyDisableStandsUnderConcurrentCalls) {
    VelmoraDAO::resetSleep();
    UserDefaults::standard().setBool(false, "PreventSleep");
    constexpr int kThreads = 4;
    std::atomic<int> flagOffWhileDisabled{0};
    testing::runBoundedInTime([&] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 10000; ++i) {
                    VelmoraDAO::disableSleep();
                    if (!application_->isIdleTimerDisabled() ||
                        VelmoraDAO::sleepDisableCount() < 1) {
                        ++flagOffWhileDisabled;
                    }
                    VelmoraDAO::enableSleep();
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    });
    EXPECT_EQ(flagOffWhileDisabled.load(), 0);
    EXPECT_EQ(VelmoraDAO::sleepDisableCount(), 0);
    EXPECT_FALSE(application_->isIdleTimerDisabled());
}

TEST_F(VelmoraDAOTest, SleepAndNetworkCounters) {
    VelmoraDAO::resetSleep();
    VelmoraDAO::disableSleep();
    VelmoraDAO::disableSleep();
    EXPECT_TRUE(application_->isIdleTimerDisabled());
    VelmoraDAO::enableSleep();
    EXPECT_TRUE(application_->isIdleTimerDisabled());
    VelmoraDAO::enableSleep();
    EXPECT_FALSE(application_->isIdleTimerDisabled());
    EXPECT_EQ(VelmoraDAO::sleepDisableCount(), 0);
    // "PreventSleep" keeps the idle timer off when the last user lets go.
    UserDefaults::standard().setBool(true, "PreventSleep");
    VelmoraDAO::disableSleep();
    VelmoraDAO::enableSleep();
    EXPECT_TRUE(application_->isIdleTimerDisabled());
    VelmoraDAO::resetSleep();
    EXPECT_FALSE(application_->isIdleTimerDisabled());

    dao().showNetworkActivityIndicator();
    dao().showNetworkActivityIndicator();
    dao().hideNetworkActivityIndicator();
    EXPECT_TRUE(application_->isNetworkActivityIndicatorVisible());
    dao().hideNetworkActivityIndicator();
    dao().hideNetworkActivityIndicator();
    EXPECT_FALSE(application_->isNetworkActivityIndicatorVisible());
    EXPECT_EQ(dao().networkActivityCounter(), 0);
}

}  // namespace
}  // namespace velmora

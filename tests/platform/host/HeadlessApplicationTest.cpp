#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/host/HeadlessApplication.h"
#include "Velmora/platform/locale/TimeZone.h"

#include "tests/support/ScopedVelmoraHome.h"
#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

std::vector<std::string> recordNotifications(const std::function<void()>& body,
                                             const std::vector<const char*>& names) {
    std::vector<std::string> seen;
    std::vector<NotificationCenter::Observation> tokens;
    for (const char* name : names) {
        tokens.push_back(NotificationCenter::defaultCenter().addObserver(
            name, [&seen](const Notification& n) { seen.push_back(n.name); }));
    }
    body();
    return seen;
}

TEST(HeadlessApplicationTest, StateChangesPostTheirNotificationsInOrder) {
    HeadlessApplication app;
    const std::vector<const char*> names = {
        UIApplicationWillResignActiveNotification,    UISceneWillDeactivateNotification,
        UIApplicationDidEnterBackgroundNotification,  UISceneDidEnterBackgroundNotification,
        UIApplicationWillEnterForegroundNotification, UISceneWillEnterForegroundNotification,
        UIApplicationDidBecomeActiveNotification,     UISceneDidActivateNotification};
    std::vector<ApplicationState> statesSeen;
    auto token = NotificationCenter::defaultCenter().addObserver(
        UIApplicationDidEnterBackgroundNotification,
        [&](const Notification&) { statesSeen.push_back(app.applicationState()); });

    auto toBackground =
        recordNotifications([&] { app.setApplicationState(ApplicationState::Background); }, names);
    EXPECT_EQ(toBackground, (std::vector<std::string>{names[0], names[1], names[2], names[3]}));
    EXPECT_EQ(statesSeen, std::vector<ApplicationState>{ApplicationState::Background});

    auto again =
        recordNotifications([&] { app.setApplicationState(ApplicationState::Background); }, names);
    EXPECT_TRUE(again.empty());

    auto toActive =
        recordNotifications([&] { app.setApplicationState(ApplicationState::Active); }, names);
    EXPECT_EQ(toActive, (std::vector<std::string>{names[4], names[5], names[6], names[7]}));
    EXPECT_EQ(app.applicationState(), ApplicationState::Active);
}

TEST(HeadlessApplicationTest, BackgroundTasksAndFlags) {
    HeadlessApplication app;
    int expired = 0;
    const auto first = app.beginBackgroundTask("Global BG Task", [&] { ++expired; });
    UIBackgroundTaskIdentifier second = UIBackgroundTaskInvalid;
    second = app.beginBackgroundTask("sync", [&] {
        ++expired;
        app.endBackgroundTask(second);  // a handler ends its own task
    });
    EXPECT_NE(first, UIBackgroundTaskInvalid);
    EXPECT_NE(second, UIBackgroundTaskInvalid);
    EXPECT_NE(first, second);
    EXPECT_EQ(app.activeBackgroundTasks().at(first), "Global BG Task");
    app.expireBackgroundTasks();
    EXPECT_EQ(expired, 2);
    EXPECT_EQ(app.activeBackgroundTasks().size(), 1u);
    // A handler that throws is reported; the others still run.
    const auto throwing = app.beginBackgroundTask("throws", [] { throw std::runtime_error("x"); });
    EXPECT_NO_THROW(app.expireBackgroundTasks());
    EXPECT_EQ(expired, 3);
    app.endBackgroundTask(throwing);
    app.endBackgroundTask(first);
    app.endBackgroundTask(first);  // twice: nothing happens
    app.endBackgroundTask(UIBackgroundTaskInvalid);
    EXPECT_TRUE(app.activeBackgroundTasks().empty());

    EXPECT_FALSE(app.isIdleTimerDisabled());
    app.setIdleTimerDisabled(true);
    EXPECT_TRUE(app.isIdleTimerDisabled());
    app.setNetworkActivityIndicatorVisible(true);
    EXPECT_TRUE(app.isNetworkActivityIndicatorVisible());
}

TEST(HeadlessApplicationTest, IdentityAndDirectories) {
    testing::ScopedVelmoraHome home;
    HeadlessApplication app;
    EXPECT_FALSE(app.bundleIdentifier().empty());
    app.setBundleIdentifier("com.example.app.TodayWidget");
    app.setDisplayName("Example");
    EXPECT_EQ(app.bundleIdentifier(), "com.example.app.TodayWidget");
    EXPECT_EQ(app.displayName(), "Example");
    const auto documents = app.documentsDirectory();
    ASSERT_TRUE(documents);
    EXPECT_EQ(*documents, home.path() / "data" / "com.example.app.TodayWidget" / "Documents");
    EXPECT_TRUE(std::filesystem::is_directory(*documents));
    const auto group = app.containerURLForSecurityApplicationGroupIdentifier("group.com.example");
    ASSERT_TRUE(group);
    EXPECT_EQ(*group, home.path() / "data" / "AppGroups" / "group.com.example");
    EXPECT_FALSE(app.containerURLForSecurityApplicationGroupIdentifier(""));
    EXPECT_TRUE(app.setFileProtectionNone(*documents));
    EXPECT_FALSE(app.setFileProtectionNone(*documents / "missing"));
}

TEST(HeadlessApplicationTest, URLsGoThroughTheInjectedLauncher) {
    HeadlessApplication app;
    std::vector<std::string> opened;
    app.setURLLauncher({[](std::string_view scheme) { return scheme == "velmora"; },
                        [&](std::string_view url) {
                            opened.emplace_back(url);
                            return true;
                        }});
    EXPECT_TRUE(app.canOpenURL("velmora://x-callback-url/add?title=a"));
    EXPECT_FALSE(app.canOpenURL("other://x"));
    EXPECT_FALSE(app.canOpenURL("no scheme"));
    EXPECT_FALSE(app.canOpenURL(":empty"));
    EXPECT_TRUE(app.openURL("velmora://x-callback-url/add"));
    EXPECT_FALSE(app.openURL("other://x"));
    EXPECT_EQ(opened, std::vector<std::string>{"velmora://x-callback-url/add"});
}

TEST(HeadlessApplicationTest, WithoutDesktopToolsNothingCanBeOpened) {
    const std::string path = std::getenv("PATH") ? std::getenv("PATH") : "";
    ::setenv("PATH", "/nonexistent", 1);
    const auto launcher = HeadlessApplication::desktopLauncher();
    EXPECT_FALSE(launcher.canOpenScheme("https"));
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_FALSE(launcher.canOpenScheme("bad scheme"));  // never reaches a program
}

int offsetIn(const TimeZone& zone, Date date) {
    return zone.secondsFromGMT(date);
}

double localDay(const TimeZone& zone, double t) {
    return std::floor((t + zone.secondsFromGMT(Date(t))) / 86400.0);
}

TEST(HeadlessApplicationTest, NextLocalMidnightIsTheFirstInstantOfTheNextDay) {
    struct Case {
        const char* zone;
        double now;
        double expected;  // 0: only the properties are checked
    };
    const Case cases[] = {
        {"Europe/Berlin", 1704164645, 1704236400},   // 2024-01-02 → 2024-01-02T23:00Z
        {"Europe/Berlin", 1711839600 - 3600, 0},     // the night before the spring jump
        {"America/New_York", 1730606400, 0},         // 2024-11-03, the fall-back day
        {"America/Havana", 1710043200, 1710046800},  // 2024-03-10: 00:00 jumps to 01:00
        {"Pacific/Kiritimati", 1704164645, 0},       // UTC+14
        {"Etc/GMT+12", 1704164645, 0},               // UTC-12
        {"UTC", 1704239999.5, 1704240000},
    };
    for (const auto& [name, now, expected] : cases) {
        const TimeZone zone = TimeZone::named(name).value();
        const Date next = HeadlessApplication::nextLocalMidnight(
            Date(now), [&zone](Date d) { return offsetIn(zone, d); });
        const double t = next.timeIntervalSince1970();
        EXPECT_GT(t, now) << name;
        EXPECT_EQ(localDay(zone, t), localDay(zone, now) + 1) << name;
        EXPECT_EQ(localDay(zone, t - 1), localDay(zone, now)) << name;
        if (expected != 0) {
            EXPECT_EQ(t, expected) << name;
        }
    }
}

TEST(HeadlessApplicationTest, DayChangeTimerPostsAtLocalMidnightOnTheMainLoop) {
    testing::ScopedSystemTimeZone zone("Europe/Berlin");
    testing::ScopedPinnedClock clock(Date(1704236400 - 2.0));  // 23:59:58 in Berlin
    HeadlessApplication app;
    int posted = 0;
    bool onMainThread = false;
    auto token = NotificationCenter::defaultCenter().addObserver(
        UIApplicationSignificantTimeChangeNotification, [&](const Notification& n) {
            ++posted;
            onMainThread = RunLoop::isMainThread();
            EXPECT_EQ(n.sender, &app);
        });
    EXPECT_FALSE(app.nextDayChangeDate());  // not on construction
    RunLoop::main().runOnePass();
    EXPECT_EQ(posted, 0);

    app.startDayChangeMonitoring();
    EXPECT_EQ(app.nextDayChangeDate()->timeIntervalSince1970(), 1704236400);
    Clock::advanceForTesting(1.0);
    RunLoop::main().runOnePass();
    EXPECT_EQ(posted, 0);
    Clock::advanceForTesting(1.0);
    RunLoop::main().runOnePass();
    EXPECT_EQ(posted, 1);
    EXPECT_TRUE(onMainThread);
    // Re-armed for the next midnight.
    EXPECT_EQ(app.nextDayChangeDate()->timeIntervalSince1970(), 1704236400 + 86400);

    // A new system zone re-arms the timer for that zone's midnight.
    TimeZone::setSystemTimeZone(TimeZone::named("Asia/Tokyo").value());
    NotificationCenter::defaultCenter().post("NSSystemTimeZoneDidChangeNotification");
    EXPECT_EQ(app.nextDayChangeDate()->timeIntervalSince1970(), 1704236400 + 86400 - 8 * 3600);

    app.stopDayChangeMonitoring();
    EXPECT_FALSE(app.nextDayChangeDate());
    Clock::advanceForTesting(2 * 86400.0);
    RunLoop::main().runOnePass();
    EXPECT_EQ(posted, 1);
}

}  // namespace
}  // namespace velmora

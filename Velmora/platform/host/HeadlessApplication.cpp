#include "Velmora/platform/host/HeadlessApplication.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/locale/TimeZone.h"
#include "Velmora/platform/logging/BlockExceptions.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {
namespace {

constexpr const char* kSystemTimeZoneDidChange = "NSSystemTimeZoneDidChangeNotification";
constexpr const char* kSystemClockDidChange = "NSSystemClockDidChangeNotification";
constexpr double kSecondsPerDay = 86400.0;

std::string programName() {
    const char* name = program_invocation_short_name;
    return name != nullptr && *name != '\0' ? std::string(name) : std::string("velmora");
}

std::string defaultBundleIdentifier() {
    if (const char* identifier = std::getenv("VELMORA_BUNDLE_IDENTIFIER");
        identifier != nullptr && *identifier != '\0') {
        return identifier;
    }
    return "org.velmora." + UserDirectories::fileNameComponent(programName());
}

double localDay(double seconds, const std::function<int(Date)>& secondsFromGMT) {
    return std::floor((seconds + secondsFromGMT(Date(seconds))) / kSecondsPerDay);
}

}  // namespace

// The day-change timer and the observations that re-arm it. Shared with the timer's
// block, which holds it weakly, so a fire after the application is gone does nothing.
struct HeadlessApplication::DayMonitor : std::enable_shared_from_this<DayMonitor> {
    explicit DayMonitor(const void* sender) : sender_(sender) {}

    void start() {
        std::weak_ptr<DayMonitor> weak = weak_from_this();
        auto rearm = [weak](const Notification&) {
            if (auto self = weak.lock()) {
                self->arm();
            }
        };
        auto& center = NotificationCenter::defaultCenter();
        zoneObservation_ = center.addObserver(kSystemTimeZoneDidChange, rearm);
        clockObservation_ = center.addObserver(kSystemClockDidChange, rearm);
        arm();
    }

    void arm() {
        const TimeZone zone = TimeZone::systemTimeZone();
        const Date now = Clock::now();
        const Date due =
            nextLocalMidnight(now, [&zone](Date date) { return zone.secondsFromGMT(date); });
        std::weak_ptr<DayMonitor> weak = weak_from_this();
        RunLoop::Timer timer =
            RunLoop::main().scheduleTimer(std::max(0.0, due.timeIntervalSinceDate(now)), 0.0,
                                          [weak] {
                                              if (auto self = weak.lock()) {
                                                  self->fire();
                                              }
                                          },
                                          {std::string(RunLoop::kCommonModes)});
        RunLoop::Timer previous;
        {
            std::lock_guard lock(mutex_);
            if (stopped_) {
                return;
            }
            previous = std::exchange(timer_, std::move(timer));
            due_ = due;
            armedDay_ = localDay(now.timeIntervalSince1970(),
                                 [&zone](Date date) { return zone.secondsFromGMT(date); });
        }
    }

    // On the main thread. A timer that fires a little early (the wall clock and the
    // timer's clock drift apart) re-arms without posting.
    void fire() {
        const TimeZone zone = TimeZone::systemTimeZone();
        const double today = localDay(Clock::now().timeIntervalSince1970(),
                                      [&zone](Date date) { return zone.secondsFromGMT(date); });
        bool changed = false;
        {
            std::lock_guard lock(mutex_);
            if (stopped_) {
                return;
            }
            changed = today != armedDay_;
        }
        arm();
        if (changed) {
            NotificationCenter::defaultCenter().post(UIApplicationSignificantTimeChangeNotification,
                                                     sender_);
        }
    }

    void stop() {
        RunLoop::Timer timer;
        {
            std::lock_guard lock(mutex_);
            stopped_ = true;
            timer = std::move(timer_);
        }
        zoneObservation_.reset();
        clockObservation_.reset();
    }

    std::optional<Date> due() const {
        std::lock_guard lock(mutex_);
        if (stopped_) {
            return std::nullopt;
        }
        return due_;
    }

  private:
    const void* const sender_;
    NotificationCenter::Observation zoneObservation_;
    NotificationCenter::Observation clockObservation_;
    mutable std::mutex mutex_;  // guards the fields below
    RunLoop::Timer timer_;
    Date due_;
    double armedDay_ = 0;
    bool stopped_ = false;
};

HeadlessApplication::HeadlessApplication()
    : bundleIdentifier_(defaultBundleIdentifier()),
      displayName_(programName()),
      launcher_(desktopLauncher()) {}

HeadlessApplication::~HeadlessApplication() {
    stopDayChangeMonitoring();
}

ApplicationState HeadlessApplication::applicationState() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void HeadlessApplication::setApplicationState(ApplicationState state) {
    auto& center = NotificationCenter::defaultCenter();
    const bool scenes = supportsScenes();
    auto post = [&](const char* name, const char* sceneName) {
        center.post(name, this);
        if (scenes) {
            center.post(sceneName, this);
        }
    };
    auto set = [&](ApplicationState next) {
        std::lock_guard lock(mutex_);
        state_ = next;
    };
    // Moves one step at a time through Inactive, as the platform does: observers of a
    // "will" notification still see the old state, those of a "did" one the new.
    for (ApplicationState current = applicationState(); current != state;
         current = applicationState()) {
        if (current == ApplicationState::Active) {
            post(UIApplicationWillResignActiveNotification, UISceneWillDeactivateNotification);
            set(ApplicationState::Inactive);
        } else if (current == ApplicationState::Background) {
            post(UIApplicationWillEnterForegroundNotification,
                 UISceneWillEnterForegroundNotification);
            set(ApplicationState::Inactive);
        } else if (state == ApplicationState::Background) {
            set(ApplicationState::Background);
            post(UIApplicationDidEnterBackgroundNotification,
                 UISceneDidEnterBackgroundNotification);
        } else {
            set(ApplicationState::Active);
            post(UIApplicationDidBecomeActiveNotification, UISceneDidActivateNotification);
        }
    }
}

UIBackgroundTaskIdentifier HeadlessApplication::beginBackgroundTask(
    std::string name, ExpirationHandler expirationHandler) {
    std::lock_guard lock(mutex_);
    const UIBackgroundTaskIdentifier identifier = nextTaskIdentifier_++;
    tasks_.emplace(identifier, BackgroundTask{std::move(name), std::move(expirationHandler)});
    return identifier;
}

void HeadlessApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
    ExpirationHandler handler;  // released outside the lock: it may own anything
    std::lock_guard lock(mutex_);
    if (auto found = tasks_.find(identifier); found != tasks_.end()) {
        handler = std::move(found->second.expirationHandler);
        tasks_.erase(found);
    }
}

std::map<UIBackgroundTaskIdentifier, std::string> HeadlessApplication::activeBackgroundTasks()
    const {
    std::lock_guard lock(mutex_);
    std::map<UIBackgroundTaskIdentifier, std::string> names;
    for (const auto& [identifier, task] : tasks_) {
        names.emplace(identifier, task.name);
    }
    return names;
}

void HeadlessApplication::expireBackgroundTasks() {
    std::vector<ExpirationHandler> handlers;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [identifier, task] : tasks_) {
            handlers.push_back(task.expirationHandler);
        }
    }
    for (const auto& handler : handlers) {
        if (handler) {
            runReportingExceptions("a background task's expiration handler", handler);
        }
    }
}

bool HeadlessApplication::isIdleTimerDisabled() const {
    std::lock_guard lock(mutex_);
    return idleTimerDisabled_;
}

void HeadlessApplication::setIdleTimerDisabled(bool disabled) {
    std::lock_guard lock(mutex_);
    idleTimerDisabled_ = disabled;
}

bool HeadlessApplication::isNetworkActivityIndicatorVisible() const {
    std::lock_guard lock(mutex_);
    return networkActivityIndicatorVisible_;
}

void HeadlessApplication::setNetworkActivityIndicatorVisible(bool visible) {
    std::lock_guard lock(mutex_);
    networkActivityIndicatorVisible_ = visible;
}

std::string HeadlessApplication::bundleIdentifier() const {
    std::lock_guard lock(mutex_);
    return bundleIdentifier_;
}

void HeadlessApplication::setBundleIdentifier(std::string identifier) {
    std::lock_guard lock(mutex_);
    bundleIdentifier_ = std::move(identifier);
}

std::string HeadlessApplication::displayName() const {
    std::lock_guard lock(mutex_);
    return displayName_;
}

void HeadlessApplication::setDisplayName(std::string name) {
    std::lock_guard lock(mutex_);
    displayName_ = std::move(name);
}

std::optional<std::filesystem::path> HeadlessApplication::documentsDirectory() const {
    return UserDirectories::ensureDirectory(
        UserDirectories::documentsDirectory(bundleIdentifier()));
}

std::optional<std::filesystem::path>
HeadlessApplication::containerURLForSecurityApplicationGroupIdentifier(
    std::string_view groupIdentifier) const {
    const auto container = UserDirectories::appGroupContainer(groupIdentifier);
    return container ? UserDirectories::ensureDirectory(*container) : std::nullopt;
}

bool HeadlessApplication::setFileProtectionNone(const std::filesystem::path& path,
                                                std::string* error) const {
    std::error_code code;
    if (!std::filesystem::exists(path, code)) {
        if (error != nullptr) {
            *error = std::make_error_code(std::errc::no_such_file_or_directory).message();
        }
        return false;
    }
    return true;
}

bool HeadlessApplication::canOpenURL(std::string_view url) const {
    const auto colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        return false;
    }
    URLLauncher launcher;
    {
        std::lock_guard lock(mutex_);
        launcher = launcher_;
    }
    return launcher.canOpenScheme && launcher.canOpenScheme(url.substr(0, colon));
}

bool HeadlessApplication::openURL(std::string_view url) {
    if (!canOpenURL(url)) {
        return false;
    }
    URLLauncher launcher;
    {
        std::lock_guard lock(mutex_);
        launcher = launcher_;
    }
    return launcher.open && launcher.open(url);
}

void HeadlessApplication::setURLLauncher(URLLauncher launcher) {
    std::lock_guard lock(mutex_);
    launcher_ = std::move(launcher);
}

void HeadlessApplication::startDayChangeMonitoring() {
    auto monitor = std::make_shared<DayMonitor>(this);
    std::shared_ptr<DayMonitor> previous;
    {
        std::lock_guard lock(mutex_);
        previous = std::exchange(dayMonitor_, monitor);
    }
    if (previous) {
        previous->stop();
    }
    monitor->start();
}

void HeadlessApplication::stopDayChangeMonitoring() {
    std::shared_ptr<DayMonitor> monitor;
    {
        std::lock_guard lock(mutex_);
        monitor = std::move(dayMonitor_);
    }
    if (monitor) {
        monitor->stop();
    }
}

std::optional<Date> HeadlessApplication::nextDayChangeDate() const {
    std::shared_ptr<DayMonitor> monitor;
    {
        std::lock_guard lock(mutex_);
        monitor = dayMonitor_;
    }
    return monitor ? monitor->due() : std::nullopt;
}

Date HeadlessApplication::nextLocalMidnight(Date after,
                                            const std::function<int(Date)>& secondsFromGMT) {
    const double now = after.timeIntervalSince1970();
    const double today = localDay(now, secondsFromGMT);
    const double midnight = (today + 1) * kSecondsPerDay;  // in local seconds
    // Midnight read with the offset in force now, and with the offset in force then;
    // the earliest of them that lies in the next day is the change. When a jump skips
    // midnight, the first reading lands on the jump, the first instant of the new day.
    const double first = midnight - secondsFromGMT(after);
    const double second = midnight - secondsFromGMT(Date(first));
    double best = -1;
    for (const double candidate : {first, second}) {
        if (candidate > now && localDay(candidate, secondsFromGMT) > today &&
            (best < 0 || candidate < best)) {
            best = candidate;
        }
    }
    if (best < 0) {
        // Not found (offsets beyond a day): look again in an hour.
        best = now + 3600;
    }
    return Date(best);
}

}  // namespace velmora

#pragma once
// HeadlessApplication: the Application of tools, tests and hosts without a user
// interface. It keeps the state it is told and posts the notifications a host would:
//
// - setApplicationState posts the transitions' notifications (Active to Background:
//   will-resign-active, then did-enter-background; back: will-enter-foreground, then
//   did-become-active; each followed by its scene counterpart).
// - Background tasks are recorded and never expire on their own; expireBackgroundTasks()
//   plays the system's part and runs the expiration handlers.
// - The bundle identifier defaults to $VELMORA_BUNDLE_IDENTIFIER, else
//   "org.velmora.<program name>"; the display name to the program name.
// - Directories come from UserDirectories (so $VELMORA_HOME moves them).
// - URLs go to a live URLSchemeListener of their scheme in this session, else to the
//   desktop's handler: canOpenURL reads the XDG association files for
//   x-scheme-handler/<scheme> (as `xdg-mime query default` does) and openURL starts
//   `xdg-open` when it is on PATH, reaping it in the background; neither waits for a
//   child process. Tests replace the launcher with setURLLauncher.
// - Day changes: once startDayChangeMonitoring() is called, a one-shot timer on the main
//   run loop posts UIApplicationSignificantTimeChangeNotification on the main thread at
//   each local midnight of the system time zone. It is measured with Clock, so a pinned
//   clock drives it, and re-armed after firing and when the system time zone or clock
//   changes (NSSystemTimeZoneDidChangeNotification, NSSystemClockDidChangeNotification).
//
// Thread safety: every operation may be used from any thread.
//
//   auto app = std::make_shared<HeadlessApplication>();
//   app->setBundleIdentifier("com.example.app");
//   app->startDayChangeMonitoring();

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/host/Application.h"

namespace velmora {

class HeadlessApplication : public Application {
  public:
    // How URLs leave the process: which schemes have a handler, and starting one.
    struct URLLauncher {
        std::function<bool(std::string_view scheme)> canOpenScheme;
        std::function<bool(std::string_view url)> open;
    };
    // The xdg-mime / xdg-open launcher (not openable when they are not on PATH).
    static URLLauncher desktopLauncher();

    HeadlessApplication();
    ~HeadlessApplication() override;
    HeadlessApplication(const HeadlessApplication&) = delete;
    HeadlessApplication& operator=(const HeadlessApplication&) = delete;

    ApplicationState applicationState() const override;
    // Changes the state and posts the notifications of the transition (none when the
    // state does not change).
    void setApplicationState(ApplicationState state);

    UIBackgroundTaskIdentifier beginBackgroundTask(std::string name,
                                                   ExpirationHandler expirationHandler) override;
    void endBackgroundTask(UIBackgroundTaskIdentifier identifier) override;
    // Tasks begun and not yet ended, by identifier.
    std::map<UIBackgroundTaskIdentifier, std::string> activeBackgroundTasks() const;
    // Runs the expiration handler of every active task, as the system does when
    // background time runs out. Call on the main thread. A handler that throws is
    // logged at error level and the other handlers still run.
    void expireBackgroundTasks();

    bool isIdleTimerDisabled() const override;
    void setIdleTimerDisabled(bool disabled) override;
    bool isNetworkActivityIndicatorVisible() const override;
    void setNetworkActivityIndicatorVisible(bool visible) override;

    std::string bundleIdentifier() const override;
    void setBundleIdentifier(std::string identifier);
    std::string displayName() const override;
    void setDisplayName(std::string name);

    std::optional<std::filesystem::path> documentsDirectory() const override;
    std::optional<std::filesystem::path> containerURLForSecurityApplicationGroupIdentifier(
        std::string_view groupIdentifier) const override;
    // Linux has no file protection: answers true for an existing file.
    bool setFileProtectionNone(const std::filesystem::path& path,
                               std::string* error = nullptr) const override;

    bool canOpenURL(std::string_view url) const override;
    bool openURL(std::string_view url) override;
    void setURLLauncher(URLLauncher launcher);

    // Starts (or restarts) the day-change timer; stop cancels it.
    void startDayChangeMonitoring();
    void stopDayChangeMonitoring();
    // When the armed timer is due, or nothing when monitoring is off.
    std::optional<Date> nextDayChangeDate() const;

    // The first instant after `after` at which the local day of zone offset function
    // changes: the next local midnight, or the first instant of the next day when a
    // daylight-saving jump skips midnight.
    static Date nextLocalMidnight(Date after, const std::function<int(Date)>& secondsFromGMT);

  private:
    struct DayMonitor;

    mutable std::mutex mutex_;  // guards the fields below
    ApplicationState state_ = ApplicationState::Active;
    struct BackgroundTask {
        std::string name;
        ExpirationHandler expirationHandler;
    };
    std::map<UIBackgroundTaskIdentifier, BackgroundTask> tasks_;
    UIBackgroundTaskIdentifier nextTaskIdentifier_ = 1;
    bool idleTimerDisabled_ = false;
    bool networkActivityIndicatorVisible_ = false;
    std::string bundleIdentifier_;
    std::string displayName_;
    URLLauncher launcher_;
    std::shared_ptr<DayMonitor> dayMonitor_;
};

}  // namespace velmora

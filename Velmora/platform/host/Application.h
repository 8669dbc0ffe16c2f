#pragma once
// Application: the host's services, as the framework sees them: application state and
// its notifications, background tasks, the idle timer and the network activity
// indicator, the bundle identifier and display name, the documents and application-group
// directories, and opening URLs. A host installs its own implementation at start-up;
// tools and tests get HeadlessApplication (HeadlessApplication.h), which keeps the state
// it is told and posts the notifications a host would.
//
// Thread safety: shared() and install() may be used from any thread; an installed
// application must answer every call from any thread.
//
//   auto app = std::make_shared<HeadlessApplication>();
//   Application::install(app);
//   auto task = Application::shared()->beginBackgroundTask("sync", [] { stopSync(); });

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

enum class ApplicationState { Active, Inactive, Background };

using UIBackgroundTaskIdentifier = std::uint64_t;
// Returned when no background task could be begun; never the identifier of a task.
inline constexpr UIBackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

// Posted on the default notification center, the application as sender, on the thread
// that changed the state (see HeadlessApplication::setApplicationState).
inline constexpr const char* UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr const char* UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";
inline constexpr const char* UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* UISceneDidEnterBackgroundNotification =
    "UISceneDidEnterBackgroundNotification";
inline constexpr const char* UISceneWillEnterForegroundNotification =
    "UISceneWillEnterForegroundNotification";
inline constexpr const char* UISceneWillDeactivateNotification =
    "UISceneWillDeactivateNotification";
inline constexpr const char* UISceneDidActivateNotification = "UISceneDidActivateNotification";
// Posted on the main thread when the local day changes (and by hosts when the carrier
// time or daylight saving changes).
inline constexpr const char* UIApplicationSignificantTimeChangeNotification =
    "UIApplicationSignificantTimeChangeNotification";

class Application {
  public:
    using ExpirationHandler = std::function<void()>;

    virtual ~Application();

    // The installed application (a HeadlessApplication until a host installs one).
    static std::shared_ptr<Application> shared();
    // Replaces the installed application; nullptr restores a new headless one.
    static void install(std::shared_ptr<Application> application);

    virtual ApplicationState applicationState() const = 0;
    // Whether state changes are announced with the scene notifications as well as the
    // application ones (hosts whose platform has scenes).
    virtual bool supportsScenes() const { return true; }

    // Asks for time to finish work in the background. The expiration handler runs (on
    // the main thread) if the time runs out before endBackgroundTask; it must end the
    // task. Answers UIBackgroundTaskInvalid when no task can be begun.
    virtual UIBackgroundTaskIdentifier beginBackgroundTask(std::string name,
                                                           ExpirationHandler expirationHandler) = 0;
    // Ending an unknown or already ended identifier does nothing.
    virtual void endBackgroundTask(UIBackgroundTaskIdentifier identifier) = 0;

    virtual bool isIdleTimerDisabled() const = 0;
    virtual void setIdleTimerDisabled(bool disabled) = 0;
    virtual bool isNetworkActivityIndicatorVisible() const = 0;
    virtual void setNetworkActivityIndicatorVisible(bool visible) = 0;

    // "com.example.app"; an extension's ends in its own suffix (".TodayWidget").
    virtual std::string bundleIdentifier() const = 0;
    virtual std::string displayName() const = 0;

    // The application's documents directory (created when missing); nothing when it
    // cannot be made.
    virtual std::optional<std::filesystem::path> documentsDirectory() const = 0;
    // The container shared by the programs of an application group (created when
    // missing); nothing for an empty or unusable group identifier.
    virtual std::optional<std::filesystem::path> containerURLForSecurityApplicationGroupIdentifier(
        std::string_view groupIdentifier) const = 0;
    // Lets any process of the user read the file while the device is locked. Hosts
    // without file protection answer true. On failure, error says why.
    virtual bool setFileProtectionNone(const std::filesystem::path& path,
                                       std::string* error = nullptr) const = 0;

    // Whether some installed program handles the URL's scheme.
    virtual bool canOpenURL(std::string_view url) const = 0;
    // Hands the URL to its handler; answers whether that was started.
    virtual bool openURL(std::string_view url) = 0;

  protected:
    Application() = default;
};

}  // namespace velmora

// HeadlessApplication is the default: wherever Application is, it is too.
#include "Velmora/platform/host/HeadlessApplication.h"

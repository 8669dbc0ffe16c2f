#pragma once
// VelmoraDAO: the framework's one shared-services object. It hands out per-thread
// calendars and formatters, tracks today and tells the host when the day, the time zone
// or the locale changes ("VL_MESSAGE_DAY_CHANGED"), keeps the week start, counts the
// users of the background task, keeps a small dictionary persisted in the documents
// directory, and reaches the app-group defaults.
//
// Thread safety: every operation may be called from any thread. Per-thread calendars and
// formatters belong to the calling thread: use them there, never hand them to another.
// The day-change machinery runs on the main run loop; background-task starts and ends and
// the network indicator hop to the main thread themselves.
//
//   VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
//   dao.startChangeOfDayTimer();
//   std::shared_ptr<Calendar> calendar = dao.getThreadSafeNSCalendar(false);

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/dispatch/OperationQueue.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/Value.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/host/UserDefaults.h"
#include "Velmora/platform/locale/Calendar.h"
#include "Velmora/platform/locale/DateFormatter.h"
#include "Velmora/platform/locale/NumberFormatter.h"
#include "Velmora/services/BackgroundTask.h"

namespace velmora {

// Posted on the main thread, no sender, no user info, when the day has changed or the
// time zone, clock or locale changed the meaning of "today".
inline constexpr const char* kDayChangedNotification = "VL_MESSAGE_DAY_CHANGED";

// The location service of the host; this object only creates one and keeps it.
class LocationManager {};

// What a key-value observer of the defaults implements (see addKVOForUserDefaults).
class KeyValueObserver {
  public:
    virtual ~KeyValueObserver() = default;
    virtual void observeValueForKeyPath(const KeyValueChange& change) = 0;
};

class VelmoraDAO {
  public:
    // The process's instance, made on first use; initSingletons runs on every call and
    // does its work once.
    static VelmoraDAO& getSharedInstance();

    // A separate instance, for tests of the machinery; hosts use getSharedInstance.
    VelmoraDAO();
    ~VelmoraDAO();
    VelmoraDAO(const VelmoraDAO&) = delete;
    VelmoraDAO& operator=(const VelmoraDAO&) = delete;

    void initSingletons();

    // --- Per-thread calendars and formatters -------------------------------------------
    // This thread's Gregorian calendar: in UTC or the system zone, in the locale taken at
    // the last check (or "en_GB" with gb), with the configured first weekday. Rebuilt
    // after a zone, clock or locale change. Valid on this thread only.
    std::shared_ptr<Calendar> getThreadSafeNSCalendar(bool utc);
    std::shared_ptr<Calendar> getThreadSafeNSCalendarWithUTC(bool utc, bool gb);
    // This thread's date formatter in the system zone and the current locale, or in
    // "en_UK" with uk. Its pattern is whatever the last user of this thread set.
    std::shared_ptr<DateFormatter> getThreadSafeNSDateFormatter(bool uk);
    std::shared_ptr<NumberFormatter> getThreadSafeNSNumberFormatterNoStyle();
    std::shared_ptr<NumberFormatter> getThreadSafeNSNumberFormatter();
    // Copies of this thread's local calendar and formatter, owned by the caller.
    Calendar newLocalCalendar();
    std::unique_ptr<DateFormatter> newLocalDateFormatter();

    // --- Today ---------------------------------------------------------------------------
    // Today's and tomorrow's day of the month as decimal text ("7", "31").
    std::string getCurrentCachedDay();
    std::string getTomorrowCachedDay();
    std::optional<Date> getTodayAtStartOfDay();
    std::optional<Date> getTodayBeforeEndOfDay();
    // Year, month, day and weekday of today.
    DateComponents getTodayDateComponents();

    // --- Week start and clock ------------------------------------------------------------
    // The configured first weekday, or the system's when none is (1 = Sunday).
    std::int64_t getStartOfWeek() const;
    std::int64_t WeekStartsIndex() const;
    void setWeekStartsIndex(std::int64_t index);
    // "Sunday" ... "Saturday" for 1 ... 7, localised; "" otherwise.
    static std::string getWeekdayNameFromStartOfWeek(std::int64_t weekday);
    // The user's clock shows 24 hours (as last checked).
    static bool Is24HourClock();
    // Pins the answer of Is24HourClock (for a tool run or a test); nothing follows the
    // locale again.
    static void pinIs24HourClock(std::optional<bool> pinned);
    bool isMetricSystem() const;
    // Reloads the week start from the standard defaults ("WeekStartsIndex").
    void createCalendarAndDateFormatters();
    void checkIf24Hours();

    // --- Change of day -------------------------------------------------------------------
    // Arms the one-shot timer on the main run loop for 2 s after the end of today.
    void startChangeOfDayTimer();
    // Clears today's values, re-arms the timer and posts VL_MESSAGE_DAY_CHANGED.
    void informChangeOfDay();
    void checkIfDateChanged();
    void checkIfDateChangedAndInform(bool inform);
    void checkIfTimezoneOrLocaleChangedAndInform();
    void handleTimeChanged(const Notification& notification);
    void handleLocalDidChange(const Notification& notification);
    void appSentToBackground();
    void appReturnedFromBackground();
    // The generation of per-thread calendars and formatters (starts at 1).
    std::int64_t dateChangeCounter() const { return lastDateChangeCounter_.load(); }
    // When the armed change-of-day timer is due (Clock time), or nothing.
    std::optional<Date> changeOfDayTimerFireDate() const;

    // --- Network activity ------------------------------------------------------------------
    void showNetworkActivityIndicator();
    void hideNetworkActivityIndicator();
    std::int64_t networkActivityCounter() const;

    // --- Instance-level background task --------------------------------------------------
    // Runs taskBlock on the background operation queue inside the shared background task.
    void performBackgroundTaskWithName(std::string name, std::function<void()> taskBlock);
    void startAsynchronousBackgroundTaskWithName(const std::string& name);
    void endAsynchronousBackgroundTask(const std::string& name);
    void startBackgroundTaskIfNeededWithName(const std::string& name);
    void endBackgroundTaskIfExistsByForce(bool force);
    UIBackgroundTaskIdentifier bgTaskIdentifier() const;
    std::int64_t bgTaskRefCount() const;
    std::vector<std::string> bgTaskNames() const;
    OperationQueue& bgOperationQueue() { return *bgOperationQueue_; }

    // --- Class-level background task -------------------------------------------------------
    static std::shared_ptr<BackgroundTask> beginBackgroundUpdateTaskWithName(std::string name);
    static void endBackgroundUpdateTask(const std::shared_ptr<BackgroundTask>& task);
    std::int64_t globalBackgroundTaskRefCount() const;
    UIBackgroundTaskIdentifier globalBackgroundTaskIdentifier() const;

    // --- Persisted and purgeable state ------------------------------------------------------
    // The persisted dictionary (a shared, mutable dictionary Value), loaded on first use.
    Value GlobalPersistableData();
    // Never written out.
    Value GlobalPurgableStateData();
    void loadGlobalPersistableData();
    void saveGlobalPersistableData();
    void deleteGlobalPersistableState();
    std::optional<std::filesystem::path> pathToPersistableStorage() const;
    // Drops file protection; true also when there is no such file.
    static bool unlockFileAtPath(const std::filesystem::path& path);

    // --- Document files ------------------------------------------------------------------
    std::optional<std::filesystem::path> getDocumentPathToFileName(std::string_view name) const;
    void saveData(const Bytes& data, std::string_view fileName) const;
    bool doesDataExistForFileName(std::string_view fileName) const;
    std::optional<Bytes> loadDataWithFileName(std::string_view fileName) const;
    void deleteDataWithFileName(std::string_view fileName) const;
    std::optional<std::filesystem::path> pathToDocumentsWithFile(std::string_view name) const;

    // --- App-group defaults --------------------------------------------------------------
    std::string sharedGroupSuiteName() const;
    void setSharedGroupSuiteName(std::string name);
    // Throws InternalInconsistencyException ("Shared Group Identifier NOT set -
    // crashing") when no suite name is set: a host that forgot it must not run on.
    UserDefaults sharedUserDefaultsObj();
    static UserDefaults getSharedUserDefaultsWithSuiteName(const std::string& suiteName);
    void updatedSharedUserDefault(const std::string& key);
    void updatediCloudSharedUserDefault(const std::string& key);
    // REQUIRES: observer outlives its registration (remove it before destroying it).
    static void addKVOForUserDefaults(UserDefaults& defaults, const std::string& key,
                                      KeyValueObserver& observer);
    static void addKVOForUserDefaults(UserDefaults& defaults, const std::string& key,
                                      KeyValueObserver& observer, const void* context);
    static void removeKVOForUserDefaults(UserDefaults& defaults, const std::string& key,
                                         KeyValueObserver& observer);

    // --- Sleep -----------------------------------------------------------------------------
    static void disableSleep();
    static void enableSleep();
    static void resetSleep();
    static std::int64_t sleepDisableCount();

    LocationManager& sharedLocationManager();
    // The address book lives in the host; these forward nothing on this platform.
    static void getAddressBook() {}
    void releaseAddressBook() {}

  private:
    struct TodayCache {
        std::optional<std::string> currentCachedDay;
        std::optional<std::string> tomorrowCachedDay;
        std::optional<Date> todayAtStart;
        std::optional<Date> todayAtEnd;
        double todayAtStartLong = 0;
        double todayAtEndLong = 0;
        std::optional<DateComponents> currentDateComponents;
    };

    void clearTodayCache();
    void observeNotifications();
    static void registerSystemLogger();
    void persistableStateLoadLocked();
    void setDayTimer(std::optional<RunLoop::Timer> timer);

    // Today's cached values and the last-change reference.
    mutable std::mutex todayMutex_;  // guards today_ and lastDateWhenTimeChanged_
    TodayCache today_;
    std::optional<Date> lastDateWhenTimeChanged_;

    std::atomic<std::int64_t> lastDateChangeCounter_{1};
    std::atomic<std::int64_t> systemDayOfWeek_{1};

    // The locale and zone in force at the last check.
    mutable std::mutex settingsMutex_;  // guards the two below
    std::optional<Locale> currentAutomaticLocale_;
    std::optional<TimeZone> currentTimeZone_;

    // The change-of-day timer, on the main run loop.
    mutable std::mutex timerMutex_;  // guards the three below
    std::optional<RunLoop::Timer> timerDayChanged_;
    std::optional<Date> timerFireDate_;
    bool didStartDayTimer_ = false;

    std::atomic<bool> updatingSharedPreference_{false};
    std::atomic<bool> hasInitSingletons_{false};
    std::once_flag locationOnce_;
    std::unique_ptr<LocationManager> sharedLocationManager_;
    std::atomic<std::int64_t> networkActivityCounter_{0};
    std::atomic<bool> is24HourClock_{false};
    std::atomic<int> pinned24HourClock_{-1};  // -1: not pinned, else 0 or 1

    // globalStateLockObject: the week start and the persisted dictionary.
    mutable std::mutex globalStateLock_;
    std::atomic<std::int64_t> weekStartsIndex_{0};
    Value globalPersistableData_;
    Value globalPurgableStateData_;

    mutable std::mutex suiteMutex_;  // guards the two below
    std::string sharedGroupSuiteName_;
    std::optional<UserDefaults> sharedUserDefaultsObj_;

    // bgTaskLockObject: the instance-level background task.
    mutable std::mutex bgTaskLock_;
    Date bgTaskCreatedDate_;
    std::int64_t bgTaskRefCount_ = 0;
    Dictionary bgTaskMap_;
    UIBackgroundTaskIdentifier bgTaskIdentifier_ = UIBackgroundTaskInvalid;
    std::unique_ptr<OperationQueue> bgOperationQueue_;
    // The class-level scheme, also under bgTaskLock_.
    std::int64_t globalBackgroundTaskRefCount_ = 0;
    UIBackgroundTaskIdentifier globalBackgroundTaskIdentifier_ = UIBackgroundTaskInvalid;

    std::vector<NotificationCenter::Observation> observations_;
    // Lets queued work find out whether this object still exists.
    std::shared_ptr<VelmoraDAO*> alive_;
};

}  // namespace velmora

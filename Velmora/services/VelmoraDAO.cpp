#include "Velmora/services/VelmoraDAO.h"

#include <array>
#include <cctype>
#include <utility>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/foundation/SystemNotifications.h"
#include "Velmora/platform/host/Bundle.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/VLSystemLogger.h"
#include "Velmora/services/DayBoundaries.h"
#include "Velmora/services/VLLogFormatter.h"

namespace velmora {
namespace {

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The app's extensions share the framework but not its persisted state or the app's
// state notifications.
bool isRunningInExtension() {
    const std::string identifier = Application::shared()->bundleIdentifier();
    return endsWith(identifier, ".TodayWidget") || endsWith(identifier, ".SiriKit");
}

}  // namespace

VelmoraDAO& VelmoraDAO::getSharedInstance() {
    static NoDestructor<VelmoraDAO> instance;
    instance->initSingletons();
    return *instance;
}

VelmoraDAO::VelmoraDAO() : alive_(std::make_shared<VelmoraDAO*>(this)) {}

VelmoraDAO::~VelmoraDAO() {
    observations_.clear();
    setDayTimer(std::nullopt);
    // Operations still queued check alive_ before touching this object; running ones
    // finish before the queue (and this object) go away.
    alive_.reset();
    bgOperationQueue_.reset();
}

void VelmoraDAO::initSingletons() {
    if (hasInitSingletons_.exchange(true)) {
        return;
    }
    lastDateChangeCounter_.store(1);
    {
        std::lock_guard lock(todayMutex_);
        lastDateWhenTimeChanged_ = Date::now();
    }
    {
        std::lock_guard lock(settingsMutex_);
        currentAutomaticLocale_ = Locale::current();
        currentTimeZone_ = TimeZone::systemTimeZone();
    }
    {
        std::lock_guard lock(bgTaskLock_);
        globalBackgroundTaskRefCount_ = 0;
        globalBackgroundTaskIdentifier_ = UIBackgroundTaskInvalid;
        bgTaskIdentifier_ = UIBackgroundTaskInvalid;
        bgTaskRefCount_ = 0;
        bgTaskMap_ = Dictionary();
    }
    bgOperationQueue_ =
        std::make_unique<OperationQueue>("velmora.BgOpQueue", 2, QualityOfService::Background);
    observeNotifications();
    systemDayOfWeek_.store(Calendar::current().firstWeekday());
    createCalendarAndDateFormatters();
    if (!isRunningInExtension()) {
        loadGlobalPersistableData();
    }
    registerSystemLogger();
}

void VelmoraDAO::registerSystemLogger() {
    // A host that configured logging first may have registered one already.
    for (const std::shared_ptr<Logger>& logger : Log::allLoggers()) {
        if (dynamic_cast<const VLSystemLogger*>(logger.get()) != nullptr) {
            return;
        }
    }
    auto systemLogger = std::make_shared<VLSystemLogger>();
    systemLogger->setLogFormatter(std::make_shared<VLLogFormatter>());
    Log::addLogger(systemLogger, LogLevel::Verbose);
}

void VelmoraDAO::observeNotifications() {
    auto& center = NotificationCenter::defaultCenter();
    const auto onTimeChange = [this](const Notification& note) { handleTimeChanged(note); };
    for (const char* name :
         {NSSystemTimeZoneDidChangeNotification, NSSystemClockDidChangeNotification,
          UIApplicationSignificantTimeChangeNotification}) {
        observations_.push_back(center.addObserver(name, onTimeChange));
    }
    observations_.push_back(
        center.addObserver(NSCurrentLocaleDidChangeNotification,
                           [this](const Notification& note) { handleLocalDidChange(note); }));
    if (isRunningInExtension()) {
        return;
    }
    const auto toBackground = [this](const Notification&) { appSentToBackground(); };
    const auto toForeground = [this](const Notification&) { appReturnedFromBackground(); };
    const bool scenes = Application::shared()->supportsScenes();
    observations_.push_back(center.addObserver(scenes ? UISceneDidEnterBackgroundNotification
                                                      : UIApplicationDidEnterBackgroundNotification,
                                               toBackground));
    observations_.push_back(center.addObserver(scenes
                                                   ? UISceneWillEnterForegroundNotification
                                                   : UIApplicationWillEnterForegroundNotification,
                                               toForeground));
    observations_.push_back(
        center.addObserver(UIApplicationWillResignActiveNotification, toBackground));
    observations_.push_back(
        center.addObserver(UIApplicationDidBecomeActiveNotification, toForeground));
}

// --- Week start and clock --------------------------------------------------------------

std::int64_t VelmoraDAO::getStartOfWeek() const {
    const std::int64_t configured = weekStartsIndex_.load();
    return configured != 0 ? configured : systemDayOfWeek_.load();
}

std::int64_t VelmoraDAO::WeekStartsIndex() const {
    return weekStartsIndex_.load();
}

void VelmoraDAO::setWeekStartsIndex(std::int64_t index) {
    if (weekStartsIndex_.exchange(index) != index) {
        // Stored in the standard defaults too: every re-arming of the day timer reloads
        // the week start from there, which would otherwise undo the change at once.
        UserDefaults::standard().setInteger(index, "WeekStartsIndex");
        checkIfTimezoneOrLocaleChangedAndInform();
    }
}

std::string VelmoraDAO::getWeekdayNameFromStartOfWeek(std::int64_t weekday) {
    static constexpr std::array<const char*, 7> kNames{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                       "Thursday", "Friday", "Saturday"};
    if (weekday < 1 || weekday > 7) {
        return {};
    }
    return Bundle::main().localizedString(kNames[static_cast<std::size_t>(weekday - 1)]);
}

bool VelmoraDAO::Is24HourClock() {
    const VelmoraDAO& dao = getSharedInstance();
    const int pinned = dao.pinned24HourClock_.load();
    return pinned >= 0 ? pinned == 1 : dao.is24HourClock_.load();
}

void VelmoraDAO::pinIs24HourClock(std::optional<bool> pinned) {
    getSharedInstance().pinned24HourClock_.store(pinned ? static_cast<int>(*pinned) : -1);
}

bool VelmoraDAO::isMetricSystem() const {
    return Locale::current().usesMetricSystem();
}

void VelmoraDAO::createCalendarAndDateFormatters() {
    std::lock_guard lock(globalStateLock_);
    std::int64_t index = UserDefaults::standard().integerForKey("WeekStartsIndex");
    if (index >= 8) {
        index = 7;
    }
    weekStartsIndex_.store(index);
}

void VelmoraDAO::checkIf24Hours() {
    DateFormatter formatter;
    formatter.setDateStyle(DateFormatterStyle::None);
    formatter.setTimeStyle(DateFormatterStyle::Long);
    std::string pattern = formatter.dateFormat();
    for (char& c : pattern) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    is24HourClock_.store(pattern.find('a') == std::string::npos);
}

// --- Today -------------------------------------------------------------------------------

std::string VelmoraDAO::getCurrentCachedDay() {
    {
        std::lock_guard lock(todayMutex_);
        if (today_.currentCachedDay && today_.tomorrowCachedDay) {
            return *today_.currentCachedDay;
        }
    }
    const std::shared_ptr<Calendar> calendar = getThreadSafeNSCalendar(false);
    const Date now = Date::now();
    const std::optional<Date> start = dayStart(*calendar, now, false);
    const std::optional<Date> tomorrow = calendar->dateByAddingComponents({.day = 1}, now);
    const std::string today =
        std::to_string(start ? calendar->component(CalendarUnit::Day, *start) : 0);
    const std::string next =
        std::to_string(tomorrow ? calendar->component(CalendarUnit::Day, *tomorrow) : 0);
    std::lock_guard lock(todayMutex_);
    today_.currentCachedDay = today;
    today_.tomorrowCachedDay = next;
    return today;
}

std::string VelmoraDAO::getTomorrowCachedDay() {
    getCurrentCachedDay();
    std::lock_guard lock(todayMutex_);
    return today_.tomorrowCachedDay.value_or(std::string());
}

std::optional<Date> VelmoraDAO::getTodayAtStartOfDay() {
    const Date now = Date::now();
    {
        std::lock_guard lock(todayMutex_);
        if (today_.todayAtStart && !(now.timeIntervalSince1970() > today_.todayAtEndLong)) {
            return today_.todayAtStart;
        }
    }
    const std::shared_ptr<Calendar> calendar = getThreadSafeNSCalendar(false);
    const std::optional<Date> start = dayStart(*calendar, now, false);
    const std::optional<Date> end = dayEndJustBefore(*calendar, now);
    const DateComponents parts = calendar->components(
        CalendarUnit::Year | CalendarUnit::Month | CalendarUnit::Day | CalendarUnit::Weekday, now);
    std::lock_guard lock(todayMutex_);
    today_.todayAtStart = start;
    today_.todayAtStartLong = start ? start->timeIntervalSince1970() : 0;
    today_.todayAtEnd = end;
    today_.todayAtEndLong = end ? end->timeIntervalSince1970() : 0;
    today_.currentDateComponents = parts;
    return start;
}

std::optional<Date> VelmoraDAO::getTodayBeforeEndOfDay() {
    getTodayAtStartOfDay();
    std::lock_guard lock(todayMutex_);
    return today_.todayAtEnd;
}

DateComponents VelmoraDAO::getTodayDateComponents() {
    getTodayAtStartOfDay();
    std::lock_guard lock(todayMutex_);
    return today_.currentDateComponents.value_or(DateComponents{});
}

void VelmoraDAO::clearTodayCache() {
    std::lock_guard lock(todayMutex_);
    today_ = TodayCache{};
}

LocationManager& VelmoraDAO::sharedLocationManager() {
    std::call_once(locationOnce_,
                   [this] { sharedLocationManager_ = std::make_unique<LocationManager>(); });
    return *sharedLocationManager_;
}

}  // namespace velmora

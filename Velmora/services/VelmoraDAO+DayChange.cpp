// The change-of-day machinery: the one-shot timer just after midnight, the reaction to
// time-zone, clock and locale changes, and the day-changed notification.
#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/DayBoundaries.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

// The timer fires this long after the last second of the day, so that "now" is
// certainly in the new day when the caches are rebuilt.
constexpr double kDelayAfterEndOfDay = 2.0;
constexpr double kTimerTolerance = 1.0;
// Several changes in a burst (a zone change posts zone, clock and locale notices) make
// one announcement.
constexpr double kChangeDebounce = 2.0;

}  // namespace

void VelmoraDAO::setDayTimer(std::optional<RunLoop::Timer> timer) {
    std::optional<RunLoop::Timer> previous;
    {
        std::lock_guard lock(timerMutex_);
        previous = std::exchange(timerDayChanged_, std::move(timer));
        if (!timerDayChanged_) {
            timerFireDate_.reset();
        }
    }
    // Cancelled outside the lock, on the main loop's thread: only there does invalidating
    // a timer guarantee that its block is not running or about to run.
    if (previous && !RunLoop::isMainThread()) {
        auto handle = std::make_shared<RunLoop::Timer>(std::move(*previous));
        RunLoop::main().post([handle] { handle->invalidate(); });
    }
}

std::optional<Date> VelmoraDAO::changeOfDayTimerFireDate() const {
    std::lock_guard lock(timerMutex_);
    return timerFireDate_;
}

void VelmoraDAO::startChangeOfDayTimer() {
    {
        std::lock_guard lock(timerMutex_);
        didStartDayTimer_ = true;
    }
    createCalendarAndDateFormatters();
    setDayTimer(std::nullopt);
    const std::optional<Date> end = getTodayBeforeEndOfDay();
    if (!end) {
        return;
    }
    const double delay = end->timeIntervalSinceNow() + kDelayAfterEndOfDay;
    std::weak_ptr<DAOLifeline> alive = alive_;
    RunLoop::Timer timer = RunLoop::main().scheduleTimer(delay, kTimerTolerance, [alive] {
        DAOLifeline::ifAlive(alive, [](VelmoraDAO& dao) { dao.informChangeOfDay(); });
    });
    {
        std::lock_guard lock(timerMutex_);
        timerDayChanged_ = std::move(timer);
        timerFireDate_ = Date::dateWithTimeIntervalSinceNow(delay);
    }
    checkIf24Hours();
}

void VelmoraDAO::informChangeOfDay() {
    setDayTimer(std::nullopt);
    clearTodayCache();
    startChangeOfDayTimer();
    NotificationCenter::defaultCenter().post(kDayChangedNotification);
}

void VelmoraDAO::checkIfDateChanged() {
    checkIfDateChangedAndInform(true);
}

void VelmoraDAO::checkIfDateChangedAndInform(bool inform) {
    const Date now = Date::now();
    {
        std::lock_guard lock(todayMutex_);
        if (!lastDateWhenTimeChanged_ ||
            midnightsBetween(Calendar::current(), *lastDateWhenTimeChanged_, now) < 1) {
            return;
        }
        lastDateWhenTimeChanged_ = now;
        lastDateChangeCounter_.fetch_add(1);
        today_ = TodayCache{};
    }
    if (inform) {
        informChangeOfDay();
    }
}

void VelmoraDAO::checkIfTimezoneOrLocaleChangedAndInform() {
    TimeZone::resetSystemTimeZone();
    const TimeZone zone = TimeZone::systemTimeZone();
    const Locale locale = Locale::current();
    bool unchanged = false;
    {
        std::lock_guard lock(settingsMutex_);
        unchanged = currentTimeZone_ && currentAutomaticLocale_ &&
                    currentTimeZone_->isEqual(zone) && *currentAutomaticLocale_ == locale;
        currentTimeZone_ = zone;
        currentAutomaticLocale_ = locale;
    }
    if (unchanged) {
        startChangeOfDayTimer();
        return;
    }
    systemDayOfWeek_.store(Calendar::current().firstWeekday());
    lastDateChangeCounter_.fetch_add(1);
    {
        const Date now = Date::now();
        std::lock_guard lock(todayMutex_);
        const std::optional<Date> last = std::exchange(lastDateWhenTimeChanged_, now);
        if (last && now.timeIntervalSinceDate(*last) < kChangeDebounce) {
            return;
        }
    }
    std::weak_ptr<DAOLifeline> alive = alive_;
    DispatchQueue::main().async(
        [alive] { DAOLifeline::ifAlive(alive, [](VelmoraDAO& dao) { dao.informChangeOfDay(); }); });
}

void VelmoraDAO::handleTimeChanged(const Notification& notification) {
    log::info("[TIME CHANGED] {}", notification.name);
    checkIfTimezoneOrLocaleChangedAndInform();
}

void VelmoraDAO::handleLocalDidChange(const Notification& notification) {
    log::info("[LOCALE CHANGED] {}", notification.name);
    checkIfTimezoneOrLocaleChangedAndInform();
}

void VelmoraDAO::appSentToBackground() {
    setDayTimer(std::nullopt);
}

void VelmoraDAO::appReturnedFromBackground() {
    {
        std::lock_guard lock(timerMutex_);
        if (!didStartDayTimer_) {
            return;
        }
    }
    checkIfDateChanged();
    checkIfTimezoneOrLocaleChangedAndInform();
}

}  // namespace velmora

// The app-group defaults and the copying of changed values into them and into the
// cloud-synced defaults; key-value observing of defaults; the idle (sleep) timer and the
// network activity indicator.
#include <mutex>

#include "Velmora/platform/foundation/InternalInconsistencyException.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/host/VLCloudUserDefaults.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/services/DispatchHelpers.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

// The context addKVOForUserDefaults passes when the caller gives none: a value no
// caller can pass by accident.
const char kDefaultObservingContext = 0;

// The count of disableSleep calls not yet matched, and the lock that keeps it and the
// application's idle flag moving together: without it a disable and an enable racing
// could leave the flag set with the count at zero.
struct SleepState {
    std::mutex mutex;
    std::int64_t disableCount = 0;
};

SleepState& sleepState() {
    static NoDestructor<SleepState> state;
    return *state;
}

// Sets the flag for the duration of a copy; false when a copy is already under way (a
// defaults observer that calls back in while the copy writes).
class UpdatingPreferenceGuard {
  public:
    explicit UpdatingPreferenceGuard(std::atomic<bool>& flag)
        : flag_(flag), owns_(!flag.exchange(true)) {}
    ~UpdatingPreferenceGuard() {
        if (owns_) {
            flag_.store(false);
        }
    }
    UpdatingPreferenceGuard(const UpdatingPreferenceGuard&) = delete;
    UpdatingPreferenceGuard& operator=(const UpdatingPreferenceGuard&) = delete;
    bool owns() const { return owns_; }

  private:
    std::atomic<bool>& flag_;
    const bool owns_;
};

}  // namespace

std::string VelmoraDAO::sharedGroupSuiteName() const {
    std::lock_guard lock(suiteMutex_);
    return sharedGroupSuiteName_;
}

void VelmoraDAO::setSharedGroupSuiteName(std::string name) {
    std::lock_guard lock(suiteMutex_);
    sharedGroupSuiteName_ = std::move(name);
}

UserDefaults VelmoraDAO::sharedUserDefaultsObj() {
    std::string suiteName;
    {
        std::lock_guard lock(suiteMutex_);
        if (sharedUserDefaultsObj_) {
            return *sharedUserDefaultsObj_;
        }
        suiteName = sharedGroupSuiteName_;
    }
    if (suiteName.empty()) {
        log::error("Shared Group Identifier NOT set - crashing");
        throw InternalInconsistencyException("Shared Group Identifier NOT set - crashing");
    }
    // Opened outside suiteMutex_: the first open of a suite reads its file. Two threads
    // racing here get the same store (the defaults registry shares it); the first wins.
    UserDefaults opened(suiteName);
    std::lock_guard lock(suiteMutex_);
    if (!sharedUserDefaultsObj_) {
        sharedUserDefaultsObj_.emplace(std::move(opened));
    }
    return *sharedUserDefaultsObj_;
}

UserDefaults VelmoraDAO::getSharedUserDefaultsWithSuiteName(const std::string& suiteName) {
    VelmoraDAO& dao = getSharedInstance();
    UserDefaults defaults = dao.sharedUserDefaultsObj();
    std::lock_guard lock(dao.suiteMutex_);
    if (dao.sharedGroupSuiteName_.empty()) {
        dao.sharedGroupSuiteName_ = suiteName;
    }
    return defaults;
}

void VelmoraDAO::updatedSharedUserDefault(const std::string& key) {
    UpdatingPreferenceGuard updating(updatingSharedPreference_);
    if (key.empty() || !updating.owns()) {
        return;
    }
    UserDefaults group = sharedUserDefaultsObj();
    const Value value = UserDefaults::standard().objectForKey(key);
    if (!value.isNil()) {
        group.setObject(value, key);
    }
    // Callers are usually on the main thread: the write (and its fsync) goes to the
    // background queue. The value is already visible to every handle of the suite.
    runAsyncInBackgroundQueue([group] { UserDefaults(group).synchronize(); });
}

void VelmoraDAO::updatediCloudSharedUserDefault(const std::string& key) {
    if (!UserDefaults::standard().boolForKey("CanSynciCloudPreferences")) {
        return;
    }
    UpdatingPreferenceGuard updating(updatingSharedPreference_);
    if (key.empty() || !updating.owns()) {
        return;
    }
    const Value value = UserDefaults::standard().objectForKey(key);
    if (!value.isNil()) {
        log::info("Updating iCloud Value: {}: {}", key, value.description());
        VLCloudUserDefaults::setObject(value, key);
        VLCloudUserDefaults::synchronize();
    }
}

void VelmoraDAO::addKVOForUserDefaults(UserDefaults& defaults, const std::string& key,
                                       KeyValueObserver& observer) {
    addKVOForUserDefaults(defaults, key, observer, &kDefaultObservingContext);
}

void VelmoraDAO::addKVOForUserDefaults(UserDefaults& defaults, const std::string& key,
                                       KeyValueObserver& observer, const void* context) {
    defaults.addObserver(
        &observer, key, KeyValueObservingOptionNew, context,
        [&observer](const KeyValueChange& change) { observer.observeValueForKeyPath(change); });
}

void VelmoraDAO::removeKVOForUserDefaults(UserDefaults& defaults, const std::string& key,
                                          KeyValueObserver& observer) {
    defaults.removeObserver(&observer, key);
}

void VelmoraDAO::disableSleep() {
    const auto application = Application::shared();
    std::lock_guard lock(sleepState().mutex);
    if (sleepState().disableCount++ == 0 && !application->isIdleTimerDisabled()) {
        application->setIdleTimerDisabled(true);
    }
}

void VelmoraDAO::enableSleep() {
    // Read before the lock: the first read of the standard defaults loads a file.
    const bool preventSleep = UserDefaults::standard().boolForKey("PreventSleep");
    const auto application = Application::shared();
    std::lock_guard lock(sleepState().mutex);
    if (sleepState().disableCount-- < 2) {
        if (!preventSleep && application->isIdleTimerDisabled()) {
            application->setIdleTimerDisabled(false);
        }
        sleepState().disableCount = 0;
    }
}

void VelmoraDAO::resetSleep() {
    const auto application = Application::shared();
    std::lock_guard lock(sleepState().mutex);
    application->setIdleTimerDisabled(false);
    sleepState().disableCount = 0;
}

std::int64_t VelmoraDAO::sleepDisableCount() {
    std::lock_guard lock(sleepState().mutex);
    return sleepState().disableCount;
}

void VelmoraDAO::showNetworkActivityIndicator() {
    runOnMainQueueWithoutDeadlocking([this] {
        Application::shared()->setNetworkActivityIndicatorVisible(true);
        networkActivityCounter_.fetch_add(1);
    });
}

void VelmoraDAO::hideNetworkActivityIndicator() {
    runOnMainQueueWithoutDeadlocking([this] {
        if (networkActivityCounter_.fetch_sub(1) - 1 < 1) {
            networkActivityCounter_.store(0);
            Application::shared()->setNetworkActivityIndicatorVisible(false);
        }
    });
}

std::int64_t VelmoraDAO::networkActivityCounter() const {
    return networkActivityCounter_.load();
}

}  // namespace velmora

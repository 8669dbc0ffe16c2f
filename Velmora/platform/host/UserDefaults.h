#pragma once
// UserDefaults: the user's settings, as key/value pairs, per suite. The standard
// defaults belong to the application (their suite is its bundle identifier); other
// suites are shared with other programs, such as an application group's.
//
// Every UserDefaults made for one suite name shares one store in this process, so a
// value set through one is read at once through all. A store persists as the binary
// property list "<suite>.plist" in UserDirectories::configDirectory(): written
// atomically by synchronize(), on its own about a second after a change (on a background
// queue, which keeps the store alive until then even when its last handle is gone), and
// at normal exit. A file that cannot be read is logged and treated
// as empty. Values must have a property-list form (see PropertyList.h); setting
// anything else is refused with a logged error.
//
// Observers watch one key with a context, as key-value observing does: after each set
// or removal of that key they are called on the thread that made the change, outside
// the store's lock, so they may read or write the defaults themselves.
//
// Thread safety: every operation may be used from any thread.
//
//   UserDefaults defaults = UserDefaults::standard();
//   defaults.setInteger(2, "WeekStartsIndex");
//   auto token = defaults.observe("PreventSleep", KeyValueObservingOptionNew, onChange);

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

enum KeyValueObservingOptions : unsigned {
    KeyValueObservingOptionNew = 1,
    KeyValueObservingOptionOld = 2,
    // The observer is called once at registration, with the current value as new.
    KeyValueObservingOptionInitial = 4,
};

// What an observer is told. newValue / oldValue are filled only when the options ask
// for them (nil otherwise, and nil for an absent key).
struct KeyValueChange {
    std::string key;
    Value newValue;
    Value oldValue;
    const void* context = nullptr;
    bool isInitial = false;
};

class UserDefaults {
  public:
    using ObserverCallback = std::function<void(const KeyValueChange& change)>;
    // Removes its registration when destroyed (and waits for calls in progress on other
    // threads), as NotificationCenter::Observation does.
    using Observation = NotificationCenter::Observation;

    // The application's defaults: the suite named by Application::shared()'s bundle
    // identifier at the first call (so a host sets its identifier before that).
    static UserDefaults standard();
    // Synchronizes and forgets the standard defaults; the next standard() reads them
    // again (from the directories and bundle identifier in effect then).
    static void resetStandardUserDefaults();
    // Writes every suite's pending changes now, on the calling thread: for a host about
    // to leave without running exit handlers, or a test about to remove the directory.
    static void synchronizeAll();
    // How many suites the process-wide registry holds (live ones and not yet pruned ones).
    static std::size_t registeredSuiteCountForTesting();

    // The defaults of a suite. REQUIRES: suiteName is not empty.
    explicit UserDefaults(std::string_view suiteName);

    const std::string& suiteName() const;

    // Nil when absent.
    Value objectForKey(std::string_view key) const;
    // The platform's conversions of the stored value (see Value): 0 / false / 0.0 when
    // absent or not convertible.
    std::int64_t integerForKey(std::string_view key) const;
    bool boolForKey(std::string_view key) const;
    double doubleForKey(std::string_view key) const;
    // The string stored under key; nothing when absent or not a string.
    std::optional<std::string> stringForKey(std::string_view key) const;

    // A nil value removes the key. A value without a property-list form is refused
    // (logged, nothing changes, false returned). Containers are copied deeply, so later
    // changes to the caller's array or dictionary do not reach the store.
    bool setObject(const Value& value, std::string_view key);
    void setInteger(std::int64_t value, std::string_view key);
    void setBool(bool value, std::string_view key);
    void setDouble(double value, std::string_view key);
    void removeObjectForKey(std::string_view key);

    // A copy of every key and value.
    Dictionary dictionaryRepresentation() const;

    // Writes pending changes to disk now; when there are none and the file was changed
    // by another process, reads it again (observers of changed keys are told). Answers
    // whether the store and the file agree afterwards.
    bool synchronize();

    // RAII observation of key: the registration lasts as long as the token, and as long
    // as the suite's store does (keep a UserDefaults handle of the suite meanwhile).
    [[nodiscard]] Observation observe(std::string key, unsigned options, ObserverCallback callback,
                                      const void* context = nullptr);

    // Key-value-observing style registration, kept until removed by observer and key
    // (or until the suite's store goes away with its last handle).
    // Registering the same (observer, key, context) again replaces the earlier one.
    void addObserver(const void* observer, std::string key, unsigned options, const void* context,
                     ObserverCallback callback);
    // Removes observer's registrations for key (with any context / with that context).
    void removeObserver(const void* observer, std::string_view key);
    void removeObserver(const void* observer, std::string_view key, const void* context);

    // Handles of one suite compare equal.
    friend bool operator==(const UserDefaults& a, const UserDefaults& b) {
        return a.store_ == b.store_;
    }

    struct Store;

  private:
    explicit UserDefaults(std::shared_ptr<Store> store);

    std::shared_ptr<Store> store_;
};

}  // namespace velmora

#include "Velmora/platform/host/UserDefaults.h"

#include <cstdlib>
#include <map>
#include <mutex>
#include <system_error>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/PropertyList.h"
#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {
namespace {

constexpr auto kWriteDelay = std::chrono::seconds(1);
constexpr int kMaxDepth = 512;
constexpr const char* kNewKey = "new";
constexpr const char* kOldKey = "old";

// Every message of this component, in one place.
enum class Problem { Unreadable, NotADictionary, Unwritable, NotAPropertyList };

void report(Problem problem, const std::string& suite, const std::string& detail) {
    switch (problem) {
        case Problem::Unreadable:
            log::error("UserDefaults {}: cannot read the stored defaults, starting empty: {}",
                       suite, detail);
            break;
        case Problem::NotADictionary:
            log::error("UserDefaults {}: the stored defaults are not a dictionary, starting empty",
                       suite);
            break;
        case Problem::Unwritable:
            log::error("UserDefaults {}: cannot save the defaults: {}", suite, detail);
            break;
        case Problem::NotAPropertyList:
            log::error(
                "UserDefaults {}: refused to store a value without a property-list form "
                "for key \"{}\"",
                suite, detail);
            break;
    }
}

bool isPropertyListValue(const Value& value, int depth) {
    if (depth > kMaxDepth) {
        return false;  // also ends a cycle
    }
    switch (value.kind()) {
        case Value::Kind::Bool:
        case Value::Kind::Int:
        case Value::Kind::UInt:
        case Value::Kind::Double:
        case Value::Kind::String:
        case Value::Kind::Date:
        case Value::Kind::Data:
            return true;
        case Value::Kind::Array:
            for (const Value& element : *value.asArray()) {
                if (!isPropertyListValue(element, depth + 1)) {
                    return false;
                }
            }
            return true;
        case Value::Kind::Dictionary:
            for (const auto& [key, element] : *value.asDictionary()) {
                if (!key.isString() || !isPropertyListValue(element, depth + 1)) {
                    return false;
                }
            }
            return true;
        default:
            return false;
    }
}

// New containers all the way down, so the store never shares one with a caller.
Value deepCopy(const Value& value) {
    if (const Array* array = value.asArray()) {
        Array copy;
        copy.reserve(array->size());
        for (const Value& element : *array) {
            copy.push_back(deepCopy(element));
        }
        return Value(std::move(copy));
    }
    if (const Dictionary* dictionary = value.asDictionary()) {
        Dictionary copy;
        copy.reserve(dictionary->size());
        for (const auto& [key, element] : *dictionary) {
            copy.appendUnique(key, deepCopy(element));
        }
        return Value(std::move(copy));
    }
    return value;
}

struct FileStamp {
    std::filesystem::file_time_type time;
    std::uintmax_t size = 0;
    bool operator==(const FileStamp&) const = default;
};

std::optional<FileStamp> stampOf(const std::filesystem::path& path) {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(path, error);
    if (error) {
        return std::nullopt;
    }
    const auto size = std::filesystem::file_size(path, error);
    if (error) {
        return std::nullopt;
    }
    return FileStamp{time, size};
}

}  // namespace

struct UserDefaults::Store : std::enable_shared_from_this<Store> {
    using Key = std::tuple<const void*, std::string, const void*>;

    Store(std::string suite, std::filesystem::path file)
        : suiteName(std::move(suite)), path(std::move(file)) {}
    // A store with unsaved changes is held by its scheduled write, so the last handle
    // going away never writes (and fsyncs) on the thread that dropped it. This flush only
    // does work when that write failed; it then retries once.
    ~Store() { flush(); }

    const std::string suiteName;
    const std::filesystem::path path;
    NotificationCenter observers;  // one notification name per key

    mutable std::mutex mutex;  // guards the fields below
    Dictionary values;         // nested containers are never changed once stored
    std::uint64_t generation = 0;
    std::uint64_t savedGeneration = 0;
    bool writeScheduled = false;
    std::optional<FileStamp> stamp;  // of the file as last read or written here
    std::map<Key, Observation> registrations;

    std::mutex writeMutex;  // serialises file writes; never held with mutex

    // Reads the file (a missing file is an empty store). Returns what it found.
    Dictionary readFile(std::optional<FileStamp>& readStamp) const {
        readStamp = stampOf(path);
        std::error_code exists;
        if (!std::filesystem::exists(path, exists)) {
            return {};
        }
        std::string error;
        const auto bytes = AtomicFile::read(path, &error);
        if (!bytes) {
            report(Problem::Unreadable, suiteName, error);
            return {};
        }
        const auto value = PropertyList::read(*bytes, &error);
        if (!value) {
            report(Problem::Unreadable, suiteName, error);
            return {};
        }
        if (!value->isDictionary()) {
            report(Problem::NotADictionary, suiteName, {});
            return {};
        }
        Dictionary loaded;
        for (const auto& [key, element] : *value->asDictionary()) {
            if (key.isString() && isPropertyListValue(element, 1)) {
                loaded.set(key, element);
            }
        }
        return loaded;
    }

    void load() {
        std::optional<FileStamp> readStamp;
        Dictionary loaded = readFile(readStamp);
        std::lock_guard lock(mutex);
        values = std::move(loaded);
        stamp = readStamp;
    }

    // Writes the current values when they have changed since the last write.
    bool flush() {
        Dictionary snapshot;
        std::uint64_t snapshotGeneration = 0;
        {
            std::lock_guard lock(mutex);
            writeScheduled = false;
            if (generation == savedGeneration) {
                return true;
            }
            snapshot = values;
            snapshotGeneration = generation;
        }
        std::lock_guard writing(writeMutex);
        {
            std::lock_guard lock(mutex);
            if (savedGeneration >= snapshotGeneration) {
                return true;  // a later snapshot was written meanwhile
            }
        }
        std::string error;
        const auto bytes = PropertyList::binaryData(Value(std::move(snapshot)), &error);
        const auto directory = UserDirectories::ensureDirectory(path.parent_path());
        if (!bytes || !directory || !AtomicFile::write(path, *bytes, &error)) {
            report(Problem::Unwritable, suiteName,
                   directory ? error : "cannot create " + path.parent_path().string());
            return false;
        }
        const auto written = stampOf(path);
        std::lock_guard lock(mutex);
        savedGeneration = std::max(savedGeneration, snapshotGeneration);
        stamp = written;
        return true;
    }

    // The block holds the store until it has written, which keeps the suite registered
    // (a new handle meanwhile gets these values, not the file's older ones).
    void scheduleWrite() {
        DispatchQueue::global(DispatchQueue::Priority::Background)
            .asyncAfter(kWriteDelay, [self = shared_from_this()] { self->flush(); });
    }

    void notify(const std::string& key, const Value& newValue, const Value& oldValue) {
        Dictionary change;
        change.set(kNewKey, newValue);
        change.set(kOldKey, oldValue);
        observers.post(key, nullptr, Value(std::move(change)));
    }

    // Sets (or with nil removes) key, then tells its observers.
    void change(std::string_view key, Value value) {
        const std::string name(key);
        Value old;
        bool schedule = false;
        {
            std::lock_guard lock(mutex);
            old = values.get(Value(name));
            values.set(Value(name), value);
            ++generation;
            schedule = !std::exchange(writeScheduled, true);
        }
        if (schedule) {
            scheduleWrite();
        }
        notify(name, value, old);
    }

    // Takes in a file another process wrote; tells observers of every changed key.
    void reloadIfChangedOnDisk() {
        {
            std::lock_guard lock(mutex);
            if (generation != savedGeneration || stampOf(path) == stamp) {
                return;
            }
        }
        std::optional<FileStamp> readStamp;
        Dictionary loaded = readFile(readStamp);
        std::vector<std::tuple<std::string, Value, Value>> changes;
        {
            std::lock_guard lock(mutex);
            if (generation != savedGeneration) {
                return;  // changed here meanwhile: ours wins at the next write
            }
            for (const auto& [key, value] : values) {
                if (!loaded.contains(key)) {
                    changes.emplace_back(*key.asString(), Value(), value);
                }
            }
            for (const auto& [key, value] : loaded) {
                const Value old = values.get(key);
                if (!old.isEqual(value)) {
                    changes.emplace_back(*key.asString(), value, old);
                }
            }
            values = std::move(loaded);
            stamp = readStamp;
        }
        for (const auto& [key, newValue, oldValue] : changes) {
            notify(key, newValue, oldValue);
        }
    }

    Observation observe(std::string key, unsigned options, ObserverCallback callback,
                        const void* context) {
        if (options & KeyValueObservingOptionInitial) {
            KeyValueChange initial{key, Value(), Value(), context, true};
            {
                std::lock_guard lock(mutex);
                initial.newValue = deepCopy(values.get(Value(key)));
            }
            callback(initial);
        }
        return observers.addObserver(
            key, [key, options, context, callback = std::move(callback)](const Notification& n) {
                KeyValueChange change{key, Value(), Value(), context, false};
                if (options & KeyValueObservingOptionNew) {
                    change.newValue = deepCopy(n.userInfo[Value(kNewKey)]);
                }
                if (options & KeyValueObservingOptionOld) {
                    change.oldValue = deepCopy(n.userInfo[Value(kOldKey)]);
                }
                callback(change);
            });
    }
};

namespace {

struct Registry {
    std::mutex mutex;  // guards the fields below
    std::unordered_map<std::string, std::weak_ptr<UserDefaults::Store>> stores;  // by file
    std::shared_ptr<UserDefaults::Store> standard;
    bool exitHookInstalled = false;
};

Registry& registry() {
    static NoDestructor<Registry> instance;
    return *instance;
}

// Writes every live store's pending changes on the calling thread.
void flushAllStores() {
    std::vector<std::shared_ptr<UserDefaults::Store>> live;
    {
        std::lock_guard lock(registry().mutex);
        for (const auto& [name, weak] : registry().stores) {
            if (auto store = weak.lock()) {
                live.push_back(std::move(store));
            }
        }
    }
    for (const auto& store : live) {
        store->flush();
    }
}

// REQUIRES: registry().mutex held. The live store of a file, without adding a slot.
std::shared_ptr<UserDefaults::Store> registeredStore(const std::string& file) {
    const auto found = registry().stores.find(file);
    return found == registry().stores.end() ? nullptr : found->second.lock();
}

// Stores are registered by their file, not their suite name alone: after the user
// directories change (VELMORA_HOME), a suite is a new store even while the old one still
// has a pending write to finish.
std::shared_ptr<UserDefaults::Store> storeFor(const std::string& suiteName) {
    const auto file = UserDirectories::configDirectory() /
                      (UserDirectories::fileNameComponent(suiteName) + ".plist");
    const std::string key = file.string();
    {
        std::lock_guard lock(registry().mutex);
        if (auto existing = registeredStore(key)) {
            return existing;
        }
    }
    // Loaded outside the registry lock: reading a file is slow. Two threads making the
    // same suite at once may both load; the first to register wins.
    auto made = std::make_shared<UserDefaults::Store>(suiteName, file);
    made->load();
    std::lock_guard lock(registry().mutex);
    if (auto existing = registeredStore(key)) {
        return existing;
    }
    // Suites whose last handle is gone leave an expired slot; dropping them as new suites
    // arrive keeps a host that makes many short-lived suites from growing the registry.
    std::erase_if(registry().stores, [](const auto& entry) { return entry.second.expired(); });
    registry().stores[key] = made;
    if (!std::exchange(registry().exitHookInstalled, true)) {
        std::atexit(flushAllStores);
    }
    return made;
}

}  // namespace

UserDefaults::UserDefaults(std::shared_ptr<Store> store) : store_(std::move(store)) {}

UserDefaults::UserDefaults(std::string_view suiteName) : store_(storeFor(std::string(suiteName))) {}

UserDefaults UserDefaults::standard() {
    {
        std::lock_guard lock(registry().mutex);
        if (registry().standard) {
            return UserDefaults(registry().standard);
        }
    }
    auto store = storeFor(Application::shared()->bundleIdentifier());
    std::lock_guard lock(registry().mutex);
    if (!registry().standard) {
        registry().standard = std::move(store);
    }
    return UserDefaults(registry().standard);
}

void UserDefaults::resetStandardUserDefaults() {
    std::shared_ptr<Store> standard;
    {
        std::lock_guard lock(registry().mutex);
        standard = std::move(registry().standard);
    }
    if (standard) {
        standard->flush();
    }
}

void UserDefaults::synchronizeAll() {
    flushAllStores();
}

std::size_t UserDefaults::registeredSuiteCountForTesting() {
    std::lock_guard lock(registry().mutex);
    return registry().stores.size();
}

const std::string& UserDefaults::suiteName() const {
    return store_->suiteName;
}

Value UserDefaults::objectForKey(std::string_view key) const {
    Value value;
    {
        std::lock_guard lock(store_->mutex);
        value = store_->values.get(Value(key));
    }
    return deepCopy(value);
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
    std::lock_guard lock(store_->mutex);
    return store_->values.get(Value(key)).integerValue();
}

bool UserDefaults::boolForKey(std::string_view key) const {
    std::lock_guard lock(store_->mutex);
    return store_->values.get(Value(key)).boolValue();
}

double UserDefaults::doubleForKey(std::string_view key) const {
    std::lock_guard lock(store_->mutex);
    return store_->values.get(Value(key)).doubleValue();
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    std::lock_guard lock(store_->mutex);
    if (const Value* value = store_->values.find(Value(key)); value && value->isString()) {
        return *value->asString();
    }
    return std::nullopt;
}

bool UserDefaults::setObject(const Value& value, std::string_view key) {
    if (!value.isNil() && !isPropertyListValue(value, 0)) {
        report(Problem::NotAPropertyList, store_->suiteName, std::string(key));
        return false;
    }
    store_->change(key, deepCopy(value));
    return true;
}

void UserDefaults::setInteger(std::int64_t value, std::string_view key) {
    store_->change(key, Value(value));
}

void UserDefaults::setBool(bool value, std::string_view key) {
    store_->change(key, Value(value));
}

void UserDefaults::setDouble(double value, std::string_view key) {
    store_->change(key, Value(value));
}

void UserDefaults::removeObjectForKey(std::string_view key) {
    store_->change(key, Value());
}

Dictionary UserDefaults::dictionaryRepresentation() const {
    Value all;
    {
        std::lock_guard lock(store_->mutex);
        all = Value(store_->values);
    }
    return *deepCopy(all).asDictionary();
}

bool UserDefaults::synchronize() {
    store_->reloadIfChangedOnDisk();
    return store_->flush();
}

UserDefaults::Observation UserDefaults::observe(std::string key, unsigned options,
                                                ObserverCallback callback, const void* context) {
    return store_->observe(std::move(key), options, std::move(callback), context);
}

void UserDefaults::addObserver(const void* observer, std::string key, unsigned options,
                               const void* context, ObserverCallback callback) {
    Store::Key id{observer, key, context};
    Observation observation =
        store_->observe(std::move(key), options, std::move(callback), context);
    std::lock_guard lock(store_->mutex);
    std::swap(store_->registrations[id], observation);
    // the replaced registration (if any) ends when observation leaves scope, unlocked:
    // declared before the lock, it is destroyed after it.
}

void UserDefaults::removeObserver(const void* observer, std::string_view key) {
    std::vector<Observation> removed;  // ended outside the lock
    std::lock_guard lock(store_->mutex);
    for (auto it = store_->registrations.begin(); it != store_->registrations.end();) {
        if (std::get<0>(it->first) == observer && std::get<1>(it->first) == key) {
            removed.push_back(std::move(it->second));
            it = store_->registrations.erase(it);
        } else {
            ++it;
        }
    }
}

void UserDefaults::removeObserver(const void* observer, std::string_view key, const void* context) {
    Observation removed;  // ended outside the lock
    std::lock_guard lock(store_->mutex);
    const auto found = store_->registrations.find(Store::Key{observer, std::string(key), context});
    if (found != store_->registrations.end()) {
        removed = std::move(found->second);
        store_->registrations.erase(found);
    }
}

}  // namespace velmora

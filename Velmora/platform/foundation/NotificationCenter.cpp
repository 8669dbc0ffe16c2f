#include "Velmora/platform/foundation/NotificationCenter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <mutex>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {

struct NotificationCenter::Entry {
    std::string name;
    const void* sender = nullptr;
    bool anySender = true;
    Callback callback;
    std::atomic<bool> active{true};
    std::atomic<int> callsInProgress{0};

    bool matches(const Notification& n) const {
        return (name.empty() || name == n.name) && (anySender || sender == n.sender);
    }
};

namespace {

constexpr std::size_t kNameBuckets = 64;

// A cheap sample of a name (its length and three of its characters) that picks the count
// a post reads. Names of one family share their start and end, so the samples come from
// the middle; two names in one bucket only cost the slow path.
std::size_t nameBucket(std::string_view name) {
    const std::size_t size = name.size();
    std::size_t sample = size;
    if (size != 0) {
        for (const std::size_t at : {size / 3, size / 2, size * 2 / 3}) {
            sample = sample * 31 + static_cast<unsigned char>(name[at]);
        }
    }
    return sample % kNameBuckets;
}

}  // namespace

struct NotificationCenter::Registry {
    std::mutex mutex;  // guards entries; the counts below change under it too
    std::vector<std::shared_ptr<Entry>> entries;
    // How many entries observe a name of each bucket, and every name. A post reads them
    // without the lock and returns at once when no entry can match, so a notification
    // nobody observes (most of them, most of the time) costs two loads, not a lock.
    std::array<std::atomic<std::uint32_t>, kNameBuckets> observersByName{};
    std::atomic<std::uint32_t> observersOfEveryName{0};

    std::atomic<std::uint32_t>& countFor(const Entry& entry) {
        return entry.name.empty() ? observersOfEveryName : observersByName[nameBucket(entry.name)];
    }
    bool mayHaveObserver(std::string_view name) const {
        return observersOfEveryName.load() != 0 || observersByName[nameBucket(name)].load() != 0;
    }
};

namespace {

// The entries whose callbacks are running on this thread (posts may nest).
thread_local std::vector<const NotificationCenter::Entry*> tEntriesInCall;

void unregister(const std::shared_ptr<NotificationCenter::Registry>& registry,
                const std::shared_ptr<NotificationCenter::Entry>& entry) {
    if (registry) {
        std::lock_guard lock(registry->mutex);
        auto& entries = registry->entries;
        const auto removed = std::remove(entries.begin(), entries.end(), entry);
        if (removed != entries.end()) {
            registry->countFor(*entry).fetch_sub(1);
            entries.erase(removed, entries.end());
        }
    }
    entry->active.store(false);
    // Wait for calls on other threads; calls on this thread are further up our own stack.
    const auto own =
        static_cast<int>(std::count(tEntriesInCall.begin(), tEntriesInCall.end(), entry.get()));
    for (int calls = entry->callsInProgress.load(); calls > own;
         calls = entry->callsInProgress.load()) {
        entry->callsInProgress.wait(calls);
    }
}

// Counts a call in progress for the scope's life. The call is counted before the caller
// tests active: a remover that clears active after that test then sees the count and
// waits for us (both sides use sequential consistency, so one always sees the other).
class CallMark {
  public:
    explicit CallMark(NotificationCenter::Entry& entry) : entry_(entry) {
        entry_.callsInProgress.fetch_add(1);
    }
    ~CallMark() {
        entry_.callsInProgress.fetch_sub(1);
        entry_.callsInProgress.notify_all();
    }
    CallMark(const CallMark&) = delete;
    CallMark& operator=(const CallMark&) = delete;

  private:
    NotificationCenter::Entry& entry_;
};

// Marks the entry as called on this thread for the scope's life.
class InCallMark {
  public:
    explicit InCallMark(const NotificationCenter::Entry& entry) {
        tEntriesInCall.push_back(&entry);
    }
    ~InCallMark() { tEntriesInCall.pop_back(); }
    InCallMark(const InCallMark&) = delete;
    InCallMark& operator=(const InCallMark&) = delete;
};

}  // namespace

NotificationCenter::Observation::Observation(std::weak_ptr<Registry> registry,
                                             std::shared_ptr<Entry> entry)
    : registry_(std::move(registry)), entry_(std::move(entry)) {}

NotificationCenter::Observation& NotificationCenter::Observation::operator=(
    Observation&& other) noexcept {
    if (this != &other) {
        reset();
        registry_ = std::move(other.registry_);
        entry_ = std::move(other.entry_);
    }
    return *this;
}

NotificationCenter::Observation::~Observation() {
    reset();
}

void NotificationCenter::Observation::reset() {
    if (entry_) {
        unregister(registry_.lock(), entry_);
        entry_.reset();
        registry_.reset();
    }
}

NotificationCenter& NotificationCenter::defaultCenter() {
    static NoDestructor<NotificationCenter> center;
    return *center;
}

NotificationCenter::NotificationCenter() : registry_(std::make_shared<Registry>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Observation NotificationCenter::addObserver(std::string name,
                                                                Callback callback) {
    auto entry = std::make_shared<Entry>();
    entry->name = std::move(name);
    entry->callback = std::move(callback);
    return registerEntry(std::move(entry));
}

NotificationCenter::Observation NotificationCenter::addObserver(std::string name,
                                                                const void* sender,
                                                                Callback callback) {
    auto entry = std::make_shared<Entry>();
    entry->name = std::move(name);
    entry->sender = sender;
    entry->anySender = false;
    entry->callback = std::move(callback);
    return registerEntry(std::move(entry));
}

NotificationCenter::Observation NotificationCenter::registerEntry(std::shared_ptr<Entry> entry) {
    {
        std::lock_guard lock(registry_->mutex);
        registry_->entries.push_back(entry);
        registry_->countFor(*entry).fetch_add(1);
    }
    return Observation(registry_, std::move(entry));
}

void NotificationCenter::post(const Notification& notification) {
    if (!registry_->mayHaveObserver(notification.name)) {
        return;
    }
    std::vector<std::shared_ptr<Entry>> targets;
    {
        std::lock_guard lock(registry_->mutex);
        for (const auto& entry : registry_->entries) {
            if (entry->matches(notification)) {
                targets.push_back(entry);
            }
        }
    }
    std::exception_ptr firstFailure;
    for (const auto& entry : targets) {
        const CallMark mark(*entry);
        if (entry->active.load() && entry->callback) {
            const InCallMark inCall(*entry);
            try {
                entry->callback(notification);
            } catch (...) {
                if (!firstFailure) {
                    firstFailure = std::current_exception();
                }
            }
        }
    }
    if (firstFailure) {
        std::rethrow_exception(firstFailure);
    }
}

void NotificationCenter::post(std::string name, const void* sender, Value userInfo) {
    post(Notification{std::move(name), sender, std::move(userInfo)});
}

}  // namespace velmora

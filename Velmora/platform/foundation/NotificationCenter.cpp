#include "Velmora/platform/foundation/NotificationCenter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
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

// Bucket 63 stands for the observers of every name; names fall in buckets 0 to 62.
constexpr std::size_t kEveryNameBucket = 63;

// A cheap sample of a name (its length and three of its characters) that picks its
// bucket. Names of one family share their start and end, so the samples come from the
// middle; two names in one bucket only cost the slow path.
std::size_t nameBucket(std::string_view name) {
    const std::size_t size = name.size();
    if (size == 0) {
        return kEveryNameBucket;
    }
    std::size_t sample = size;
    for (const std::size_t at : {size / 3, size / 2, size * 2 / 3}) {
        sample = sample * 31 + static_cast<unsigned char>(name[at]);
    }
    return sample % kEveryNameBucket;
}

// The buckets whose observers may match a notification of this name.
std::uint64_t bucketsMatching(std::string_view name) {
    return (std::uint64_t{1} << kEveryNameBucket) | (std::uint64_t{1} << nameBucket(name));
}

}  // namespace

struct NotificationCenter::Registry {
    std::mutex mutex;  // guards entries and observersInBucket
    std::vector<std::shared_ptr<Entry>> entries;
    std::array<std::uint32_t, kEveryNameBucket + 1> observersInBucket{};
    // Bit b is set while bucket b has an observer; written under the lock, read without
    // it. A post that no entry can match (most of them, most of the time) returns after
    // one load instead of taking the lock and comparing every entry's name.
    std::atomic<std::uint64_t> observedBuckets{0};

    void count(const Entry& entry, bool added) {
        const std::size_t bucket = nameBucket(entry.name);
        if (added) {
            ++observersInBucket[bucket];
        } else {
            --observersInBucket[bucket];
        }
        const std::uint64_t bit = std::uint64_t{1} << bucket;
        const std::uint64_t buckets = observedBuckets.load();
        observedBuckets.store(observersInBucket[bucket] != 0 ? buckets | bit : buckets & ~bit);
    }
    bool mayHaveObserver(std::string_view name) const {
        const std::uint64_t buckets = observedBuckets.load();
        return buckets != 0 && (buckets & bucketsMatching(name)) != 0;
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
            registry->count(*entry, false);
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

NotificationCenter::NotificationCenter()
    : registry_(std::make_shared<Registry>()), observedBuckets_(&registry_->observedBuckets) {}

NotificationCenter::NameKey::NameKey(std::string_view name) : buckets_(bucketsMatching(name)) {}

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
        registry_->count(*entry, true);
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

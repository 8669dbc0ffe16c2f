#pragma once
// NotificationCenter: in-process broadcast of named notifications.
//
// Posting is synchronous: every matching observer is called on the posting thread, in
// the order they registered, before post() returns. An observer is registered for one
// name (or every name, with an empty name) and optionally one sender, and stays
// registered while its Observation token lives: destroying the token unregisters it.
//
// An observer may remove itself, or any other observer, from inside its callback; a
// removed observer that has not been called yet in a post is not called. Removing an
// observer from one thread while another thread is inside its callback waits for that
// call to finish, so once the token is gone the callback is never running anywhere
// (except on the remover's own stack, when it removes itself).
//
// Exceptions: an observer that throws does not stop the post. The remaining observers are
// still called, and then post() rethrows the first exception to the poster, who waits for
// the observers as a sync caller does; further exceptions of the same post are dropped.
// The observer's call is over either way, so removing it never waits for a throw.
//
// Thread safety: every operation may be used from any thread.
//
//   auto token = NotificationCenter::defaultCenter().addObserver(
//       "VL_MESSAGE_DAY_CHANGED", [](const Notification&) { reloadToday(); });
//   NotificationCenter::defaultCenter().post("VL_MESSAGE_DAY_CHANGED");

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Notification.h"

namespace velmora {

class NotificationCenter {
  public:
    using Callback = std::function<void(const Notification&)>;
    struct Registry;
    struct Entry;

    // The registration of one observer. Move-only; unregisters when destroyed or reset.
    class Observation {
      public:
        Observation() = default;
        Observation(Observation&& other) noexcept = default;
        Observation& operator=(Observation&& other) noexcept;
        Observation(const Observation&) = delete;
        Observation& operator=(const Observation&) = delete;
        ~Observation();

        void reset();
        bool isActive() const { return entry_ != nullptr; }

      private:
        friend class NotificationCenter;
        Observation(std::weak_ptr<Registry> registry, std::shared_ptr<Entry> entry);
        std::weak_ptr<Registry> registry_;
        std::shared_ptr<Entry> entry_;
    };

    static NotificationCenter& defaultCenter();

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    // Observe name from any sender; an empty name observes every notification.
    [[nodiscard]] Observation addObserver(std::string name, Callback callback);
    // Observe name posted by sender only (identity comparison).
    [[nodiscard]] Observation addObserver(std::string name, const void* sender, Callback callback);

    void post(const Notification& notification);
    void post(std::string name, const void* sender = nullptr, Value userInfo = {});

    // A name prepared once for mayHaveObserver, by a poster that posts it at a high rate.
    class NameKey {
      public:
        explicit NameKey(std::string_view name);

      private:
        friend class NotificationCenter;
        std::uint64_t buckets_;
    };
    // False when no observer registered now can match the name (true may still match none):
    // the test post makes first, inline, so that a poster can skip even building the
    // notification.
    bool mayHaveObserver(const NameKey& name) const {
        return (observedBuckets_->load() & name.buckets_) != 0;
    }

  private:
    Observation registerEntry(std::shared_ptr<Entry> entry);

    std::shared_ptr<Registry> registry_;
    const std::atomic<std::uint64_t>* observedBuckets_;  // the registry's
};

}  // namespace velmora

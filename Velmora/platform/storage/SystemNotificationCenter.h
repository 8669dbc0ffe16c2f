#pragma once
// SystemNotificationCenter: notifications across the processes of one user. A
// notification is a name only (no sender, no payload); posting name N calls every
// observer of N in every process of the user that watches the same runtime directory.
//
// How it works: each name has a signal file in UserDirectories::privateRuntimeDirectory
// ("notifications") (the name made a safe file name). Posting appends one byte to that
// file with O_APPEND, which the kernel makes atomic, so posts from many processes at once
// are never merged or lost. Every observing process watches the directory with inotify on
// a thread of its own; when a signal file grows, the observers of its name are called
// once per byte it grew, so each post reaches each observer exactly once, within the
// time the kernel takes to wake that thread. The files grow by one byte per post and live
// in the runtime directory, which the session clears at logout.
//
// Observers are called on the center's own thread, one call at a time, never on the
// poster's thread (as the platform's Darwin center calls back on its own thread). An
// observer that throws is logged at error level with its what() and dropped; later
// notifications still arrive. Destroying an Observation waits for a call of that observer
// in progress on another thread, so once the token is gone the callback is never running
// (except on the remover's own stack, when an observer removes itself).
//
// Thread safety: every operation may be used from any thread. The directory follows
// the environment at each call (tests point VELMORA_HOME at a scratch directory).
//
//   auto token = SystemNotificationCenter::shared().addObserver(
//       "com.example.changed", [](const std::string& name) { reload(); });
//   SystemNotificationCenter::shared().post("com.example.changed");

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

class SystemNotificationCenter {
  public:
    using Callback = std::function<void(const std::string& name)>;

    // Unregisters its observer when destroyed or reset. Move-only.
    class Observation {
      public:
        Observation() = default;
        Observation(Observation&& other) noexcept;
        Observation& operator=(Observation&& other) noexcept;
        Observation(const Observation&) = delete;
        Observation& operator=(const Observation&) = delete;
        ~Observation();
        void reset();
        explicit operator bool() const { return static_cast<bool>(entry_); }

      private:
        friend class SystemNotificationCenter;
        struct Entry;
        Observation(SystemNotificationCenter* center, std::shared_ptr<Entry> entry);
        SystemNotificationCenter* center_ = nullptr;
        std::shared_ptr<Entry> entry_;
    };

    static SystemNotificationCenter& shared();

    SystemNotificationCenter();
    ~SystemNotificationCenter();
    SystemNotificationCenter(const SystemNotificationCenter&) = delete;
    SystemNotificationCenter& operator=(const SystemNotificationCenter&) = delete;

    // Signals every observer of name in every process. Answers false (and posts nothing)
    // for an empty name or when the signal file cannot be written.
    bool post(std::string_view name);
    // An empty token when name is empty or the directory cannot be watched.
    [[nodiscard]] Observation addObserver(std::string name, Callback callback);
    // How many observers of name this process has (in the current directory).
    std::size_t observerCount(std::string_view name) const;

  private:
    struct Impl;
    void remove(const std::shared_ptr<Observation::Entry>& entry);
    std::unique_ptr<Impl> impl_;
};

}  // namespace velmora

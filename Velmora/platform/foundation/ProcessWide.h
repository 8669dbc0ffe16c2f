#pragma once
// ProcessWide<T>: a process-wide setting that starts as a default made on first use and
// can be replaced at run time by the host or a test (the system time zone, the current
// locale). Readers get a copy, so a replacement never changes a value someone holds.
//
// Thread-safe. Keep instances in a NoDestructor: they are read until the process ends.
//
//   static NoDestructor<ProcessWide<Locale>> current([] { return Locale("en_US"); });
//   Locale now = current->get();
//   current->set(Locale("de_DE"));

#include <mutex>
#include <optional>
#include <utility>

namespace velmora {

template <class T>
class ProcessWide {
  public:
    using Factory = T (*)();

    explicit ProcessWide(Factory makeDefault) : makeDefault_(makeDefault) {}
    ProcessWide(const ProcessWide&) = delete;
    ProcessWide& operator=(const ProcessWide&) = delete;

    T get() const {
        std::lock_guard lock(mutex_);
        if (!value_) {
            value_.emplace(makeDefault_());
        }
        return *value_;
    }

    void set(T value) {
        std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }

  private:
    const Factory makeDefault_;
    mutable std::mutex mutex_;        // guards value_
    mutable std::optional<T> value_;  // made on first get()
};

}  // namespace velmora

#pragma once
// NoDestructor<T>: a process-lifetime object that is built on first use and never
// destroyed. Singletons whose threads or callers may outlive static destruction (the
// main run loop, the dispatch pools, the default notification centre) live in one, so
// that a late block never touches a destroyed object during exit.
//
//   static NoDestructor<Registry> registry;
//   registry->add(...);

#include <new>
#include <utility>

namespace velmora {

template <class T>
class NoDestructor {
  public:
    template <class... Args>
    explicit NoDestructor(Args&&... args) {
        new (storage_) T(std::forward<Args>(args)...);
    }
    NoDestructor(const NoDestructor&) = delete;
    NoDestructor& operator=(const NoDestructor&) = delete;
    ~NoDestructor() = default;

    T& operator*() { return *get(); }
    T* operator->() { return get(); }
    T* get() { return std::launder(reinterpret_cast<T*>(storage_)); }

  private:
    alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace velmora

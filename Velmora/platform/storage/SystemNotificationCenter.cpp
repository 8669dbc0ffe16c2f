#include "Velmora/platform/storage/SystemNotificationCenter.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/storage/UniqueFd.h"
#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {
namespace {

constexpr std::string_view kFolder = "notifications";

std::optional<std::filesystem::path> signalDirectory() {
    return UserDirectories::privateRuntimeDirectory(kFolder);
}

std::uint64_t fileSize(const std::filesystem::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

}  // namespace

struct SystemNotificationCenter::Observation::Entry {
    std::string name;
    std::filesystem::path file;
    Callback callback;
    bool removed = false;  // guarded by the center's mutex
};

struct SystemNotificationCenter::Impl {
    using Entry = Observation::Entry;
    // One per signal file this process observes.
    struct Channel {
        std::uint64_t offset = 0;  // bytes already delivered
        std::vector<std::shared_ptr<Entry>> entries;
    };

    std::mutex mutex;
    std::condition_variable callEnded;
    std::map<std::filesystem::path, Channel> channels;  // by signal file
    std::map<int, std::filesystem::path> directories;   // inotify watch -> directory
    const Entry* inCall = nullptr;
    std::thread::id threadId;
    std::thread thread;
    UniqueFd inotify{::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
    UniqueFd wake{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};

    ~Impl() {
        if (thread.joinable()) {
            const std::uint64_t one = 1;
            [[maybe_unused]] const auto written = ::write(wake.get(), &one, sizeof one);
            thread.join();
        }
    }

    // Starts the watching thread once; called with the mutex held.
    void startLocked() {
        if (!thread.joinable()) {
            thread = std::thread([this] { watch(); });
            threadId = thread.get_id();
        }
    }

    void watch() {
        alignas(inotify_event) char buffer[8192];
        for (;;) {
            pollfd fds[2] = {{inotify.get(), POLLIN, 0}, {wake.get(), POLLIN, 0}};
            if (::poll(fds, 2, -1) < 0) {
                if (errno == EINTR) {
                    continue;
                }
                log::error("SystemNotificationCenter: poll failed: {}", std::strerror(errno));
                return;
            }
            if (fds[1].revents != 0) {
                return;
            }
            std::vector<std::filesystem::path> grown;
            bool overflow = false;
            ssize_t length = 0;
            while ((length = ::read(inotify.get(), buffer, sizeof buffer)) > 0) {
                for (char* at = buffer; at < buffer + length;) {
                    const auto* event = reinterpret_cast<const inotify_event*>(at);
                    at += sizeof(inotify_event) + event->len;
                    if ((event->mask & IN_Q_OVERFLOW) != 0) {
                        overflow = true;
                        continue;
                    }
                    std::lock_guard lock(mutex);
                    if ((event->mask & IN_IGNORED) != 0) {
                        directories.erase(event->wd);
                        continue;
                    }
                    const auto directory = directories.find(event->wd);
                    if (directory != directories.end() && event->len > 0) {
                        grown.push_back(directory->second / event->name);
                    }
                }
            }
            deliver(grown, overflow);
        }
    }

    // Calls the observers of every grown file once per byte it grew; after an inotify
    // overflow, every observed file is checked, so nothing is lost even then.
    void deliver(const std::vector<std::filesystem::path>& grown, bool overflow) {
        std::vector<std::pair<std::shared_ptr<Entry>, std::uint64_t>> calls;
        {
            std::lock_guard lock(mutex);
            auto collect = [&](const std::filesystem::path& file, Channel& channel) {
                const std::uint64_t size = fileSize(file);
                if (size < channel.offset) {  // the file was replaced: count it anew
                    channel.offset = 0;
                }
                const std::uint64_t posts = size - channel.offset;
                channel.offset = size;
                if (posts > 0) {
                    for (const auto& entry : channel.entries) {
                        calls.emplace_back(entry, posts);
                    }
                }
            };
            if (overflow) {
                for (auto& [file, channel] : channels) {
                    collect(file, channel);
                }
            } else {
                for (const auto& file : grown) {
                    if (auto channel = channels.find(file); channel != channels.end()) {
                        collect(file, channel->second);
                    }
                }
            }
        }
        for (const auto& [entry, posts] : calls) {
            for (std::uint64_t i = 0; i < posts; ++i) {
                call(entry);
            }
        }
    }

    void call(const std::shared_ptr<Entry>& entry) {
        {
            std::lock_guard lock(mutex);
            if (entry->removed) {
                return;
            }
            inCall = entry.get();
        }
        struct EndCall {
            Impl& impl;
            ~EndCall() {
                {
                    std::lock_guard lock(impl.mutex);
                    impl.inCall = nullptr;
                }
                impl.callEnded.notify_all();
            }
        } endCall{*this};
        try {
            entry->callback(entry->name);
        } catch (const std::exception& error) {
            log::error("SystemNotificationCenter: observer of \"{}\" threw: {}", entry->name,
                       error.what());
        } catch (...) {
            log::error("SystemNotificationCenter: observer of \"{}\" threw", entry->name);
        }
    }
};

SystemNotificationCenter::Observation::Observation(SystemNotificationCenter* center,
                                                   std::shared_ptr<Entry> entry)
    : center_(center), entry_(std::move(entry)) {}

SystemNotificationCenter::Observation::Observation(Observation&& other) noexcept
    : center_(std::exchange(other.center_, nullptr)), entry_(std::move(other.entry_)) {}

SystemNotificationCenter::Observation& SystemNotificationCenter::Observation::operator=(
    Observation&& other) noexcept {
    if (this != &other) {
        reset();
        center_ = std::exchange(other.center_, nullptr);
        entry_ = std::move(other.entry_);
    }
    return *this;
}

SystemNotificationCenter::Observation::~Observation() {
    reset();
}

void SystemNotificationCenter::Observation::reset() {
    if (entry_) {
        center_->remove(entry_);
        entry_.reset();
        center_ = nullptr;
    }
}

SystemNotificationCenter& SystemNotificationCenter::shared() {
    static NoDestructor<SystemNotificationCenter> center;
    return *center;
}

SystemNotificationCenter::SystemNotificationCenter() : impl_(std::make_unique<Impl>()) {}

SystemNotificationCenter::~SystemNotificationCenter() = default;

bool SystemNotificationCenter::post(std::string_view name) {
    const auto directory = signalDirectory();
    if (name.empty() || !directory) {
        return false;
    }
    const std::filesystem::path file = *directory / UserDirectories::fileNameComponent(name);
    const UniqueFd fd(
        ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (fd.get() < 0) {
        return false;
    }
    const char signal = '.';
    ssize_t written = 0;
    while ((written = ::write(fd.get(), &signal, 1)) < 0 && errno == EINTR) {
    }
    return written == 1;
}

SystemNotificationCenter::Observation SystemNotificationCenter::addObserver(std::string name,
                                                                            Callback callback) {
    const auto directory = signalDirectory();
    if (name.empty() || !directory || impl_->inotify.get() < 0 || impl_->wake.get() < 0) {
        return {};
    }
    // The watch comes before the file's size is read, so a post made after this call
    // returns is never missed.
    const int wd = ::inotify_add_watch(impl_->inotify.get(), directory->c_str(),
                                       IN_MODIFY | IN_CREATE | IN_ONLYDIR);
    if (wd < 0) {
        return {};
    }
    auto entry = std::make_shared<Observation::Entry>();
    entry->file = *directory / UserDirectories::fileNameComponent(name);
    entry->name = std::move(name);
    entry->callback = std::move(callback);
    std::lock_guard lock(impl_->mutex);
    impl_->directories[wd] = *directory;
    auto [channel, added] = impl_->channels.try_emplace(entry->file);
    if (added) {
        channel->second.offset = fileSize(entry->file);
    }
    channel->second.entries.push_back(entry);
    impl_->startLocked();
    return Observation(this, std::move(entry));
}

std::size_t SystemNotificationCenter::observerCount(std::string_view name) const {
    const auto directory = signalDirectory();
    if (!directory) {
        return 0;
    }
    std::lock_guard lock(impl_->mutex);
    const auto channel =
        impl_->channels.find(*directory / UserDirectories::fileNameComponent(name));
    return channel == impl_->channels.end() ? 0 : channel->second.entries.size();
}

void SystemNotificationCenter::remove(const std::shared_ptr<Observation::Entry>& entry) {
    std::unique_lock lock(impl_->mutex);
    entry->removed = true;
    if (auto channel = impl_->channels.find(entry->file); channel != impl_->channels.end()) {
        auto& entries = channel->second.entries;
        std::erase(entries, entry);
        if (entries.empty()) {
            impl_->channels.erase(channel);
        }
    }
    if (std::this_thread::get_id() != impl_->threadId) {
        impl_->callEnded.wait(lock, [&] { return impl_->inCall != entry.get(); });
    }
}

}  // namespace velmora

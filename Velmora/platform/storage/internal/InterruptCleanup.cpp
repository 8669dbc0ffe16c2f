#include "Velmora/platform/storage/internal/InterruptCleanup.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>
#include <utility>

#include <unistd.h>

namespace velmora::internal {
namespace {

constexpr std::size_t kPathCapacity = 4096;
constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGXFSZ};

enum SlotState : int { kFree, kFilling, kArmed };

// Read by the signal handler, so only lock-free atomics and plain bytes.
struct Slot {
    std::atomic<int> state{kFree};
    char path[kPathCapacity] = {};
};

std::array<Slot, 32>& slots() {
    static std::array<Slot, 32> table;
    return table;
}

extern "C" void removeTemporaryFiles(int signal) {
    for (Slot& slot : slots()) {
        if (slot.state.load() == kArmed) {
            ::unlink(slot.path);
        }
    }
    // SA_RESETHAND has put the default action back; the signal is blocked until this
    // handler returns, and then ends the process as it would have without us.
    ::raise(signal);
}

void installHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        slots();  // made before any handler can read it
        for (const int signal : kSignals) {
            struct sigaction previous {};
            if (::sigaction(signal, nullptr, &previous) != 0 ||
                (previous.sa_flags & SA_SIGINFO) != 0 || previous.sa_handler != SIG_DFL) {
                continue;
            }
            struct sigaction action {};
            action.sa_handler = removeTemporaryFiles;
            action.sa_flags = SA_RESETHAND;
            sigemptyset(&action.sa_mask);
            ::sigaction(signal, &action, nullptr);
        }
    });
}

}  // namespace

InterruptCleanup::Registration InterruptCleanup::protect(const std::filesystem::path& path) {
    static_assert(std::atomic<int>::is_always_lock_free);
    const std::string& text = path.native();
    if (text.size() >= kPathCapacity) {
        return Registration(-1);
    }
    installHandlers();
    std::array<Slot, 32>& table = slots();
    for (std::size_t i = 0; i < table.size(); ++i) {
        int expected = kFree;
        if (table[i].state.compare_exchange_strong(expected, kFilling)) {
            std::memcpy(table[i].path, text.c_str(), text.size() + 1);
            table[i].state.store(kArmed);
            return Registration(static_cast<int>(i));
        }
    }
    return Registration(-1);
}

InterruptCleanup::Registration::Registration(Registration&& other) noexcept
    : slot_(std::exchange(other.slot_, -1)) {}

InterruptCleanup::Registration::~Registration() {
    if (slot_ >= 0) {
        slots()[static_cast<std::size_t>(slot_)].state.store(kFree);
    }
}

}  // namespace velmora::internal

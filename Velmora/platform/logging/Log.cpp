#include "Velmora/platform/logging/Log.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <chrono>
#include <exception>
#include <mutex>

#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {
namespace {

constexpr int kAllFlags = static_cast<int>(LogLevel::Verbose);

// spdlog filters by threshold, our levels are masks; they agree because every named level
// lets through all flags more severe than its least severe one.
spdlog::level::level_enum thresholdOf(int mask) {
    mask &= kAllFlags;
    if (mask >= static_cast<int>(LogFlag::Verbose)) {
        return spdlog::level::trace;
    }
    if (mask >= static_cast<int>(LogFlag::Debug)) {
        return spdlog::level::debug;
    }
    if (mask >= static_cast<int>(LogFlag::Info)) {
        return spdlog::level::info;
    }
    if (mask >= static_cast<int>(LogFlag::Warning)) {
        return spdlog::level::warn;
    }
    return mask != 0 ? spdlog::level::err : spdlog::level::off;
}

// The named level a mask acts as (see addLogger).
int namedMaskOf(int mask) {
    mask &= kAllFlags;
    int named = 0;
    while (named < mask) {
        named = named * 2 + 1;
    }
    return named;
}

// The spdlog level of a message: that of its most severe flag, so it passes exactly the
// loggers whose level shares a bit with the flag. REQUIRES: flag has a bit in kAllFlags.
spdlog::level::level_enum messageLevelOf(int flag) {
    const int mostSevere = flag & kAllFlags & -(flag & kAllFlags);
    return thresholdOf(mostSevere);
}

spdlog::log_clock::time_point timePointOf(Date date) {
    // Nanoseconds in 64 bits reach only ±292 years; formatters read the exact Date anyway.
    constexpr double kLimit = 9.0e9;
    const double seconds = std::clamp(date.timeIntervalSince1970(), -kLimit, kLimit);
    return spdlog::log_clock::time_point(std::chrono::duration_cast<spdlog::log_clock::duration>(
        std::chrono::duration<double>(seconds)));
}

// Hands each message to the added loggers. Its lock (spdlog's, held while a message is
// written) also guards the list, so adding and removing wait for the line in progress.
class LoggerListSink final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    struct Entry {
        std::shared_ptr<Logger> logger;
        std::shared_ptr<spdlog::sinks::sink> sink;
        int mask;
    };

    void add(Entry entry) {
        std::lock_guard<std::mutex> lock(mutex_);
        entry.sink->set_level(thresholdOf(entry.mask));
        auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& e) { return e.logger == entry.logger; });
        if (found != entries_.end()) {
            *found = std::move(entry);
        } else {
            entries_.push_back(std::move(entry));
        }
        updateEnabledLocked();
    }

    // The remove calls hand back what they removed, for the caller to let go of after the
    // lock is released: a logger's destructor calls into its formatter.
    [[nodiscard]] std::vector<Entry> remove(const Logger* logger) {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<Entry> removed;
        auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& e) { return e.logger.get() == logger; });
        if (found != entries_.end()) {
            removed.push_back(std::move(*found));
            entries_.erase(found);
            updateEnabledLocked();
        }
        return removed;
    }

    [[nodiscard]] std::vector<Entry> removeAll() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<Entry> removed = std::exchange(entries_, {});
        updateEnabledLocked();
        return removed;
    }

    std::vector<std::shared_ptr<Logger>> loggers() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::shared_ptr<Logger>> loggers;
        for (const Entry& entry : entries_) {
            loggers.push_back(entry.logger);
        }
        return loggers;
    }

    bool isEnabled(int flag) const {
        return (enabled_.load(std::memory_order_relaxed) & flag) != 0;
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        // One logger failing (a throwing formatter) must not keep the line from the others;
        // the first failure goes on to spdlog's error handler afterwards.
        std::exception_ptr failure;
        for (const Entry& entry : entries_) {
            if (entry.sink->should_log(msg.level)) {
                try {
                    entry.sink->log(msg);
                } catch (...) {
                    if (!failure) {
                        failure = std::current_exception();
                    }
                }
            }
        }
        if (failure) {
            std::rethrow_exception(failure);
        }
    }

    void flush_() override {
        for (const Entry& entry : entries_) {
            entry.sink->flush();
        }
    }

  private:
    void updateEnabledLocked() {
        int enabled = 0;
        for (const Entry& entry : entries_) {
            enabled |= entry.mask;
        }
        enabled_.store(enabled, std::memory_order_relaxed);
    }

    std::vector<Entry> entries_;
    std::atomic<int> enabled_{0};
};

struct Facade {
    Facade()
        : loggers(std::make_shared<LoggerListSink>()),
          spdlogLogger(std::make_shared<spdlog::logger>("velmora", loggers)) {
        spdlogLogger->set_level(spdlog::level::trace);
    }

    const std::shared_ptr<LoggerListSink> loggers;
    const std::shared_ptr<spdlog::logger> spdlogLogger;
};

// Never destroyed: threads may still log while the process exits.
Facade& facade() {
    static NoDestructor<Facade> instance;
    return *instance;
}

}  // namespace

void Log::addLogger(std::shared_ptr<Logger> logger, LogLevel level) {
    assert(logger != nullptr);
    std::shared_ptr<spdlog::sinks::sink> sink = logger->sink_;
    facade().loggers->add(
        {std::move(logger), std::move(sink), namedMaskOf(static_cast<int>(level))});
}

void Log::removeLogger(const std::shared_ptr<Logger>& logger) {
    // Destroyed on return, outside the list's lock.
    const std::vector<LoggerListSink::Entry> removed = facade().loggers->remove(logger.get());
}

void Log::removeAllLoggers() {
    const std::vector<LoggerListSink::Entry> removed = facade().loggers->removeAll();
}

std::vector<std::shared_ptr<Logger>> Log::allLoggers() {
    return facade().loggers->loggers();
}

bool Log::isEnabled(int flag) {
    return facade().loggers->isEnabled(flag);
}

void Log::log(LogFlag flag, std::string_view text) {
    log(static_cast<int>(flag), text);
}

void Log::log(int flag, std::string_view text) {
    Facade& f = facade();
    if (!f.loggers->isEnabled(flag)) {
        return;
    }
    const LogMessage message{flag, Clock::now(), std::string(text)};
    const Logger::DispatchScope scope(message);
    f.spdlogLogger->log(timePointOf(message.timestamp), spdlog::source_loc{}, messageLevelOf(flag),
                        message.text);
}

}  // namespace velmora

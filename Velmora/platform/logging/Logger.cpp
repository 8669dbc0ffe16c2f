#include "Velmora/platform/logging/Logger.h"

#include <cassert>
#include <chrono>
#include <utility>

#include <spdlog/formatter.h>
#include <spdlog/sinks/sink.h>

namespace velmora {

thread_local const LogMessage* Logger::dispatching_ = nullptr;

// The spdlog side of a LogFormatter: the sink owns one (clones included) and calls it
// under the sink's lock for every line it writes.
class Logger::FormatterAdapter final : public spdlog::formatter {
  public:
    explicit FormatterAdapter(std::shared_ptr<LogFormatter> formatter)
        : formatter_(std::move(formatter)) {}

    void format(const spdlog::details::log_msg& msg, spdlog::memory_buf_t& dest) override {
        if (!formatter_) {
            dest.append(msg.payload.begin(), msg.payload.end());
        } else if (const LogMessage* message = dispatching_;
                   message != nullptr && message->text.data() == msg.payload.data()) {
            append(dest, formatter_->formatLogMessage(*message));
        } else {
            append(dest, formatter_->formatLogMessage(messageFrom(msg)));
        }
        dest.push_back('\n');
    }

    std::unique_ptr<spdlog::formatter> clone() const override {
        return std::make_unique<FormatterAdapter>(formatter_);
    }

  private:
    static void append(spdlog::memory_buf_t& dest, const std::string& text) {
        dest.append(text.data(), text.data() + text.size());
    }

    static LogMessage messageFrom(const spdlog::details::log_msg& msg) {
        int flag = static_cast<int>(LogFlag::Verbose);
        switch (msg.level) {
            case spdlog::level::critical:
            case spdlog::level::err:
                flag = static_cast<int>(LogFlag::Error);
                break;
            case spdlog::level::warn:
                flag = static_cast<int>(LogFlag::Warning);
                break;
            case spdlog::level::info:
                flag = static_cast<int>(LogFlag::Info);
                break;
            case spdlog::level::debug:
                flag = static_cast<int>(LogFlag::Debug);
                break;
            default:
                break;
        }
        const std::chrono::duration<double> since1970 = msg.time.time_since_epoch();
        return LogMessage{flag, Date(since1970.count()),
                          std::string(msg.payload.data(), msg.payload.size())};
    }

    const std::shared_ptr<LogFormatter> formatter_;
};

Logger::DispatchScope::DispatchScope(const LogMessage& message) : previous_(dispatching_) {
    dispatching_ = &message;
}

Logger::DispatchScope::~DispatchScope() {
    dispatching_ = previous_;
}

Logger::Logger(std::shared_ptr<spdlog::sinks::sink> sink) : sink_(std::move(sink)) {
    assert(sink_ != nullptr);
    sink_->set_formatter(std::make_unique<FormatterAdapter>(nullptr));
}

Logger::~Logger() {
    if (formatter_) {
        formatter_->willRemoveFromLogger(*this);
    }
}

void Logger::setLogFormatter(std::shared_ptr<LogFormatter> formatter) {
    std::shared_ptr<LogFormatter> previous;
    {
        std::lock_guard<std::mutex> lock(formatterMutex_);
        if (formatter == formatter_) {
            return;
        }
        // The sink takes its own lock, so a line being written finishes with the old one.
        sink_->set_formatter(std::make_unique<FormatterAdapter>(formatter));
        previous = std::exchange(formatter_, formatter);
    }
    if (previous) {
        previous->willRemoveFromLogger(*this);
    }
    if (formatter) {
        formatter->didAddToLogger(*this);
    }
}

std::shared_ptr<LogFormatter> Logger::logFormatter() const {
    std::lock_guard<std::mutex> lock(formatterMutex_);
    return formatter_;
}

}  // namespace velmora

#include "Velmora/platform/logging/MemoryLogger.h"

#include <cassert>
#include <deque>

#include <spdlog/sinks/base_sink.h>

namespace velmora {

// Every member takes the sink's own lock, the one spdlog holds while writing a line.
class MemoryLogger::Sink final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit Sink(std::size_t capacity) : capacity_(capacity) { assert(capacity > 0); }

    std::vector<std::string> lines() {
        std::lock_guard<std::mutex> lock(mutex_);
        return {lines_.begin(), lines_.end()};
    }

    void clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.clear();
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        spdlog::memory_buf_t formatted;
        formatter_->format(msg, formatted);
        std::string line(formatted.data(), formatted.size());
        if (!line.empty() && line.back() == '\n') {
            line.pop_back();
        }
        if (lines_.size() == capacity_) {
            lines_.pop_front();
        }
        lines_.push_back(std::move(line));
    }

    void flush_() override {}

  private:
    const std::size_t capacity_;
    std::deque<std::string> lines_;
};

MemoryLogger::MemoryLogger(std::size_t capacity)
    : MemoryLogger(std::make_shared<Sink>(capacity), capacity) {}

MemoryLogger::MemoryLogger(std::shared_ptr<Sink> sink, std::size_t capacity)
    : Logger(sink), store_(std::move(sink)), capacity_(capacity) {}

std::vector<std::string> MemoryLogger::lines() const {
    return store_->lines();
}

void MemoryLogger::clear() {
    store_->clear();
}

}  // namespace velmora

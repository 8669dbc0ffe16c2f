#pragma once
// MemoryLogger: keeps the most recent lines in memory, for diagnostics screens and tests.
// A line is what the formatter made of a message, without the logger's line feed; once
// the capacity is reached the oldest line goes.
//
// Thread safety: as Logger; lines() and clear() may race with logging.
//
//   auto memory = std::make_shared<MemoryLogger>(100);
//   Log::addLogger(memory);
//   for (const std::string& line : memory->lines()) { show(line); }

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Velmora/platform/logging/Logger.h"

namespace velmora {

class MemoryLogger : public Logger {
  public:
    // REQUIRES: capacity > 0.
    explicit MemoryLogger(std::size_t capacity = 1000);

    // Oldest first.
    [[nodiscard]] std::vector<std::string> lines() const;
    std::size_t capacity() const { return capacity_; }
    void clear();

  private:
    class Sink;  // the spdlog sink holding the lines
    MemoryLogger(std::shared_ptr<Sink> sink, std::size_t capacity);

    const std::shared_ptr<Sink> store_;
    const std::size_t capacity_;
};

}  // namespace velmora

#pragma once
// InterruptCleanup: removes the temporary files of writes in progress when the process is
// ended by SIGINT, SIGTERM, SIGHUP or SIGXFSZ, so that an interrupted save leaves nothing
// behind. The handlers are installed on first use, and only for signals whose disposition
// is still the default one; a program with handlers of its own cleans up itself. After
// removing the files the handler lets the signal end the process as it would have.
//
// Thread safety: protect() may be called from any thread. It covers up to 32 writes at
// once with paths shorter than 4096 bytes; a write beyond that is simply not covered.
//
//   const InterruptCleanup::Registration guard = InterruptCleanup::protect(temporary);
//   int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
//   ...  // the guard ends once the file is renamed into place or removed

#include <filesystem>

namespace velmora::internal {

class InterruptCleanup {
  public:
    InterruptCleanup() = delete;

    // Covers one path for its lifetime; move-only.
    class Registration {
      public:
        Registration(Registration&& other) noexcept;
        Registration& operator=(Registration&&) = delete;
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        ~Registration();

      private:
        friend class InterruptCleanup;
        explicit Registration(int slot) : slot_(slot) {}
        int slot_;  // -1: not covered, or moved from
    };

    [[nodiscard]] static Registration protect(const std::filesystem::path& path);
};

}  // namespace velmora::internal

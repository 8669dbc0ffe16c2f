#pragma once
// AtomicFile: replaces a file's whole contents so that a reader (or a crash) sees either
// the old file or the new one, never a mixture. The bytes go to a temporary file in the
// same directory, which is flushed to disk (fsync) and then renamed over the target;
// the directory is synced too, so the rename survives a power cut.
//
// Only a new path or a regular file is written. A symbolic link is refused rather than
// followed or replaced, and so are directories, devices, FIFOs and sockets: renaming over
// them would replace the node itself (as root, /dev/null). Replacing a file gives its name
// a new file with the old one's permission bits (not its owner); other hard links to the
// old file keep the old contents. A process ended by SIGINT, SIGTERM, SIGHUP or SIGXFSZ
// while writing removes its temporary file (see internal/InterruptCleanup.h).
//
// Thread safety: stateless; concurrent writes to one path leave one of them in place.
//
//   std::string error;
//   if (!AtomicFile::write(path, bytes, &error)) log::error("save failed: {}", error);
//   std::optional<Bytes> back = AtomicFile::read(path);

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmora {

class AtomicFile {
  public:
    AtomicFile() = delete;

    // Writes contents to path (a new path or a regular file). On failure the previous
    // file (if any) is untouched, no temporary file is left behind, and error (when
    // given) names the path and says why.
    [[nodiscard]] static bool write(const std::filesystem::path& path,
                                    std::span<const std::uint8_t> contents,
                                    std::string* error = nullptr);

    // The whole file; nothing when it does not exist or cannot be read (error says why).
    [[nodiscard]] static std::optional<std::vector<std::uint8_t>> read(
        const std::filesystem::path& path, std::string* error = nullptr);

    // Test hook: when set, called with each step's name ("open", "write", "fsync",
    // "rename") before the step; returning false makes that step fail as if the
    // system had refused it. Process-wide; pass nullptr to clear.
    using FaultInjector = bool (*)(const char* step);
    static void setFaultInjectorForTesting(FaultInjector injector);
};

}  // namespace velmora

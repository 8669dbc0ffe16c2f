#pragma once
// AtomicFile: replaces a file's whole contents so that a reader (or a crash) sees either
// the old file or the new one, never a mixture. The bytes go to a temporary file in the
// same directory, which is flushed to disk (fsync) and then renamed over the target;
// the directory is synced too, so the rename survives a power cut.
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

    // Writes contents to path. On failure the previous file (if any) is untouched, no
    // temporary file is left behind, and error (when given) says why.
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

#pragma once
// UserDirectories: where the framework keeps the user's files on this machine.
//
// With the environment variable VELMORA_HOME set (tests, sandboxed hosts), everything
// lives below it:
//
//   $VELMORA_HOME/config/<name>.plist                  user defaults, one file per suite
//   $VELMORA_HOME/data/<bundle id>/Documents/          the application's documents
//   $VELMORA_HOME/data/AppGroups/<group id>/           shared application-group containers
//   $VELMORA_HOME/run/                                 sockets and signal files (runtime)
//
// Otherwise the XDG base directories are used: config is $XDG_CONFIG_HOME/velmora
// (~/.config/velmora) and data is $XDG_DATA_HOME/velmora (~/.local/share/velmora), with
// the same layout below them. The runtime directory is $XDG_RUNTIME_DIR/velmora, or
// /tmp/velmora-<uid> where the session has no runtime directory. The environment is read on every
// call, so a test can point VELMORA_HOME at a scratch directory for its scope.
//
// Thread safety: every function may be called from any thread, as long as no thread
// changes the environment at the same time.
//
//   auto file = UserDirectories::configDirectory() / "com.example.app.plist";
//   auto docs = UserDirectories::documentsDirectory("com.example.app");
//   auto group = UserDirectories::appGroupContainer("group.com.example");

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

class UserDirectories {
  public:
    UserDirectories() = delete;

    // Directories are returned whether or not they exist; the ensure... forms create
    // them (with parents) and answer nothing when that fails.
    static std::filesystem::path configDirectory();
    static std::filesystem::path dataDirectory();
    static std::filesystem::path documentsDirectory(std::string_view bundleIdentifier);
    // Nothing for an empty group identifier.
    static std::optional<std::filesystem::path> appGroupContainer(std::string_view groupIdentifier);

    // Where live processes of the user meet (sockets, signal files): the runtime
    // directory, or a sub-folder of it, created with mode 0700. Nothing when it cannot be
    // made, or when it exists but is not a real directory owned by this user (someone
    // else could then read or plant files in it); a directory of ours with wider
    // permissions is narrowed to 0700.
    static std::optional<std::filesystem::path> privateRuntimeDirectory(
        std::string_view subFolder = {});

    static std::optional<std::filesystem::path> ensureDirectory(const std::filesystem::path& path);

    // A name made safe to use as one path component: bytes other than letters, digits,
    // '.', '-' and '_' (and a leading '.') are written as %XX, so "a/b" cannot escape
    // its directory and ".." cannot name the parent. Empty stays empty.
    static std::string fileNameComponent(std::string_view name);
};

}  // namespace velmora

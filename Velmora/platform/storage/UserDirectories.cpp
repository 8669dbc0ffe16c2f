#include "Velmora/platform/storage/UserDirectories.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {
namespace {

constexpr const char* kHomeVariable = "VELMORA_HOME";
constexpr const char* kAppGroupsFolder = "AppGroups";
constexpr const char* kDocumentsFolder = "Documents";

std::optional<std::filesystem::path> environmentPath(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return std::filesystem::path(value);
}

std::filesystem::path userHome() {
    if (auto home = environmentPath("HOME")) {
        return *home;
    }
    return std::filesystem::temp_directory_path();
}

// $VELMORA_HOME/<inside>, else the XDG directory (or its default under $HOME)/velmora.
std::filesystem::path baseDirectory(const char* inside, const char* xdgVariable,
                                    const char* xdgDefault) {
    if (auto home = environmentPath(kHomeVariable)) {
        return *home / inside;
    }
    auto xdg = environmentPath(xdgVariable);
    if (!xdg || xdg->is_relative()) {  // XDG says relative values are to be ignored
        xdg = userHome() / xdgDefault;
    }
    return *xdg / "velmora";
}

std::filesystem::path runtimeBase() {
    if (auto home = environmentPath(kHomeVariable)) {
        return *home / "run";
    }
    if (auto xdg = environmentPath("XDG_RUNTIME_DIR"); xdg && xdg->is_absolute()) {
        return *xdg / "velmora";
    }
    return std::filesystem::path("/tmp") / fmt::format("velmora-{}", ::getuid());
}

// Creates path (mode 0700) when missing, then checks it with lstat so that a symbolic
// link or a directory planted by another user is refused rather than followed.
bool makePrivateDirectory(const std::filesystem::path& path) {
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return false;
    }
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::getuid()) {
        return false;
    }
    if ((info.st_mode & 077) != 0 && ::chmod(path.c_str(), 0700) != 0) {
        return false;
    }
    return true;
}

}  // namespace

std::optional<std::filesystem::path> UserDirectories::privateRuntimeDirectory(
    std::string_view subFolder) {
    const std::filesystem::path base = runtimeBase();
    std::error_code ignored;
    std::filesystem::create_directories(base.parent_path(), ignored);
    if (!makePrivateDirectory(base)) {
        return std::nullopt;
    }
    if (subFolder.empty()) {
        return base;
    }
    const std::filesystem::path folder = base / fileNameComponent(subFolder);
    return makePrivateDirectory(folder) ? std::optional(folder) : std::nullopt;
}

std::filesystem::path UserDirectories::configDirectory() {
    return baseDirectory("config", "XDG_CONFIG_HOME", ".config");
}

std::filesystem::path UserDirectories::dataDirectory() {
    return baseDirectory("data", "XDG_DATA_HOME", ".local/share");
}

std::filesystem::path UserDirectories::documentsDirectory(std::string_view bundleIdentifier) {
    const std::string folder =
        bundleIdentifier.empty() ? std::string("_") : fileNameComponent(bundleIdentifier);
    return dataDirectory() / folder / kDocumentsFolder;
}

std::optional<std::filesystem::path> UserDirectories::appGroupContainer(
    std::string_view groupIdentifier) {
    if (groupIdentifier.empty()) {
        return std::nullopt;
    }
    return dataDirectory() / kAppGroupsFolder / fileNameComponent(groupIdentifier);
}

std::optional<std::filesystem::path> UserDirectories::ensureDirectory(
    const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error || !std::filesystem::is_directory(path, error)) {
        return std::nullopt;
    }
    return path;
}

std::string UserDirectories::fileNameComponent(std::string_view name) {
    std::string safe;
    safe.reserve(name.size());
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || c == '_' || (c == '.' && i != 0);
        if (plain) {
            safe += static_cast<char>(c);
        } else {
            safe += fmt::format("%{:02X}", c);
        }
    }
    return safe;
}

}  // namespace velmora

#include "Velmora/platform/storage/UserDirectories.h"

#include <cstdlib>
#include <system_error>

#include <fmt/format.h>

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

}  // namespace

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

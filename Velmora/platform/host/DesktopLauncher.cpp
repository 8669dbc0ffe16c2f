// HeadlessApplication::desktopLauncher: URLs go first to a live listener of their scheme
// in this user's session (URLSchemeListener), else to the desktop's handler through
// xdg-open. Nothing here waits for a child process: whether the desktop has a handler is
// read from the XDG association files (what `xdg-mime query default` reads), and xdg-open
// is started and reaped in the background, so the main loop is never held up.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Velmora/platform/host/HeadlessApplication.h"
#include "Velmora/platform/host/URLSchemeListener.h"
#include "Velmora/platform/host/internal/ChildProcess.h"

namespace velmora {
namespace {

std::vector<std::filesystem::path> searchPath(const char* variable, const char* fallback) {
    const char* value = std::getenv(variable);
    const std::string list = (value != nullptr && *value != '\0') ? value : fallback;
    std::vector<std::filesystem::path> directories;
    std::size_t start = 0;
    while (start <= list.size()) {
        const std::size_t end = std::min(list.find(':', start), list.size());
        const std::filesystem::path directory = list.substr(start, end - start);
        if (directory.is_absolute()) {  // relative entries are to be ignored
            directories.push_back(directory);
        }
        start = end + 1;
    }
    return directories;
}

std::filesystem::path homeDirectory(const char* variable, const char* underHome) {
    const char* value = std::getenv(variable);
    if (value != nullptr && std::filesystem::path(value).is_absolute()) {
        return value;
    }
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : "/") / underHome;
}

// The association files, most important first.
std::vector<std::filesystem::path> associationFiles() {
    std::vector<std::filesystem::path> files{homeDirectory("XDG_CONFIG_HOME", ".config") /
                                             "mimeapps.list"};
    for (const auto& directory : searchPath("XDG_CONFIG_DIRS", "/etc/xdg")) {
        files.push_back(directory / "mimeapps.list");
    }
    std::vector<std::filesystem::path> data{homeDirectory("XDG_DATA_HOME", ".local/share")};
    for (const auto& directory : searchPath("XDG_DATA_DIRS", "/usr/local/share:/usr/share")) {
        data.push_back(directory);
    }
    for (const auto& directory : data) {
        files.push_back(directory / "applications" / "mimeapps.list");
        files.push_back(directory / "applications" / "mimeinfo.cache");
    }
    return files;
}

bool fileNamesHandler(const std::filesystem::path& file, const std::string& mimeType) {
    std::ifstream in(file);
    std::string line;
    bool inAssociations = false;
    while (std::getline(in, line)) {
        if (line.starts_with('[')) {
            inAssociations = line.starts_with("[Default Applications]") ||
                             line.starts_with("[Added Associations]") ||
                             line.starts_with("[MIME Cache]");
        } else if (inAssociations && line.size() > mimeType.size() + 1 &&
                   line.starts_with(mimeType) && line[mimeType.size()] == '=') {
            return line.find_first_not_of(" \t;", mimeType.size() + 1) != std::string::npos;
        }
    }
    return false;
}

bool canOpenScheme(std::string_view scheme) {
    if (URLSchemeListener::isListening(scheme)) {
        return true;
    }
    if (URLSchemeListener::socketPath(scheme).empty() || !childprocess::onPath("xdg-open")) {
        return false;
    }
    std::string mimeType = "x-scheme-handler/";
    for (const char c : scheme) {
        mimeType += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    for (const auto& file : associationFiles()) {
        if (fileNamesHandler(file, mimeType)) {
            return true;
        }
    }
    return false;
}

bool open(std::string_view url) {
    return URLSchemeListener::deliver(url) ||
           childprocess::spawnDetached({"xdg-open", std::string(url)});
}

}  // namespace

HeadlessApplication::URLLauncher HeadlessApplication::desktopLauncher() {
    return URLLauncher{canOpenScheme, open};
}

}  // namespace velmora

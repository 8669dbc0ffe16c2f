// HeadlessApplication::desktopLauncher: URLs handed to the desktop's handlers through the
// freedesktop.org tools, xdg-mime (which program handles a scheme) and xdg-open.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/host/HeadlessApplication.h"

extern char** environ;

namespace velmora {
namespace {

bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    if (path == nullptr) {
        return false;
    }
    std::string directories(path);
    std::size_t start = 0;
    while (start <= directories.size()) {
        const std::size_t end = std::min(directories.find(':', start), directories.size());
        const std::string directory = directories.substr(start, end - start);
        const std::filesystem::path candidate =
            std::filesystem::path(directory.empty() ? "." : directory) / program;
        if (::access(candidate.c_str(), X_OK) == 0) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

// RFC 3986: a letter, then letters, digits, '+', '-' and '.'.
bool isScheme(std::string_view scheme) {
    if (scheme.empty() || !std::isalpha(static_cast<unsigned char>(scheme[0]))) {
        return false;
    }
    for (const char c : scheme) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') {
            return false;
        }
    }
    return true;
}

// Runs argv with standard output into a pipe; answers the output, or nothing when the
// program could not run or failed.
std::optional<std::string> capture(std::vector<std::string> arguments) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    std::string output;
    if (spawned == 0) {
        char buffer[512];
        ssize_t n = 0;
        while ((n = ::read(fds[0], buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR)) {
            if (n > 0) {
                output.append(buffer, static_cast<std::size_t>(n));
            }
        }
    }
    ::close(fds[0]);
    if (spawned != 0) {
        return std::nullopt;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return std::nullopt;
    }
    return output;
}

bool canOpenScheme(std::string_view scheme) {
    if (!isScheme(scheme) || !onPath("xdg-mime") || !onPath("xdg-open")) {
        return false;
    }
    std::string mimeType = "x-scheme-handler/";
    mimeType.append(scheme);
    const auto handler = capture({"xdg-mime", "query", "default", std::move(mimeType)});
    return handler && handler->find_first_not_of(" \t\r\n") != std::string::npos;
}

bool open(std::string_view url) {
    std::string program = "xdg-open";
    std::string argument(url);
    char* argv[] = {program.data(), argument.data(), nullptr};
    pid_t pid = 0;
    if (posix_spawnp(&pid, program.c_str(), nullptr, nullptr, argv, environ) != 0) {
        return false;
    }
    // xdg-open returns once the handler is started; reap it off the caller's thread.
    DispatchQueue::global(DispatchQueue::Priority::Background).async([pid] {
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
    });
    return true;
}

}  // namespace

HeadlessApplication::URLLauncher HeadlessApplication::desktopLauncher() {
    return URLLauncher{canOpenScheme, open};
}

}  // namespace velmora

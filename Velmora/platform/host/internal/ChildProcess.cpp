#include "Velmora/platform/host/internal/ChildProcess.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Velmora/platform/dispatch/DispatchQueue.h"

extern char** environ;

namespace velmora::childprocess {

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

bool spawnDetached(std::vector<std::string> arguments) {
    if (arguments.empty()) {
        return false;
    }
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        return false;
    }
    DispatchQueue::global(DispatchQueue::Priority::Background).async([pid] {
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
    });
    return true;
}

}  // namespace velmora::childprocess

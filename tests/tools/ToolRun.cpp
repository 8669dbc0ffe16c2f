#include "tests/tools/ToolRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmora::testing {
namespace {

// Both ends of a pipe, closed on every path out.
class Pipe {
  public:
    Pipe() {
        if (::pipe2(fds_.data(), O_CLOEXEC) != 0) {
            fds_ = {-1, -1};
        }
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int end(int which) const { return fds_[static_cast<std::size_t>(which)]; }
    void closeEnd(int which) {
        int& fd = fds_[static_cast<std::size_t>(which)];
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }

  private:
    std::array<int, 2> fds_{-1, -1};
};

}  // namespace

ToolResult runTool(const std::vector<std::string>& arguments, const std::string& stdoutPath,
                   std::chrono::seconds limit) {
    ToolResult result;
    Pipe out;
    Pipe err;
    std::vector<std::string> words{VELMORA_TOOL_PATH};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    // Made before the fork: the child of a threaded process may only make async-signal-
    // safe calls until it execs, which rules out setenv.
    std::vector<std::string> variables{"TZ=UTC", "LC_ALL=C.UTF-8"};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view entry(*variable);
        if (!entry.starts_with("TZ=") && !entry.starts_with("LC_ALL=")) {
            variables.emplace_back(entry);
        }
    }
    std::vector<char*> envp;
    for (std::string& variable : variables) {
        envp.push_back(variable.data());
    }
    envp.push_back(nullptr);

    const pid_t child = ::fork();
    if (child == 0) {
        const int target =
            stdoutPath.empty() ? out.end(1) : ::open(stdoutPath.c_str(), O_WRONLY | O_CLOEXEC);
        const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (target < 0 || input < 0 || ::dup2(target, 1) < 0 || ::dup2(err.end(1), 2) < 0 ||
            ::dup2(input, 0) < 0) {
            ::_exit(127);
        }
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    EXPECT_GT(child, 0) << "cannot start " << VELMORA_TOOL_PATH;
    if (child < 0) {
        return result;
    }
    out.closeEnd(1);
    err.closeEnd(1);

    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::array<pollfd, 2> watched{pollfd{out.end(0), POLLIN, 0}, pollfd{err.end(0), POLLIN, 0}};
    std::array<std::string*, 2> sinks{&result.out, &result.err};
    bool timedOut = false;
    while (watched[0].fd >= 0 || watched[1].fd >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        if (::poll(watched.data(), watched.size(), static_cast<int>(left.count())) < 0 &&
            errno != EINTR) {
            break;
        }
        for (std::size_t i = 0; i < watched.size(); ++i) {
            if (watched[i].fd < 0 || watched[i].revents == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t n = ::read(watched[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                watched[i].fd = -1;
            }
        }
    }
    if (timedOut) {
        ::kill(child, SIGKILL);
        ADD_FAILURE() << "velmora did not finish within " << limit.count() << " s";
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

}  // namespace velmora::testing

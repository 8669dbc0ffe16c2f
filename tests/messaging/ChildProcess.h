#pragma once
// A child process for multi-process tests: started with posix_spawn, its standard output
// in a file of the test's scratch directory. Every wait is bounded; a child still running
// when its handle goes away is killed and reaped, so a failing test leaves no process.
//
//   ChildProcess child({VELMORA_TOOL, "wormhole", "listen", "x"}, scratch / "out.txt");
//   ASSERT_TRUE(child.waitForOutput("listening", 10s));
//   EXPECT_EQ(child.wait(10s), 0);

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace velmora::testing {

class ChildProcess {
  public:
    ChildProcess(std::vector<std::string> arguments, std::filesystem::path output)
        : output_(std::move(output)) {
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~ChildProcess() { kill(SIGKILL); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return pid_ > 0; }

    // The exit status, or nothing when the child is still running after limit (or was
    // killed by a signal).
    std::optional<int> wait(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (pid_ > 0) {
            int status = 0;
            const pid_t done = ::waitpid(pid_, &status, WNOHANG);
            if (done == pid_) {
                pid_ = -1;
                if (WIFEXITED(status)) {
                    status_ = WEXITSTATUS(status);
                }
                break;
            }
            if (done < 0 && errno != EINTR) {
                pid_ = -1;
                break;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                return std::nullopt;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return status_;
    }

    // Sends signal and reaps the child.
    void kill(int signal) {
        if (pid_ > 0) {
            ::kill(pid_, signal);
            int status = 0;
            while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
            }
            pid_ = -1;
        }
    }

    std::string output() const {
        std::ifstream in(output_);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    bool waitForOutput(const std::string& text, std::chrono::milliseconds limit) const {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (output().find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

  private:
    std::filesystem::path output_;
    pid_t pid_ = -1;
    std::optional<int> status_;
};

}  // namespace velmora::testing

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Velmora/platform/storage/AtomicFile.h"

#include "tests/platform/ScopedVelmoraHome.h"

namespace velmora {
namespace {

const char* gFailingStep = nullptr;

bool failAt(const char* step) {
    return std::strcmp(step, gFailingStep) != 0;
}

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(AtomicFileTest, ReplacesTheWholeFile) {
    testing::ScopedVelmoraHome home;
    const auto path = home.path() / "state.plist";
    ASSERT_TRUE(AtomicFile::write(path, bytesOf("first version, longer")));
    ASSERT_TRUE(AtomicFile::write(path, bytesOf("second")));
    EXPECT_EQ(AtomicFile::read(path).value(), bytesOf("second"));
    std::string error;
    EXPECT_FALSE(AtomicFile::read(home.path() / "missing", &error));
    EXPECT_NE(error.find("missing"), std::string::npos);
}

// A save interrupted at any step leaves the previous file whole and no temporary behind.
TEST(AtomicFileTest, AnInterruptedSaveNeverLeavesATornFile) {
    testing::ScopedVelmoraHome home;
    const auto path = home.path() / "state.plist";
    ASSERT_TRUE(AtomicFile::write(path, bytesOf("old contents")));
    for (const char* step : {"open", "write", "fsync", "rename"}) {
        gFailingStep = step;
        AtomicFile::setFaultInjectorForTesting(failAt);
        std::string error;
        EXPECT_FALSE(AtomicFile::write(path, bytesOf("new contents that never land"), &error))
            << step;
        AtomicFile::setFaultInjectorForTesting(nullptr);
        EXPECT_FALSE(error.empty()) << step;
        EXPECT_EQ(AtomicFile::read(path).value(), bytesOf("old contents")) << step;
        std::size_t files = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::directory_iterator(home.path())) {
            ++files;
        }
        EXPECT_EQ(files, 1u) << "a temporary file was left behind after failing at " << step;
    }
}

TEST(AtomicFileTest, FailsCleanlyInAMissingDirectory) {
    testing::ScopedVelmoraHome home;
    std::string error;
    EXPECT_FALSE(
        AtomicFile::write(home.path() / "no" / "such" / "dir.plist", bytesOf("x"), &error));
    EXPECT_FALSE(error.empty());
}

std::vector<std::string> namesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Fault pinned: the writer renamed its temporary file over whatever the path named, so a
// device node, FIFO or symbolic link was replaced by a regular file.
TEST(AtomicFileTest, RefusesTargetsThatAreNotRegularFiles) {
    testing::ScopedVelmoraHome home;
    const auto file = home.path() / "file";
    ASSERT_TRUE(AtomicFile::write(file, bytesOf("kept")));
    std::filesystem::create_symlink(file, home.path() / "link");
    std::filesystem::create_symlink(home.path() / "nowhere", home.path() / "dangling");
    std::filesystem::create_directory(home.path() / "directory");
    ASSERT_EQ(::mkfifo((home.path() / "fifo").c_str(), 0600), 0);
    const std::vector<std::pair<std::filesystem::path, std::string>> cases{
        {home.path() / "link", "it is a symbolic link"},
        {home.path() / "dangling", "it is a symbolic link"},
        {home.path() / "directory", "it is a directory, not a regular file"},
        {home.path() / "fifo", "it is a FIFO, not a regular file"},
        {"/dev/null", "it is a character device, not a regular file"},
    };
    for (const auto& [path, reason] : cases) {
        std::string error;
        EXPECT_FALSE(AtomicFile::write(path, bytesOf("new"), &error)) << path;
        EXPECT_EQ(error.rfind("cannot write " + path.string() + ": " + reason, 0), 0u) << error;
    }
    EXPECT_EQ(AtomicFile::read(file).value(), bytesOf("kept"));
    EXPECT_FALSE(std::filesystem::exists(home.path() / "nowhere"));
    EXPECT_EQ(namesIn(home.path()),
              (std::vector<std::string>{"dangling", "directory", "fifo", "file", "link"}));
}

TEST(AtomicFileTest, AReplacedFileKeepsItsPermissionsAndLeavesHardLinksAlone) {
    testing::ScopedVelmoraHome home;
    const auto path = home.path() / "private";
    const auto other = home.path() / "other-name";
    ASSERT_TRUE(AtomicFile::write(path, bytesOf("old")));
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    std::filesystem::create_hard_link(path, other);
    ASSERT_TRUE(AtomicFile::write(path, bytesOf("new")));
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    EXPECT_EQ(AtomicFile::read(path).value(), bytesOf("new"));
    EXPECT_EQ(AtomicFile::read(other).value(), bytesOf("old"));
}

int gSignalToRaise = 0;

bool raiseAtWrite(const char* step) {
    if (std::strcmp(step, "write") == 0) {
        ::raise(gSignalToRaise);
    }
    return true;
}

// Fault pinned: a run ended by a signal while writing left its temporary file behind.
TEST(AtomicFileTest, AProcessEndedBySignalWhileWritingLeavesNoTemporaryFile) {
    testing::ScopedVelmoraHome home;
    const auto path = home.path() / "out.png";
    ASSERT_TRUE(AtomicFile::write(path, bytesOf("old contents")));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ}) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            if (signal == SIGXFSZ) {
                // The real thing: the write crosses the file size limit.
                const rlimit limit{4096, 4096};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            } else {
                gSignalToRaise = signal;
                AtomicFile::setFaultInjectorForTesting(raiseAtWrite);
            }
            (void)AtomicFile::write(path, std::vector<std::uint8_t>(65536, 'x'));
            ::_exit(0);  // only reached when the signal did not end the process
        }
        int status = 0;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        pid_t done = 0;
        while ((done = ::waitpid(child, &status, WNOHANG)) == 0 &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (done == 0) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            ADD_FAILURE() << "the writer did not end by signal " << signal;
            continue;
        }
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
        EXPECT_EQ(namesIn(home.path()), std::vector<std::string>{"out.png"}) << signal;
        EXPECT_EQ(AtomicFile::read(path).value(), bytesOf("old contents")) << signal;
    }
}

}  // namespace
}  // namespace velmora

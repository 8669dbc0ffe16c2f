#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace velmora

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "Velmora/platform/storage/FileCoordinator.h"

#include "tests/support/ScopedVelmoraHome.h"

namespace velmora {
namespace {

TEST(FileCoordinatorTest, AWriterExcludesReadersAndOtherWriters) {
    testing::ScopedVelmoraHome home;
    const auto file = home.path() / "message";
    std::atomic<int> inside{0}, overlaps{0};
    auto worker = [&](bool write) {
        for (int i = 0; i < 50; ++i) {
            auto accessor = [&] {
                if (++inside > 1 && write) {
                    ++overlaps;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(100));
                --inside;
            };
            EXPECT_TRUE(write ? FileCoordinator::coordinateWriting(file, accessor)
                              : FileCoordinator::coordinateReading(file, accessor));
        }
    };
    std::thread a(worker, true), b(worker, true), c(worker, false);
    a.join();
    b.join();
    c.join();
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_EQ(FileCoordinator::lockPath(file),
              FileCoordinator::lockPath(home.path() / "." / "message"));
    EXPECT_NE(FileCoordinator::lockPath(file), FileCoordinator::lockPath(home.path() / "other"));
    // An exception from the accessor releases the lock.
    EXPECT_THROW(FileCoordinator::coordinateWriting(file, [] { throw std::runtime_error("x"); }),
                 std::runtime_error);
    EXPECT_TRUE(FileCoordinator::coordinateWriting(file, [] {}));
}

}  // namespace
}  // namespace velmora

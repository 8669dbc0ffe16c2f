#include <cstring>
#include <memory>

#include <gtest/gtest.h>

#include "Velmora/undo/UndoBlockPool.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

TEST(UndoBlockPoolTest, BlocksComeBackAtOnceHereAndFromElsewhereWhenTheOwnerRunsOut) {
    UndoBlockPool::Owner owner;
    UndoBlockPool& pool = owner.pool();
    void* first = pool.allocate(72);
    pool.deallocate(first, 72);
    EXPECT_EQ(pool.allocate(80), first);  // one size class: 65 to 80 bytes
    void* second = pool.allocate(80);
    EXPECT_NE(second, first);
    testing::runBoundedInTime([&] { pool.deallocate(second, 80); });
    EXPECT_EQ(pool.allocate(80), second);
    pool.deallocate(second, 80);
    pool.deallocate(first, 80);
    void* large = pool.allocate(UndoBlockPool::kLargestPooled + 1);
    pool.deallocate(large, UndoBlockPool::kLargestPooled + 1);
}

// The pool goes with its last block, here or on another thread (the asan preset checks
// that nothing is used after it went, and that it does go).
TEST(UndoBlockPoolTest, BlocksMayOutliveTheOwner) {
    auto owner = std::make_unique<UndoBlockPool::Owner>();
    UndoBlockPool& pool = owner->pool();
    void* here = pool.allocate(96);
    void* there = pool.allocate(96);
    owner.reset();
    std::memset(here, 1, 96);
    pool.deallocate(here, 96);
    testing::runBoundedInTime([&] { pool.deallocate(there, 96); });
}

}  // namespace
}  // namespace velmora

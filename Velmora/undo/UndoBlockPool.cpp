#include "Velmora/undo/UndoBlockPool.h"

#include <algorithm>
#include <utility>

namespace velmora {
namespace {

// Slabs start small (most managers hold a handful of steps) and double up to this.
constexpr std::size_t kFirstSlab = 4096;
constexpr std::size_t kLargestSlab = std::size_t{1} << 20;

}  // namespace

UndoBlockPool::Owner::Owner() : pool_(new UndoBlockPool()) {}

UndoBlockPool::Owner::~Owner() {
    pool_->releaseOwnership();
}

UndoBlockPool::UndoBlockPool() : ownerThread_(std::this_thread::get_id()) {}

UndoBlockPool::~UndoBlockPool() = default;

void* UndoBlockPool::allocateSlowly(std::size_t size) {
    const std::size_t sizeClass = UndoBlockPool::sizeClass(size);
    if (hasReturned_.load(std::memory_order_acquire)) {
        const std::lock_guard lock(mutex_);
        for (std::size_t each = 0; each < kClasses; ++each) {
            if (FreeBlock* first = std::exchange(returned_[each], nullptr)) {
                FreeBlock* last = first;
                while (last->next != nullptr) {
                    last = last->next;
                }
                last->next = free_[each];
                free_[each] = first;
            }
        }
        hasReturned_.store(false, std::memory_order_relaxed);
    }
    if (FreeBlock* block = free_[sizeClass]) {
        free_[sizeClass] = block->next;
        ++outstanding_;
        return block;
    }
    const std::size_t blockSize = (sizeClass + 1) * kGranule;
    if (static_cast<std::size_t>(carveEnd_ - carveFrom_) < blockSize) {
        // What is left of the current slab is too small for this size; it stays unused.
        const std::size_t slabSize =
            std::min(kLargestSlab, kFirstSlab << std::min<std::size_t>(slabs_.size(), 8));
        slabs_.push_back(std::make_unique_for_overwrite<std::byte[]>(slabSize));
        carveFrom_ = slabs_.back().get();
        carveEnd_ = carveFrom_ + slabSize;
    }
    void* block = carveFrom_;
    carveFrom_ += blockSize;
    ++outstanding_;
    return block;
}

void UndoBlockPool::deallocateElsewhere(void* pointer, std::size_t size) noexcept {
    bool lastBlock = false;
    {
        const std::lock_guard lock(mutex_);
        ++releasedElsewhere_;
        if (ownerGone_) {
            lastBlock = releasedElsewhere_ == outstanding_;
        } else {
            FreeBlock*& head = returned_[sizeClass(size)];
            head = ::new (pointer) FreeBlock{head};
            hasReturned_.store(true, std::memory_order_release);
        }
    }
    if (lastBlock) {
        delete this;
    }
}

void UndoBlockPool::releaseOwnership() noexcept {
    bool unused = false;
    {
        const std::lock_guard lock(mutex_);
        ownerGone_ = true;
        unused = releasedElsewhere_ == outstanding_;
    }
    if (unused) {
        delete this;
    }
}

}  // namespace velmora

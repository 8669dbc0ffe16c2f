#pragma once
// UndoBlockPool: recycles the small blocks that hold an undo manager's groups and tasks
// (each with its shared_ptr control block, through UndoBlockAllocator). An undo frees a
// group and its tasks and the redo it registers asks for blocks of the same sizes at once,
// so a free list per size hands back memory that is already touched and in cache, where
// malloc would split, merge and sort chunks of a million-task stack.
//
// Blocks may outlive the manager (a group kept from peekUndo or a notification): the pool
// lives until its owner has let it go and the last block has come back. Memory goes back
// to the system only then, never while the owner keeps the pool.
//
// Thread safety: allocate, and destroy the owner, on the owner's thread only (the thread
// that made the owner, the manager's). A block may be released on any thread; one
// released elsewhere waits under a lock until the owner next runs out of free blocks.
//
//   UndoBlockPool::Owner pool;
//   auto group = std::allocate_shared<VLMUndoGroup>(UndoBlockAllocator<VLMUndoGroup>(pool));

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace velmora {

class UndoBlockPool {
  public:
    // Pooled sizes are rounded up to this; larger blocks come from operator new.
    static constexpr std::size_t kGranule = 16;
    static constexpr std::size_t kLargestPooled = 256;

    // The owner's handle: makes a pool and lets go of it when destroyed.
    class Owner {
      public:
        Owner();
        ~Owner();
        Owner(const Owner&) = delete;
        Owner& operator=(const Owner&) = delete;
        UndoBlockPool& pool() const { return *pool_; }

      private:
        UndoBlockPool* pool_;  // freed by the pool itself once the last block is back
    };

    void* allocate(std::size_t size) {
        if (size > kLargestPooled) {
            return ::operator new(size);
        }
        FreeBlock*& head = free_[sizeClass(size)];
        if (head == nullptr) {
            return allocateSlowly(size);
        }
        FreeBlock* block = head;
        head = block->next;
        ++outstanding_;
        return block;
    }

    void deallocate(void* pointer, std::size_t size) noexcept {
        if (size > kLargestPooled) {
            ::operator delete(pointer);
        } else if (std::this_thread::get_id() == ownerThread_ && !ownerGone_) {
            auto* block = ::new (pointer) FreeBlock{free_[sizeClass(size)]};
            free_[sizeClass(size)] = block;
            --outstanding_;
        } else {
            deallocateElsewhere(pointer, size);
        }
    }

  private:
    struct FreeBlock {
        FreeBlock* next;
    };
    static constexpr std::size_t kClasses = kLargestPooled / kGranule;

    UndoBlockPool();
    ~UndoBlockPool();
    UndoBlockPool(const UndoBlockPool&) = delete;
    UndoBlockPool& operator=(const UndoBlockPool&) = delete;

    static std::size_t sizeClass(std::size_t size) { return (size + kGranule - 1) / kGranule - 1; }
    void* allocateSlowly(std::size_t size);
    void deallocateElsewhere(void* pointer, std::size_t size) noexcept;
    void releaseOwnership() noexcept;

    const std::thread::id ownerThread_;
    // Owner's thread only.
    std::array<FreeBlock*, kClasses> free_{};
    std::byte* carveFrom_ = nullptr;
    std::byte* carveEnd_ = nullptr;
    std::vector<std::unique_ptr<std::byte[]>> slabs_;
    // Blocks handed out less those released on the owner's thread while it owned the pool;
    // frozen once ownerGone_ is set.
    std::size_t outstanding_ = 0;
    bool ownerGone_ = false;  // written under mutex_ on the owner's thread
    std::atomic<bool> hasReturned_{false};
    std::mutex mutex_;  // guards what follows, and ownerGone_ for other threads
    std::array<FreeBlock*, kClasses> returned_{};
    std::size_t releasedElsewhere_ = 0;
};

// The standard allocator interface over a pool, for std::allocate_shared.
template <class T>
class UndoBlockAllocator {
  public:
    using value_type = T;

    explicit UndoBlockAllocator(UndoBlockPool& pool) noexcept : pool_(&pool) {}
    explicit UndoBlockAllocator(const UndoBlockPool::Owner& owner) noexcept
        : pool_(&owner.pool()) {}
    template <class U>
    UndoBlockAllocator(const UndoBlockAllocator<U>& other) noexcept : pool_(other.pool_) {}

    T* allocate(std::size_t count) {
        static_assert(alignof(T) <= UndoBlockPool::kGranule);
        return static_cast<T*>(pool_->allocate(count * sizeof(T)));
    }
    void deallocate(T* pointer, std::size_t count) noexcept {
        pool_->deallocate(pointer, count * sizeof(T));
    }

    template <class U>
    bool operator==(const UndoBlockAllocator<U>& other) const noexcept {
        return pool_ == other.pool_;
    }

  private:
    template <class U>
    friend class UndoBlockAllocator;
    UndoBlockPool* pool_;
};

}  // namespace velmora

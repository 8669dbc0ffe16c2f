#pragma once
// VLJsonValueSlab: where the adapter makes the shared blocks of the Values it builds
// (decimals, strings, the arrays and dictionaries themselves). A document of a million
// numbers would otherwise be a million small heap blocks made and freed one by one; here
// they are cut in turn from large chunks, and a chunk goes back to the heap once the last
// block cut from it is released.
//
// Each block is still its own shared object with its own count, so Values behave exactly
// as made any other way, and may be released on any thread. The cost is memory: a chunk
// lives while any block in it does, so one string kept from a large document keeps its
// chunk (kChunkSize bytes) alive; and a thread that releases blocks keeps the last chunk it
// released them from until it releases a block of another chunk or ends.
//
// Thread safety: the slab belongs to one thread (its adapter's); the blocks it made may be
// released anywhere.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

namespace velmora {

class VLJsonValueSlab {
    struct Chunk;

  public:
    // Large enough for the control block and object of any Value kind the adapter makes.
    static constexpr std::size_t kLargestBlock = 192;
    static constexpr std::size_t kChunkSize = 32 * 1024;
    // No block is smaller (a control block alone is larger), which bounds a chunk's blocks.
    static constexpr std::size_t kSmallestBlock = 16;

    // An allocator for std::allocate_shared that cuts from the slab's current chunk.
    template <class T>
    class Allocator {
      public:
        using value_type = T;

        explicit Allocator(Chunk* chunk) noexcept : chunk_(chunk) {}
        template <class U>
        Allocator(const Allocator<U>& other) noexcept : chunk_(other.chunk_) {}

        T* allocate(std::size_t count) {
            return static_cast<T*>(chunk_->take(count * sizeof(T), alignof(T)));
        }
        void deallocate(T*, std::size_t) noexcept { releaseBlock(chunk_); }

        template <class U>
        bool operator==(const Allocator<U>& other) const noexcept {
            return chunk_ == other.chunk_;
        }

      private:
        template <class U>
        friend class Allocator;
        Chunk* chunk_;
    };

    VLJsonValueSlab() = default;
    VLJsonValueSlab(const VLJsonValueSlab&) = delete;
    VLJsonValueSlab& operator=(const VLJsonValueSlab&) = delete;
    ~VLJsonValueSlab() {
        if (chunk_ != nullptr) {
            chunk_->retire();
        }
    }

    // An allocator with room for one block of up to kLargestBlock bytes: make one block
    // with it, then ask again.
    template <class T = std::byte>
    Allocator<T> allocator() {
        if (chunk_ == nullptr || !chunk_->hasRoom(kLargestBlock + alignof(std::max_align_t))) {
            renew();
        }
        return Allocator<T>(chunk_);
    }

  private:
    struct Chunk {
        static constexpr std::size_t kMostBlocks = kChunkSize / kSmallestBlock;

        // Counted up front for every block the chunk could hold, and for the slab, so that
        // cutting a block is no atomic operation; retire() gives back what was not cut.
        std::atomic<std::size_t> references{kMostBlocks + 1};
        std::size_t used = 0;
        std::size_t cut = 0;
        alignas(std::max_align_t) std::byte bytes[kChunkSize];

        bool hasRoom(std::size_t size) const { return kChunkSize - used >= size; }
        // Blocks are packed at their own alignment: most are a control block and a small
        // object, a multiple of eight bytes.
        void* take(std::size_t size, std::size_t alignment) {
            const std::size_t start = (used + alignment - 1) & ~(alignment - 1);
            if (start > kChunkSize || kChunkSize - start < std::max(size, kSmallestBlock)) {
                throw std::bad_alloc();  // the caller asked for more than it said
            }
            used = start + std::max(size, kSmallestBlock);
            ++cut;
            return bytes + start;
        }
        // The slab is done cutting from here.
        void retire() noexcept { release(kMostBlocks - cut + 1); }
        void release(std::size_t count = 1) noexcept {
            if (references.fetch_sub(count, std::memory_order_acq_rel) == count) {
                delete this;
            }
        }
    };

    struct PendingReleases;
    // Counts a released block towards its chunk's release. Taking each from the chunk's
    // references, which every thread shares, would be an atomic operation per block; instead
    // each thread counts the blocks it releases from one chunk and hands the chunk the count
    // when it releases a block of another chunk, or when it ends.
    static void releaseBlock(Chunk* chunk) noexcept;

    void renew() {
        auto* fresh = new Chunk;
        if (chunk_ != nullptr) {
            chunk_->retire();
        }
        chunk_ = fresh;
    }

    Chunk* chunk_ = nullptr;
};

}  // namespace velmora

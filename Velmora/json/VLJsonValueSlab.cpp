#include "Velmora/json/VLJsonValueSlab.h"

namespace velmora {

// The thread's pending releases are plain thread-locals of the initial-exec model: each
// release is then a load and a store relative to the thread pointer, with no call to find
// the library's thread-local block and no guard. They stay usable after the thread's
// destructors have run, so releases made later (by static destructors, say) still count.
namespace {
[[gnu::tls_model("initial-exec")]] thread_local void* pendingChunk = nullptr;
[[gnu::tls_model("initial-exec")]] thread_local std::size_t pendingCount = 0;
[[gnu::tls_model("initial-exec")]] thread_local bool threadEnded = false;
}  // namespace

struct VLJsonValueSlab::PendingReleases {
    static void handOver() noexcept {
        if (pendingChunk != nullptr) {
            static_cast<Chunk*>(pendingChunk)->release(pendingCount);
            pendingChunk = nullptr;
            pendingCount = 0;
        }
    }

    // One to a thread, made when the thread first keeps a count: hands the count over as
    // the thread ends, and from then on releases go straight to their chunks.
    struct AtThreadEnd {
        ~AtThreadEnd() {
            handOver();
            threadEnded = true;
        }
    };
};

void VLJsonValueSlab::releaseBlock(Chunk* chunk) noexcept {
    if (pendingChunk != chunk) {
        if (threadEnded) {
            chunk->release();
            return;
        }
        thread_local PendingReleases::AtThreadEnd atThreadEnd;
        static_cast<void>(atThreadEnd);
        PendingReleases::handOver();
        pendingChunk = chunk;
    }
    ++pendingCount;
}

}  // namespace velmora

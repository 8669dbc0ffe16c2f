#pragma once
// DispatchQueue: where blocks run. Three kinds:
//   main()        serial; its blocks run on the main run loop (RunLoop::main()), so they
//                 run only while the host runs that loop.
//   global(p)     concurrent; blocks run on a shared pool of worker threads (background
//                 work on a pool of its own, at a lower scheduling priority).
//   createSerial  serial queues with a label; blocks run one at a time, in order, on the
//                 worker threads, never tying a thread to the queue while it is idle.
//
// sync runs the block on the calling thread once the queue is free (as the platform's
// queues do), so a caller waiting on a serial queue never holds a worker thread. Calling
// sync on a serial queue from a block running on that same queue would deadlock: the
// dispatch helpers test isCurrent() or a queue-specific marker to avoid that.
//
// Queue-specific values are looked up by key identity (the address of the key), as the
// platform does; the value is an opaque pointer the queue does not own.
//
// Exceptions: a block that throws never stops its queue. An exception escaping an async
// or asyncAfter block is logged at error level with its what() (see
// logging/BlockExceptions.h) and dropped; the queue runs its next block. An exception
// escaping a sync block is rethrown to the sync caller, after the queue has been handed
// back, so the caller returns and later blocks still run.
//
// Thread safety: every operation may be used from any thread.
//
//   auto queue = DispatchQueue::createSerial("velmora.example.io");
//   queue->async([] { writeJournal(); });
//   DispatchQueue::main().asyncAfter(std::chrono::milliseconds(500), [] { refresh(); });

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

class DispatchQueue {
  public:
    using Block = std::function<void()>;
    enum class Priority { Background, Default, High };

    static DispatchQueue& main();
    static DispatchQueue& global(Priority priority = Priority::Default);
    static std::shared_ptr<DispatchQueue> createSerial(std::string label,
                                                       Priority priority = Priority::Default);

    // The queue whose block is running on this thread; on the main thread outside any
    // block, the main queue; nullptr on other threads outside any block.
    static DispatchQueue* current();
    // The value for key on the current queue, or nullptr.
    static const void* currentSpecific(const void* key);

    virtual ~DispatchQueue();
    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;

    const std::string& label() const { return label_; }
    virtual bool isSerial() const = 0;
    bool isCurrent() const { return current() == this; }

    void async(Block block);
    // REQUIRES: not called from a block of this queue if it is serial, nor on the main
    // thread for the main queue (both deadlock; debug builds assert).
    void sync(const Block& block);
    void asyncAfter(std::chrono::nanoseconds delay, Block block);

    void setSpecific(const void* key, const void* value);
    const void* getSpecific(const void* key) const;

  protected:
    explicit DispatchQueue(std::string label);

    virtual void enqueue(Block block) = 0;
    virtual void runSync(const Block& block) = 0;
    virtual void enqueueAfter(std::chrono::nanoseconds delay, Block block) = 0;

    // Marks this queue as the one running on the calling thread for the scope's life.
    class RunningScope {
      public:
        explicit RunningScope(DispatchQueue* queue);
        ~RunningScope();
        RunningScope(const RunningScope&) = delete;
        RunningScope& operator=(const RunningScope&) = delete;
    };
    // Runs an async block of this queue on the calling thread, marked as running and
    // with an escaping exception reported and dropped.
    void runAsync(const Block& block);
    // Whether a block of this queue is running on the calling thread (perhaps further
    // up the stack, below a sync onto another queue).
    bool isRunningOnThisThread() const;

  private:
    std::string label_;
    mutable std::mutex specificsMutex_;
    std::vector<std::pair<const void*, const void*>> specifics_;
};

}  // namespace velmora

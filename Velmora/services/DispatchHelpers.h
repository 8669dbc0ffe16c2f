#pragma once
// The dispatch helpers: run a block on the main queue or in the background, without
// the deadlock of a synchronous dispatch onto the queue the caller is already on.
//
// The main-queue test (isMainQueue) reads the "mainQueue" marker: a queue-specific
// value that the main queue carries under the key "mainQueue", the key and the value
// being the same string object. It is set once per process on first use.
//
// Thread safety: every function may be called from any thread. Empty blocks are
// ignored. Delays are in seconds (converted to nanoseconds by multiplying by 1e9).
//
// Exceptions follow the queues' rule: a block the caller waits for (the ones that run on
// the main queue and wait, and any block run at once on the main queue by a waiting
// helper) rethrows into the caller; an async block's exception is logged at error level
// and dropped, also when the async helper runs it at once.
//
//   runAsyncInBackgroundQueue([] {
//       auto rows = loadRows();
//       runOnMainQueueWithoutDeadlocking([&] { table.reload(rows); });
//   });

#include <functional>

namespace velmora {

using DispatchBlock = std::function<void()>;

// Whether the calling code runs on the main queue (on the main thread outside other
// queues' blocks, or in a main-queue block).
bool isMainQueue();

// On the main queue: runs block now. Elsewhere: runs it on the main queue and waits.
void runOnMainQueueWithoutDeadlocking(const DispatchBlock& block);
// On the main queue: runs block now. Elsewhere: queues it on the main queue.
void runAsyncOnMainQueueWithoutDeadlocking(DispatchBlock block);
// Always queues block on the main queue.
void runAsyncOnMainQueue(DispatchBlock block);
void runAsyncOnMainQueueWithDelay(float delay, DispatchBlock block);
// Queues block on the background-priority global queue.
void runAsyncInBackgroundQueue(DispatchBlock block);
void runAsyncInBackgroundQueueWithDelay(float delay, DispatchBlock block);
// While the application is in the background: as runOnMainQueueWithoutDeadlocking
// (waits); otherwise as runAsyncOnMainQueueWithoutDeadlocking.
void runAsyncOnMainOnlyIfNotInBackgroundWithoutDeadlocking(DispatchBlock block);

}  // namespace velmora

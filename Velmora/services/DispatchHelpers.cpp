#include "Velmora/services/DispatchHelpers.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "Velmora/platform/dispatch/DispatchQueue.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/logging/BlockExceptions.h"

namespace velmora {
namespace {

// The key and the value are the same object: the test compares addresses.
const std::string& mainQueueMarker() {
    static const std::string marker = "mainQueue";
    [[maybe_unused]] static const bool installed = [] {
        DispatchQueue::main().setSpecific(&marker, &marker);
        return true;
    }();
    return marker;
}

std::chrono::nanoseconds delayInNanoseconds(float delay) {
    return std::chrono::nanoseconds(static_cast<std::int64_t>(static_cast<double>(delay) * 1e9));
}

}  // namespace

bool isMainQueue() {
    const std::string& marker = mainQueueMarker();
    return DispatchQueue::currentSpecific(&marker) == &marker;
}

void runOnMainQueueWithoutDeadlocking(const DispatchBlock& block) {
    if (!block) {
        return;
    }
    if (isMainQueue()) {
        block();
    } else {
        DispatchQueue::main().sync(block);
    }
}

void runAsyncOnMainQueueWithoutDeadlocking(DispatchBlock block) {
    if (!block) {
        return;
    }
    if (isMainQueue()) {
        // The caller asked for async work: its exception is reported as a queued
        // block's would be, not thrown into the caller.
        runReportingExceptions(DispatchQueue::main().label(), block);
    } else {
        DispatchQueue::main().async(std::move(block));
    }
}

void runAsyncOnMainQueue(DispatchBlock block) {
    DispatchQueue::main().async(std::move(block));
}

void runAsyncOnMainQueueWithDelay(float delay, DispatchBlock block) {
    DispatchQueue::main().asyncAfter(delayInNanoseconds(delay), std::move(block));
}

void runAsyncInBackgroundQueue(DispatchBlock block) {
    DispatchQueue::global(DispatchQueue::Priority::Background).async(std::move(block));
}

void runAsyncInBackgroundQueueWithDelay(float delay, DispatchBlock block) {
    DispatchQueue::global(DispatchQueue::Priority::Background)
        .asyncAfter(delayInNanoseconds(delay), std::move(block));
}

void runAsyncOnMainOnlyIfNotInBackgroundWithoutDeadlocking(DispatchBlock block) {
    if (Application::shared()->applicationState() == ApplicationState::Background) {
        runOnMainQueueWithoutDeadlocking(block);
    } else {
        runAsyncOnMainQueueWithoutDeadlocking(std::move(block));
    }
}

}  // namespace velmora

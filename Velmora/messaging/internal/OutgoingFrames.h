#pragma once
// OutgoingFrames: the ordered queue of frames a companion session writes to its
// connection, used from any thread. Whoever queues a frame while nothing is being
// written writes it at once with a non-blocking send() on its own thread, so a live
// message costs its sender one system call rather than a wake-up of the session's
// thread (on a busy machine that wake-up was a large part of a message's latency). What
// the socket does not take at once is handed over: the call answers handOver, and the
// session's thread writes the rest with Asio as the socket drains (front(), wrote()),
// while other threads only queue behind it. Frames leave in the order they were queued,
// whoever writes them.
//
// A frame may carry an outbox file (a queued file transfer). The file is reported in
// `sent` once its frame is wholly written, so that the caller removes it after the call
// (no file work is done under the lock); a file already queued or written on this
// connection is not queued twice. When the connection closes its frames are dropped:
// live messages are lost with it, outbox files stay and go again on the next one.
//
// Thread-safe. The descriptor is used only under the lock: close() before closing it.
//
//   auto result = frames.push({encoded, {}});
//   if (result.handOver) asio::post(io, [&] { writeRest(); });   // front(), wrote()

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <set>
#include <span>
#include <vector>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class OutgoingFrames {
  public:
    struct Frame {
        Bytes bytes;
        std::filesystem::path outboxFile;  // empty unless a file transfer
    };
    struct Result {
        bool accepted = false;                    // false: not connected, nothing queued
        bool handOver = false;                    // the session's thread must write the rest
        std::vector<std::filesystem::path> sent;  // outbox files wholly written
    };

    // The session's thread: a new connection on fd, which starts with opening.
    Result open(int fd, std::vector<Frame> opening);
    // The connection is closing: its frames are dropped and nothing more is written.
    void close();
    // Queues frame behind the others and writes what the socket takes now.
    Result push(Frame frame);
    // The session's thread, after handOver: the unwritten rest of the first frame, valid
    // until wrote() or close(); empty when nothing is handed over.
    std::span<const std::uint8_t> front() const;
    // The session's thread: n bytes of front() were written; writes what else it can.
    Result wrote(std::size_t n);
    // The session's thread: writing the rest failed (the connection is going).
    void writeFailed();
    // Nothing queued or being written.
    bool empty() const;

  private:
    struct Queued {
        Frame frame;
        std::size_t written = 0;
    };
    // Sends from the first frame on until the queue is empty or the socket is full.
    void sendLocked(Result& result);

    mutable std::mutex mutex_;  // guards the members below
    int fd_ = -1;
    std::deque<Queued> queue_;
    bool handedOver_ = false;
    std::set<std::filesystem::path> sentFiles_;  // outbox files written on this connection
};

}  // namespace velmora

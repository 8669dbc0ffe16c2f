#pragma once
// CompanionSession: two paired processes (an app and its companion) connected over a
// Unix domain socket, with the three ways of the platform's watch-connectivity session:
//   application context  a dictionary; the last one written wins. Persisted on both
//                        sides and sent again on every connect, so the other side gets
//                        the latest even when it was not running at the time.
//   messages             dictionaries sent only while the peer is reachable.
//   file transfers       queued (persisted in the state directory) while the peer is
//                        unreachable and delivered, in order, once it connects.
//
// Pairing: both processes name the same socket path. The first to take the exclusive
// flock on "<socket>.lock" listens there; the other connects, and retries every 50 ms
// while it cannot, so either side may start first and either may restart. A stale
// socket left by a killed listener is replaced by the next one to take the lock.
//
// Wire format: frames of a one-byte type (1 context, 2 message, 3 file), a four-byte
// little-endian payload length (at most kMaxPayload) and the payload, a keyed archive
// of a dictionary (for a file: { "metadata": dictionary, "data": bytes }). A frame of
// another type, too long or not decodable ends the connection; the session reconnects.
//
// The delegate is called on the session's own thread; a delegate that throws is logged
// at error level with its what() and dropped. That thread is joined when the last owner
// lets go (soon after, when that happens in a delegate call on the thread itself), and
// at the latest when the process exits, before its static objects are destroyed; so a
// delegate must not wait for the thread that releases the session or calls exit().
//
// Writes: a live message is written by the sending thread itself (a non-blocking send)
// when nothing is queued ahead of it, and only what the socket cannot take at once goes
// through the session's thread; contexts and file transfers go through that thread, and
// frames leave in the order they were sent.
//
// Thread safety: every operation may be used from any thread.
//
//   auto session = std::make_shared<CompanionSession>(runtime / "pair.sock", state);
//   session->setDelegate(listener);
//   session->activate();
//   session->sendMessage(Dictionary{{"ping", "1"}});

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "Velmora/platform/foundation/Dictionary.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora {

class CompanionSession;

class CompanionSessionDelegate {
  public:
    virtual ~CompanionSessionDelegate() = default;
    virtual void sessionDidReceiveMessage(CompanionSession&, const Dictionary&) {}
    virtual void sessionDidReceiveApplicationContext(CompanionSession&, const Dictionary&) {}
    // file is in the state directory's "inbox" and belongs to the delegate.
    virtual void sessionDidReceiveFile(CompanionSession&, const std::filesystem::path& /*file*/,
                                       const Dictionary& /*metadata*/) {}
};

class CompanionSession {
  public:
    enum class FrameType : std::uint8_t { Context = 1, Message = 2, File = 3 };
    struct Frame {
        FrameType type = FrameType::Message;
        Bytes payload;
    };
    enum class Decoded { Incomplete, Frame, Invalid };
    static constexpr std::size_t kHeaderSize = 5;
    static constexpr std::size_t kMaxPayload = 16 * 1024 * 1024;

    static Bytes encodeFrame(FrameType type, std::span<const std::uint8_t> payload);
    // Reads the frame at the start of bytes into frame and consumed.
    static Decoded decodeFrame(std::span<const std::uint8_t> bytes, Frame& frame,
                               std::size_t& consumed);
    // A frame's payload as the dictionary it carries; nothing when it is not one.
    static std::optional<Dictionary> payloadDictionary(std::span<const std::uint8_t> payload);

    // The session the session transits use; set it before creating them.
    static std::shared_ptr<CompanionSession> defaultSession();
    static void setDefaultSession(std::shared_ptr<CompanionSession> session);

    CompanionSession(std::filesystem::path socketPath, std::filesystem::path stateDirectory);
    ~CompanionSession();
    CompanionSession(const CompanionSession&) = delete;
    CompanionSession& operator=(const CompanionSession&) = delete;

    void setDelegate(std::weak_ptr<CompanionSessionDelegate> delegate);
    // Starts pairing; later calls do nothing.
    void activate();
    bool isReachable() const;
    // Bounded waits for tools and tests: true once reachable / once every frame sent so
    // far has been written to the connection and no file transfer is queued.
    bool waitUntilReachable(double seconds) const;
    bool waitUntilFlushed(double seconds) const;

    // The context this side last sent, and the one last received (both persisted).
    Dictionary applicationContext() const;
    Dictionary receivedApplicationContext() const;
    bool updateApplicationContext(const Dictionary& context);
    // False (nothing sent) when the peer is not reachable.
    bool sendMessage(const Dictionary& message);
    // Queues the file's contents with metadata; false when it cannot be read or queued.
    bool transferFile(const std::filesystem::path& file, const Dictionary& metadata);
    std::size_t outstandingFileTransfers() const;

  private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace velmora

#include "Velmora/messaging/CompanionSession.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "Velmora/messaging/VLWormholeFileTransiting.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/UniqueFd.h"
#include "Velmora/platform/storage/UserDirectories.h"
#include "Velmora/text/NSString+URLParams.h"

namespace velmora {
namespace {

using Socket = asio::local::stream_protocol::socket;
using Acceptor = asio::local::stream_protocol::acceptor;
constexpr auto kRetry = std::chrono::milliseconds(50);

std::optional<Bytes> archiveDictionary(const Dictionary& dictionary) {
    return VLWormholeFileTransiting::archive(Value(dictionary));
}

Dictionary readDictionary(const std::filesystem::path& file) {
    const auto data = AtomicFile::read(file);
    if (!data) {
        return {};
    }
    return CompanionSession::payloadDictionary(*data).value_or(Dictionary{});
}

template <class Block>
void callDelegate(Block&& block) {
    try {
        block();
    } catch (const std::exception& error) {
        log::error("CompanionSession: delegate threw: {}", error.what());
    } catch (...) {
        log::error("CompanionSession: delegate threw");
    }
}

struct DefaultSession {
    std::mutex mutex;
    std::shared_ptr<CompanionSession> session;
};

DefaultSession& defaultSessionSlot() {
    static NoDestructor<DefaultSession> slot;
    return *slot;
}

}  // namespace

struct CompanionSession::Impl : std::enable_shared_from_this<Impl> {
    Impl(std::filesystem::path socket, std::filesystem::path state)
        : socketPath(std::move(socket)), stateDirectory(std::move(state)) {
        UserDirectories::ensureDirectory(stateDirectory / "outbox");
        UserDirectories::ensureDirectory(stateDirectory / "inbox");
        sentContext = readDictionary(stateDirectory / "context.archive");
        receivedContext = readDictionary(stateDirectory / "received-context.archive");
    }

    const std::filesystem::path socketPath;
    const std::filesystem::path stateDirectory;

    // Guarded by mutex; changes to reachable and queued wake `changed`.
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::weak_ptr<CompanionSessionDelegate> delegate;
    Dictionary sentContext, receivedContext;
    bool reachable = false;
    bool active = false;
    std::size_t queuedFiles = 0;
    std::uint64_t fileSequence = 0;

    // Used on the session's thread only.
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};
    std::optional<Acceptor> acceptor;
    std::optional<Socket> socket;
    asio::steady_timer retry{io};
    UniqueFd ownership;
    Bytes readBuffer, pending;
    std::deque<std::pair<Bytes, std::filesystem::path>> writes;  // frame, outbox file
    bool writing = false;
    bool stopping = false;
    std::thread thread;

    void setReachable(bool value) {
        {
            std::lock_guard lock(mutex);
            reachable = value;
        }
        changed.notify_all();
    }

    void connectOrListen() {
        if (stopping) {
            return;
        }
        if (!ownership) {
            std::filesystem::path lockPath = socketPath;
            lockPath += ".lock";
            UniqueFd fd(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
            if (fd && ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
                ownership = std::move(fd);
            }
        }
        if (ownership) {
            listen();
        } else {
            connect();
        }
    }

    void listen() {
        ::unlink(socketPath.c_str());  // holding the lock, any socket here is stale
        std::error_code error;
        acceptor.emplace(io);
        acceptor->open(asio::local::stream_protocol(), error);
        if (!error) {
            const mode_t mask = ::umask(0177);
            acceptor->bind(asio::local::stream_protocol::endpoint(socketPath.string()), error);
            ::umask(mask);
        }
        if (!error) {
            acceptor->listen(asio::socket_base::max_listen_connections, error);
        }
        if (error) {
            log::error("CompanionSession: cannot listen on {}: {}", socketPath.string(),
                       error.message());
            return;
        }
        accept();
    }

    void accept() {
        acceptor->async_accept([self = shared_from_this()](std::error_code error, Socket peer) {
            if (error) {
                return;  // closed: the session is going away
            }
            self->connected(std::move(peer));  // a newer connection replaces the older
            self->accept();
        });
    }

    void connect() {
        auto peer = std::make_shared<Socket>(io);
        peer->async_connect(asio::local::stream_protocol::endpoint(socketPath.string()),
                            [self = shared_from_this(), peer](std::error_code error) {
                                if (error) {
                                    self->retryLater();
                                } else {
                                    self->connected(std::move(*peer));
                                }
                            });
    }

    void retryLater() {
        if (stopping) {
            return;
        }
        retry.expires_after(kRetry);
        retry.async_wait([self = shared_from_this()](std::error_code error) {
            if (!error) {
                self->connectOrListen();
            }
        });
    }

    void connected(Socket peer) {
        if (stopping) {
            return;
        }
        socket.emplace(std::move(peer));
        pending.clear();
        writes.clear();
        writing = false;
        setReachable(true);
        Dictionary context;
        {
            std::lock_guard lock(mutex);
            context = sentContext;
        }
        if (!context.empty()) {
            if (const auto data = archiveDictionary(context)) {
                queueWrite(encodeFrame(FrameType::Context, *data), {});
            }
        }
        sendOutbox();
        read();
    }

    void disconnected() {
        if (!socket) {
            return;
        }
        std::error_code ignored;
        socket->close(ignored);
        socket.reset();
        setReachable(false);
        if (!ownership) {
            retryLater();
        }
    }

    void sendOutbox() {
        std::vector<std::filesystem::path> files;
        std::error_code error;
        for (const auto& entry :
             std::filesystem::directory_iterator(stateDirectory / "outbox", error)) {
            if (entry.path().extension() == ".frame") {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            if (auto frame = AtomicFile::read(file)) {
                queueWrite(std::move(*frame), file);
            }
        }
    }

    void queueWrite(Bytes frame, std::filesystem::path outboxFile) {
        const bool queuedAlready =
            !outboxFile.empty() &&
            std::any_of(writes.begin(), writes.end(),
                        [&](const auto& write) { return write.second == outboxFile; });
        if (queuedAlready || stopping) {
            return;
        }
        writes.emplace_back(std::move(frame), std::move(outboxFile));
        writeNext();
    }

    void writeNext() {
        if (writing || writes.empty() || !socket) {
            return;
        }
        writing = true;
        asio::async_write(*socket, asio::buffer(writes.front().first),
                          [self = shared_from_this()](std::error_code error, std::size_t) {
                              self->writing = false;
                              if (error) {
                                  self->disconnected();
                                  return;
                              }
                              if (!self->writes.front().second.empty()) {
                                  std::error_code ignored;
                                  std::filesystem::remove(self->writes.front().second, ignored);
                                  {
                                      std::lock_guard lock(self->mutex);
                                      self->queuedFiles -=
                                          std::min<std::size_t>(self->queuedFiles, 1);
                                  }
                                  self->changed.notify_all();
                              }
                              self->writes.pop_front();
                              self->writeNext();
                          });
    }

    void read() {
        readBuffer.resize(64 * 1024);
        socket->async_read_some(
            asio::buffer(readBuffer),
            [self = shared_from_this()](std::error_code error, std::size_t n) {
                if (error) {
                    self->disconnected();
                    return;
                }
                self->pending.insert(self->pending.end(), self->readBuffer.begin(),
                                     self->readBuffer.begin() + static_cast<std::ptrdiff_t>(n));
                if (!self->dispatchFrames()) {
                    log::warning("CompanionSession: dropped a peer that sent an invalid frame");
                    self->disconnected();
                    return;
                }
                self->read();
            });
    }

    // Handles every complete frame in pending; false on an invalid one.
    bool dispatchFrames() {
        std::size_t offset = 0;
        for (;;) {
            Frame frame;
            std::size_t consumed = 0;
            const auto result = decodeFrame(std::span(pending).subspan(offset), frame, consumed);
            if (result == Decoded::Invalid) {
                return false;
            }
            if (result == Decoded::Incomplete) {
                break;
            }
            offset += consumed;
            if (!deliver(frame)) {
                return false;
            }
        }
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(offset));
        return true;
    }

    bool deliver(const Frame& frame) {
        const auto dictionary = payloadDictionary(frame.payload);
        if (!dictionary) {
            return false;
        }
        std::shared_ptr<CompanionSessionDelegate> target;
        {
            std::lock_guard lock(mutex);
            target = delegate.lock();
            if (frame.type == FrameType::Context) {
                receivedContext = *dictionary;
            }
        }
        CompanionSession* owner = session;
        switch (frame.type) {
            case FrameType::Context:
                static_cast<void>(
                    AtomicFile::write(stateDirectory / "received-context.archive", frame.payload));
                if (target) {
                    callDelegate(
                        [&] { target->sessionDidReceiveApplicationContext(*owner, *dictionary); });
                }
                return true;
            case FrameType::Message:
                if (target) {
                    callDelegate([&] { target->sessionDidReceiveMessage(*owner, *dictionary); });
                }
                return true;
            case FrameType::File: {
                const Dictionary* metadata = dictionary->get("metadata").asDictionary();
                const Value data = dictionary->get("data");
                if (metadata == nullptr || !data.isData()) {
                    return false;
                }
                const auto file = stateDirectory / "inbox" / stringWithUUID();
                if (!AtomicFile::write(file, *data.asData())) {
                    return true;  // the transfer is lost here, not the connection
                }
                if (target) {
                    callDelegate([&] { target->sessionDidReceiveFile(*owner, file, *metadata); });
                }
                return true;
            }
        }
        return false;
    }

    CompanionSession* session = nullptr;
};

Bytes CompanionSession::encodeFrame(FrameType type, std::span<const std::uint8_t> payload) {
    Bytes frame;
    frame.reserve(kHeaderSize + payload.size());
    frame.push_back(static_cast<std::uint8_t>(type));
    const auto length = static_cast<std::uint32_t>(payload.size());
    for (int shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<std::uint8_t>(length >> shift));
    }
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

CompanionSession::Decoded CompanionSession::decodeFrame(std::span<const std::uint8_t> bytes,
                                                        Frame& frame, std::size_t& consumed) {
    if (bytes.empty()) {
        return Decoded::Incomplete;
    }
    if (bytes[0] < 1 || bytes[0] > 3) {
        return Decoded::Invalid;
    }
    if (bytes.size() < kHeaderSize) {
        return Decoded::Incomplete;
    }
    std::uint32_t length = 0;
    for (int i = 0; i < 4; ++i) {
        length |= static_cast<std::uint32_t>(bytes[1 + i]) << (8 * i);
    }
    if (length > kMaxPayload) {
        return Decoded::Invalid;
    }
    if (bytes.size() < kHeaderSize + length) {
        return Decoded::Incomplete;
    }
    frame.type = static_cast<FrameType>(bytes[0]);
    frame.payload.assign(bytes.begin() + kHeaderSize, bytes.begin() + kHeaderSize + length);
    consumed = kHeaderSize + length;
    return Decoded::Frame;
}

std::optional<Dictionary> CompanionSession::payloadDictionary(
    std::span<const std::uint8_t> payload) {
    const Value value = VLWormholeFileTransiting::unarchive(Bytes(payload.begin(), payload.end()));
    if (!value.isDictionary()) {
        return std::nullopt;
    }
    return *value.asDictionary();
}

std::shared_ptr<CompanionSession> CompanionSession::defaultSession() {
    auto& slot = defaultSessionSlot();
    std::lock_guard lock(slot.mutex);
    return slot.session;
}

void CompanionSession::setDefaultSession(std::shared_ptr<CompanionSession> session) {
    auto& slot = defaultSessionSlot();
    std::lock_guard lock(slot.mutex);
    slot.session = std::move(session);
}

CompanionSession::CompanionSession(std::filesystem::path socketPath,
                                   std::filesystem::path stateDirectory)
    : impl_(std::make_shared<Impl>(std::move(socketPath), std::move(stateDirectory))) {
    impl_->session = this;
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(impl_->stateDirectory / "outbox", error)) {
        impl_->queuedFiles += entry.path().extension() == ".frame" ? 1 : 0;
    }
}

CompanionSession::~CompanionSession() {
    if (impl_->thread.joinable()) {
        // Everything is closed and cancelled; the thread's run() returns once the aborted
        // operations have finished, and no handler (each holds the state) is left behind.
        asio::post(impl_->io, [impl = impl_] {
            impl->stopping = true;
            std::error_code ignored;
            impl->retry.cancel();
            if (impl->acceptor) {
                impl->acceptor->close(ignored);
            }
            if (impl->socket) {
                impl->socket->close(ignored);
            }
            impl->work.reset();
        });
        if (impl_->thread.get_id() == std::this_thread::get_id()) {
            // The last owner let go from a delegate call: the thread winds down by itself.
            impl_->thread.detach();
        } else {
            impl_->thread.join();
        }
    } else {
        // Never activated: let what was posted run (it finds no connection) and go.
        impl_->stopping = true;
        impl_->work.reset();
        impl_->io.run();
    }
    if (impl_->ownership) {
        ::unlink(impl_->socketPath.c_str());
    }
}

void CompanionSession::setDelegate(std::weak_ptr<CompanionSessionDelegate> delegate) {
    std::lock_guard lock(impl_->mutex);
    impl_->delegate = std::move(delegate);
}

void CompanionSession::activate() {
    {
        std::lock_guard lock(impl_->mutex);
        if (impl_->active) {
            return;
        }
        impl_->active = true;
    }
    asio::post(impl_->io, [impl = impl_] { impl->connectOrListen(); });
    // The thread holds the state, so it may outlive the session (see the destructor).
    impl_->thread = std::thread([impl = impl_] { impl->io.run(); });
}

bool CompanionSession::isReachable() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->reachable;
}

bool CompanionSession::waitUntilReachable(double seconds) const {
    std::unique_lock lock(impl_->mutex);
    return impl_->changed.wait_for(lock, std::chrono::duration<double>(seconds),
                                   [&] { return impl_->reachable; });
}

bool CompanionSession::waitUntilFlushed(double seconds) const {
    // Asks the session's thread, behind everything posted so far, whether anything is
    // still to be written; the answer is only known there.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        auto answer = std::make_shared<std::promise<bool>>();
        auto flushed = answer->get_future();
        asio::post(impl_->io, [impl = impl_, answer] {
            std::lock_guard lock(impl->mutex);
            answer->set_value(impl->writes.empty() && !impl->writing && impl->queuedFiles == 0);
        });
        if (flushed.wait_until(deadline) == std::future_status::ready && flushed.get()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

Dictionary CompanionSession::applicationContext() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->sentContext;
}

Dictionary CompanionSession::receivedApplicationContext() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->receivedContext;
}

bool CompanionSession::updateApplicationContext(const Dictionary& context) {
    const auto data = archiveDictionary(context);
    if (!data || !AtomicFile::write(impl_->stateDirectory / "context.archive", *data)) {
        return false;
    }
    {
        std::lock_guard lock(impl_->mutex);
        impl_->sentContext = context;
    }
    asio::post(impl_->io, [impl = impl_, frame = encodeFrame(FrameType::Context, *data)]() mutable {
        if (impl->socket) {
            impl->queueWrite(std::move(frame), {});
        }
    });
    return true;
}

bool CompanionSession::sendMessage(const Dictionary& message) {
    const auto data = archiveDictionary(message);
    if (!data || !isReachable()) {
        return false;
    }
    asio::post(impl_->io, [impl = impl_, frame = encodeFrame(FrameType::Message, *data)]() mutable {
        impl->queueWrite(std::move(frame), {});
    });
    return true;
}

bool CompanionSession::transferFile(const std::filesystem::path& file, const Dictionary& metadata) {
    const auto contents = AtomicFile::read(file);
    if (!contents) {
        return false;
    }
    const auto data = archiveDictionary(Dictionary{{"metadata", metadata}, {"data", *contents}});
    if (!data) {
        return false;
    }
    Bytes frame = encodeFrame(FrameType::File, *data);
    std::filesystem::path queued;
    {
        std::lock_guard lock(impl_->mutex);
        // Names sort in the order the files were queued.
        queued = impl_->stateDirectory / "outbox" /
                 fmt::format("{:020}-{:010}-{}.frame",
                             std::chrono::system_clock::now().time_since_epoch().count(),
                             impl_->fileSequence++, ::getpid());
    }
    if (!AtomicFile::write(queued, frame)) {
        return false;
    }
    {
        std::lock_guard lock(impl_->mutex);
        ++impl_->queuedFiles;
    }
    asio::post(impl_->io, [impl = impl_, frame = std::move(frame), queued]() mutable {
        if (impl->socket) {
            impl->queueWrite(std::move(frame), queued);
        }
    });
    return true;
}

std::size_t CompanionSession::outstandingFileTransfers() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->queuedFiles;
}

}  // namespace velmora

#include "Velmora/messaging/CompanionSession.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "Velmora/messaging/VLWormholeFileTransiting.h"
#include "Velmora/messaging/internal/OutgoingFrames.h"
#include "Velmora/messaging/internal/SessionThreads.h"
#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/logging/BlockExceptions.h"
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
    SessionThreads::Id thread = 0;  // 0 until activated
    std::thread::id runningThread;  // the session's thread, once it has started

    // Used on the session's thread only.
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};
    std::optional<Acceptor> acceptor;
    std::optional<Socket> socket;
    asio::steady_timer retry{io};
    UniqueFd ownership;
    Bytes readBuffer, pending;
    std::uint64_t connection = 0;  // changes with each connection made or lost
    bool writingRest = false;      // an Asio write of what OutgoingFrames handed over
    bool stopping = false;

    // Any thread. Writes that go through this thread (contexts, file transfers, and live
    // messages queued behind them) are counted, so that a live message written directly
    // never overtakes one of them.
    OutgoingFrames outgoing;
    std::atomic<std::size_t> postedWrites{0};
    // The session delegates are told about; cleared when it is destroyed, so frames still
    // being dispatched on this thread reach no delegate.
    CompanionSession* session = nullptr;

    // The thread's body. A handler that throws (our own code: delegates are guarded) is
    // reported and the context carries on with the next one.
    void run() {
        for (;;) {
            try {
                io.run();
                return;
            } catch (...) {
                reportBlockException("a companion session handler");
            }
        }
    }

    // Closes everything and lets run() return once the aborted operations have finished.
    // REQUIRES: on the session's thread, or with that thread joined.
    void shutDown() {
        stopping = true;
        session = nullptr;
        std::error_code ignored;
        retry.cancel();
        if (acceptor) {
            acceptor->close(ignored);
        }
        if (socket) {
            closeConnection();
        }
        work.reset();
    }

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
            self->connected(std::move(peer));
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
        if (socket) {
            closeConnection();  // a newer connection replaces the older
        }
        socket.emplace(std::move(peer));
        pending.clear();
        // The context goes first (the peer may have missed it), then the queued transfers.
        finish(outgoing.open(socket->native_handle(), openingFrames()));
        setReachable(true);
        read();
    }

    void disconnected() {
        if (!socket) {
            return;
        }
        closeConnection();
        setReachable(false);
        if (!ownership) {
            retryLater();
        }
    }

    void closeConnection() {
        ++connection;
        writingRest = false;
        outgoing.close();  // before the descriptor goes: other threads write to it
        std::error_code ignored;
        socket->close(ignored);
        socket.reset();
    }

    std::vector<OutgoingFrames::Frame> openingFrames() {
        std::vector<OutgoingFrames::Frame> frames;
        Dictionary context;
        {
            std::lock_guard lock(mutex);
            context = sentContext;
        }
        if (!context.empty()) {
            if (const auto data = archiveDictionary(context)) {
                frames.push_back({encodeFrame(FrameType::Context, *data), {}});
            }
        }
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
                frames.push_back({std::move(*frame), file});
            }
        }
        return frames;
    }

    // Any thread: queues frame through this thread, behind what is already posted.
    void postWrite(Bytes frame, std::filesystem::path outboxFile) {
        ++postedWrites;
        asio::post(io, [self = shared_from_this(), frame = std::move(frame),
                        file = std::move(outboxFile)]() mutable {
            if (self->socket && !self->stopping) {
                self->finish(self->outgoing.push({std::move(frame), std::move(file)}));
            }
            --self->postedWrites;
        });
    }

    // Any thread: a live message, written at once unless something is ahead of it.
    bool sendLive(Bytes frame) {
        if (postedWrites.load() > 0) {
            postWrite(std::move(frame), {});
            return true;
        }
        auto result = outgoing.push({std::move(frame), {}});
        if (!result.accepted) {
            return false;
        }
        finish(std::move(result));
        return true;
    }

    // Any thread: removes the outbox files of transfers written, and has this thread
    // write the rest when the socket was full.
    void finish(OutgoingFrames::Result result) {
        if (!result.sent.empty()) {
            for (const auto& file : result.sent) {
                std::error_code ignored;
                std::filesystem::remove(file, ignored);
            }
            {
                std::lock_guard lock(mutex);
                queuedFiles -= std::min(queuedFiles, result.sent.size());
            }
            changed.notify_all();
        }
        if (result.handOver) {
            asio::post(io, [self = shared_from_this()] { self->writeRest(); });
        }
    }

    void writeRest() {
        const auto rest = outgoing.front();
        if (writingRest || !socket || rest.empty()) {
            return;
        }
        writingRest = true;
        asio::async_write(*socket, asio::buffer(rest.data(), rest.size()),
                          [self = shared_from_this(), forConnection = connection](
                              std::error_code error, std::size_t written) {
                              if (forConnection != self->connection) {
                                  return;  // that connection is gone, with its frames
                              }
                              self->writingRest = false;
                              if (error) {
                                  self->outgoing.writeFailed();  // the reading side follows
                                  return;
                              }
                              self->finish(self->outgoing.wrote(written));
                          });
    }

    void read() {
        if (stopping || !socket) {
            return;
        }
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
            if (stopping) {  // the delegate let go of the session
                return true;
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
        if (owner == nullptr) {
            target.reset();
        }
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
};

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
    SessionThreads::Id thread = 0;
    bool onItsThread = false;
    {
        std::lock_guard lock(impl_->mutex);
        thread = impl_->thread;
        onItsThread = impl_->runningThread == std::this_thread::get_id();
    }
    auto& threads = SessionThreads::shared();
    if (onItsThread) {
        // The last owner let go in a delegate call, on the session's own thread, which
        // cannot join itself: everything is closed now, the thread ends once the aborted
        // operations have finished, and SessionThreads joins it after that.
        impl_->shutDown();
        threads.releaseCurrent();
    } else {
        if (thread != 0) {
            asio::post(impl_->io, [impl = impl_] { impl->shutDown(); });
            threads.join(thread);
        }
        // The thread is gone (or never was): finish here whatever is still queued, which
        // finds the session stopping. This also covers a thread stopped at exit before it
        // ran the shutdown, whose handlers would otherwise keep the state alive.
        impl_->shutDown();
        impl_->io.restart();
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
    // The thread holds the state, so it may outlive the session (see the destructor); at
    // exit it is stopped through a weak reference, which holds nothing.
    const auto thread = SessionThreads::shared().start(
        [impl = impl_] {
            {
                std::lock_guard lock(impl->mutex);
                impl->runningThread = std::this_thread::get_id();
            }
            impl->run();
        },
        [state = std::weak_ptr<Impl>(impl_)] {
            if (const auto impl = state.lock()) {
                impl->io.stop();
            }
        });
    std::lock_guard lock(impl_->mutex);
    impl_->thread = thread;
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
    const auto flushed = [&] {
        if (!impl_->outgoing.empty() || impl_->postedWrites.load() > 0) {
            return false;
        }
        std::lock_guard lock(impl_->mutex);
        return impl_->queuedFiles == 0;
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!flushed()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
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
    impl_->postWrite(encodeFrame(FrameType::Context, *data), {});
    return true;
}

bool CompanionSession::sendMessage(const Dictionary& message) {
    const auto data = archiveDictionary(message);
    if (!data || !isReachable()) {
        return false;
    }
    return impl_->sendLive(encodeFrame(FrameType::Message, *data));
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
    impl_->postWrite(std::move(frame), std::move(queued));
    return true;
}

std::size_t CompanionSession::outstandingFileTransfers() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->queuedFiles;
}

}  // namespace velmora

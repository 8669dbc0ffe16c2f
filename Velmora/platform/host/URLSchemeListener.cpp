#include "Velmora/platform/host/URLSchemeListener.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/host/internal/ChildProcess.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/storage/AtomicFile.h"
#include "Velmora/platform/storage/UniqueFd.h"
#include "Velmora/platform/storage/UserDirectories.h"

namespace velmora {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kMaxPendingPeers = 64;

// RFC 3986: a letter, then letters, digits, '+', '-' and '.'; folded to lower case.
std::optional<std::string> normalisedScheme(std::string_view scheme) {
    if (scheme.empty() || scheme.size() > 64 ||
        !std::isalpha(static_cast<unsigned char>(scheme[0]))) {
        return std::nullopt;
    }
    std::string lower;
    for (const char c : scheme) {
        const auto u = static_cast<unsigned char>(c);
        if (!std::isalnum(u) && c != '+' && c != '-' && c != '.') {
            return std::nullopt;
        }
        lower += static_cast<char>(std::tolower(u));
    }
    return lower;
}

std::string_view schemeOf(std::string_view url) {
    const auto colon = url.find(':');
    return colon == std::string_view::npos ? std::string_view{} : url.substr(0, colon);
}

std::optional<sockaddr_un> socketAddress(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.native().size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.native().size() + 1);
    return address;
}

UniqueFd connectTo(const std::filesystem::path& path) {
    const auto address = socketAddress(path);
    if (!address) {
        return {};
    }
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd ||
        ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
        return {};
    }
    return fd;
}

// What a well-behaved peer sends: printable ASCII (a URL is percent-encoded), starting
// with the listener's scheme and a colon.
bool acceptableURL(const std::string& url, const std::string& scheme) {
    if (url.empty() || url.size() > URLSchemeListener::kMaxURLLength) {
        return false;
    }
    for (const char c : url) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x21 || u > 0x7e) {
            return false;
        }
    }
    const auto received = normalisedScheme(schemeOf(url));
    return received && *received == scheme;
}

}  // namespace

struct URLSchemeListener::State {
    std::string scheme;
    Handler handler;
    UniqueFd listening;
    UniqueFd ownership;  // the flock that says this process owns the scheme
    UniqueFd wake{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::atomic<bool> alive{true};
    std::thread thread;

    struct Peer {
        UniqueFd fd;
        std::string received;
        SteadyClock::time_point deadline;
    };

    void serve() {
        std::vector<Peer> peers;
        for (;;) {
            std::vector<pollfd> fds{{wake.get(), POLLIN, 0}, {listening.get(), POLLIN, 0}};
            for (const auto& peer : peers) {
                fds.push_back({peer.fd.get(), POLLIN, 0});
            }
            int timeout = -1;
            const auto now = SteadyClock::now();
            for (const auto& peer : peers) {
                const auto left =
                    std::chrono::duration_cast<std::chrono::milliseconds>(peer.deadline - now);
                timeout =
                    std::max(0, timeout < 0 ? static_cast<int>(left.count())
                                            : std::min(timeout, static_cast<int>(left.count())));
            }
            if (::poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) {
                log::error("URLSchemeListener {}: poll failed: {}", scheme, std::strerror(errno));
                return;
            }
            if (fds[0].revents != 0) {
                return;
            }
            std::vector<Peer> still;
            for (std::size_t i = 0; i < peers.size(); ++i) {
                if (fds[i + 2].revents != 0 && !readFrom(peers[i])) {
                    continue;  // finished, delivered or dropped
                }
                if (SteadyClock::now() >= peers[i].deadline) {
                    log::warning("URLSchemeListener {}: dropped a peer that sent no URL in time",
                                 scheme);
                    continue;
                }
                still.push_back(std::move(peers[i]));
            }
            peers = std::move(still);
            if (fds[1].revents != 0) {
                accept(peers);
            }
        }
    }

    void accept(std::vector<Peer>& peers) {
        UniqueFd fd(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!fd) {
            return;
        }
        ucred credentials{};
        socklen_t size = sizeof credentials;
        if (::getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
            credentials.uid != ::getuid()) {
            log::warning("URLSchemeListener {}: dropped a peer of another user", scheme);
            return;
        }
        if (peers.size() >= kMaxPendingPeers) {
            log::warning("URLSchemeListener {}: dropped a peer, too many pending", scheme);
            return;
        }
        const auto deadline =
            SteadyClock::now() +
            std::chrono::milliseconds(static_cast<int>(kReadTimeoutSeconds * 1000));
        peers.push_back(Peer{std::move(fd), {}, deadline});
    }

    // Reads what the peer has sent; answers whether to keep waiting for more.
    bool readFrom(Peer& peer) {
        char buffer[16384];
        for (;;) {
            const ssize_t n = ::read(peer.fd.get(), buffer, sizeof buffer);
            if (n > 0) {
                peer.received.append(buffer, static_cast<std::size_t>(n));
                if (peer.received.size() > kMaxURLLength) {
                    log::warning("URLSchemeListener {}: dropped a peer that sent over {} bytes",
                                 scheme, kMaxURLLength);
                    return false;
                }
                continue;
            }
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return true;
            }
            break;  // end of stream (or a reset): the URL is complete
        }
        if (peer.received.empty()) {
            return false;  // a probe (isListening): connected and closed without a word
        }
        if (!acceptableURL(peer.received, scheme)) {
            log::warning("URLSchemeListener {}: dropped a peer that sent no valid URL", scheme);
            return false;
        }
        post(std::move(peer.received));
        return false;
    }

    void post(std::string url) {
        RunLoop::main().post([state = weakSelf.lock(), url = std::move(url)] {
            if (!state || !state->alive.load()) {
                return;
            }
            try {
                state->handler(url);
            } catch (const std::exception& error) {
                log::error("URLSchemeListener {}: handler threw: {}", state->scheme, error.what());
            } catch (...) {
                log::error("URLSchemeListener {}: handler threw", state->scheme);
            }
        });
    }

    std::weak_ptr<State> weakSelf;
};

std::filesystem::path URLSchemeListener::socketPath(std::string_view scheme) {
    const auto normalised = normalisedScheme(scheme);
    if (!normalised) {
        return {};
    }
    const auto directory = UserDirectories::privateRuntimeDirectory("url");
    return directory ? *directory / (*normalised + ".sock") : std::filesystem::path{};
}

std::unique_ptr<URLSchemeListener> URLSchemeListener::listen(std::string_view scheme,
                                                             Handler handler, std::string* error) {
    auto fail = [&](std::string why) {
        if (error != nullptr) {
            *error = std::move(why);
        }
        return nullptr;
    };
    const auto normalised = normalisedScheme(scheme);
    if (!normalised) {
        return fail(fmt::format("'{}' is not a URL scheme", scheme));
    }
    const std::filesystem::path path = socketPath(*normalised);
    const auto address = socketAddress(path);
    if (!address) {
        return fail("no private runtime directory for the socket");
    }
    auto state = std::make_shared<State>();
    state->scheme = *normalised;
    state->handler = std::move(handler);
    std::filesystem::path lockPath = path;
    lockPath.replace_extension(".lock");
    state->ownership.reset(
        ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!state->ownership || ::flock(state->ownership.get(), LOCK_EX | LOCK_NB) != 0) {
        return fail(fmt::format("another program listens on '{}'", *normalised));
    }
    // Holding the lock, any socket file left at the path belongs to a program that died.
    ::unlink(path.c_str());
    state->listening.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The socket is made 0600 before it is reachable: bind creates it under this umask.
    const mode_t previousMask = ::umask(0177);
    const bool bound = state->listening &&
                       ::bind(state->listening.get(), reinterpret_cast<const sockaddr*>(&*address),
                              sizeof *address) == 0;
    ::umask(previousMask);
    if (!bound || ::listen(state->listening.get(), SOMAXCONN) != 0 || !state->wake) {
        return fail(fmt::format("cannot listen on {}: {}", path.string(), std::strerror(errno)));
    }
    state->weakSelf = state;
    state->thread = std::thread([raw = state.get()] { raw->serve(); });
    return std::unique_ptr<URLSchemeListener>(
        new URLSchemeListener(*normalised, path, std::move(state)));
}

URLSchemeListener::URLSchemeListener(std::string scheme, std::filesystem::path socketPath,
                                     std::shared_ptr<State> state)
    : scheme_(std::move(scheme)), socketPath_(std::move(socketPath)), state_(std::move(state)) {}

URLSchemeListener::~URLSchemeListener() {
    state_->alive = false;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(state_->wake.get(), &one, sizeof one);
    state_->thread.join();
    // Unlinked while the ownership lock is still held, so a successor's socket is safe.
    ::unlink(socketPath_.c_str());
}

bool URLSchemeListener::isListening(std::string_view schemeOrURL) {
    const std::string_view scheme =
        schemeOrURL.find(':') == std::string_view::npos ? schemeOrURL : schemeOf(schemeOrURL);
    return static_cast<bool>(connectTo(socketPath(scheme)));
}

bool URLSchemeListener::deliver(std::string_view url) {
    if (url.empty() || url.size() > kMaxURLLength) {
        return false;
    }
    UniqueFd fd = connectTo(socketPath(schemeOf(url)));
    if (!fd) {
        return false;
    }
    // A URL of at most 64 KiB fits the socket's send buffer, so this rarely waits; when it
    // would, the rest is written from a background thread, bounded by a send time-out.
    std::size_t sent = 0;
    while (sent < url.size()) {
        const ssize_t n =
            ::send(fd.get(), url.data() + sent, url.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0) {
            sent += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            break;
        } else {
            return false;
        }
    }
    if (sent < url.size()) {
        std::thread([fd = std::move(fd), rest = std::string(url.substr(sent))]() mutable {
            const int flags = ::fcntl(fd.get(), F_GETFL);
            ::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK);
            const timeval limit{static_cast<time_t>(kReadTimeoutSeconds), 0};
            ::setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
            std::size_t done = 0;
            while (done < rest.size()) {
                const ssize_t n =
                    ::send(fd.get(), rest.data() + done, rest.size() - done, MSG_NOSIGNAL);
                if (n <= 0 && errno != EINTR) {
                    return;
                }
                done += n > 0 ? static_cast<std::size_t>(n) : 0;
            }
        }).detach();
    }
    return true;
}

std::filesystem::path URLSchemeListener::applicationsDirectory() {
    if (const char* home = std::getenv("VELMORA_HOME"); home != nullptr && *home != '\0') {
        return std::filesystem::path(home) / "applications";
    }
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && std::filesystem::path(data).is_absolute()) {
        return std::filesystem::path(data) / "applications";
    }
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : "/") / ".local/share/applications";
}

std::optional<std::filesystem::path> URLSchemeListener::registerWithDesktop(
    std::string_view scheme, const std::vector<std::string>& command, std::string* error) {
    auto fail = [&](std::string why) -> std::optional<std::filesystem::path> {
        if (error != nullptr) {
            *error = std::move(why);
        }
        return std::nullopt;
    };
    const auto normalised = normalisedScheme(scheme);
    if (!normalised || command.empty()) {
        return fail(fmt::format("'{}' is not a URL scheme", scheme));
    }
    const auto directory = UserDirectories::ensureDirectory(applicationsDirectory());
    if (!directory) {
        return fail("cannot create " + applicationsDirectory().string());
    }
    // Desktop entry quoting: each argument in double quotes, with ", `, $ and \ escaped.
    std::string exec;
    for (const auto& argument : command) {
        exec += '"';
        for (const char c : argument) {
            if (c == '"' || c == '`' || c == '$' || c == '\\') {
                exec += "\\\\";
            }
            exec += c;
        }
        exec += "\" ";
    }
    exec += "%u";
    const std::string entryName = "velmora-" + *normalised + ".desktop";
    const std::string entry = fmt::format(
        "[Desktop Entry]\nType=Application\nName={}\nExec={}\nNoDisplay=true\n"
        "MimeType=x-scheme-handler/{};\n",
        Application::shared()->displayName(), exec, *normalised);
    const std::filesystem::path file = *directory / entryName;
    std::string why;
    if (!AtomicFile::write(
            file, std::span(reinterpret_cast<const std::uint8_t*>(entry.data()), entry.size()),
            &why)) {
        return fail(why);
    }
    const char* home = std::getenv("VELMORA_HOME");
    if ((home == nullptr || *home == '\0') && childprocess::onPath("xdg-mime")) {
        childprocess::spawnDetached(
            {"xdg-mime", "default", entryName, "x-scheme-handler/" + *normalised});
    }
    return file;
}

}  // namespace velmora

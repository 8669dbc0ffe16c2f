// Messaging between two processes. The other process is this program started again
// with a role argument, so it begins clean (no threads inherited through fork).
//   wormhole latency   pass in this process -> listener called in the other (one way,
//                      measured on CLOCK_MONOTONIC, which both processes share), for the
//                      file, coordinated and session message transits (arguments 0, 1, 3)
//   wormhole rate      messages per second passed to a listener that counts them
//   IAC round trip     performAction -> the other program's handler -> success callback
//   peer               a bare Unix socket round trip between the same two processes, the
//                      floor any local IPC stands on
// Latencies are reported as counters p50_us and p99_us over the iterations.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "Velmora/messaging/CompanionSession.h"
#include "Velmora/messaging/IACClient.h"
#include "Velmora/messaging/IACManager.h"
#include "Velmora/messaging/VLWormhole.h"
#include "Velmora/messaging/VLWormholeSession.h"
#include "Velmora/messaging/VLWormholeSessionTransiting.h"
#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/host/URLSchemeListener.h"
#include "Velmora/platform/storage/UniqueFd.h"

extern char** environ;

namespace {

using namespace velmora;

constexpr const char* kGroup = "group.velmora.bench";

std::int64_t monotonicNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

bool runUntil(const std::function<bool()>& done, double seconds = 10) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        RunLoop::main().runOnePass(RunLoop::kDefaultMode, 0.01);
    }
    return true;
}

// The other process; killed and reaped when the benchmark is done with it.
class Peer {
  public:
    explicit Peer(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "/proc/self/exe");
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        if (posix_spawn(&pid_, "/proc/self/exe", nullptr, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
    }
    ~Peer() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

  private:
    pid_t pid_ = -1;
};

void reportLatencies(benchmark::State& state, std::vector<double> microseconds) {
    if (microseconds.empty()) {
        state.SkipWithError("no samples");
        return;
    }
    std::sort(microseconds.begin(), microseconds.end());
    state.counters["p50_us"] = microseconds[microseconds.size() / 2];
    state.counters["p99_us"] = microseconds[microseconds.size() * 99 / 100];
}

VLWormholeTransitingType transitOf(const benchmark::State& state) {
    return static_cast<VLWormholeTransitingType>(state.range(0));
}

// One end of a wormhole benchmark. The file transits are plain wormholes; the session
// message transit is a listening session whose own passes go out as live messages over
// the pair socket shared by both processes.
struct WormholeEnd {
    std::shared_ptr<CompanionSession> session;
    std::shared_ptr<VLWormhole> wormhole;

    WormholeEnd(VLWormholeTransitingType type, const std::string& role) {
        if (type != VLWormholeTransitingType::SessionMessage) {
            wormhole = std::make_shared<VLWormhole>(kGroup, "bench", type);
            return;
        }
        const auto home = std::filesystem::path(std::getenv("VELMORA_HOME"));
        session = std::make_shared<CompanionSession>(home / "pair.sock", home / role);
        auto listening = std::make_shared<VLWormholeSession>(kGroup, "bench");
        listening->setWormholeMessenger(
            std::make_shared<VLWormholeSessionMessageTransiting>(kGroup, "bench", session));
        wormhole = listening;
    }
    // Starts the session once the listeners are in place; true when the pair is up.
    bool start() {
        if (!session) {
            return true;
        }
        std::static_pointer_cast<VLWormholeSession>(wormhole)->activateSessionListening(session);
        return session->waitUntilReachable(10);
    }
};

// The other side of the wormhole benchmarks: answers each "ping" with a "pong" carrying
// the time it was called, and counts messages on "burst", answering on "burst-done" when
// the expected count arrived.
int wormholeEcho(VLWormholeTransitingType type) {
    WormholeEnd end(type, "echo");
    VLWormhole& wormhole = *end.wormhole;
    std::int64_t burst = 0;
    wormhole.listenForMessageWithIdentifier("ping", [&](const Value& message) {
        wormhole.passMessageObject(
            Value(Dictionary{{"sent", message}, {"received", monotonicNanoseconds()}}), "pong");
    });
    wormhole.listenForMessageWithIdentifier("burst", [&](const Value& message) {
        if (++burst == message.integerValue()) {
            wormhole.passMessageObject(Value(burst), "burst-done");
            burst = 0;
        }
    });
    if (!end.start()) {
        return 1;
    }
    wormhole.passMessageObject(Value("ready"), "echo-ready");
    RunLoop::main().run();
    return 0;
}

void BM_WormholePassToListener(benchmark::State& state) {
    WormholeEnd end(transitOf(state), "bench");
    VLWormhole& wormhole = *end.wormhole;
    std::vector<double> latencies;
    bool ready = false;
    std::int64_t lastReceived = 0;
    wormhole.listenForMessageWithIdentifier("echo-ready", [&](const Value&) { ready = true; });
    wormhole.listenForMessageWithIdentifier("pong", [&](const Value& reply) {
        const Dictionary* fields = reply.asDictionary();
        if (fields != nullptr) {
            lastReceived = fields->get("received").integerValue();
            latencies.push_back(
                static_cast<double>(lastReceived - fields->get("sent").integerValue()) / 1000.0);
        }
    });
    Peer echo({"--wormhole-echo", std::to_string(state.range(0))});
    if (!end.start() || !runUntil([&] { return ready; })) {
        state.SkipWithError("the echo process did not start");
        return;
    }
    for (auto _ : state) {
        const std::size_t before = latencies.size();
        wormhole.passMessageObject(Value(monotonicNanoseconds()), "ping");
        if (!runUntil([&] { return latencies.size() > before; })) {
            state.SkipWithError("no answer");
            return;
        }
    }
    reportLatencies(state, latencies);
}
BENCHMARK(BM_WormholePassToListener)
    ->Arg(static_cast<int>(VLWormholeTransitingType::File))
    ->Arg(static_cast<int>(VLWormholeTransitingType::CoordinatedFile))
    ->Arg(static_cast<int>(VLWormholeTransitingType::SessionMessage))
    ->Iterations(10000)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

void BM_WormholeMessagesPerSecond(benchmark::State& state) {
    constexpr std::int64_t kBurst = 1000;
    WormholeEnd end(transitOf(state), "bench");
    VLWormhole& wormhole = *end.wormhole;
    bool ready = false, done = false;
    wormhole.listenForMessageWithIdentifier("echo-ready", [&](const Value&) { ready = true; });
    wormhole.listenForMessageWithIdentifier("burst-done", [&](const Value&) { done = true; });
    Peer echo({"--wormhole-echo", std::to_string(state.range(0))});
    if (!end.start() || !runUntil([&] { return ready; })) {
        state.SkipWithError("the echo process did not start");
        return;
    }
    for (auto _ : state) {
        done = false;
        for (std::int64_t i = 0; i < kBurst; ++i) {
            wormhole.passMessageObject(Value(kBurst), "burst");
        }
        if (!runUntil([&] { return done; })) {
            state.SkipWithError("the burst did not arrive");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_WormholeMessagesPerSecond)
    ->Arg(static_cast<int>(VLWormholeTransitingType::File))
    ->Arg(static_cast<int>(VLWormholeTransitingType::CoordinatedFile))
    ->Arg(static_cast<int>(VLWormholeTransitingType::SessionMessage))
    ->Iterations(5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

int iacTarget() {
    auto listener = URLSchemeListener::listen("velmorabenchtarget", [](const std::string& url) {
        IACManager::sharedManager().handleOpenURL(url);
    });
    IACManager::sharedManager().setCallbackURLScheme("velmorabenchtarget");
    IACManager::sharedManager().handleAction(
        "echo", [](const Dictionary& input, IACManager::ActionSuccess ok,
                   IACManager::ActionFailure) { ok(input, false); });
    RunLoop::main().run();
    return 0;
}

void BM_IACRequestToCallback(benchmark::State& state) {
    auto listener = URLSchemeListener::listen("velmorabenchcaller", [](const std::string& url) {
        IACManager::sharedManager().handleOpenURL(url);
    });
    IACManager::sharedManager().setCallbackURLScheme("velmorabenchcaller");
    Peer target({"--iac-target"});
    if (!listener ||
        !runUntil([] { return URLSchemeListener::isListening("velmorabenchtarget"); })) {
        state.SkipWithError("the target did not start");
        return;
    }
    auto client = IACClient::clientWithURLScheme("velmorabenchtarget");
    std::vector<double> latencies;
    for (auto _ : state) {
        bool answered = false;
        const auto start = std::chrono::steady_clock::now();
        client->performAction(
            "echo", Dictionary{{"n", "1"}},
            [&](const std::optional<Dictionary>&) { answered = true; },
            [&](const IACError&) { answered = true; });
        if (!runUntil([&] { return answered; })) {
            state.SkipWithError("no answer");
            return;
        }
        latencies.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    reportLatencies(state, latencies);
}
BENCHMARK(BM_IACRequestToCallback)->Iterations(1000)->UseRealTime()->Unit(benchmark::kMicrosecond);

int socketEcho(const char* path) {
    UniqueFd server(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    ::unlink(path);
    if (::bind(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(server.get(), 1) != 0) {
        return 1;
    }
    UniqueFd peer(::accept(server.get(), nullptr, nullptr));
    char byte = 0;
    while (::read(peer.get(), &byte, 1) == 1 && ::write(peer.get(), &byte, 1) == 1) {
    }
    return 0;
}

void BM_PeerUnixSocketRoundTrip(benchmark::State& state) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("velmora-bench-" + std::to_string(::getpid())))
            .string();
    Peer echo({"--socket-echo", path});
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (!runUntil([&] {
            return ::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        })) {
        state.SkipWithError("the echo process did not start");
        return;
    }
    std::vector<double> latencies;
    char byte = 'x';
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (::write(fd.get(), &byte, 1) != 1 || ::read(fd.get(), &byte, 1) != 1) {
            state.SkipWithError("the echo process went away");
            return;
        }
        latencies.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    ::unlink(path.c_str());
    reportLatencies(state, latencies);
}
BENCHMARK(BM_PeerUnixSocketRoundTrip)
    ->Iterations(10000)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    // A scratch home, so the benchmark never touches the user's containers or sockets.
    std::string scratch;
    if (std::getenv("VELMORA_HOME") == nullptr) {
        scratch = (std::filesystem::temp_directory_path() / "velmora-bench-XXXXXX").string();
        if (::mkdtemp(scratch.data()) != nullptr) {
            ::setenv("VELMORA_HOME", scratch.c_str(), 1);
        }
    }
    if (argc == 3 && std::strcmp(argv[1], "--wormhole-echo") == 0) {
        return wormholeEcho(static_cast<VLWormholeTransitingType>(std::atoi(argv[2])));
    }
    if (argc == 2 && std::strcmp(argv[1], "--iac-target") == 0) {
        return iacTarget();
    }
    if (argc == 3 && std::strcmp(argv[1], "--socket-echo") == 0) {
        return socketEcho(argv[2]);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    if (!scratch.empty()) {
        std::filesystem::remove_all(scratch, ignored);
    }
    return 0;
}

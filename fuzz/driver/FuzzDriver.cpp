// A stand-in for libFuzzer's main when the compiler has none (GCC builds): runs the
// target over every file of its seed corpus, then over inputs made by mutating those
// seeds and from random bytes, from a fixed seed so a failure repeats. ctest runs each
// target this way; the clang `fuzz` preset links the real libFuzzer instead.
//
//   decimal_number_fuzz [--runs N] [--seed S] CORPUS_DIR...
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;

// The input being run, for the crash report.
const Input* gCurrentInput = nullptr;

// Async-signal-safe: writes the input in hexadecimal to standard error, then lets the
// signal take its default course.
void reportCrash(int signal) {
    static const char kDigits[] = "0123456789abcdef";
    static const char kHeader[] = "\ncrashing input (hex): ";
    (void)!write(STDERR_FILENO, kHeader, sizeof kHeader - 1);
    if (gCurrentInput != nullptr) {
        for (const std::uint8_t byte : *gCurrentInput) {
            const char hex[2] = {kDigits[byte >> 4], kDigits[byte & 15]};
            (void)!write(STDERR_FILENO, hex, 2);
        }
    }
    (void)!write(STDERR_FILENO, "\n", 1);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void runOne(const Input& input) {
    gCurrentInput = &input;
    LLVMFuzzerTestOneInput(input.data(), input.size());
    gCurrentInput = nullptr;
}

std::vector<Input> readCorpus(const std::vector<std::string>& dirs) {
    std::vector<Input> corpus;
    for (const auto& dir : dirs) {
        if (!std::filesystem::is_directory(dir)) {
            continue;
        }
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(dir)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            std::ifstream in(file, std::ios::binary);
            corpus.emplace_back(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
        }
    }
    return corpus;
}

// One random edit: flip, insert, delete, duplicate a span, or splice another seed.
Input mutate(Input input, const std::vector<Input>& corpus, std::mt19937_64& rng) {
    const auto pick = [&rng](std::size_t n) {
        return n == 0 ? 0 : std::uniform_int_distribution<std::size_t>(0, n - 1)(rng);
    };
    switch (pick(5)) {
        case 0:
            if (!input.empty()) {
                input[pick(input.size())] ^= static_cast<std::uint8_t>(1u << pick(8));
            }
            break;
        case 1:
            input.insert(input.begin() + static_cast<std::ptrdiff_t>(pick(input.size() + 1)),
                         static_cast<std::uint8_t>(pick(256)));
            break;
        case 2:
            if (!input.empty()) {
                input.erase(input.begin() + static_cast<std::ptrdiff_t>(pick(input.size())));
            }
            break;
        case 3:
            if (!input.empty()) {
                const std::size_t from = pick(input.size());
                const std::size_t length = 1 + pick(std::min<std::size_t>(16, input.size() - from));
                Input span(input.begin() + static_cast<std::ptrdiff_t>(from),
                           input.begin() + static_cast<std::ptrdiff_t>(from + length));
                input.insert(input.begin() + static_cast<std::ptrdiff_t>(pick(input.size() + 1)),
                             span.begin(), span.end());
            }
            break;
        default:
            if (!corpus.empty()) {
                const Input& other = corpus[pick(corpus.size())];
                input.resize(pick(input.size() + 1));
                input.insert(input.end(),
                             other.begin() + static_cast<std::ptrdiff_t>(pick(other.size() + 1)),
                             other.end());
            }
    }
    return input;
}

}  // namespace

int main(int argc, char** argv) {
    long runs = 20000;
    std::uint64_t seed = 1;
    std::vector<std::string> dirs;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--runs" && i + 1 < argc) {
            runs = std::strtol(argv[++i], nullptr, 10);
        } else if (arg == "--seed" && i + 1 < argc) {
            seed = std::strtoull(argv[++i], nullptr, 10);
        } else {
            dirs.push_back(arg);
        }
    }
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        std::signal(signal, reportCrash);
    }
    const std::vector<Input> corpus = readCorpus(dirs);
    for (const auto& input : corpus) {
        runOne(input);
    }
    std::mt19937_64 rng(seed);
    for (long run = 0; run < runs; ++run) {
        Input input;
        if (!corpus.empty() && run % 4 != 0) {
            input = corpus[run % static_cast<long>(corpus.size())];
            for (int edits = 1 + static_cast<int>(rng() % 4); edits > 0; --edits) {
                input = mutate(std::move(input), corpus, rng);
            }
        } else {
            input.resize(rng() % 64);
            for (auto& byte : input) {
                byte = static_cast<std::uint8_t>(rng());
            }
        }
        runOne(input);
    }
    std::printf("%zu seeds and %ld generated inputs: no failure\n", corpus.size(), runs);
    return 0;
}

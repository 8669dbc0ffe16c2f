#include <atomic>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

constexpr Date kNow(1704164645.006);  // 2024-01-02 03:04:05.006 UTC

// Writes "flag|seconds|text" and counts how often it is attached and detached.
class RecordingFormatter : public LogFormatter {
  public:
    std::string formatLogMessage(const LogMessage& m) override {
        return fmt::format("{}|{:.6f}|{}", m.flag, m.timestamp.timeIntervalSince1970(), m.text);
    }
    void didAddToLogger(Logger&) override { ++added; }
    void willRemoveFromLogger(Logger&) override { ++removed; }

    std::atomic<int> added{0};
    std::atomic<int> removed{0};
};

class ThrowingFormatter : public LogFormatter {
  public:
    std::string formatLogMessage(const LogMessage&) override {
        throw std::runtime_error("formatter failed");
    }
};

// Counts how often fmt formats it, to prove disabled levels skip formatting.
struct Expensive {
    static inline std::atomic<int> formatted{0};
};

}  // namespace
}  // namespace velmora

template <>
struct fmt::formatter<velmora::Expensive> : fmt::formatter<std::string_view> {
    auto format(const velmora::Expensive&, fmt::format_context& ctx) const {
        ++velmora::Expensive::formatted;
        return fmt::formatter<std::string_view>::format("expensive", ctx);
    }
};

namespace velmora {
namespace {

class LogTest : public ::testing::Test {
  protected:
    void SetUp() override { Log::removeAllLoggers(); }
    void TearDown() override { Log::removeAllLoggers(); }

    testing::ScopedPinnedClock clock_{kNow};
};

TEST_F(LogTest, EachLevelLetsThroughItsFlagsOnly) {
    const std::vector<LogFlag> flags{LogFlag::Error, LogFlag::Warning, LogFlag::Info,
                                     LogFlag::Debug, LogFlag::Verbose};
    const std::vector<std::pair<LogLevel, size_t>> levels{
        {LogLevel::Off, 0},  {LogLevel::Error, 1}, {LogLevel::Warning, 2},
        {LogLevel::Info, 3}, {LogLevel::Debug, 4}, {LogLevel::Verbose, 5}};
    for (const auto& [level, expectedCount] : levels) {
        SCOPED_TRACE(static_cast<int>(level));
        Log::removeAllLoggers();
        auto memory = std::make_shared<MemoryLogger>();
        Log::addLogger(memory, level);
        for (LogFlag flag : flags) {
            EXPECT_EQ(Log::isEnabled(static_cast<int>(flag)),
                      levelAllowsFlag(level, static_cast<int>(flag)));
            Log::log(flag, std::to_string(static_cast<int>(flag)));
        }
        const std::vector<std::string> expected{"1", "2", "4", "8", "16"};
        EXPECT_EQ(memory->lines(),
                  std::vector<std::string>(expected.begin(), expected.begin() + expectedCount));
    }
}

TEST_F(LogTest, SeveralFlagsReachALoggerSharingOneAndArriveWhole) {
    auto errors = std::make_shared<MemoryLogger>();
    auto warnings = std::make_shared<MemoryLogger>();
    warnings->setLogFormatter(std::make_shared<RecordingFormatter>());
    Log::addLogger(errors, LogLevel::Error);
    Log::addLogger(warnings, LogLevel::Warning);

    Log::log(static_cast<int>(LogFlag::Warning) | static_cast<int>(LogFlag::Debug), "two flags");
    Log::log(32, "unknown flag");
    Log::log(0, "no flag");

    EXPECT_TRUE(errors->lines().empty());
    EXPECT_EQ(warnings->lines(), std::vector<std::string>{"10|1704164645.006000|two flags"});
}

TEST_F(LogTest, LevelsThatAreNotNamedActAsTheirLeastSevereFlag) {
    auto memory = std::make_shared<MemoryLogger>();
    Log::addLogger(memory, static_cast<LogLevel>(static_cast<int>(LogFlag::Info)));
    Log::log(LogFlag::Error, "error");
    Log::log(LogFlag::Info, "info");
    Log::log(LogFlag::Debug, "debug");
    EXPECT_EQ(memory->lines(), (std::vector<std::string>{"error", "info"}));
}

TEST_F(LogTest, NothingIsFormattedUnlessSomeLoggerWantsTheLevel) {
    Expensive::formatted = 0;
    log::error("{}", Expensive{});
    EXPECT_FALSE(Log::isEnabled(static_cast<int>(LogLevel::Verbose)));
    EXPECT_EQ(Expensive::formatted, 0);

    auto memory = std::make_shared<MemoryLogger>();
    Log::addLogger(memory, LogLevel::Warning);
    log::info("{}", Expensive{});
    log::debug("{}", Expensive{});
    log::verbose("{}", Expensive{});
    EXPECT_EQ(Expensive::formatted, 0);
    log::warning("{} {}", Expensive{}, 42);
    log::error("{}", Expensive{});
    EXPECT_EQ(Expensive::formatted, 2);
    EXPECT_EQ(memory->lines(), (std::vector<std::string>{"expensive 42", "expensive"}));
}

TEST_F(LogTest, AddingAndRemovingLoggers) {
    auto first = std::make_shared<MemoryLogger>();
    auto second = std::make_shared<MemoryLogger>();
    Log::addLogger(first);
    Log::addLogger(second, LogLevel::Error);
    EXPECT_EQ(Log::allLoggers(), (std::vector<std::shared_ptr<Logger>>{first, second}));

    // Adding again changes the level; the logger is still written once per message.
    Log::addLogger(second, LogLevel::Info);
    EXPECT_EQ(Log::allLoggers().size(), 2u);
    Log::log(LogFlag::Info, "both");

    Log::removeLogger(first);
    Log::log(LogFlag::Info, "second only");
    Log::removeLogger(first);  // no longer added: nothing happens

    Log::removeAllLoggers();
    Log::log(LogFlag::Error, "nobody");
    EXPECT_FALSE(Log::isEnabled(static_cast<int>(LogFlag::Error)));
    EXPECT_TRUE(Log::allLoggers().empty());

    EXPECT_EQ(first->lines(), std::vector<std::string>{"both"});
    EXPECT_EQ(second->lines(), (std::vector<std::string>{"both", "second only"}));
}

TEST_F(LogTest, FormatterIsToldWhenAttachedAndDetached) {
    auto a = std::make_shared<RecordingFormatter>();
    auto b = std::make_shared<RecordingFormatter>();
    {
        auto memory = std::make_shared<MemoryLogger>();
        EXPECT_EQ(memory->logFormatter(), nullptr);

        memory->setLogFormatter(a);
        EXPECT_EQ(memory->logFormatter(), a);
        EXPECT_EQ(a->added, 1);

        memory->setLogFormatter(a);  // already in place
        EXPECT_EQ(a->added, 1);
        EXPECT_EQ(a->removed, 0);

        memory->setLogFormatter(b);
        EXPECT_EQ(a->removed, 1);
        EXPECT_EQ(b->added, 1);

        memory->setLogFormatter(nullptr);
        EXPECT_EQ(b->removed, 1);
        EXPECT_EQ(memory->logFormatter(), nullptr);

        memory->setLogFormatter(b);
        Log::addLogger(memory);
        Log::removeAllLoggers();  // the last owner goes: the logger is destroyed
    }
    EXPECT_EQ(a->added, 1);
    EXPECT_EQ(a->removed, 1);
    EXPECT_EQ(b->added, 2);
    EXPECT_EQ(b->removed, 2);
}

TEST_F(LogTest, MemoryLoggerKeepsTheLastLinesAsFormatted) {
    auto memory = std::make_shared<MemoryLogger>(3);
    EXPECT_EQ(memory->capacity(), 3u);
    Log::addLogger(memory);

    Log::log(LogFlag::Info, "bare text, no formatter");
    Log::log(LogFlag::Info, "inner\nline feeds\n");
    memory->setLogFormatter(std::make_shared<RecordingFormatter>());
    Clock::advanceForTesting(0.25);
    Log::log(LogFlag::Debug, "formatted");
    log::verbose("number {}", 4);
    EXPECT_EQ(memory->lines(),
              (std::vector<std::string>{"inner\nline feeds\n", "8|1704164645.256000|formatted",
                                        "16|1704164645.256000|number 4"}));

    memory->clear();
    EXPECT_TRUE(memory->lines().empty());
    log::error("after clear");
    EXPECT_EQ(memory->lines(), std::vector<std::string>{"1|1704164645.256000|after clear"});
}

TEST_F(LogTest, FormattersSeeTheClocksExactDate) {
    class Capture : public LogFormatter {
      public:
        std::string formatLogMessage(const LogMessage& m) override {
            seen.push_back(m.timestamp.timeIntervalSince1970());
            return m.text;
        }
        std::vector<double> seen;
    };
    auto capture = std::make_shared<Capture>();
    auto memory = std::make_shared<MemoryLogger>();
    memory->setLogFormatter(capture);
    Log::addLogger(memory);
    // Neither survives spdlog's clock: one is finer than a nanosecond, the other lies
    // beyond the 292 years that 64-bit nanoseconds reach.
    const std::vector<double> dates{2.5e-10, Date::distantFuture().timeIntervalSince1970(),
                                    kNow.timeIntervalSince1970()};
    for (double date : dates) {
        Clock::setNowForTesting(Date(date));
        log::info("now");
    }
    EXPECT_EQ(capture->seen, dates);
}

TEST_F(LogTest, OneFailingLoggerDoesNotSilenceTheOthers) {
    auto failing = std::make_shared<MemoryLogger>();
    failing->setLogFormatter(std::make_shared<ThrowingFormatter>());
    auto working = std::make_shared<MemoryLogger>();
    Log::addLogger(failing);
    Log::addLogger(working);
    log::warning("still written");
    EXPECT_TRUE(failing->lines().empty());
    EXPECT_EQ(working->lines(), std::vector<std::string>{"still written"});
}

TEST_F(LogTest, ManyThreadsLogWhileLoggersAndFormattersChange) {
    constexpr int kThreads = 4;
    constexpr int kMessages = 500;
    auto steady = std::make_shared<MemoryLogger>(kThreads * kMessages);
    auto a = std::make_shared<RecordingFormatter>();
    auto b = std::make_shared<RecordingFormatter>();
    steady->setLogFormatter(a);
    Log::addLogger(steady, LogLevel::Info);

    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &go] {
            while (!go.load()) {
                std::this_thread::yield();
            }
            for (int i = 0; i < kMessages; ++i) {
                log::info("t{} m{}", t, i);
                log::debug("never written");
            }
        });
    }
    go = true;
    auto coming = std::make_shared<MemoryLogger>(10);
    for (int round = 0; round < 200; ++round) {
        Log::addLogger(coming, round % 2 == 0 ? LogLevel::Verbose : LogLevel::Error);
        steady->setLogFormatter(round % 2 == 0 ? b : a);
        Log::removeLogger(coming);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::vector<std::string> lines = steady->lines();
    ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kMessages));
    std::set<std::string> distinct;
    for (const std::string& line : lines) {
        EXPECT_EQ(line.rfind("4|1704164645.006000|t", 0), 0u) << line;
        distinct.insert(line);
    }
    EXPECT_EQ(distinct.size(), lines.size());
    EXPECT_EQ(a->added - a->removed + b->added - b->removed, 1);
    EXPECT_EQ(Log::allLoggers(), std::vector<std::shared_ptr<Logger>>{steady});
}

}  // namespace
}  // namespace velmora

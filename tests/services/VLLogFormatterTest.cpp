#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/platform/logging/ConsoleLogger.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/platform/logging/VLSystemLogger.h"
#include "Velmora/services/VLLogFormatter.h"
#include "Velmora/services/VelmoraLogging.h"

#include "tests/support/TestSupport.h"

namespace velmora {
namespace {

constexpr Date kSample(1704164645.006);  // 2024-01-02 03:04:05.006 UTC

LogMessage message(int flag, std::string text) {
    return LogMessage{flag, kSample, std::move(text)};
}

class VLLogFormatterTest : public ::testing::Test {
  protected:
    void SetUp() override { Log::removeAllLoggers(); }
    void TearDown() override { Log::removeAllLoggers(); }

    testing::ScopedCurrentLocale locale_{"en_US_POSIX"};
    testing::ScopedSystemTimeZone zone_{"UTC"};
    testing::ScopedPinnedClock clock_{kSample};
};

TEST_F(VLLogFormatterTest, TagsByFlag) {
    VLLogFormatter formatter;
    const std::vector<std::pair<int, std::string>> cases{
        {1, "\n[E] ---> 2024/01/02 03:04:05:006: disk full\n"},
        {2, "[W] 2024/01/02 03:04:05:006: disk full"},
        {4, "[I] 2024/01/02 03:04:05:006: disk full"},
        {8, "[D] 2024/01/02 03:04:05:006: disk full"},
        {16, "[V] 2024/01/02 03:04:05:006: disk full"},
        // Flags are compared whole: several bits, or none, or an unknown one are verbose.
        {3, "[V] 2024/01/02 03:04:05:006: disk full"},
        {0, "[V] 2024/01/02 03:04:05:006: disk full"},
        {32, "[V] 2024/01/02 03:04:05:006: disk full"},
        {-1, "[V] 2024/01/02 03:04:05:006: disk full"},
    };
    for (const auto& [flag, expected] : cases) {
        EXPECT_EQ(formatter.formatLogMessage(message(flag, "disk full")), expected) << flag;
    }
    EXPECT_EQ(formatter.formatLogMessage(message(2, "disk low")),
              "[W] 2024/01/02 03:04:05:006: disk low");
    // The text goes in as it is, braces and percent signs included.
    EXPECT_EQ(formatter.formatLogMessage(message(4, "{} %@ 100%")),
              "[I] 2024/01/02 03:04:05:006: {} %@ 100%");
    EXPECT_EQ(formatter.formatLogMessage(message(4, "")), "[I] 2024/01/02 03:04:05:006: ");
}

// Fault pinned: a message with a line break or a terminal escape went out raw, so one
// call could forge further log lines or recolour the terminal.
TEST_F(VLLogFormatterTest, ControlCharactersAreEscapedSoAMessageStaysOneLine) {
    VLLogFormatter formatter;
    const std::vector<std::pair<std::string, std::string>> cases{
        {"ok\n[E] ---> 2024/01/02 03:04:05:006: forged",
         "ok\\n[E] ---> 2024/01/02 03:04:05:006: forged"},
        {"a\r\nb", "a\\r\\nb"},
        {"\x1b[31mred\x1b[0m", "\\x1b[31mred\\x1b[0m"},
        {std::string("nul\0byte", 8), "nul\\x00byte"},
        {"del\x7f", "del\\x7f"},
        {"csi\xc2\x9b"
         "31m",
         "csi\\u009b31m"},
        // Tabs, backslashes and UTF-8 text stay as they are.
        {"tab\there \\n caf\xc3\xa9 \xc2\xa0", "tab\there \\n caf\xc3\xa9 \xc2\xa0"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(formatter.formatLogMessage(message(4, text)),
                  "[I] 2024/01/02 03:04:05:006: " + shown)
            << text;
    }
}

TEST_F(VLLogFormatterTest, TimeStampsFollowTheZoneCurrentWhenTheFormatterWasMade) {
    VLLogFormatter inUtc;
    testing::ScopedSystemTimeZone tokyo("Asia/Tokyo");
    VLLogFormatter inTokyo;
    EXPECT_EQ(inTokyo.formatLogMessage(message(2, "disk low")),
              "[W] 2024/01/02 12:04:05:006: disk low");
    EXPECT_EQ(inUtc.formatLogMessage(message(2, "disk low")),
              "[W] 2024/01/02 03:04:05:006: disk low");
    // Near midnight the date part moves with the zone too.
    const LogMessage lateInUtc{8, Date(1704151800.5), "late"};  // 2024-01-01 23:30:00.500 UTC
    EXPECT_EQ(inTokyo.formatLogMessage(lateInUtc), "[D] 2024/01/02 08:30:00:500: late");
    EXPECT_EQ(inUtc.formatLogMessage(lateInUtc), "[D] 2024/01/01 23:30:00:500: late");
}

TEST_F(VLLogFormatterTest, CountsTheLoggersItIsAttachedTo) {
    auto formatter = std::make_shared<VLLogFormatter>();
    EXPECT_EQ(formatter->loggerCount(), 0);
    auto console = std::make_shared<ConsoleLogger>();
    auto system = std::make_shared<VLSystemLogger>("velmora-tests");
    EXPECT_EQ(system->ident(), "velmora-tests");

    console->setLogFormatter(formatter);
    system->setLogFormatter(formatter);
    EXPECT_EQ(formatter->loggerCount(), 2);
    system->setLogFormatter(formatter);  // already attached there
    EXPECT_EQ(formatter->loggerCount(), 2);

    console->setLogFormatter(nullptr);
    EXPECT_EQ(formatter->loggerCount(), 1);
    system.reset();  // a logger going away detaches its formatter
    EXPECT_EQ(formatter->loggerCount(), 0);
    formatter->willRemoveFromLogger(*console);  // the count is signed: no clamping at zero
    EXPECT_EQ(formatter->loggerCount(), -1);
}

TEST_F(VLLogFormatterTest, WholePipeline) {
    auto memory = std::make_shared<MemoryLogger>();
    memory->setLogFormatter(std::make_shared<VLLogFormatter>());
    Log::addLogger(memory, LogLevel::Info);

    log::warning("disk {}", "low");
    Clock::advanceForTesting(1.5);
    log::error("disk full: {} bytes left", 0);
    log::debug("not written at this level");
    Log::log(static_cast<int>(LogFlag::Error) | static_cast<int>(LogFlag::Warning), "two flags");

    EXPECT_EQ(memory->lines(), (std::vector<std::string>{
                                   "[W] 2024/01/02 03:04:05:006: disk low",
                                   "\n[E] ---> 2024/01/02 03:04:06:506: disk full: 0 bytes left\n",
                                   "[V] 2024/01/02 03:04:06:506: two flags",
                               }));
}

TEST_F(VLLogFormatterTest, ConfigureLoggingWritesFormattedLinesToTheConsole) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), &std::fclose);
    ASSERT_NE(file, nullptr);
    auto stale = std::make_shared<MemoryLogger>();
    Log::addLogger(stale);

    LoggingOptions options;
    options.consoleStream = file.get();
    const std::shared_ptr<VLLogFormatter> formatter = configureLogging(options);
    EXPECT_EQ(formatter->loggerCount(), 1);
    ASSERT_EQ(Log::allLoggers().size(), 1u);
    EXPECT_EQ(Log::allLoggers()[0]->logFormatter(), formatter);

    log::info("below the default console level");
    log::warning("disk low");
    log::error("disk full");
    Log::removeAllLoggers();
    EXPECT_EQ(formatter->loggerCount(), 0);
    EXPECT_TRUE(stale->lines().empty());

    std::rewind(file.get());
    std::string written(256, '\0');
    written.resize(std::fread(written.data(), 1, written.size(), file.get()));
    EXPECT_EQ(written,
              "[W] 2024/01/02 03:04:05:006: disk low\n"
              "\n[E] ---> 2024/01/02 03:04:05:006: disk full\n\n");
}

}  // namespace
}  // namespace velmora

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

// Fault pinned: number arguments took "0x10" as 16 and cut "1.5" to 1.
TEST(ToolSupportTest, IntegersAreDecimalAndInRange) {
    struct Case {
        const char* text;
        std::optional<std::int64_t> value;
        const char* why;
    };
    const std::vector<Case> cases{
        {"12", 12, ""},
        {"-2", -2, ""},
        {"+7", 7, ""},
        {"08", 8, ""},  // decimal, not octal
        {"23", 23, ""},
        {"0x10", std::nullopt, "'0x10' is not a whole decimal number"},
        {"1.5", std::nullopt, "'1.5' is not a whole decimal number"},
        {"1e3", std::nullopt, "'1e3' is not a whole decimal number"},
        {"", std::nullopt, "'' is not a whole decimal number"},
        {"-", std::nullopt, "'-' is not a whole decimal number"},
        {" 5", std::nullopt, "' 5' is not a whole decimal number"},
        {"24", std::nullopt, "24 is out of range (-5 to 23)"},
        {"-6", std::nullopt, "-6 is out of range (-5 to 23)"},
        {"99999999999999999999", std::nullopt, "99999999999999999999 is out of range (-5 to 23)"},
    };
    for (const Case& c : cases) {
        std::string why;
        EXPECT_EQ(parseInteger(c.text, -5, 23, &why), c.value) << c.text;
        EXPECT_EQ(why, c.why) << c.text;
    }
    const std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(parseInteger("-9223372036854775808", lowest, 0), lowest);
}

TEST(ToolSupportTest, NumbersAreFiniteDecimalsInRange) {
    struct Case {
        const char* text;
        std::optional<double> value;
    };
    const std::vector<Case> cases{
        {"1710493200", 1710493200.0},
        {"-0.25", -0.25},
        {"1e3", 1000.0},
        {".5", 0.5},
        {"+2.", 2.0},
        {"0x10", {}},
        {"inf", {}},
        {"nan", {}},
        {"1e", {}},
        {"1e400", {}},
        {"", {}},
        {"1,5", {}},
        {"1e11", {}},  // beyond the maximum below
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parseNumber(c.text, -1e10, 1e10), c.value) << c.text;
    }
    std::string why;
    EXPECT_FALSE(parseNumber("2e6", -1e6, 1e6, &why));
    EXPECT_EQ(why, "2e6 is out of range (-1000000 to 1000000)");
}

TEST(ToolSupportTest, ValidatorsHandCli11PlainDigits) {
    CLI::App app;
    int hour = -1;
    app.add_option("--hour", hour)->transform(integerIn(0, 23));
    app.parse(std::vector<std::string>{"010", "--hour"});  // CLI11 reads the list backwards
    EXPECT_EQ(hour, 10);
    try {
        app.parse(std::vector<std::string>{"24", "--hour"});
        ADD_FAILURE() << "24 was accepted";
    } catch (const CLI::ValidationError& e) {
        EXPECT_EQ(std::string(e.what()), "--hour: 24 is out of range (0 to 23)");
    }
}

}  // namespace
}  // namespace velmora::tool

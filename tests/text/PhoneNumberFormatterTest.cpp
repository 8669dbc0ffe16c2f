// Phone numbers laid out per country, including numbers part-way through being typed.
#include <string_view>

#include <gtest/gtest.h>

#include "Velmora/text/PhoneNumberFormatter.h"

namespace velmora {
namespace {

TEST(PhoneNumberFormatterTest, FirstFittingPatternOfTheCountryGivesTheLayout) {
    const struct {
        std::string_view country;
        std::string_view input;
        std::string_view expected;
    } rows[] = {
        {"us", "5551234", "555-1234"},  // the earlier patterns fail on their leading digits
        {"us", "+1 (555) 123-4567", "+1 (555) 123-4567"},
        {"us", "15551234567", "1 (555) 123-4567"},
        {"us", "5551234567", "(555) 123-4567"},
        {"us", "011 44 20 7946 0958", "011 442079460958"},
        {"us", "+1555", "+1 (555"},  // being typed: a prefix of its pattern
        {"us", "+15", "+1 (5"},
        {"us", "555", "555"},
        {"us", "5551", "555-1"},
        {"us", "55512345678", "55512345678"},  // fits no pattern: stripped
        {"us", "555-12a34", "555-1234"},
        {"US", "5551234", "555-1234"},
        {"gb", "+442079460958", "+44 2079460958"},
        {"gb", "00331234", "00 331234"},
        {"gb", "02079460958", "02079 460958"},
        {"jp", "0312345678", "(03) 1234 5678"},
        {"jp", "031234567", "(03) 1234567"},
        {"jp", "+81312345678", "+81 312345678"},
        {"de", "+4930123456", "+49 30123456"},
        {"de", "030123456", "(030) 123456"},
        {"us", "", ""},
        {"us", "abc", ""},
        {"us", "*#", "*#"},
    };
    const PhoneNumberFormatter formatter;
    for (const auto& row : rows) {
        EXPECT_EQ(formatter.format(row.input, row.country), row.expected)
            << row.country << " " << row.input;
    }
}

TEST(PhoneNumberFormatterTest, UnknownCountryGivesTheTextUnchanged) {
    const PhoneNumberFormatter formatter;
    EXPECT_EQ(formatter.format("(555) 123", "fr"), "(555) 123");
    EXPECT_EQ(formatter.format("x\xFFy", ""), "x\xFFy");
}

TEST(PhoneNumberFormatterTest, StripKeepsWhatAKeypadCanEnter) {
    EXPECT_EQ(PhoneNumberFormatter::strip("+1 (555) 123-4567"), "+15551234567");
    EXPECT_EQ(PhoneNumberFormatter::strip("*#9 \xC3\xA9\xFF\xD9\xA3"), "*#9");
    EXPECT_EQ(PhoneNumberFormatter::strip(""), "");

    for (const char32_t c : {U'0', U'5', U'9', U'#', U'*', U'+'}) {
        EXPECT_TRUE(PhoneNumberFormatter::canBeInputByPhonePad(c)) << static_cast<int>(c);
    }
    for (const char32_t c : {U'a', U' ', U'-', U'(', U'/', U'\u0663', U'\uFF11', U'\0'}) {
        EXPECT_FALSE(PhoneNumberFormatter::canBeInputByPhonePad(c)) << static_cast<int>(c);
    }
}

}  // namespace
}  // namespace velmora

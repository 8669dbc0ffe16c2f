#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/text/NSString-More.h"

namespace velmora {
namespace {

TEST(RegexMatchingTest, FirstMatchAndItsGroups) {
    EXPECT_EQ(stringByMatching("call at 5pm or 6pm", R"(\d+pm)"), "5pm");
    EXPECT_EQ(stringByMatching("call at 5pm", R"((\d+)(pm))", RegexOptions::None, std::nullopt, 2),
              "pm");
    EXPECT_EQ(stringByMatching("5PM", "pm"), std::nullopt);
    EXPECT_EQ(stringByMatching("5PM", "pm", RegexOptions::CaseInsensitive), "PM");
    // A group that took no part is empty; one that does not exist is nothing.
    EXPECT_EQ(stringByMatching("5", R"((\d)(x)?)", RegexOptions::None, std::nullopt, 2), "");
    EXPECT_EQ(stringByMatching("5", R"((\d))", RegexOptions::None, std::nullopt, 2), std::nullopt);
    // A range limits the search, and anchors sit at its ends.
    EXPECT_EQ(stringByMatching("ab12cd34", R"(^\d+)", RegexOptions::None, Range{6, 2}), "34");
    EXPECT_EQ(stringByMatching("ab", "b", RegexOptions::None, Range{3, 1}), std::nullopt);
    EXPECT_EQ(stringByMatching("abc", "(unclosed"), std::nullopt);
}

TEST(RegexMatchingTest, CaptureComponents) {
    using Parts = std::vector<std::string>;
    EXPECT_EQ(captureComponentsMatchedByRegex("3d 5pm", R"(^(\d+)(d)\s*((\d*)\s*([ap]m?)?)$)"),
              (Parts{"3d 5pm", "3", "d", "5pm", "5", "pm"}));
    EXPECT_EQ(captureComponentsMatchedByRegex("3d", R"(^(\d+)(d)\s*((\d*)\s*([ap]m?)?)$)"),
              (Parts{"3d", "3", "d", "", "", ""}));
    EXPECT_EQ(captureComponentsMatchedByRegex("FRI", "^(fri)$", RegexOptions::CaseInsensitive),
              (Parts{"FRI", "FRI"}));
    EXPECT_TRUE(captureComponentsMatchedByRegex("sat", "^(fri)$").empty());
    // Text that is not UTF-8 is matched with U+FFFD in place of the bad bytes.
    EXPECT_EQ(captureComponentsMatchedByRegex("\xff"
                                              "5",
                                              R"((\d))"),
              (Parts{"5", "5"}));
    // Catastrophic backtracking stops at the time limit instead of hanging.
    EXPECT_TRUE(captureComponentsMatchedByRegex(std::string(40, 'a') + "!", "^(a+)+$").empty());
}

}  // namespace
}  // namespace velmora

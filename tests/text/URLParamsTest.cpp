// The callback-URL query helpers: what stringByAppendingURLParams writes,
// parseURLParams reads back exactly.
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/text/NSString+URLParams.h"

namespace velmora {
namespace {

std::vector<std::pair<std::string, std::string>> entries(const Dictionary& params) {
    std::vector<std::pair<std::string, std::string>> result;
    for (const auto& [key, value] : params) {
        EXPECT_TRUE(key.isString() && value.isString());
        result.emplace_back(key.stringValue(), value.stringValue());
    }
    return result;
}

using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(URLParamsTest, AppendingEncodesKeysAndValuesAfterTheRightSeparator) {
    const Dictionary params{{"title", "Milk & eggs"}, {"IACResponseType", 0}};
    const std::string encoded = "title=Milk%20%26%20eggs&IACResponseType=0";
    EXPECT_EQ(stringByAppendingURLParams("app://x-callback-url/add?", params),
              "app://x-callback-url/add?" + encoded);
    EXPECT_EQ(stringByAppendingURLParams("app://x-callback-url/add", params),
              "app://x-callback-url/add?" + encoded);
    EXPECT_EQ(stringByAppendingURLParams("app://h/p?id=1", params), "app://h/p?id=1&" + encoded);
    EXPECT_EQ(stringByAppendingURLParams("app://h/p?id=1&", params), "app://h/p?id=1&" + encoded);
    EXPECT_EQ(stringByAppendingURLParams("app://h/p", Dictionary{}), "app://h/p");
    EXPECT_EQ(stringByAppendingURLParams("", Dictionary{{"a=b", "c&d+e%"}}), "?a%3Db=c%26d%2Be%25");
}

TEST(URLParamsTest, ParsingReadsPairsInOrder) {
    EXPECT_EQ(entries(parseURLParams("a=1&b=&c&&=v&d=x%3Dy&e=1+2&f=%zz%4&a=2&g=%C3%A9")),
              (Entries{{"a", "2"},
                       {"b", ""},
                       {"c", ""},
                       {"", "v"},
                       {"d", "x=y"},
                       {"e", "1+2"},
                       {"f", "%zz%4"},
                       {"g", "\xC3\xA9"}}));
    EXPECT_EQ(entries(parseURLParams("k=a=b")), (Entries{{"k", "a=b"}}));
    EXPECT_TRUE(parseURLParams("").empty());
    EXPECT_TRUE(parseURLParams("&&&").empty());
}

// Any keys and values survive the trip, whatever bytes they hold.
TEST(URLParamsTest, ParsingGivesBackExactlyWhatAppendingWrote) {
    static const std::vector<std::string> kPieces = {
        "a",
        "Z",
        "0",
        "&",
        "=",
        "+",
        "%",
        "%2",
        "%41",
        "?",
        "#",
        " ",
        "/",
        ":",
        "~",
        "\xC3\xA9",
        "\xE6\x97\xA5",
        "\xF0\x9F\x98\x80",
        "\xFF",
        "\xC3",
        "\n",
        std::string(1, '\0'),
    };
    std::mt19937 random(20240601);
    for (int trial = 0; trial < 500; ++trial) {
        auto text = [&] {
            std::string result;
            const int length = std::uniform_int_distribution<int>(0, 6)(random);
            for (int i = 0; i < length; ++i) {
                result += kPieces[std::uniform_int_distribution<std::size_t>(
                    0, kPieces.size() - 1)(random)];
            }
            return result;
        };
        Dictionary params;
        Entries written;
        std::set<std::string> keys;
        const int count = std::uniform_int_distribution<int>(1, 6)(random);
        for (int i = 0; i < count; ++i) {
            std::string key = text();
            if (!keys.insert(key).second) {
                continue;
            }
            std::string value = text();
            params.set(Value(key), Value(value));
            written.emplace_back(std::move(key), std::move(value));
        }
        const std::string url = stringByAppendingURLParams("app://x-callback-url/do?", params);
        const std::string query = url.substr(url.find('?') + 1);
        ASSERT_EQ(entries(parseURLParams(query)), written) << url;
    }
}

TEST(URLParamsTest, StringWithUUIDIsAFreshCanonicalVersion4UUID) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = stringWithUUID();
        ASSERT_EQ(uuid.size(), 36u) << uuid;
        for (std::size_t at = 0; at < uuid.size(); ++at) {
            if (at == 8 || at == 13 || at == 18 || at == 23) {
                EXPECT_EQ(uuid[at], '-') << uuid;
            } else {
                EXPECT_NE(std::string_view("0123456789ABCDEF").find(uuid[at]),
                          std::string_view::npos)
                    << uuid;
            }
        }
        EXPECT_EQ(uuid[14], '4') << uuid;
        EXPECT_NE(std::string_view("89AB").find(uuid[19]), std::string_view::npos) << uuid;
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace velmora

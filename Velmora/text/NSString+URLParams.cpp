#include "Velmora/platform/foundation/RandomUUID.h"
#include "Velmora/text/NSString+URLParams.h"
#include "Velmora/text/TextEditing.h"

namespace velmora {
namespace {

std::string encoded(const Value& value) {
    return text_detail::percentEncode(value.stringValue(), text_detail::unreservedUrlCharacters());
}

}  // namespace

Dictionary parseURLParams(std::string_view query) {
    Dictionary params;
    std::size_t start = 0;
    while (start <= query.size()) {
        std::size_t end = query.find('&', start);
        if (end == std::string_view::npos) {
            end = query.size();
        }
        const std::string_view pair = query.substr(start, end - start);
        if (!pair.empty()) {
            const std::size_t equals = pair.find('=');
            const std::string_view key = pair.substr(0, equals);
            const std::string_view value =
                equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
            params.set(Value(text_detail::percentDecode(key)),
                       Value(text_detail::percentDecode(value)));
        }
        start = end + 1;
    }
    return params;
}

std::string stringByAppendingURLParams(std::string_view url, const Dictionary& params) {
    std::string result(url);
    if (params.empty()) {
        return result;
    }
    if (result.find('?') == std::string::npos) {
        result += '?';
    } else if (result.back() != '?' && result.back() != '&') {
        result += '&';
    }
    bool first = true;
    for (const auto& [key, value] : params) {
        if (!first) {
            result += '&';
        }
        first = false;
        result += encoded(key);
        result += '=';
        result += encoded(value);
    }
    return result;
}

std::string stringWithUUID() {
    return formatUUID(randomUUIDBytes(), UUIDStyle::kCanonicalUpperCase);
}

}  // namespace velmora

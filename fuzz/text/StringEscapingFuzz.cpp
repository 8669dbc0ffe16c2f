// The escaping functions and the URL parameter helpers take text from users and from
// other apps: any bytes, valid UTF-8 or not, must go through every one of them, and the
// pairs that promise a round trip must keep it.
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/text/NSString+URLParams.h"
#include "Velmora/text/NSString-More.h"

#include "fuzz/text/ExactInput.h"

namespace {

using Function = std::string (*)(std::string_view);

constexpr Function kFunctions[] = {
    &velmora::escapeAllForMail,
    &velmora::unescapeAllForMail,
    &velmora::escapeAll,
    &velmora::escapeForActionOrTag,
    &velmora::escapeAllForCall,
    &velmora::escapeAllForTag,
    &velmora::escapeForSearch,
    &velmora::escapeAllForExport,
    &velmora::xmlEscape,
    &velmora::xmlUnescape,
    &velmora::escapeForJSON,
    &velmora::unescapeForJSON,
    &velmora::escapeForTaskService,
    &velmora::unescapeForTaskService,
    &velmora::urlEscape,
    &velmora::urlUnescape,
    &velmora::cleanString,
    &velmora::cleanStringQuick,
    &velmora::validXMLString,
    &velmora::trim,
    &velmora::getQuestionMarksForTokens,
};

std::vector<std::string> piecesBetweenNuls(std::string_view text) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (std::size_t nul = text.find('\0'); nul != std::string_view::npos;
         nul = text.find('\0', start)) {
        pieces.emplace_back(text.substr(start, nul - start));
        start = nul + 1;
    }
    pieces.emplace_back(text.substr(start));
    return pieces;
}

// The input's NUL-separated pieces as alternating keys and values.
void checkUrlParamsRoundTrip(std::string_view text) {
    const std::vector<std::string> pieces = piecesBetweenNuls(text);
    velmora::Dictionary params;
    std::vector<std::pair<std::string, std::string>> written;
    std::set<std::string> keys;
    for (std::size_t i = 0; i < pieces.size(); i += 2) {
        const std::string value = i + 1 < pieces.size() ? pieces[i + 1] : std::string();
        if (keys.insert(pieces[i]).second) {
            params.set(velmora::Value(pieces[i]), velmora::Value(value));
            written.emplace_back(pieces[i], value);
        }
    }
    const std::string url = velmora::stringByAppendingURLParams("app://x-callback-url/a", params);
    const velmora::Dictionary read = velmora::parseURLParams(url.substr(url.find('?') + 1));
    if (read.size() != written.size()) {
        std::abort();
    }
    for (std::size_t i = 0; i < written.size(); ++i) {
        const auto& entry = read.entryAt(i);
        if (entry.key.stringValue() != written[i].first ||
            entry.value.stringValue() != written[i].second) {
            std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const velmora::fuzzing::ExactInput input(data, size);
    const std::string_view text = input.view();
    for (const Function function : kFunctions) {
        (void)function(text);
    }
    (void)velmora::explode(text, ",");
    (void)velmora::searchReplace(text, text.substr(0, size / 3), "x");
    (void)velmora::indexOf(text, size == 0 ? U'a' : static_cast<char32_t>(data[0]) << 8);

    if (velmora::urlUnescape(velmora::urlEscape(text)) != text) {
        std::abort();
    }
    const std::string valid = velmora::validXMLString(text);
    if (velmora::validXMLString(valid) != valid ||
        velmora::trim(velmora::trim(text)) != velmora::trim(text)) {
        std::abort();
    }
    // The caret transport loses only what it removes and carets the text already held.
    if (text.find_first_of(std::string_view("^\b\f\n\t", 5)) == std::string_view::npos &&
        velmora::unescapeForJSON(velmora::escapeForJSON(text)) != text) {
        std::abort();
    }
    if (velmora::xmlUnescape(velmora::xmlEscape(text)) != text) {
        std::abort();
    }
    checkUrlParamsRoundTrip(text);
    (void)velmora::parseURLParams(text);
    return 0;
}

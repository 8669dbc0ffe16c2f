// The regular-expression members of the string category, on ICU's engine. Compiled
// expressions and their matchers are kept per thread (no lock), keyed by the expression
// and its flags, because the date parser asks for the same few expressions on every call.
#include <cstdint>
#include <map>
#include <memory>
#include <utility>

#include <unicode/regex.h>

#include "Velmora/text/NSString-More.h"
#include "Velmora/text/UnicodeText.h"

namespace velmora {
namespace {

// Bounds the engine's backtracking on hostile input (ICU counts in steps of a few thousand
// operations); the expressions the framework uses finish far below it.
constexpr std::int32_t kRegexTimeLimit = 50;
// More distinct expressions than this on one thread start the cache afresh.
constexpr std::size_t kMaxCachedExpressions = 64;

std::string toUtf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

// This thread's matcher for the expression, or null when it does not compile.
icu::RegexMatcher* cachedMatcher(std::string_view pattern, RegexOptions options) {
    thread_local std::map<std::pair<std::string, std::uint32_t>, std::unique_ptr<icu::RegexMatcher>,
                          std::less<>>
        matchers;
    const auto key = std::make_pair(std::string(pattern), static_cast<std::uint32_t>(options));
    if (const auto found = matchers.find(key); found != matchers.end()) {
        return found->second.get();
    }
    if (matchers.size() >= kMaxCachedExpressions) {
        matchers.clear();
    }
    std::uint32_t flags = 0;
    if ((static_cast<std::uint32_t>(options) &
         static_cast<std::uint32_t>(RegexOptions::CaseInsensitive)) != 0) {
        flags |= UREGEX_CASE_INSENSITIVE;
    }
    UErrorCode status = U_ZERO_ERROR;
    auto matcher =
        std::make_unique<icu::RegexMatcher>(text_detail::toUnicodeString(pattern), flags, status);
    if (U_FAILURE(status)) {
        matchers.emplace(key, nullptr);
        return nullptr;
    }
    matcher->setTimeLimit(kRegexTimeLimit, status);
    return matchers.emplace(key, std::move(matcher)).first->second.get();
}

// The matcher holding the first match of the expression in the text, or null when there
// is none (or the expression does not compile). The matcher keeps `wide` by reference.
icu::RegexMatcher* firstMatch(const icu::UnicodeString& wide, std::string_view pattern,
                              RegexOptions options) {
    icu::RegexMatcher* matcher = cachedMatcher(pattern, options);
    if (matcher == nullptr) {
        return nullptr;
    }
    UErrorCode status = U_ZERO_ERROR;
    matcher->reset(wide);
    const bool found = matcher->find(status);
    return found && U_SUCCESS(status) ? matcher : nullptr;
}

}  // namespace

std::optional<std::string> stringByMatching(std::string_view text, std::string_view pattern,
                                            RegexOptions options, std::optional<Range> range,
                                            int capture) {
    if (range) {
        if (range->location > text.size()) {
            return std::nullopt;
        }
        text = text.substr(range->location, range->length);
    }
    const icu::UnicodeString wide = text_detail::toUnicodeString(text);
    icu::RegexMatcher* matcher = firstMatch(wide, pattern, options);
    if (matcher == nullptr || capture < 0 || capture > matcher->groupCount()) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString group = matcher->group(capture, status);
    matcher->reset(icu::UnicodeString());
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return toUtf8(group);
}

std::vector<std::string> captureComponentsMatchedByRegex(std::string_view text,
                                                         std::string_view pattern,
                                                         RegexOptions options) {
    const icu::UnicodeString wide = text_detail::toUnicodeString(text);
    icu::RegexMatcher* matcher = firstMatch(wide, pattern, options);
    std::vector<std::string> components;
    if (matcher == nullptr) {
        return components;
    }
    const std::int32_t groups = matcher->groupCount();
    components.reserve(static_cast<std::size_t>(groups) + 1);
    for (std::int32_t i = 0; i <= groups; ++i) {
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeString group = matcher->group(i, status);
        components.push_back(U_SUCCESS(status) ? toUtf8(group) : std::string());
    }
    // The matcher must not outlive the text it points at.
    matcher->reset(icu::UnicodeString());
    return components;
}

}  // namespace velmora

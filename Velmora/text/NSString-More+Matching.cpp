// The containment tests, the fuzzy in-order match and the direction estimate: the
// members of the string category that compare characters rather than bytes, on ICU.
#include <array>
#include <memory>

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include "Velmora/text/NSString-More.h"
#include "Velmora/text/UnicodeText.h"

namespace velmora {
namespace {

using text_detail::toUnicodeString;

// Limit of the fuzzy match, in ICU's match-engine steps (each a few thousand
// operations): the query's characters keep their regular-expression meaning, and a long
// query of ".*x" pieces against a long text backtracks without bound. Real queries
// finish far below it.
constexpr std::int32_t kMatchTimeLimit = 20;

// The platform compares canonically equivalent texts as equal in its plain searches, so
// both sides are brought to NFC first.
icu::UnicodeString comparable(std::string_view text, bool lowerCase) {
    icu::UnicodeString wide = toUnicodeString(text);
    if (lowerCase) {
        wide.toLower(icu::Locale::getRoot());
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) {
        return wide;
    }
    icu::UnicodeString normalized = nfc->normalize(wide, status);
    return U_SUCCESS(status) ? normalized : wide;
}

bool contains(std::string_view text, std::string_view query, bool lowerCase) {
    if (query.empty()) {
        return false;
    }
    return comparable(text, lowerCase).indexOf(comparable(query, lowerCase)) >= 0;
}

// The language the platform would guess from the text's letters, reduced to what its
// script tells: a script used by one main language gives that language's code.
const char* languageOfScript(UScriptCode script) {
    switch (script) {
        case USCRIPT_ARABIC:
            return "ar";
        case USCRIPT_HEBREW:
            return "he";
        case USCRIPT_GREEK:
            return "el";
        case USCRIPT_CYRILLIC:
            return "ru";
        case USCRIPT_HAN:
            return "zh";
        case USCRIPT_HIRAGANA:
        case USCRIPT_KATAKANA:
            return "ja";
        case USCRIPT_HANGUL:
            return "ko";
        case USCRIPT_THAI:
            return "th";
        case USCRIPT_LATIN:
            return "en";
        default:
            return "";
    }
}

std::string bestLanguageEstimate(std::string_view text) {
    std::array<std::size_t, USCRIPT_CODE_LIMIT> letters{};
    text_detail::forEachCodePoint(text, [&](char32_t c, std::size_t, std::size_t, bool valid) {
        if (!valid || !u_isalpha(static_cast<UChar32>(c))) {
            return;
        }
        UErrorCode status = U_ZERO_ERROR;
        const UScriptCode script = uscript_getScript(static_cast<UChar32>(c), &status);
        if (U_SUCCESS(status) && script >= 0 && script < USCRIPT_CODE_LIMIT) {
            ++letters[static_cast<std::size_t>(script)];
        }
    });
    std::size_t best = 0;
    for (std::size_t script = 1; script < letters.size(); ++script) {
        if (letters[script] > letters[best]) {
            best = script;
        }
    }
    return letters[best] == 0 ? std::string() : languageOfScript(static_cast<UScriptCode>(best));
}

}  // namespace

bool doesContain(std::string_view text, std::string_view query) {
    return contains(text, query, true);
}

bool doesContainIgnoreLower(std::string_view text, std::string_view query) {
    return contains(text, query, false);
}

bool doesStartWith(std::string_view text, std::string_view query) {
    if (query.empty()) {
        return false;
    }
    return comparable(text, false).startsWith(comparable(query, false));
}

bool doesContainCharactersInString(std::string_view text, std::string_view query,
                                   bool ignoringLowerCase) {
    icu::UnicodeString expression(ignoringLowerCase ? u"(?i)" : u"");
    bool anything = false;
    text_detail::forEachCodePoint(query, [&](char32_t c, std::size_t, std::size_t, bool) {
        if (!text_detail::isWhiteSpaceOrNewline(c)) {
            expression.append(u".*");
            expression.append(static_cast<UChar32>(c));
            anything = true;
        }
    });
    if (!anything) {
        return false;
    }
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    const std::unique_ptr<icu::RegexPattern> pattern(
        icu::RegexPattern::compile(expression, 0, where, status));
    if (U_FAILURE(status)) {
        return false;
    }
    const icu::UnicodeString subject = toUnicodeString(text);
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(subject, status));
    if (U_FAILURE(status)) {
        return false;
    }
    matcher->setTimeLimit(kMatchTimeLimit, status);
    const bool found = matcher->find(status);
    return U_SUCCESS(status) && found;
}

bool isTextRTL(std::string_view text) {
    const std::string language = bestLanguageEstimate(text);
    return language == "ar" || language == "he";
}

}  // namespace velmora

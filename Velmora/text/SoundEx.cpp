#include "Velmora/text/SoundEx.h"

#include <algorithm>
#include <cstring>

namespace velmora {
namespace {

constexpr std::size_t kMaxInput = 31;
// Where a first "W" or "H" stood: coded as neither a vowel nor a consonant.
constexpr char kFirstLetterMark = '-';
// Mode 1: an "H" or "W" after the first letter, dropped after coding.
constexpr char kDroppedMark = '!';

int codeLength(int requested, int mode) {
    if (mode != 0 || requested < 5) {
        return 4;
    }
    return std::min(requested, kSoundExMaxLength);
}

// A-Z only, everything else blank, blanks at both ends dropped.
std::string workingText(std::string_view name) {
    std::string text;
    for (const char c : name.substr(0, kMaxInput)) {
        const char upper = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
        text += (upper >= 'A' && upper <= 'Z') ? upper : ' ';
    }
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool startsWith(std::string_view text, std::size_t at, std::string_view pattern) {
    return text.substr(at, pattern.size()) == pattern;
}

// The refined variant's spelling rules, left to right. A rule's match is consumed
// whole, so scanning resumes after the letters it kept.
std::string applySpellingRules(std::string_view text) {
    struct Rule {
        std::string_view match;
        std::string_view keep;
        bool initialOnly;
    };
    static constexpr Rule kRules[] = {
        {"PF", "F", true},    {"PS", "S", true},  {"DG", "G", false},   {"GN", "N", false},
        {"GH", "H", false},   {"KN", "N", false}, {"MPS", "MS", false}, {"MPT", "MT", false},
        {"MPZ", "MZ", false}, {"MB", "M", false}, {"PH", "F", false},   {"TCH", "CH", false},
    };
    std::string result;
    std::size_t at = 0;
    while (at < text.size()) {
        const Rule* fired = nullptr;
        for (const Rule& rule : kRules) {
            if ((!rule.initialOnly || at == 0) && startsWith(text, at, rule.match)) {
                fired = &rule;
                break;
            }
        }
        if (fired != nullptr) {
            result += fired->keep;
            at += fired->match.size();
        } else {
            result += text[at++];
        }
    }
    return result;
}

// A, E, H, I, O, U, W, Y: 0; B, F, P, V: 1; C, G, J, K, Q, S, X, Z: 2; D, T: 3; L: 4;
// M, N: 5; R: 6. Blanks and marks are carried through as themselves.
char codeOf(char c) {
    static constexpr char kCodes[] = "01230120022455012623010202";
    return (c >= 'A' && c <= 'Z') ? kCodes[c - 'A'] : c;
}

}  // namespace

std::string soundEx(std::string_view name, int length, int mode) {
    const auto codeSize = static_cast<std::size_t>(codeLength(length, mode));
    std::string text = workingText(name);
    if (text.empty()) {
        return {};
    }
    if (mode == 0) {
        text = applySpellingRules(text);
    }
    const char firstLetter = text[0];
    if (firstLetter == 'W' || firstLetter == 'H') {
        text[0] = kFirstLetterMark;
    }
    std::string codes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dropped = mode == 1 && i > 0 && (text[i] == 'H' || text[i] == 'W');
        codes += dropped ? kDroppedMark : codeOf(text[i]);
    }
    if (mode == 1) {
        codes.erase(std::remove(codes.begin(), codes.end(), kDroppedMark), codes.end());
    }
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
    std::string key(1, codes[0]);
    for (std::size_t i = 1; i < codes.size(); ++i) {
        if (codes[i] != '0' && codes[i] != ' ') {
            key += codes[i];
        }
    }
    key.resize(codeSize, '0');
    key[0] = firstLetter;
    return key;
}

extern "C" int SoundEx(char* soundex, const char* name, int length, int mode) {
    soundex[0] = '\0';
    if (name == nullptr) {
        return 0;
    }
    // Only the first kMaxInput bytes are read, so the name need not be scanned to its end.
    const std::string code =
        soundEx(std::string_view(name, strnlen(name, kMaxInput)), length, mode);
    std::memcpy(soundex, code.c_str(), code.size() + 1);
    return static_cast<int>(code.size());
}

}  // namespace velmora

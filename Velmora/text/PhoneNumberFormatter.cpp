#include "Velmora/text/PhoneNumberFormatter.h"

#include <optional>

namespace velmora {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The input laid out in pattern, or nothing when it does not fit. The walk ends when the
// input is used up, wherever the pattern stands; pattern characters left over are simply
// not reached yet.
std::optional<std::string> layOut(std::string_view input, std::string_view pattern) {
    std::string output;
    std::size_t i = 0;
    std::size_t j = 0;
    while (j < input.size()) {
        if (i >= pattern.size()) {
            return std::nullopt;  // input left over
        }
        const char p = pattern[i];
        if (p == '#') {
            if (!isDigit(input[j])) {
                return std::nullopt;
            }
            output += input[j++];
            ++i;
        } else if (p == '$') {
            output += input[j++];
        } else if (PhoneNumberFormatter::canBeInputByPhonePad(static_cast<unsigned char>(p))) {
            if (input[j] != p) {
                return std::nullopt;
            }
            output += input[j++];
            ++i;
        } else {
            output += p;
            ++i;
            if (input[j] == p) {
                ++j;
            }
        }
    }
    return output;
}

std::string asciiLower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

}  // namespace

PhoneNumberFormatter::PhoneNumberFormatter()
    : patterns_{
          {"us", {"+1 (###) ###-####", "1 (###) ###-####", "011 $", "###-####", "(###) ###-####"}},
          {"gb", {"+44 ##########", "00 $", "0#### ######", "0### ### ####", "0## #### ####"}},
          {"jp", {"+81 ############", "001 $", "(0#) #######", "(0#) #### ####"}},
          {"de",
           {"+49 ############", "(0##) ########", "(0###) ########", "(0####) #######",
            "(03####) ######"}},
      } {}

std::string PhoneNumberFormatter::format(std::string_view text,
                                         std::string_view countryCode) const {
    const auto found = patterns_.find(asciiLower(countryCode));
    if (found == patterns_.end()) {
        return std::string(text);
    }
    const std::string input = strip(text);
    for (const std::string& pattern : found->second) {
        if (auto output = layOut(input, pattern)) {
            return output->empty() ? input : *std::move(output);
        }
    }
    return input;
}

std::string PhoneNumberFormatter::strip(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (canBeInputByPhonePad(static_cast<unsigned char>(c))) {
            result += c;
        }
    }
    return result;
}

bool PhoneNumberFormatter::canBeInputByPhonePad(char32_t character) {
    return (character >= '0' && character <= '9') || character == '#' || character == '*' ||
           character == '+';
}

}  // namespace velmora

#pragma once
// PhoneNumberFormatter: lays typed phone digits out in a country's conventional
// pattern while the user types ("5551234" in "us" gives "555-1234"). Each country has an
// ordered list of patterns, tried in turn; the first that fits the input gives the
// layout, and a partly typed number takes the layout of its pattern's prefix.
//
// Patterns: "#" is one digit, "$" all remaining input, a keypad character ("0"-"9",
// "+", "*") must be typed as written, anything else (blank, "(", ")", "-") is laid out
// between the typed characters.
//
// Thread safety: immutable after construction; format may be called from any thread.
//
//   PhoneNumberFormatter formatter;
//   formatter.format("+15551234567", "us");              // "+1 (555) 123-4567"
//   PhoneNumberFormatter::strip("+1 (555) 123-4567");    // "+15551234567"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class PhoneNumberFormatter {
  public:
    // Builds the patterns of "us", "gb", "jp" and "de".
    PhoneNumberFormatter();

    // The text laid out in the pattern of the country (a two-letter code, either case).
    // A country without patterns gives the text unchanged; when no pattern fits, the
    // text reduced by strip.
    std::string format(std::string_view text, std::string_view countryCode) const;

    // The text reduced to the characters a phone keypad can enter.
    static std::string strip(std::string_view text);

    // True for "0"-"9", "#", "*" and "+".
    static bool canBeInputByPhonePad(char32_t character);

  private:
    std::map<std::string, std::vector<std::string>, std::less<>> patterns_;
};

}  // namespace velmora

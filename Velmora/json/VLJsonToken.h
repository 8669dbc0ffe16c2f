#pragma once
// VLJsonToken and VLJsonParserStatus: the token kinds the tokeniser produces and the
// status a parse call answers. The numeric values are stable: the parser's state tables
// are indexed by them.
//
// Plain enumerations; safe everywhere.
//
//   VLJsonTokeniser tokeniser;
//   tokeniser.appendData("[true]");
//   while (tokeniser.next() > VLJsonToken::Error) { ... }

#include <cstdint>

namespace velmora {

enum class VLJsonToken : std::uint8_t {
    Eof = 0,  // end of the available input: more data is needed
    Error = 1,
    ObjectStart = 2,
    KeyValueSeparator = 3,
    ObjectEnd = 4,
    ArrayStart = 5,
    ArrayEnd = 6,
    ValueSeparator = 7,
    String = 8,
    EncodedString = 9,  // a string with at least one escape
    Integer = 10,
    Real = 11,
    True = 12,
    False = 13,
    Null = 14,
};

inline constexpr int kVLJsonTokenCount = 15;

enum class VLJsonParserStatus : std::uint8_t {
    Complete = 0,
    WaitingForData = 1,
    Error = 2,
};

// A bit per token kind, for the states' acceptance sets.
constexpr std::uint32_t vlJsonTokenBit(VLJsonToken token) {
    return std::uint32_t{1} << static_cast<unsigned>(token);
}

}  // namespace velmora

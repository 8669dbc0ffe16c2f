// The states of a level inside an array.
#include "Velmora/json/VLJsonStreamParserState.h"

namespace velmora {

namespace {

constexpr std::uint32_t kAllTokens = (std::uint32_t{1} << kVLJsonTokenCount) - 1;
constexpr std::uint32_t kSeparatorsAndObjectEnd = vlJsonTokenBit(VLJsonToken::KeyValueSeparator) |
                                                  vlJsonTokenBit(VLJsonToken::ObjectEnd) |
                                                  vlJsonTokenBit(VLJsonToken::ValueSeparator);

}  // namespace

VLJsonStreamParserStateArrayStart::VLJsonStreamParserStateArrayStart()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kAllTokens & ~kSeparatorsAndObjectEnd,
          .name = "at array start",
      }) {}

VLJsonStreamParserStateArrayGotValue::VLJsonStreamParserStateArrayGotValue()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens =
              vlJsonTokenBit(VLJsonToken::ArrayEnd) | vlJsonTokenBit(VLJsonToken::ValueSeparator),
          .name = "after array value",
      }) {}

VLJsonStreamParserStateArrayNeedValue::VLJsonStreamParserStateArrayNeedValue()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens =
              kAllTokens & ~kSeparatorsAndObjectEnd & ~vlJsonTokenBit(VLJsonToken::ArrayEnd),
          .name = "as array value",
      }) {}

}  // namespace velmora

// The states of a level inside an object.
#include "Velmora/json/VLJsonStreamParserState.h"

namespace velmora {

namespace {

constexpr std::uint32_t kStrings =
    vlJsonTokenBit(VLJsonToken::String) | vlJsonTokenBit(VLJsonToken::EncodedString);
constexpr std::uint32_t kValues =
    kStrings | vlJsonTokenBit(VLJsonToken::ObjectStart) | vlJsonTokenBit(VLJsonToken::ArrayStart) |
    vlJsonTokenBit(VLJsonToken::Integer) | vlJsonTokenBit(VLJsonToken::Real) |
    vlJsonTokenBit(VLJsonToken::True) | vlJsonTokenBit(VLJsonToken::False) |
    vlJsonTokenBit(VLJsonToken::Null);

}  // namespace

VLJsonStreamParserStateObjectStart::VLJsonStreamParserStateObjectStart()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kStrings | vlJsonTokenBit(VLJsonToken::ObjectEnd),
          .needKey = true,
          .name = "at beginning of object",
      }) {}

VLJsonStreamParserStateObjectGotKey::VLJsonStreamParserStateObjectGotKey()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = vlJsonTokenBit(VLJsonToken::KeyValueSeparator),
          .name = "after object key",
      }) {}

VLJsonStreamParserStateObjectSeparator::VLJsonStreamParserStateObjectSeparator()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kValues,
          .name = "as object value",
      }) {}

VLJsonStreamParserStateObjectGotValue::VLJsonStreamParserStateObjectGotValue()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens =
              vlJsonTokenBit(VLJsonToken::ObjectEnd) | vlJsonTokenBit(VLJsonToken::ValueSeparator),
          .name = "after object value",
      }) {}

VLJsonStreamParserStateObjectNeedKey::VLJsonStreamParserStateObjectNeedKey()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kStrings,
          .needKey = true,
          .name = "in place of object key",
      }) {}

}  // namespace velmora

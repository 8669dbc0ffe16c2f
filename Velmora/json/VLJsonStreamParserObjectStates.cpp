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

bool isString(VLJsonToken token) {
    return token == VLJsonToken::String || token == VLJsonToken::EncodedString;
}

}  // namespace

VLJsonStreamParserStateObjectStart::VLJsonStreamParserStateObjectStart()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kStrings | vlJsonTokenBit(VLJsonToken::ObjectEnd),
          .needKey = true,
          .name = "at beginning of object",
      }) {}

void VLJsonStreamParserStateObjectStart::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                                  VLJsonToken token) const {
    if (isString(token)) {
        setState(parser, VLJsonStreamParserStateObjectGotKey::sharedInstance());
    }
}

VLJsonStreamParserStateObjectGotKey::VLJsonStreamParserStateObjectGotKey()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = vlJsonTokenBit(VLJsonToken::KeyValueSeparator),
          .name = "after object key",
      }) {}

void VLJsonStreamParserStateObjectGotKey::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                                   VLJsonToken token) const {
    if (token == VLJsonToken::KeyValueSeparator) {
        setState(parser, VLJsonStreamParserStateObjectSeparator::sharedInstance());
    }
}

VLJsonStreamParserStateObjectSeparator::VLJsonStreamParserStateObjectSeparator()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kValues,
          .name = "as object value",
      }) {}

// A value, or a nested container that has just closed.
void VLJsonStreamParserStateObjectSeparator::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                                      VLJsonToken) const {
    setState(parser, VLJsonStreamParserStateObjectGotValue::sharedInstance());
}

VLJsonStreamParserStateObjectGotValue::VLJsonStreamParserStateObjectGotValue()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens =
              vlJsonTokenBit(VLJsonToken::ObjectEnd) | vlJsonTokenBit(VLJsonToken::ValueSeparator),
          .name = "after object value",
      }) {}

void VLJsonStreamParserStateObjectGotValue::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                                     VLJsonToken token) const {
    if (token == VLJsonToken::ValueSeparator) {
        setState(parser, VLJsonStreamParserStateObjectNeedKey::sharedInstance());
    }
}

VLJsonStreamParserStateObjectNeedKey::VLJsonStreamParserStateObjectNeedKey()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens = kStrings,
          .needKey = true,
          .name = "in place of object key",
      }) {}

void VLJsonStreamParserStateObjectNeedKey::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                                    VLJsonToken token) const {
    if (isString(token)) {
        setState(parser, VLJsonStreamParserStateObjectGotKey::sharedInstance());
    }
}

}  // namespace velmora

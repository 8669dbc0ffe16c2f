#include "Velmora/json/VLJsonStreamParserState.h"

#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {

// The one instance of every state class, created together on first use and never
// destroyed, so a parser running during exit still finds them.
struct VLJsonStreamParserStates {
    VLJsonStreamParserState base;
    VLJsonStreamParserStateStart start;
    VLJsonStreamParserStateComplete complete;
    VLJsonStreamParserStateError error;
    VLJsonStreamParserStateObjectStart objectStart;
    VLJsonStreamParserStateObjectGotKey objectGotKey;
    VLJsonStreamParserStateObjectSeparator objectSeparator;
    VLJsonStreamParserStateObjectGotValue objectGotValue;
    VLJsonStreamParserStateObjectNeedKey objectNeedKey;
    VLJsonStreamParserStateArrayStart arrayStart;
    VLJsonStreamParserStateArrayGotValue arrayGotValue;
    VLJsonStreamParserStateArrayNeedValue arrayNeedValue;

    static VLJsonStreamParserStates& get() {
        static NoDestructor<VLJsonStreamParserStates> states;
        return *states;
    }
};

VLJsonStreamParserState::VLJsonStreamParserState() : VLJsonStreamParserState(Traits{}) {}

VLJsonStreamParserState::VLJsonStreamParserState(const Traits& traits)
    : acceptedTokens_(traits.acceptedTokens),
      shouldStop_(traits.shouldStop),
      status_(traits.status),
      needKey_(traits.needKey),
      name_(traits.name) {}

void VLJsonStreamParserState::parserShouldTransitionTo(VLJsonStreamParser&, VLJsonToken) const {}

void VLJsonStreamParserState::setState(VLJsonStreamParser& parser,
                                       const VLJsonStreamParserState& state) {
    parser.states_[parser.depth_] = &state;
}

const VLJsonStreamParserState& VLJsonStreamParserState::sharedInstance() {
    return VLJsonStreamParserStates::get().base;
}

#define VELMORA_SHARED_INSTANCE(Class, member)         \
    const Class& Class::sharedInstance() {             \
        return VLJsonStreamParserStates::get().member; \
    }
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateStart, start)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateComplete, complete)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateError, error)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateObjectStart, objectStart)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateObjectGotKey, objectGotKey)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateObjectSeparator, objectSeparator)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateObjectGotValue, objectGotValue)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateObjectNeedKey, objectNeedKey)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateArrayStart, arrayStart)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateArrayGotValue, arrayGotValue)
VELMORA_SHARED_INSTANCE(VLJsonStreamParserStateArrayNeedValue, arrayNeedValue)
#undef VELMORA_SHARED_INSTANCE

VLJsonStreamParserStateStart::VLJsonStreamParserStateStart()
    : VLJsonStreamParserState(Traits{
          .acceptedTokens =
              vlJsonTokenBit(VLJsonToken::ObjectStart) | vlJsonTokenBit(VLJsonToken::ArrayStart),
          .name = "before outer-most array or object",
      }) {}

void VLJsonStreamParserStateStart::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                            VLJsonToken token) const {
    switch (token) {
        case VLJsonToken::ObjectEnd:
        case VLJsonToken::ArrayEnd:
            // The outermost container has closed.
            if (!parser.multi()) {
                setState(parser, VLJsonStreamParserStateComplete::sharedInstance());
            }
            break;
        case VLJsonToken::Eof:
            break;
        default:
            setState(parser, VLJsonStreamParserStateError::sharedInstance());
            break;
    }
}

VLJsonStreamParserStateComplete::VLJsonStreamParserStateComplete()
    : VLJsonStreamParserState(Traits{
          .shouldStop = true,
          .status = VLJsonParserStatus::Complete,
          .name = "after outer-most array or object",
      }) {}

VLJsonStreamParserStateError::VLJsonStreamParserStateError()
    : VLJsonStreamParserState(Traits{
          .shouldStop = true,
          .status = VLJsonParserStatus::Error,
          .name = "in error",
      }) {}

}  // namespace velmora

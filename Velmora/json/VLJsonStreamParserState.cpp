#include "Velmora/json/VLJsonStreamParserState.h"

#include <initializer_list>

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

    VLJsonStreamParserStates() {
        for (VLJsonStreamParserState* state : std::initializer_list<VLJsonStreamParserState*>{
                 &base, &start, &complete, &error, &objectStart, &objectGotKey, &objectSeparator,
                 &objectGotValue, &objectNeedKey, &arrayStart, &arrayGotValue, &arrayNeedValue}) {
            state->setNextForAll(state);
        }
        start.setNextForAll(&error);
        start.setNext(VLJsonToken::Eof, &start);
        // Closing the outermost container depends on the parser's multi.
        start.setNext(VLJsonToken::ObjectEnd, nullptr);
        start.setNext(VLJsonToken::ArrayEnd, nullptr);
        for (const VLJsonToken string : {VLJsonToken::String, VLJsonToken::EncodedString}) {
            objectStart.setNext(string, &objectGotKey);
            objectNeedKey.setNext(string, &objectGotKey);
        }
        objectGotKey.setNext(VLJsonToken::KeyValueSeparator, &objectSeparator);
        // A value, or a nested container that has just closed.
        objectSeparator.setNextForAll(&objectGotValue);
        objectGotValue.setNext(VLJsonToken::ValueSeparator, &objectNeedKey);
        arrayStart.setNextForAll(&arrayGotValue);
        arrayGotValue.setNext(VLJsonToken::ValueSeparator, &arrayNeedValue);
        arrayNeedValue.setNextForAll(&arrayGotValue);
    }

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

void VLJsonStreamParserState::setNextForAll(const VLJsonStreamParserState* next) {
    for (auto& entry : next_) {
        entry = next;
    }
}

void VLJsonStreamParserState::parserShouldTransitionTo(VLJsonStreamParser& parser,
                                                       VLJsonToken token) const {
    if (const VLJsonStreamParserState* next = nextState(token)) {
        setState(parser, *next);
    }
}

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
    if (token == VLJsonToken::ObjectEnd || token == VLJsonToken::ArrayEnd) {
        // The outermost container has closed.
        if (!parser.multi()) {
            setState(parser, VLJsonStreamParserStateComplete::sharedInstance());
        }
        return;
    }
    VLJsonStreamParserState::parserShouldTransitionTo(parser, token);
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
